# SPDX-License-Identifier: Apache-2.0
"""The small changes that scripts/mutate makes in the text of src/, and which of them it takes."""
import collections
import random
import re

# What stands in the text but decides nothing that a test could see.
NOT_CODE = [
    r'//[^\n]*',
    r'"(?:\\.|[^"\\\n])*"',
    r"'(?:\\.|[^'\\\n])'",
    r'^[ \t]*#(?:\\\n|[^\n])*',                # preprocessor
    r'^[ \t]*template\b[^\n]*',                # heads and instantiations
    r'^[ \t]*(?:using|namespace|enum)\b[^\n]*',
    r'\btemplate <[^\n]*',
    r'\bstatic_assert\([^;]*\);',
    r'\[\[[^\]]*\]\]',
    r'\bTEKO_\w+(?:\([^\n]*\))?',
    r'\boperator[^\w\s(]+',
    r' = 0;(?<=\) = 0;)',                      # pure virtual
]

# Hints to the machine: they change the time that a run takes and nothing else.
ONLY_HINTS = [
    r'^void (?:FillingMemory::)?adviseFilling\(.*?^}',
    r'^void (?:adviseLargePages|takeAtOnce)\(.*?^}',
    r'^[^\n]*\badviseFilling\([^\n]*',
    r'^[^\n]*\.reserve\([^\n]*',
]

# What this machine never runs; scripts/otherMachines tests it.
ELSEWHERE = [r'^( *)if constexpr \(std::endian::native == std::endian::big\) \{.*?^\1\}']

# Sizes of arrays: one more is room that nobody uses, one less is found by a sanitizer and not by a test.
ARRAY = (r'^[ \t]*(?:alignas\(\d+\) )?(?:static |constexpr |const )*[\w:]+(?: char)?(?:<[^\n]*>)?\*? \w+'
         r'(?:\[[^\]\n]*\])+(?: = \{[^\n]*\})?;')

OPERATORS = {
    'comparison': {'<': '<=', '<=': '<', '>': '>=', '>=': '>', '==': '!=', '!=': '=='},
    'arithmetic': {'+': '-', '-': '+', '*': '+', '/': '*', '%': '/'},
    'bits': {'&': '|', '|': '&', '^': '&'},
    'shift': {'<<': '>>', '>>': '<<'},
    'logic': {'&&': '||', '||': '&&'},
    'assignment': {'+=': '-=', '-=': '+=', '*=': '+=', '/=': '*=', '|=': '&=', '&=': '|=', '^=': '&=',
                   '<<=': '>>=', '>>=': '<<='},
}

COMMUTATIVE = re.compile(r'(?:min|max|_mm\d*_(?:or|and|xor|adds?|cmpeq|max|min|mulhrs)_\w+)$')

Mutation = collections.namedtuple('Mutation', 'path kind start end replacement')


def blanked(text, patterns):
    """The text with everything that matches blanked out, of the same length and with the same lines."""
    for pattern in patterns:
        text = re.sub(pattern, lambda match: re.sub(r'[^\n]', '\0', match[0]), text, flags=re.M | re.S)
    return text


def closing(code, opening):
    depth = 0
    for i in range(opening, len(code)):
        depth += {'(': 1, ')': -1}.get(code[i], 0)
        if depth == 0:
            return i
    return None


def binaryOperators(code):
    for kind, changes in OPERATORS.items():
        alternatives = '|'.join(re.escape(operator) for operator in sorted(changes, key=len, reverse=True))
        for match in re.finditer(rf'(?<=[ ])({alternatives})(?=[ \n])', code):
            yield kind, match.start(), match.end(), changes[match[1]]


def constants(code):
    code = blanked(code, [ARRAY])
    for match in re.finditer(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d[\d']*)([uUlL]*)(?![\w.'])", code):
        value = int(match[1].replace("'", ''), 0)
        for other in (value + 1, value - 1):
            if other >= 0:
                written = hex(other) if match[1].startswith('0x') else str(other)
                yield 'constant', match.start(), match.end(), written + match[2]


def conditions(code):
    for match in re.finditer(r'\b(?:if|while) \(', code):
        end = closing(code, match.end() - 1)
        condition = code[match.end():end]
        if ';' not in condition and '\0' not in condition and not re.match(r'(?:const )?\w+\*? \w+ = ', condition):
            yield 'condition', match.end(), end, f'!({condition})'
    for match in re.finditer(r'(?<=[ (])!(?=[\w(])', code):
        yield 'condition', match.start(), match.end(), ''
    for match in re.finditer(r'\b(?:true|false)\b', code):
        yield 'condition', match.start(), match.end(), {'true': 'false', 'false': 'true'}[match[0]]
    for match in re.finditer(r'\bstd::(min|max)\b', code):
        yield 'bound', match.start(1), match.end(1), {'min': 'max', 'max': 'min'}[match[1]]


def statements(code):
    place = r'\*?\w+(?:(?:\.|->)\w+|\[[^=;\n]*\])*'
    assignment = rf'{place} (?:[-+*/%&|^]|<<|>>)?= [^;\n]*'
    call = r'[\w.:>-]+(?:<\w+>)?\((?![^;\n]*\w \w)[^;\n]*\)'
    removable = rf'(?:{assignment}|{call}|(?:\+\+|--){place}|return|break|throw \d+);'
    for match in re.finditer(rf'(?<=[;{{}}:)])\s*\n +({removable})$', code, flags=re.M):
        if '\0' not in match[1]:
            yield 'removed', match.start(1), match.end(1), ';'


def arguments(code):
    for match in re.finditer(r'(\w+)\(([\w.]+), ([\w.]+)(?=[,)])', code):
        if match[2] != match[3] and not COMMUTATIVE.search(match[1]):
            yield 'swapped', match.start(2), match.end(3), f'{match[3]}, {match[2]}'


def mutationsOf(path, text):
    """All mutations of a file, shuffled, one kind after another so that none outweighs the others."""
    code = blanked(text, NOT_CODE + ONLY_HINTS + ELSEWHERE)
    chance = random.Random(f'teko {path}')
    kinds = collections.defaultdict(list)
    for find in (binaryOperators, constants, conditions, statements, arguments):
        for kind, start, end, replacement in find(code):
            kinds[kind].append(Mutation(path, kind, start, end, replacement))
    for ofKind in kinds.values():
        chance.shuffle(ofKind)
    queues = list(kinds.values())
    taken = []
    while any(queues):
        chance.shuffle(queues)
        taken += [queue.pop() for queue in queues if queue]
    return taken


def shares(sizes, count):
    """How many of `count` mutations each file gives: one, and of the others what its size is worth."""
    paths = sorted(path for path in sizes if sizes[path] > 0)
    if count < len(paths):
        return {path: 1 for path in random.Random('teko').sample(paths, count)}
    left = count - len(paths)
    worth = {path: left * sizes[path] / sum(sizes.values()) for path in paths}
    share = {path: 1 + int(worth[path]) for path in paths}
    byRest = sorted(paths, key=lambda path: int(worth[path]) - worth[path])
    for path in byRest[:count - sum(share.values())]:
        share[path] += 1
    return share


def applied(text, mutation):
    return text[:mutation.start] + mutation.replacement + text[mutation.end:]


def described(text, mutation):
    """Line number, the line, and the line as it becomes; with the line before where the file has several such."""
    first = text.rfind('\n', 0, mutation.start) + 1
    last = text.find('\n', mutation.end)
    number = text.count('\n', 0, mutation.start) + 1
    if [line.strip() for line in text.split('\n')].count(text[first:last].strip()) > 1 and first > 0:
        first = text.rfind('\n', 0, first - 1) + 1
    before = ' '.join(text[first:last].split())
    after = ' '.join((text[first:mutation.start] + mutation.replacement + text[mutation.end:last]).split())
    return number, before, after

#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that the documents are true.

usage: docs/checkDocs.py [PROGRAM]
       docs/checkDocs.py example PROGRAM

  links     relative links in the documents lead to files, and to headings where they name one
  names     each name in the code that architecture.md gives for a term stands in a file that the row links
  changes   what mutations.tsv says of a line stands where there is such a line
  example   with PROGRAM: the samples and bytes of the worked example are what PROGRAM makes; with the word, this alone

Prints what is wrong. Exit status 0 when nothing is."""
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCUMENTS = sorted(ROOT.glob('*.md')) + sorted(ROOT.glob('docs/**/*.md'))
LINK = re.compile(r'\[[^\]]*\]\(([^)\s]+)\)')


def withoutCode(text):
    return re.sub(r'^```.*?^```', '', text, flags=re.M | re.S)


def anchors(path):
    headings = re.findall(r'^#+ +(.*)$', withoutCode(path.read_text()), flags=re.M)
    return {re.sub(r'[^\w\- ]', '', heading.lower()).replace(' ', '-') for heading in headings}


def checkLinks():
    for document in DOCUMENTS:
        for link in LINK.findall(withoutCode(document.read_text())):
            if re.match(r'[a-z]+:', link):
                continue
            name, _, anchor = link.partition('#')
            target = (document.parent / name).resolve() if name else document
            if not target.exists():
                yield f'{document.name}: no file for {link}'
            elif anchor and target.suffix == '.md' and anchor not in anchors(target):
                yield f'{document.name}: no heading for {link}'


def checkNames():
    document = ROOT / 'docs' / 'architecture.md'
    rows = document.read_text().split('| term |')[1].split('\n\n')[0].split('\n')[2:]
    for row in rows:
        term, names, files = [cell.strip() for cell in row.strip('|').split('|')]
        paths = [document.parent / link for link in LINK.findall(files)]
        text = '\n'.join(path.read_text() for path in paths if path.exists())
        for name in re.findall(r'`(\w+)`', names):
            if not re.search(rf'\b{name}\b', text):
                yield f'architecture.md: {name} ({term}) is not in {files}'


def checkChanges():
    for row in (ROOT / 'docs' / 'mutations.tsv').read_text().splitlines()[1:]:
        name, original = row.split('\t')[:2]
        if original not in ' '.join((ROOT / name).read_text().split()):
            yield f'mutations.tsv: {name} has no {original}'


def example(title):
    text = (ROOT / 'docs' / 'workedExample.md').read_text()
    return re.search(rf'^<!-- example: {title} -->\n```\n(.*?)^```', text, flags=re.M | re.S).group(1)


def checkExample(program):
    samples = bytes(int(sample) for sample in example('samples').split())
    complete = bytes.fromhex(example('complete file'))
    shape = ['1', '4', '4', '4']
    with tempfile.TemporaryDirectory() as directory:
        raw, coded, decoded = (pathlib.Path(directory) / name for name in ('raw', 'coded', 'decoded'))
        raw.write_bytes(samples)

        def run(*arguments):
            subprocess.run([program, *map(str, arguments)], check=True, stdout=subprocess.DEVNULL)

        def differs(what, got, expected):
            return [] if got == expected else [f'workedExample.md: {what} is {got.hex(" ")}, not {expected.hex(" ")}']

        def decodesTo(what, expected):
            for mode in 'dD':
                run(mode, coded, decoded)
                yield from differs(f'{what}, mode {mode},', decoded.read_bytes(), expected)

        run('C', raw, *shape, coded, 1)
        yield from differs('the file at rate 1', coded.read_bytes(), bytes.fromhex(example('file at rate 1')))
        yield from decodesTo('the file at rate 1', bytes(map(int, example('decoded at rate 1').split())))
        run('c', raw, *shape, coded)
        yield from differs('the complete file', coded.read_bytes(), complete)
        yield from decodesTo('the complete file', samples)
        coded.write_bytes(complete[:18])
        yield from decodesTo('the prefix', bytes(map(int, example('decoded from 18 bytes').split())))


def main():
    *only, program = sys.argv[1:] or ['']
    wrong = [] if only else [*checkLinks(), *checkNames(), *checkChanges()]
    wrong += checkExample(program) if program else []
    print('\n'.join(wrong) if wrong else 'Documents: ok')
    return 1 if wrong else 0


if __name__ == '__main__':
    sys.exit(main())

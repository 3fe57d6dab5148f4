# SPDX-License-Identifier: Apache-2.0
"""Makes small changes in copies of src/, one at a time, and sees which tests fail. Called by scripts/mutate.

usage: mutate.py [COUNT [FILE...]]

The copies, their builds and all results are in build/mutants. Environment: JOBS, how many copies work at once.
"""
import json
import os
import pathlib
import queue
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

import mutations

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PLACE = ROOT / 'build' / 'mutants'
EXPLAINED = ROOT / 'docs' / 'mutations.tsv'
LONGEST_STEP = 120  # seconds; slower test programs are left out

# The directories of the tests that are most likely to find a change in a room.
NEAREST = {
    'target': ['targets', 'fuzz'],
    'fast': ['fuzz', 'targets', 'codec', 'golden'],
    'image': ['image', 'fuzz', 'golden'],
    'filter': ['filter', 'fuzz', 'targets', 'wavelet'],
    'wavelet': ['fuzz', 'wavelet', 'targets', 'golden'],
    'coding': ['fuzz', 'coding', 'targets', 'golden'],
    'codec': ['codec', 'fuzz', 'golden', 'targets'],
    'memory': ['memory', 'library', 'coding', 'targets'],
    'library': ['library', 'fuzz', 'golden'],
    'driver': ['driver', 'fuzz', 'cli', 'golden'],
}


# What only other processors run: every change there would survive all tests.
CPU = pathlib.Path('/proc/cpuinfo').read_text()
UNUSED_HERE = (() if 'avx512_vbmi2' in CPU else ('avx512',)) + (() if 'asimd' in CPU else ('neon',))


def limitResources():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))
    resource.setrlimit(resource.RLIMIT_FSIZE, (4 << 30, 4 << 30))


class Step:
    """A test program, run as a whole."""

    def __init__(self, program, arguments, environment, directory):
        self.program = program  # below the build directory
        self.arguments = arguments
        self.environment = environment
        self.name = ' '.join(environment + [pathlib.Path(program).name])
        self.directory = directory  # below tests/
        self.seconds = 0.0


class Copy:
    """A copy of the sources, and its build."""

    def __init__(self, number):
        self.place = PLACE / str(number)
        self.source = self.place / 'source'
        self.build = self.place / 'build'
        self.scratch = self.place / 'scratch'

    def update(self):
        """Makes the copy equal to the working tree; what is equal keeps its time."""
        names = subprocess.run(['git', 'ls-files', '-co', '--exclude-standard'], cwd=ROOT, check=True,
                               capture_output=True, text=True).stdout.splitlines()
        wanted = {name for name in names if (ROOT / name).is_file()}
        for path in list(self.source.rglob('*')):
            if path.is_file() and str(path.relative_to(self.source)) not in wanted:
                path.unlink()
        for name in wanted:
            to = self.source / name
            if not to.exists() or to.read_bytes() != (ROOT / name).read_bytes():
                to.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / name, to)

    def configure(self):
        """Rooms are shared libraries: a change in one of them is compiled and linked once, not into every test. They are
        not installed, so that an installed program takes them from here."""
        subprocess.run(['cmake', '-S', self.source, '-B', self.build, '-G', 'Ninja', '-DCMAKE_CXX_FLAGS=-O1 -w',
                        '-DTEKO_SHARED_ROOMS=ON', '-DCMAKE_LINK_DEPENDS_NO_SHARED=ON',
                        f'-DCMAKE_INSTALL_RPATH={self.build}/src',
                        '-DCMAKE_CXX_COMPILER_LAUNCHER=ccache',
                        '-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST'],
                       check=True, stdout=subprocess.DEVNULL)

    def run(self, command, timeout, environment=(), limited=False):
        """Exit status, or None after the timeout; and the output."""
        shutil.rmtree(self.scratch, ignore_errors=True)
        self.scratch.mkdir(parents=True)
        variables = dict(os.environ, CCACHE_DIR=str(PLACE / 'ccache'), CCACHE_BASEDIR=str(self.place),
                         CCACHE_NOHASHDIR='1', TMPDIR=str(self.scratch))
        variables.update(entry.split('=', 1) for entry in environment)
        with open(self.place / 'output', 'wb') as output:
            process = subprocess.Popen(command, cwd=self.scratch, env=variables, stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=subprocess.STDOUT, start_new_session=True,
                                       preexec_fn=limitResources if limited else None)
            try:
                status = process.wait(timeout)
            except subprocess.TimeoutExpired:
                status = None
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()
        with open(self.place / 'output', 'rb') as output:
            return status, output.read(1 << 26).decode(errors='replace')

    def make(self, *targets):
        status, output = self.run(['ninja', '-C', str(self.build), '-j', '1', *targets], 900)
        return status == 0, output

    def test(self, step):
        """None when the tests pass, otherwise what failed."""
        isGoogleTest = step.program.endswith('Tests')
        arguments = step.arguments + (['--gtest_fail_fast', '--gtest_color=no'] if isGoogleTest else [])
        timeout = 4 * step.seconds + 15 if step.seconds > 0 else 900
        status, output = self.run([str(self.build / step.program), *arguments], timeout, step.environment, True)
        if status == 0:
            return None
        failed = re.search(r'^\[  FAILED  \] ([\w./]+)', output, flags=re.M)
        begun = re.findall(r'^\[ RUN      \] ([\w./]+)', output, flags=re.M)
        if status is None:
            return f'{begun[-1] if begun else step.name}, out of time'
        if failed:
            return failed[1]
        return f'{begun[-1] if begun else step.name}, status {status}'

    def steps(self):
        """Every test program once, with its environments."""
        found = {}
        output = subprocess.run(['ctest', '--show-only=json-v1'], cwd=self.build, check=True, capture_output=True)
        for test in json.loads(output.stdout)['tests']:
            command = test['command']
            if pathlib.Path(command[0]).name == 'unlessBest':
                command = command[3:]
            program, *arguments = command
            if not pathlib.Path(program).is_relative_to(self.build):
                continue  # a test of the scripts
            environment = [entry for prop in test['properties'] if prop['name'] == 'ENVIRONMENT'
                           for entry in prop['value']]
            arguments = [argument for argument in arguments if not argument.startswith('--gtest')]
            relative = pathlib.Path(program).relative_to(self.build)
            found[relative, tuple(environment)] = Step(str(relative), arguments, environment, relative.parts[1])
        return list(found.values())


class Run:
    def __init__(self, count, paths):
        texts = {str(path.relative_to(ROOT)): path.read_text() for path in sorted((ROOT / 'src').rglob('*.?pp'))
                 if (not paths or str(path.relative_to(ROOT)) in paths) and
                 not any(part in path.name.lower() for part in UNUSED_HERE)}
        self.texts = texts
        self.mutations = {path: mutations.mutationsOf(path, text) for path, text in texts.items()}
        sizes = {path: len(found) for path, found in self.mutations.items()}
        self.shares = mutations.shares(sizes, min(count, sum(sizes.values())))
        lines = [line.split('\t') for line in EXPLAINED.read_text().splitlines()[1:]]
        self.explained = {(path, before, after): why for path, before, after, why in lines}
        self.withoutEffect = []
        self.results = []
        self.missing = 0  # mutations that a file owes because too few of its own compile
        self.lock = threading.Lock()

    def prepare(self, copies):
        for copy in copies:
            copy.update()
            copy.configure()
            built, output = copy.make('all')
            if not built:
                sys.exit(output)
        self.steps = []
        for step in copies[0].steps():
            start = time.monotonic()
            failure = copies[0].test(step)
            step.seconds = time.monotonic() - start
            if failure:
                sys.exit(f'{step.name} fails without any mutation: {failure}')
            print(f'{step.name}: {step.seconds:.1f} s' + (', left out' if step.seconds > LONGEST_STEP else ''))
            if step.seconds <= LONGEST_STEP:
                self.steps.append(step)

    def stepsFor(self, path):
        near = NEAREST[pathlib.Path(path).parts[1]]
        return sorted(self.steps, key=lambda step: (
            near.index(step.directory) if step.directory in near else len(near), step.seconds))

    def outcome(self, copy, mutation):
        """What becomes of a mutation; None when it does not compile."""
        file = copy.source / mutation.path
        file.write_text(mutations.applied(self.texts[mutation.path], mutation))
        try:
            if not copy.make('teko')[0]:
                return None
            for step in self.stepsFor(mutation.path):
                if not copy.make(pathlib.Path(step.program).name)[0]:
                    return f'killed: {step.name} does not compile'
                failure = copy.test(step)
                if failure:
                    return f'killed: {failure}'
            return 'survived'
        finally:
            file.write_text(self.texts[mutation.path])

    def workOn(self, copy, path, share):
        done = 0
        while done < share and self.mutations[path]:
            mutation = self.mutations[path].pop(0)
            line, before, after = mutations.described(self.texts[path], mutation)
            if (path, before, after) in self.explained:
                self.withoutEffect.append((path, line, before, after, self.explained[path, before, after]))
                continue
            start = time.monotonic()
            outcome = self.outcome(copy, mutation)
            if outcome is None:
                print(f'{path}:{line}: does not compile: {after}', flush=True)
                continue
            done += 1
            with self.lock:
                self.results.append((path, line, before, after, outcome))
                print(f'{len(self.results)} {path}:{line}: {before} -> {after}: {outcome} '
                      f'({time.monotonic() - start:.0f} s)', flush=True)
        with self.lock:
            self.missing += share - done

    def work(self, copies, shares):
        waiting = queue.Queue()
        for path, share in sorted(shares.items(), key=lambda item: -item[1]):
            waiting.put((path, share))

        def workFrom(copy):
            while True:
                try:
                    path, share = waiting.get_nowait()
                except queue.Empty:
                    return
                self.workOn(copy, path, share)

        threads = [threading.Thread(target=workFrom, args=(copy,)) for copy in copies]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    def workAll(self, copies):
        self.work(copies, self.shares)
        while self.missing > 0 and any(self.mutations.values()):
            owed, self.missing = self.missing, 0
            left = {path: len(found) for path, found in self.mutations.items()}
            self.work(copies, mutations.shares(left, owed))

    def report(self):
        rows = sorted(self.results)
        with open(PLACE / 'results.tsv', 'w') as table:
            for row in [('file', 'line', 'original', 'mutant', 'outcome'), *rows]:
                print(*row, sep='\t', file=table)
        print((PLACE / 'results.tsv').read_text())
        survivors = [row for row in rows if row[4] == 'survived']
        killed = len(rows) - len(survivors)
        print(f'{killed} of {len(rows)} killed: {100 * killed / len(rows):.1f} %')
        for path, line, before, after, _ in survivors:
            print(f'survived: {path}:{line}: {before} -> {after}')
        for path, line, before, after, why in sorted(self.withoutEffect):
            print(f'not counted: {path}:{line}: {before} -> {after}: {why}')


def main():
    arguments = sys.argv[1:]
    run = Run(int(arguments[0]) if arguments else 120, arguments[1:])
    copies = [Copy(number) for number in range(int(os.environ['JOBS']))]
    start = time.monotonic()
    run.prepare(copies)
    run.workAll(copies)
    run.report()
    print(f'{(time.monotonic() - start) / 60:.0f} minutes')


if __name__ == "__main__":
    main()

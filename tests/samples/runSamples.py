#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compiles every program in C and C++ that the documents quote, with all warnings as errors, and runs it.

usage: runSamples.py ROOT BUILD C_COMPILER CXX_COMPILER

Each must end with status 0, print something, and write nothing to standard error. Exit status 0 when all do."""
import pathlib
import re
import subprocess
import sys
import tempfile

SAMPLE = re.compile(r'^```(c|cpp)\n(.*?)^```', re.M | re.S)
DOCUMENTS = ['README.md', 'docs/library.md']
FEWEST = 3


def run(command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0 or done.stderr:
        raise SystemExit(f'{" ".join(map(str, command))}\nstatus {done.returncode}\n{done.stderr}')
    return done.stdout


def main():
    root, build = map(pathlib.Path, sys.argv[1:3])
    compilers = {'c': [sys.argv[3], '-std=c99', '-pedantic'], 'cpp': [sys.argv[4], '-std=c++20']}
    options = ['-Wall', '-Wextra', '-Wshadow', '-Werror', f'-I{root}/include', f'-I{build}/include']
    count = 0
    with tempfile.TemporaryDirectory() as folder:
        for document in DOCUMENTS:
            for language, text in SAMPLE.findall((root / document).read_text()):
                source = pathlib.Path(folder) / f'sample.{language}'
                source.write_text(text)
                program = source.with_suffix('')
                run([*compilers[language], *options, source, '-o', program, f'-L{build}', '-lteko',
                     f'-Wl,-rpath,{build}'])
                print(f'{document}: {run([program]).strip()}')
                count += 1
    if count < FEWEST:
        raise SystemExit(f'only {count} samples found')


if __name__ == '__main__':
    main()

#!/usr/bin/env python3
"""Finds faults that no test detects: changes one random line of a source (a mutant), builds, runs the tests,
restores the line, and repeats this.

    scripts/mutate.py BUILD [--count N] [--seed N] [--again FILE] [--out FILE]

BUILD is a configured and built debug directory of this tree.

--count N     the number of mutants, 300 by default. A mutant that does not compile is replaced by another one.
--seed N      the seed of the random numbers, 1 by default
--out FILE    appends each mutant to FILE (mutants.jsonl by default) as a row of JSON: its source, the line
              before and after, the area whose tests failed, or null, and the first test that failed, or null if
              its program ended by a signal or a time limit
--again FILE  instead of random mutants, uses those of an earlier output, each at the line with the same text,
              so that two versions of the tests can be compared

The sources are restored after each mutant, also on SIGINT and SIGTERM.
"""
import argparse
import json
import pathlib
import random
import re
import resource
import signal
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent

# The areas in the order in which their tests run: lower areas first. If the tests of an area do not detect
# a fault, the tests of areas that use it may.
ORDER = ['base', 'string', 'mt', 'log', 'utility', 'util', 'nbr', 'pml', 'cfg', 'json', 'xml', 'formats', 'timer',
         'tcp', 'icmp', 'faults', 'docs', 'interop', 'machines', 'tools']

# A pattern and its replacement; None means the number plus one.
SWAPS = [
    (r' < ', ' <= '), (r' <= ', ' < '), (r' > ', ' >= '), (r' >= ', ' > '),
    (r' == ', ' != '), (r' != ', ' == '), (r' && ', ' || '), (r' \|\| ', ' && '),
    (r' \+ ', ' - '), (r' - ', ' + '), (r' \* ', ' / '), (r' & ', ' | '), (r' \| ', ' & '),
    (r' << (?=\d)', ' >> '), (r' >> (?=\d)', ' << '), (r'\+\+', '--'), (r'--(?=\w)', '++'),
    (r' \+= ', ' -= '), (r' -= ', ' += '), (r'\btrue\b', 'false'), (r'\bfalse\b', 'true'),
    (r'(?<=[(\s])!(?=\w)', ''), (r'\bmin\b', 'max'), (r'\bmax\b', 'min'),
    (r'\bbreak;', ';'), (r'\bcontinue;', ';'), (r'\b0\b', '1'), (r'\b1\b', '2'), (r'\b[2-9]\d*\b', None),
]
STATEMENT = re.compile(r'^\s+[\w:.>\[\]()-]+\(.*\);$|^\s+[\w.>-]+ [+-]?= .*;$')


def negated(line):
    """`if (x) ...` with the condition negated, or None if the condition ends on a later line."""
    start = line.index('if (') + 4
    depth = 1
    for at in range(start, len(line)):
        depth += {'(': 1, ')': -1}.get(line[at], 0)
        if depth == 0:
            return f'{line[:start]}!({line[start:at]}){line[at:]}'
    return None


def changes(line):
    """All mutants of a line."""
    code = re.sub(r'"(\\.|[^"\\])*"', lambda m: '"' + '\0' * (len(m[0]) - 2) + '"', line)
    code = re.sub(r'//.*', lambda m: '\0' * len(m[0]), code)
    found = []
    for pattern, into in SWAPS:
        for match in re.finditer(pattern, code):
            text = into if into is not None else str(int(match[0]) + 1)
            found.append(line[:match.start()] + text + line[match.end():])
    if 'if (' in code:
        found.append(negated(line))
    if STATEMENT.match(line) and not re.match(r'\s+(return|throw|QOR_THROW|static|const|using|delete)\b', line):
        found.append(re.match(r'\s*', line)[0] + ';')
    return [text for text in found if text and text != line]


def lines_of(path):
    return path.read_text().split('\n')


def candidates():
    """(source, number) of each line of a function body that has a mutant."""
    found = []
    for path in sorted(ROOT.glob('src/qor/**/*.cpp')) + sorted(ROOT.glob('utility/src/*.cpp')):
        for number, line in enumerate(lines_of(path)):
            if re.match(r'\s{4}', line) and not re.match(r'\s*(//|#|case\b|using\b|static_assert)', line):
                if changes(line):
                    found.append((str(path.relative_to(ROOT)), number))
    return found


class Mutant:
    def __init__(self, source, before, after, nth):
        self.source, self.before, self.after, self.nth = source, before, after, nth

    @staticmethod
    def random(source, number, rng):
        lines = lines_of(ROOT / source)
        line = lines[number]
        return Mutant(source, line, rng.choice(changes(line)), lines[:number].count(line))

    def place(self):
        """(path, number) of the line in this tree, also if it has moved inside its folder, or None."""
        own = ROOT / self.source
        paths = [own] if own.exists() else []
        paths += [p for p in sorted(ROOT.glob('src/qor/**/*.cpp')) if p != own and p.parent.name == own.parent.name]
        for path in paths:
            numbers = [n for n, line in enumerate(lines_of(path)) if line.strip() == self.before.strip()]
            if numbers:
                return path, numbers[min(self.nth, len(numbers) - 1)]
        return None


class Trial:
    def __init__(self, build):
        self.build = build
        self.areas = [a for a in ORDER if (build / f'tests/qor_{a}_test').exists()]
        self.limit = {}
        self.saved = None
        self.changed = set()  # test binaries that contain the code of a mutant

    def compiles(self, path):
        # Some test binaries compile the source themselves: they are built for this mutant, and again for
        # the next one, which has the original source.
        query = subprocess.run(['ninja', '-C', self.build, '-t', 'query', str(path)], capture_output=True, text=True)
        own = {f'qor_{m}_test' for m in re.findall(r'tests/CMakeFiles/qor_(\w+)_test\.dir', query.stdout)}
        targets = ['qor', *sorted(own | self.changed)]
        good = subprocess.run(['ninja', '-C', self.build, '-j1', *targets], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode == 0
        self.changed = own if good else own | self.changed
        return good

    def fails(self, area, seconds):
        """Whether a test of the area fails; sets self.test to its name, if it is known."""
        # The life of the library takes a process of its own.
        if area == 'base' and self.fails_in_one_process('base', seconds, 'Library.*'):
            return True
        return self.fails_in_one_process(area, seconds, '-Library.*')

    def fails_in_one_process(self, area, seconds, tests):
        def limits():
            resource.setrlimit(resource.RLIMIT_DATA, (6 << 30, 6 << 30))
        self.test = None
        try:
            run = subprocess.run([f'./qor_{area}_test', f'--gtest_filter={tests}', '--gtest_fail_fast', '--gtest_brief=1'],
                                 cwd=self.build / 'tests', stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, errors='replace',
                                 stdin=subprocess.DEVNULL, timeout=seconds, preexec_fn=limits)
        except subprocess.TimeoutExpired:
            return True
        failed = re.search(r'^\[  FAILED  \] ([\w/.]+)', run.stdout, re.M)
        self.test = failed and failed[1]
        return run.returncode != 0

    def measure(self):
        for area in self.areas:
            start = time.monotonic()
            if self.fails(area, 600):
                sys.exit(f'mutate: the tests of {area} fail as they are')
            self.limit[area] = 30 + 5 * (time.monotonic() - start)
            print(f'{area}: {time.monotonic() - start:.1f} s', flush=True)

    def noticed_by(self, mutant):
        """The area whose tests fail, '' if none fail, None if the mutant does not compile."""
        path, number = mutant.place()
        self.saved = path, path.read_text()
        lines = self.saved[1].split('\n')
        lines[number] = mutant.after
        try:
            path.write_text('\n'.join(lines))
            if not self.compiles(path):
                return None
            own = path.parent.name if path.parent.name in self.areas else 'utility' if 'utility' in path.parts else 'base'
            for area in [own] + [a for a in self.areas if a != own]:
                if self.fails(area, self.limit[area]):
                    return area
            return ''
        finally:
            self.restore()

    def restore(self):
        if self.saved:
            self.saved[0].write_text(self.saved[1])
            self.saved = None


def main():
    options = argparse.ArgumentParser()
    options.add_argument('build', type=pathlib.Path)
    options.add_argument('--count', type=int, default=300)
    options.add_argument('--seed', type=int, default=1)
    options.add_argument('--again', type=pathlib.Path)
    options.add_argument('--out', type=pathlib.Path, default=pathlib.Path('mutants.jsonl'))
    given = options.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    trial = Trial(given.build.resolve())
    trial.measure()
    rng = random.Random(given.seed)
    if given.again:
        rows = [json.loads(line) for line in given.again.read_text().splitlines()]
        mutants = (Mutant(r['source'], r['before'], r['after'], r['nth']) for r in rows)
    else:
        places = candidates()
        rng.shuffle(places)
        mutants = (Mutant.random(*place, rng) for place in places)
    done = unnoticed = 0
    with given.out.open('a') as out:
        for mutant in mutants:
            if done == given.count:
                break
            if not mutant.place():
                print(f'gone: {mutant.source}: {mutant.before.strip()}', flush=True)
                continue
            area = trial.noticed_by(mutant)
            if area is None:
                continue
            done += 1
            unnoticed += area == ''
            out.write(json.dumps(dict(vars(mutant), noticed=area or None, test=trial.test)) + '\n')
            out.flush()
            if area == '':
                print(f'no test notices {mutant.source}\n  - {mutant.before.strip()}\n  + {mutant.after.strip()}', flush=True)
    subprocess.run(['ninja', '-C', trial.build, '-j1'], stdout=subprocess.DEVNULL)
    print(f'{done} mutants, {unnoticed} not noticed')


main()

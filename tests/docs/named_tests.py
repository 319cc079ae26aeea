#!/usr/bin/env python3
"""Fails if docs/testing.md or tests/emulator.txt names a test that is not in the sources."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]


def main():
    sources = "\n".join(path.read_text() for path in (ROOT / "tests").glob("*/*.cpp"))
    known = {f"{suite}.{name}" for suite, name in
             re.findall(r"^(?:TYPED_)?TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", sources, re.M)}
    suites = {name.partition(".")[0] for name in known}
    page = (ROOT / "docs" / "testing.md").read_text()
    named = re.findall(r"`(\w+)\.(\w+|\*)`", page.split("\n## What is promised under a fault\n", 1)[1])
    for line in (ROOT / "tests" / "emulator.txt").read_text().splitlines():
        row = re.match(r"(?:cannot|long) +(?!examples)\w+\.(\w+)(?:/\w+)?\.(\w+) ", line)
        if row:
            named.append(row.groups())
    if len(named) < 20:
        sys.exit("hardly any tests are named")
    gone = [f"{suite}.{name}" for suite, name in named
            if suite not in suites or (name != "*" and f"{suite}.{name}" not in known)]
    print("\n".join(gone) or f"{len(named)} tests are named, all are there")
    return bool(gone)


if __name__ == "__main__":
    sys.exit(main())

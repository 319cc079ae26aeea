#!/usr/bin/env python3
"""Fails if a file of the library includes a file of a higher floor. A block in docs/architecture.md
defines the floors. It has a line for each floor: the number, then the parts of the library on that floor,
separated by two or more blanks or a comma:

    area           all files of the area that no other line names
    area/name      the header and the source of this name
    dir/file.ext   this file

Text in parentheses is a comment. The first line, without a number, is above all floors.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGE = ROOT / "docs" / "architecture.md"
ROOTS = [ROOT / "include" / "qor", ROOT / "src" / "qor"]
UTILITY = ROOT / "utility" / "src"
ABOVE = 99


def floors():
    """{name on the page: floor}"""
    section = PAGE.read_text().split("\n## Floors\n", 1)[1].split("\n## ", 1)[0]
    found = {}
    for line in section.splitlines():
        row = re.fullmatch(r" {4}(?:(\d+)| ) {3}(\S.*)", line)
        if row is None:
            continue
        floor = int(row[1]) if row[1] else ABOVE
        for name in re.split(r" {2,}|, ", re.sub(r" *\([^)]*\)", "", row[2])):
            if name in found:
                sys.exit(f"{PAGE.name}: {name} is on two floors")
            found[name] = floor
    return found


def names_of(path):
    """The names that the page may use for a file, the most specific one first."""
    if path.is_relative_to(UTILITY):
        return ["utility"]
    root = next(root for root in ROOTS if path.is_relative_to(root))
    inside = path.relative_to(root)
    return [str(inside), str(inside.with_suffix("")), inside.parts[0]]


def target_of(including, name):
    for place in (ROOT / "include" / name, ROOT / "src" / "qor" / name, UTILITY / name):
        if place.is_file():
            return place
    if name in ("qor/api.h", "qor/build_info.h"):  # made by the build
        return None
    sys.exit(f"{including}: where is {name}?")


def main():
    floor_of_name, used = floors(), set()

    def floor_of(path):
        for name in names_of(path):
            if name in floor_of_name:
                used.add(name)
                return floor_of_name[name]
        sys.exit(f"{PAGE.name} has no floor for {path.relative_to(ROOT)}")

    faults, includes = [], 0
    for root in [*ROOTS, UTILITY]:
        for path in sorted(root.rglob("*")):
            if path.suffix not in (".h", ".cpp"):
                continue
            own = floor_of(path)
            for name in re.findall(r'^#include (?:"|<(?=qor/))([^">]+)', path.read_text(), re.M):
                target = target_of(path, name)
                includes += 1
                if target is not None and floor_of(target) > own:
                    faults.append(f"{path.relative_to(ROOT)} (floor {own}) includes {name} "
                                  f"(floor {floor_of(target)})")
    if includes < 100:
        sys.exit("hardly any includes were found")
    for name in floor_of_name.keys() - used - {"ACE", "zlib", "libc"}:
        faults.append(f"{PAGE.name}: no file is {name}")
    print("\n".join(faults) if faults else f"{includes} includes, none points up")
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Prints the share of lines and branches that ran, for each file and folder, and writes the others to
a file.

    coverage.py LINES BRANCHES MISSED FILE...
    coverage.py LINES BRANCHES MISSED --least PERCENTAGE DECODERS

LINES is an export of llvm-cov in the format lcov, BRANCHES one in the format text. MISSED is the file
that is written. A FILE is a file or a folder of the project.

DECODERS is a list of files, one on each line. After a file, indented lines "only PART" or "but PART"
select the lines that count: only, or all except, the functions and blocks whose first line contains
PART. A reason follows after two spaces. Fails if less than PERCENTAGE of the lines of a file ran.
"""
import json
import os
import re
import sys


def name_of(path):
    """The path inside the project. The compiler writes relative paths, which llvm-cov interprets as
    relative to the build directory."""
    name = os.path.relpath(path)
    inside = name.split(os.sep, 2)[2:]
    return inside[0] if inside and os.path.exists(inside[0]) and not os.path.exists(name) else name


def read(lines_path, branches_path):
    """{file: ({line: count}, {branch: count})}. Adds the counts of all programs that contain the
    file, and of all instances of a template."""
    files = {}
    with open(lines_path) as listing:
        for record in listing:
            kind, _, rest = record.strip().partition(":")
            if kind == "SF":
                lines, _ = files.setdefault(name_of(rest), ({}, {}))
            elif kind == "DA":
                line, count = rest.split(",")[:2]
                lines[int(line)] = lines.get(int(line), 0) + int(count)
    with open(branches_path) as listing:
        for file in json.load(listing)["data"][0]["files"]:
            _, branches = files.setdefault(name_of(file["filename"]), ({}, {}))
            for line, column, to_line, to_column, taken, passed, *_ in file["branches"]:
                for way, count in ((True, taken), (False, passed)):
                    place = (line, column, to_line, to_column, way)
                    branches[place] = branches.get(place, 0) + count
    return files


class Part:
    """Selects the lines of a file that count."""

    def __init__(self):
        self.only, self.but = [], []

    def lines(self, name):
        """The numbers of the selected lines; None means all lines."""
        if not self.only and not self.but:
            return None
        with open(name) as source:
            text = source.read().split("\n")
        chosen = functions(name, text, self.only) if self.only else set(range(1, len(text) + 1))
        return chosen - functions(name, text, self.but)


def functions(name, text, parts):
    """The numbers of the lines from each line that contains one of the parts to its closing brace."""
    found = set()
    for part in parts:
        begins = [i for i, line in enumerate(text) if part in line and not line.endswith(";")]
        if not begins:
            sys.exit(f"coverage: there is no {part} in {name}")
        for begin in begins:
            closing = re.match(" *", text[begin]).group() + "}"
            end = begin if text[begin].endswith("}") else begin + 1
            while not (end == begin or text[end].startswith(closing)):
                end += 1
            found.update(range(begin + 1, end + 2))
    return found


def decoders(path):
    wanted = {}
    with open(path) as listing:
        for line in listing:
            if line.startswith(" "):
                kind, part = line.strip().split(" ", 1)
                getattr(wanted[name], kind).append(part.split("  ")[0])
            elif not line.startswith("#"):
                name = line.strip()
                wanted[name] = Part()
    return wanted


def ranges(numbers):
    """Sorted numbers as texts, with consecutive ones as a range such as "3-5"."""
    first = last = None
    for number in [*sorted(numbers), None]:
        if first is not None and number != last + 1:
            yield str(first) if first == last else f"{first}-{last}"
            first = number
        elif first is None:
            first = number
        last = number


def share(counts):
    return 100.0 * sum(count > 0 for count in counts) / len(counts) if counts else 100.0


def natural(place):
    return [int(number) for number in re.findall(r"\d+", place)]


def show(name, lines, branches):
    print(f"{name:50} lines {share(lines):6.1f} %   branches {share(branches):6.1f} %")


def main():
    lines_path, branches_path, missed_path, *wanted = sys.argv[1:]
    least, parts = 0.0, {}
    if wanted[0] == "--least":
        least, parts = float(wanted[1]), decoders(wanted[2])
        wanted = list(parts)
    files = read(lines_path, branches_path)
    totals, short = {}, []
    with open(missed_path, "w") as missed:
        for name in sorted(files):
            if not any(name == file or name.startswith(file + os.sep) for file in wanted):
                continue
            lines, branches = files[name]
            chosen = parts[name].lines(name) if name in parts else None
            if chosen is not None:
                lines = {line: count for line, count in lines.items() if line in chosen}
                branches = {place: count for place, count in branches.items() if place[0] in chosen}
            show(name, lines.values(), branches.values())
            for total in (os.path.dirname(name), "all"):
                total_lines, total_branches = totals.setdefault(total, ([], []))
                total_lines += lines.values()
                total_branches += branches.values()
            if share(lines.values()) < least:
                short.append(name)
            never = ", ".join(ranges(line for line, count in lines.items() if count == 0))
            one_way = sorted({f"{place[0]}:{place[1]} {'true' if place[-1] else 'false'}"
                              for place, count in branches.items()
                              if count == 0 and lines.get(place[0], 0) > 0}, key=natural)
            if never:
                missed.write(f"{name}: lines {never}\n")
            if one_way:
                missed.write(f"{name}: never {', '.join(one_way)}\n")
    absent = [name for name in parts if name not in files]
    if absent:
        sys.exit(f"coverage: nothing is known of {', '.join(absent)}")
    for total, (lines, branches) in totals.items():
        if total != "all":
            show(total + os.sep, lines, branches)
    show("all", *totals["all"])
    if short:
        sys.exit(f"coverage: less than {least:g} % of the lines of {', '.join(short)}")


main()

#!/usr/bin/env python3
"""Shows the lines and branches of each file of an lcov listing, and writes what was missed.

    coverage.py LISTING MISSED LEAST

LEAST is the percentage of its lines that each file must have run.
"""
import os
import sys


def read(listing):
    """Yields for each file its name, its lines {number: count}, and its branches {place: count}."""
    name, lines, branches = None, {}, {}
    for record in listing:
        kind, _, rest = record.strip().partition(":")
        if kind == "SF":
            name, lines, branches = os.path.relpath(rest), {}, {}
        elif kind == "DA":
            line, count = rest.split(",")[:2]
            lines[int(line)] = lines.get(int(line), 0) + int(count)
        elif kind == "BRDA":
            line, block, branch, count = rest.split(",")
            place = (int(line), int(block), int(branch))
            branches[place] = branches.get(place, 0) + (0 if count == "-" else int(count))
        elif kind == "end_of_record":
            yield name, lines, branches


def ranges(numbers):
    """Consecutive numbers as "3-5"."""
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


def main():
    listing, missed_path, least = sys.argv[1], sys.argv[2], float(sys.argv[3])
    all_lines, all_branches, short = [], [], []
    with open(listing) as source, open(missed_path, "w") as missed:
        for name, lines, branches in sorted(read(source)):
            of_lines, of_branches = share(lines.values()), share(branches.values())
            print(f"{name:50} lines {of_lines:6.1f} %   branches {of_branches:6.1f} %")
            all_lines += lines.values()
            all_branches += branches.values()
            if of_lines < least:
                short.append(name)
            never = ", ".join(ranges(line for line, count in lines.items() if count == 0))
            one_way = sorted({place[0] for place, count in branches.items()
                              if count == 0 and lines.get(place[0], 0) > 0})
            if never:
                missed.write(f"{name}: lines {never}\n")
            if one_way:
                missed.write(f"{name}: one way only {', '.join(map(str, one_way))}\n")
    print(f"{'all':50} lines {share(all_lines):6.1f} %   branches {share(all_branches):6.1f} %")
    if short:
        sys.exit(f"coverage: less than {least:g} % of the lines of {', '.join(short)}")


main()

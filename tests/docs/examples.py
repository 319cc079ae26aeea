#!/usr/bin/env python3
"""Writes a test for each C++ example on a page: the example compiles, runs, and prints what the page
shows.

    examples.py PAGE TO

An example is a block marked `cpp`. The block after the line "prints" below it, indented by four blanks,
is the expected output; without such a block, the example must print nothing. Types and functions that
begin in the first column are known to all later examples of the page; statements belong to their example
alone. An example with a main is a program. Each example runs in a directory of its own.
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r"#include ")
DECLARATION = re.compile(r"(template|class|struct|enum|using|namespace|QOR_DECLARE_\w+)\b")
FUNCTION = re.compile(r"(?!(?:if|for|while|switch|do|try|else|return)\b)[\w:<>&*, ]+[ &*]\w+\(.*\).*\{(.*\})?$")


class Example:
    def __init__(self, heading, line):
        self.heading, self.line, self.code, self.printed = heading, line, [], []


def examples_of(lines):
    found, heading, state = [], "", "prose"
    for number, line in enumerate(lines, 1):
        if state == "code":
            if line == "```":
                state = "after"
            else:
                found[-1].code.append(line)
        elif line == "```cpp":
            found.append(Example(heading, number + 1))
            state = "code"
        elif state == "after" and line == "prints":
            state = "printed"
        elif state == "printed" and (line.startswith("    ") or not line):
            if line or found[-1].printed:
                found[-1].printed.append(line[4:])
        elif line:
            state = "prose"
            heading = line.lstrip("# ") if line.startswith("#") else heading
    return found


def chunks_of(example):
    """The declarations and statements that begin in the first column: (line number, lines) of each."""
    chunks = []
    for offset, line in enumerate(example.code):
        opens = line and not line[0].isspace() and not re.match(r"[})]|//|(public|private|protected):|catch|else", line)
        if opens or not chunks:
            chunks.append((example.line + offset, []))
        chunks[-1][1].append(line)
    return chunks


def name_of(example, used):
    words = re.findall(r"\w+", example.heading)
    name = "".join(word[0].upper() + word[1:] for word in words) or "Start"
    used[name] = used.get(name, 0) + 1
    return name if used[name] == 1 else f"{name}{used[name]}"


def quoted(text):
    return "\n        ".join(
        '"' + line.replace("\\", "\\\\").replace('"', '\\"') + '\\n"' for line in text) or '""'


def main(page, target):
    lines = pathlib.Path(page).read_text(encoding="utf-8").splitlines()
    includes, shared, tests, used = ["#include <qor/qor.h>"], [], [], {}
    found = examples_of(lines)
    if not found:
        sys.exit(f"{page}: no example")
    for number, example in enumerate(found):
        body = []
        for line, chunk in chunks_of(example):
            place = f'#line {line} "{page}"'
            if INCLUDE.match(chunk[0]):
                includes += [one for one in chunk if INCLUDE.match(one)]
            elif DECLARATION.match(chunk[0]) or FUNCTION.match(chunk[0]):
                # A main without a return statement returns void here.
                ends = "0" if "return" in "".join(chunk) else ""
                chunk[0] = re.sub(r"^int main\(", f"{'int' if ends else 'void'} program_{number}(", chunk[0])
                shared += [place, *chunk]
            else:
                body += [place, *chunk]
        if any(line.startswith("int main(") for line in example.code):
            body = [f"EXPECT_EQ(program_{number}(), 0);" if ends else f"program_{number}();"]
        while example.printed and not example.printed[-1]:
            example.printed.pop()
        tests.append((name_of(example, used), example.line, body, quoted(example.printed)))

    stem = pathlib.Path(page).stem.lower()
    out = [f"// Made of {pathlib.Path(page).name} by tests/docs/examples.py.",
           *dict.fromkeys(includes), "#include <gtest/gtest.h>", '#include "support/example.h"', "",
           f"namespace {stem}_page {{", "namespace {", *shared]
    for name, line, body, printed in tests:
        out += [f'#line {line} "{page}"', f"TEST({stem.capitalize()}Page, {name}) {{",
                "    support::Example example;", *body,
                f'#line {line} "{page}"', f"    EXPECT_EQ(example.printed(), {printed});", "}"]
    out += ["}  // namespace", f"}}  // namespace {stem}_page"]
    pathlib.Path(target).write_text("\n".join(out) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])

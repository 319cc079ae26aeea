#!/usr/bin/env python3
"""Writes the input of Doxygen: changed copies of the public headers and of the pages in docs/.

    doc_sources.py TO               writes the copies to the directory TO
    doc_sources.py --finish HTML    corrects the pages that Doxygen has written to the directory HTML

In a header, "// text" becomes Doxygen's "/// text", with Doxygen's special characters escaped, and
indented lines of a comment become code examples. Each class gets links to the guides that name it, or
else to the guide of its area. Specialisations for the standard library and for fmt are left out, since
Doxygen cannot assign them to a class.

In a page, headings get the labels that links between pages use, and the names of public classes in
`code` become links to the reference. The page "reference" lists every public class, by area.
"""

import pathlib
import re
import shutil
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
INCLUDE = ROOT / "include" / "qor"
DOCS = ROOT / "docs"
# The guide that a class links to if no guide names the class.
GUIDE_OF_AREA = {
    "base": "strings", "string": "strings", "mt": "threads", "log": "logging", "timer": "timers",
    "tcp": "network", "icmp": "network", "cfg": "settings", "util": "files",
    "nbr": "binding", "pml": "binding", "json": "binding", "xml": "binding",
    "interop": "strings",
}
AREAS = {
    "base": "Views, strings, bytes, scalars, time, exceptions, start and end of the library",
    "string": "Buffers, cursors, split texts, forms",
    "mt": "Reference-counted objects, handles, locks, threads",
    "log": "The dumper, loggers, tracing, the console",
    "timer": "Timers",
    "nbr": "The compact binary format",
    "pml": "The text format of trees and settings",
    "json": "JSON",
    "xml": "XML",
    "cfg": "The settings of the process",
    "tcp": "Frames over TCP",
    "icmp": "Ping",
    "util": "Files, directories, ciphers, compression, commands, menus",
    "interop": "Formats of std::format and fmt",
}
# Pages about the project: a class does not link back to them.
NO_GUIDES = {"index", "architecture", "performance"}

CLASS = re.compile(r"^(?:class|struct) (?:QOR_API )?(\w+)(?: final)?(?: :.*| \{.*|$)(?<!;)")
EXCEPTION = re.compile(r"^QOR_DECLARE_(?:PLAIN_)?EXCEPTION\((\w+),")
# A namespace block that only declares classes.
FORWARD = re.compile(r"^namespace \w+ \{\n(?:(?:class|struct) \w+;\n)+\}\n", re.MULTILINE)
# Specialisations of templates of other libraries.
FOREIGN = re.compile(r"(requires .* )?struct (std|fmt)::|requires std::is_default_constructible_v<std::hash"
                     r"|inline constexpr bool std::")
SPAN = re.compile(r"(?<!`)`([^`]+)`(?!`)")


def headers():
    return sorted(INCLUDE.glob("*/*.h"))


def text_of(path):
    """The text of a file without __attribute__, which Doxygen cannot read."""
    return re.sub(r"__attribute__\(\(.*?\)\) ", "", path.read_text(encoding="utf-8"))


def classes_in(path):
    """The full names of the classes that a header defines at namespace level."""
    found, scope = [], []
    text = FORWARD.sub("", text_of(path)).splitlines()
    for number, line in enumerate(text):
        opened = re.match(r"^(?:inline )?namespace ([\w:]+) \{", line)
        if opened:
            scope.append(opened[1])
        elif line.startswith("}  // namespace"):
            if scope:
                scope.pop()
        else:
            match = CLASS.match(line) or EXCEPTION.match(line)
            special = number > 0 and text[number - 1].startswith("template <>")
            if match and not special and "detail" not in scope:
                found.append("::".join(scope + [match[1]]))
    return found


def brief_of(path, full):
    """The first sentence of the comment above a class."""
    name, above = full.rpartition("::")[2], []
    for line in text_of(path).splitlines():
        match = CLASS.match(line)
        if match and match[1] == name:
            text = re.split(r"(?<=[.:])(?: |$)", " ".join(above))[0].rstrip(":").rstrip(".")
            return re.sub(r"([\\@<>#%&|*_])", r"\\\1", text)
        if line.startswith("// ") or line == "//":
            above.append(line[3:])
        elif not line.startswith("template <"):
            above = []
    return ""


def classes():
    """{spelling: full name} for each spelling that means only one class: with all namespaces, without
    qor::, and without namespaces."""
    spellings = {}
    for path in headers():
        for full in classes_in(path):
            parts = full.split("::")
            for first in range(len(parts)):
                spellings.setdefault("::".join(parts[first:]), set()).add(full)
    result = {}
    for name, full in spellings.items():
        inner = {one for one in full if one == "qor::" + name}
        if len(full) == 1 or inner:
            result[name] = min(inner or full)
    return result


def slug(text):
    return re.sub(r"\W+", "_", text.strip().lower()).strip("_")


def title_of(page):
    with open(page, encoding="utf-8") as file:
        return file.readline().lstrip("# ").strip()


def linked_class(code, known):
    """The full name of the class that a piece of code names: the class, its constructor, or a member."""
    code = re.sub(r"<.*", "", code.strip())
    code = re.sub(r"\(.*", "", code)
    while code:
        if code in known:
            return known[code]
        if "::" not in code:
            return None
        code = code.rpartition("::")[0]
    return None


def prose(lines):
    """Yields each line of a page, and whether the line is prose (not part of an example)."""
    fenced = False
    before = ""
    for line in lines:
        if line.startswith("```"):
            fenced = not fenced
            yield line, False
        else:
            indented = line.startswith("    ") and not re.match(r"\s*(-|\d+\.) ", before)
            yield line, not fenced and not indented
        before = line if line.strip() else before


def guides_by_class(known):
    result = {}
    for page in sorted(DOCS.glob("*.md")):
        if page.stem in NO_GUIDES:
            continue
        lines = page.read_text(encoding="utf-8").splitlines()
        for line, is_prose in prose(lines):
            for code in SPAN.findall(line) if is_prose else []:
                full = linked_class(code, known)
                if full and page.stem not in result.setdefault(full, []):
                    result[full].append(page.stem)
    return result


def page_source(path, known):
    # In a table cell, Doxygen interprets HTML and its own commands also inside backticks.
    def code(match):
        full = linked_class(match[1], known)
        if full:
            return f'@ref {full} "{match[1]}"'
        if not re.search(r"[<>&@\\#%]", match[1]):
            return match[0]
        text = match[1].replace("\\|", "|").replace("&", "&amp;")
        text = text.replace("<", "&lt;").replace(">", "&gt;").replace("|", "&#124;")
        return "<code>" + re.sub(r"([\\@#%*_\[\]`~])", r"\\\1", text) + "</code>"

    first = True
    for line, is_prose in prose(path.read_text(encoding="utf-8").splitlines()):
        heading = re.match(r"^(#+) (.*)$", line) if is_prose else None
        if heading:
            name = path.stem if first else f"{path.stem}_{slug(heading[2])}"
            label = "" if first and path.stem == "index" else f" {{#page_{name}}}"
            yield (f"{heading[1]} {heading[2]}{label}")
            first = False
            continue
        if is_prose:
            line = re.sub(r"\]\((?:docs/)?([\w]+)\.md#([\w-]+)\)",
                          lambda m: f"](@ref page_{m[1]}_{slug(m[2].replace('-', ' '))})", line)
            line = re.sub(r"\]\((?:docs/)?([\w]+)\.md\)", r"](@ref page_\1)", line)
            line = SPAN.sub(code, line)
        yield (line)


def see_also(full, area, guides):
    pages = guides.get(full) or [GUIDE_OF_AREA[area]]
    links = ", ".join(f'@ref page_{page} "{title_of(DOCS / (page + ".md"))}"' for page in pages)
    return f"/// @sa {links}"


def public_part(text):
    """The lines of a header without private nested classes: Doxygen leaves out their pages, but not the
    links to these pages."""
    access, inside, template = {}, None, None
    for line in FORWARD.sub("", text).splitlines():
        indent = re.match(r" *", line)[0]
        section = re.match(r" *(public|protected|private):$", line)
        if section:
            access[indent] = section[1]
        elif re.match(r" *(class|struct) .*\{$", line):
            access[indent] = "private" if line.lstrip().startswith("class") else "public"
        private = indent[4:] if access.get(indent[4:]) == "private" and len(indent) >= 4 else None
        if inside is not None:
            if line == f"{inside}}};":
                inside = None
            continue
        if template is not None and not re.match(r" *(class|struct) ", line):
            yield template
            template = None
        if private is not None and re.match(r" *template <.*>$", line):
            template = line
            continue
        if private is not None and re.match(r" *(class|struct) \w+( : .*)?( \{|;| \{\};)$", line):
            inside = indent if line.endswith("{") else None
            template = None
            continue
        if template is not None:
            yield template
            template = None
        yield line


def header_source(path, guides):
    area = path.parent.name
    lines = []
    full_names = {name.rpartition("::")[2]: name for name in classes_in(path)}
    skipping = example = False
    held, lead = "", ""

    def show(line):
        nonlocal held
        if held:
            lines.append(held)
        held = ""
        lines.append(line)

    def end_example():
        nonlocal example
        if example:
            show(f"{lead}/// @endcode")
        example = False

    for line in public_part(text_of(path)):
        if FOREIGN.match(line):
            skipping, held = True, ""
        if skipping:
            skipping = not re.search(r"^\};|\{\};$|true;$", line)
            continue
        comment = re.match(r"^(\s*)//( .*|)$", line)
        if comment:
            lead, text = comment[1], comment[2]
            if text.startswith("     "):
                if not example:
                    show(f"{lead}/// @code{{.cpp}}")
                example = True
                show(f"{lead}///{text}")
                continue
            if text:
                end_example()
            text = re.sub(r"([\\@<>#%&])", r"\\\1", text)
            # Doxygen would read the backslash in "\" as escaping the closing quote.
            show(f"{lead}///" + text.replace('"\\\\"', "<code>\\\\</code>"))
            continue
        end_example()
        if line.startswith("template <"):
            if held:
                lines.append(held)
            held = line
            continue
        match = CLASS.match(line) or EXCEPTION.match(line)
        if match and match[1] in full_names:
            template, held = held, ""
            if template != "template <>":
                lines.append("///")
                lines.append(see_also(full_names[match[1]], area, guides))
            if template:
                lines.append(template)
        show(line)
    if held:
        lines.append(held)
    return lines


def reference_page():
    yield "# Reference\n"
    yield ("Every public class, by area. `#include <qor/qor.h>` includes all of them; you can also "
           "include a single header.\n")
    by_area = {}
    for path in headers():
        for full in classes_in(path):
            by_area.setdefault(path.parent.name, []).append((full, path))
    for area, text in AREAS.items():
        guide = GUIDE_OF_AREA[area]
        yield f"## {area}\n"
        yield f'{text}. Guide: @ref page_{guide} "{title_of(DOCS / (guide + ".md"))}".\n'
        yield "| Class | Description |\n|---|---|"
        for full, path in by_area.get(area, []):
            yield f'| @ref {full} "{full.removeprefix("qor::")}" | {brief_of(path, full)} |'
        yield ""


def main(target):
    known = classes()
    guides = guides_by_class(known)

    def write(path, lines):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("\n".join(lines) + "\n", encoding="utf-8")

    shutil.rmtree(target, ignore_errors=True)
    for path in [INCLUDE / "qor.h", *headers()]:
        write(target / path.relative_to(INCLUDE.parent), header_source(path, guides))
    for path in DOCS.glob("*.md"):
        write(target / f"{path.stem}.dox", page_source(path, known))
    reference = target / "reference.md"
    write(reference, reference_page())
    write(target / "reference.dox", list(page_source(reference, known)))
    reference.unlink()


def finish(folder):
    """Changes that Doxygen has no setting for: removes the pages about the .dox files, and makes each
    SVG an <img> with a text."""
    def picture(match):
        title = re.search("<title>(.*?)</title>", (folder / match[1]).read_text(encoding="utf-8"))
        return f'<img src="{match[1]}" alt="{title[1]}"/>'

    for path in folder.glob("*_8dox.html"):
        path.unlink()
    for path in folder.glob("search/*.js"):
        text = path.read_text(encoding="utf-8")
        path.write_text(re.sub(r".*_8dox\.html.*\n", "", text), encoding="utf-8")
    for path in [folder / "index.html", *folder.glob("page_*.html")]:
        text = path.read_text(encoding="utf-8")
        text = re.sub(r'<object type="image/svg\+xml" data="([^"]*)"[^>]*>.*?</object>', picture, text)
        text = re.sub(r'<img src="([^"]*\.svg)" [^>]*class="inline"[^>]*/>', picture, text)
        path.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    if sys.argv[1] == "--finish":
        finish(pathlib.Path(sys.argv[2]))
    else:
        main(pathlib.Path(sys.argv[1]))

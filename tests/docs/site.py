#!/usr/bin/env python3
"""Checks the manual in HTML. Fails on

- a dead link, a page without content, a picture without a text;
- a page of docs/ without a link from the menu or the front page;
- a class without a link to a guide, or a guide without a link to a class.

    site.py HTML_DIRECTORY
"""

import html.parser
import pathlib
import re
import sys
import urllib.parse

DOCS = pathlib.Path(__file__).resolve().parent.parent.parent / "docs"
# Pages about the library as a whole.
NO_GUIDES = {"index", "performance", "tools"}
LEAST_CONTENT = 20  # characters, without the title


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.anchors, self.links, self.pictures, self.content_links = set(), [], [], []
        self.depth = self.text = 0
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.anchors |= {values[key] for key in ("id", "name") if values.get(key)}
        links = [values[key] for key in ("href", "src", "data") if values.get(key)]
        self.links += links
        if tag in ("img", "object"):
            self.pictures.append(values.get("alt", ""))
        if tag == "div" and (self.depth or "contents" in values.get("class", "").split()):
            self.depth += 1
        if self.depth:
            self.content_links += links
            self.text += LEAST_CONTENT if tag == "img" else 0

    def handle_endtag(self, tag):
        if tag == "div" and self.depth:
            self.depth -= 1

    def handle_data(self, data):
        if self.depth:
            self.text += len(data.strip())


def main(folder):
    folder = pathlib.Path(folder)
    # Without the pages in search/, which only the search window shows; its links are checked below.
    pages = {path.name: Page(path) for path in folder.glob("*.html")}
    failures = []

    def follow(source, link):
        parts = urllib.parse.urlsplit(link)
        if parts.scheme or parts.netloc:
            return
        name, anchor = urllib.parse.unquote(parts.path) or source, urllib.parse.unquote(parts.fragment)
        if not (folder / name).is_file():
            failures.append(f"{source}: dead link {link}")
        elif anchor and name in pages and anchor not in pages[name].anchors:
            failures.append(f"{source}: no such place {link}")

    for name, page in sorted(pages.items()):
        for link in page.links:
            follow(name, link)
        if page.text < LEAST_CONTENT:
            failures.append(f"{name}: no content")
        if not all(page.pictures):
            failures.append(f"{name}: a picture without a text")

    menu = re.findall(r'url:"([^"]*)"', (folder / "menudata.js").read_text(encoding="utf-8"))
    for link in menu:
        follow("menudata.js", link)
    found = 0
    for path in folder.glob("search/*.js"):
        for link in re.findall(r"'\.\./([^']*)'", path.read_text(encoding="utf-8")):
            found += 1
            follow(f"search/{path.name}", link)

    reached = {link.partition("#")[0] for link in [*menu, *pages["index.html"].links]}
    for path in DOCS.glob("*.md"):
        name = "index.html" if path.stem == "index" else f"page_{path.stem}.html"
        if name not in pages:
            failures.append(f"docs/{path.name}: no page")
        elif path.stem != "index" and name not in reached:
            failures.append(f"docs/{path.name}: neither the menu nor the start page leads to it")
        elif path.stem not in NO_GUIDES and not any(
                re.match(r"(class|struct)", link) for link in pages[name].content_links):
            failures.append(f"docs/{path.name}: no link to a class")
    classes = {link for link in pages["page_reference.html"].content_links
               if re.match(r"(class|struct)", link)}
    for name in sorted(classes & pages.keys()):
        if not any(link.startswith("page_") for link in pages[name].content_links):
            failures.append(f"{name}: no link to a guide")

    if len(classes) < 100 or found < 1000:
        failures.append(f"{len(classes)} classes and {found} entries of the search: too few")
    if failures:
        sys.exit("\n".join(failures + [f"site: {len(failures)} failures"]))
    print(f"site: {len(pages)} pages, {found} entries of the search, no dead link")


if __name__ == "__main__":
    main(sys.argv[1])

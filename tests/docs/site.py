#!/usr/bin/python3
"""Whether docs/site/ is whole, small and up to date: site.py PROJECT

`scripts/check-site` tries it in a browser.
"""
from __future__ import annotations

import filecmp
import html.parser
import pathlib
import subprocess
import sys
import tempfile

MOST_AT_FIRST = 1_000_000  # bytes, sounds aside
MOST_PER_SOUND = 130_000
VOID = {"meta", "link", "input", "img", "br", "path"}


class Page(html.parser.HTMLParser):
    """Collects what is wrong with a page, and what it refers to."""

    def __init__(self):
        super().__init__()
        self.faults: list[str] = []
        self.files: list[str] = []
        self._open: list[str] = []
        self._ids: set[str] = set()
        self._wanted: list[str] = []

    def handle_starttag(self, tag, attributes):
        known = dict(attributes)
        where = f"line {self.getpos()[0]}: <{tag}>"
        if tag not in VOID:
            self._open.append(tag)
        if tag == "img" and not (known.get("alt") and known.get("width") and known.get("height")):
            self.faults.append(f"{where} lacks a text or its size")
        if "id" in known and known["id"] in self._ids:
            self.faults.append(f"{where} has an id that is there already")
        self._ids.add(known.get("id"))
        self._wanted += [one for name in ("aria-labelledby", "for") for one in known.get(name, "").split()]
        for name in ("src", "href"):
            target = known.get(name, "")
            if target.startswith("#"):
                self._wanted.append(target[1:])
            elif target.startswith("https:") and tag == "a":
                continue
            elif ":" in target or target.startswith("//"):
                self.faults.append(f"{where} takes something from elsewhere: {target}")
            elif target:
                self.files.append(target)

    def handle_startendtag(self, tag, attributes):
        self.handle_starttag(tag, attributes)
        if tag not in VOID:
            self._open.pop()

    def handle_endtag(self, tag):
        if tag not in VOID and (not self._open or self._open.pop() != tag):
            self.faults.append(f"line {self.getpos()[0]}: </{tag}> closes nothing")

    def finish(self):
        self.faults += [f"<{tag}> is not closed" for tag in self._open]
        self.faults += [f"there is no id {name}" for name in self._wanted if name not in self._ids]


def main() -> int:
    project = pathlib.Path(sys.argv[1])
    site = project / "docs" / "site"
    page = Page()
    page.feed((site / "index.html").read_text())
    page.finish()
    faults = page.faults + [f"{name} is missing" for name in page.files if not (site / name).is_file()]
    needed = {(site / name).resolve() for name in [*page.files, "index.html"]}
    present = {path.resolve() for path in site.rglob("*") if path.is_file()}
    faults += [f"{path.name} is needed by nothing" for path in present - needed]
    sounds = {path for path in present if path.suffix == ".opus"}
    faults += [f"{path.name} is too large" for path in sounds if path.stat().st_size > MOST_PER_SOUND]
    size = sum(path.stat().st_size for path in present - sounds)
    if size > MOST_AT_FIRST:
        faults.append(f"{size} bytes may be loaded before a sound is played")
    if len(sounds) < 15:
        faults.append(f"only {len(sounds)} sounds")
    with tempfile.TemporaryDirectory() as scratch:
        subprocess.run([project / "scripts" / "make-site", "--page", scratch], check=True)
        for made in pathlib.Path(scratch).iterdir():
            if not filecmp.cmp(made, site / made.name, shallow=False):
                faults.append(f"{made.name} is not what its sources and the benchmarks' tables say: "
                              "run scripts/make-site --page")
    print(*faults, f"{len(sounds)} sounds, {size} bytes beside them", sep="\n")
    return min(len(faults), 1)


if __name__ == "__main__":
    sys.exit(main())

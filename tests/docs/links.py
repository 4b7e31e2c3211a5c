#!/usr/bin/python3
"""Whether what the documents point to is there: links.py PROJECT

Links to files and to headings in them, paths between backticks, and names of functions and classes between
backticks in those documents that explain the code.
"""
from __future__ import annotations

import pathlib
import re
import sys
from functools import lru_cache

ABOUT_CODE = ("CONTRIBUTING.md", "docs/architecture.md", "docs/tracking-engine.md", "docs/notches.md",
              "docs/precise-remover.md", "docs/detector.md")
SOURCES = ("dsp", "base", "audiofile", "presets", "plugin", "ui", "lv2", "kalim", "standalone", "formats",
           "python", "tests", "benchmarks")
FOLDERS = (*SOURCES, "resources", "scripts", "docs", "cmake", "dev", "build")
# Classes and functions of the system and of other projects.
FOREIGN = {"PipeWire"}


def without_blocks(text: str) -> str:
    return re.sub(r"^ *```.*?^ *```$", "", text, flags=re.MULTILINE | re.DOTALL)


@lru_cache(maxsize=None)
def anchors_of(path: pathlib.Path) -> set[str]:
    """Where a link can lead to within a document: headings as hosts of repositories name them, or ids."""
    text = path.read_text()
    if path.suffix == ".html":
        return set(re.findall(r'\bid="([^"]+)"', text))
    anchors: set[str] = set()
    for heading in re.findall(r"^#+ (.*)$", without_blocks(text), re.MULTILINE):
        shown = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", heading).lower()
        name = re.sub(r"[^\w\- ]", "", shown).replace(" ", "-")
        number = 1
        while name + (f"-{number}" if number > 1 else "") in anchors:
            number += 1
        anchors.add(name + (f"-{number}" if number > 1 else ""))
    return anchors


def check_links(document: pathlib.Path, text: str) -> list[str]:
    faults = []
    for target in re.findall(r"\]\(([^)\s]+)\)", text):
        if re.match(r"[a-z]+:", target):
            continue
        name, _, anchor = target.partition("#")
        path = (document.parent / name).resolve() if name else document.resolve()
        if not path.exists():
            faults.append(f"there is no {target}")
        elif anchor and path.is_file() and anchor not in anchors_of(path):
            faults.append(f"nothing is called {target}")
    return faults


@lru_cache(maxsize=None)
def names_in_sources(project: pathlib.Path) -> set[str]:
    names: set[str] = set()
    for folder in SOURCES:
        for path in (project / folder).rglob("*"):
            if path.suffix in (".h", ".cpp", ".py", ".cmake", ".sh", ".txt"):
                names.update(re.findall(r"[A-Za-z_]\w+", path.read_text(errors="replace")))
    for path in (project / "CMakeLists.txt", *(project / "cmake").glob("*.cmake")):
        names.update(re.findall(r"\w+", path.read_text()))
    return names


def check_names(project: pathlib.Path, document: str, text: str) -> list[str]:
    faults = []
    for code in re.findall(r"`([^`\n]+)`", text):
        path = re.fullmatch(rf"((?:{'|'.join(FOLDERS)})/[\w./ -]*\*?)", code)
        if path and not code.startswith("build/"):
            whole, first = path[1].rstrip("*/"), path[1].split()[0]
            if not any(project.glob(whole + "*")) and not (project / first).exists():
                faults.append(f"there is no {code}")
            continue
        name = re.fullmatch(r"(?:\w+::)*([A-Za-z]\w+)(?:\(\))?", code)
        is_own = name and (code.endswith("()") or "::" in code or re.search(r"[a-z][A-Z]", name[1]))
        if document in ABOUT_CODE and is_own and name[1] not in names_in_sources(project) | FOREIGN:
            faults.append(f"nothing in the sources is called {code}")
    return faults


def main() -> int:
    project = pathlib.Path(sys.argv[1]).resolve()
    documents = [path for pattern in ("*.md", "docs/*.md", "python/*.md", "benchmarks/**/*.md",
                                      "resources/**/*.md") for path in project.glob(pattern)]
    failed = 0
    for document in sorted(documents):
        name = str(document.relative_to(project))
        text = without_blocks(document.read_text())
        for fault in check_links(document, text) + check_names(project, name, text):
            print(f"{name}: {fault}")
            failed = 1
    print(f"{len(documents)} documents")
    return failed


if __name__ == "__main__":
    sys.exit(main())

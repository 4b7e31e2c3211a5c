"""Tables of the documents, so that the page tells what they tell."""
from __future__ import annotations

import pathlib
import re


class Table:
    """A table in Markdown: the names of its columns, and its rows."""

    def __init__(self, lines: list[str]):
        split = [[cell.strip() for cell in line.strip().strip("|").split("|")] for line in lines]
        self.columns = split[0]
        self.rows = split[2:]

    def take(self, *columns: str) -> list[list[str]]:
        """The cells of some columns, row by row. Throws ValueError where one is missing."""
        places = [self.columns.index(column) for column in columns]
        return [[row[place] for place in places] for row in self.rows]


def find_tables(document: pathlib.Path, heading: str) -> list[Table]:
    """The tables between a heading and the next of its kind. Throws ValueError where there are none."""
    text = document.read_text()
    found = re.search(rf"^(#+) {re.escape(heading)}$(.*?)(?=^\1 |\Z)", text, re.MULTILINE | re.DOTALL)
    blocks = re.findall(r"(?:^\|.*\n)+", found[2], re.MULTILINE) if found else []
    if not blocks:
        raise ValueError(f"{document.name} has no table under '{heading}'")
    return [Table(block.splitlines()) for block in blocks]

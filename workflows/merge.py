#!/usr/bin/env python3
"""Joins the reports of all shards: TARGET/kalim-report.csv and TARGET/kalim-report.json.

    merge.py TARGET

A row per file of the collection, also of those whose shard did not come to its end. Exit code 1
when any was not cleaned.
"""
from __future__ import annotations

import csv
import io
import json
import os
import pathlib
import sys
from collections.abc import Iterator
from dataclasses import dataclass, field

from collection import Collection, Plan, read_names

MOST_NAMED = 20  # on the screen; the report has all
LINE_END = "\r\n"


@dataclass
class Sums:
    """What became of all."""

    done: int = 0
    seconds: float = 0.0
    failures: list[str] = field(default_factory=list)

    def add(self, row: dict) -> None:
        if row["status"] == "done":
            self.done += 1
            self.seconds += row.get("seconds", 0.0)
        else:
            warnings = "; ".join(row.get("warnings", []))
            self.failures.append(row.get("error") or f"{row['input']}: {warnings}")


def rows_without_report(collection: Collection, name: str) -> Iterator[dict]:
    """Of a shard that did not come to its end: what its journal knows, or why nothing is known."""
    journal = collection.place("journals", name)
    known = {}
    for line in journal.read_bytes().splitlines() if journal.exists() else []:
        try:
            row = json.loads(line)
        except ValueError:  # cut off
            continue
        row.pop("key", None)
        known[row["input"]] = row
    reason = f"shard {name} did not end; see {collection.place('logs', name)}.log"
    for path in read_names(collection.place("shards", name)):
        shown = os.fsencode(path).decode(errors="replace")
        row = known.get(shown, {"input": shown, "status": "missing"})
        if row["status"] in ("missing", "started"):
            row["error"] = f"{shown}: {reason}"
        yield row


def rows_of(collection: Collection, plan: Plan, name: str) -> Iterator[dict]:
    report = collection.place("json", name)
    if has_report(collection, name):
        yield from json.loads(report.read_bytes())
    else:
        yield from rows_without_report(collection, name)


def has_report(collection: Collection, name: str) -> bool:
    return all(report.exists() for report in collection.reports(name))


def rows_of_problems(plan: Plan) -> Iterator[dict]:
    for folder, reason in plan.problems.items():
        shown = os.fsencode(folder).decode(errors="replace")
        yield {"input": shown, "status": "failed", "error": f"{shown}: {reason}"}


def header_of(collection: Collection, plan: Plan) -> str:
    """The columns are kalim's."""
    for name in plan.shards:
        if has_report(collection, name):
            with open(collection.place("csv", name), encoding="utf-8", newline="") as table:
                return table.readline().rstrip(LINE_END)
    return "input,output,status,error"


def to_csv(rows: Iterator[dict], header: str) -> str:
    text = io.StringIO()
    writer = csv.DictWriter(text, header.split(","), extrasaction="ignore", lineterminator=LINE_END)
    for row in rows:
        writer.writerow({key: "; ".join(cell) if isinstance(cell, list) else cell
                         for key, cell in row.items()})
    return text.getvalue()


def csv_of(collection: Collection, name: str, header: str) -> str:
    if not has_report(collection, name):
        return to_csv(rows_without_report(collection, name), header)
    with open(collection.place("csv", name), encoding="utf-8", newline="") as table:
        found = table.readline().rstrip(LINE_END)
        if found != header:
            sys.exit(f"kalim: {table.name}: has other columns than the other shards")
        return table.read()


class NewFile:
    """A text file that appears under its name only when all of it is written."""

    def __init__(self, path: pathlib.Path) -> None:
        self.path = path
        self.hidden = path.with_name(f".{path.name}.{os.getpid()}")

    def __enter__(self) -> io.TextIOBase:
        self.file = open(self.hidden, "w", encoding="utf-8", newline="")
        return self.file

    def __exit__(self, kind, *_) -> None:
        self.file.close()
        if kind is None:
            self.hidden.replace(self.path)
        else:
            self.hidden.unlink()


def write_csv(collection: Collection, plan: Plan, path: pathlib.Path) -> None:
    header = header_of(collection, plan)
    with NewFile(path) as table:
        table.write(header + LINE_END)
        for name in plan.shards:
            table.write(csv_of(collection, name, header))
        table.write(to_csv(rows_of_problems(plan), header))


def write_json(collection: Collection, plan: Plan, path: pathlib.Path) -> Sums:
    def all_rows() -> Iterator[dict]:
        for name in plan.shards:
            yield from rows_of(collection, plan, name)
        yield from rows_of_problems(plan)

    sums = Sums()
    with NewFile(path) as report:
        between = "[\n"
        for row in all_rows():
            report.write(between + json.dumps(row, ensure_ascii=False))
            between = ",\n"
            sums.add(row)
        report.write("\n]\n")
    return sums


def merge(target: str | os.PathLike[str]) -> Sums:
    collection = Collection(target)
    plan = collection.read_plan()
    folder = pathlib.Path(target)
    write_csv(collection, plan, folder / "kalim-report.csv")
    return write_json(collection, plan, folder / "kalim-report.json")


def tell(target: str, sums: Sums) -> None:
    for failure in sums.failures[:MOST_NAMED]:
        print(f"kalim: {failure}", file=sys.stderr)
    more = len(sums.failures) - MOST_NAMED
    if more > 0:
        print(f"kalim: and {more} more", file=sys.stderr)
    failed = len(sums.failures)
    print(f"{sums.done + failed} files: {sums.done} cleaned, {failed} failed; "
          f"{sums.seconds / 3600:.2f} hours of sound; "
          f"{target}/kalim-report.csv and .json tell of each", file=sys.stderr)


def main() -> None:
    if len(sys.argv) != 2:
        sys.exit("usage: merge.py TARGET")
    sums = merge(sys.argv[1])
    tell(sys.argv[1], sums)
    sys.exit(1 if sums.failures else 0)


if __name__ == "__main__":
    main()

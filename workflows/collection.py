"""Where a collection's shards, lists, journals and reports lie, and how kalim is called on a shard.

All lies in the folder `.kalim` of the output folder: plan.json (what is to be done), members (the
names that ever belonged to a shard, so that a file stays with the journal that knows it), shards
(what is there of them now), journals, reports, and logs.
"""
from __future__ import annotations

import json
import os
import pathlib
import subprocess
import sys
from dataclasses import asdict, dataclass, field
from typing import NoReturn

REPORT_KINDS = ("csv", "json")


@dataclass
class Shard:
    """How much work a shard is."""

    files: int
    gigabytes: float


@dataclass
class Plan:
    """What is to be cleaned, where to, and how; paths are absolute, for jobs begin anywhere."""

    source: str
    target: str
    kalim: str
    options: list[str]
    folder: str  # that the options' names are relative to
    shards: dict[str, Shard] = field(default_factory=dict)
    problems: dict[str, str] = field(default_factory=dict)  # by folder that could not be read


class Collection:
    """The folder of a plan."""

    def __init__(self, target: str | os.PathLike[str]) -> None:
        self.folder = pathlib.Path(target) / ".kalim"

    def place(self, kind: str, name: str) -> pathlib.Path:
        """A file of a shard: kind is members, shards, journals, logs, csv or json."""
        if kind in REPORT_KINDS:
            return self.folder / "reports" / f"{name}.{kind}"
        return self.folder / kind / name

    def reports(self, name: str) -> list[pathlib.Path]:
        return [self.place(kind, name) for kind in REPORT_KINDS]

    def remove_reports(self, name: str) -> None:
        for report in self.reports(name):
            report.unlink(missing_ok=True)

    def read_plan(self) -> Plan:
        """Ends the program with a message where nothing was planned."""
        try:
            plan = Plan(**json.loads((self.folder / "plan.json").read_text()))
        except FileNotFoundError:
            fail(f"{self.folder.parent}: nothing was planned; plan.py does that")
        plan.shards = {name: Shard(**shard) for name, shard in plan.shards.items()}
        return plan

    def write_plan(self, plan: Plan) -> None:
        write_whole(self.folder / "plan.json", json.dumps(asdict(plan), indent=1).encode())

    def call(self, plan: Plan, name: str, *more: str, **keywords) -> subprocess.CompletedProcess:
        """Runs kalim on a shard."""
        command = [plan.kalim, *plan.options, "--output-dir", plan.target, "--base", plan.source,
                   "--files-from", str(self.place("shards", name).absolute()),
                   "--journal", str(self.place("journals", name).absolute()), *more]
        return subprocess.run(command, cwd=plan.folder, check=False, **keywords)


def write_whole(path: pathlib.Path, content: bytes) -> None:
    """Writes all or nothing, and nothing where the file holds this already."""
    if path.exists() and path.read_bytes() == content:
        return
    path.parent.mkdir(parents=True, exist_ok=True)
    hidden = path.with_name(f".{path.name}.{os.getpid()}")
    hidden.write_bytes(content)
    hidden.replace(path)


def read_names(path: pathlib.Path) -> list[str]:
    """The names of a list, each followed by a zero byte; none where there is no list."""
    content = path.read_bytes() if path.exists() else b""
    return [os.fsdecode(name) for name in content.split(b"\0") if name]


def write_names(path: pathlib.Path, names: list[str]) -> None:
    write_whole(path, b"".join(os.fsencode(name) + b"\0" for name in names))


def fail(message: str) -> NoReturn:
    """Ends the program as kalim does upon wrong usage."""
    print(f"kalim: {message}", file=sys.stderr)
    sys.exit(2)

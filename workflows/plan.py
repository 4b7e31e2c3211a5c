#!/usr/bin/env python3
"""Parts a collection into shards, and names those that have work left, one per line.

    plan.py [--kalim PROGRAM] [--shard-files N] [--shard-gigabytes N] SOURCE TARGET [-- OPTION...]

A file stays in the shard that it was first given to. A shard has work left where kalim itself says
that files are missing or have changed, or where no report of it is there.
"""
from __future__ import annotations

import argparse
import os
import shutil
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass

from collection import Collection, Plan, Shard, fail, read_names, write_names

# What kalim takes for sound in folders.
ENDINGS = {
    ".wav", ".wave", ".bwf", ".rf64", ".w64", ".aif", ".aiff", ".aifc", ".caf", ".flac", ".ogg",
    ".oga", ".opus", ".au", ".snd", ".mp3", ".m4a", ".mp4", ".mkv", ".mka", ".mov", ".webm", ".wma",
    ".aac", ".avi",
}

# Of these a gigabyte is some ten times as much sound as of the others.
DENSE = {".ogg", ".oga", ".opus", ".mp3", ".m4a", ".mp4", ".mka", ".webm", ".wma", ".aac"}
DENSITY = 10

# Each shard has its own of these.
RESERVED = {"--output-dir", "--base", "--files-from", "--journal", "--report", "--jobs",
            "--dry-run"}


@dataclass
class Limits:
    """Where a shard is full; a gigabyte is one of PCM or FLAC, or as much sound."""

    files: int = 500
    gigabytes: float = 50.0


def ending_of(name: str) -> str:
    return os.path.splitext(name)[1].lower()


def find_sound(source: str, target: str) -> tuple[dict[str, float], dict[str, str]]:
    """The gigabytes of each sound file by its name below the folder, and what could not be read."""
    found: dict[str, float] = {}
    problems: dict[str, str] = {}

    def note(error: OSError) -> None:
        problems[str(error.filename)] = os.strerror(error.errno or 0)

    avoided = os.path.realpath(target)
    for folder, folders, names in os.walk(source, onerror=note):
        folders[:] = sorted(name for name in folders
                            if os.path.realpath(os.path.join(folder, name)) != avoided)
        for name in sorted(names):
            if ending_of(name) in ENDINGS and not name.startswith("."):
                path = os.path.join(folder, name)
                found[os.path.relpath(path, source)] = gigabytes_of(path)
    return found, problems


def gigabytes_of(path: str) -> float:
    try:
        size = os.stat(path).st_size
    except OSError:  # which kalim will tell of
        size = 0
    return size / 1e9 * (DENSITY if ending_of(path) in DENSE else 1)


def assign(members: dict[str, list[str]], found: dict[str, float], limits: Limits) -> None:
    """Gives files that are new to the last shard until it is full, and then to further ones."""
    known = {name for names in members.values() for name in names}
    last = max(members, default="0000")
    names = members.get(last, [])
    gigabytes = sum(found.get(name, 0.0) for name in names)
    for name, size in found.items():
        if name in known:
            continue
        is_full = len(names) >= limits.files or gigabytes + size > limits.gigabytes
        if last not in members or (is_full and names):
            last = f"{int(last) + 1:04}"
            names = members[last] = []
            gigabytes = 0.0
        names.append(name)
        gigabytes += size


def write_lists(collection: Collection, plan: Plan, found: dict[str, float],
                limits: Limits) -> None:
    """A shard whose list has changed has no report any more."""
    folder = collection.folder / "members"
    members = {file.name: read_names(file) for file in sorted(folder.glob("[0-9]*"))}
    assign(members, found, limits)
    for name, names in members.items():
        write_names(collection.place("members", name), names)
        present = [one for one in names if one in found]
        paths = [os.path.join(plan.source, one) for one in present]
        shard_list = collection.place("shards", name)
        if read_names(shard_list) != paths:
            collection.remove_reports(name)
            write_names(shard_list, paths)
        if present:
            plan.shards[name] = Shard(len(present), sum(found[one] for one in present))


def require_sense(plan: Plan, names: list[str]) -> None:
    """Lets kalim look at options, and at whether two files would become one, before any work."""
    command = [plan.kalim, *plan.options, "--dry-run", "--output-dir", plan.target,
               "--base", plan.source, "--files-from", "-"]
    paths = b"".join(os.fsencode(os.path.join(plan.source, name)) + b"\0" for name in names)
    run = subprocess.run(command, input=paths, stdout=subprocess.DEVNULL, cwd=plan.folder,
                         check=False)
    if run.returncode != 0:
        sys.exit(run.returncode)


def has_work_left(collection: Collection, plan: Plan, name: str) -> bool:
    if not all(report.exists() for report in collection.reports(name)):
        return True
    told = collection.call(plan, name, "--dry-run", stdout=subprocess.PIPE).stdout.splitlines()
    return not told or not all(line.endswith(b" (done)") for line in told)


def find_program(kalim: str) -> str:
    program = shutil.which(kalim)
    if program is None:
        fail(f"{kalim}: there is no such program")
    return os.path.abspath(program)


def require_own_options(options: list[str]) -> None:
    for option in options:
        if option.split("=")[0] in RESERVED:
            fail(f"{option}: every shard has its own")


def make(source: str, target: str, kalim: str = "kalim", options: list[str] | None = None,
         limits: Limits | None = None) -> list[str]:
    """Writes the plan and removes reports that no longer hold; gives the shards with work left."""
    require_own_options(options or [])
    if not os.path.isdir(source):
        fail(f"{source}: is not a folder")
    plan = Plan(os.path.abspath(source), os.path.abspath(target), find_program(kalim),
                options or [], os.getcwd())
    found, plan.problems = find_sound(plan.source, plan.target)
    if not found and not plan.problems:
        fail(f"{source}: holds no sound")
    require_sense(plan, list(found))
    collection = Collection(plan.target)
    (collection.folder / "logs").mkdir(parents=True, exist_ok=True)
    write_lists(collection, plan, found, limits or Limits())
    collection.write_plan(plan)
    with ThreadPoolExecutor() as pool:
        is_left = pool.map(lambda name: has_work_left(collection, plan, name), plan.shards)
    left = [name for name, has_work in zip(plan.shards, is_left) if has_work]
    for name in left:
        collection.remove_reports(name)
    return left


def main() -> None:
    parser = argparse.ArgumentParser(description="Parts a collection into shards, and names those"
                                     " that have work left.")
    parser.add_argument("--kalim", default="kalim", metavar="PROGRAM")
    parser.add_argument("--shard-files", type=int, default=Limits.files, metavar="N")
    parser.add_argument("--shard-gigabytes", type=float, default=Limits.gigabytes, metavar="N")
    parser.add_argument("source", metavar="SOURCE")
    parser.add_argument("target", metavar="TARGET")
    parser.add_argument("options", nargs="*", metavar="OPTION", help="for kalim, behind --")
    given = parser.parse_args()
    limits = Limits(given.shard_files, given.shard_gigabytes)
    for name in make(given.source, given.target, given.kalim, given.options, limits):
        print(name)


if __name__ == "__main__":
    main()

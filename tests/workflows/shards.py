#!/usr/bin/env python3
"""Plan, shards and report without any engine around them: shards.py KALIM"""
from __future__ import annotations

import json
import pathlib
import re
import subprocess
import sys

from support import (WORKFLOWS, environment, expect, names_below, scratch_folder, wait_for,
                     write_noise)

sys.path.insert(0, str(WORKFLOWS))
sys.dont_write_bytecode = True

import plan  # noqa: E402
from collection import Collection, read_names  # noqa: E402


class Case:
    """A collection of short tones, and the programs to plan and clean it."""

    def __init__(self, kalim: str, folder: pathlib.Path) -> None:
        self.kalim = kalim
        self.source, self.target = folder / "tapes", folder / "clean"
        self.environment = environment(folder)
        (self.source / "b").mkdir(parents=True)
        self.add("a.wav", "b/c.wav", "b/d.wav", "e.wav", "f.wav")

    def add(self, *names: str) -> None:
        for name in names:
            write_noise(self.source / name, 0.2, 1, 8000)

    def run(self, program: str, *words: object) -> subprocess.CompletedProcess:
        return subprocess.run([WORKFLOWS / program, *map(str, words)], env=self.environment,
                              text=True, capture_output=True, check=False, timeout=60)

    def plan(self, *options: str, kalim: str = "") -> subprocess.CompletedProcess:
        return self.run("plan.py", "--kalim", kalim or self.kalim, "--shard-files", 2, self.source,
                        self.target, "--", *options)

    def plan_with(self, what_happens: str) -> None:
        """Plans with a kalim to which something happens first, a branch of the shell's case."""
        other = self.source.parent / "kalim"
        other.write_text(f'#!/bin/sh\ncase "$*" in *--dry-run*) ;; {what_happens};; esac\n'
                         f'exec "{self.kalim}" "$@"\n')
        other.chmod(0o755)
        planned = self.plan(kalim=str(other))
        expect(len(planned.stdout.split()) == 3, planned)

    def left(self, *options: str) -> list[str]:
        planned = self.plan(*options)
        expect(planned.returncode == 0, planned)
        return planned.stdout.split()

    def clean(self, *shards: str) -> None:
        for shard in shards:
            run = self.run("shard.py", self.target, shard)
            expect(run.returncode == 0, run)

    def members(self, shard: str) -> list[str]:
        return read_names(Collection(self.target).place("members", shard))

    def rows(self) -> dict[str, dict]:
        rows = json.loads((self.target / "kalim-report.json").read_bytes())
        return {str(pathlib.Path(row["input"]).relative_to(self.source)): row for row in rows}


def knows_the_endings_of_kalim(_: Case) -> None:
    files = sorted((WORKFLOWS.parent / "kalim/batch").glob("*.cpp"))
    source = "".join(file.read_text() for file in files)
    table = re.search(r"soundExtensions\{(.*?)\}", source, re.DOTALL)
    endings = set(re.findall(r'"(\.\w+)"', table.group(1)))
    expect(endings == plan.ENDINGS, endings ^ plan.ENDINGS)


def files_stay_in_their_shards(case: Case) -> None:
    expect(case.left() == ["0001", "0002", "0003"], "three shards of five files")
    case.clean("0001", "0002", "0003")
    expect(case.left() == [], "all is done")
    second = case.members("0002")
    case.add("0-new.wav", "b/new.wav")
    expect(case.left() == ["0003", "0004"], "what is new fills the last shard and begins another")
    expect(case.members("0002") == second, case.members("0002"))
    case.clean("0003", "0004")
    # What was away for a while comes back to the journal that knows it.
    (case.source / "a.wav").rename(case.source.parent / "a.wav")
    expect(case.left() == ["0001"], "a list has changed")
    (case.source.parent / "a.wav").rename(case.source / "a.wav")
    (case.target / "b" / "d.wav").unlink()
    write_noise(case.source / "f.wav", 0.3, 1, 8000)
    left = case.left()
    expect(len(left) == 3 and "0004" not in left, left)
    case.clean(*left)
    merged = case.run("merge.py", case.target)
    expect(merged.returncode == 0 and "7 files: 7 cleaned" in merged.stderr, merged)
    expect(names_below(case.target) == names_below(case.source), names_below(case.target))
    expect(len(case.left("--residual")) == 4, "other settings, another result")


def refuses_before_any_work(case: Case) -> None:
    def expect_refusal(message: str, *options: str, kalim: str = "") -> None:
        planned = case.plan(*options, kalim=kalim)
        expect(planned.returncode == 2 and message in planned.stderr, planned)

    expect_refusal("unknown option", "--no-such-thing")
    expect_refusal("every shard has its own", "--report=x.csv")
    expect_refusal("no such program", kalim="/no/kalim")
    nowhere = case.run("plan.py", case.source / "none", case.target)
    expect(nowhere.returncode == 2, nowhere)
    (case.source / "f.flac").write_text("x")
    expect_refusal("would both become", "--format", "wav")
    expect(not case.target.exists(), "something was written")


def tells_of_shards_that_died(case: Case) -> None:
    case.plan_with("*/shards/0002*) kill -9 $$")
    case.clean("0001")
    expect(case.run("shard.py", case.target, "0002").returncode != 0, "a program that was killed")
    merged = case.run("merge.py", case.target)
    expect(merged.returncode == 1 and "2 cleaned, 3 failed" in merged.stderr, merged)
    expect(sum(row["status"] == "missing" for row in case.rows().values()) == 3, case.rows())
    table = (case.target / "kalim-report.csv").read_text()
    expect(table.count("did not end") == 3, table)


def tries_again_what_may_pass(case: Case) -> None:
    case.left()
    gone = case.members("0001")[0]
    (case.source / gone).unlink()
    (case.source / case.members("0002")[0]).write_text("broken, which does not pass")
    for shard, attempt, code in (("0001", 1, 75), ("0001", 2, 0), ("0002", 1, 0)):
        run = case.run("shard.py", case.target, shard, "--attempt", attempt, "--attempts", 2)
        expect(run.returncode == code, run)


def waits_for_what_is_still_at_work(case: Case) -> None:
    begun, may_end = case.source.parent / "begun", case.source.parent / "may end"
    case.plan_with(f"""*) >>'{begun}'; while [ -e '{begun}' ] && ! [ -e '{may_end}' ]; do
    sleep 0.05; done""")

    def start() -> subprocess.Popen:
        return subprocess.Popen([WORKFLOWS / "shard.py", case.target, "0001"], env=case.environment)

    # The job is killed, and the program that it started lives on.
    first = start()
    wait_for(begun.exists, "the first one", 20)
    first.kill()
    first.wait()
    second = start()
    wait_for(lambda: is_blocked_by_lock(second.pid), "the second one to wait", 20)
    may_end.touch()
    expect(second.wait(20) == 0, "it did not go on")


def is_blocked_by_lock(process: int) -> bool:
    locks = pathlib.Path("/proc/locks").read_text()
    return any("->" in line and f" {process} " in line for line in locks.splitlines())


def main(kalim: str) -> None:
    for test in (knows_the_endings_of_kalim, files_stay_in_their_shards, refuses_before_any_work,
                 tells_of_shards_that_died, tries_again_what_may_pass,
                 waits_for_what_is_still_at_work):
        print(test.__name__, flush=True)
        with scratch_folder() as folder:
            test(Case(kalim, folder))


if __name__ == "__main__":
    main(sys.argv[1])

#!/usr/bin/env python3
"""The workflow on this machine: local.py KALIM"""
from __future__ import annotations

import contextlib
import pathlib
import sys

from support import (WORKFLOWS, Process, done_in_journals, environment, expect, expect_report,
                     identities, need, scratch_folder, wait_for, write_collection)


def main(kalim: str) -> None:
    need("snakemake")
    with scratch_folder() as folder, contextlib.ExitStack() as runs:
        test(kalim, folder, runs)


def test(kalim: str, folder: pathlib.Path, runs: contextlib.ExitStack) -> None:
    source, target = folder / "tapes", folder / "clean"
    inputs = write_collection(kalim, source)

    def start(name: str) -> Process:
        command = ["snakemake", "-s", WORKFLOWS / "Snakefile", "--profile", WORKFLOWS / "local",
                   "--cores", "2", "--config", f"input={source}", f"output={target}",
                   f"kalim={kalim}", "shard_files=5", "threads=1"]
        run = Process(command, folder / name, cwd=folder, env=environment(folder))
        runs.callback(run.kill)
        return run

    # Everything dies in the midst.
    run = start("first")
    wait_for(lambda: len(done_in_journals(target)) >= 3 or not run.is_running(), "three files")
    run.kill()
    done = done_in_journals(target)
    expect(3 <= len(done) < len(inputs) - 1, f"{done}\n{run.read()}")
    before = identities(done)

    # The same command does what is missing, and tells what is broken.
    run = start("second")
    expect(run.wait() == 1, run.read())
    expect("broken.wav: cannot be read as audio" in run.read(), run.read())
    expect(identities(done) == before, "files that were finished have been done again")
    expect_report(source, target, ["broken.wav"])

    # Without what is broken only the report is written.
    (source / "broken.wav").unlink()
    before = identities(done_in_journals(target))
    run = start("third")
    expect(run.wait() == 0, run.read())
    expect(identities(set(before)) == before, "files that were finished have been done again")
    expect_report(source, target, [])


if __name__ == "__main__":
    main(sys.argv[1])

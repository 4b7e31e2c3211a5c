#!/usr/bin/env python3
"""The line for GNU Parallel, with hosts that are this machine: over_ssh.py KALIM"""
from __future__ import annotations

import pathlib
import shlex
import subprocess
import sys

from support import (WORKFLOWS, done_in_journals, environment, expect, expect_report, identities,
                     need, scratch_folder, write_collection)

# Notes whom it was to call, and lets the command run here; as after every login, SHELL is set.
SSH = """#!/bin/sh
echo "$1" >>"$(dirname "$0")/called"
shift
[ "$1" != -- ] || shift
SHELL=/bin/sh exec sh -c "$*"
"""


def main(kalim: str) -> None:
    need("parallel")
    with scratch_folder("kalim-ssh-") as folder:  # GNU Parallel parts the words of --ssh at spaces
        test(kalim, folder)


def test(kalim: str, folder: pathlib.Path) -> None:
    source, target = folder / "the tapes", folder / "clean"
    write_collection(kalim, source)
    ssh = folder / "ssh"
    ssh.write_text(SSH)
    ssh.chmod(0o755)
    words = {"kalim": kalim, "ssh": ssh, "source": source, "target": target}
    words |= {name: WORKFLOWS / f"{name}.py" for name in ("plan", "shard", "merge")}
    quoted = {name: shlex.quote(str(word)) for name, word in words.items()}

    def run(line: str) -> subprocess.CompletedProcess:
        return subprocess.run(line.format(**quoted), shell=True, cwd=folder,
                              env=environment(folder), capture_output=True, text=True, check=False,
                              timeout=120)

    planned = "{plan} --kalim {kalim} --shard-files 3 {source} {target}"
    line = planned + (" | parallel --ssh {ssh} -S 1/north,1/south --workdir . --retries 3"
                      " {shard} {target} {{}} --jobs 1; {merge} {target}")
    first = run(planned + " | head -n 1 | xargs {shard} {target}")
    expect(first.returncode == 0, first)
    done = done_in_journals(target)
    before = identities(done)
    expect(len(before) >= 2, done)

    whole = run(line)
    expect(whole.returncode == 1, whole)
    expect("11 cleaned, 1 failed" in whole.stderr, whole)
    expect(identities(set(before)) == before, "files that were finished have been done again")
    expect_report(source, target, ["broken.wav"])
    called = set((folder / "called").read_text().split())
    expect(called == {"north", "south"}, called)

    (source / "broken.wav").unlink()
    expect(run(line).returncode == 0, "without what is broken")
    expect(run(planned).stdout == "", "what is finished would be done again")


if __name__ == "__main__":
    main(sys.argv[1])

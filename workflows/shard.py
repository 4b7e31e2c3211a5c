#!/usr/bin/env python3
"""Cleans one shard of a planned collection.

    shard.py TARGET SHARD [--jobs N] [--attempt N --attempts N]

Exit codes: 0 when every file was cleaned or failed for good, as the shard's reports tell; 75 when
files failed of what may be better another time, and there is another attempt; else what kalim gave.
"""
from __future__ import annotations

import argparse
import errno
import fcntl
import json
import os
import sys

from collection import Collection

TRY_AGAIN = os.EX_TEMPFAIL

# Of the machine and not of the file; ENOENT is a disk that is not mounted here.
PASSING_ERRORS = (errno.EIO, errno.ENOENT, errno.ESTALE, errno.ETIMEDOUT, errno.EHOSTDOWN,
                  errno.ENOTCONN, errno.EMFILE, errno.ENFILE, errno.ENOLCK, errno.ENOSPC)
PASSING = [*map(os.strerror, PASSING_ERRORS), "not enough memory", "the work ended"]


def may_pass(row: dict) -> bool:
    return row["status"] == "failed" and any(text in row["error"] for text in PASSING)


def clean(collection: Collection, name: str, jobs: int, is_last: bool) -> int:
    plan = collection.read_plan()
    collection.remove_reports(name)
    reports = collection.reports(name)
    options = [f"--report={report.absolute()}" for report in reports]
    collection.place("csv", name).parent.mkdir(parents=True, exist_ok=True)
    journal = collection.place("journals", name)
    journal.parent.mkdir(parents=True, exist_ok=True)
    # What was killed may still be at work here or elsewhere: kalim holds the lock to its end.
    with open(f"{journal}.lock", "wb") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        run = collection.call(plan, name, "--jobs", str(jobs), *options, pass_fds=[lock.fileno()],
                              env={**os.environ, "LC_ALL": "C"})
    if run.returncode not in (0, 1) or not all(report.exists() for report in reports):
        return run.returncode or 1
    rows = json.loads(collection.place("json", name).read_bytes())
    if not is_last and any(may_pass(row) for row in rows):
        collection.remove_reports(name)
        return TRY_AGAIN
    return 0


def main() -> None:
    parser = argparse.ArgumentParser(description="Cleans one shard of a planned collection.")
    parser.add_argument("target", metavar="TARGET")
    parser.add_argument("shard", metavar="SHARD")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, metavar="N")
    parser.add_argument("--attempt", type=int, default=1, metavar="N")
    parser.add_argument("--attempts", type=int, default=1, metavar="N")
    given = parser.parse_args()
    is_last = given.attempt >= given.attempts
    sys.exit(clean(Collection(given.target), given.shard, given.jobs, is_last))


if __name__ == "__main__":
    main()

"""What the tests of the workflows share."""
from __future__ import annotations

import contextlib
import ctypes
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import wave
from collections.abc import Callable, Iterator
from typing import NoReturn

WORKFLOWS = pathlib.Path(__file__).resolve().parents[2] / "workflows"
PR_SET_PDEATHSIG = 1
SKIPPED = 77
libc = ctypes.CDLL(None)


def skip(reason: str) -> NoReturn:
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


def need(*programs: str) -> None:
    for program in programs:
        if shutil.which(program) is None:
            skip(f"{program} is not installed")


def expect(holds: bool, message: object) -> None:
    if not holds:
        raise AssertionError(message)


def wait_for(condition: Callable[[], bool], what: str, seconds: float = 60) -> None:
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"waited {seconds} s in vain for {what}")
        time.sleep(0.02)


@contextlib.contextmanager
def scratch_folder(start: str = "kalim test ") -> Iterator[pathlib.Path]:
    """A folder that is gone afterwards, also where the test was told to end; its name has a space,
    as those of users do."""
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    with tempfile.TemporaryDirectory(prefix=start, ignore_cleanup_errors=True) as name:
        yield pathlib.Path(name)


def environment(folder: pathlib.Path) -> dict[str, str]:
    """With a home of its own."""
    home = folder / "home"
    home.mkdir(exist_ok=True)
    return {**os.environ, "HOME": str(home), "XDG_CACHE_HOME": str(home),
            "PYTHONDONTWRITEBYTECODE": "1",
            "CI": "true"}  # Snakemake asks a cluster each second then, and not each tenth


def die_with_parent() -> None:
    libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


class Process:
    """A program and all that it starts in its session; what it says is in a file."""

    def __init__(self, command: list, said: pathlib.Path, **keywords) -> None:
        self.said = said
        with open(said, "ab") as output:
            self.process = subprocess.Popen([str(word) for word in command],
                                            stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                            start_new_session=True, preexec_fn=die_with_parent,
                                            **keywords)

    def wait(self, seconds: float = 120) -> int:
        return self.process.wait(seconds)

    def is_running(self) -> bool:
        return self.process.poll() is None

    def kill(self) -> None:
        """All of it at once, without a chance to put anything in order, unless it has ended."""
        if self.is_running():
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()

    def read(self) -> str:
        return self.said.read_text(errors="replace")


def write_noise(path: pathlib.Path, seconds: float, channels: int, rate: int) -> None:
    """A recording with enough in it to keep the program at work for a while."""
    with wave.open(str(path), "wb") as file:
        file.setnchannels(channels)
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(random.Random(1).randbytes(int(seconds * rate) * channels * 2))


def write_collection(kalim: str, folder: pathlib.Path) -> list[str]:
    """Eleven small recordings of many kinds in a tree, and one file that is none."""
    (folder / "side b" / "late").mkdir(parents=True)
    write_noise(folder / "a.wav", 8, 2, 44100)
    write_noise(folder / "side b" / "b.wav", 10, 1, 48000)
    write_noise(folder / "side b" / "late" / "c.wav", 6, 2, 48000)
    write_noise(folder / "d.wav", 15, 1, 22050)
    kinds = ["e.flac", "f.aiff", "side b/g.ogg", "side b/h.w64", "side b/late/i.caf", "j.mp3"]
    for kind in kinds:
        subprocess.run([kalim, "-q", "-n1", folder / "a.wav", folder / kind], check=True)
    # Names of old archives are in any coding.
    shutil.copy(folder / "side b" / "b.wav", os.fsencode(folder / "side b") + b"/gr\xfc\xdfe.wav")
    (folder / "broken.wav").write_bytes(b"RIFF but nothing that is a wave")
    return sorted(names_below(folder))


def names_below(folder: pathlib.Path) -> set[str]:
    """The files of a tree but for the workflow's own."""
    found = set()
    for place, folders, names in os.walk(folder):
        folders[:] = [name for name in folders if name != ".kalim"]
        found |= {os.path.relpath(os.path.join(place, name), folder) for name in names}
    return {name for name in found if not name.startswith("kalim-report.")}


def done_in_journals(target: pathlib.Path) -> set[str]:
    """The outputs that are finished, by what the journals say."""
    done = set()
    for journal in (target / ".kalim" / "journals").glob("[0-9][0-9][0-9][0-9]"):
        for line in journal.read_bytes().splitlines():
            with contextlib.suppress(ValueError):  # cut off
                row = json.loads(line)
                if row["status"] == "done":
                    done.add(row["output"])
    return done


def identities(files: set[str]) -> dict[str, tuple[int, int]]:
    """What changes when a file is written anew."""
    found = {}
    for file in files:
        if "\ufffd" not in file:  # not the name but a picture of it
            status = os.stat(file)
            found[file] = (status.st_ino, status.st_mtime_ns)
    return found


def expect_report(source: pathlib.Path, target: pathlib.Path, failed: list[str]) -> None:
    """All inputs are there, in both forms, and all but those have an output."""
    rows = json.loads((target / "kalim-report.json").read_bytes())
    inputs = names_below(source)
    expect(len(rows) == len(inputs), f"{len(rows)} rows for {len(inputs)} files")
    not_done = [row for row in rows if row["status"] != "done"]
    names = sorted(row["input"] for row in not_done)
    expect(names == [str(source / name) for name in failed], not_done)
    expect(all("cannot be read" in row["error"] for row in not_done), not_done)
    table = (target / "kalim-report.csv").read_bytes()
    expect(table.count(b"\r\n") == len(inputs) + 1, table)
    expect(names_below(target) == inputs - set(failed), names_below(target))

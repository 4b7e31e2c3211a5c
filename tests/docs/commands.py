#!/usr/bin/python3
"""Runs every command of the read-me and of docs/, as it stands there.

    commands.py PROJECT KALIM [--package FOLDER] [--bundle LV2_BUNDLE]

Blocks that are fenced as `sh` and `python` are run, each in a folder of its own with small recordings,
`kalim` in the path and a scratch home. Blocks that are fenced as `console`, whose lines begin with `$`,
need a desktop, a sound server or a network: of them only is seen to that the scripts that they name
exist. Code that is not fenced could hold a command that nobody runs, and is refused.

FOLDER holds the Python package, LV2_BUNDLE is the small bundle; what needs one that is not given, or a
program that is not installed, is named as skipped.
"""
from __future__ import annotations

import argparse
import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
from dataclasses import dataclass

import numpy as np
import soundfile

SECONDS_PER_BLOCK = 60
NOT_COMMANDS = ("text", "xml", "cpp")
TOOLS = ("ffmpeg", "lv2file", "sox")


@dataclass(frozen=True)
class Block:
    """A fenced block: where it begins, its language and its text."""

    place: str
    language: str
    text: str


def find_blocks(path: pathlib.Path, name: str) -> tuple[list[Block], list[str]]:
    """The fenced blocks of a document, and what is wrong with its code."""
    blocks, faults = [], []
    opening, lines = None, []
    is_in_list, is_after_blank = False, False
    for number, line in enumerate(path.read_text().splitlines(), 1):
        fence = re.match(r"( *)```(.*)$", line)
        if opening:
            if fence and not fence[2]:
                indent, language, start = opening
                text = "\n".join(inside[indent:] for inside in lines) + "\n"
                blocks.append(Block(f"{name}:{start}", language, text))
                opening, lines = None, []
            else:
                lines.append(line)
        elif fence:
            opening = (len(fence[1]), fence[2].strip(), number)
        else:
            is_in_list = bool(re.match(r" *([-*]|\d+\.) ", line)) or (
                is_in_list and (not line or line.startswith(" ")))
            if line.startswith("    ") and is_after_blank and not is_in_list:
                faults.append(f"{name}:{number}: code without a fence")
        is_after_blank = not line
    if opening:
        faults.append(f"{name}: a block is not closed")
    return blocks, faults


def check_console(block: Block, project: pathlib.Path) -> list[str]:
    """Whether every line is a command, and the scripts of the project that it names are there."""
    faults = []
    for line in block.text.splitlines():
        if not line.startswith("$ "):
            faults.append(f"{block.place}: this does not begin with $: {line}")
        for word in re.split(r"[\s;&|]+", line):
            script = re.fullmatch(r"(?:\./)?((?:scripts|benchmarks|tests)/[\w./-]+)|\./(\w+)", word)
            if script and not os.access(project / (script[1] or script[2]), os.X_OK):
                faults.append(f"{block.place}: there is no {word}")
    return faults


class Recordings:
    """What the commands take, made from the example that comes with the project."""

    def __init__(self, example: pathlib.Path, folder: pathlib.Path):
        samples, rate = soundfile.read(example, always_2d=True)
        self._sound, self._rate = samples[: 6 * rate], rate
        self._folder = folder
        shutil.copy(example, folder / "guitar.flac")
        self._write("interview.wav", 50.03, channels=2)
        for name in ("more/interview.wav", "season/one.wav", "season/two/three.flac", "TAPES/side-a.flac",
                     "tapes/organ.flac"):
            self._write(name, 50.03)
        self._write("tapes/slow.flac", 45.3)
        self._write("tapes/railway.flac", 16.7)
        whole = (folder / "interview.wav").read_bytes()
        (folder / "damaged.wav").write_bytes(whole[: len(whole) // 2])
        if shutil.which("ffmpeg"):
            subprocess.run(["ffmpeg", "-loglevel", "error", "-f", "lavfi", "-i", "testsrc=d=6:s=64x48",
                            "-i", folder / "interview.wav", "-shortest", folder / "film.mp4"], check=True)

    def _write(self, name: str, hz: float, channels: int = 1) -> None:
        path = self._folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        t = np.arange(len(self._sound)) / self._rate
        hum = sum(0.03 / h * np.cos(2 * np.pi * h * hz * t + h) for h in range(1, 8))
        soundfile.write(path, 0.3 * self._sound[:, :channels] + hum[:, None], self._rate, subtype="PCM_16")


def find_missing(block: Block, given: argparse.Namespace) -> str | None:
    """What a block needs that is not here."""
    for tool in TOOLS:
        if re.search(rf"^{tool} ", block.text, re.MULTILINE) and not shutil.which(tool):
            return tool
    if "film." in block.text and not shutil.which("ffmpeg"):
        return "ffmpeg, which makes the film"
    if "urn:orvotech" in block.text.replace("\\", "") and not given.bundle:
        return "the small bundle"
    if block.language == "python" and not given.package:
        return "the Python package"
    return None


def run(block: Block, samples: pathlib.Path, given: argparse.Namespace) -> str | None:
    """Runs a block; gives what went wrong."""
    with tempfile.TemporaryDirectory() as scratch:
        folder, home, programs = (pathlib.Path(scratch) / name for name in ("work", "home", "bin"))
        shutil.copytree(samples, folder)
        home.mkdir()
        programs.mkdir()
        (programs / "kalim").symlink_to(given.kalim)
        environment = {**os.environ, "HOME": str(home), "XDG_CONFIG_HOME": str(home / ".config"),
                       "PATH": f"{programs}:{os.environ['PATH']}", "PYTHONDONTWRITEBYTECODE": "1"}
        if given.bundle:
            environment["LV2_PATH"] = str(given.bundle.parent)
        if given.package:
            environment["PYTHONPATH"] = str(given.package)
        command = ["sh", "-eu"] if block.language == "sh" else [sys.executable]
        try:
            done = subprocess.run([*command, "/dev/stdin"], input=block.text, cwd=folder, env=environment,
                                  capture_output=True, text=True, timeout=SECONDS_PER_BLOCK, check=False)
        except subprocess.TimeoutExpired:
            return f"takes longer than {SECONDS_PER_BLOCK} s"
        if done.returncode == 0:
            return None
        return f"ends with exit code {done.returncode}\n{done.stdout}{done.stderr}"


def absolute(path: str) -> pathlib.Path:
    return pathlib.Path(path).resolve()


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("project", type=absolute)
    parser.add_argument("kalim", type=absolute)
    parser.add_argument("--package", type=absolute)
    parser.add_argument("--bundle", type=absolute)
    given = parser.parse_args()
    documents = [given.project / "README.md", given.project / "CONTRIBUTING.md",
                 *sorted((given.project / "docs").glob("*.md"))]
    blocks, faults = [], []
    for document in documents:
        found, wrong = find_blocks(document, str(document.relative_to(given.project)))
        blocks += found
        faults += wrong
    todo = []
    for block in blocks:
        if block.language == "console":
            faults += check_console(block, given.project)
        elif block.language in ("sh", "python"):
            missing = find_missing(block, given)
            if missing:
                print(f"{block.place}: skipped, for {missing} is missing")
            else:
                todo.append(block)
        elif block.language not in NOT_COMMANDS:
            faults.append(f"{block.place}: what is fenced as {block.language or 'nothing'}?")
    with tempfile.TemporaryDirectory() as folder:
        samples = pathlib.Path(folder)
        Recordings(given.project / "resources/examples/guit_em9.flac", samples)
        with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
            for block, wrong in zip(todo, pool.map(lambda one: run(one, samples, given), todo)):
                print(f"{block.place}: {'works' if wrong is None else 'FAILED'}", flush=True)
                if wrong:
                    faults.append(f"{block.place}: {wrong}\n{block.text}")
    print(*faults, sep="\n")
    return min(len(faults), 1)


if __name__ == "__main__":
    sys.exit(main())

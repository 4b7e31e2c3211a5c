#!/usr/bin/python3
"""Presses the tabulator in real shells: completions.py SHELL PAGES KALIM"""

import os
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

# What is typed, and the last word that stands there after the tabulator.
CASES = [
    ("kalim --meth", "--method"),
    ("kalim --method tr", "tracking"),
    ("kalim --method=no", "--method=notch"),
    ("kalim --no-keep", "--no-keep-going"),
    ("kalim --plot int", "interview one.wav"),
    ("kalim --output-dir i", "inside"),
    ("kalim --preset '50 Hz li", "50 Hz light"),
    ("kalim --preset 50\\ Hz\\ st", "50 Hz standard"),
    ("kalim --strength in", "in"),
    ("kalim --force inter", "interview one.wav"),
    ("kalim det", "detect"),
    ("kalim detect --js", "--json"),
    ("kalim detect --meth", "--meth"),
    ("kalim detect inter", "interview one.wav"),
]

START = {
    "bash": (["bash", "--norc", "--noprofile", "-i"], "source {pages}/kalim.bash\n"),
    "zsh": (
        ["zsh", "-f", "-i"],
        "fpath=({pages} $fpath); autoload -U compinit; compinit -D -u; bindkey -e; setopt NO_BEEP\n",
    ),
}


class Shell:
    """An interactive shell on a terminal of its own."""

    def __init__(self, command, folder, environment):
        self.child, self.terminal = pty.fork()
        if self.child == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, environment)

    def type(self, text):
        os.write(self.terminal, text.encode())

    def read_until(self, mark, seconds=20):
        text = ""
        end = time.monotonic() + seconds
        while not (found := re.search(mark, text)):
            if not select.select([self.terminal], [], [], max(0, end - time.monotonic()))[0]:
                sys.exit(f"FAILED: no answer from the shell, but {text!r}")
            text += os.read(self.terminal, 4096).decode(errors="replace")
        return found

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.child, 0)


def ask_terminals(name, folder, environment, pages):
    """What stands there after the tabulator, as the shell itself takes it apart into words."""
    command, setup = START[name]
    shell = Shell(command, folder, environment)
    shell.type(setup.format(pages=pages))
    for line, _ in CASES:
        shell.type(line + "\t")
        time.sleep(0.7)  # the names of presets come from the program
        # To the beginning of the line, and to its end.
        shell.type("\x01printf '%s|' begin \x05; echo end\n")
        yield shell.read_until(r"\nbegin\|(.*?)\|end").group(1).split("|")[-1]
    shell.close()


def ask_fish(folder, environment, pages):
    for line, _ in CASES:
        said = subprocess.run(
            ["fish", "--no-config", "-c", f"source {pages}/kalim.fish; complete -C $argv[1]", line],
            cwd=folder, env=environment, stdout=subprocess.PIPE, text=True, check=True,
        ).stdout
        candidates = [candidate.split("\t")[0] for candidate in said.splitlines()]
        # Nothing to choose from leaves the word as it was.
        yield "|".join(candidates) or line.split()[-1]


def main():
    name, pages, kalim = sys.argv[1:]
    if not shutil.which(name):
        print(f"skipped: {name} is not installed")
        sys.exit(77)
    with tempfile.TemporaryDirectory() as scratch:
        folder = Path(scratch, "folder")
        (folder / "inside").mkdir(parents=True)
        (folder / "interview one.wav").touch()
        environment = {
            "HOME": scratch,
            "PATH": f"{Path(kalim).parent}:{os.environ['PATH']}",
            "TERM": "dumb",
            "LC_ALL": "C.UTF-8",
        }
        if name == "fish":
            answers = ask_fish(folder, environment, pages)
        else:
            answers = ask_terminals(name, folder, environment, pages)
        wrong = [
            f"{line}: {answer!r} instead of {wanted!r}"
            for (line, wanted), answer in zip(CASES, answers)
            if answer.rstrip("/") != wanted
        ]
    if wrong:
        sys.exit("FAILED: " + "\n".join(wrong))


if __name__ == "__main__":
    main()

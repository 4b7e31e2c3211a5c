"""The tools that are compared, each as a command or as a function.

All but Kalim's precise method, which finds everything itself, are told whether the mains have 50
or 60 Hz and take out the first 12 harmonics: of exactly that frequency, but for Kalim's tracking,
which starts there. The live form of the precise method is told the mains and finds the rest.
"""
from __future__ import annotations

import hashlib
import importlib.util
import pathlib
import shlex
import shutil
import subprocess
import sys
from dataclasses import dataclass
from functools import partial
from typing import Callable

import numpy as np
import scipy
import soundfile
from scipy.signal import get_window, iirnotch, sosfiltfilt, tf2sos

PACKAGES = pathlib.Path(__file__).resolve().parents[2] / "build/release/python"
HARMONICS = 12
TIMEOUT = 900  # seconds; a mixture has 20 at most

Function = Callable[[np.ndarray, int, int], np.ndarray]  # samples [time, channel], rate, 50 or 60
Command = Callable[[int], list[str]]  # for 50 or 60; {in} and {out} stand for the files


class ToolError(Exception):
    """A tool that ended with an error or gave back what cannot be compared."""


@dataclass(frozen=True)
class Tool:
    name: str
    title: str
    identity: str  # changes whenever the tool may give another result
    function: Function | None = None
    command: Command | None = None
    is_kalim: bool = False  # ways of one program are no rivals

    def describe(self, hz: int) -> str:
        """What tells this tool with its settings from every other."""
        settings = self.command(hz)[1:] if self.command else [str(hz)]
        return "\n".join([self.name, self.identity, *settings])

    def clean(self, source: pathlib.Path, target: pathlib.Path, hz: int) -> np.ndarray:
        """The cleaned samples of a file; the target is where a program may put its own file."""
        if self.function:
            samples, rate = soundfile.read(source, always_2d=True)
            return self.function(samples, rate, hz).astype(np.float32)
        assert self.command
        fill = {"{in}": str(source), "{out}": str(target)}
        target.unlink(missing_ok=True)  # or the last tool's would be taken for this one's
        run = subprocess.run([fill.get(word, word) for word in self.command(hz)],
                             capture_output=True, text=True, errors="replace", timeout=TIMEOUT)
        if run.returncode or not target.exists():
            raise ToolError(run.stderr.strip()[-200:] or f"exit code {run.returncode}")
        return soundfile.read(target, dtype="float32", always_2d=True)[0]


def harmonics(hz: int) -> list[int]:
    return [hz * h for h in range(1, HARMONICS + 1)]


def notches(samples: np.ndarray, rate: int, hz: int) -> np.ndarray:
    """A notch of Q 40 for each harmonic, forwards and backwards: no delay and no phase."""
    sections = [tf2sos(*iirnotch(f, 40, rate)) for f in harmonics(hz)]
    return sosfiltfilt(np.concatenate(sections), samples, axis=0)


def regression(samples: np.ndarray, rate: int, hz: int) -> np.ndarray:
    """Sinusoids of constant amplitude fitted by least squares to 2 s at a time, as is customary in
    neuroscience; windows overlap by half and their fits are cross-faded."""
    size = min(2 * rate, samples.shape[0])
    phase = 2 * np.pi * np.outer(np.arange(size) / rate, harmonics(hz))
    basis = np.linalg.qr(np.hstack([np.cos(phase), np.sin(phase)]))[0]
    fade = get_window("hann", size)[:, np.newaxis] + 1e-6  # so that the first sample counts, too
    hum, weight = np.zeros(samples.shape), np.zeros((samples.shape[0], 1))
    last = samples.shape[0] - size
    for start in [*range(0, last, size // 2), last]:
        here = slice(start, start + size)
        hum[here] += fade * (basis @ (basis.T @ samples[here]))
        weight[here] += fade
    return samples - hum / weight


def spectrum_fit(samples: np.ndarray, rate: int, hz: int) -> np.ndarray:
    """MNE's removal of lines after Thomson's multitaper test, in windows of 2 s."""
    import mne  # takes seconds, which runs without it need not wait for
    return mne.filter.notch_filter(samples.T.copy(), rate, np.array(harmonics(hz), float),
                                   method="spectrum_fit", filter_length="2s", verbose="error").T


def live(look_ahead: float, samples: np.ndarray, rate: int, hz: int) -> np.ndarray:
    """Kalim's live form, block by block; its output is shifted back by the latency."""
    import kalim
    remover = kalim.Remover(rate, samples.shape[1], method="precise", mains=hz,
                            look_ahead=look_ahead)
    mixed = samples.T.astype(np.float32)
    blocks = [remover.process(block) for block in np.array_split(mixed, mixed.shape[1] // 4096 + 1,
                                                                 axis=1)]
    cleaned = np.concatenate([*blocks, remover.flush()], axis=1)
    return cleaned[:, remover.latency:].T


def kalim_command(program: str, options: list[str], hz: int) -> list[str]:
    settings = [option.replace("{hz}", str(hz)) for option in options]
    return [program, "--quiet", "--force", *settings, "{in}", "{out}"]


def ffmpeg_command(program: str, hz: int) -> list[str]:
    chain = ",".join(f"bandreject=f={f}:width_type=h:width=1" for f in harmonics(hz))
    return [program, "-v", "error", "-y", "-threads", "1", "-i", "{in}", "-af", chain,
            "-c:a", "pcm_f32le", "{out}"]


def sox_command(program: str, hz: int) -> list[str]:
    chain = [word for f in harmonics(hz) for word in ("bandreject", str(f), "30q")]
    return [program, "-V1", "-D", "{in}", "-e", "float", "-b", "32", "{out}", *chain]


def given_command(words: list[str], hz: int) -> list[str]:
    return [word.replace("{hz}", str(hz)) for word in words]


def _digest(program: str, *more: str) -> str:
    """Of the program's file, so that a new build is measured anew, and of what else decides."""
    digest = hashlib.sha256(pathlib.Path(program).read_bytes())
    for part in more:
        script = pathlib.Path(part)
        digest.update(script.read_bytes() if script.is_file() else part.encode())
    return digest.hexdigest()


def _version(program: str, option: str) -> str:
    """Of a program that is mostly shared libraries, which its own file says nothing about."""
    return subprocess.run([program, option], capture_output=True, text=True).stdout


def _kalim_tools(program: str) -> list[Tool]:
    """Programs from before the precise method have no option to choose one: they only track."""
    told = ["--fundamental", "{hz}", "--harmonics", str(HARMONICS)]
    usage = subprocess.run([program, "--help"], capture_output=True, text=True).stdout
    track = (["--method", "tracking"] if "--method" in usage else []) + told
    ways = [("tracking", "Kalim, tracking", track),
            ("aggressive", "Kalim, aggressive", ["--aggressive", *told])]
    if "--method" in usage:
        ways.insert(0, ("precise", "Kalim, precise", []))
    identity = _digest(program)
    return [Tool(name, title, identity, command=partial(kalim_command, program, options),
                 is_kalim=True)
            for name, title, options in ways]


def _live_tools() -> list[Tool]:
    """What can be had only as a library: the Python package, where it is built or installed."""
    sys.path.insert(0, str(PACKAGES))  # what is built here, rather than what is installed
    package = importlib.util.find_spec("kalim")
    if not package or not package.submodule_search_locations:
        return []
    folder = pathlib.Path(package.submodule_search_locations[0])
    identity = _digest(__file__, *map(str, sorted(folder.glob("_core*.so"))))
    return [Tool(name, title, identity + str(seconds), partial(live, seconds), is_kalim=True)
            for name, title, seconds in (("live", "Kalim, live, no latency", 0.0),
                                         ("live200", "Kalim, live, 200 ms late", 0.2))]


def _program_tools() -> list[Tool]:
    found = []
    for name, title, command, option in (
            ("ffmpeg", "FFmpeg, bandreject of 1 Hz", ffmpeg_command, "-version"),
            ("sox", "SoX, bandreject of Q 30", sox_command, "--version")):
        if program := shutil.which(name):
            found.append(Tool(name, title, _digest(program, _version(program, option)),
                              command=partial(command, program)))
    return found


def _library_tools() -> list[Tool]:
    identity = (hashlib.sha256(pathlib.Path(__file__).read_bytes()).hexdigest()
                + np.__version__ + scipy.__version__)
    found = [Tool("notches", "SciPy, iirnotch of Q 40, filtfilt", identity, notches),
             Tool("regression", "sinusoids fitted to 2 s", identity, regression)]
    if importlib.util.find_spec("mne"):
        found.insert(0, Tool("mne", "MNE, spectrum_fit of 2 s", identity, spectrum_fit))
    return found


NAMES = ("precise", "live200", "live", "tracking", "aggressive", "ffmpeg", "sox", "mne", "notches",
         "regression")


def present(kalim: str | None, given: dict[str, str]) -> list[Tool]:
    """The tools of this machine. A command line that is given replaces the tool of its name, or
    joins them as a new one."""
    found = {tool.name: tool for tool in
             (_kalim_tools(kalim) if kalim else []) + _live_tools() + _program_tools() + _library_tools()}
    for name, line in given.items():
        words = shlex.split(line)
        program = shutil.which(words[0]) if words else None
        if not program:
            raise ToolError(f"{name}: no program {words[0] if words else ''}")
        title = found[name].title if name in found else name
        found[name] = Tool(name, title, _digest(program, *words[1:]),
                           command=partial(given_command, [program, *words[1:]]))
    return sorted(found.values(), key=lambda tool: (*NAMES, tool.name).index(tool.name))

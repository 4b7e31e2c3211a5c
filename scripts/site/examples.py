"""The sounds of the page: mixed, cleaned by the program itself, measured, drawn and encoded."""
from __future__ import annotations

import pathlib
import subprocess
import sys
import tempfile

import numpy as np
import soundfile

import drawing
from catalogue import GUITAR, VERSIONS, Example

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "benchmarks" / "quality"))

from measure import si_sdr  # noqa: E402
from mixtures import recipes, write_sound  # noqa: E402

SECONDS = 10  # that are played of the mixtures
FADE = 0.02  # seconds, at either end
BITS_PER_CHANNEL = 64  # kbit/s
DECAY = (5.6, 9.9)  # seconds of the guitar, where the chord has faded and its hum stands out
GUITAR_PEAK = 0.7  # to which that is brought


class Kalim:
    """The program, as anybody calls it."""

    def __init__(self, path: pathlib.Path):
        self._path = path

    def clean(self, samples: np.ndarray, rate: int, *options: str) -> np.ndarray:
        with tempfile.TemporaryDirectory() as scratch:
            source, target = (pathlib.Path(scratch) / name for name in ("in.wav", "out.wav"))
            write_sound(source, samples, rate)
            subprocess.run([self._path, "--quiet", *options, source, target], check=True)
            return soundfile.read(target, dtype="float32", always_2d=True)[0]


def _take_guitar(kalim: Kalim) -> tuple[dict[str, np.ndarray], int, dict[str, float]]:
    """The decay of the real recording, of which nobody knows how it would be without its hum."""
    path = ROOT / "resources" / "examples" / f"{GUITAR}.flac"
    samples, rate = soundfile.read(path, dtype="float32", always_2d=True)
    options = ("--method", "tracking", "--fundamental", "60", "--harmonics", "14", "--adaptivity", "5")
    whole = {"before": samples, "precise": kalim.clean(samples, rate),
             "tracking": kalim.clean(samples, rate, *options)}
    first, last = (int(second * rate) for second in DECAY)
    gain = GUITAR_PEAK / np.max(np.abs(samples[first:last]))
    return {name: gain * sound[first:last] for name, sound in whole.items()}, rate, {}


def _take_mixture(name: str, kalim: Kalim) -> tuple[dict[str, np.ndarray], int, dict[str, float]]:
    recipe = next(recipe for recipe in recipes(True) if recipe.name == name)
    mixture = recipe.cook(recipe)
    options = ("--method", "tracking", "--fundamental", str(recipe.nominal), "--harmonics", "12")
    whole = {"before": mixture.mixed, "precise": kalim.clean(mixture.mixed, recipe.rate),
             "tracking": kalim.clean(mixture.mixed, recipe.rate, *options), "original": mixture.clean}
    before = si_sdr(mixture.mixed, mixture.clean)
    gains = {version: round(si_sdr(whole[version], mixture.clean) - before, 1)
             for version in ("precise", "tracking")}
    return {version: sound[: SECONDS * recipe.rate] for version, sound in whole.items()}, recipe.rate, gains


def _encode(samples: np.ndarray, rate: int, target: pathlib.Path) -> None:
    """As Opus, the same bytes every time."""
    ramp = np.minimum(1.0, np.arange(len(samples)) / (FADE * rate))
    faded = samples * np.minimum(ramp, ramp[::-1])[:, None]
    with tempfile.TemporaryDirectory() as scratch:
        source = pathlib.Path(scratch) / "in.wav"
        write_sound(source, faded.astype(np.float32), rate)
        subprocess.run(["ffmpeg", "-loglevel", "error", "-y", "-i", source, "-map_metadata", "-1",
                        "-c:a", "libopus", "-b:a", f"{BITS_PER_CHANNEL * samples.shape[1]}k",
                        "-fflags", "+bitexact", "-flags:a", "+bitexact", target], check=True)


def make(example: Example, kalim: Kalim, site: pathlib.Path) -> dict:
    """Writes sounds and spectrograms of an example; gives what the page needs to know of them."""
    taken = _take_guitar(kalim) if example.mixture == GUITAR else _take_mixture(example.mixture, kalim)
    sounds, rate, gains = taken
    loudest = drawing.find_top(sounds["before"], rate)
    known: dict = {"seconds": round(len(sounds["before"]) / rate, 2), "gains": gains, "versions": {}}
    for version in VERSIONS:
        if version not in sounds:
            continue
        name = f"{example.name}-{version}"
        _encode(sounds[version], rate, site / "sounds" / f"{name}.opus")
        drawing.write_spectrogram(sounds[version], rate, loudest, site / "pictures" / f"{name}.webp")
        known["versions"][version] = drawing.draw_spectrum(sounds[version], rate)
    return known

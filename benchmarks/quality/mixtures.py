"""Mixtures of clean recordings and hum of which every sample is known.

The hum follows the phase of real mains (mains/*.flac, 400 Hz). Everything is drawn from random
numbers with fixed seeds, so the same mixture comes out everywhere and figures can be compared over
time. The README tells what each kind of hum is.
"""
from __future__ import annotations

import json
import pathlib
from dataclasses import dataclass
from typing import Callable

import numpy as np
import soundfile
from scipy.interpolate import CubicSpline
from scipy.io import wavfile
from scipy.signal import firwin, resample_poly

HERE = pathlib.Path(__file__).resolve().parent
SECONDS = 14
LEVELS = (-5, 5, 15, 25)  # sound over hum, dB
NONE = "none"
TAPE_OFFSET = 0.7  # Hz: a tape that runs 1.4 % fast

KINDS = ("steady", "soft", "odd", "dimmer", "breathing", "part", "jumps", "noisy", "tape", NONE)
KINDS_OF_60_HZ = ("soft", "dimmer", "jumps", "noisy")


@dataclass(frozen=True)
class Recipe:
    """All that is needed to make one mixture, small enough to be handed to another process."""

    name: str
    sound: str
    kind: str
    level: int | None  # dB of sound over hum; None without hum
    rate: int
    nominal: int | None  # 50 or 60 Hz, what a user would tell a tool; None without hum
    number: int  # seeds the random numbers
    cook: Callable[[Recipe], Mixture]


@dataclass(frozen=True)
class Mixture:
    """What a tool gets and what it should give back, both as float32 [sample, channel]."""

    mixed: np.ndarray
    clean: np.ndarray
    mean_hz: float


def name_of(sound: str, kind: str, level: int | None) -> str:
    return f"{sound}-{kind}" + ("" if level is None else f"{level:+d}")


def rms(signal: np.ndarray) -> float:
    return float(np.sqrt(np.mean(signal * signal)))


def blend(clean: np.ndarray, hum: np.ndarray, mean_hz: float) -> Mixture:
    """Adds hum, and scales both sides alike where the sum would clip."""
    scale = min(1.0, 0.98 / np.max(np.abs(clean + hum)))
    two_dimensional = (clean.shape[0], -1)
    return Mixture(((clean + hum) * scale).astype(np.float32).reshape(two_dimensional),
                   (clean * scale).astype(np.float32).reshape(two_dimensional), mean_hz)


def recipes(take_all: bool) -> list[Recipe]:
    """The 222 mixtures, or 60 of them: every sound with every kind."""
    sounds = [path.stem for path in sorted((HERE / "clean").glob("*.ogg"))]
    found = []
    for s, sound in enumerate(sounds):
        for k, kind in enumerate(KINDS):
            for i, level in enumerate(LEVELS):
                diagonal = (s + k + i) % len(LEVELS) == 0
                if diagonal or (take_all and kind != NONE):
                    number = (s * len(KINDS) + k) * len(LEVELS) + i
                    found.append(_recipe(sound, kind, level, (44100, 48000)[(s + k) % 2], number))
    return found


def _recipe(sound: str, kind: str, level: int, rate: int, number: int) -> Recipe:
    if kind == NONE:
        return Recipe(name_of(sound, kind, None), sound, kind, None, rate, None, number, _cook)
    nominal = 60 if kind in KINDS_OF_60_HZ else 50
    return Recipe(name_of(sound, kind, level), sound, kind, level, rate, nominal, number, _cook)


def _cook(recipe: Recipe) -> Mixture:
    rng = np.random.default_rng(7000 + recipe.number)
    sound = _read_clean(recipe.sound, recipe.rate)
    cycles = _mains_cycles(recipe.number, recipe.rate, recipe.nominal or 50)
    mean_hz = float(np.mean(np.diff(cycles)) * recipe.rate)
    if recipe.level is None:
        return blend(sound, np.zeros(sound.size), mean_hz)
    hum = _make_hum(recipe.kind, cycles, recipe.rate, rng)
    hum *= np.sqrt(np.mean(sound * sound) / np.mean(hum * hum)) * 10 ** (-recipe.level / 20)
    if recipe.kind == "noisy":
        sound = sound + rng.standard_normal(sound.size) * rms(hum) * 0.1
    return blend(sound, hum, mean_hz + (TAPE_OFFSET if recipe.kind == "tape" else 0.0))


def _read_clean(sound: str, rate: int) -> np.ndarray:
    """The recording in mono at an RMS of -20 dB, cut or repeated to SECONDS."""
    samples, own = soundfile.read(HERE / "clean" / f"{sound}.ogg", always_2d=True)
    samples = np.resize(resample_poly(samples.mean(1), rate, own), SECONDS * rate)
    return samples * (10 ** (-20 / 20) / rms(samples))


def _mains_cycles(number: int, rate: int, nominal: int) -> np.ndarray:
    """Cycles of the mains at every sample, from a recording of a 50 Hz grid."""
    tracks = sorted((HERE / "mains").glob("*.flac"))
    wave, own = soundfile.read(tracks[number % len(tracks)])
    wave = wave[(10 + number % 50) * own:][: (SECONDS + 8) * own]
    t = np.arange(wave.size) / own
    low_pass = firwin(401, 1.5, fs=own)
    beat = np.convolve(wave * np.exp(-2j * np.pi * 50 * t), low_pass, "same")
    # Four seconds are left out at either end, where the filter has not settled.
    deviation = CubicSpline(t - 4.0, np.unwrap(np.angle(beat)) / (2 * np.pi))
    sample = np.arange(SECONDS * rate)
    return (50 * sample / rate + deviation(sample / rate) - deviation(0.0)) * nominal / 50


def _make_hum(kind: str, cycles: np.ndarray, rate: int, rng: np.random.Generator) -> np.ndarray:
    t = np.arange(cycles.size) / rate
    if kind == "tape":
        cycles = cycles + TAPE_OFFSET * t + 0.1 / (2 * np.pi * 0.5) * np.sin(2 * np.pi * 0.5 * t)
    if kind == "jumps":
        cycles = cycles + np.select([t < 3, t < 6.5, t < 10], [0, 0.31, 0.74], 1.45)
    hum = np.zeros(cycles.size)
    for harmonic, amplitude in _pattern(kind).items():
        # The pulses of a dimmer have all their harmonics in step.
        in_step = kind == "dimmer"
        phase = 0.27 * 2 * np.pi * harmonic if in_step else rng.uniform(0, 2 * np.pi)
        if harmonic * 61 < 0.45 * rate:
            hum += amplitude * np.cos(2 * np.pi * harmonic * cycles + phase)
    if kind == "breathing":
        hum *= 10 ** (6 * np.sin(2 * np.pi * 0.3 * t + rng.uniform(0, 6)) / 20)
    if kind == "part":
        hum *= (t >= 4) & (t < 10)
    return hum


def _pattern(kind: str) -> dict[int, float]:
    """Amplitudes by harmonic."""
    if kind == "odd":
        return {h: 1 / h for h in range(1, 40, 2)}
    if kind == "dimmer":
        return {1: 1.0, **{2 * k: 0.5 / (1 + (k / 12) ** 2) for k in range(1, 41)}}
    return {h: h ** (-2.0 if kind in ("soft", "noisy") else -1.0) for h in range(1, 13)}


def write_sound(path: pathlib.Path, samples: np.ndarray, rate: int) -> None:
    """As float WAV. Not by soundfile, which writes the time of day into it."""
    wavfile.write(path, rate, samples)


def write(chosen: list[Recipe], folder: pathlib.Path) -> None:
    """NAME.wav for the tool, NAME.clean.wav for the comparison, and mixtures.json about them."""
    folder.mkdir(parents=True, exist_ok=True)
    index = []
    for recipe in chosen:
        mixture = recipe.cook(recipe)
        write_sound(folder / f"{recipe.name}.wav", mixture.mixed, recipe.rate)
        write_sound(folder / f"{recipe.name}.clean.wav", mixture.clean, recipe.rate)
        index.append({"name": recipe.name, "clean": recipe.sound, "kind": recipe.kind,
                      "level": recipe.level, "rate": recipe.rate, "nominal": recipe.nominal,
                      "mean_hz": mixture.mean_hz})
    (folder / "mixtures.json").write_text(json.dumps(index, indent=1) + "\n")

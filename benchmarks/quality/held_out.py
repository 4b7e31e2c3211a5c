"""A second set of mixtures, from sounds, mains and kinds of hum that the first set has not.

It shows whether figures hold on what nothing was tuned on, so it must stay that way: look at its
averages, and tune on the first set. The README tells what each sound and kind of hum is.
"""
from __future__ import annotations

import numpy as np

import sounds
from mixtures import NONE, Mixture, Recipe, blend, name_of, rms

LEVELS = (-10, 0, 10, 20)  # sound over hum, dB
# Hum that is as loud as the noise of a room would hardly be heard: there it is louder by this much.
ROOM_OFFSET = -20
LENGTHS = (8, 13, 20)  # seconds

KINDS = ("ten", "thirty", "edits", "drift", "off", "stereo", "rectifier", "line", NONE)
HARMONICS = {"ten": range(1, 11), "thirty": range(1, 31), "stereo": range(1, 15),
             "rectifier": range(2, 25, 2), "line": range(1, 2)}


def recipes() -> list[Recipe]:
    """63 mixtures, or 45 where no voices are installed."""
    found = []
    for s, sound in enumerate(sounds.SOUNDS):
        if sound in sounds.SPOKEN and not sounds.voices_installed():
            continue
        for k, kind in enumerate(KINDS):
            hum = kind != NONE
            level = LEVELS[(s + k) % len(LEVELS)] + (ROOM_OFFSET if sound == "room" else 0)
            found.append(Recipe(
                name_of(sound, kind, level if hum else None), sound, kind, level if hum else None,
                (44100, 48000)[(s + k // 2) % 2], (50, 60)[(s // 2 + k) % 2] if hum else None,
                s * len(KINDS) + k, _cook))
    return found


def _cook(recipe: Recipe) -> Mixture:
    rng = np.random.default_rng(91000 + recipe.number)
    seconds = LENGTHS[sum(divmod(recipe.number, len(KINDS))) % len(LENGTHS)]
    sound = sounds.SOUNDS[recipe.sound](seconds, recipe.rate, rng)
    sound = sound * (10 ** ((-50 if recipe.sound == "room" else -20) / 20) / rms(sound))
    sound = _panned(sound) if recipe.kind == "stereo" else sound[:, np.newaxis]
    if recipe.level is None:
        return blend(sound, np.zeros(sound.shape), 0.0)
    hz = _frequency(recipe.kind, recipe.nominal or 50, sound.shape[0], recipe.rate, rng)
    cycles = np.cumsum(hz) / recipe.rate
    if recipe.kind == "edits":
        cycles = cycles + _jumps(cycles.size, rng)
    channels = [_make_hum(recipe.kind, cycles, rng) for _ in range(sound.shape[1])]
    hum = np.stack(channels, axis=1)
    hum *= rms(sound) / rms(hum) * 10 ** (-recipe.level / 20)
    return blend(sound, hum, float(np.mean(hz)))


def _panned(sound: np.ndarray) -> np.ndarray:
    """Two channels: the second weaker, and 0.3 ms late."""
    return np.stack([sound, 0.7 * np.roll(sound, 13)], axis=1)


def _frequency(kind: str, nominal: int, size: int, rate: int,
               rng: np.random.Generator) -> np.ndarray:
    """Mains frequency at every sample: a slow walk that is drawn back to the nominal frequency.

    With 0.02 Hz of spread and a memory of 60 s it moves by some 0.003 Hz in a second, as large
    grids do.
    """
    steps, memory, spread = size // rate + 2, 60.0, 0.02
    deviation = [rng.normal(0, spread)]
    for _ in range(steps - 1):
        push = rng.normal(0, spread * np.sqrt(2 / memory))
        deviation.append(deviation[-1] * (1 - 1 / memory) + push)
    t = np.arange(size) / rate
    hz = (50 + np.interp(t, np.arange(steps), deviation)) * nominal / 50
    if kind == "drift":
        hz += 0.02 * rng.choice([-1, 1]) * t
    if kind == "off":
        hz += rng.uniform(-0.3, 0.3)
    return hz


def _jumps(size: int, rng: np.random.Generator) -> np.ndarray:
    """Cycles to add: steps of up to half a cycle, one in each of a few equal parts."""
    steps = np.zeros(size)
    count = int(rng.integers(2, 5))
    slots = np.linspace(0.1, 0.9, count + 1) * size
    for first, last in zip(slots[:-1], slots[1:]):
        at = int(rng.uniform(first, last - 0.1 * (last - first)))
        steps[at:] += rng.uniform(-0.5, 0.5)
    return steps


def _make_hum(kind: str, cycles: np.ndarray, rng: np.random.Generator) -> np.ndarray:
    """One channel of hum, of a random loudness within 6 dB: levels are set for all together."""
    slope = rng.uniform(0.3, 2.2)
    hum = np.zeros(cycles.size)
    for harmonic in HARMONICS.get(kind, range(1, 13)):
        amplitude = harmonic ** -slope * 10 ** (rng.uniform(-4, 4) / 20)
        hum += amplitude * np.cos(2 * np.pi * (harmonic * cycles + rng.random()))
    return hum * 10 ** (rng.uniform(-6, 0) / 20)

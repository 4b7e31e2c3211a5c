"""Spectrograms as pictures and spectra as paths of SVG."""
from __future__ import annotations

import pathlib

import numpy as np
from PIL import Image
from scipy.signal import get_window, welch

# A spectrogram, in points; its axes are drawn by the page.
WIDTH, HEIGHT = 640, 270
HIGHEST = 1500.0  # Hz
WINDOW = 0.18  # seconds
DEPTH = 75.0  # dB from the lightest to the darkest
COLOURS = {0.0: (11, 15, 24), 0.35: (27, 55, 94), 0.62: (37, 124, 140), 0.82: (226, 166, 88),
           1.0: (255, 246, 220)}
QUALITY = 62

# A spectrum, in the units of the SVG.
LOWEST_HZ, HIGHEST_HZ = 30.0, 2000.0
LOWEST_DB, HIGHEST_DB = -100.0, -10.0
PLOT_WIDTH, PLOT_HEIGHT = 600.0, 180.0
POINTS = 300
TICKS_HZ = (50, 100, 200, 500, 1000, 2000)
TICKS_DB = (-20, -40, -60, -80, -100)


def _spectrogram(samples: np.ndarray, rate: int) -> np.ndarray:
    """Level in dB, [row from the top][column]."""
    sound = samples.mean(axis=1)
    length = int(WINDOW * rate)
    size = int(rate * HEIGHT / HIGHEST)  # so that every bin is a row
    window = get_window("hann", length)
    padded = np.pad(sound, (length // 2, length))
    starts = np.linspace(0, len(sound) - 1, WIDTH).astype(int)
    columns = [np.abs(np.fft.rfft(padded[start: start + length] * window, max(size, length)))
               for start in starts]
    rows = np.linspace(0, HEIGHT * max(size, length) / size, HEIGHT, endpoint=False)
    power = np.array(columns).T[rows.astype(int)]
    return 20 * np.log10(np.flipud(power) * 2 / window.sum() + 1e-9)


def find_top(samples: np.ndarray, rate: int) -> float:
    """The level in dB that is lightest in all pictures of an example."""
    return float(np.percentile(_spectrogram(samples, rate), 99.9))


def write_spectrogram(samples: np.ndarray, rate: int, top: float, target: pathlib.Path) -> None:
    share = np.clip((_spectrogram(samples, rate) - top) / DEPTH + 1, 0, 1)
    colours = [np.interp(share, list(COLOURS), [colour[i] for colour in COLOURS.values()])
               for i in range(3)]
    picture = Image.fromarray(np.stack(colours, axis=-1).astype(np.uint8))
    picture.save(target, quality=QUALITY, method=6)


def place_hz(hz: float) -> float:
    """Where a frequency is on the axis of a spectrum."""
    return PLOT_WIDTH * float(np.log(hz / LOWEST_HZ) / np.log(HIGHEST_HZ / LOWEST_HZ))


def place_db(level: float) -> float:
    limited = min(max(level, LOWEST_DB), HIGHEST_DB)
    return PLOT_HEIGHT * (HIGHEST_DB - limited) / (HIGHEST_DB - LOWEST_DB)


def describe() -> dict:
    """What the page must know to draw axes."""
    return {"size": [WIDTH, HEIGHT], "width": PLOT_WIDTH, "height": PLOT_HEIGHT,
            "hz": [[hz, round(place_hz(hz), 1)] for hz in TICKS_HZ],
            "db": [[level, round(place_db(level), 1)] for level in TICKS_DB]}


def draw_spectrum(samples: np.ndarray, rate: int) -> str:
    """The spectrum as a path; a sine of full scale has 0 dB. The median over time, so that what always
    sounds stands out of what comes and goes."""
    hz, power = welch(samples.mean(axis=1), rate, "hann", nperseg=rate, noverlap=3 * rate // 4,
                      scaling="spectrum", average="median")
    level = 10 * np.log10(2 * power + 1e-12)
    edges = np.geomspace(LOWEST_HZ, HIGHEST_HZ, POINTS + 1)
    parts = []
    for low, high in zip(edges[:-1], edges[1:]):
        inside = level[(hz >= low) & (hz < high)]
        middle = float(np.sqrt(low * high))
        highest = inside.max() if inside.size else np.interp(middle, hz, level)
        parts.append(f"{place_hz(middle):.0f} {place_db(float(highest)):.0f}")
    return "M" + "L".join(parts)

"""Sounds for the held-out mixtures: synthetic voices and instruments, so that nothing can have been
tuned to them, and so that they surely hold no hum of their own."""
from __future__ import annotations

import pathlib
import shutil
import subprocess
import tempfile
from functools import lru_cache

import numpy as np
import soundfile
from scipy.signal import butter, lfilter, resample_poly, sosfilt

from mixtures import rms

VOICES = {  # of espeak-ng: languages, low and high voices
    "en-us+m3": "The lamp on the desk had been humming since the morning, and nobody had noticed. "
                "Then the power went out, and all of a sudden the room was quiet.",
    "de+f2": "Am Abend stand das Fenster offen. Von der Straße kam das Geräusch der Bahn herauf, "
             "und jemand übte Geige, immer dieselben vier Takte.",
    "fr-fr+m1": "Il faisait déjà nuit quand le train arriva. Sur le quai, une femme attendait, une "
                "lettre à la main, et regardait passer les voyageurs.",
    "es+f4": "El taller estaba cerrado desde el verano. Nadie recordaba quién tenía la llave, pero "
             "la radio seguía sonando detrás de la puerta.",
    "pl+m5": "Rano spadł pierwszy śnieg. Dzieci wybiegły na podwórze, zanim ktokolwiek zdążył "
             "powiedzieć, że pora do szkoły.",
    "sv+f3": "Båten låg kvar vid bryggan hela vintern. När isen gick upp på våren var den full av "
             "vatten, men den flöt.",
}


def voices_installed() -> bool:
    return shutil.which("espeak-ng") is not None


@lru_cache(maxsize=len(VOICES))
def _spoken(voice: str) -> tuple[np.ndarray, int]:
    with tempfile.TemporaryDirectory() as scratch:
        target = pathlib.Path(scratch) / "speech.wav"
        subprocess.run(["espeak-ng", "-v", voice, "-w", str(target), VOICES[voice]],
                       check=True, capture_output=True)
        return soundfile.read(target)


def low_voice(seconds: int, rate: int, rng: np.random.Generator) -> np.ndarray:
    return _speech([voice for voice in VOICES if "+m" in voice], seconds, rate, rng)


def high_voice(seconds: int, rate: int, rng: np.random.Generator) -> np.ndarray:
    return _speech([voice for voice in VOICES if "+f" in voice], seconds, rate, rng)


def _speech(voices: list[str], seconds: int, rate: int, rng: np.random.Generator) -> np.ndarray:
    """A voice in a quiet room; the pauses of the synthesiser are digital silence otherwise."""
    samples, own = _spoken(str(rng.choice(voices)))
    samples = np.resize(resample_poly(samples, rate, own), seconds * rate)
    noise = pink(seconds, rate, rng)
    return samples + noise * (10 ** (-50 / 20) * rms(samples) / rms(noise))


def _scale(rng: np.random.Generator, lowest: float, octaves: int) -> np.ndarray:
    """Frequencies of a pentatonic scale on a random root, somewhat out of concert pitch."""
    root = lowest * 2 ** (rng.integers(0, 12) / 12) * 2 ** (rng.uniform(-30, 30) / 1200)
    steps = np.concatenate([12 * octave + np.array([0, 2, 4, 7, 9]) for octave in range(octaves)])
    return root * 2 ** (steps / 12)


def _pluck(hz: float, size: int, rate: int, rng: np.random.Generator) -> np.ndarray:
    """A string after Karplus and Strong (Computer Music Journal 7:2, 1983).

    The average of two samples delays by half a sample, and a line cannot be a fraction of a sample
    long: an all-pass filter of first order adds the rest, after Jaffe and Smith in the same issue.
    """
    period = rate / hz
    length = int(period - 0.6)
    fraction = period - length - 0.5
    allpass = (1 - fraction) / (1 + fraction)
    burst = np.zeros(size)
    burst[:length] = rng.uniform(-1, 1, length)
    average = np.array([0.5, 0.5]) * 0.998
    around = np.convolve(average, [allpass, 1.0])
    numerator = np.array([1.0, allpass])
    denominator = np.zeros(length + around.size)
    denominator[:2] = numerator
    denominator[length:] -= around
    return lfilter(numerator, denominator, burst)


def plucked(seconds: int, rate: int, rng: np.random.Generator) -> np.ndarray:
    """A melody with a bass, every note ringing on."""
    notes, out = _scale(rng, 82.4, 3), np.zeros(seconds * rate)
    for beat in np.arange(0.1, seconds - 0.5, 0.3):
        hz = notes[rng.integers(0, 5)] if rng.random() < 0.25 else rng.choice(notes[5:])
        start = int((beat + rng.normal(0, 0.008)) * rate)
        size = min(out.size - start, 2 * rate)
        out[start: start + size] += rng.uniform(0.4, 1) * _pluck(hz, size, rate, rng)
    return out


def organ(seconds: int, rate: int, rng: np.random.Generator) -> np.ndarray:
    """Sustained chords with pedal notes, often near a harmonic of the hum."""
    notes, out = _scale(rng, 49.0, 4), np.zeros(seconds * rate)
    start = 0
    while start < out.size:
        size = min(out.size - start, int(rng.uniform(1.5, 4) * rate))
        t = np.arange(size) / rate
        swell = np.minimum(1, np.minimum(t, t[-1] - t) / 0.05)
        for hz in [notes[rng.integers(0, 5)], *rng.choice(notes[5:], 3, replace=False)]:
            for stop, loudness in ((1, 1.0), (2, 0.6), (3, 0.25), (4, 0.4), (6, 0.15), (8, 0.2)):
                cycles = hz * stop * t + rng.random()
                out[start: start + size] += swell * loudness * np.sin(2 * np.pi * cycles)
        start += size
    return out


def drums(seconds: int, rate: int, rng: np.random.Generator) -> np.ndarray:
    """Bursts of noise and a bass drum that falls from 120 to 45 Hz."""
    out = np.zeros(seconds * rate)
    t = np.arange(int(0.4 * rate)) / rate
    kick = np.sin(2 * np.pi * (45 * t + 75 * 0.04 * (1 - np.exp(-t / 0.04)))) * np.exp(-t / 0.12)
    for step, beat in enumerate(np.arange(0.05, seconds - 0.5, 0.24)):
        band = (150, 6000) if step % 4 == 2 else (5000, 16000)
        noise = sosfilt(butter(2, band, "bandpass", fs=rate, output="sos"),
                        rng.standard_normal(t.size))
        hit = noise * np.exp(-t / (0.06 if step % 4 == 2 else 0.02)) * rng.uniform(0.3, 0.7)
        if step % 4 == 0 or rng.random() < 0.15:
            hit = hit + 2 * kick
        start = int(beat * rate)
        out[start: start + t.size] += hit
    return out


def pink(seconds: int, rate: int, rng: np.random.Generator) -> np.ndarray:
    """Noise of equal power per octave from 20 Hz up."""
    return _coloured(seconds, rate, rng, 0.5)


def room(seconds: int, rate: int, rng: np.random.Generator) -> np.ndarray:
    """What a microphone hears when nothing sounds: noise that falls by 5 dB per octave."""
    return _coloured(seconds, rate, rng, 0.83)


def _coloured(seconds: int, rate: int, rng: np.random.Generator, slope: float) -> np.ndarray:
    spectrum = np.fft.rfft(rng.standard_normal(seconds * rate))
    hz = np.fft.rfftfreq(seconds * rate, 1 / rate)
    return np.fft.irfft(spectrum * np.maximum(hz, 20) ** -slope, seconds * rate)


SPOKEN = {"low_voice": low_voice, "high_voice": high_voice}
PLAYED = {"plucked": plucked, "organ": organ, "drums": drums, "pink": pink, "room": room}
SOUNDS = {**SPOKEN, **PLAYED}

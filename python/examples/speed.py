"""Time for an hour of 64 channels at 1 kHz: speed.py [HOURS]"""

import resource
import sys
import time

import numpy as np

import kalim

RATE = 1000
CHANNELS = 64


def make_recording(hours):
    """Noise that falls with frequency, as an EEG does, with hum of five harmonics."""
    rng = np.random.default_rng(1)
    length = int(3600 * hours) * RATE
    clock = np.arange(length, dtype=np.float64) / RATE
    hum = sum(
        np.sin(2 * np.pi * 50.013 * number * clock + number) / number for number in range(1, 6)
    ).astype(np.float32)
    recording = np.empty((CHANNELS, length), np.float32)
    for channel in recording:
        rng.standard_normal(out=channel, dtype=np.float32)
        channel *= np.float32(0.02)
        channel += np.float32(rng.uniform(0.01, 0.1)) * hum
    return recording


def main():
    hours = float(sys.argv[1]) if len(sys.argv) > 1 else 1.0
    recording = make_recording(hours)
    for options in ({"mains": 50}, {}, {"method": "tracking", "harmonics": 9}):
        before = resource.getrusage(resource.RUSAGE_SELF)
        start = time.perf_counter()
        kalim.remove(recording, RATE, **options)
        wall = time.perf_counter() - start
        after = resource.getrusage(resource.RUSAGE_SELF)
        cores = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        print(f"{options}: {wall:.1f} s, {cores:.1f} s of processor time", flush=True)


if __name__ == "__main__":
    main()

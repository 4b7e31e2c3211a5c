import json
import os
import subprocess

import numpy as np
import pytest
import soundfile


def make_recording(rate, channels, seconds, fundamental=50.02, seed=1):
    """Noise with hum of up to seven harmonics, float32."""
    rng = np.random.default_rng(seed)
    clock = np.arange(round(rate * seconds)) / rate
    x = rng.normal(0.0, 0.05, (channels, clock.size))
    for number in (1, 2, 3, 5, 7):
        if number * fundamental < 0.45 * rate:
            sine = np.sin(2 * np.pi * fundamental * number * clock + number)
            x += rng.uniform(0.05, 0.1, (channels, 1)) / number * sine
    return x.astype(np.float32)


@pytest.fixture(scope="session")
def program():
    path = os.environ.get("KALIM_PROGRAM")
    if not path:
        pytest.skip("KALIM_PROGRAM does not name the program to compare with")
    return path


@pytest.fixture
def run_program(program, tmp_path):
    """What the program makes of a recording: run(x, rate, *options)."""

    def run(x, rate, *options):
        source, target = tmp_path / "in.wav", tmp_path / "out.wav"
        soundfile.write(source, x.T, rate, subtype="FLOAT")
        command = [program, "--quiet", "--force", *options, source, target]
        subprocess.run(command, check=True)
        return soundfile.read(target, dtype="float32", always_2d=True)[0].T

    return run


@pytest.fixture
def detect_by_program(program, tmp_path):
    def run(x, rate, *options):
        source = tmp_path / "in.wav"
        soundfile.write(source, x.T, rate, subtype="FLOAT")
        command = [program, "detect", "--quiet", "--json", *options, source]
        done = subprocess.run(command, check=True, capture_output=True)
        return json.loads(done.stdout)[0]["hum"]

    return run

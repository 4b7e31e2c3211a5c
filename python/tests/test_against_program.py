"""What the program makes of a float32 file, sample for sample and bit for bit."""

import numpy as np
import pytest
from conftest import make_recording

import kalim

# Longer than two stretches (32 s), so that they are joined too.
SOUNDS = [(48000, 1, 4.0), (44100, 3, 4.0), (8000, 2, 70.0), (1000, 5, 40.0), (250, 1, 30.0)]
WAYS = [
    ({}, []),
    ({"mains": 50, "strength": 30}, ["--mains", "50", "--strength", "30"]),
    ({"range": (49, 51), "residual": True}, ["--range", "49:51", "--residual"]),
    ({"learn": (0.2, 3.8)}, ["--learn", "0.2:3.8"]),
    ({"method": "tracking", "harmonics": 7, "adaptivity": 3.5}, ["-n", "7", "-a", "3.5"]),
    (
        {"method": "tracking", "odd": True, "harmonics": 3, "residual": True, "block_size": 333},
        ["--odd", "-n", "3", "--residual", "--block-size", "333"],
    ),
    (
        {"method": "notch", "harmonics": 2, "fundamental": 50.1},
        ["--method", "notch", "-n", "2", "-f", "50.1"],
    ),
    ({"method": "tracking", "aggressive": True, "harmonics": 2}, ["--aggressive", "-n", "2"]),
]


@pytest.mark.parametrize("sound", SOUNDS, ids=str)
@pytest.mark.parametrize("way", WAYS, ids=lambda way: " ".join(way[1]) or "default")
def test_removes_what_the_program_removes(run_program, sound, way):
    rate, channels, seconds = sound
    keywords, options = way
    x = make_recording(*sound)
    method = [] if "method" in keywords else ["--method", "precise"]
    expected = run_program(x, rate, *method, *options)
    result = kalim.remove(x, rate, **keywords)
    np.testing.assert_array_equal(result, expected)
    assert not np.array_equal(result, x)
    # The part that is removed has the precision of a float, at levels of 0.3 at most.
    double = kalim.remove(x.astype(np.float64), rate, **keywords)
    assert double.dtype == np.float64
    assert np.abs(double - expected).max() < 1e-7


@pytest.mark.parametrize("options", [{}, {"mains": 50}, {"range": (59, 61)}], ids=str)
def test_detects_what_the_program_detects(detect_by_program, options):
    flags = {"mains": "--mains", "range": "--range"}
    spelt = [
        text
        for name, value in options.items()
        for text in (flags[name], "59:61" if name == "range" else str(value))
    ]
    x = make_recording(8000, 2, 9.0)
    # A note on the second harmonic of one channel, hum that begins late, and a weak harmonic.
    clock = np.arange(x.shape[1]) / 8000
    x[0] += (0.3 * np.sin(2 * np.pi * 100.6 * clock)).astype(np.float32)
    x[:, :24000] = np.random.default_rng(2).normal(0, 0.05, (2, 24000))
    found = kalim.detect(x, 8000, **options)
    assert found.to_dict() == pytest.approx(detect_by_program(x, 8000, *spelt), rel=1e-12)
    assert bool(found) == ("range" not in options)


def test_detects_doubts_as_the_program_does(detect_by_program):
    x = make_recording(8000, 2, 9.0)
    # A trembling note on the third harmonic.
    clock = np.arange(x.shape[1]) / 8000
    tremble = np.cumsum(np.random.default_rng(3).normal(0, 0.05, clock.size))
    x[0] += (0.8 * np.sin(2 * np.pi * 150.06 * clock + tremble)).astype(np.float32)
    found = kalim.detect(x, 8000)
    expected = detect_by_program(x, 8000)
    assert found.to_dict()["doubts"] == expected["doubts"] != []


def test_a_note_beside_what_is_no_number_stays(run_program):
    """The program writes silence less the hum there."""
    x = make_recording(8000, 1, 5.0)
    x[0, 100:110] = np.nan
    x[0, 20000] = np.inf
    expected = run_program(x, 8000, "--method", "precise")
    result = kalim.remove(x, 8000)
    finite = np.isfinite(x)
    np.testing.assert_array_equal(result[finite], expected[finite])
    np.testing.assert_array_equal(result[~finite], x[~finite])
    tracked = kalim.remove(x, 8000, method="tracking")
    np.testing.assert_array_equal(np.isfinite(tracked), finite)


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
def test_a_stream_gives_what_the_program_gives(run_program, dtype):
    x = make_recording(48000, 2, 2.0)
    expected = run_program(x, 48000, "--method", "tracking", "-n", "7")
    remover = kalim.Remover(48000, 2, harmonics=7, dtype=dtype)
    blocks = [remover.process(x[:, at : at + 2048]) for at in range(0, x.shape[1], 2048)]
    late = np.concatenate([*blocks, remover.flush()], axis=1)
    assert remover.latency == 2048
    assert late.dtype == dtype
    if dtype == np.float32:
        np.testing.assert_array_equal(late[:, 2048:], expected)
    else:
        assert np.abs(late[:, 2048:] - expected).max() < 1e-7
    assert not late[:, :2048].any()

import inspect
import re
import subprocess
import sys
import threading
from pathlib import Path

import numpy as np
import pytest
from conftest import make_recording

import kalim
from kalim import _core


@pytest.fixture(scope="module")
def x():
    return make_recording(1000, 2, 12.0)


@pytest.fixture(scope="module")
def cleaned(x):
    return kalim.remove(x, 1000)


def test_shapes_and_layouts_give_the_same(x, cleaned):
    assert cleaned.shape == x.shape
    alone = kalim.remove(x[0], 1000)
    assert alone.shape == x[0].shape
    np.testing.assert_array_equal(alone, kalim.remove(x[:1], 1000)[0])
    strided = np.empty((4, 2 * x.shape[1]), np.float32)
    strided[::2, ::2] = x
    for same in (np.asfortranarray(x), strided[::2, ::2], x.astype(">f4"), x[:, ::-1][:, ::-1]):
        np.testing.assert_array_equal(kalim.remove(same, 1000), cleaned)
    np.testing.assert_array_equal(kalim.remove(x[::-1], 1000, mains=50).shape, x.shape)
    assert kalim.remove(np.zeros((3, 0), np.float32), 1000).shape == (3, 0)
    for length in (1, 7, 100):
        assert kalim.remove(x[:, :length], 1000).shape == (2, length)


def test_takes_the_input_without_changing_or_copying_it(x):
    before = x.copy()
    rows = x[:, 500:11000]  # rows that lie apart
    rows.flags.writeable = False
    kalim.remove(rows, 1000, mains=50)
    np.testing.assert_array_equal(x, before)
    from kalim._checks import take_samples

    assert np.shares_memory(take_samples(rows)[1], x)
    assert np.shares_memory(take_samples(x[0])[1], x)


@pytest.mark.parametrize(
    "dtype, expected",
    [("i2", "f4"), ("u1", "f4"), ("i4", "f8"), ("f2", "f4"), ("f4", "f4"), ("f8", "f8")],
)
def test_types_that_come_out(x, dtype, expected):
    scale = 1.0 if dtype[0] == "f" else 50.0
    offset = 128 if dtype == "u1" else 0
    samples = (x * scale + offset).astype(dtype)
    result = kalim.remove(samples, 1000, mains=50)
    assert result.dtype == np.dtype(expected)
    assert np.std(result) < 0.9 * np.std(samples)


def test_double_precision_is_kept():
    """Beside an offset that single precision cannot resolve."""
    x = make_recording(1000, 1, 12.0).astype(np.float64)
    removed = kalim.remove(x, 1000, residual=True, normalize=True)
    lifted = kalim.remove(x + 2.0**20, 1000, residual=True)
    assert np.abs(removed).max() > 0.05
    assert np.abs(lifted - removed).max() < 1e-6
    np.testing.assert_array_equal(kalim.remove(x, 1000, normalize=True), x - removed)


@pytest.mark.parametrize("method", ["precise", "tracking"])
@pytest.mark.parametrize("unit", [2.0**-17, 2.0**12])
def test_units_do_not_matter(x, method, unit):
    expected = kalim.remove(x, 1000, method=method, normalize=True)
    result = kalim.remove(x * np.float32(unit), 1000, method=method)
    np.testing.assert_allclose(result / np.float32(unit), expected, rtol=0, atol=1e-7)
    found = kalim.detect(x * np.float32(unit), 1000)
    level = kalim.detect(x, 1000, normalize=True).harmonics[0].level
    assert found.harmonics[0].level == pytest.approx(level + 20 * np.log10(unit), abs=0.01)


# Noise of as many decibels below the hum limits how near one comes; these lie 5 dB and more below
# what was reached.
@pytest.mark.parametrize(
    "rate, fundamental, most",
    [(100, 16.7, 0.05), (250, 50.0, 0.05), (512.5, 60.0, 0.05), (5000, 50.0, 0.05)],
)
def test_low_rates(rate, fundamental, most):
    clean = np.random.default_rng(3).normal(0, 0.05, (2, round(30 * rate)))
    clock = np.arange(clean.shape[1]) / rate
    hum = 0.1 * np.sin(2 * np.pi * fundamental * clock)
    result = kalim.remove(clean + hum, rate, mains=fundamental)
    assert np.std(result - clean) < most * np.std(hum)
    tracked = kalim.remove(clean + hum, rate, method="tracking", fundamental=max(fundamental, 40))
    if fundamental > 40:
        assert np.std((tracked - clean)[:, round(5 * rate) :]) < 0.3 * np.std(hum)


def test_tells_that_a_rate_is_too_low():
    noise = np.random.default_rng(1).normal(size=3000)
    with pytest.warns(UserWarning, match="100 Hz is too low a rate for hum of 48.75 Hz"):
        np.testing.assert_array_equal(kalim.remove(noise, 100), noise)


def test_tiny_numbers_remain_numbers(x):
    """The library lets them count as zero, but only while it works."""
    script = "import kalim, numpy as np; assert np.float64(5e-324) * np.float64(1.0) > 0.0"
    subprocess.run([sys.executable, "-c", script], check=True)
    for method in ("precise", "tracking", "notch"):
        kalim.remove(x, 1000, method=method)
        assert np.float64(5e-324) * np.float64(1.0) > 0.0


def test_many_channels():
    x = make_recording(500, 130, 6.0)
    result = kalim.remove(x, 500)
    assert np.all(np.std(result, axis=1) < 0.06)


def test_threads_do_not_disturb_each_other(x, cleaned):
    results = [None] * 4

    def work(i):
        results[i] = kalim.remove(x, 1000)

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for result in results:
        np.testing.assert_array_equal(result, cleaned)


def test_others_run_meanwhile(x):
    """The interpreter's lock is released: a thread that counts goes on counting."""
    counts = []
    done = threading.Event()
    counter = threading.Thread(target=lambda: [counts.append(1) for _ in iter(done.is_set, True)])
    counter.start()
    before = len(counts)
    _core.remove_precise(  # one call of native code
        x, 1000.0, _core.PreciseArguments([], 1.0, None, False, False)
    )
    after = len(counts)
    done.set()
    counter.join()
    assert after - before > 100


BAD = [
    (TypeError, "complex", dict(x=np.zeros(9, complex))),
    (TypeError, "no numbers", dict(x=np.array(["a"]))),
    (TypeError, "no numbers", dict(x=np.zeros(9, bool))),
    (TypeError, "masked", dict(x=np.ma.zeros(9))),
    (ValueError, r"shape.*\(2, 3, 4\)", dict(x=np.zeros((2, 3, 4)))),
    (ValueError, r"shape.*\(\)", dict(x=1.0)),
    (ValueError, "no channel", dict(x=np.zeros((0, 9)))),
    (ValueError, "rate: 99 is not in the range 100 to 384000 Hz", dict(rate=99)),
    (ValueError, "rate: nan", dict(rate=np.nan)),
    (TypeError, "rate: expected a number, not 'fast'", dict(rate="fast")),
    (ValueError, "method: 'magic' is none of", dict(method="magic")),
    (ValueError, "mains: 14 is not in the range 15 to 440 Hz", dict(mains=14)),
    (ValueError, "together", dict(mains=50, range=(49, 51))),
    (ValueError, "does not rise", dict(range=(51, 49))),
    (TypeError, "pair", dict(range=50)),
    (ValueError, "strength: 101", dict(strength=101)),
    (ValueError, "only 1.000 s long", dict(learn=(0, 2))),
    (ValueError, "start before the end", dict(learn=(0.5, 0.5))),
    (ValueError, "no hum was found in the part", dict(learn=(0, 1))),
    (TypeError, "residual: expected True or False", dict(residual=1)),
    (TypeError, "harmonics: is not known to the method 'precise'", dict(harmonics=3)),
    (TypeError, "mains: is not known to the method 'tracking'", dict(method="tracking", mains=50)),
    (TypeError, "unexpected keyword argument 'loudness'", dict(loudness=3)),
    (ValueError, "harmonics: 97 is not in the range 0 to 96", dict(method="notch", harmonics=97)),
    (ValueError, "harmonics: 1.5 is no whole", dict(method="notch", harmonics=1.5)),
    (ValueError, "adaptivity: nan", dict(method="tracking", adaptivity=np.nan)),
    (ValueError, "block_size: 0", dict(method="tracking", block_size=0)),
]


@pytest.mark.parametrize("error, text, arguments", BAD, ids=[text for _, text, _ in BAD])
def test_refuses(error, text, arguments):
    arguments = dict(x=np.random.default_rng(1).normal(size=1000), rate=1000) | arguments
    with pytest.raises(error, match=text):
        kalim.remove(**arguments)


def test_the_engines_table_is_in_signature_docstring_and_stub():
    stub = (Path(kalim.__file__).parent / "__init__.pyi").read_text()
    remove, remover = re.findall(r"(?:def remove|def __init__)\((.*?)\) ->", stub, re.DOTALL)
    for row in _core.parameters():
        assert row["option"] in inspect.signature(kalim.remove).parameters
        assert f"    {row['option']} : " in kalim.remove.__doc__
    for function, text in ((kalim.remove, remove), (kalim.Remover.__init__, remover)):
        names = [name for name in inspect.signature(function).parameters if name != "self"]
        assert re.findall(r"^ +(\w+):", text, re.MULTILINE) == names

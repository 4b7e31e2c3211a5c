import threading

import numpy as np
import pytest
from conftest import make_recording

import kalim


def run(remover, x, step):
    blocks = [remover.process(x[:, at : at + step]) for at in range(0, x.shape[1], step)]
    return np.concatenate([*blocks, remover.flush()], axis=1)[:, remover.latency :]


@pytest.mark.parametrize("look_ahead, latency", [(0, 0), (0.05, 2400), (0.2, 9600)])
def test_the_live_form_removes_hum_however_it_is_cut(look_ahead, latency):
    clean = np.random.default_rng(4).normal(0, 0.01, (2, 8 * 48000)).astype(np.float32)
    clock = np.arange(clean.shape[1]) / 48000
    hum = (0.1 * np.sin(2 * np.pi * 50.03 * clock)).astype(np.float32)
    remover = kalim.Remover(48000, 2, method="precise", look_ahead=look_ahead, harmonics=5)
    assert remover.latency == latency
    result = run(remover, clean + hum, 1000)
    assert result.shape == clean.shape
    settled = slice(4 * 48000, None)
    assert np.std((result - clean)[:, settled]) < 0.05 * np.std(hum)
    np.testing.assert_array_equal(run(remover, clean + hum, 77777), result)
    double = kalim.Remover(
        48000, 2, method="precise", look_ahead=look_ahead, harmonics=5, dtype=np.float64
    )
    assert np.abs(run(double, clean + hum, 4096) - result).max() < 1e-7
    assert double.process(np.zeros((2, 48000))).dtype == np.float64


def test_what_is_removed_and_what_remains_are_the_whole():
    x = make_recording(8000, 1, 4.0)
    for keywords in ({"harmonics": 3}, {"method": "notch"}, {"method": "precise"}):
        rest = run(kalim.Remover(8000, 1, **keywords), x, 300)
        removed = run(kalim.Remover(8000, 1, residual=True, **keywords), x, 300)
        assert np.abs(removed).max() > 0.02
        np.testing.assert_allclose(rest + removed, x, rtol=0, atol=1e-7)


def test_small_units_with_a_full_scale():
    x = make_recording(8000, 1, 6.0)
    unit = np.float32(2.0**-20)
    expected = run(kalim.Remover(8000, 1, method="precise"), x, 512)
    remover = kalim.Remover(8000, 1, method="precise", full_scale=2.0**-20)
    np.testing.assert_array_equal(run(remover, x * unit, 512), expected * unit)


def test_tells_the_fundamental_and_forgets():
    remover = kalim.Remover(8000, 1)
    assert remover.fundamental == 50.0
    x = make_recording(8000, 1, 4.0, fundamental=50.3)
    first = run(remover, x, 256)
    np.testing.assert_array_equal(run(remover, x, 256), first)
    remover.process(x)
    assert remover.fundamental == pytest.approx(50.3, abs=0.1)
    remover.reset()
    np.testing.assert_array_equal(run(remover, x, 256), first)
    assert remover.process(x[0]).shape == x[0].shape
    assert remover.process(x[:, :0]).shape == (1, 0)


def test_what_is_no_number_stays_and_is_forgotten():
    x = make_recording(8000, 1, 6.0)
    x[0, 30000] = np.nan
    for method in ("precise", "tracking"):
        result = run(kalim.Remover(8000, 1, method=method), x, 512)
        np.testing.assert_array_equal(np.isnan(result), np.isnan(x))


def test_calls_from_several_threads_wait_for_each_other():
    remover = kalim.Remover(48000, 1, harmonics=20)
    block = make_recording(48000, 1, 0.1)
    work = lambda: [remover.process(block) for _ in range(20)]
    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert np.isfinite(remover.flush()).all()


@pytest.mark.parametrize(
    "error, text, arguments",
    [
        (ValueError, "rate: 1000 is not in the range 8000", dict(rate=1000, method="precise")),
        (ValueError, "channels: 9", dict(channels=9, method="precise")),
        (ValueError, "channels: 0", dict(channels=0)),
        (ValueError, "look_ahead: 0.3", dict(method="precise", look_ahead=0.3)),
        (TypeError, "look_ahead: is not known", dict(look_ahead=0.1)),
        (TypeError, "odd: is not known", dict(method="precise", odd=True)),
        (TypeError, "neither float32 nor float64", dict(dtype=np.int16)),
        (ValueError, "full_scale", dict(full_scale=0)),
    ],
    ids=str,
)
def test_refuses(error, text, arguments):
    with pytest.raises(error, match=text):
        kalim.Remover(**(dict(rate=48000, channels=1) | arguments))


def test_refuses_blocks_of_another_kind():
    remover = kalim.Remover(48000, 2)
    with pytest.raises(ValueError, match="has 1 channels, the remover is for 2"):
        remover.process(np.zeros(10))
    with pytest.raises(TypeError, match="complex"):
        remover.process(np.zeros((2, 10), complex))

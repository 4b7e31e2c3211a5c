"""Hum out of signals that come block by block."""

import math

import numpy as np

from . import _checks, _core
from ._removal import complete, make_engine_task

LOWEST_LIVE_RATE = 8000.0
MOST_LIVE_CHANNELS = 8
MOST_LIVE_HARMONICS = 96
LONGEST_LOOK_AHEAD = 0.2
LIVE_FUNDAMENTALS = (16.0, 400.0)


class Remover:
    """Remove mains hum from a running signal.

    Parameters
    ----------
    rate : float
        Samples per second: 100 to 384000, 8000 to 384000 for the precise method.
    channels : int
        Channels of every block; at most 8 for the precise method.
    method : {"tracking", "notch", "precise"}
        "tracking" follows the hum and subtracts a copy of each harmonic, late by one hop (about
        40 ms); "notch" cuts notches without latency; "precise" fits phase, level and a pattern of
        harmonics (1 to 96 of them, 96 unless given) and predicts them, late by `look_ahead`.
    dtype : {numpy.float32, numpy.float64}
        Type of what comes out, and in which the subtraction is done.
    full_scale : float
        The magnitude that counts as full scale, such as 1e-3 for volts of an EEG: samples are
        divided by it (by the next power of two) for the analysis. 1 is for sound.
    residual : bool
        Give what is removed instead of what remains.
    mains : float, optional
        Precise: frequency in Hz near which (1.8 %) the fundamental is, 16 to 400; 50 unless given.
    look_ahead : float, optional
        Precise: seconds by which the output is late and which help to see what comes, 0 (unless
        given) to 0.2. 0.05 is enough for most.
    strength : float, optional
        Precise: percentage of the hum that is taken off, 0 to 100 (unless given).
    block_size : int, optional
        Tracking, notch: blocks are cut into pieces of so many samples; 512 unless given, one hop at
        most.
{engine}
    Attributes
    ----------
    latency : int
        Samples by which the output is late.
    fundamental : float
        The fundamental in Hz that is being removed; 0 where the precise method removes nothing.

    Raises
    ------
    TypeError, ValueError
        As `remove` does.

    Notes
    -----
    What `process` gives, joined with what `flush` gives and without its first `latency` samples,
    lines up with what came in. Where blocks are whole multiples of the block size, that is for
    the methods "tracking" and "notch" exactly what `remove` gives; other cuts differ a little, as
    in a host. The precise method does not depend on the cuts. Samples that are not finite count as
    silence and stay. The interpreter's lock is released; calls from several threads wait for each
    other.

    Examples
    --------
    >>> import numpy as np
    >>> remover = Remover(48000, 2, method="precise", look_ahead=0.05)
    >>> remover.latency
    2400
    >>> remover.process(np.zeros((2, 512), np.float32)).shape
    (2, 512)
    """

    def __init__(
        self,
        rate,
        channels,
        *,
        method="tracking",
        dtype=np.float32,
        full_scale=1.0,
        residual=False,
        mains=None,
        look_ahead=None,
        strength=None,
        block_size=None,
        **engine,
    ):
        engine = _checks.take_engine_keywords("Remover", engine)
        method = _checks.take_method(method)
        is_precise = method == "precise"
        # The number of harmonics both have.
        own = {name: value for name, value in engine.items() if name != "harmonics"}
        given = dict(mains=mains, look_ahead=look_ahead, strength=strength, block_size=block_size)
        _checks.refuse_foreign(method, {**given, **own})
        rate = _checks.take_rate(rate, LOWEST_LIVE_RATE if is_precise else _checks.LOWEST_RATE)
        most_channels = MOST_LIVE_CHANNELS if is_precise else math.inf
        self._channels = _checks.take_whole("channels", channels, 1, most_channels)
        self._dtype = np.dtype(dtype)
        if self._dtype not in (np.float32, np.float64):
            raise TypeError(f"dtype: {self._dtype} is neither float32 nor float64")
        full_scale = _checks.take_number("full_scale", full_scale, 1e-30, 1e30)
        scale = 2.0 ** -math.ceil(math.log2(full_scale))
        residual = _checks.take_switch("residual", residual)
        suffix = "32" if self._dtype == np.float32 else "64"
        if is_precise:
            make = getattr(_core, "make_live_stream" + suffix)
            settings = _make_live_settings(
                mains, look_ahead, strength, engine.get("harmonics"), residual
            )
            self._stream = make(rate, self._channels, settings, scale)
        else:
            make = getattr(_core, "make_engine_stream" + suffix)
            task = make_engine_task(rate, method, block_size, dict(engine, residual=residual))
            self._stream = make(task, self._channels, scale)

    @property
    def latency(self):
        """Samples by which the output is late."""
        return self._stream.latency

    @property
    def fundamental(self):
        """The fundamental in Hz that is being removed; 0 where nothing is, if that is known."""
        return self._stream.fundamental

    def process(self, block):
        """Take the next samples and give as many, late by `latency`; silence comes first.

        Parameters
        ----------
        block : array_like, shape (samples,) or (channels, samples)
            Of any length; the first shape is for one channel.

        Returns
        -------
        numpy.ndarray
            Of the shape of `block` and the type of the remover.
        """
        _checks.take_dtype(np.asarray(block).dtype)
        block, rows = _checks.take_samples(block, self._dtype)
        if rows.shape[0] != self._channels:
            raise ValueError(
                f"block: has {rows.shape[0]} channels, the remover is for {self._channels}"
            )
        return self._stream.process(rows).reshape(block.shape)

    def flush(self):
        """Give the last `latency` samples, shape (channels, latency), and begin anew."""
        return self._stream.flush()

    def reset(self):
        """Forget all sound."""
        self._stream.reset()


def _make_live_settings(mains, look_ahead, strength, harmonics, residual):
    def choose(value, default):
        return default if value is None else value

    return _core.LiveSettings(
        fundamental=_checks.take_number("mains", choose(mains, 50.0), *LIVE_FUNDAMENTALS, "Hz"),
        look_ahead=_checks.take_number(
            "look_ahead", choose(look_ahead, 0.0), 0.0, LONGEST_LOOK_AHEAD, "s"
        ),
        harmonics=_checks.take_whole(
            "harmonics", choose(harmonics, MOST_LIVE_HARMONICS), 1, MOST_LIVE_HARMONICS
        ),
        strength=_checks.take_number("strength", choose(strength, 100.0), 0.0, 100.0, "%") / 100.0,
        residual=residual,
    )


complete(Remover.__init__, Remover)

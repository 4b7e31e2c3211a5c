"""Hum out of whole recordings."""

import inspect
import warnings

import numpy as np

from . import _checks, _core


def remove(
    x,
    rate,
    *,
    method="precise",
    mains=None,
    range=None,
    strength=None,
    learn=None,
    residual=False,
    block_size=None,
    normalize=None,
    **engine,
):
    """Remove mains hum from a recording.

    Parameters
    ----------
    x : array_like, shape (samples,) or (channels, samples)
        The recording, real. float32 and float64 are processed as they are (float32 whose rows lie
        side by side in memory without a copy), other types as the smaller of the two that holds
        them. Channels share one fundamental; their harmonics differ. Any number of channels.
        Samples that are not finite count as silence and stay in the result.
    rate : float
        Samples per second, 100 to 384000. Harmonics above 0.45 of it are left alone by precise
        removal, those above 0.49 by the others.
    method : {"precise", "tracking", "notch"}
        "precise" looks at the recording as a whole: one phase, one level and one pattern of
        harmonics are fitted to it and subtracted; without hum nothing changes. "tracking" follows
        the hum from moment to moment and subtracts a copy of each harmonic, "notch" cuts notches.
    mains : float or "auto", optional
        Precise: frequency in Hz near which (2.5 %) the fundamental is, 15 to 440. As a rule 50 and
        60 Hz are both tried, which takes a reading of its own.
    range : (float, float), optional
        Precise: where the fundamental is, in Hz, instead of `mains`.
    strength : float, optional
        Precise: percentage of the hum that is taken off, 0 to 100 (default).
    learn : (float, float), optional
        Precise: start and end in seconds of a part in which nothing but hum sounds; its shape is
        taken from there. At most 32 s of it are heard.
    residual : bool
        Return what is removed instead of what remains.
    block_size : int, optional
        Tracking, notch: samples of a call of the engine, 1 to 1048576, one hop (about 40 ms) at
        most; 512 unless given.
    normalize : bool, optional
        Whether to subtract the mean of every channel and bring its largest magnitude to between
        0.5 and 1 (by a power of two) for the analysis; the result is in the units of `x` in any
        case. As a rule (None) that is done where the recording does not look like sound: its
        largest magnitude lies below 1/8192 or above 8, as in volts of an EEG, or a channel's mean
        exceeds three standard deviations. Without it the result for float32 is, bit for bit, what
        the program `kalim` writes.
{engine}
    Returns
    -------
    numpy.ndarray
        A new array of the shape of `x` that lines up with it; float32 or float64 as `x` was, and
        what numpy takes as the smaller that holds it for others. From float64 the removed part is
        subtracted in double precision.

    Raises
    ------
    TypeError
        Complex samples or such that are no numbers; a keyword that the method does not know.
    ValueError
        Another shape, a value out of its range, no hum in the part to learn it from.

    Warns
    -----
    UserWarning
        The rate is too low to hold the fundamental: nothing is removed.

    Notes
    -----
    The interpreter's lock is released, and precise removal works on two cores. Several recordings
    can be cleaned at the same time from several threads.

    References
    ----------
    .. [1] M. Brandt and J. Bitzer, "Automatic Detection of Hum in Audio Signals", J. Audio Eng.
       Soc., 2014. The comb of harmonics that finds the fundamental follows it.
    .. [2] J. Keiner, S. Kunis and D. Potts, "Using NFFT 3", ACM Trans. Math. Softw., 2009. The
       interpolation that reads harmonics between the bins of a transform.
    .. [3] H. Rauch, F. Tung and C. Striebel, "Maximum Likelihood Estimates of Linear Dynamic
       Systems", AIAA J., 1965. The smoother of phase, level and amplitudes.

    Examples
    --------
    >>> import numpy as np
    >>> rate = 1000.0
    >>> time = np.arange(20 * int(rate)) / rate
    >>> hum = np.float32(0.1) * np.sin(2 * np.pi * 50.02 * time).astype(np.float32)
    >>> noise = np.random.default_rng(1).normal(0, 0.01, time.size).astype(np.float32)
    >>> cleaned = remove(noise + hum, rate)
    >>> bool(np.std(cleaned - noise) < 0.01 * np.std(hum))
    True
    """
    engine = _checks.take_engine_keywords("remove", engine)
    method = _checks.take_method(method)
    given = dict(mains=mains, range=range, strength=strength, learn=learn, block_size=block_size)
    _checks.refuse_foreign(method, {**given, **engine})
    rate = _checks.take_rate(rate)
    residual = _checks.take_switch("residual", residual)
    normalize = _checks.take_normalize(normalize)
    x, rows = _checks.take_samples(x)
    if rows.size == 0:
        return np.empty(x.shape, rows.dtype)
    if method == "precise":
        arguments = make_precise_arguments(
            rows, rate, mains, range, strength, learn, residual, normalize
        )
        result = _core.remove_precise(rows, rate, arguments)
    else:
        task = make_engine_task(rate, method, block_size, dict(engine, residual=residual))
        result = _core.remove_tracking(rows, task, normalize)
    return result.reshape(x.shape)


def make_precise_arguments(
    rows, rate, mains, range, strength=None, learn=None, residual=False, normalize=None
):
    ranges = _checks.take_ranges(mains, range)
    lowest = min(low for low, _ in ranges or _core.usual_ranges)
    if lowest > _checks.HIGHEST_SHARE_OF_RATE * rate:
        warnings.warn(
            f"nothing is removed: {rate:g} Hz is too low a rate for hum of {lowest:g} Hz",
            stacklevel=3,
        )
    share = 100.0 if strength is None else _checks.take_number("strength", strength, 0.0, 100.0, "%")
    learned = None if learn is None else _checks.take_part(learn, rate, rows.shape[1])
    return _core.PreciseArguments(
        ranges=ranges,
        strength=share / 100.0,
        learned=learned,
        residual=residual,
        normalises=normalize,
    )


def make_engine_task(rate, method, block_size, settings):
    if block_size is None:
        block_size = 512
    return _core.EngineTask(
        rate=rate,
        values=_checks.take_engine_values(method, settings),
        block_size=_checks.take_whole(
            "block_size", block_size, 1, _checks.LONGEST_BLOCK, "samples"
        ),
    )


def describe_engine(skipped=("residual",)):
    """The engine's parameters as lines of a docstring, and as parameters of a signature."""
    lines = []
    parameters = []
    for name, row in _checks.ENGINE_PARAMETERS.items():
        if name in skipped:
            continue
        kind = {"real": "float", "whole": "int", "toggle": "bool"}[row["kind"]]
        default = {"real": float, "whole": int, "toggle": bool}[row["kind"]](row["default"])
        limits = ""
        if row["kind"] != "toggle":
            unit = row["unit"] and " " + row["unit"]
            limits = f", {row['min']:g} to {row['max']:g}{unit}"
        lines.append(f"    {name} : {kind}, optional")
        lines.append(f"        Tracking, notch: {row['help']}{limits}; {default} unless given.")
        parameters.append(inspect.Parameter(name, inspect.Parameter.KEYWORD_ONLY, default=None))
    return "\n".join(lines) + "\n", parameters


def complete(function, described=None):
    """Puts the engine's parameters, which stand in a table of the library, where readers look: into
    the function's signature, and the docstring of what is described by it.
    """
    described = described or function
    text, parameters = describe_engine()
    if described.__doc__:  # none where Python runs with -OO
        described.__doc__ = described.__doc__.replace("{engine}", text)
    signature = inspect.signature(function)
    own = [p for p in signature.parameters.values() if p.kind is not p.VAR_KEYWORD]
    function.__signature__ = signature.replace(parameters=own + parameters)


complete(remove)

"""What arguments have to be, told in the caller's words."""

import math

import numpy as np

from . import _core

LOWEST_RATE = 100.0
HIGHEST_RATE = 384000.0
LONGEST_BLOCK = 1 << 20

#: Harmonics above this share of the rate are left alone.
HIGHEST_SHARE_OF_RATE = 0.45

METHODS = ("precise", "tracking", "notch")
ENGINE_PARAMETERS = {parameter["option"]: parameter for parameter in _core.parameters()}


def take_number(name, value, low, high, unit=""):
    """A real number within a range, both ends included; NaN is none."""
    if isinstance(value, (bool, np.bool_)):
        raise TypeError(f"{name}: expected a number, not a truth value")
    try:
        number = float(value)
    except (TypeError, ValueError):
        raise TypeError(f"{name}: expected a number, not {value!r}") from None
    if not low <= number <= high:
        unit = unit and " " + unit
        raise ValueError(f"{name}: {value!r} is not in the range {low:g} to {high:g}{unit}")
    return number


def take_whole(name, value, low, high, unit=""):
    number = take_number(name, value, low, high, unit)
    if number != math.floor(number):
        raise ValueError(f"{name}: {value!r} is no whole number")
    return int(number)


def take_switch(name, value):
    if not isinstance(value, (bool, np.bool_)):
        raise TypeError(f"{name}: expected True or False, not {value!r}")
    return bool(value)


def take_rate(rate, lowest=LOWEST_RATE):
    return take_number("rate", rate, lowest, HIGHEST_RATE, "Hz")


def take_method(method):
    if method not in METHODS:
        raise ValueError(f"method: {method!r} is none of {', '.join(METHODS)}")
    return method


def take_pair(name, pair):
    try:
        first, second = pair
    except (TypeError, ValueError):
        raise TypeError(f"{name}: expected a pair of numbers, not {pair!r}") from None
    return first, second


def take_ranges(mains, range):
    """Where the fundamental is looked for, as pairs of Hz; empty for the usual places."""
    if mains == "auto":
        mains = None
    if mains is not None and range is not None:
        raise ValueError("range: cannot be given together with mains")
    if mains is not None:
        mains = take_number("mains", mains, *_core.possible_fundamentals, "Hz")
        return [_core.range_around(mains)]
    if range is not None:
        low, high = (
            take_number("range", value, *_core.possible_fundamentals, "Hz")
            for value in take_pair("range", range)
        )
        if not low < high:
            raise ValueError(f"range: {range!r} does not rise")
        return [(low, high)]
    return []


def take_part(learn, rate, length):
    """First sample and number of samples of a part in seconds."""
    start, end = (
        take_number("learn", value, 0.0, math.inf, "s") for value in take_pair("learn", learn)
    )
    if not start < end < math.inf:
        raise ValueError(f"learn: {learn!r} is no part in seconds with the start before the end")
    first, last = (math.floor(seconds * rate + 0.5) for seconds in (start, end))
    if last > length:
        raise ValueError(f"learn: the recording is only {length / rate:.3f} s long")
    if last <= first:
        raise ValueError(f"learn: {learn!r} holds no sample")
    return first, last - first


def take_normalize(normalize):
    return None if normalize is None else take_switch("normalize", normalize)


def take_engine_values(method, settings):
    """The engine's parameters in the order of their table, from keywords named as its options."""
    values = []
    for name, parameter in ENGINE_PARAMETERS.items():
        if name not in settings:
            values.append(parameter["default"])
        elif parameter["kind"] == "toggle":
            values.append(float(take_switch(name, settings[name])))
        else:
            take = take_whole if parameter["kind"] == "whole" else take_number
            limits = parameter["min"], parameter["max"], parameter["unit"]
            values.append(float(take(name, settings[name], *limits)))
    if method == "notch":
        values[list(ENGINE_PARAMETERS).index("aggressive")] = 1.0
    return values


def refuse_foreign(method, given):
    """Keywords that are given (not None) must belong to the method."""
    precise = {"mains", "range", "strength", "learn", "look_ahead"}
    for name, value in given.items():
        if value is not None and (name in precise) != (method == "precise"):
            raise TypeError(f"{name}: is not known to the method {method!r}")


def take_engine_keywords(function, settings):
    """Those of the engine's parameters that are given."""
    for name in settings:
        if name not in ENGINE_PARAMETERS:
            raise TypeError(f"{function}() got an unexpected keyword argument {name!r}")
    return {name: value for name, value in settings.items() if value is not None}


def take_dtype(dtype):
    """The type of the result for samples of `dtype`: what holds them without loss, up to double."""
    dtype = np.dtype(dtype)
    if dtype.kind == "c":
        raise TypeError("x: complex samples; clean real and imaginary part by themselves")
    if dtype.kind not in "fiu":
        raise TypeError(f"x: samples of type {dtype} are no numbers")
    return np.dtype(np.float32 if np.can_cast(dtype, np.float32) else np.float64)


def take_samples(x, dtype=None):
    """Samples as (channels, samples) of single or double precision whose rows lie side by side;
    a view of `x` where that is possible.
    """
    if isinstance(x, np.ma.MaskedArray):
        raise TypeError("x: a masked array; fill it first, with NaN where nothing is known")
    x = np.asarray(x)
    if x.ndim not in (1, 2):
        raise ValueError(
            f"x: expected the shape (samples,) or (channels, samples), not {x.shape}"
        )
    if x.ndim == 2 and x.shape[0] == 0:
        raise ValueError("x: has no channel")
    rows = x.reshape(1, -1) if x.ndim == 1 else x
    rows = rows.astype(dtype or take_dtype(x.dtype), copy=False)
    lie_side_by_side = rows.strides[1] == rows.itemsize and rows.strides[0] % rows.itemsize == 0
    if not (lie_side_by_side and rows.flags.aligned and rows.dtype.isnative):
        rows = np.ascontiguousarray(rows, dtype=rows.dtype.newbyteorder("="))
    return x, rows

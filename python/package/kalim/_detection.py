"""What hum a recording holds."""

import dataclasses
import math

from . import _checks, _core
from ._removal import make_precise_arguments


@dataclasses.dataclass(frozen=True)
class Harmonic:
    """One harmonic in one channel, a mean over the time with hum."""

    channel: int
    """Index of the channel, from 0."""

    number: int
    """1 is the fundamental."""

    level: float
    """dB; 0 is a sine of amplitude 1 in the units of the recording."""

    prominence: float
    """dB by which the line stands out of a spectrum of a second."""


@dataclasses.dataclass(frozen=True)
class Moment:
    """The hum at one time."""

    time: float
    """Seconds."""

    frequency: float
    """Hz; 0 where there is none."""

    gain: float
    """Level against its mean, as a factor."""

    is_on: bool
    """Whether there is hum."""


@dataclasses.dataclass(frozen=True)
class Detection:
    """What `detect` found. Without hum all but `kind` and `course` is empty or 0."""

    kind: str
    """"none", "steady", "tape" (it wavers or lies beside the mains), "switched", "breathing", or
    "bursts, not hum" (clicks at a steady rate)."""

    fundamental: float
    """Hz, the mean over the time with hum."""

    uncertainty: float
    """One sigma of it in Hz."""

    lowest: float
    """Hz."""

    highest: float
    """Hz."""

    drift: float
    """Hz per second."""

    seconds_of_hum: float
    """How long there is hum."""

    changes: tuple
    """Times in seconds at which it changes at once."""

    harmonics: tuple
    """`Harmonic` by channel and number."""

    doubts: tuple
    """Sentences on what may be wrong."""

    course: tuple = dataclasses.field(repr=False)
    """`Moment` every fifth of a second or so."""

    def __bool__(self):
        """Whether there is hum."""
        return self.seconds_of_hum > 0.0

    def to_dict(self):
        """What `kalim detect --json` writes as "hum": channels from 1, rounded, without course."""
        if not self:
            return {"kind": self.kind}
        return {
            "kind": self.kind,
            "fundamental": _round_to(self.fundamental, 1e-5),
            "uncertainty": self.uncertainty,
            "lowest": _round_to(self.lowest, 1e-5),
            "highest": _round_to(self.highest, 1e-5),
            "drift": self.drift,
            "secondsOfHum": _round_to(self.seconds_of_hum, 0.01),
            "changes": list(self.changes),
            "harmonics": [
                {
                    "channel": harmonic.channel + 1,
                    "number": harmonic.number,
                    "level": _round_to(harmonic.level, 0.01),
                    "prominence": _round_to(harmonic.prominence, 0.01),
                }
                for harmonic in self.harmonics
            ],
            "doubts": list(self.doubts),
        }


def detect(x, rate, *, mains=None, range=None, normalize=None):
    """Tell what mains hum a recording holds, without changing anything.

    Parameters
    ----------
    x : array_like, shape (samples,) or (channels, samples)
        The recording, as for `remove`.
    rate : float
        Samples per second, 100 to 384000.
    mains : float or "auto", optional
        Frequency in Hz near which (2.5 %) the fundamental is, 15 to 440; 50 and 60 Hz are both
        tried unless given.
    range : (float, float), optional
        Where the fundamental is, in Hz, instead of `mains`.
    normalize : bool, optional
        As for `remove`.

    Returns
    -------
    Detection
        True where there is hum: ``if kalim.detect(x, rate): ...``

    Raises
    ------
    TypeError, ValueError
        As `remove` does.
    """
    rate = _checks.take_rate(rate)
    normalize = _checks.take_normalize(normalize)
    _, rows = _checks.take_samples(x)
    if rows.size == 0:
        return Detection("none", 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, (), (), (), ())
    arguments = make_precise_arguments(rows, rate, mains, range, normalize=normalize)
    found = _core.detect(rows, rate, arguments)
    harmonics = tuple(
        Harmonic(channel, number, _level_of(power), prominence)
        for channel, number, power, prominence in found.pop("harmonics")
    )
    doubts = _describe_doubts(found.pop("unsure"), found.pop("notes"), found["fundamental"])
    course = tuple(Moment(*moment) for moment in found.pop("course"))
    if not found.pop("found"):
        return Detection(found["kind"], 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, (), (), (), course)
    changes = tuple(found.pop("changes"))
    return Detection(**found, changes=changes, harmonics=harmonics, doubts=doubts, course=course)


def _level_of(power):
    """The level of a sine of this power."""
    return 10.0 * math.log10(max(2.0 * power, 1e-30))


def _round_to(value, step):
    """Halves go away from zero."""
    steps = value / step
    return math.copysign(math.floor(abs(steps) + 0.5), steps) * step


def _describe_doubts(unsure, notes, fundamental):
    doubts = []
    if unsure:
        numbers = ", ".join(str(number) for number in unsure)
        doubts.append(f"unsure of harmonic{'' if len(unsure) == 1 else 's'} {numbers}")
    for number in notes:
        frequency = number * fundamental
        doubts.append(f"something else sounds on harmonic {number} ({frequency:.1f} Hz)")
    return tuple(doubts)

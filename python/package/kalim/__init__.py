"""Removes mains hum, a 50 or 60 Hz tone that drifts and its harmonics, from numpy arrays.

`remove` cleans a recording of any number of channels at any rate, `detect` tells what hum it holds,
and `Remover` cleans a signal that comes block by block.
"""

from ._detection import Detection, Harmonic, Moment, detect
from ._removal import remove
from ._streams import Remover

__all__ = ["Detection", "Harmonic", "Moment", "Remover", "detect", "remove"]

from dataclasses import dataclass
from typing import Any, Literal

import numpy as np
import numpy.typing as npt

__all__ = ["Detection", "Harmonic", "Moment", "Remover", "detect", "remove"]

_Samples = npt.NDArray[np.floating[Any]]

def remove(
    x: npt.ArrayLike,
    rate: float,
    *,
    method: Literal["precise", "tracking", "notch"] = ...,
    mains: float | Literal["auto"] | None = ...,
    range: tuple[float, float] | None = ...,
    strength: float | None = ...,
    learn: tuple[float, float] | None = ...,
    residual: bool = ...,
    block_size: int | None = ...,
    normalize: bool | None = ...,
    fundamental: float | None = ...,
    sensitivity: float | None = ...,
    adaptivity: float | None = ...,
    harmonics: int | None = ...,
    odd: bool | None = ...,
    aggressive: bool | None = ...,
) -> _Samples: ...
def detect(
    x: npt.ArrayLike,
    rate: float,
    *,
    mains: float | Literal["auto"] | None = ...,
    range: tuple[float, float] | None = ...,
    normalize: bool | None = ...,
) -> Detection: ...
@dataclass(frozen=True)
class Harmonic:
    channel: int
    number: int
    level: float
    prominence: float

@dataclass(frozen=True)
class Moment:
    time: float
    frequency: float
    gain: float
    is_on: bool

@dataclass(frozen=True)
class Detection:
    kind: str
    fundamental: float
    uncertainty: float
    lowest: float
    highest: float
    drift: float
    seconds_of_hum: float
    changes: tuple[float, ...]
    harmonics: tuple[Harmonic, ...]
    doubts: tuple[str, ...]
    course: tuple[Moment, ...]
    def __bool__(self) -> bool: ...
    def to_dict(self) -> dict[str, Any]: ...

class Remover:
    def __init__(
        self,
        rate: float,
        channels: int,
        *,
        method: Literal["precise", "tracking", "notch"] = ...,
        dtype: npt.DTypeLike = ...,
        full_scale: float = ...,
        residual: bool = ...,
        mains: float | None = ...,
        look_ahead: float | None = ...,
        strength: float | None = ...,
        block_size: int | None = ...,
        fundamental: float | None = ...,
        sensitivity: float | None = ...,
        adaptivity: float | None = ...,
        harmonics: int | None = ...,
        odd: bool | None = ...,
        aggressive: bool | None = ...,
    ) -> None: ...
    @property
    def latency(self) -> int: ...
    @property
    def fundamental(self) -> float: ...
    def process(self, block: npt.ArrayLike) -> _Samples: ...
    def flush(self) -> _Samples: ...
    def reset(self) -> None: ...

"""How near cleaned files are to the clean originals."""
from __future__ import annotations

import hashlib
import json
import pathlib
import subprocess
import tempfile
from dataclasses import asdict, dataclass

import numpy as np

from mixtures import Mixture, Recipe, write_sound
from tools import Tool, ToolError


def si_sdr(cleaned: np.ndarray, original: np.ndarray) -> float:
    """Scale-invariant signal-to-distortion ratio in dB (Le Roux et al., "SDR - half-baked or well
    done?", 2019), over all channels together. Scaling alone costs nothing:

    >>> round(si_sdr(np.array([0.5, -0.5, 0.55, -0.45]), np.array([1.0, -1.0, 1.0, -1.0])), 2)
    23.01
    """
    y, x = cleaned.astype(float).ravel(), original.astype(float).ravel()
    target = np.dot(y, x) / np.dot(x, x) * x
    # The floor only matters where nothing differs, and keeps that from being infinite.
    return float(10 * np.log10(np.sum(target ** 2) / (np.sum((y - target) ** 2) + 1e-20)))


@dataclass(frozen=True)
class Result:
    """What became of one mixture; ratios in dB, or the reason why there are none."""

    before: float = 0.0
    after: float = 0.0
    equal: bool = False  # the tool gave back what it got, bit for bit
    failure: str | None = None

    @property
    def gain(self) -> float:
        return self.after - self.before


def measure(recipe: Recipe, tools: list[Tool], cache: pathlib.Path) -> dict[str, Result]:
    """What every tool makes of one mixture, by the tool's name."""
    mixture = recipe.cook(recipe)
    content = hashlib.sha256(mixture.mixed.tobytes() + mixture.clean.tobytes()).hexdigest()
    results = {}
    with tempfile.TemporaryDirectory() as scratch:
        source = pathlib.Path(scratch) / "in.wav"
        write_sound(source, mixture.mixed, recipe.rate)
        for tool in tools:
            described = f"{content}\n{recipe.rate}\n{tool.describe(recipe.nominal or 50)}"
            kept = cache / f"{hashlib.sha256(described.encode()).hexdigest()}.json"
            result = _recall(kept)
            if not result:
                result = _run(tool, recipe, mixture, source)
                if not result.failure:
                    kept.write_text(json.dumps(asdict(result)))
            results[tool.name] = result
    return results


def _recall(kept: pathlib.Path) -> Result | None:
    try:
        return Result(**json.loads(kept.read_text()))
    except (OSError, ValueError, TypeError):
        return None  # not there, or cut short by an interruption


def _run(tool: Tool, recipe: Recipe, mixture: Mixture, source: pathlib.Path) -> Result:
    try:
        cleaned = tool.clean(source, source.with_name("out.wav"), recipe.nominal or 50)
        _check(cleaned, mixture.mixed)
    except (ToolError, OSError, ValueError, RuntimeError, subprocess.TimeoutExpired) as error:
        return Result(failure=str(error))
    return Result(si_sdr(mixture.mixed, mixture.clean), si_sdr(cleaned, mixture.clean),
                  np.array_equal(cleaned, mixture.mixed))


def _check(cleaned: np.ndarray, mixed: np.ndarray) -> None:
    if cleaned.shape != mixed.shape:
        raise ToolError(f"gives {cleaned.shape} samples and channels for {mixed.shape}")
    if not np.all(np.isfinite(cleaned)):
        raise ToolError("gives samples that are no numbers")
    if not np.any(cleaned):
        raise ToolError("gives silence")

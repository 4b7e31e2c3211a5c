"""Tables of what was measured, in Markdown that reads well as plain text."""
from __future__ import annotations

from typing import Iterable, Mapping, Sequence

import numpy as np

from measure import Result
from mixtures import Recipe
from tools import Tool

Results = Mapping[str, Mapping[str, Result]]  # by mixture, then by tool

NOTES = (
    "Gain: of the scale-invariant signal-to-distortion ratio over the mixture's own, in dB; below 0"
    " the tool did more harm than the hum.",
    "Nearest: mixtures with hum where no other tool came nearer to the original; Kalim's ways are not"
    " compared with each other. Worse: where the mixture had better been left as it was.",
    "Hum-free files: how far the change lies below the sound. Tools that cut wherever they are told"
    " cannot leave a file alone.",
    "All tools but Kalim's precise method are told whether the mains have 50 or 60 Hz, and remove"
    " 12 harmonics. Its live form is told the mains, and finds the harmonics itself.",
)
NOTES_ON_RECORDINGS = (
    "speech_woman holds a line of its own at 59.955 Hz, 25 dB under the speech, which counts"
    " against whoever removes it. humpback holds one at 60.006 Hz, 60 dB under the song.",
    "Short recordings (robin 2.7 s, trumpet 5.3 s) are repeated, so their sound comes back in"
    " step with itself.",
)


def report(recipes: Sequence[Recipe], tools: Sequence[Tool], results: Results,
           held_out: bool) -> str:
    hum = [recipe for recipe in recipes if recipe.level is not None]
    free = [recipe for recipe in recipes if recipe.level is None]
    which = "held-out mixtures" if held_out else "mixtures"
    parts = [f"{len(recipes)} {which}: {len(hum)} with hum, {len(free)} without."]
    if hum:
        parts += [_overall(hum, tools, results), _by_kind(hum, tools, results)]
    if free:
        parts.append(_hum_free(free, tools, results))
    notes = NOTES if held_out else NOTES + NOTES_ON_RECORDINGS
    parts.append("\n".join(f"- {note}" for note in notes))
    return "\n\n".join(parts + _failures(tools, results)) + "\n"


def _table(head: Iterable[str], rows: Iterable[Iterable[str]]) -> str:
    """Columns padded to one width, so that the source can be read as well."""
    lines = [list(head), *(list(row) for row in rows)]
    widths = [max(len(cell) for cell in column) for column in zip(*lines)]
    lines.insert(1, ["-" * width for width in widths])
    padded = ([cell.ljust(width) for cell, width in zip(line, widths)] for line in lines)
    return "\n".join(f"| {' | '.join(line)} |" for line in padded)


def _gains(recipes: Iterable[Recipe], tool: Tool, results: Results) -> list[float]:
    found = [results[recipe.name][tool.name] for recipe in recipes]
    return [result.gain for result in found if not result.failure]


def _median(values: Sequence[float]) -> str:
    return f"{np.median(values):.1f}" if values else "-"


def _share(part: int, whole: int) -> str:
    return f"{part} of {whole} ({100 * part / whole:.0f} %)" if whole else "-"


def _overall(hum: Sequence[Recipe], tools: Sequence[Tool], results: Results) -> str:
    levels = sorted({recipe.level for recipe in hum if recipe.level is not None})
    head = ["gain in SI-SDR, dB", "median", "p10", "worst", *(f"{level:+d} dB" for level in levels),
            "nearest", "worse"]
    rows = []
    for tool in tools:
        gains = _gains(hum, tool, results)
        if not gains:
            continue
        by_level = [_median(_gains([r for r in hum if r.level == level], tool, results))
                    for level in levels]
        rivals = [rival for rival in tools if not (rival.is_kalim and tool.is_kalim)]
        nearest = _share(_times_nearest(hum, tool, rivals, results), len(hum)) if rivals else "-"
        rows.append([tool.title, _median(gains), f"{np.percentile(gains, 10):.1f}",
                     f"{min(gains):.1f}", *by_level, nearest,
                     str(sum(gain < 0 for gain in gains))])
    return _table(head, rows)


def _times_nearest(hum: Sequence[Recipe], tool: Tool, rivals: Sequence[Tool],
                   results: Results) -> int:
    """A mixture that two tools leave equally near counts for both."""
    times = 0
    for recipe in hum:
        by_tool = results[recipe.name]
        others = [by_tool[rival.name].after for rival in rivals if not by_tool[rival.name].failure]
        times += not by_tool[tool.name].failure and by_tool[tool.name].after >= max(others, default=-np.inf)
    return times


def _by_kind(hum: Sequence[Recipe], tools: Sequence[Tool], results: Results) -> str:
    rows = []
    for kind in dict.fromkeys(recipe.kind for recipe in hum):
        row = [kind]
        for tool in tools:
            gains = _gains([recipe for recipe in hum if recipe.kind == kind], tool, results)
            row.append(f"{_median(gains)} / {min(gains):.1f}" if gains else "-")
        rows.append(row)
    return _table(["by kind: median / worst", *(tool.name for tool in tools)], rows)


def _hum_free(free: Sequence[Recipe], tools: Sequence[Tool], results: Results) -> str:
    rows = []
    for tool in tools:
        found = [results[recipe.name][tool.name] for recipe in free]
        found = [result for result in found if not result.failure]
        changed = [result.after for result in found if not result.equal]
        worst = f"{min(changed):.1f}" if changed else "-"
        rows.append([tool.title, _share(len(found) - len(changed), len(found)), _median(changed),
                     worst])
    return _table(["hum-free files", "equal bit for bit", "change below the sound, dB (median of"
                   " those changed)", "worst"], rows)


def _failures(tools: Sequence[Tool], results: Results) -> list[str]:
    lines = [f"- {tool.name} failed on {mixture}: {by_tool[tool.name].failure}"
             for mixture, by_tool in results.items() for tool in tools
             if by_tool[tool.name].failure]
    return ["\n".join(lines)] if lines else []

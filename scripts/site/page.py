"""The page itself, from its template, the tables of the benchmarks and what is known of the sounds."""
from __future__ import annotations

import html
import pathlib
import shutil

from tables import Table, find_tables

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]

TITLES = {"before": "With hum", "precise": "Kalim, precise", "tracking": "Kalim, tracking engine",
          "original": "Without hum, as it was recorded"}
KEYS = {"before": "A", "precise": "B"}
ROWS_OF_KHZ = (0, 0.5, 1, 1.5)


def _table(columns: list[str], rows: list[list[str]], caption: str, label: str) -> str:
    head = "".join(f'<th scope="col">{column}</th>' for column in columns)
    body = "".join(
        "<tr{}>{}</tr>".format(
            ' class="own"' if row[0].lower().startswith(("kalim", "precise")) else "",
            f'<th scope="row">{row[0]}</th>' + "".join(f"<td>{cell}</td>" for cell in row[1:]))
        for row in rows)
    return (f'<div class="scroll" role="region" tabindex="0" aria-label="{label}"><table>'
            f"<caption>{caption}</caption><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table></div>")


def _quality(table: Table, caption: str, label: str) -> str:
    """How near each tool comes, with a bar for the median."""
    rows = []
    name = table.columns[0]
    for cells in table.take(name, "median", "p10", "worst", "nearest", "worse"):
        median = float(cells[1])
        bar = f'<span class="bar" style="width:{max(median, 0) / 10:.2f}rem"></span>{median:.1f}'
        rows.append([html.escape(cells[0]), bar, *map(html.escape, cells[2:])])
    columns = ["tool", "median gain, dB", "tenth percentile", "worst", "nothing else nearer", "did harm"]
    return _table(columns, rows, caption, label)


def _plain(table: Table, caption: str, label: str) -> str:
    rows = [[html.escape(cell) for cell in row] for row in table.rows]
    return _table([html.escape(column) for column in table.columns], rows, caption, label)


def _spectrum(versions: dict[str, str], geometry: dict) -> str:
    """All spectra of an example in one drawing; which of them shows is up to the style."""
    width, height = geometry["width"], geometry["height"]
    parts = [f'<svg class="spectrum" viewBox="-56 -10 {width + 76:.0f} {height + 40:.0f}" role="img" '
             'aria-label="Spectrum from 30 to 2000 hertz: the filled one with hum, the line what is '
             'listened to">']
    for hz, x in geometry["hz"]:
        name = f"{hz}" if hz < 1000 else f"{hz // 1000}k"
        parts.append(f'<path class="grid" d="M{x:.0f} 0V{height:.0f}"/>'
                     f'<text x="{x:.0f}" y="{height + 22:.0f}" text-anchor="middle">{name}</text>')
    for level, y in geometry["db"]:
        parts.append(f'<path class="grid" d="M0 {y:.0f}H{width:.0f}"/>'
                     f'<text x="-6" y="{y + 4:.0f}" text-anchor="end">{level}</text>')
    parts.append(f'<text class="minor" x="0" y="{height + 22:.0f}">Hz</text>'
                 '<text class="minor" x="-6" y="4" text-anchor="end">dB</text>')
    bottom = f"L{width:.0f} {height:.0f}L0 {height:.0f}Z"
    parts.append(f'<path class="with" d="{versions["before"]}{bottom}"/>')
    parts += [f'<path class="line" data-version="{name}" d="{path}"/>' for name, path in versions.items()]
    return "".join(parts) + "</svg>"


def _spectrograms(example: str, versions: dict[str, str], size: tuple[int, int]) -> str:
    ticks = "".join(f'<span style="bottom:{100 * khz / ROWS_OF_KHZ[-1]:.1f}%">{khz:g} kHz</span>'
                    for khz in ROWS_OF_KHZ)
    pictures = "".join(
        f'<img src="pictures/{example}-{name}.webp" width="{size[0]}" height="{size[1]}" loading="lazy" '
        f'data-version="{name}" alt="Spectrogram up to 1.5 kilohertz: {TITLES[name]}">'
        for name in versions)
    return (f'<div class="spectrogram"><div class="ticks" aria-hidden="true">{ticks}</div>'
            f'<div class="pictures">{pictures}<span class="head" hidden></span></div></div>')


def _version(example: str, name: str, gains: dict[str, float]) -> str:
    key = f' <kbd>{KEYS[name]}</kbd>' if name in KEYS else ""
    gain = f' <span class="gain">+{gains[name]:.1f} dB</span>' if name in gains else ""
    checked = " checked" if name == "before" else ""
    return (f'<div class="version"><label><input type="radio" name="{example}" value="{name}"{checked}>'
            f'<span class="name">{TITLES[name]}</span>{gain}{key}</label>'
            f'<audio controls preload="none" aria-label="{TITLES[name]}" data-version="{name}" '
            f'src="sounds/{example}-{name}.opus"></audio></div>')


def _example(example, known: dict, drawing: dict) -> str:
    versions = known["versions"]
    choices = "".join(_version(example.name, name, known["gains"]) for name in versions)
    seconds = known["seconds"]
    return f"""<section class="example" aria-labelledby="{example.name}">
<div class="text">
<h3 id="{example.name}">{example.title}</h3>
<p>{example.sound}. The hum: {example.hum}.</p>
<div class="player" role="group" aria-label="Player: {example.title}" data-seconds="{seconds}">
<div class="transport" hidden><button type="button" class="play" aria-label="Play {example.title}">Play</button>
<input type="range" class="position" min="0" max="{seconds}" step="0.1" value="0" aria-label="Position in seconds">
<span class="time" aria-hidden="true">0.0 / {seconds:.1f} s</span></div>
<fieldset><legend>Listen to</legend>{choices}</fieldset>
<p class="trouble" role="status"></p>
</div>
</div>
<div class="drawings">{_spectrograms(example.name, versions, drawing["size"])}{_spectrum(versions, drawing)}</div>
</section>"""


def _credits(examples) -> str:
    return "".join(f"<li><strong>{example.title}</strong>: {example.credit}</li>" for example in examples)


def write(site: pathlib.Path, examples, known: dict) -> None:
    """Writes the page and what belongs to it but the sounds and pictures. Throws ValueError where a
    document lacks a table."""
    quality = ROOT / "benchmarks" / "quality" / "RESULTS.md"
    mixtures = find_tables(quality, "On the mixtures")
    held_out = find_tables(quality, "On sounds that nothing was tuned on")
    speed = find_tables(ROOT / "benchmarks" / "RESULTS.md", "A whole file")
    gain = "Gain in SI-SDR over the mixture's own: 0 means nothing gained, below 0 that the tool did harm"
    parts = {
        "examples": "\n".join(_example(one, known["examples"][one.name], known["drawing"])
                              for one in examples),
        "quality": _quality(mixtures[0], gain, "Quality of tools"),
        "untouched": html.escape(mixtures[2].take("equal bit for bit")[0][0]),
        "kinds": _plain(mixtures[1], "Median and worst gain in dB, by kind of hum", "Quality by kind of hum"),
        "held_out": _quality(held_out[0], gain, "Quality on sounds that nothing was tuned on"),
        "speed": _plain(speed[0], "Best of several runs on one core", "Speed of whole files"),
        "credits": _credits(examples),
    }
    text = (HERE / "page.html").read_text()
    for name, part in parts.items():
        text = text.replace("{{" + name + "}}", part)
    if "{{" in text:
        raise ValueError("page.html asks for something that is not there")
    (site / "index.html").write_text(text)
    for name in ("style.css", "player.js"):
        shutil.copyfile(HERE / name, site / name)
    shutil.copyfile(ROOT / "resources" / "artwork" / "appIcon.svg", site / "icon.svg")

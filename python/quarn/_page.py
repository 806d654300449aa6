"""The page of a run: one HTML file with its curves, its numbers and nothing from elsewhere.

The curves are SVG and stand in the file itself, so they are there without JavaScript; the script
only adds the numbers under the pointer.
"""

from __future__ import annotations

import json
import math
from html import escape
from importlib import resources
from typing import Callable, List, Sequence, Tuple

import numpy as np

from . import _charts
from ._charts import number

_WIDTH, _HEIGHT = 520, 250
_LEFT, _RIGHT, _TOP, _BOTTOM = 74, 14, 12, 40
_MOST_DOTS = 60

_Scale = Callable[[float], float]

_LABELS = (
    "round",
    "lower bound",
    "upper bound",
    "gap",
    "columns",
    "iterations",
    "tolerance",
    "RMP seconds",
    "oracle seconds",
)


def _resource(name: str) -> str:
    return resources.files(__package__).joinpath(name).read_text(encoding="utf-8")


def _x_scale(panel: _charts.Panel) -> _Scale:
    low, high = panel.x_range
    width = _WIDTH - _LEFT - _RIGHT
    return lambda x: _LEFT + width * (x - low) / ((high - low) or 1.0)


def _y_scale(panel: _charts.Panel) -> _Scale:
    low, high = panel.y_range
    height = _HEIGHT - _TOP - _BOTTOM
    if panel.log:
        low, high = math.log10(low), math.log10(high)
        return lambda y: _TOP + height * (high - math.log10(y)) / (high - low)
    return lambda y: _TOP + height * (high - y) / (high - low)


def _curve(panel: _charts.Panel, series: _charts.Series) -> str:
    """The path of a line; it is interrupted where there is no value."""
    to_x, to_y = _x_scale(panel), _y_scale(panel)
    # Far outside the picture a coordinate only has to stay outside.
    limit = 20.0 * _HEIGHT
    parts: List[str] = []
    pen = "M"
    for x, y in zip(panel.x, series.values):
        if not math.isfinite(y) or (panel.log and y <= 0):
            pen = "M"
            continue
        parts.append(f"{pen}{to_x(x):.1f} {min(limit, max(-limit, to_y(y))):.1f}")
        pen = "L"
    path = "".join(parts)
    # Of a line without length, as around a round alone, only the round caps are seen.
    dots = path.replace("L", "M").replace("M", "h0M")[2:] + "h0" if path else ""
    return (
        f'<path class="curve {series.key}" data-series="{series.key}" '
        f'stroke="var(--{series.key})" d="{path}"/>'
    ) + (
        f'<path class="dots" stroke="var(--{series.key})" d="{dots}"/>'
        if panel.x.size <= _MOST_DOTS
        else ""
    )


def _bars(panel: _charts.Panel) -> str:
    to_x, to_y = _x_scale(panel), _y_scale(panel)
    half = panel.bar_width / 2
    base = np.zeros(panel.x.size)
    out = []
    for series in panel.series:
        top = base + series.values
        path = "".join(
            f"M{to_x(x - half):.1f} {to_y(low):.1f}V{to_y(high):.1f}H{to_x(x + half):.1f}"
            f"V{to_y(low):.1f}Z"
            for x, low, high in zip(panel.x, base, top)
        )
        out.append(
            f'<path class="bars {series.key}" data-series="{series.key}" '
            f'fill="var(--{series.key})" d="{path}"/>'
        )
        base = top
    return "".join(out)


def _y_ticks(panel: _charts.Panel) -> Sequence[Tuple[float, str]]:
    if not panel.log:
        values = _charts.ticks(*panel.y_range, count=5)
        return [(value, _tick_text(value, values)) for value in values]
    low, high = (round(math.log10(end)) for end in panel.y_range)
    every = max(1, math.ceil((high - low) / 6))
    return [
        (10.0**power, f"1e{power}".replace("-", "−")) for power in range(low, high + 1, every)
    ]


def _tick_text(value: float, values: Sequence[float]) -> str:
    """A tick with just the decimals that tell it from its neighbours."""
    step = values[1] - values[0] if len(values) > 1 else abs(value) or 1.0
    if max(abs(each) for each in values) >= 1e7 or step < 1e-6:
        return number(value, 6)
    decimals = max(0, -math.floor(math.log10(step) + 1e-9))
    return f"{value:,.{decimals}f}".replace(",", "\u2009").replace("-", "−")


def _axes(panel: _charts.Panel) -> str:
    to_x, to_y = _x_scale(panel), _y_scale(panel)
    right, bottom = _WIDTH - _RIGHT, _HEIGHT - _BOTTOM
    out = []
    for value, text in _y_ticks(panel):
        y = to_y(value)
        out.append(f'<path class="grid" d="M{_LEFT} {y:.1f}H{right}"/>')
        out.append(f'<text x="{_LEFT - 7}" y="{y + 4:.1f}" text-anchor="end">{text}</text>')
    values = _charts.ticks(*panel.x_range, count=6)
    if panel.x_label == "round":
        values = [value for value in values if value == round(value)]
    for value in values:
        x = to_x(value)
        out.append(f'<path class="axis" d="M{x:.1f} {bottom}v4"/>')
        out.append(
            f'<text x="{x:.1f}" y="{bottom + 17}" text-anchor="middle">'
            f"{_tick_text(value, values)}</text>"
        )
    out.append(f'<path class="axis" d="M{_LEFT} {bottom}H{right}"/>')
    out.append(
        f'<text x="{right}" y="{_HEIGHT - 6}" text-anchor="end">{escape(panel.x_label)}</text>'
    )
    return "".join(out)


def _description(panel: _charts.Panel) -> str:
    """What the panel shows, in words, for those who do not see it."""
    ends = ", ".join(
        f"{series.label} {number(series.values[0], 6)} at first, {number(series.values[-1], 6)} at last"
        for series in panel.series
        if series.values.size
    )
    return f"{panel.title}: {ends or 'no rounds'}. Arrow keys read the rounds."


def _svg(panel: _charts.Panel) -> str:
    to_x = _x_scale(panel)
    places = json.dumps([round(to_x(x), 1) for x in panel.x])
    drawn = (
        _bars(panel)
        if panel.kind == "bars"
        else "".join(_curve(panel, series) for series in panel.series)
    )
    clip = f"clip-{panel.key}"
    return (
        f'<svg id="{panel.key}" viewBox="0 0 {_WIDTH} {_HEIGHT}" role="img" tabindex="0" '
        f'aria-label="{escape(_description(panel))}" data-x="{places}">'
        f'<clipPath id="{clip}"><rect x="{_LEFT - 4}" y="{_TOP - 4}" '
        f'width="{_WIDTH - _LEFT - _RIGHT + 8}" height="{_HEIGHT - _TOP - _BOTTOM + 5}"/></clipPath>'
        f'{_axes(panel)}<g clip-path="url(#{clip})">{drawn}</g>'
        f'<line class="cursor" y1="{_TOP}" y2="{_HEIGHT - _BOTTOM}" visibility="hidden"/></svg>'
    )


def _figure(panel: _charts.Panel) -> str:
    keys = "".join(
        f'<span class="key"><span class="swatch" style="background:var(--{series.key})"></span>'
        f"{escape(series.label)}</span>"
        for series in panel.series
        if len(panel.series) > 1
    )
    note = f'<span class="note">{escape(panel.note)}</span>' if panel.note else ""
    return (
        f"<figure><figcaption><h2>{escape(panel.title)}</h2>{keys}{note}</figcaption>"
        f"{_svg(panel)}</figure>"
    )


def _facts(total: _charts.Totals, status: str) -> str:
    facts = [
        ("status", status),
        ("lower bound", number(total.lower_bound)),
        ("upper bound", number(total.upper_bound)),
        ("relative gap", number(total.gap, 3)),
        ("rounds", str(total.iterations)),
        ("columns", str(total.columns)),
        ("interior-point iterations", str(total.inner_iterations)),
    ]
    return "".join(
        f"<div><dt>{name}</dt><dd>{escape(value)}</dd></div>" for name, value in facts if value
    )


def _share(total: _charts.Totals) -> str:
    if total.seconds <= 0:
        return ""
    share = 100 * total.rmp_share
    return (
        '<div class="share"><div class="bar" aria-hidden="true">'
        f'<span style="background:var(--rmp_seconds);flex:{share:.2f} 0 0"></span>'
        f'<span style="background:var(--oracle_seconds);flex:{100 - share:.2f} 0 0"></span></div>'
        f"<p>{number(total.seconds, 4)} s: restricted masters {number(total.rmp_seconds, 4)} s "
        f"({share:.0f} %), oracle {number(total.oracle_seconds, 4)} s ({100 - share:.0f} %)</p></div>"
    )


def _rows(history: _charts.History) -> List[List[str]]:
    rows = []
    for entry in history:
        (iteration, lower, upper, gap, columns, inner, tolerance, rmp, oracle) = entry.item()
        rows.append(
            [str(iteration), number(lower, 10), number(upper, 10), number(gap, 3), str(columns),
             str(inner), number(tolerance, 3), f"{rmp:.4f}", f"{oracle:.4f}"]
        )  # fmt: skip
    return rows


def _table(rows: List[List[str]]) -> str:
    head = "".join(f'<th scope="col">{label}</th>' for label in _LABELS)
    body = "".join("<tr>" + "".join(f"<td>{each}</td>" for each in row) + "</tr>" for row in rows)
    return f"<table><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>"


def page(history: _charts.History, title: str = "Column generation", status: str = "") -> str:
    """The page as text. `title` is its heading, `status` how the run ended, where that is known."""
    rows = _rows(history)
    total = _charts.totals(history)
    # A closing tag inside the data would end the script element.
    data = json.dumps({"labels": _LABELS, "rows": rows}, ensure_ascii=False).replace("<", "\\u003c")
    return f"""<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{escape(title)}</title>
<link rel="icon" href="data:,">
<style>
{_resource("page.css")}</style>
</head>
<body>
<h1>{escape(title)}</h1>
<dl class="facts">{_facts(total, status)}</dl>
{_share(total)}
<main class="panels">
{"".join(_figure(panel) for panel in _charts.panels(history))}
</main>
<details><summary>All numbers</summary>
<div class="numbers" tabindex="0" role="region" aria-label="All numbers">{_table(rows)}</div></details>
<footer>Drawn by quarn. Point at a curve, or press the arrow keys on one, to read its numbers.</footer>
<div id="tip" class="tip" hidden></div>
<div id="spoken" class="sr" role="status"></div>
<script id="history" type="application/json">{data}</script>
<script>
{_resource("page.js")}</script>
</body>
</html>
"""

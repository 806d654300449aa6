"""The matplotlib figure of a run. Imports matplotlib, so it is itself imported on request only."""

from __future__ import annotations

from typing import TYPE_CHECKING

import matplotlib.pyplot as plt
from matplotlib.ticker import MaxNLocator
import numpy as np

from . import _charts

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from matplotlib.figure import Figure

# Chosen to differ in lightness as well as in hue, for readers who do not tell all hues apart.
_COLOURS = {
    "upper_bound": "#c2500a",
    "lower_bound": "#1f5fd0",
    "gap": "#3b3f46",
    "tolerance": "#9aa0a8",
    "columns": "#5c6670",
    "inner_iterations": "#5c6670",
    "rmp_seconds": "#0b7a70",
    "oracle_seconds": "#a66fd6",
}
_MOST_DOTS = 60


def _draw_lines(axes: "Axes", panel: _charts.Panel) -> None:
    marker = "." if panel.x.size <= _MOST_DOTS else ""
    for series in panel.series:
        values = np.where(np.isfinite(series.values), series.values, np.nan)
        if panel.log:
            values = np.where(values > 0, values, np.nan)
        axes.plot(
            panel.x,
            values,
            marker=marker,
            linestyle="--" if series.key == "tolerance" else "-",
            linewidth=1.6,
            color=_COLOURS[series.key],
            label=series.label,
        )
    if panel.log:
        axes.set_yscale("log")


def _draw_bars(axes: "Axes", panel: _charts.Panel) -> None:
    base = np.zeros(panel.x.size)
    for series in panel.series:
        axes.bar(
            panel.x,
            series.values,
            bottom=base,
            width=panel.bar_width,
            color=_COLOURS[series.key],
            label=series.label,
        )
        base = base + series.values


def _draw(axes: "Axes", panel: _charts.Panel) -> None:
    (_draw_bars if panel.kind == "bars" else _draw_lines)(axes, panel)
    axes.set_title(panel.title, loc="left", fontsize="medium", fontweight="bold")
    axes.set_xlabel(panel.x_label)
    axes.set_ylabel(panel.y_label)
    axes.set_xlim(*panel.x_range)
    axes.set_ylim(*panel.y_range)
    if panel.x_label == "round":
        axes.xaxis.set_major_locator(MaxNLocator(integer=True))
    if not panel.log:
        axes.ticklabel_format(axis="y", useOffset=False)
    if len(panel.series) > 1:
        axes.legend(
            frameon=False, fontsize="small", title=panel.note or None, title_fontsize="x-small"
        )
    axes.spines[["top", "right"]].set_visible(False)
    axes.grid(axis="y", color="#e3e5e8", linewidth=0.7)
    axes.set_axisbelow(True)


def figure(history: _charts.History, title: str = "") -> "Figure":
    """Draws all panels of `_charts.panels` and returns the figure; showing it is the caller's."""
    panels = _charts.panels(history)
    drawing, grid = plt.subplots(3, 2, figsize=(11.0, 10.0), layout="constrained")
    for axes, panel in zip(grid.flat, panels):
        _draw(axes, panel)
    total = _charts.totals(history)
    share = (
        f"{total.iterations} rounds, {total.seconds:.3g} s: "
        f"RMP {total.rmp_share:.0%}, oracle {1 - total.rmp_share:.0%}"
        if total.seconds > 0
        else f"{total.iterations} rounds"
    )
    drawing.suptitle(f"{title} – {share}" if title else share, x=0.01, ha="left")
    return drawing

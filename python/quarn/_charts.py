"""What the pictures of a run show, without saying how it is drawn.

`panels` turns a history into a handful of panels. The matplotlib figure and the page both draw
these, so the two agree in what is shown, how it is named and which range is worth looking at.
"""

from __future__ import annotations

import math
from dataclasses import dataclass
from typing import List, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

Floats = npt.NDArray[np.float64]
History = npt.NDArray[np.void]

# A run's first bounds can be orders of magnitude off. The axis then shows this many times the
# median distance from the final bounds, where the second half of the run fills half of it or more.
_DISTANCES_SHOWN = 12.0
# With more rounds the gaps between their bars would be narrower than a pixel, and flicker.
_MOST_SEPARATE_BARS = 100


@dataclass(frozen=True)
class Series:
    """One curve: `key` is the field it shows and names its colour, `label` is for the reader."""

    key: str
    label: str
    values: Floats


@dataclass(frozen=True)
class Panel:
    """Curves over the same rounds or seconds."""

    key: str
    title: str
    x_label: str
    y_label: str
    x: Floats
    series: Sequence[Series]
    kind: str = "line"  #: "line", or "bars": one bar a round, several series stacked
    log: bool = False
    y_range: Tuple[float, float] = (0.0, 1.0)
    note: str = ""  #: what the reader has to know about the range
    x_range: Tuple[float, float] = (0.0, 1.0)

    @property
    def bar_width(self) -> float:
        """Width of a bar where the distance of two rounds is 1."""
        return 0.82 if self.x.size <= _MOST_SEPARATE_BARS else 1.0


@dataclass(frozen=True)
class Totals:
    """The run in a few numbers; None where nothing is known."""

    iterations: int
    lower_bound: Optional[float]
    upper_bound: Optional[float]
    gap: Optional[float]
    columns: int
    inner_iterations: int
    rmp_seconds: float
    oracle_seconds: float

    @property
    def seconds(self) -> float:
        return self.rmp_seconds + self.oracle_seconds

    @property
    def rmp_share(self) -> float:
        """Share of the restricted masters in the seconds, 0 to 1; 0 when no time passed."""
        return self.rmp_seconds / self.seconds if self.seconds > 0 else 0.0


def _finite(value: float) -> Optional[float]:
    return float(value) if math.isfinite(value) else None


def totals(history: History) -> Totals:
    """Sums a history up."""
    if len(history) == 0:
        return Totals(0, None, None, None, 0, 0, 0.0, 0.0)
    last = history[-1]
    return Totals(
        iterations=len(history),
        lower_bound=_finite(last["lower_bound"]),
        upper_bound=_finite(last["upper_bound"]),
        gap=_finite(last["gap"]),
        columns=int(last["columns"]),
        inner_iterations=int(history["inner_iterations"].sum()),
        rmp_seconds=float(history["rmp_seconds"].sum()),
        oracle_seconds=float(history["oracle_seconds"].sum()),
    )


def _widened(low: float, high: float) -> Tuple[float, float]:
    margin = 0.06 * (high - low) or 0.05 * abs(high) or 1.0
    return low - margin, high + margin


def _bounds_range(history: History) -> Tuple[Tuple[float, float], bool]:
    """Range of the axis of the bounds, and whether it leaves some of them out."""
    both = np.concatenate([history["lower_bound"], history["upper_bound"]])
    both = both[np.isfinite(both)]
    if both.size == 0:
        return (0.0, 1.0), False
    ends = np.array([history["lower_bound"][-1], history["upper_bound"][-1]])
    ends = ends[np.isfinite(ends)]
    centre = float(ends.mean()) if ends.size else float(both[-1])
    distance = np.abs(both - centre)
    reach = _DISTANCES_SHOWN * float(np.median(distance))
    shown = both[distance <= reach] if reach > 0 else both
    low, high = min(shown.min(), centre), max(shown.max(), centre)
    return _widened(float(low), float(high)), shown.size < both.size


def _gap_range(gap: Floats) -> Tuple[float, float]:
    shown = gap[np.isfinite(gap) & (gap > 0)]
    if shown.size == 0:
        return 1e-6, 1.0
    low = math.floor(math.log10(float(shown.min())))
    high = math.ceil(math.log10(float(shown.max())))
    return 10.0**low, 10.0 ** max(high, low + 1)


def _bars(key: str, title: str, y_label: str, rounds: Floats, series: List[Series]) -> Panel:
    top = float(np.sum([each.values for each in series], axis=0).max()) if rounds.size else 0.0
    return Panel(
        key=key,
        title=title,
        x_label="round",
        y_label=y_label,
        x=rounds,
        series=series,
        kind="bars",
        y_range=(0.0, 1.06 * top if top > 0 else 1.0),
        x_range=_rounds_range(rounds, 0.5),
    )


def _rounds_range(rounds: Floats, margin: float) -> Tuple[float, float]:
    if rounds.size == 0:
        return 0.0, 1.0
    if rounds.size == 1:
        return float(rounds[0]) - 0.5, float(rounds[0]) + 0.5
    return float(rounds[0]) - margin, float(rounds[-1]) + margin


def _bounds_panel(history: History, key: str, title: str, x_label: str, x: Floats) -> Panel:
    y_range, cut = _bounds_range(history)
    return Panel(
        key=key,
        title=title,
        x_label=x_label,
        y_label="value of the master",
        x=x,
        series=[
            Series("upper_bound", "upper bound", history["upper_bound"].astype(float)),
            Series("lower_bound", "lower bound", history["lower_bound"].astype(float)),
        ],
        y_range=y_range,
        note="early bounds beyond the axis" if cut else "",
        x_range=_rounds_range(x, 0.0) if x_label == "round" else (0.0, float(max([*x, 1e-9]))),
    )


def panels(history: History) -> List[Panel]:
    """The panels of a run, in the order in which they are read."""
    rounds = history["iteration"].astype(float)
    seconds = np.cumsum(history["rmp_seconds"] + history["oracle_seconds"])
    gap = history["gap"].astype(float)
    return [
        _bounds_panel(history, "bounds", "Bounds by round", "round", rounds),
        _bounds_panel(history, "bounds-time", "Bounds over time", "seconds", seconds),
        Panel(
            key="gap",
            title="Relative gap",
            x_label="round",
            y_label="relative gap",
            x=rounds,
            series=[
                Series("gap", "gap", gap),
                Series("tolerance", "tolerance of the RMP", history["tolerance"].astype(float)),
            ],
            log=True,
            y_range=_gap_range(np.concatenate([gap, history["tolerance"]])),
            x_range=_rounds_range(rounds, 0.0),
        ),
        _bars(
            "columns",
            "Columns in the RMP",
            "columns",
            rounds,
            [Series("columns", "columns", history["columns"].astype(float))],
        ),
        _bars(
            "inner",
            "Interior-point iterations per RMP",
            "iterations",
            rounds,
            [Series("inner_iterations", "iterations", history["inner_iterations"].astype(float))],
        ),
        _bars(
            "times",
            "Seconds per round",
            "seconds",
            rounds,
            [
                Series("rmp_seconds", "RMP", history["rmp_seconds"].astype(float)),
                Series("oracle_seconds", "oracle", history["oracle_seconds"].astype(float)),
            ],
        ),
    ]


def number(value: Optional[float], digits: int = 8) -> str:
    """A number as the reader sees it; a dash where there is none."""
    if value is None or not math.isfinite(value):
        return "–"
    return f"{value:.{digits}g}".replace("-", "−")


def ticks(low: float, high: float, count: int) -> List[float]:
    """About `count` round numbers between `low` and `high`, ends included where they are round."""
    if not high > low:
        return [low]
    raw = (high - low) / max(count, 1)
    power = 10.0 ** math.floor(math.log10(raw))
    step = next(factor * power for factor in (1.0, 2.0, 5.0, 10.0) if factor * power >= raw)
    first = math.ceil(low / step - 1e-9)
    last = math.floor(high / step + 1e-9)
    return [k * step for k in range(first, last + 1)]

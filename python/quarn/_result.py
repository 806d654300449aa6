"""How a run ended: status, bounds, solution and history, and the pictures of it."""

from __future__ import annotations

import enum
import os
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, List, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _charts, _page

if TYPE_CHECKING:
    from matplotlib.figure import Figure

    from ._master import Column, Row
    from ._oracle import Duals


class Status(enum.Enum):
    """Why a run ended. The bounds of the result are proved in every case."""

    OPTIMAL = "optimal"  #: the gap fell to the tolerance
    TIME_LIMIT = "time_limit"  #: the time was over first
    ITERATION_LIMIT = "iteration_limit"  #: the iterations were used up first
    INFEASIBLE = "infeasible"  #: no columns can meet the rows; see `Result.unmet_rows`
    STOPPED = "stopped"  #: `on_iteration` or `interrupt` asked for the end
    #: the oracle has no further column but leaves the gap open, or a restricted master could not be
    #: solved; see `Result.message`
    FAILED = "failed"

    def __str__(self) -> str:
        return self.value


@dataclass(frozen=True)
class Result:
    """What `Master.solve` returns.

    In either sense of optimisation ``lower_bound <= upper_bound``: when minimising, the upper bound
    is what the columns reach and the lower one what pricing proved; when maximising it is the other
    way round. A bound that is not there is infinite.
    """

    status: Status
    lower_bound: float
    upper_bound: float
    gap: float  #: relative gap of the two bounds
    duals: "Duals"  #: of the last restricted master: by row, or all as ``duals.values``
    values: List[Tuple["Column", float]]  #: columns with their values, where above 1e-9
    history: npt.NDArray[np.void]  #: one entry an iteration, of type `quarn.history.DTYPE`
    message: str = ""  #: how the run ended, in one sentence with names and figures
    #: INFEASIBLE: the rows that cannot be met together, and by how much they were missed
    unmet_rows: List[Tuple["Row", float]] = field(default_factory=list)
    #: INFEASIBLE: multipliers of the rows, in the order added, the largest 1: they add up to a row
    #: that no known column and no rounding can satisfy. Empty when there are none
    certificate: npt.NDArray[np.float64] = field(default_factory=lambda: np.zeros(0))
    #: with `rounding`: the columns of an integer solution with how often each is used; empty when
    #: none was found
    integer_values: List[Tuple["Column", float]] = field(default_factory=list)
    integer_value: float = 0.0  #: what they cost
    columns: int = 0  #: in the restricted master
    inner_iterations: int = 0  #: of the interior-point method
    seconds: float = 0.0  #: wall-clock time of the whole run
    rmp_seconds: float = 0.0  #: of which outside the oracle
    oracle_seconds: float = 0.0  #: of which in the oracle

    @property
    def iterations(self) -> int:
        """Number of iterations: restricted masters solved and priced."""
        return len(self.history)

    def __str__(self) -> str:
        if self.status in (Status.INFEASIBLE, Status.FAILED):
            return self.message
        return (
            f"{self.status}: value between {self.lower_bound:.10g} and {self.upper_bound:.10g}, "
            f"gap {self.gap:.1e}, {self.iterations} iterations, {self.seconds:.3g} s"
        )

    def __repr__(self) -> str:
        return f"<quarn.Result {self}>"

    def plot(self, title: str = "") -> "Figure":
        """Draws the run: bounds by round and over time, gap, columns, iterations, seconds.

        Returns a matplotlib figure, to show, save or change; matplotlib is imported by this call,
        and an ImportError means that it is not installed.
        """
        from ._figure import figure

        return figure(self.history, title)

    def to_html(
        self, path: Union[str, "os.PathLike[str]"], title: str = "Column generation"
    ) -> None:
        """Writes the same as one HTML page, with all numbers, that needs no other file or network.

        Raises OSError when the file cannot be written.
        """
        text = _page.page(self.history, title, str(self.status))
        with open(path, "w", encoding="utf-8") as stream:
            stream.write(text)

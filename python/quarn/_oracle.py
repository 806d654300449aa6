"""What passes between a run and its oracle: duals, new columns, the answer."""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Dict, List, Mapping, Optional, Sequence, Tuple

import numpy as np
import numpy.typing as npt

from . import _checks, _core
from ._checks import INFINITY

if TYPE_CHECKING:
    from ._master import Bounds, Column, Master, Row


class Duals:
    """The duals of a restricted master: ``duals[row]``, or ``duals.values`` as an array.

    The reduced cost of a column is its cost minus the sum of dual times entry, in either sense: a
    column improves the master when that is negative while minimising, positive while maximising.
    When minimising, duals of >= rows are at least 0 and those of <= rows at most 0; when maximising
    it is the other way round.
    """

    __slots__ = ("values", "_handle", "_master")

    #: All duals in the order in which the rows were added, 0 for removed rows. The array is the
    #: caller's, to keep and to change.
    values: npt.NDArray[np.float64]

    def __init__(self, master: "Master", handle: _core.Duals) -> None:
        self._master = master
        self._handle = handle
        self.values = handle.values()

    def __getitem__(self, row: "Row") -> float:
        """Dual of a row. Raises Mistake for a row of another master and for a removed one."""
        return self._handle[row]

    def __len__(self) -> int:
        return len(self.values)

    @property
    def objective(self) -> float:
        """Value of the restricted master."""
        return self._handle.objective

    @property
    def lower_bound(self) -> float:
        """Lower bound proved so far, -inf while there is none."""
        return self._handle.bounds[0]

    @property
    def upper_bound(self) -> float:
        """Upper bound proved so far, inf while there is none."""
        return self._handle.bounds[1]

    @property
    def gap(self) -> float:
        """Relative gap of the bounds so far, at most 10."""
        return self._handle.gap

    @property
    def iteration(self) -> int:
        """Number of the iteration within the run, from 1; 0 in a call before the first."""
        return self._handle.iteration

    def reduced_cost(self, cost: float, entries: Mapping["Row", float]) -> float:
        """The reduced cost of a column with this cost and these entries."""
        return self._handle.reduced_cost(
            _checks.number(cost, "the cost of a column"), _checks.mapping(entries, "entries")
        )

    def out_of_time(self) -> bool:
        """Whether the run should end, because its time is over or it was interrupted.

        For oracles that take long, to look at between the blocks; one that stops early answers
        Answer.heuristic(). A Ctrl-C comes out of this call as KeyboardInterrupt.
        """
        return self._handle.out_of_time()

    def solution(self) -> List[Tuple["Column", float]]:
        """The columns with a value above 1e-9 in the restricted master, with their values.

        What cuts are separated from. Empty in a call before the first iteration.
        """
        return self._master._column_values(self._handle.solution())

    def __repr__(self) -> str:
        return f"<quarn.Duals of {len(self)} rows>"


class Columns:
    """The columns of the master, as an oracle adds to them. It serves until the oracle returns.

    Columns that the master has already, entry by entry and with the same cost, are not added again.
    A column may lack an entry in its block row: it then is a ray, and can be used without limit.
    """

    __slots__ = ("_handle", "_master")

    def __init__(self, master: "Master", handle: _core.Batch) -> None:
        self._master = master
        self._handle = handle

    def add(
        self,
        cost: float,
        entries: Mapping["Row", float],
        data: Any = None,
        bounds: "Bounds" = (0.0, INFINITY),
    ) -> "Column":
        """Adds a column, and returns it; if it is there already, that one, with its own data.

        cost     its cost in the objective.
        entries  {row: coefficient}; rows that are not named have 0.
        data     any object of the caller's, to be found again as `Column.data`.
        bounds   lower and upper bound of the column's value.

        Raises Mistake for a row of another master or a removed one and for a number that is not
        finite, TypeError for what is no row or no number.
        """
        return self._master._added(self._handle.add, cost, entries, data, bounds)

    def add_many(
        self,
        costs: npt.ArrayLike,
        starts: npt.ArrayLike,
        rows: npt.ArrayLike,
        values: npt.ArrayLike,
        data: Optional[Sequence[Any]] = None,
    ) -> int:
        """Adds n columns at once from arrays, column after column, and returns how many were new.

        costs         [n] numbers.
        starts        [n] or [n+1] whole numbers: where each column's entries begin in `rows` and
                      `values`, from 0; an entry n has to be their length.
        rows, values  rows by their number in the order added (`Row.index`), and coefficients.
        data          None, or n objects of the caller's.

        Arrays of double, and of int64 for starts and rows, are read in place. All are checked
        before the first column is added: Mistake names the column and what is wrong, TypeError an
        array of the wrong kind.
        """
        return self._master._added_many(self._handle.add_many, costs, starts, rows, values, data)

    @property
    def added(self) -> int:
        """Number of columns added in this call of the oracle."""
        return self._handle.added


@dataclass(frozen=True)
class Answer:
    """What pricing proved, the value that an oracle returns.

    ``Answer(bound=b)``: a bound of the whole master's value, from below when minimising, from above
    when maximising. An infinite one proves nothing.

    ``Answer(best_reduced_costs={row: r, ...})``: for each block, by its row, the best reduced cost
    of a column, the block's own dual included: the least when minimising, the largest when
    maximising, or a bound of it. Every block is to be named. The right-hand side of the row says
    how often the block is used. Infinite for a block with a ray that improves without limit: the
    answer then proves nothing.

    ``Answer.heuristic()``: nothing is proved.
    """

    bound: Optional[float] = None
    best_reduced_costs: Optional[Mapping["Row", float]] = None

    def __post_init__(self) -> None:
        if (self.bound is None) == (self.best_reduced_costs is None):
            raise TypeError(
                "an Answer takes either bound or best_reduced_costs; "
                "Answer.heuristic() is the one that proves nothing"
            )

    @classmethod
    def heuristic(cls) -> "Answer":
        """The answer that proves nothing: the columns are taken, the bounds stay."""
        answer = object.__new__(cls)
        object.__setattr__(answer, "bound", None)
        object.__setattr__(answer, "best_reduced_costs", None)
        return answer

    def _parts(self) -> Tuple[Optional[float], Optional[Dict["Row", float]]]:
        """What the extension module takes."""
        if self.bound is not None:
            return _checks.number(self.bound, "the bound of an Answer"), None
        if self.best_reduced_costs is None:
            return None, None
        return None, _checks.mapping(self.best_reduced_costs, "best_reduced_costs")

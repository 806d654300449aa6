"""The master problem: rows, columns, solving."""

from __future__ import annotations

import os
import sys
from typing import (
    Any,
    Callable,
    Dict,
    Iterable,
    List,
    Mapping,
    Optional,
    Sequence,
    Tuple,
    Union,
)

import numpy as np
import numpy.typing as npt

from . import _checks, _core
from ._checks import INFINITY
from ._core import Row
from ._errors import Mistake
from ._objects import NO_OBJECT, Objects
from ._oracle import Answer, Columns, Duals
from ._result import Result, Status
from .history import DTYPE

__all__ = ["Bounds", "Column", "Master", "Oracle", "Row"]

#: Lower and upper bound; -inf and inf stand for none.
Bounds = Tuple[float, float]

#: The pricing routine of the caller: looks at the duals, adds columns, says what it proved.
Oracle = Callable[[Duals, Columns], Answer]

_Path = Union[str, "os.PathLike[str]"]

_ROW_SENSES = {"==": 1, ">=": 2, "<=": 3}
_STRATEGIES = {"warm_start": -1, "centred": 0, "standard": -2}


class Column:
    """Handle of a column. It stays valid when columns, this one included, are removed.

    It belongs to the master that made it and to the copies made of that master afterwards.
    """

    __slots__ = ("_master", "_handle")

    def __init__(self, master: "Master", handle: _core.Column) -> None:
        self._master = master
        self._handle = handle

    @property
    def index(self) -> int:
        """Number of the column: from 0 in the order added, never used again."""
        return self._handle.index

    @property
    def cost(self) -> float:
        """Cost in the objective."""
        return self._handle.cost

    @property
    def entries(self) -> Dict[Row, float]:
        """Coefficients by row, in the rows that are there."""
        return self._master._core.entries(self._handle)

    @property
    def data(self) -> Any:
        """The caller's object; None when none was given."""
        return self._master._objects.get(self._handle.object)

    @property
    def bounds(self) -> Bounds:
        """Lower and upper bound of the column's value; equal ones fix it, (0, 0) forbids it."""
        return self._master._core.bounds(self._handle)

    @bounds.setter
    def bounds(self, bounds: Bounds) -> None:
        self._master._core.set_bounds(self._handle, *_checks.pair(bounds, "the bounds of a column"))

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Column) and self._handle == other._handle

    def __hash__(self) -> int:
        return hash(self._handle)

    def __repr__(self) -> str:
        data = "" if self.data is None else f", data {self.data!r}"
        return f"<quarn.Column {self.index}, cost {self.cost:g}{data}>"


def _entry(fields: Tuple[float, ...]) -> Any:
    """One entry of a history from its fields."""
    return np.array([fields], dtype=DTYPE)[0]


class Master:
    """A master problem: rows, first columns, what is known of the solution.

    It can be solved, changed and solved again, copied (for branching), saved to a file and loaded
    from one::

        master = quarn.Master(sense="min")
        row = master.add_row(">=", 20.0, name="length 3", dual_bounds=(0.0, 1.0))
        result = master.solve(price)

    Rows that no column can satisfy yet need no care: the library has columns of its own for them,
    at a cost of `penalty` a unit. One that stays unsatisfied makes the result INFEASIBLE.

    The oracle may change the master that it prices for: what it does takes effect when it returns.
    Rows that it adds (cuts) leave the bound proved so far valid; after other changes the bounds
    start afresh, as they do when the master is changed between two runs.

    While a thread solves a master, other threads cannot use it; they can use other masters, copies
    of this one included.
    """

    def __init__(self, sense: str = "min") -> None:
        """Makes a master without rows and columns; `sense` is "min" or "max"."""
        maximize = _checks.choice({"min": 0, "max": 1}, sense, "the sense of a master")
        self._core = _core.Master(bool(maximize))
        self._objects = Objects()

    @property
    def sense(self) -> str:
        """ "min" or "max"."""
        return "max" if self._core.is_max else "min"

    # Rows

    def add_row(
        self,
        sense: str,
        rhs: float,
        name: str = "",
        dual_bounds: Optional[Bounds] = None,
        block: bool = False,
        range: Optional[float] = None,
        entries: Optional[Mapping[Column, float]] = None,
    ) -> Row:
        """Adds the row  sum over columns of entry times value  `sense`  `rhs`, and returns it.

        sense        ">=", "<=" or "==".
        rhs          the right-hand side.
        name         for messages and files; may be empty, must not be used twice.
        dual_bounds  a linking row's: bounds that some optimal dual keeps to. Good ones save
                     iterations. When they turn out to be too narrow they are opened.
        block        True for a block row, such as a convexity row: it says how often the columns of
                     one block are used. Otherwise the row is linking.
        range        width of the row: with ">=" the sum is at most rhs + range, with "<=" at least
                     rhs - range.
        entries      {column: coefficient} in columns that are there, for rows added later (cuts).

        Raises Mistake for numbers that are not finite, a name that is taken, dual bounds that cross
        or belong to a block row, and a block row with a negative right-hand side.
        """
        rhs = _checks.number(rhs, "the right-hand side of a row")
        code = _checks.choice(_ROW_SENSES, sense, "the sense of a row")
        rest = self._row_options(name, block, dual_bounds, entries)
        if range is None or range == INFINITY:
            return self._core.add_row(code, rhs, *rest)
        width = _checks.number(range, "the range of a row")
        if sense == "==" or not width >= 0:
            what = "an == row has no range" if sense == "==" else f"{width} is no range"
            raise Mistake(f"row {name!r}: {what}")
        lower, upper = (rhs, rhs + width) if sense == ">=" else (rhs - width, rhs)
        return self._core.add_range(lower, upper, *rest)

    def add_range(
        self,
        lower: float,
        upper: float,
        name: str = "",
        dual_bounds: Optional[Bounds] = None,
        block: bool = False,
        entries: Optional[Mapping[Column, float]] = None,
    ) -> Row:
        """Adds the row  lower <= sum <= upper. An infinite side counts as none; see `add_row`."""
        rest = self._row_options(name, block, dual_bounds, entries)
        lower, upper = _checks.pair((lower, upper), "the sides of a row")
        return self._core.add_range(lower, upper, *rest)

    def _row_options(
        self,
        name: str,
        block: bool,
        dual_bounds: Optional[Bounds],
        entries: Optional[Mapping[Column, float]],
    ) -> Tuple[str, bool, float, float, List[Tuple[_core.Column, float]]]:
        lower, upper = -INFINITY, INFINITY
        if dual_bounds is not None:
            lower, upper = _checks.pair(dual_bounds, "dual_bounds")
        pairs = []
        for column, value in (entries or {}).items():
            pairs.append((_column_handle(column), _checks.number(value, f"the entry in {column!r}")))
        return str(name), bool(block), lower, upper, pairs

    def remove_row(self, row: Row) -> None:
        """Removes a row, with its entries in all columns. Raises Mistake for a row not here."""
        self._core.remove_row(row)

    def set_rhs(self, row: Row, rhs: float) -> None:
        """Gives a row that has no range a new right-hand side."""
        self._core.set_rhs(row, _checks.number(rhs, "the right-hand side of a row"))

    def set_range(self, row: Row, lower: float, upper: float) -> None:
        """Gives a row new sides; it becomes one with a range."""
        self._core.set_range(row, *_checks.pair((lower, upper), "the sides of a row"))

    def range(self, row: Row) -> Bounds:
        """The sides of a row; infinite where it has none."""
        return self._core.range(row)

    @property
    def rows(self) -> List[Row]:
        """The rows that are there, in the order added."""
        return self._core.rows()

    def row(self, name: str) -> Row:
        """The row of this name. Raises Mistake when there is none."""
        return self._core.row(name)

    # Columns

    def add_column(
        self,
        cost: float,
        entries: Mapping[Row, float],
        data: Any = None,
        bounds: Bounds = (0.0, INFINITY),
    ) -> Column:
        """Adds a column before a run, and returns it; arguments and errors as `Columns.add`.

        Raises Mistake for a column that is there already, too.
        """
        return self._added(self._core.add_column, cost, entries, data, bounds)

    def add_columns(
        self,
        costs: npt.ArrayLike,
        starts: npt.ArrayLike,
        rows: npt.ArrayLike,
        values: npt.ArrayLike,
        data: Optional[Sequence[Any]] = None,
    ) -> int:
        """Adds many columns before a run, as `Columns.add_many`; returns how many were new."""
        return self._added_many(self._core.add_columns, costs, starts, rows, values, data)

    def _added(
        self,
        add: Callable[[float, Dict[Row, float], float, float, int], _core.Column],
        cost: float,
        entries: Mapping[Row, float],
        data: Any,
        bounds: Bounds,
    ) -> Column:
        entries = _checks.mapping(entries, "entries")
        lower, upper = _checks.pair(bounds, "the bounds of a column")
        number = self._objects.add(data)
        handle = None
        try:
            handle = add(_checks.number(cost, "the cost of a column"), entries, lower, upper, number)
        finally:
            if handle is None or handle.object != number:
                self._objects.drop(number)
        return Column(self, handle)

    def _added_many(
        self,
        add: Callable[[Any, Any, Any, Any, int], int],
        costs: npt.ArrayLike,
        starts: npt.ArrayLike,
        rows: npt.ArrayLike,
        values: npt.ArrayLike,
        data: Optional[Sequence[Any]],
    ) -> int:
        if data is None:
            return add(costs, starts, rows, values, NO_OBJECT)
        count = np.size(costs)
        if len(data) != count:
            raise Mistake(f"data has {len(data)} objects for {count} columns")
        first = self._objects.add_many(data)
        added = 0
        try:
            added = add(costs, starts, rows, values, first)
        finally:
            if added == 0:
                self._objects.drop(first, count)
        return added

    def _column_values(
        self, pairs: Iterable[Tuple[_core.Column, float]]
    ) -> List[Tuple[Column, float]]:
        return [(Column(self, handle), value) for handle, value in pairs]

    def remove_column(self, column: Column) -> None:
        """Takes a column out. Its handle stays valid, and the oracle may add the column again."""
        self._core.remove_column(_column_handle(column))

    def remove_columns(self, predicate: Callable[[Column], bool]) -> int:
        """Takes out every column for which `predicate` holds, and returns how many."""
        return self._core.remove_columns(lambda handle: bool(predicate(Column(self, handle))))

    def __contains__(self, column: Column) -> bool:
        """Whether the column is in the restricted master."""
        return self._core.contains(_column_handle(column))

    @property
    def columns(self) -> List[Column]:
        """The columns in the restricted master, in the order added."""
        return [Column(self, handle) for handle in self._core.columns()]

    @property
    def number_of_columns(self) -> int:
        """Number of columns in the restricted master."""
        return self._core.number_of_columns()

    # Solving

    def solve(
        self,
        price: Oracle,
        tolerance: float = 1e-6,
        time_limit: Optional[float] = None,
        max_iterations: Optional[int] = None,
        on_iteration: Optional[Callable[[Any], Any]] = None,
        *,
        progress: bool = False,
        max_columns: Optional[int] = None,
        strategy: str = "warm_start",
        tolerance_dial: bool = True,
        degree_of_optimality: float = 2.0,
        penalty: float = 1e6,
        rounding: bool = False,
        first_duals: Optional[npt.ArrayLike] = None,
        interrupt: Optional[Callable[[], bool]] = None,
        log: Optional[Callable[[str], Any]] = None,
        verbosity: int = 0,
        blas_threads: int = 1,
        save_file: Optional[_Path] = None,
        save_every: float = 60.0,
        save_data: Optional[Callable[[Any], str]] = None,
    ) -> Result:
        """Generates columns until the gap is closed or a limit is met.

        Goes on from the columns and bounds that are there.

        price                 the oracle: is called with `Duals` and `Columns`, returns an `Answer`.
        tolerance             relative gap at which the run ends, as OPTIMAL.
        time_limit            seconds of wall-clock time; None: no limit.
        max_iterations        restricted masters solved and priced, at least one; None: no limit.
        on_iteration          called after each iteration with its entry of the history, such as
                              ``entry["gap"]``. When it returns True the run ends, as STOPPED.
        progress              whether a table with a line for each iteration is printed.
        max_columns           columns above which those with large reduced costs leave the restricted
                              master; handles stay valid, and the oracle may add them again.
        strategy              how restricted masters are solved: "warm_start", "centred" or
                              "standard".
        tolerance_dial        adapt the tolerance of each restricted master to how fast the answers
                              close the gap; without, it is the gap over degree_of_optimality.
        degree_of_optimality  the larger, the more sharply restricted masters are solved without the
                              tolerance dial.
        penalty               cost of violating a row by one unit, which no dual exceeds; at least
                              1e10 once rows would stay unmet otherwise.
        rounding              after an optimal run, look for an integer solution by the library's
                              rounding heuristic: `Result.integer_values`. It meets the linking rows;
                              block rows may be exceeded.
        first_duals           duals in the order of the rows: the oracle is called with these before
                              the first restricted master is solved.
        interrupt             looked at between two iterations; when it returns True the run ends,
                              as STOPPED.
        log, verbosity        a function that gets the text of the C library underneath, and how much
                              of it, 0 to 3.
        blas_threads          threads of OpenBLAS for restricted masters of 1000 rows or more; one gives
                              the same bits each time.
        save_file             the master is written to this file every save_every seconds and at the
                              end of the run.
        save_every            seconds between two saves.
        save_data             turns the data of a column into text for the file, such as json.dumps;
                              without it data is left out.

        What oracle and callbacks raise comes out as it is, and a Ctrl-C as KeyboardInterrupt between
        two iterations: the columns and bounds found so far stay, and the master can be solved again.
        Raises Mistake for settings that cannot be meant, for an answer that contradicts what the
        columns reach or names a wrong row, and for a master that is being solved already; TypeError
        when the oracle returns anything but an Answer.

        Other threads run while the solver works: the interpreter's lock is taken for the oracle and
        the callbacks only.
        """
        if not callable(price):
            raise TypeError(f"the oracle has to be a function, not {price!r}")
        settings = _core.Settings()
        settings.tolerance = _checks.number(tolerance, "tolerance")
        settings.time_limit = INFINITY if time_limit is None else _checks.number(time_limit, "time_limit")
        settings.max_iterations = _checks.limit(max_iterations, "max_iterations")
        settings.max_columns = _checks.limit(max_columns, "max_columns")
        settings.strategy = _checks.choice(_STRATEGIES, strategy, "strategy")
        settings.tolerance_dial = bool(tolerance_dial)
        settings.degree_of_optimality = _checks.number(degree_of_optimality, "degree_of_optimality")
        settings.penalty = _checks.number(penalty, "penalty")
        settings.rounding = bool(rounding)
        if first_duals is not None:
            settings.first_duals = np.asarray(first_duals, dtype=float).ravel().tolist()
        settings.verbosity = int(verbosity)
        settings.blas_threads = _checks.count(blas_threads, "blas_threads")
        settings.save_file = "" if save_file is None else os.fspath(save_file)
        settings.save_every = _checks.number(save_every, "save_every")
        found = self._core.solve(
            settings,
            self._ask(price),
            None if on_iteration is None else _listener(on_iteration),
            None if interrupt is None else _asker(interrupt),
            sys.stdout if progress else None,
            log,
            self._data_writer(save_data),
        )
        return self._result(found)

    def _ask(self, price: Oracle) -> Callable[..., Any]:
        """The oracle as the extension module calls it."""

        def ask(duals: _core.Duals, batch: _core.Batch) -> Any:
            answer = price(Duals(self, duals), Columns(self, batch))
            if not isinstance(answer, Answer):
                name = getattr(price, "__qualname__", repr(price))
                raise TypeError(
                    f"the oracle {name} returned {answer!r}; it has to return a quarn.Answer, "
                    "Answer.heuristic() if nothing is proved"
                )
            return answer._parts()

        return ask

    def _result(self, found: _core.Result) -> Result:
        lower, upper = found.bounds
        return Result(
            status=Status(found.status),
            lower_bound=lower,
            upper_bound=upper,
            gap=found.gap,
            duals=Duals(self, found.duals),
            values=self._column_values(found.values()),
            integer_values=self._column_values(found.integer_values()),
            integer_value=found.integer_value,
            history=np.array(found.history(), dtype=DTYPE),
            message=found.message,
            unmet_rows=found.unmet_rows,
            certificate=found.certificate(),
            columns=found.columns,
            inner_iterations=found.inner_iterations,
            seconds=found.seconds,
            rmp_seconds=found.rmp_seconds,
            oracle_seconds=found.oracle_seconds,
        )

    @property
    def lower_bound(self) -> float:
        """Lower bound proved so far for the master as it is; -inf when there is none."""
        return self._core.bounds_proved()[0]

    @property
    def upper_bound(self) -> float:
        """Upper bound proved so far for the master as it is; inf when there is none."""
        return self._core.bounds_proved()[1]

    @property
    def settings(self) -> Dict[str, Any]:
        """The numbers among the settings of the last run, as arguments for `solve`.

        For a master that was loaded, those of the run that wrote it. Callbacks, texts and files are
        not kept. ``master.solve(price, **master.settings)`` runs as before.
        """
        known = self._core.settings()
        names = {code: name for name, code in _STRATEGIES.items()}
        return {
            "tolerance": known.tolerance,
            "time_limit": None if known.time_limit == INFINITY else known.time_limit,
            "max_iterations": _or_none(known.max_iterations),
            "max_columns": _or_none(known.max_columns),
            "strategy": names[known.strategy],
            "tolerance_dial": known.tolerance_dial,
            "degree_of_optimality": known.degree_of_optimality,
            "penalty": known.penalty,
            "rounding": known.rounding,
            "verbosity": known.verbosity,
            "blas_threads": known.blas_threads,
            "save_every": known.save_every,
        }

    def forget_bounds(self) -> None:
        """Forgets the bounds, for pricing that has changed without a change of the master."""
        self._core.forget_bounds()

    # Copies and files

    def copy(self) -> "Master":
        """A master of its own with the same rows, columns, bounds and duals.

        Handles of rows and columns made so far serve both; the data of columns is shared.
        """
        twin = object.__new__(Master)
        twin._core = self._core.copy()
        twin._objects = self._objects
        return twin

    __copy__ = copy

    def save(self, path: _Path, data: Optional[Callable[[Any], str]] = None) -> None:
        """Writes rows, columns, bounds and duals to a file.

        `data` turns the data of a column into text, such as json.dumps; without it data is left out.
        Raises FileError when the file cannot be written; an earlier file then stays as it was.
        """
        self._core.save(os.fspath(path), self._data_writer(data))

    @classmethod
    def load(cls, path: _Path, data: Optional[Callable[[str], Any]] = None) -> "Master":
        """Reads a master from a file of `save`.

        `data` makes the data of a column from its text, such as json.loads. Raises FileError for a
        file that cannot be read, is damaged or is none of this kind.
        """
        master = object.__new__(cls)
        objects = master._objects = Objects()

        def read(text: str) -> int:
            return objects.add(data(text) if data else None)

        master._core = _core.Master.load(os.fspath(path), read if data else None)
        return master

    def _data_writer(self, data: Optional[Callable[[Any], str]]) -> Optional[Callable[..., str]]:
        if data is None:
            return None
        to_text, objects = data, self._objects
        return lambda handle: to_text(objects.get(handle.object))

    def write_mps(self, path: _Path) -> None:
        """Writes the restricted master as a linear program in free MPS format.

        For other programs to look at; a master that maximises has its costs negated there. Raises
        FileError when the file cannot be written.
        """
        self._core.write_mps(os.fspath(path))

    def __repr__(self) -> str:
        return (
            f"<quarn.Master {self.sense}, {len(self.rows)} rows, {self.number_of_columns} columns>"
        )


def _column_handle(column: Any) -> _core.Column:
    if not isinstance(column, Column):
        raise TypeError(f"{column!r} is no column")
    return column._handle


def _or_none(limit: int) -> Optional[int]:
    return None if limit == _checks.NO_LIMIT else limit


def _asker(interrupt: Callable[[], Any]) -> Callable[[], bool]:
    return lambda: bool(interrupt())


def _listener(on_iteration: Callable[[Any], Any]) -> Callable[[Tuple[float, ...]], bool]:
    def listen(fields: Tuple[float, ...]) -> bool:
        wish = on_iteration(_entry(fields))
        return isinstance(wish, (bool, np.bool_)) and bool(wish)

    return listen

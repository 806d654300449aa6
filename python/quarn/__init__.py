"""Column generation by a primal-dual interior-point method.

Make a `Master`, give it rows, and solve it with an oracle: a function that gets the duals, adds
columns and says what it proved::

    import quarn

    master = quarn.Master(sense="min")
    row = master.add_row(">=", 20.0, name="length 3", dual_bounds=(0.0, 1.0))

    def price(duals, columns):
        columns.add(cost=1.0, entries={row: 3.0}, data="three of them")
        return quarn.Answer(bound=20.0 * duals[row] / max(1.0, 3.0 * duals[row]))

    result = master.solve(price)
    print(result, result.values)

`Result` says how the run ended; its history can be drawn by `Result.plot` and `Result.to_html`, and
from a file by ``python -m quarn report FILE.csv``.
"""

from . import history
from ._core import __version__
from ._errors import Error, FileError, Mistake
from ._master import Column, Master, Row
from ._oracle import Answer, Columns, Duals
from ._result import Result, Status

__all__ = [
    "Answer",
    "Column",
    "Columns",
    "Duals",
    "Error",
    "FileError",
    "Master",
    "Mistake",
    "Result",
    "Row",
    "Status",
    "__version__",
    "history",
]

"""The history of a run: one entry an iteration, in memory and as a CSV file.

An iteration solves the restricted master problem (RMP) and asks the oracle once. Fields, in the
order of the CSV file:

==================  ======  =====================================================================
field               type    meaning
==================  ======  =====================================================================
iteration           int64   number of the iteration, from 1
lower_bound         double  best lower bound of the master's value so far; -inf: none yet
upper_bound         double  best upper bound so far; inf: none yet
gap                 double  relative gap of the two
columns             int64   generated columns in the RMP after the iteration
inner_iterations    int64   interior-point iterations that this RMP took
tolerance           double  relative tolerance to which this RMP was solved
rmp_seconds         double  wall-clock seconds that this RMP took
oracle_seconds      double  wall-clock seconds that the oracle took in this iteration
==================  ======  =====================================================================

The CSV file is text in UTF-8. Its first line holds the names of the fields, separated by commas;
every further line is one iteration, with ``.`` as the decimal point. ``inf``, ``-inf`` and
magnitudes of 1e30 and above stand for a bound that is not there. The fields may come in any order,
and fields that are not named above are passed over.
"""

from __future__ import annotations

import csv
import math
import os
from typing import Dict, Iterator, List, TextIO, Tuple, Union

import numpy as np
import numpy.typing as npt

__all__ = ["DTYPE", "FIELDS", "read_csv", "write_csv"]

#: Type of one entry; see the module's description for the fields.
DTYPE = np.dtype(
    [
        ("iteration", np.int64),
        ("lower_bound", np.float64),
        ("upper_bound", np.float64),
        ("gap", np.float64),
        ("columns", np.int64),
        ("inner_iterations", np.int64),
        ("tolerance", np.float64),
        ("rmp_seconds", np.float64),
        ("oracle_seconds", np.float64),
    ]
)

#: Names of the fields, in the order of the CSV file.
FIELDS: Tuple[str, ...] = tuple(DTYPE.names or ())

# From here on a bound counts as absent, in the core's records as in files written from them.
_UNBOUNDED = 1e30

_Path = Union[str, "os.PathLike[str]"]


def _positions(path: _Path, header: List[str]) -> Dict[str, int]:
    names = [name.strip() for name in header]
    missing = [name for name in FIELDS if name not in names]
    if missing:
        raise ValueError(
            f"{os.fspath(path)}: the first line names no field {', '.join(missing)}; "
            f"a history has the fields {','.join(FIELDS)}"
        )
    return {name: names.index(name) for name in FIELDS}


def _value(name: str, text: str) -> float:
    value = float(text)
    if math.isnan(value):
        raise ValueError("not a number")
    if np.issubdtype(DTYPE[name], np.integer):
        return int(value)
    if name.endswith("_bound") and abs(value) >= _UNBOUNDED:
        return math.copysign(math.inf, value)
    return value


def _records(path: _Path, stream: TextIO) -> Iterator[Tuple[float, ...]]:
    rows = csv.reader(stream)
    where = _positions(path, next(rows, []))
    for row in rows:
        if not row:
            continue
        record = []
        for name, position in where.items():
            text = row[position] if position < len(row) else ""
            try:
                record.append(_value(name, text))
            except (ValueError, OverflowError):
                raise ValueError(
                    f"{os.fspath(path)}, line {rows.line_num}: {text!r} is no value for {name}"
                ) from None
        yield tuple(record)


def read_csv(path: _Path) -> npt.NDArray[np.void]:
    """Reads a history from a CSV file.

    Returns an array of type `DTYPE`, one entry an iteration. Raises OSError when the file cannot be
    read, and ValueError, with the file and the line or the field, when it is not a history.
    """
    with open(path, encoding="utf-8", newline="") as stream:
        try:
            return np.array(list(_records(path, stream)), dtype=DTYPE)
        except (UnicodeDecodeError, csv.Error) as error:
            raise ValueError(f"{os.fspath(path)}: not a CSV file ({error})") from None


def write_csv(path: _Path, history: npt.NDArray[np.void]) -> None:
    """Writes a history as a CSV file that `read_csv` reads back exactly.

    Raises OSError when the file cannot be written.
    """
    with open(path, "w", encoding="utf-8", newline="") as stream:
        writer = csv.writer(stream, lineterminator="\n")
        writer.writerow(FIELDS)
        # item() gives Python's own numbers, whose text is the shortest that reads back the same.
        writer.writerows(entry.item() for entry in history[list(FIELDS)])

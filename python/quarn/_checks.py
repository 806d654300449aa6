"""What is handed in, as what it has to be, or an error that says what it is."""

from __future__ import annotations

from typing import Any, Mapping, Optional, Tuple

from ._errors import Mistake

INFINITY = float("inf")
NO_LIMIT = 2**31 - 1


def pair(bounds: Any, what: str) -> Tuple[float, float]:
    """Two numbers."""
    try:
        lower, upper = bounds
        return float(lower), float(upper)
    except (TypeError, ValueError):
        raise TypeError(f"{what} have to be a pair of numbers, not {bounds!r}") from None


def number(value: Any, what: str) -> float:
    """One number."""
    try:
        return float(value)
    except (TypeError, ValueError):
        raise TypeError(f"{what} has to be a number, not {value!r}") from None


def choice(choices: Mapping[str, int], value: Any, what: str) -> int:
    """What stands for one of some words."""
    try:
        return choices[value]
    except (KeyError, TypeError):
        names = ", ".join(repr(name) for name in choices)
        raise Mistake(f"{what} has to be one of {names}, not {value!r}") from None


def limit(value: Optional[float], what: str) -> int:
    """A limit of some count; None is none."""
    if value is None or value == INFINITY:
        return NO_LIMIT
    if not (number(value, what) >= 0 and value == int(value)):
        raise Mistake(f"{what} has to be a whole number, 0 or more, or None, not {value!r}")
    return min(int(value), NO_LIMIT)


def count(value: Any, what: str) -> int:
    """A number of things, one at least."""
    if not (1 <= number(value, what) <= NO_LIMIT and value == int(value)):
        raise Mistake(f"{what} has to be a whole number, 1 or more, not {value!r}")
    return int(value)


def mapping(entries: Any, what: str) -> "dict[Any, Any]":
    """A dictionary by row."""
    if isinstance(entries, dict):
        return entries
    if not isinstance(entries, Mapping):
        raise TypeError(f"{what} have to be {{row: value}}, not {entries!r}")
    return dict(entries)

"""The objects that callers attach to columns."""

from __future__ import annotations

import threading
from typing import Any, Dict, Sequence

#: The number of no object.
NO_OBJECT = -1


class Objects:
    """The objects of the columns of a master and its copies, by number.

    They stay on this side, where the garbage collector sees them; a column carries the number.
    """

    def __init__(self) -> None:
        self._objects: Dict[int, Any] = {}
        self._next = 0
        # Copies of a master may be solved by several threads.
        self._lock = threading.Lock()

    def add(self, thing: Any) -> int:
        """Stores a thing and returns its number; None has none."""
        return NO_OBJECT if thing is None else self.add_many([thing])

    def add_many(self, things: Sequence[Any]) -> int:
        """Stores things under numbers one after the other, and returns the first."""
        with self._lock:
            first = self._next
            self._next += len(things)
        self._objects.update(zip(range(first, first + len(things)), things))
        return first

    def drop(self, first: int, count: int = 1) -> None:
        for number in range(first, first + count):
            self._objects.pop(number, None)

    def get(self, number: int) -> Any:
        return self._objects.get(number)

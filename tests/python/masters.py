"""Random masters whose columns are all known, so that a linear program gives the right answer."""

from dataclasses import dataclass

import numpy as np

import quarn

SENSES = (">=", "<=", "==")


@dataclass
class RandomMaster:
    """Columns 0 .. n-1 over rows; the last `blocks` rows are convexity rows, every column in one."""

    sense: str
    matrix: np.ndarray  #: [rows, columns]
    costs: np.ndarray
    low: np.ndarray  #: the activity of row i lies in [low[i], high[i]]
    high: np.ndarray
    row_senses: list
    blocks: int

    @property
    def linking(self):
        return len(self.low) - self.blocks

    @property
    def sign(self):
        return 1.0 if self.sense == "min" else -1.0


def random_master(seed):
    """A master with a feasible solution, of a random sense, with rows of all senses and ranges."""
    random = np.random.default_rng(seed)
    linking, blocks = int(random.integers(2, 9)), int(random.integers(1, 5))
    count = int(random.integers(20, 120))
    matrix = np.zeros((linking + blocks, count))
    matrix[:linking] = random.integers(-3, 8, (linking, count)) * (
        random.random((linking, count)) < 0.6
    )
    block = random.permutation(np.arange(count) % blocks)
    matrix[linking + block, np.arange(count)] = 1.0
    # A point that meets the convexity rows; the other rows are put around it.
    point = random.random(count) * (random.random(count) < 0.3) + 1e-3
    point /= np.bincount(block, point, minlength=blocks)[block]
    activity = matrix @ point
    low, high, row_senses = activity.copy(), activity.copy(), []
    for i in range(linking):
        kind = SENSES[int(random.integers(3))]
        room = float(random.uniform(0.0, 1.0))
        width = float(random.uniform(0.5, 2.0)) if random.random() < 0.4 else np.inf
        if kind == ">=":
            low[i] -= room
            high[i] = low[i] + room + width
        elif kind == "<=":
            high[i] += room
            low[i] = high[i] - room - width
        row_senses.append(kind)
    low[linking:] = high[linking:] = 1.0
    row_senses += ["=="] * blocks
    sense = "min" if random.random() < 0.5 else "max"
    costs = random.integers(-10, 30, count).astype(float)
    return RandomMaster(sense, matrix, costs, low, high, row_senses, blocks)


def right_value(problem):
    """The optimal value, all columns at hand; skips the test where scipy is not there."""
    import pytest

    optimize = pytest.importorskip("scipy.optimize")
    above, below = np.isfinite(problem.high), np.isfinite(problem.low)
    solved = optimize.linprog(
        problem.sign * problem.costs,
        A_ub=np.vstack([problem.matrix[above], -problem.matrix[below]]),
        b_ub=np.concatenate([problem.high[above], -problem.low[below]]),
        method="highs",
    )
    assert solved.status == 0
    return problem.sign * solved.fun


def build(problem):
    """The master without a column, and its rows."""
    master = quarn.Master(sense=problem.sense)
    rows = []
    for i, kind in enumerate(problem.row_senses):
        low, high = problem.low[i], problem.high[i]
        has_range = kind != "==" and np.isfinite(high - low)
        rows.append(
            master.add_row(
                kind,
                high if kind == "<=" else low,
                range=high - low if has_range else None,
                block=i >= problem.linking,
                name=f"row {i}",
            )
        )
    return master, rows


def entries(problem, rows, j):
    return {rows[i]: problem.matrix[i, j] for i in np.flatnonzero(problem.matrix[:, j])}


def pricing(problem, rows, per_block=2, many=False, log=None):
    """An oracle over the columns of the problem: data is the number of the column."""

    def price(duals, columns):
        reduced = problem.costs - duals.values @ problem.matrix
        if log is not None:
            log.append(duals.values)
        best, found = {}, []
        for i in range(problem.linking, len(rows)):
            members = np.flatnonzero(problem.matrix[i])
            order = members[np.argsort(problem.sign * reduced[members])]
            best[rows[i]] = reduced[order[0]]
            found += [int(j) for j in order[:per_block] if problem.sign * reduced[j] < -1e-9]
        if many:
            part = problem.matrix[:, found].T
            starts = np.concatenate([[0], np.cumsum(np.count_nonzero(part, axis=1))])
            where = np.nonzero(part)
            columns.add_many(problem.costs[found], starts, where[1], part[where], data=found)
        else:
            for j in found:
                columns.add(problem.costs[j], entries(problem, rows, j), data=j)
        return quarn.Answer(best_reduced_costs=best)

    return price

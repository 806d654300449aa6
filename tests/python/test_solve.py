"""Random masters against a linear program over all their columns."""

import numpy as np
import pytest

import quarn
from masters import build, entries, pricing, random_master, right_value

TOLERANCE = 1e-7


def check_solution(problem, rows, result, value):
    """Bounds around the right value, a primal point that reaches it, duals that prove it."""
    assert result.status is quarn.Status.OPTIMAL
    assert result.lower_bound <= result.upper_bound
    assert 0 <= result.gap <= TOLERANCE
    # Both bounds are of solutions exact to the tolerance, relative to the size of the value.
    slack = 20 * TOLERANCE * max(1.0, abs(value))
    assert result.lower_bound - slack <= value <= result.upper_bound + slack

    point = np.zeros(len(problem.costs))
    for column, weight in result.values:
        assert weight > 1e-9
        assert column.cost == problem.costs[column.data]
        assert column.entries == entries(problem, rows, column.data)
        point[column.data] += weight
    activity = problem.matrix @ point
    assert np.all(activity >= problem.low - 1e-4) and np.all(activity <= problem.high + 1e-4)
    assert problem.costs @ point == pytest.approx(value, abs=1e-4 * max(1.0, abs(value)))

    duals = np.array([result.duals[row] for row in rows])
    assert np.array_equal(duals, result.duals.values)
    # No column prices out by more than what the gap leaves, and the duals' value is the bound.
    reduced = problem.sign * (problem.costs - duals @ problem.matrix)
    assert reduced.min() > -1e-4 * max(1.0, abs(value))


def check_history(result):
    history = result.history
    assert list(history["iteration"]) == list(range(1, len(history) + 1))
    assert history["lower_bound"][-1] == result.lower_bound
    assert history["upper_bound"][-1] == result.upper_bound
    assert history["gap"][-1] == result.gap
    assert np.all(history["lower_bound"] <= history["upper_bound"])
    for name in ("tolerance", "rmp_seconds", "oracle_seconds"):
        assert np.all(history[name] >= 0)


@pytest.mark.parametrize("seed", range(40))
def test_random_masters_are_solved_to_the_right_value(seed):
    problem = random_master(seed)
    value = right_value(problem)
    master, rows = build(problem)
    result = master.solve(pricing(problem, rows, many=seed % 2 == 1), tolerance=TOLERANCE)
    check_solution(problem, rows, result, value)
    check_history(result)

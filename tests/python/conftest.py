"""What several test files use."""

import numpy as np
import pytest

from quarn.history import DTYPE


def make_history(rounds, seed=1):
    """A history such as a run leaves it: bounds that close in, the first one not there yet."""
    random = np.random.default_rng(seed)
    history = np.zeros(rounds, dtype=DTYPE)
    left = 0.5 ** np.arange(rounds)
    history["iteration"] = np.arange(1, rounds + 1)
    history["lower_bound"] = 100.0 - 300.0 * left
    history["upper_bound"] = 100.0 + 40.0 * left
    history["lower_bound"][:1] = -np.inf
    history["gap"] = 340.0 * left / 100.0
    history["columns"] = np.cumsum(random.integers(1, 30, rounds))
    history["inner_iterations"] = random.integers(3, 15, rounds)
    history["tolerance"] = history["gap"] / 2
    history["rmp_seconds"] = random.uniform(0.001, 0.1, rounds)
    history["oracle_seconds"] = random.uniform(0.001, 0.1, rounds)
    return history


@pytest.fixture
def history():
    return make_history(12)

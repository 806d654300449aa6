"""What the Python layer costs: rounds in which the oracle adds 1,000 columns by add_many.

The columns of all rounds are made beforehand and the oracle prices nothing, so its seconds are those
of the layer: the call, the duals as an array, the arrays taken over and checked, and the C++
interface's own checks of the columns. They are set against the seconds of the restricted masters.

    PYTHONPATH=build/release/python python3 benchmarks/python_layer.py [REPETITIONS]
"""

import sys

import numpy as np

import quarn

ROUNDS, COLUMNS = 12, 1000


def rounds_of_columns(rows, entries, seed):
    """Costs, starts, rows, values of every round; a column is a set of rows with a random cost."""
    random = np.random.default_rng(seed)
    for _ in range(ROUNDS):
        named = np.argsort(random.random((COLUMNS, rows)), axis=1)[:, :entries]
        yield (
            random.uniform(1.0, 2.0, COLUMNS) * np.sqrt(entries),
            np.arange(COLUMNS + 1) * entries,
            np.ascontiguousarray(named).ravel(),
            random.uniform(0.5, 1.5, COLUMNS * entries),
        )


def run(rows, entries, with_data, seed):
    """Returns the layer's seconds and those of the restricted masters, of every round but the first,
    whose restricted master has no columns."""
    master = quarn.Master()
    for _ in range(rows):
        master.add_row(">=", 1.0)
    rounds = list(rounds_of_columns(rows, entries, seed))
    data = [(0, number) for number in range(COLUMNS)] if with_data else None

    def price(duals, columns):
        if rounds:
            assert columns.add_many(*rounds.pop(), data=data) == COLUMNS
        return quarn.Answer.heuristic() if duals.values.size else None

    result = master.solve(price, max_iterations=ROUNDS)
    assert result.iterations == ROUNDS and result.columns == ROUNDS * COLUMNS
    return result.history["oracle_seconds"][1:], result.history["rmp_seconds"][1:]


def main(arguments):
    repetitions = int(arguments[0]) if arguments else 5
    print("rows  entries  data  layer ms   RMP ms   share   medians of all rounds")
    for rows, entries in ((50, 5), (200, 8), (200, 40), (1000, 10)):
        for with_data in (False, True):
            runs = [run(rows, entries, with_data, seed) for seed in range(repetitions)]
            layer, rmp = (1e3 * np.median(np.concatenate(each)) for each in zip(*runs))
            print(
                f"{rows:>4}  {entries:>7}  {'yes' if with_data else 'no':>4}  {layer:>8.3f} "
                f"{rmp:>8.2f} {layer / rmp:>7.2%}"
            )


if __name__ == "__main__":
    main(sys.argv[1:])

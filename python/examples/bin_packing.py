"""Bin packing: as few bins as possible for items that have sizes.

Master problem, a column for every set s of items that fits into a bin, x_s bins packed so:

    minimise    sum_s x_s
    subject to  sum_{s contains i} x_s >= 1     for every item i, dual u_i in [0, 1]
                x >= 0

Reduced cost of s: 1 - sum_{i in s} u_i. Pricing is a 0-1 knapsack problem: the set that fits and is
worth most at u. With w* its worth, u / max(1, w*) is feasible in the dual, so sum_i u_i / max(1, w*)
is a lower bound. A whole number of bins is needed: the bound may be rounded up.

    python bin_packing.py [ITEMS [SEED]]
"""

import math
import sys

import numpy as np

import quarn


def best_packing(capacity, sizes, values):
    """The set of items that fits and has the largest sum of values, by dynamic programming.

    Returns (worth, items as a list). Time and memory are items x capacity.
    """
    best = np.zeros(capacity + 1)
    taken = np.zeros((len(sizes), capacity + 1), dtype=bool)
    for item, (size, value) in enumerate(zip(sizes, values)):
        if value <= 0 or size > capacity:
            continue
        with_item = best[: capacity + 1 - size] + value
        taken[item, size:] = with_item > best[size:]
        best[size:] = np.maximum(best[size:], with_item)
    items, room = [], capacity
    for item in reversed(range(len(sizes))):
        if taken[item, room]:
            items.append(item)
            room -= sizes[item]
    return best[capacity], items


def solve(capacity, sizes, **settings):
    """Solves the master problem; a column's data is its list of items."""
    master = quarn.Master(sense="min")
    rows = [
        master.add_row(">=", 1.0, name=f"item {item}", dual_bounds=(0.0, 1.0))
        for item in range(len(sizes))
    ]
    for item, row in enumerate(rows):
        master.add_column(cost=1.0, entries={row: 1.0}, data=[item])

    def price(duals, columns):
        worth, items = best_packing(capacity, sizes, duals.values)
        # Several different columns are better than one: the next best without the items of this.
        values = duals.values.copy()
        while sum(values[items]) > 1.0:
            columns.add(cost=1.0, entries={rows[i]: 1.0 for i in items}, data=items)
            values[items] = 0.0
            items = best_packing(capacity, sizes, values)[1]
        return quarn.Answer(bound=duals.values.sum() / max(1.0, worth))

    return master.solve(price, **settings)


def main(arguments):
    count, seed = (int(text) for text in (arguments + ["60", "1"][len(arguments) :])[:2])
    sizes = np.random.default_rng(seed).integers(20, 61, count).tolist()
    result = solve(100, sizes, progress=True)
    print(result)
    print(f"at least {math.ceil(result.lower_bound - 1e-6)} bins")


if __name__ == "__main__":
    main(sys.argv[1:])

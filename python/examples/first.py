"""Cut 20 pieces of length 3 and 15 of length 4 from as few rolls of length 10 as possible."""

import quarn

ROLL, DEMAND = 10, {3: 20, 4: 15}
master = quarn.Master()
rows = {size: master.add_row(">=", need, dual_bounds=(0, 1)) for size, need in DEMAND.items()}


def price(duals, columns):
    """Of all ways to cut a roll, adds the one that is worth most at the duals."""
    patterns = [{rows[3]: a, rows[4]: (ROLL - 3 * a) // 4} for a in range(ROLL // 3 + 1)]
    worth = [sum(duals[row] * pieces for row, pieces in pattern.items()) for pattern in patterns]
    best = max(worth)
    columns.add(cost=1, entries=patterns[worth.index(best)])
    # The duals divided by max(1, best) price no pattern out, so their value is a lower bound.
    return quarn.Answer(bound=sum(duals[rows[s]] * DEMAND[s] for s in rows) / max(1, best))


if __name__ == "__main__":
    print(master.solve(price))

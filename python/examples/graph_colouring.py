"""Fractional graph colouring by maximal independent sets.

Master problem, a column for every independent set s of the graph, x_s how much of it is a colour:

    minimise    sum_s x_s
    subject to  sum_{s contains v} x_s >= 1     for every vertex v, dual u_v in [0, 1]
                x >= 0

Rows are >=, so it is enough to consider sets that are maximal: a vertex may get two colours. Reduced
cost of s: 1 - sum_{v in s} u_v. Pricing is a maximum-weight independent set problem; here branch and
bound, which is quick on small graphs. With w* the largest weight, sum_v u_v / max(1, w*) is a lower
bound, since u / max(1, w*) is feasible in the dual.

    python graph_colouring.py [LEVEL]     the Mycielski graph of this level
"""

import sys

import quarn


def mycielski(level):
    """Neighbour sets of the graph of this level: 2 is an edge, 3 the cycle of 5, each has no triangle.

    The fractional chromatic number f of the next one is f + 1/f, from f = 2 on.
    """
    neighbours = [{1}, {0}]
    for _ in range(level - 2):
        count = len(neighbours)
        shadows = [set(each) | {2 * count} for each in neighbours]
        originals = [each | {count + other for other in each} for each in neighbours]
        neighbours = originals + shadows + [set(range(count, 2 * count))]
    return neighbours


def heaviest_independent_set(neighbours, weights):
    """Returns (weight, vertices) of an independent set of largest weight."""
    order = sorted(range(len(weights)), key=lambda v: -weights[v])
    best = [0.0, []]

    def extend(chosen, weight, candidates):
        if weight > best[0]:
            best[:] = weight, chosen
        left = sum(weights[v] for v in candidates)
        for position, v in enumerate(candidates):
            if weight + left <= best[0] + 1e-12:
                return
            rest = [w for w in candidates[position + 1 :] if w not in neighbours[v]]
            extend(chosen + [v], weight + weights[v], rest)
            left -= weights[v]

    extend([], 0.0, [v for v in order if weights[v] > 0])
    return best[0], best[1]


def made_maximal(neighbours, chosen):
    """The set with further vertices, in the order of their numbers, while it stays independent."""
    blocked = set(chosen).union(*(neighbours[v] for v in chosen))
    for v in range(len(neighbours)):
        if v not in blocked:
            chosen = chosen + [v]
            blocked |= neighbours[v] | {v}
    return chosen


def solve(neighbours, **settings):
    """Solves the master problem; a column's data is its list of vertices."""
    master = quarn.Master(sense="min")
    rows = [
        master.add_row(">=", 1.0, name=f"vertex {v}", dual_bounds=(0.0, 1.0))
        for v in range(len(neighbours))
    ]

    def add(columns, chosen):
        columns.add(cost=1.0, entries={rows[v]: 1.0 for v in chosen}, data=chosen)

    def price(duals, columns):
        weights = duals.values.tolist()
        weight, chosen = heaviest_independent_set(neighbours, weights)
        bound = sum(weights) / max(1.0, weight)
        # More columns: the heaviest sets of what the sets so far leave.
        while weight > 1.0:
            add(columns, made_maximal(neighbours, chosen))
            for v in chosen:
                weights[v] = 0.0
            weight, chosen = heaviest_independent_set(neighbours, weights)
        return quarn.Answer(bound=bound)

    return master.solve(price, **settings)


def main(arguments):
    level = int(arguments[0]) if arguments else 5
    result = solve(mycielski(level), progress=True)
    print(result)
    for column, value in result.values:
        print(f"{value:8.4f} of {sorted(column.data)}")


if __name__ == "__main__":
    main(sys.argv[1:])

"""A block-structured program whose blocks are unbounded: extreme points and extreme rays.

Plant k turns money m into goods g, and some goods cost nothing:

    minimise    sum_k c_k m_k
    subject to  sum_k g_k >= D                      demand, dual u
                sum_k m_k <= B                      budget, dual v (at most 0)
                (m_k, g_k) in P_k = { 0 <= g <= a_k + r_k m, m >= 0 }     for every plant k

P_k has the extreme points (0, 0) and (0, a_k), and the extreme rays (1, 0) and (1, r_k). The master
combines points with weights that sum to 1, the convexity row of the block, and adds rays with any
weight: a ray is a column without entry in the convexity row.

Reduced cost of (m, g) in block k, without the dual w_k of its convexity row: (c_k - v) m - u g. If
that of a ray is negative, the block is unbounded at these duals: the ray is added, and nothing is
proved. Otherwise a point is best, and its reduced cost minus w_k is what the bound needs.

    python plants_with_rays.py
"""

from dataclasses import dataclass

import quarn


@dataclass(frozen=True)
class Plant:
    cost: float  #: c_k, for one unit of money
    free: float  #: a_k, goods that cost nothing
    rate: float  #: r_k, goods for one unit of money


PLANTS = [Plant(1.0, 2.0, 1.5), Plant(1.3, 1.0, 2.5), Plant(0.6, 0.0, 0.5), Plant(1.1, 3.0, 1.4)]


def solve(plants, demand, budget, **settings):
    """Solves the program; a column's data is (plant, "point" or "ray", m, g)."""
    master = quarn.Master(sense="min")
    goods = master.add_row(">=", demand, name="demand")
    money = master.add_row("<=", budget, name="budget")
    weights = [master.add_row("==", 1.0, block=True, name=f"plant {k}") for k in range(len(plants))]

    def entries(k, kind, m, g):
        convexity = {weights[k]: 1.0} if kind == "point" else {}
        return {goods: g, money: m, **convexity}

    def price(duals, columns):
        unbounded, best = False, {}
        for k, plant in enumerate(plants):

            def reduced_cost(m, g):
                return (plant.cost - duals[money]) * m - duals[goods] * g

            rays = [("ray", 1.0, 0.0), ("ray", 1.0, plant.rate)]
            points = [("point", 0.0, 0.0), ("point", 0.0, plant.free)]
            found = min(rays, key=lambda ray: reduced_cost(*ray[1:]))
            if reduced_cost(*found[1:]) < -1e-9:
                unbounded = True
            else:
                found = min(points, key=lambda point: reduced_cost(*point[1:]))
                best[weights[k]] = reduced_cost(*found[1:]) - duals[weights[k]]
            columns.add(cost=plant.cost * found[1], entries=entries(k, *found), data=(k, *found))
        return quarn.Answer.heuristic() if unbounded else quarn.Answer(best_reduced_costs=best)

    return master.solve(price, **settings)


def plan(result, count):
    """What every plant does in the solution: (money, goods) for each."""
    totals = [[0.0, 0.0] for _ in range(count)]
    for column, value in result.values:
        k, _, m, g = column.data
        totals[k][0] += value * m
        totals[k][1] += value * g
    return totals


def main():
    result = solve(PLANTS, demand=40.0, budget=25.0, progress=True)
    print(result)
    for k, (m, g) in enumerate(plan(result, len(PLANTS))):
        print(f"plant {k}: {m:8.4f} of money, {g:8.4f} of goods")


if __name__ == "__main__":
    main()

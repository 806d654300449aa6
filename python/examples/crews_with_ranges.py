"""A maximisation with ranges: crews choose jobs, and each kind of job is done neither too seldom nor
too often.

Crew k can do any set s of jobs that fits into its hours, with profit p_ks. Master problem, a column
for every crew and set, x_ks how much of its time crew k spends so:

    maximise    sum_ks p_ks x_ks
    subject to  sum_{ks: s contains j} x_ks <= 1                     for every job j, dual u_j
                least_g <= sum_ks |s in group g| x_ks <= most_g      for every group g, dual v_g
                sum_s x_ks <= 1                                      for every crew k, dual w_k
                x >= 0

When maximising, a column is worth adding if its reduced cost p_ks - sum_{j in s} (u_j + v_g(j)) - w_k
is positive. Pricing is a 0-1 knapsack problem per crew, and the largest reduced cost of each crew,
the dual of its own row included, is the answer. The empty set is a column too: best is never below
-w_k.

    python crews_with_ranges.py [SEED]
"""

import sys
from dataclasses import dataclass

import numpy as np

import quarn
from bin_packing import best_packing


@dataclass(frozen=True)
class Instance:
    profit: np.ndarray  #: [crews, jobs]
    hours: np.ndarray  #: [crews, jobs], whole numbers
    available: np.ndarray  #: [crews]
    group: np.ndarray  #: [jobs], from 0
    least: np.ndarray  #: [groups]
    most: np.ndarray  #: [groups]


def random_instance(crews, jobs, groups, seed):
    random = np.random.default_rng(seed)
    group = np.arange(jobs) % groups
    size = np.bincount(group)
    return Instance(
        profit=random.integers(1, 40, (crews, jobs)).astype(float),
        hours=random.integers(3, 12, (crews, jobs)),
        available=random.integers(10, 20, crews),
        group=group,
        least=np.full(groups, 0.5),
        most=0.5 * size,
    )


def solve(instance, **settings):
    """Solves the master problem; a column's data is (crew, list of jobs)."""
    crews, jobs = instance.profit.shape
    master = quarn.Master(sense="max")
    job = [master.add_row("<=", 1.0, name=f"job {j}") for j in range(jobs)]
    group = [
        master.add_row(">=", least, range=most - least, name=f"group {g}")
        for g, (least, most) in enumerate(zip(instance.least, instance.most))
    ]
    crew = [master.add_row("<=", 1.0, block=True, name=f"crew {k}") for k in range(crews)]

    def entries(k, chosen):
        column = {crew[k]: 1.0}
        for j in chosen:
            column[job[j]] = 1.0
            kind = group[instance.group[j]]
            column[kind] = column.get(kind, 0.0) + 1.0
        return column

    def price(duals, columns):
        price_of_job = np.array(
            [duals[job[j]] + duals[group[instance.group[j]]] for j in range(jobs)]
        )
        best = {}
        for k in range(crews):
            worth, chosen = best_packing(
                int(instance.available[k]), instance.hours[k], instance.profit[k] - price_of_job
            )
            best[crew[k]] = worth - duals[crew[k]]
            if best[crew[k]] > 1e-9:
                columns.add(instance.profit[k][chosen].sum(), entries(k, chosen), data=(k, chosen))
        return quarn.Answer(best_reduced_costs=best)

    return master.solve(price, **settings)


def main(arguments):
    seed = int(arguments[0]) if arguments else 1
    print(solve(random_instance(crews=6, jobs=24, groups=4, seed=seed), progress=True))


if __name__ == "__main__":
    main(sys.argv[1:])

"""The examples and the programs in the documentation, against known or enumerated optima."""

import itertools
import pathlib
import re
import subprocess
import sys

import numpy as np
import pytest

import quarn

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "python" / "examples"
sys.path.insert(0, str(EXAMPLES))

import bin_packing  # noqa: E402
import crews_with_ranges  # noqa: E402
import graph_colouring  # noqa: E402
import plants_with_rays  # noqa: E402


def linear_program(*arguments, **options):
    return pytest.importorskip("scipy.optimize").linprog(*arguments, method="highs", **options)


def check(result, value):
    assert result.status is quarn.Status.OPTIMAL
    assert result.lower_bound == pytest.approx(value, rel=1e-5)
    assert result.upper_bound == pytest.approx(value, rel=1e-5)


def test_the_first_program_is_short_and_right():
    path = EXAMPLES / "first.py"
    code = [line for line in path.read_text().splitlines() if line.strip()]
    assert len(code) <= 20
    shown = subprocess.run([sys.executable, path], capture_output=True, text=True, check=True)
    assert re.match(r"optimal: .*12\.5", shown.stdout) and shown.stderr == ""


#: What the programs of a page come to.
VALUES = {
    "python": None,
    "../README": 12.5,
    "tutorial": 452.25,
    "how_to/branching": 5.0,
    "how_to/cuts": 12.0,
    "how_to/first_columns": 452.25,
    "how_to/heuristic_oracle": 452.25,
    "how_to/maximising": 2049.375,
    "how_to/ranges": 44.0,
    "how_to/rays": 17.68,
    "how_to/resuming": 452.25,
}


def programs(page):
    text = (ROOT / "docs" / f"{page}.md").read_text(encoding="utf-8")
    return re.findall(r"```python\n(.*?)```", text, re.S)


def test_no_page_is_left_out():
    pages = {f"how_to/{path.stem}" for path in (ROOT / "docs" / "how_to").glob("*.md")}
    assert pages <= set(VALUES)
    text = (ROOT / "docs" / "python.md").read_text(encoding="utf-8")
    assert (EXAMPLES / "first.py").read_text().split('"""\n', 1)[1].strip() in text
    program = [line for line in programs("tutorial")[0].splitlines() if line.strip()]
    assert len(program) <= 20


@pytest.mark.parametrize("page", VALUES)
def test_programs_in_the_documentation_run(page):
    names = {"__name__": "docs"}
    for program in programs(page):
        exec(compile(program, f"docs/{page}.md", "exec"), names)  # noqa: S102
    if VALUES[page] is None:
        assert names["result"].status is quarn.Status.OPTIMAL
    else:
        check(names["result"], VALUES[page])


def test_bin_packing():
    capacity, sizes = 10, [5, 4, 4, 3, 3, 3, 2, 6]
    packings = [
        part
        for count in range(1, len(sizes) + 1)
        for part in itertools.combinations(range(len(sizes)), count)
        if sum(sizes[i] for i in part) <= capacity
    ]
    matrix = np.array([[float(i in part) for part in packings] for i in range(len(sizes))])
    right = linear_program(np.ones(len(packings)), A_ub=-matrix, b_ub=-np.ones(len(sizes)))
    result = bin_packing.solve(capacity, sizes)
    check(result, right.fun)
    for column, _ in result.values:
        assert sum(sizes[i] for i in column.data) <= capacity


@pytest.mark.parametrize("level, value", [(3, 2.5), (4, 2.9), (5, 2.9 + 1 / 2.9)])
def test_graph_colouring(level, value):
    neighbours = graph_colouring.mycielski(level)
    result = graph_colouring.solve(neighbours)
    check(result, value)
    for column, _ in result.values:
        assert not any(v in neighbours[w] for v, w in itertools.combinations(column.data, 2))


def test_plants_with_rays():
    plants, demand, budget = plants_with_rays.PLANTS, 40.0, 25.0
    count = len(plants)
    # Variables: money of each plant, then goods.
    rows = [[0.0] * count + [-1.0] * count, [1.0] * count + [0.0] * count]
    for k, plant in enumerate(plants):
        row = [0.0] * (2 * count)
        row[k], row[count + k] = -plant.rate, 1.0
        rows.append(row)
    right = linear_program(
        [plant.cost for plant in plants] + [0.0] * count,
        A_ub=rows,
        b_ub=[-demand, budget] + [plant.free for plant in plants],
    )
    result = plants_with_rays.solve(plants, demand, budget)
    check(result, right.fun)
    plan = plants_with_rays.plan(result, count)
    assert sum(goods for _, goods in plan) == pytest.approx(demand, rel=1e-4)
    assert any(column.data[1] == "ray" for column, _ in result.values)


def test_crews_with_ranges():
    instance = crews_with_ranges.random_instance(crews=3, jobs=7, groups=2, seed=4)
    crews, jobs = instance.profit.shape
    sets = [
        (k, list(part))
        for k in range(crews)
        for count in range(jobs + 1)
        for part in itertools.combinations(range(jobs), count)
        if instance.hours[k][list(part)].sum() <= instance.available[k]
    ]
    job = np.array([[float(j in part) for _, part in sets] for j in range(jobs)])
    group = np.array([job[instance.group == g].sum(axis=0) for g in range(2)])
    crew = np.array([[float(owner == k) for owner, _ in sets] for k in range(crews)])
    right = linear_program(
        [-instance.profit[k][part].sum() for k, part in sets],
        A_ub=np.vstack([job, crew, group, -group]),
        b_ub=np.concatenate([np.ones(jobs + crews), instance.most, -instance.least]),
    )
    check(crews_with_ranges.solve(instance), -right.fun)

#!/usr/bin/env python3
"""Two builds of the benchmark programs side by side, as tables in Markdown.

    before_and_after.py [OPTION...] BEFORE/bin AFTER/bin

The programs of both builds run in turns, so that a busy minute meets both, and the median of each
figure is shown as `before > after`. Both have to know the options that are used here; a state that
does not is built with its own library and today's benchmarks. Simplex methods run in AFTER alone.
"""
import argparse
import csv
import glob
import math
import os
import statistics
import subprocess
import sys

SIMPLEX = ("textbook", "smoothed")
LEAST_SECONDS = 1e-3

# Name, family, options of compare_column_generation, simplex methods that do not take for ever.
COMPARISONS = [
    ("wide_boxes", "explicit_columns", ["--box=1e10"], SIMPLEX),
    ("narrow_boxes", "explicit_columns", ["--box=1e4"], ()),
    ("aggregated_flow", "multicommodity_flow", ["--sizes=aggregated"], SIMPLEX[1:]),
    ("lot_sizing", "lot_sizing", ["--sizes=50x30,100x40,200x60"], SIMPLEX),
    ("long_rolls", "cutting_stock",
     ["--columns-per-call=1", "{data}/cutting_stock/scholl_3/hard*.txt"], ()),
    ("routing", "vehicle_routing", ["--sizes=n100"], SIMPLEX),
    ("one_price_vector", "generalized_assignment", ["--sizes=K400x10", "--prices=1"],
     SIMPLEX[1:]),
    ("tiny_flow", "multicommodity_flow", ["--sizes=planar30", "--repeats=9"], SIMPLEX),
    ("tiny_lot_sizing", "lot_sizing", ["--sizes=published", "--repeats=9"], SIMPLEX),
    ("one_column", "cutting_stock", ["--sizes=m200", "--columns-per-call=1"], SIMPLEX),
    ("all_cutting_stock", "cutting_stock", [], SIMPLEX),
    ("all_assignment", "generalized_assignment", [], SIMPLEX),
    ("all_flow", "multicommodity_flow", ["--sizes=n100,n200,n300"], SIMPLEX),
]
GENERATED = ("explicit_columns", "lot_sizing", "cutting_stock", "generalized_assignment",
             "multicommodity_flow")
# Name, kind, sizes of `benchmark_interior_point large`.
LARGE = [
    ("networks", "network", ["10", "20"]),
    ("dense", "dense", ["1000", "2000", "4000"]),
    ("paths", "paths", ["1000", "3000"]),
    ("columns", "columns", ["10000", "100000"]),
]
OTHERS = ["programs", "last_masters"]


def text(value):
    return "-" if math.isnan(value) else f"{value:.3g}" if abs(value) < 1000 else f"{value:.0f}"


def pair(before, after):
    return text(before) if before == after else f"{text(before)} > {text(after)}"


def print_table(name, header, lines):
    print(f"\n### {name}\n\n| " + " | ".join(header) + " |\n|" + "---|" * len(header))
    for line in lines:
        print("| " + " | ".join(line) + " |", flush=True)


def geometric_mean(ratios):
    ratios = [r for r in ratios if r > 0.0]
    return math.exp(statistics.fmean(math.log(r) for r in ratios)) if ratios else math.nan


def figures(command):
    """The lines of a program's first table in CSV, by column; comments left out."""
    done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        print(f"exit status {done.returncode}: {' '.join(command)}", file=sys.stderr)
    lines = [line for line in done.stdout.splitlines() if line[:1] != "#"]
    tables = [k for k, line in enumerate(lines) if line.split(",")[0] == lines[0].split(",")[0]]
    return list(csv.DictReader(lines[:tables[1]] if len(tables) > 1 else lines))


class Medians:
    """Figures of several runs by key and column."""

    def __init__(self):
        self.values = {}

    def add(self, key, line):
        for column, cell in line.items():
            try:
                self.values.setdefault(key, {}).setdefault(column, []).append(float(cell))
            except (TypeError, ValueError):
                pass

    def keys(self):
        return self.values.keys()

    def get(self, key, column):
        found = self.values.get(key, {}).get(column)
        return statistics.median(found) if found else math.nan


def in_turns(options, program, before, after, key):
    """Medians of both builds, run with these arguments; lines without a `key` are left out."""
    both = (Medians(), Medians())
    for _ in range(options.repeats):
        for medians, folder, arguments in zip(both, (options.before, options.after),
                                              (before, after)):
            for line in figures([os.path.join(folder, program), *arguments]):
                if key(line) is not None:
                    medians.add(key(line), line)
    return both


def instance_and_method(line):
    return None if line["instance"] == "median" else (line["instance"], line["method"])


def arguments_of(options, family, chosen, seed):
    """Those of compare_column_generation, file names last."""
    result = [family, "--csv", f"--time-limit={options.time_limit}", f"--data={options.data}"]
    if not any(option.startswith("--repeats") for option in chosen):
        result.append("--repeats=1")
    if seed != 1:
        result.append(f"--seed={seed}")
    for option in chosen:
        found = sorted(glob.glob(option.format(data=options.data)))
        result.extend(found or [option])
    return result


class Simplex:
    """The best of the simplex methods that closed the gap."""

    def __init__(self, runs, methods):
        self.runs, self.methods = runs, methods

    def least(self, instance, column):
        closed = [(instance, method) for method in self.methods
                  if self.runs.get((instance, method), "gap") < 2e-6]
        return min((self.runs.get(key, column) for key in closed), default=math.nan)


def over(value, other):
    if math.isnan(value) or math.isnan(other):
        return math.nan
    return max(LEAST_SECONDS, value) / max(LEAST_SECONDS, other)


def comparison_line(before, after, simplex, key):
    line = [key[0]]
    for column in ("rounds", "inner", "rmp_s", "oracle_s", "total_s"):
        line.append(pair(before.get(key, column), after.get(key, column)))
    best = {column: simplex.least(key[0], column) for column in ("rounds", "rmp_s", "total_s")}
    line += [text(value) for value in best.values()]
    for column in ("rmp_s", "total_s"):
        line.append(pair(*(over(runs.get(key, column), best[column])
                           for runs in (before, after))))
    return line


def compare(options, name, family, chosen, methods):
    before, after = Medians(), Medians()
    for seed in options.seeds if family in GENERATED else [1]:
        arguments = arguments_of(options, family, chosen, seed)
        runs = in_turns(options, "compare_column_generation", arguments + ["--methods=ours"],
                        arguments + ["--methods=" + ",".join(("ours", *methods))],
                        instance_and_method)
        before.values.update(runs[0].values)
        after.values.update(runs[1].values)
    simplex = Simplex(after, methods)
    ours = [key for key in after.keys() if key[1] == "ours"]
    lines = [comparison_line(before, after, simplex, key) for key in ours]
    mean = {column: text(geometric_mean(
        over(after.get(key, column), before.get(key, column)) for key in ours))
        for column in ("inner", "rmp_s", "oracle_s", "total_s")}
    best = [text(geometric_mean(over(after.get(key, column), simplex.least(key[0], column))
                                for key in ours)) for column in ("rmp_s", "total_s")]
    lines.append(["mean of after / before", "", *mean.values(), "", "", "mean of after:", *best])
    print_table(f"{name}: {family} {' '.join(chosen)}",
                ["instance", "rounds", "iterations", "RMP s", "oracle s", "all s",
                 "simplex: rounds", "RMP s", "all s", "RMP over simplex", "all over simplex"],
                lines)


def large(options, name, kind, sizes):
    arguments = ["--csv", "large", *sizes, "--kind", kind]
    before, after = in_turns(options, "benchmark_interior_point", arguments, arguments,
                             lambda line: f"{line['program'] or kind}, {line['columns']} columns")
    columns = ["cold", "warm", "processor_s", "factor_s", "of_dgemm", "peak_MB"]
    print_table(name, ["program", *columns],
                [[key, *(pair(before.get(key, c), after.get(key, c)) for c in columns)]
                 for key in after.keys()])


def programs(options):
    """The total of the first folder, each of the second."""
    for folder in ("linear_programs", "relaxations"):
        files = sorted(glob.glob(os.path.join(options.data, folder, "*.mps*")))
        before, after = in_turns(options, "solve_mps", ["--csv", *files], ["--csv", *files],
                                 lambda line: line["name"])
        columns = ["status", "iterations", "seconds"]
        lines = [[key, *(pair(before.get(key, c), after.get(key, c)) for c in columns)]
                 for key in after.keys()]
        totals = [[sum(runs.get(key, c) for key in after.keys()) for runs in (before, after)]
                  for c in columns]
        ratio = geometric_mean(over(1e3 * after.get(key, "seconds"),
                                    1e3 * before.get(key, "seconds")) for key in after.keys())
        lines.append(["sum", *(pair(*total) for total in totals)])
        lines.append(["after / before", "", "", text(ratio)])
        print_table(f"programs: {folder}", ["program", *columns], lines)


def last_masters(options):
    """The last restricted master of each run, from the point of the one before."""
    arguments = ["--csv", "--repeats=1", "--clp-seconds=0.001", "rmp"]
    before, after = in_turns(options, "benchmark_interior_point", arguments, arguments,
                             lambda line: line["rmp"] if "/" in line["rmp"] else None)
    columns = ["warm_run", "warm_seconds", "cold_1e-8", "seconds"]
    last = {key.split("/")[0]: key for key in after.keys()}  # later ones replace earlier ones
    lines = []
    for run, key in last.items():
        # Runs differ in length, so the last one has another name before.
        old = [k for k in before.keys() if k.split("/")[0] == run][-1]
        lines.append([key, *(pair(before.get(old, c), after.get(key, c)) for c in columns)])
    print_table("last_masters", ["RMP", *columns], lines)


def main():
    known = [entry[0] for entry in COMPARISONS + LARGE] + OTHERS
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("before", help="folder of the programs before")
    parser.add_argument("after", help="folder of the programs after")
    parser.add_argument("--only", default=",".join(known), help="tables: " + ", ".join(known))
    parser.add_argument("--repeats", type=int, default=3)
    parser.add_argument("--seeds", default="1,2,3", help="of the generated instances")
    parser.add_argument("--time-limit", type=float, default=60.0)
    parser.add_argument("--data", default="../shared/data", help="folder of the instances")
    options = parser.parse_args()
    options.seeds = [int(seed) for seed in options.seeds.split(",")]
    wanted = options.only.split(",")
    if not set(wanted) <= set(known):
        parser.error("--only: " + ", ".join(sorted(set(wanted) - set(known))))
    for entry in COMPARISONS:
        if entry[0] in wanted:
            compare(options, *entry)
    for entry in LARGE:
        if entry[0] in wanted:
            large(options, *entry)
    if "programs" in wanted:
        programs(options)
    if "last_masters" in wanted:
        last_masters(options)


if __name__ == "__main__":
    main()

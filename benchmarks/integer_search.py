#!/usr/bin/env python3
"""Integer optima by branch and price: runs of the examples' --optimal, and pictures of one.

    integer_search.py run [--known FILE.csv] PROGRAM [OPTION...] -- FILE...
        A line of CSV for each file: status, value, bound, nodes, processor seconds, and what the
        heuristics found. With --known a value worse than best_bins, or an optimum that differs from
        optimal_bins, is an error.
    integer_search.py pictures RUN.json BOUNDS.svg TREE.svg
        From the report of a run (--json): incumbent and bound against time, and the tree.
"""
import csv
import json
import os
import resource
import subprocess
import sys
import tempfile

COLORS = {"branched": "#4878a8", "cut_off": "#b0b0b0", "infeasible": "#d08040",
          "integer": "#50a060", "open": "#ffffff", "failed": "#c04040"}


def processor_seconds():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def instance_name(path):
    return os.path.splitext("/".join(path.split("/")[-2:]))[0]


def check(name, report, known):
    """What is wrong with the value, as a sentence; empty when nothing is."""
    line = known.get(name)
    if line is None or report["integer_value"] is None:
        return ""
    if report["integer_value"] > float(line["best_bins"]):
        return f"{name}: {report['integer_value']} is worse than {line['best_bins']}"
    proven = report["search_status"] == "optimal"
    if proven and line["optimal_bins"] and report["integer_value"] != float(line["optimal_bins"]):
        return f"{name}: {report['integer_value']} is not {line['optimal_bins']}"
    return ""


def run(arguments):
    known = {}
    if arguments[:1] == ["--known"]:
        with open(arguments[1], encoding="ascii") as file:
            known = {line["instance"]: line for line in csv.DictReader(file)}
        arguments = arguments[2:]
    split = arguments.index("--")
    table = csv.writer(sys.stdout)
    table.writerow(["instance", "status", "value", "bound", "root_bound", "nodes", "probes",
                    "iterations", "cut_off_early", "branched_early", "seconds", "heuristics"])
    wrong = 0
    with tempfile.TemporaryDirectory() as folder:
        for path in arguments[split + 1:]:
            json_file = os.path.join(folder, "report.json")
            before = processor_seconds()
            subprocess.run([*arguments[:split], "--optimal", "--json", json_file, path],
                           stdout=subprocess.DEVNULL, check=True)
            with open(json_file, encoding="utf-8") as file:
                report = json.load(file)
            heuristics = "; ".join(f"{h['name']} {h['improved']}/{h['calls']} {h['seconds']:.2f}"
                                   for h in report["heuristics"])
            table.writerow([instance_name(path), report["search_status"], report["integer_value"],
                            report["lower_bound"], report["root_bound"], report["nodes"],
                            report["probes"], report["outer_iterations"],
                            report["cut_off_early"], report["branched_early"],
                            f"{processor_seconds() - before:.2f}", heuristics])
            sys.stdout.flush()
            complaint = check(instance_name(path), report, known)
            if complaint:
                print(complaint, file=sys.stderr)
                wrong += 1
    return 1 if wrong else 0


# Pictures


def svg(width, height, parts):
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" '
                      f'height="{height}" viewBox="0 0 {width} {height}" '
                      'font-family="sans-serif" font-size="12">',
                      f'<rect width="{width}" height="{height}" fill="#ffffff"/>', *parts,
                      "</svg>", ""])


def steps(points, end):
    """A line that keeps each value until the next one."""
    line = []
    for k, (x, y) in enumerate(points):
        line.append((x, y))
        line.append((points[k + 1][0] if k + 1 < len(points) else end, y))
    return " ".join(f"{x:.1f},{y:.1f}" for x, y in line)


def picture_of_bounds(report):
    width, height, left, top, right, bottom = 640, 360, 70, 30, 620, 320
    end = max(report["time_total"], 1e-9)
    bounds = [(node["seconds"], node["tree_bound"]) for node in report["history"]
              if node["tree_bound"] is not None]
    finds = [(find["seconds"], find["value"]) for find in report["finds"]]
    values = [v for _, v in bounds + finds]
    low, high = min(values), max(values)
    low, high = low - 0.05 * (high - low + 1e-9), high + 0.05 * (high - low + 1e-9)

    def place(point):
        return (left + (right - left) * point[0] / end,
                bottom - (bottom - top) * (point[1] - low) / (high - low))

    parts = [f'<rect x="{left}" y="{top}" width="{right - left}" height="{bottom - top}" '
             'fill="none" stroke="#808080"/>']
    for k in range(5):
        value = low + (high - low) * k / 4
        y = place((0, value))[1]
        parts.append(f'<text x="{left - 6}" y="{y + 4:.1f}" text-anchor="end">{value:.5g}</text>')
        x = left + (right - left) * k / 4
        parts.append(f'<text x="{x:.1f}" y="{bottom + 18}" text-anchor="middle">'
                     f'{end * k / 4:.3g} s</text>')
    for points, color, text, y in ((finds, "#c04040", "incumbent", 20), (bounds, "#4878a8", "bound of the tree", 20)):
        if points:
            parts.append(f'<polyline points="{steps([place(p) for p in points], right)}" '
                         f'fill="none" stroke="{color}" stroke-width="2"/>')
        x = left + 10 if text == "incumbent" else left + 110
        parts.append(f'<text x="{x}" y="{y}" fill="{color}">{text}</text>')
    return svg(width, height, parts)


def places(report):
    """Depth and position of each node: leaves side by side, parents above the middle of theirs."""
    nodes = {node["node"]: node for node in report["history"]}
    children = {}
    for node in nodes.values():
        children.setdefault(node["parent"], []).append(node["node"])
    place, leaves = {}, 0
    stack = [(root, False) for root in sorted(children.get(-1, []))]
    while stack:
        number, ready = stack.pop()
        below = sorted(children.get(number, []))
        if not below:
            place[number] = (leaves, nodes[number]["depth"])
            leaves += 1
        elif ready:
            middle = sum(place[child][0] for child in below) / len(below)
            place[number] = (middle, nodes[number]["depth"])
        else:
            stack.append((number, True))
            stack.extend((child, False) for child in reversed(below))
    return nodes, place, max(leaves, 1)


def picture_of_tree(report):
    nodes, place, leaves = places(report)
    deepest = max(depth for _, depth in place.values())
    width, height = 900, 80 + 26 * (deepest + 1)

    def spot(number):
        x, depth = place[number]
        return 20 + (width - 40) * (x + 0.5) / leaves, 50 + 26 * depth

    parts = []
    for number, node in nodes.items():
        if node["parent"] in place:
            (x, y), (px, py) = spot(number), spot(node["parent"])
            parts.append(f'<line x1="{px:.1f}" y1="{py}" x2="{x:.1f}" y2="{y}" stroke="#a0a0a0"/>')
    for number, node in nodes.items():
        x, y = spot(number)
        parts.append(f'<circle cx="{x:.1f}" cy="{y}" r="5" stroke="#404040" '
                     f'fill="{COLORS[node["fate"]]}"><title>node {number}: {node["fate"]}, bound '
                     f'{node["bound"]}</title></circle>')
    for k, fate in enumerate(sorted({node["fate"] for node in nodes.values()})):
        parts.append(f'<circle cx="{26 + 110 * k}" cy="18" r="5" stroke="#404040" '
                     f'fill="{COLORS[fate]}"/>')
        parts.append(f'<text x="{36 + 110 * k}" y="22">{fate.replace("_", " ")}</text>')
    return svg(width, height, parts)


def pictures(arguments):
    json_file, bounds, tree = arguments
    with open(json_file, encoding="utf-8") as file:
        report = json.load(file)
    for path, picture in ((bounds, picture_of_bounds(report)), (tree, picture_of_tree(report))):
        with open(path, "w", encoding="utf-8") as file:
            file.write(picture)
    return 0


if __name__ == "__main__":
    if len(sys.argv) < 3 or sys.argv[1] not in ("run", "pictures"):
        sys.exit(__doc__)
    sys.exit((run if sys.argv[1] == "run" else pictures)(sys.argv[2:]))

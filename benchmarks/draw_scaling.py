"""Fits the model of a round of docs/scaling.md to measurements, and draws it.

    draw_scaling.py ROUNDS.csv CHECK.csv PICTURE.svg

ROUNDS.csv is what `benchmark_blocks rounds` says of blocks that cost nothing, CHECK.csv what it says of
blocks that sleep, one after the other by 1, 2, ... ranks. Prints the parameters, and the model beside the
measured seconds. Needs numpy and matplotlib.
"""

import csv
import math
import sys

import matplotlib
import numpy

matplotlib.use("svg" if sys.argv[-1].endswith(".svg") else "agg")
matplotlib.rcParams["svg.hashsalt"] = "quarn"  # the same file from the same numbers
import matplotlib.pyplot as plt  # noqa: E402


def read(path):
    """The lines of a file that has its heading several times."""
    with open(path, newline="") as stream:
        lines = [line for line in csv.reader(stream) if line]
    heading = lines[0]
    return [dict(zip(heading, map(float, line))) for line in lines if line != heading]


def fit(columns, measured):
    """Least squares of the relative errors, without negative coefficients."""
    matrix = numpy.array(columns).T / numpy.array(measured)[:, None]
    solution = numpy.zeros(matrix.shape[1])
    free = list(range(matrix.shape[1]))
    while free:
        part = numpy.linalg.lstsq(matrix[:, free], numpy.ones(len(measured)), rcond=None)[0]
        if (part >= 0).all():
            solution[free] = part
            return solution
        free = [k for k, value in zip(free, part) if value > 0]
    return solution


class Model:
    """Seconds of a round, see docs/scaling.md for the letters."""

    def __init__(self, rounds):
        several = [r for r in rounds if r["ranks"] > 1]
        depth = [math.log2(r["ranks"]) for r in several]
        values = [8 * (r["rows"] + r["blocks"]) for r in several]
        self.hop, self.byte_out = fit(
            [depth, [d * v for d, v in zip(depth, values)]], [r["announcing"] for r in several]
        )
        self.report, self.byte_in = fit(
            [[r["ranks"] - 1 for r in several], [r["bytes_received"] for r in several]],
            [r["receiving"] for r in several],
        )
        large = [r for r in rounds if r["columns"] >= 1000]
        (self.column,) = fit(
            [[r["columns"] for r in large]], [r["merging"] + r["adding"] for r in large]
        )
        # Where rank 0 is busy with reports it prices nothing, and all blocks are in these.
        self.bytes_of_block = max(r["bytes_received"] / r["blocks"] for r in several)

    def parts(self, ranks, blocks, rows, work, longest):
        depth = math.log2(ranks)
        announcing = depth * (self.hop + self.byte_out * 8 * (rows + blocks))
        pricing = max(work / ranks, longest)
        received = self.bytes_of_block * blocks * (ranks - 1) / ranks
        receiving = self.report * (ranks - 1) + self.byte_in * received
        return announcing, pricing, receiving, self.column * blocks

    def seconds(self, *shape):
        return sum(self.parts(*shape))


def print_parameters(model):
    print(f"hop               {model.hop * 1e6:8.1f} us")
    print(f"byte sent         {model.byte_out * 1e9:8.2f} ns a level")
    print(f"report            {model.report * 1e6:8.1f} us")
    print(f"byte received     {model.byte_in * 1e9:8.2f} ns")
    print(f"column            {model.column * 1e6:8.2f} us")
    print(f"bytes of a block  {model.bytes_of_block:8.0f}")


def check(model, lines):
    """By shape: ranks, measured seconds, those of the model, which knows the serial run."""
    shapes = {}
    for line in lines:
        shapes.setdefault((line["blocks"], line["rows"]), []).append(line)
    result = {}
    for (blocks, rows), group in shapes.items():
        work = next(line["pricing"] for line in group if line["ranks"] == 1)
        longest = 1.5 * work / blocks
        result[blocks, rows] = [
            (
                line["ranks"],
                line["seconds"],
                # The columns of the check are merged, but given to a master after the round.
                model.seconds(line["ranks"], blocks, rows, work, longest),
            )
            for line in group
        ]
    return result


def draw_check(axes, checked):
    for colour, ((blocks, rows), points) in zip(("tab:blue", "tab:orange"), checked.items()):
        ranks, measured, modelled = zip(*points)
        axes.plot(ranks, modelled, color=colour, label=f"model, {blocks:.0f} blocks, {rows:.0f} rows")
        axes.plot(ranks, measured, "o", color=colour, label="measured")
    axes.set(xlabel="ranks", ylabel="seconds of a round", title="Blocks that sleep")
    axes.set(xscale="log", yscale="log")
    axes.set_xticks([1, 2, 4, 8], labels=["1", "2", "4", "8"])
    axes.minorticks_off()


CASES = (
    (1e4, 1e4, 0.01, "10,000 blocks of 10 ms"),
    (1e5, 1e4, 0.01, "100,000 blocks of 10 ms"),
    (1e4, 1e4, 1.0, "10,000 blocks of 1 s"),
    (1e5, 1e5, 0.1, "100,000 blocks of 100 ms, 100,000 rows"),
)
RANKS = numpy.unique(numpy.logspace(1, 4, 61).astype(int))


def draw_model(axes, model):
    print("\nranks at which rank 0 takes as long as pricing, speed-up there, best speed-up at")
    for blocks, rows, seconds, name in CASES:
        work = blocks * seconds
        times = [model.seconds(p, blocks, rows, work, seconds) for p in RANKS]
        parts = [model.parts(p, blocks, rows, work, seconds) for p in RANKS]
        limit = next((k for k, part in enumerate(parts) if sum(part) > 2 * part[1]), None)
        best = int(numpy.argmin(times))
        where = "never up to 10,000"
        if limit is not None:
            where = f"{RANKS[limit]:6d} {work / times[limit]:8.0f}"
        print(f"{name:40s} {where} {work / times[best]:8.0f} {RANKS[best]:6d}")
        (line,) = axes.plot(RANKS, times, label=name)
        axes.plot(RANKS, [work / p for p in RANKS], ":", color=line.get_color(), linewidth=0.8)
        if limit is not None:
            axes.plot(RANKS[limit], times[limit], "o", color=line.get_color())
    axes.set(xscale="log", yscale="log", xlabel="ranks", ylabel="seconds of a round")
    axes.set(title="Model (dotted: pricing alone, dot: rank 0 takes as long)")


def draw_parts(axes, model):
    blocks, rows, seconds, name = CASES[0]
    parts = zip(*(model.parts(p, blocks, rows, blocks * seconds, seconds) for p in RANKS))
    names = ("announcing", "pricing", "receiving", "merging and adding")
    for part, label in zip(parts, names):
        axes.plot(RANKS, part, label=label)
    axes.set(xscale="log", yscale="log", xlabel="ranks", ylabel="seconds", title=f"Parts: {name}")


def main(rounds, checks, picture):
    model = Model(read(rounds))
    print_parameters(model)
    checked = check(model, read(checks))
    print("\nranks  measured     model  measured / model")
    for (blocks, rows), points in checked.items():
        print(f"{blocks:.0f} blocks, {rows:.0f} rows")
        for ranks, measured, modelled in points:
            print(f"{ranks:5.0f} {measured:9.4f} {modelled:9.4f} {measured / modelled:9.3f}")
    figure, axes = plt.subplots(1, 3, figsize=(15, 4.6), layout="constrained")
    draw_check(axes[0], checked)
    draw_model(axes[1], model)
    draw_parts(axes[2], model)
    for one in axes:
        one.grid(alpha=0.3)
        one.legend(fontsize=8)
    figure.savefig(picture, metadata={"Date": None})


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])

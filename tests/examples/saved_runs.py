"""Whether a run of an example goes on from where it was killed or stopped, and writes its history.

    saved_runs.py PROGRAM ARGUMENT...

The arguments are those of a run that ends well after some ten iterations or more.
"""

import csv
import json
import os
import signal
import subprocess
import sys
import tempfile
import time

FIELDS = (
    "iteration lower_bound upper_bound gap columns inner_iterations tolerance rmp_seconds "
    "oracle_seconds"
).split()
COMMAND = sys.argv[1:]


def history(path):
    with open(path, newline="") as stream:
        reader = csv.DictReader(stream)
        lines = [{name: float(text) for name, text in line.items()} for line in reader]
    assert reader.fieldnames == FIELDS, reader.fieldnames
    return lines


def run(*options, status=0):
    """Runs to the end; returns the report."""
    report = os.path.join(folder, "report.json")
    done = subprocess.run(
        [*COMMAND, "--json", report, *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE
    )
    assert done.returncode == status, (options, done.returncode, done.stderr)
    if status == 2:
        assert len(done.stderr.splitlines()) == 1, done.stderr
        return None
    with open(report) as stream:
        return json.load(stream)


def broken_off(number, save, lines):
    """Sends the signal to a run that saves all the time, once it has done so many iterations."""
    path = os.path.join(folder, "history.csv")
    open(path, "w").close()
    process = subprocess.Popen(
        [*COMMAND, "--save", save, "--every", "0", "--history", path], stdout=subprocess.DEVNULL
    )
    while process.poll() is None and sum(1 for _ in open(path)) <= lines:
        time.sleep(0.001)
    process.send_signal(number)
    return process.wait()


def same_bounds(report, other):
    room = 3e-6 * abs(other["upper_bound"])
    return all(abs(report[name] - other[name]) <= room for name in ("lower_bound", "upper_bound"))


with tempfile.TemporaryDirectory() as folder:
    save = os.path.join(folder, "run.master")
    whole = run("--history", os.path.join(folder, "whole.csv"))
    rounds = whole["outer_iterations"]
    lines = history(os.path.join(folder, "whole.csv"))
    assert [line["iteration"] for line in lines] == list(range(1, rounds + 1))
    assert sum(line["inner_iterations"] for line in lines) == whole["inner_iterations"]
    for name in ("lower_bound", "upper_bound", "columns"):
        assert lines[-1][name] == whole[name], (name, lines[-1][name], whole[name])

    for number in (signal.SIGKILL, signal.SIGTERM):
        broken_off(number, save, rounds // 2)
        resumed = run("--resume", save)
        assert same_bounds(resumed, whole), (number, resumed, whole)
        assert resumed["outer_iterations"] < rounds, (number, resumed, whole)

    stopped = run("--save", save, "--time-limit", "0")
    assert stopped["relative_gap"] > 1e-6, stopped
    assert same_bounds(run("--resume", save, "--save", save), whole)
    run("--resume", os.path.join(folder, "whole.csv"), status=2)
    run("--resume", os.path.join(folder, "missing"), status=2)
    run("--save", os.path.join(save, "below a file"), status=2)
    run("--history", os.path.join(save, "below a file"), status=2)

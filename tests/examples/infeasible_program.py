"""Whether dantzig_wolfe says in its report that a program has no solution, however that shows.

    infeasible_program.py DANTZIG_WOLFE
"""

import json
import os
import subprocess
import sys
import tempfile

PROGRAMS = {
    "relaxation": "m: x + y >= 3\n a: x <= 1\n b: y <= 1",
    "block": "m: x + y >= 1\n a: 2 x = 1\n b: y <= 1",
    "search": "m: 2 x + 2 y = 3\n a: x <= 1\n b: y <= 1",
}

with tempfile.TemporaryDirectory() as folder:
    for name, rows in PROGRAMS.items():
        file, report = os.path.join(folder, name + ".lp"), os.path.join(folder, name + ".json")
        with open(file, "w") as stream:
            stream.write(f"Minimize\n c: x + y\nSubject to\n {rows}\nGeneral\n x y\nEnd\n")
        command = [sys.argv[1], "--linking-rows=^m", "--json", report, file]
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        assert done.returncode == 1, (name, done.returncode, done.stdout)
        with open(report) as stream:
            found = json.load(stream)
        assert found["status"] == 5, (name, found)
        assert not found["optimal"] and found["integer_value"] is None, (name, found)

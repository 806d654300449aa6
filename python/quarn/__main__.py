"""The command line: ``python -m quarn report FILE.csv [-o FILE.html]`` draws the page of a run."""

from __future__ import annotations

import argparse
import pathlib
import sys
from typing import List, Optional

from . import __version__, _page
from .history import read_csv


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python -m quarn", description="Tools around quarn.")
    parser.add_argument("--version", action="version", version=f"quarn {__version__}")
    commands = parser.add_subparsers(dest="command", required=True)
    report = commands.add_parser(
        "report",
        help="draw the history of a run as one page",
        description="Draws the history of a run, a CSV file, as one HTML page that needs no "
        "network. The file's first line holds the names of the fields; see quarn.history.",
    )
    report.add_argument("file", type=pathlib.Path, help="the history, a CSV file")
    report.add_argument(
        "-o", "--output", type=pathlib.Path, help="the page [the CSV file's name, with .html]"
    )
    report.add_argument("--title", help="heading of the page [the CSV file's name]")
    return parser


def main(arguments: Optional[List[str]] = None) -> int:
    """Runs the command line; returns 0, or 1 when a file cannot be read or written."""
    options = _parser().parse_args(arguments)
    output = options.output or options.file.with_suffix(".html")
    try:
        if output.resolve() == options.file.resolve():
            raise ValueError(f"{output}: the page would take the place of the history")
        history = read_csv(options.file)
        output.write_text(
            _page.page(history, title=options.title or options.file.name), encoding="utf-8"
        )
    except (OSError, ValueError) as error:
        print(f"python -m quarn report: {error}", file=sys.stderr)
        return 1
    print(f"{output}: {len(history)} rounds")
    return 0


if __name__ == "__main__":
    sys.exit(main())

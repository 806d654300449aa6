"""The pictures of a run: the curves are there, they show the numbers, and nothing is fetched."""

import html.parser
import json
import re
import shutil
import subprocess
import sys

import numpy as np
import pytest

from conftest import make_history
from quarn import _page
from quarn.__main__ import main
from quarn.history import DTYPE, write_csv

CHROMIUM = shutil.which("chromium") or shutil.which("chromium-browser")
CURVES = {
    "bounds": ["upper_bound", "lower_bound"],
    "bounds-time": ["upper_bound", "lower_bound"],
    "gap": ["gap", "tolerance"],
    "columns": ["columns"],
    "inner": ["inner_iterations"],
    "times": ["rmp_seconds", "oracle_seconds"],
}


class Page(html.parser.HTMLParser):
    """Collects the curves of each panel, and all elements."""

    def __init__(self, text):
        super().__init__()
        self.curves, self.elements, self.panel = {}, [], None
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        self.elements.append((tag, attributes))
        if tag == "svg":
            self.panel = self.curves.setdefault(attributes["id"], {})
        elif tag == "path" and "data-series" in attributes:
            self.panel[attributes["data-series"]] = attributes["d"]


def points(path):
    return np.array(re.findall(r"[ML](-?[\d.]+) (-?[\d.]+)", path), dtype=float)


def test_every_panel_has_its_curves_and_they_follow_the_history(history):
    page = Page(_page.page(history))
    assert {key: list(curves) for key, curves in page.curves.items()} == CURVES
    upper = points(page.curves["bounds"]["upper_bound"])
    lower = points(page.curves["bounds"]["lower_bound"])
    assert len(upper) == len(history)
    assert len(lower) == len(history) - 1, "no point stands for a bound that is not there"
    assert np.all(np.diff(upper[:, 0]) > 0) and np.all(np.diff(upper[:, 1]) >= 0)
    # Rounds are equally far apart, and heights are affine in the values.
    assert np.ptp(np.diff(upper[:, 0])) <= 0.21
    both = np.concatenate([history["upper_bound"], history["lower_bound"][1:]])
    heights = np.concatenate([upper[:, 1], lower[:, 1]])
    inside = (heights > 0) & (heights < 250)
    slope, offset = np.polyfit(both[inside], heights[inside], 1)
    assert slope < 0
    assert np.abs(slope * both[inside] + offset - heights[inside]).max() < 0.2


def test_the_page_is_alone_and_names_what_it_shows(history):
    text = _page.page(history, title="a <b> & c", status="optimal")
    page = Page(text)
    for tag, attributes in page.elements:
        assert not attributes.get("src") and tag not in ("img", "iframe", "object")
        assert attributes.get("href", "data:").startswith("data:")
        if tag == "svg":
            assert attributes["role"] == "img" and attributes["aria-label"]
    assert not re.search(r"https?://|@import|url\((?!#)", text)
    assert "a &lt;b&gt; &amp; c" in text and "a <b>" not in text and "optimal" in text
    data = json.loads(re.search(r'<script id="history"[^>]*>(.*?)</script>', text, re.S).group(1))
    assert len(data["rows"]) == len(history)
    assert all(len(row) == len(data["labels"]) for row in data["rows"])


# From 61 rounds on no dot marks a round.
@pytest.mark.parametrize("rounds", [0, 1, 61])
def test_runs_of_every_length_are_drawn(rounds, tmp_path):
    pytest.importorskip("matplotlib").use("agg")
    from matplotlib import pyplot
    from quarn import _figure

    history = make_history(rounds)
    assert set(Page(_page.page(history)).curves) == set(CURVES)
    figure = _figure.figure(history, "run")
    figure.savefig(tmp_path / "run.png", dpi=40)
    pyplot.close(figure)
    assert len(figure.axes) == len(CURVES)
    drawn = figure.axes[0].get_lines()[0].get_ydata()
    assert np.array_equal(drawn, history["upper_bound"])


def test_a_history_without_any_bound_is_drawn():
    history = np.zeros(3, dtype=DTYPE)
    history["lower_bound"], history["upper_bound"] = -np.inf, np.inf
    curves = Page(_page.page(history)).curves
    assert curves["bounds"]["upper_bound"] == "" and curves["bounds"]["lower_bound"] == ""


def test_the_command_draws_a_csv_file_and_names_one_it_cannot(tmp_path, history, capfd):
    def report(*arguments):
        return main(["report", *map(str, arguments)]), capfd.readouterr().err

    write_csv(tmp_path / "run.csv", history)
    command = [sys.executable, "-m", "quarn", "report", str(tmp_path / "run.csv")]
    assert subprocess.run(command, stdout=subprocess.DEVNULL).returncode == 0
    assert report(tmp_path / "run.csv", "-o", tmp_path / "other.html")[0] == 0
    for name in ("run.html", "other.html"):
        assert set(Page((tmp_path / name).read_text(encoding="utf-8")).curves) == set(CURVES)
    for wrong in (tmp_path / "none.csv", tmp_path / "run.html"):
        status, message = report(wrong, "-o", tmp_path / "never.html")
        assert status == 1 and wrong.name in message
        assert message.count("\n") == 1 and not (tmp_path / "never.html").exists()
    status, message = report(tmp_path / "run.csv", "-o", tmp_path / "run.csv")
    assert status == 1 and "run.csv" in message
    command[-1] = str(tmp_path / "none.csv")
    refusal = subprocess.run(command, stderr=subprocess.PIPE, text=True)
    assert refusal.returncode == 1 and refusal.stderr.count("\n") == 1


@pytest.mark.skipif(CHROMIUM is None, reason="no chromium on this machine")
def test_a_browser_shows_the_curves_and_the_numbers_under_the_pointer(tmp_path, history):
    # After the script of the page has run, the pointer is put over the last round and what the
    # browser then holds is printed.
    probe = """<script>
      const chart = document.getElementById("bounds"), box = chart.getBoundingClientRect();
      chart.dispatchEvent(new PointerEvent("pointermove",
        {clientX: box.right - 2, clientY: box.top + 20}));
      for (const path of document.querySelectorAll("path[data-series]"))
        path.setAttribute("data-length", path.getTotalLength());
    </script></body>"""
    text = _page.page(history).replace("</body>", probe)
    (tmp_path / "run.html").write_text(text, encoding="utf-8")
    options = "--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-sync"
    shown = subprocess.run(
        [CHROMIUM, *options.split(), "--disable-background-networking", "--dump-dom"]
        + [f"--user-data-dir={tmp_path / 'profile'}", f"file://{tmp_path / 'run.html'}"],
        capture_output=True,
        text=True,
        timeout=120,
    ).stdout
    lengths = re.findall(r'data-series="(\w+)"[^>]*data-length="([\d.]+)"', shown)
    assert sorted(name for name, _ in lengths) == sorted(sum(CURVES.values(), []))
    assert all(float(length) > 100 for _, length in lengths)
    tip = re.search(r'<div id="tip"[^>]*>(.*?)</div>', shown, re.S)
    assert tip and "hidden" not in tip.group(0)
    assert f"{history['upper_bound'][-1]:.10g}" in tip.group(1)

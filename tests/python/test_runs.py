"""Runs that end early, in the oracle's errors or in others' threads; what of a run outlives it."""

import gc
import json
import os
import signal
import sys
import threading
import time
import traceback
import weakref

import numpy as np
import pytest

import quarn
from masters import build, pricing, random_master
from test_solve import TOLERANCE, check_solution, right_value

SEED = 9


def make(seed=SEED, **options):
    problem = random_master(seed)
    master, rows = build(problem)
    return problem, master, rows, pricing(problem, rows, per_block=1, **options)


def check_goes_on(problem, master, rows, price):
    """After whatever happened a further run comes to the right value."""
    result = master.solve(price, tolerance=TOLERANCE)
    check_solution(problem, rows, result, right_value(problem))


@pytest.mark.parametrize(
    "settings, status",
    [
        (dict(max_iterations=2), quarn.Status.ITERATION_LIMIT),
        (dict(time_limit=0.0), quarn.Status.TIME_LIMIT),
        (dict(interrupt=lambda: True), quarn.Status.STOPPED),
        (dict(on_iteration=lambda entry: entry["iteration"] == 2), quarn.Status.STOPPED),
        (dict(tolerance=0.5, on_iteration=lambda entry: "text"), quarn.Status.OPTIMAL),
    ],
)
def test_a_run_that_ends_early_says_why_and_can_be_continued(settings, status):
    problem, master, rows, price = make()
    result = master.solve(price, **settings)
    assert result.status is status and str(status) in str(result)
    value = right_value(problem)
    assert result.lower_bound <= value + 1e-6 and result.upper_bound >= value - 1e-6
    assert result.iterations <= 2 or status is quarn.Status.OPTIMAL
    assert (master.lower_bound, master.upper_bound) == (result.lower_bound, result.upper_bound)
    check_goes_on(problem, master, rows, price)


def test_on_iteration_sees_the_history_as_it_is_made():
    problem, master, rows, price = make()
    seen = []
    result = master.solve(price, on_iteration=seen.append)
    assert np.array(seen, dtype=result.history.dtype).tobytes() == result.history.tobytes()


class Surprise(Exception):
    pass


def test_an_error_of_the_stream_comes_out(monkeypatch):
    class Broken:
        def write(self, text):
            raise Surprise(text)

    problem, master, rows, price = make()
    monkeypatch.setattr(sys, "stdout", Broken())
    with pytest.raises(Surprise, match="iteration"):
        master.solve(price, progress=True)


@pytest.mark.parametrize("where", ["price", "on_iteration", "interrupt"])
def test_errors_of_callbacks_come_out_as_they_are_with_their_traceback(where):
    problem, master, rows, price = make()
    thrown, calls = Surprise("ours"), []

    def at_fault(*arguments):
        calls.append(arguments)
        if len(calls) == 3:
            raise thrown
        return price(*arguments) if where == "price" else False

    settings = {} if where == "price" else {where: at_fault}
    with pytest.raises(Surprise) as caught:
        master.solve(at_fault if where == "price" else price, **settings)
    assert caught.value is thrown
    frames = [frame.name for frame in traceback.extract_tb(thrown.__traceback__)]
    assert frames[-1] == "at_fault" and "solve" in frames
    check_goes_on(problem, master, rows, price)


@pytest.mark.parametrize("inside", [True, False])
def test_ctrl_c_ends_the_run_and_leaves_the_master_usable(inside):
    problem, master, rows, price = make()
    calls, returning, pressed = [], threading.Event(), threading.Event()

    def press():
        os.kill(os.getpid(), signal.SIGINT)
        pressed.set()

    def interrupted(duals, columns):
        calls.append(None)
        if len(calls) == 4:
            assert pressed.wait(60)
        answer = price(duals, columns)
        if len(calls) == 3:
            # The finger comes to its turn when the solver has given the lock away.
            press() if inside else returning.set()
        return answer

    finger = threading.Thread(target=lambda: None if inside else returning.wait(60) and press())
    finger.start()
    with pytest.raises(KeyboardInterrupt):
        master.solve(interrupted, tolerance=TOLERANCE)
    finger.join()
    assert len(calls) <= 4
    assert np.isfinite(master.upper_bound) and np.isfinite(master.lower_bound)
    check_goes_on(problem, master, rows, price)


def test_other_threads_run_while_the_solver_works():
    master = quarn.Master()
    row = master.add_row(">=", 1.0)
    ticks, done, seen = [0], threading.Event(), []

    def tick():
        while not done.is_set():
            ticks[0] += 1
            done.wait(0.0001)

    def watched(duals, columns):
        # Nothing here gives the lock away, as a function of numpy may; between the last line and
        # the next call the other thread comes to its turn only if the solver lets it.
        seen.append(ticks[0])
        columns.add(1.0 + 1.0 / (1.0 + duals.iteration), {row: 1.0})
        seen.append(ticks[0])
        return quarn.Answer.heuristic()

    def ticked_between_oracle_calls():
        seen.clear()
        master.solve(watched, max_iterations=20)
        return any(after > before for before, after in zip(seen[1:-1:2], seen[2::2]))

    interval, ticker = sys.getswitchinterval(), threading.Thread(target=tick)
    sys.setswitchinterval(1000.0)
    ticker.start()
    # A restricted master can be over before the other thread has woken up, so they are repeated; if
    # the lock were held no repetition would help.
    deadline = time.monotonic() + 20.0
    try:
        while not (ticked := ticked_between_oracle_calls()) and time.monotonic() < deadline:
            pass
    finally:
        done.set()
        sys.setswitchinterval(interval)
        ticker.join()
    assert ticked


def test_two_masters_are_solved_side_by_side():
    meeting = threading.Barrier(2, timeout=60)
    outcomes = {}

    def run(seed):
        problem, master, rows, price = make(seed)
        rounds = []

        def meet(duals, columns):
            rounds.append(None)
            # In the first rounds each waits for the other to be in its oracle, too.
            if len(rounds) <= 2:
                meeting.wait()
            return price(duals, columns)

        result = master.solve(meet, tolerance=TOLERANCE)
        outcomes[seed] = (problem, rows, result)

    threads = [threading.Thread(target=run, args=(seed,)) for seed in (SEED, SEED + 1)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(outcomes) == 2
    for problem, rows, result in outcomes.values():
        check_solution(problem, rows, result, right_value(problem))


def test_a_master_that_is_being_solved_is_refused_to_others():
    problem, master, rows, price = make()
    refusals = []

    def use():
        for act in (lambda: master.add_row(">=", 0.0), lambda: master.solve(price)):
            try:
                act()
            except quarn.Mistake as refusal:
                refusals.append(str(refusal))

    def nosy(duals, columns):
        if len(refusals) == 0:
            thread = threading.Thread(target=use)
            thread.start()
            thread.join()
            with pytest.raises(quarn.Mistake, match="being solved"):
                master.solve(price)
        return price(duals, columns)

    master.solve(nosy)
    assert len(refusals) == 2 and all("another thread" in refusal for refusal in refusals)
    assert len(master.rows) == len(rows)


def test_rounding_finds_an_integer_solution():
    master = quarn.Master()
    rows = [master.add_row(">=", 1.0) for _ in range(3)]
    for i in range(3):
        master.add_column(1.0, {rows[i]: 1.0, rows[i - 1]: 1.0}, data=i)
    result = master.solve(lambda duals, columns: quarn.Answer(bound=1.5), rounding=True)
    assert result.upper_bound == pytest.approx(1.5, rel=1e-5)
    assert result.integer_value == pytest.approx(2.0) and len(result.integer_values) == 2
    assert {column.data for column, _ in result.integer_values} < {0, 1, 2}


def test_the_settings_of_a_run_serve_another_one(tmp_path):
    problem, master, rows, price = make()
    given = dict(tolerance=1e-4, strategy="centred", max_columns=500, max_iterations=7,
                 rounding=True, blas_threads=2)
    master.solve(price, save_file=tmp_path / "a", **given)
    assert given.items() <= master.settings.items()
    assert quarn.Master.load(tmp_path / "a").settings == master.settings
    master.solve(price, **master.settings)


class Thing:
    pass


def test_handles_and_results_outlive_the_name_of_their_master():
    problem, master, rows, price = make()
    result = master.solve(price)
    column, value = result.values[0]
    expected = (column.entries, column.data, column.cost)
    row, duals = rows[0], result.duals
    name = row.name
    del master, result, price, rows
    gc.collect()
    assert (column.entries, column.data, column.cost) == expected
    assert row.name == name and duals[row] == duals.values[0]


def test_cycles_of_master_oracle_and_data_are_collected():
    thing = Thing()
    gone = weakref.ref(thing)
    master = quarn.Master()
    row = master.add_row(">=", 1.0, dual_bounds=(0.0, 1.0))
    thing.master = master
    thing.column = master.add_column(1.0, {row: 1.0}, data=thing)

    def price(duals, columns):
        columns.add(2.0, {row: 1.0}, data=[master, thing, price])
        return quarn.Answer(bound=duals[row])

    thing.price = price
    thing.result = master.solve(price)
    del master, row, price, thing
    gc.collect()
    assert gone() is None


def test_a_copy_is_a_master_of_its_own_that_knows_the_handles():
    problem, master, rows, price = make()
    result = master.solve(price, tolerance=TOLERANCE)
    twin = master.copy()
    column = max(result.values, key=lambda pair: pair[1])[0]
    twin.set_range(rows[0], -1e6, 1e6)
    twin.remove_column(column)
    assert column in master and column not in twin
    assert len(twin.columns) == len(master.columns) - 1
    assert twin.columns[-1].data == master.columns[-1].data
    late = twin.add_row(">=", 0.0)
    with pytest.raises(quarn.Mistake):
        master.range(late)
    check_goes_on(problem, master, rows, price)


def test_a_saved_master_is_loaded_with_its_columns_and_their_data(tmp_path):
    problem, master, rows, price = make()
    master.solve(price, max_iterations=4, save_file=tmp_path / "a", save_data=json.dumps)
    master.save(tmp_path / "b", data=json.dumps)
    for name in ("a", "b"):
        loaded = quarn.Master.load(tmp_path / name, data=json.loads)
        assert loaded.sense == master.sense and len(loaded.rows) == len(rows)
        assert [c.data for c in loaded.columns] == [c.data for c in master.columns]
        assert (loaded.lower_bound, loaded.upper_bound) == (master.lower_bound, master.upper_bound)
        check_goes_on(problem, loaded, loaded.rows, pricing(problem, loaded.rows))
    assert quarn.Master.load(tmp_path / "b").columns[0].data is None
    (tmp_path / "c").write_bytes((tmp_path / "b").read_bytes()[:-9])
    for wrong in ("c", "none"):
        with pytest.raises(quarn.FileError, match=wrong) as refusal:
            quarn.Master.load(tmp_path / wrong)
        assert isinstance(refusal.value, OSError)
    master.write_mps(tmp_path / "rmp.mps")
    assert "ROWS" in (tmp_path / "rmp.mps").read_text()
    with pytest.raises(quarn.FileError, match="no_folder"):
        master.write_mps(tmp_path / "no_folder" / "rmp.mps")


@pytest.mark.filterwarnings("ignore::pytest.PytestUnraisableExceptionWarning")
def test_nothing_is_printed_unless_it_is_asked_for(capfd):
    problem, master, rows, price = make()
    log = []
    result = master.solve(price, log=log.append, verbosity=1)
    quiet = capfd.readouterr()
    assert (quiet.out, quiet.err) == ("", "") and "".join(log)
    master.forget_bounds()
    result = master.solve(price, progress=True)
    sys.stdout.flush()
    table = capfd.readouterr().out.splitlines()
    assert len(table) >= result.iterations
    assert str(result.iterations) in table[-1] or str(result.iterations) in table[-2]
    # The library underneath cannot take an error of the log; the run goes on.
    assert master.solve(price, log=lambda text: 1 / 0, verbosity=1).status is quarn.Status.OPTIMAL


def test_the_pictures_of_a_result_are_drawn(tmp_path):
    problem, master, rows, price = make()
    result = master.solve(price)
    result.to_html(tmp_path / "run.html", title="Ours & theirs")
    text = (tmp_path / "run.html").read_text(encoding="utf-8")
    assert "Ours &amp; theirs" in text and "optimal" in text
    pytest.importorskip("matplotlib").use("agg")
    assert len(result.plot().axes) == 6

"""Each mistake is refused with a sentence that names the culprit, and the master stays usable."""

import pathlib
import re

import numpy as np
import pytest

import quarn

NAN = float("nan")


class Shop:
    """A small master with everything a mistake can be about; its value is 12.5."""

    def __init__(self):
        self.master = quarn.Master(sense="min")
        self.three = self.master.add_row(">=", 20.0, name="threes", dual_bounds=(0.0, 1.0))
        self.four = self.master.add_row(">=", 15.0, name="fours", dual_bounds=(0.0, 1.0))
        self.first = self.master.add_column(1.0, {self.three: 3.0}, data="first")
        self.stranger = quarn.Master().add_row(">=", 1.0, name="stranger")

    def price(self, duals, columns, then=None):
        patterns = [{self.three: a, self.four: (10 - 3 * a) // 4} for a in range(4)]
        worth = [sum(duals[row] * a for row, a in pattern.items()) for pattern in patterns]
        best = max(worth)
        columns.add(1.0, patterns[worth.index(best)])
        if then is not None:
            return then(columns)
        return quarn.Answer(bound=(20 * duals[self.three] + 15 * duals[self.four]) / max(1, best))

    def run(self, then=None):
        return self.master.solve(lambda duals, columns: self.price(duals, columns, then))


def many(costs=(1.0, 2.0), starts=(0, 1, 2), rows=(0, 1), values=(1.0, 1.0), data=None):
    return lambda shop: shop.run(
        lambda columns: columns.add_many(costs, starts, rows, values, data)
    )


def answer(make):
    return lambda shop: shop.run(lambda columns: make(shop))


CASES = {
    "sense of master": (lambda s: quarn.Master("most"), ValueError, "'most'"),
    "sense of row": (lambda s: s.master.add_row("=>", 1.0), ValueError, "'=>'"),
    "name twice": (lambda s: s.master.add_row(">=", 1.0, name="threes"), ValueError, "threes"),
    "rhs nan": (lambda s: s.master.add_row(">=", NAN, name="late"), ValueError, "late"),
    "rhs text": (lambda s: s.master.add_row(">=", "much"), TypeError, "'much'"),
    "range below 0": (
        lambda s: s.master.add_row(">=", 1.0, name="late", range=-1.0),
        ValueError,
        "late",
    ),
    "range of ==": (
        lambda s: s.master.add_row("==", 1.0, name="late", range=1.0),
        ValueError,
        "late",
    ),
    "dual bounds cross": (
        lambda s: s.master.add_row(">=", 1.0, name="late", dual_bounds=(2.0, 1.0)),
        ValueError,
        "late",
    ),
    "dual bounds no pair": (
        lambda s: s.master.add_row(">=", 1.0, dual_bounds=3.0),
        TypeError,
        "dual_bounds",
    ),
    "wrong handle": (lambda s: s.master.add_column(1.0, {"threes": 1.0}), TypeError, "'threes'"),
    "entries no dict": (lambda s: s.master.add_column(1.0, [1.0]), TypeError, "entries"),
    "other master": (lambda s: s.master.add_column(1.0, {s.stranger: 1}), ValueError, "stranger"),
    "dual of stranger": (
        lambda s: s.master.solve(lambda duals, columns: duals[s.stranger]),
        ValueError,
        "stranger",
    ),
    "dual of text": (
        lambda s: s.master.solve(lambda duals, columns: duals["threes"]),
        TypeError,
        "'threes' is no row",
    ),
    "reduced cost of a list": (
        lambda s: s.master.solve(lambda duals, columns: duals.reduced_cost(1.0, [s.three])),
        TypeError,
        "entries",
    ),
    "removal of text": (lambda s: s.master.remove_row("threes"), TypeError, "'threes' is no row"),
    "rhs of a number": (lambda s: s.master.set_rhs(0, 1.0), TypeError, "0 is no row"),
    "range of a number": (lambda s: s.master.range(0), TypeError, "0 is no row"),
    "cost nan": (lambda s: s.master.add_column(NAN, {s.three: 1.0}), ValueError, "cost"),
    "entry nan": (lambda s: s.master.add_column(1.0, {s.three: NAN}), ValueError, "threes"),
    "entry text": (lambda s: s.master.add_column(1.0, {s.three: "a"}), TypeError, "threes"),
    "column twice": (lambda s: s.master.add_column(1.0, {s.three: 3.0}), ValueError, "column 0"),
    "no column": (lambda s: s.master.remove_column(s.three), TypeError, "threes"),
    "no oracle": (lambda s: s.master.solve(None), TypeError, "None"),
    "tolerance": (lambda s: s.master.solve(s.price, tolerance=-1.0), ValueError, "tolerance"),
    "strategy": (lambda s: s.master.solve(s.price, strategy="best"), ValueError, "'best'"),
    "max_iterations": (
        lambda s: s.master.solve(s.price, max_iterations=-3),
        ValueError,
        "max_iterations",
    ),
    "half an iteration": (
        lambda s: s.master.solve(s.price, max_iterations=2.5),
        ValueError,
        "whole number",
    ),
    "half a thread": (
        lambda s: s.master.solve(s.price, blas_threads=1.5),
        ValueError,
        "blas_threads has to be a whole number",
    ),
    "returns nothing": (answer(lambda s: None), TypeError, "returned None"),
    "returns a number": (answer(lambda s: 12.5), TypeError, "12.5"),
    "answer empty": (answer(lambda s: quarn.Answer()), TypeError, "bound"),
    "answer of text": (answer(lambda s: quarn.Answer(bound="a")), TypeError, "'a'"),
    "answer nan": (answer(lambda s: quarn.Answer(bound=NAN)), ValueError, "bound"),
    "bound too good": (answer(lambda s: quarn.Answer(bound=1e4)), ValueError, "10000"),
    "no block": (
        answer(lambda s: quarn.Answer(best_reduced_costs={s.three: 0.0})),
        ValueError,
        "threes",
    ),
    "lengths": (many(rows=(0, 1, 1)), ValueError, "rows and values.*3 and 2"),
    "last start": (many(starts=(0, 1, 3)), ValueError, "start"),
    "falling start": (many(starts=(0, 2, 1, 2), costs=(1.0, 1.0, 1.0)), ValueError, "start"),
    "number of starts": (many(starts=(0,)), ValueError, "starts"),
    "row out of range": (many(rows=(0, 7)), ValueError, "7"),
    "row beyond 32 bits": (many(rows=(0, 2**32)), ValueError, "row"),
    "rows of fractions": (many(rows=(0.0, 0.5)), TypeError, "rows"),
    "value nan": (many(values=(1.0, NAN)), ValueError, "column 1|fours"),
    "values of text": (many(values=("a", "b")), TypeError, "values"),
    "two dimensions": (many(costs=np.ones((2, 1))), ValueError, "costs"),
    "data": (many(data=["one"]), ValueError, "data"),
}


@pytest.mark.parametrize("name", CASES)
def test_a_mistake_names_its_culprit_and_changes_nothing(name):
    act, kind, named = CASES[name]
    shop = Shop()
    with pytest.raises(kind, match=named) as refusal:
        act(shop)
    assert len(str(refusal.value).splitlines()) == 1
    assert issubclass(refusal.type, quarn.Mistake) or kind is TypeError
    assert [row.name for row in shop.master.rows] == ["threes", "fours"]
    result = shop.run()
    assert result.status is quarn.Status.OPTIMAL
    assert result.upper_bound == pytest.approx(12.5, rel=1e-5)


def forgetful(duals, columns):
    pass


class Example:
    """The master that the page on mistakes speaks of."""

    def __init__(self):
        self.master = quarn.Master()
        self.demand = self.master.add_row(">=", 4.0, name="demand")
        self.block = self.master.add_row("<=", 10.0, name="block", block=True)
        self.gone = self.master.add_row("<=", 1.0, name="gone")
        self.master.remove_row(self.gone)
        self.master.add_column(1.0, {self.demand: 1.0, self.block: 1.0})
        self.foreign = quarn.Master().add_row(">=", 1.0, name="foreign")

    def answered(self, answer):
        return self.master.solve(lambda duals, columns: answer)


#: What the page quotes, where ~ stands for a number that shows the solver's last digits.
QUOTED = {
    "entries are {row: value}, and 'demand' is no row": lambda e: e.master.add_column(
        1.0, {"demand": 1.0}
    ),
    "new column 1: row 'foreign' is of another master": lambda e: e.master.add_column(
        1.0, {e.foreign: 1.0}
    ),
    "new column 1: row 'gone' was removed": lambda e: e.master.add_column(1.0, {e.gone: 1.0}),
    "new column 1: the entry in row 'demand' is nan": lambda e: e.master.add_column(
        1.0, {e.demand: NAN}
    ),
    "column 0 of the batch: there is no row 9": lambda e: e.master.add_columns(
        [1.0], [0], [9], [2.0]
    ),
    "new column 1 is the same as column 0, of cost 1, which is there already": (
        lambda e: e.master.add_column(1.0, {e.demand: 1.0, e.block: 1.0})
    ),
    "the oracle has to be a function, not None": lambda e: e.master.solve(None),
    "the oracle forgetful returned None; it has to return a quarn.Answer, Answer.heuristic() if "
    "nothing is proved": lambda e: e.master.solve(forgetful),
    "iteration 1: the oracle's bound is not a number": lambda e: e.answered(
        quarn.Answer(bound=NAN)
    ),
    "iteration ~: the oracle's bound 7 contradicts the value ~ that the columns reach": (
        lambda e: e.answered(quarn.Answer(bound=7.0))
    ),
    "the oracle's best reduced costs lack row 'block'": lambda e: e.answered(
        quarn.Answer(best_reduced_costs={})
    ),
    "new row 'demand': there is a row of this name already": lambda e: e.master.add_row(
        "==", 1.0, name="demand"
    ),
}


@pytest.mark.parametrize("sentence", QUOTED)
def test_mistakes_are_said_as_the_page_quotes_them(sentence):
    number = "[-+.0-9e]+"
    pattern = number.join(map(re.escape, sentence.split("~")))
    page = pathlib.Path(__file__).resolve().parents[2] / "docs" / "mistakes.md"
    assert re.search(f"`{pattern}`", page.read_text(encoding="utf-8"))
    with pytest.raises((quarn.Mistake, TypeError), match=f"^{pattern}$"):
        QUOTED[sentence](Example())


def test_columns_are_not_taken_once_the_oracle_has_returned():
    shop, kept = Shop(), []
    shop.run(lambda columns: kept.append(columns) or quarn.Answer(bound=12.5))
    with pytest.raises(quarn.Mistake, match="oracle"):
        kept[0].add(1.0, {shop.three: 1.0})


def test_an_infeasible_master_names_the_rows_that_cannot_be_met():
    shop = Shop()
    hopeless = shop.master.add_row(">=", 5.0, name="hopeless")
    result = shop.run(lambda columns: quarn.Answer.heuristic())
    assert result.status is quarn.Status.INFEASIBLE
    assert [row for row, missed in result.unmet_rows] == [hopeless]
    assert result.unmet_rows[0][1] == pytest.approx(5.0, rel=1e-3)
    assert result.certificate[hopeless.index] == pytest.approx(1.0, rel=1e-3)
    assert "hopeless" in result.message
    # The other rows can be met, so that without this one all is well.
    shop.master.remove_row(hopeless)
    assert shop.run().upper_bound == pytest.approx(12.5, rel=1e-5)

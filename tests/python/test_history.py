"""Histories as CSV files: what is written is read back, what is no history is refused by name."""

import numpy as np
import pytest

from conftest import make_history
from quarn import history as histories


@pytest.mark.parametrize("rounds", [0, 1, 40])
def test_a_written_history_reads_back_bit_for_bit(tmp_path, rounds):
    written = make_history(rounds, seed=rounds)
    histories.write_csv(tmp_path / "run.csv", written)
    read = histories.read_csv(tmp_path / "run.csv")
    assert read.dtype == histories.DTYPE
    assert read.tobytes() == written.tobytes()


def test_fields_in_any_order_further_fields_and_missing_bounds_are_understood(tmp_path):
    names = list(reversed(histories.FIELDS)) + ["remark"]
    values = dict.fromkeys(histories.FIELDS, "7")
    values.update(lower_bound="-1e30", upper_bound=" inf", remark="first, odd")
    line = ",".join(f'"{values[name]}"' for name in names)
    (tmp_path / "run.csv").write_text(",".join(names) + "\r\n" + line + "\r\n\r\n")
    (entry,) = histories.read_csv(tmp_path / "run.csv")
    assert (entry["lower_bound"], entry["upper_bound"]) == (-np.inf, np.inf)
    assert (entry["columns"], entry["rmp_seconds"]) == (7, 7.0)


HEADER = ",".join(histories.FIELDS)


@pytest.mark.parametrize(
    "text, named",
    [
        ("", "iteration"),
        (HEADER.replace("gap", "gip") + "\n", "no field gap"),
        (HEADER + "\n1,2,3,4,5,6,7,8,9\n1,2,3,x,5,6,7,8,9\n", "line 3: 'x' is no value for gap"),
        (HEADER + "\n1,nan,3,4,5,6,7,8,9\n", "line 2: 'nan' is no value for lower_bound"),
        (HEADER + "\n1,2,3,4,inf,6,7,8,9\n", "line 2: 'inf' is no value for columns"),
        (HEADER + "\n1,2,3\n", "line 2: '' is no value for gap"),
    ],
)
def test_what_is_no_history_is_refused_with_its_place(tmp_path, text, named):
    (tmp_path / "run.csv").write_text(text)
    with pytest.raises(ValueError, match=named) as refusal:
        histories.read_csv(tmp_path / "run.csv")
    assert "run.csv" in str(refusal.value)


def test_a_binary_file_is_refused_by_name(tmp_path):
    (tmp_path / "run.csv").write_bytes(b"\x89PNG\r\n\x1a\n\xff\x00")
    with pytest.raises(ValueError, match="run.csv"):
        histories.read_csv(tmp_path / "run.csv")

#include "interior_point/form/form_builder.h"

#include <algorithm>
#include <cmath>

#include "interior_point/form/fingerprint.h"
#include "interior_point/form/huge_bounds.h"
#include "interior_point/form/scaling.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

constexpr double kUnbounded = 1e30;          // bounds and ranges of this size mean: none
constexpr double kCrossedBounds = 1e-9;      // relative; bounds that cross by less are one value
constexpr double kEmptyRowTolerance = 1e-9;  // relative to 1 + |b_i|
constexpr double kRounding = 4e-15;          // of a sum, relative to its terms

/// One column of the caller's with equal row indices summed: the entries of A from `first` to
/// before `last`.
struct GatheredColumn {
  int32_t first = 0;
  int32_t last = 0;
  double cost = 0.0;
  uint64_t fingerprint = 0;  ///< whatever the order of the entries
};

/// Where a row was last met: the caller's column, and the position in A.
struct LastMet {
  int32_t column = -1;
  int32_t at = 0;
};

class FormBuilder {
 public:
  explicit FormBuilder(const LoadedArrays &loaded)
      : loaded_(loaded),
        form_row_(static_cast<size_t>(std::max(loaded.rows, 1)), -1),
        met_(form_row_.size()) {}

  ProblemForm build();

 private:
  void reserve();
  void number_rows();
  GatheredColumn gather(int32_t j);
  void drop_zeros(GatheredColumn *column);
  void place(int32_t j, const GatheredColumn &column);
  void add_column(int32_t j, const GatheredColumn &column, double lower, double upper);
  void take_out(int32_t j, const GatheredColumn &column, double value);
  void shift_row(int32_t i, double part);
  void clear_rounded_rhs();
  bool value_without_entries(double cost, double lower, double upper, double *value);
  void drop_empty_rows();
  void check_empty_row(int32_t i);
  void add_slacks();
  void add_slack(int32_t i, double entry, double width);

  const LoadedArrays &loaded_;
  Vector<int32_t> form_row_;      // per caller's row: its row in the form, or -1
  Vector<LastMet> met_;           // per row of the form
  Vector<double> rhs_magnitude_;  // per row of the form: the magnitudes that b_i is the sum of
  ProblemForm form_;
};

void FormBuilder::reserve() {
  const size_t rows = static_cast<size_t>(loaded_.rows);
  const size_t columns = static_cast<size_t>(loaded_.columns);
  const size_t entries = static_cast<size_t>(loaded_.col_start[loaded_.columns]) + rows;
  form_.A.start.reserve(columns + rows + 1);
  form_.A.row.reserve(roomy(entries));
  form_.A.value.reserve(roomy(entries));
  form_.A.row.resize(entries);  // for as many as there may be
  form_.A.value.resize(entries);
  form_.c.reserve(columns + rows);
  form_.is_free.reserve(columns + rows);
  form_.width.reserve(columns + rows);
  form_.user_column.reserve(columns);
  form_.shift.reserve(columns);
  form_.sign.reserve(columns);
  form_.fingerprint.reserve(columns);
}

/// Rows whose type code is none of the three constrain nothing and are left out.
void FormBuilder::number_rows() {
  const int32_t rows = loaded_.rows - 1;
  for (int32_t i = 0; i < rows; ++i) {
    const int32_t type = loaded_.row_type[i];
    if (type != kEqual && type != kGreaterEqual && type != kLessEqual) continue;
    form_row_[i] = static_cast<int32_t>(form_.user_row.size());
    form_.user_row.push_back(i);
    form_.row_type.push_back(type);
    form_.b.push_back(loaded_.rhs[i]);
    rhs_magnitude_.push_back(std::fabs(loaded_.rhs[i]));
  }
  form_.A.rows = static_cast<int32_t>(form_.user_row.size());
}

GatheredColumn FormBuilder::gather(int32_t j) {
  GatheredColumn out;
  out.first = out.last = form_.A.start.back();
  const int32_t cost_row = loaded_.rows - 1;
  int32_t *row = form_.A.row.data();
  double *value = form_.A.value.data();
  for (int32_t t = loaded_.col_start[j] - 1; t < loaded_.col_start[j + 1] - 1; ++t) {
    const int32_t user_row = loaded_.rw[t] - 1;
    if (user_row == cost_row) {
      out.cost += loaded_.elt[t];
      continue;
    }
    // A sum, whose terms need not wait for each other.
    out.fingerprint += mix(static_cast<uint64_t>(user_row), bits_of(loaded_.elt[t]));
    const int32_t i = form_row_[user_row];
    if (i < 0) continue;
    LastMet &met = met_[i];
    if (met.column == j) {
      value[met.at] += loaded_.elt[t];
      continue;
    }
    met = {j, out.last};
    row[out.last] = i;
    value[out.last++] = loaded_.elt[t];
  }
  drop_zeros(&out);
  return out;
}

void FormBuilder::drop_zeros(GatheredColumn *column) {
  const double *value = form_.A.value.data();
  if (std::find(value + column->first, value + column->last, 0.0) == value + column->last) return;
  int32_t kept = column->first;
  for (int32_t t = column->first; t < column->last; ++t) {
    if (value[t] == 0.0) continue;
    form_.A.row[kept] = form_.A.row[t];
    form_.A.value[kept++] = value[t];
  }
  column->last = kept;
}

void FormBuilder::place(int32_t j, const GatheredColumn &column) {
  const double lower = loaded_.col_lb[j] <= -kUnbounded ? -kInfinity : loaded_.col_lb[j];
  const double upper = loaded_.col_ub[j] >= kUnbounded ? kInfinity : loaded_.col_ub[j];
  if (lower > upper + kCrossedBounds * (1.0 + std::fabs(upper))) {
    form_.verdict = Verdict::kInfeasible;
  }
  double value = 0.0;
  if (lower >= upper) {
    take_out(j, column, std::isfinite(lower) ? lower : 0.0);
  } else if (column.first == column.last) {
    if (!value_without_entries(column.cost, lower, upper, &value) &&
        form_.verdict == Verdict::kOpen) {
      form_.verdict = Verdict::kUnbounded;
      form_.unbounded_column = {j, column.cost < 0.0 ? 1.0 : -1.0};
    }
    take_out(j, column, value);
  } else {
    add_column(j, column, lower, upper);
  }
}

/// The best value of a column that no row holds; false when it runs off to infinity.
bool FormBuilder::value_without_entries(double cost, double lower, double upper, double *value) {
  *value = std::min(std::max(0.0, lower), upper);
  const double best = cost > 0.0 ? lower : cost < 0.0 ? upper : *value;
  if (!std::isfinite(best)) return false;
  *value = best;
  return true;
}

void FormBuilder::shift_row(int32_t i, double part) {
  form_.b[i] -= part;
  rhs_magnitude_[i] += std::fabs(part);
}

/// What rounding left of a right-hand side is none: where all of them are 0, no cost is smaller
/// than what it would have the duals chase.
void FormBuilder::clear_rounded_rhs() {
  for (size_t i = 0; i < rhs_magnitude_.size(); ++i) {
    if (std::fabs(form_.b[i]) <= kRounding * rhs_magnitude_[i]) form_.b[i] = 0.0;
  }
}

void FormBuilder::take_out(int32_t j, const GatheredColumn &column, double value) {
  for (int32_t t = column.first; t < column.last; ++t) {
    shift_row(form_.A.row[t], form_.A.value[t] * value);
    form_.removed.row.push_back(form_.A.row[t]);
    form_.removed.value.push_back(form_.A.value[t]);
  }
  form_.removed.start.push_back(static_cast<int32_t>(form_.removed.row.size()));
  form_.removed_user.push_back(j);
  form_.removed_value.push_back(value);
  form_.removed_cost.push_back(column.cost);
  form_.objective_constant += column.cost * value;
}

void FormBuilder::add_column(int32_t j, const GatheredColumn &column, double lower, double upper) {
  const bool hugely_below = lower <= -kHugeBound;
  const bool free = hugely_below && upper >= kHugeBound;
  if (free && (std::isfinite(lower) || std::isfinite(upper))) {
    form_.huge_bounds.push_back({static_cast<int32_t>(form_.user_column.size()), lower, upper});
  }
  const bool reflected = hugely_below && !free;
  const double shift = free ? 0.0 : reflected ? upper : lower;
  const double sign = reflected ? -1.0 : 1.0;
  for (int32_t t = column.first; shift != 0.0 && t < column.last; ++t) {
    shift_row(form_.A.row[t], form_.A.value[t] * shift);
  }
  for (int32_t t = column.first; reflected && t < column.last; ++t) form_.A.value[t] *= sign;
  form_.A.start.push_back(column.last);
  form_.user_column.push_back(j);
  form_.shift.push_back(shift);
  form_.sign.push_back(sign);
  form_.fingerprint.push_back(mix(column.fingerprint, bits_of(sign)));
  form_.c.push_back(sign * column.cost);
  form_.is_free.push_back(free);
  form_.width.push_back(free ? kInfinity : upper - lower);
  form_.objective_constant += column.cost * shift;
}

/// A row without entries asks for b_i to be 0, at most 0 or at least 0.
void FormBuilder::check_empty_row(int32_t i) {
  const double range = std::fabs(loaded_.row_range[form_.user_row[i]]);
  const double room = kEmptyRowTolerance * (1.0 + std::fabs(loaded_.rhs[form_.user_row[i]]));
  double low = form_.b[i];
  double high = form_.b[i];
  const bool ranged = range < kUnbounded;
  if (form_.row_type[i] == kGreaterEqual) high = ranged ? low + range : kInfinity;
  if (form_.row_type[i] == kLessEqual) low = ranged ? high - range : -kInfinity;
  if (form_.row_type[i] == kEqual && ranged) {
    const double signed_range = loaded_.row_range[form_.user_row[i]];
    low += std::min(signed_range, 0.0);
    high += std::max(signed_range, 0.0);
  }
  if (low <= room && high >= -room) return;
  form_.verdict = Verdict::kInfeasible;
  form_.contradictory_row = {form_.user_row[i], low > room ? 1.0 : -1.0};
}

void FormBuilder::drop_empty_rows() {
  Vector<int32_t> count(form_.user_row.size(), 0);
  for (const int32_t i : form_.A.row) ++count[i];
  Vector<int32_t> renumbered(count.size(), -1);
  int32_t remaining = 0;
  for (int32_t i = 0; i < form_.A.rows; ++i) {
    if (count[i] == 0) {
      check_empty_row(i);
      continue;
    }
    renumbered[i] = remaining;
    form_.user_row[remaining] = form_.user_row[i];
    form_.row_type[remaining] = form_.row_type[i];
    form_.b[remaining] = form_.b[i];
    ++remaining;
  }
  if (remaining == form_.A.rows) return;
  form_.user_row.resize(static_cast<size_t>(remaining));
  form_.row_type.resize(static_cast<size_t>(remaining));
  form_.b.resize(static_cast<size_t>(remaining));
  form_.A.rows = remaining;
  for (int32_t &i : form_.A.row) i = renumbered[i];
  for (int32_t &i : form_.removed.row) i = renumbered[i];
}

void FormBuilder::add_slack(int32_t i, double entry, double width) {
  form_.A.row.push_back(i);
  form_.A.value.push_back(entry);
  form_.A.start.push_back(static_cast<int32_t>(form_.A.row.size()));
  form_.c.push_back(0.0);
  form_.is_free.push_back(0);
  form_.width.push_back(width);
  form_.slack_row.push_back(i);
}

/// a'x - s = b for >=, a'x + s = b for <=, with s in [0, range]. The dual of a row that is bounded
/// on both sides may have either sign, so such a row counts as an equality from here on.
void FormBuilder::add_slacks() {
  form_.structurals = form_.A.columns();
  for (int32_t i = 0; i < form_.A.rows; ++i) {
    const double range = loaded_.row_range[form_.user_row[i]];
    const bool ranged = std::fabs(range) < kUnbounded;
    const int32_t type = form_.row_type[i];
    if (ranged) form_.row_type[i] = kEqual;
    if ((ranged && range == 0.0) || (type == kEqual && !ranged)) continue;
    const bool from_below = type == kGreaterEqual || (type == kEqual && range > 0.0);
    add_slack(i, from_below ? -1.0 : 1.0, ranged ? std::fabs(range) : kInfinity);
  }
}

ProblemForm FormBuilder::build() {
  form_.user_rows = loaded_.rows;
  form_.user_columns = loaded_.columns;
  if (loaded_.columns > 0) reserve();
  number_rows();
  for (int32_t j = 0; j < loaded_.columns; ++j) place(j, gather(j));
  form_.A.row.resize(static_cast<size_t>(form_.A.start.back()));
  form_.A.value.resize(form_.A.row.size());
  clear_rounded_rhs();
  drop_empty_rows();
  add_slacks();
  form_.row_scale.assign(static_cast<size_t>(form_.rows()), 1.0);
  form_.column_scale.assign(static_cast<size_t>(form_.columns()), 1.0);
  scale(&form_);
  const auto inverse = [](double s) { return 1.0 / s; };
  form_.row_unit.resize(form_.row_scale.size());
  form_.column_unit.resize(form_.column_scale.size());
  std::transform(form_.row_scale.begin(), form_.row_scale.end(), form_.row_unit.begin(), inverse);
  std::transform(form_.column_scale.begin(), form_.column_scale.end(), form_.column_unit.begin(),
                 inverse);
  form_.derive();
  return std::move(form_);
}

}  // namespace

ProblemForm make_problem_form(const LoadedArrays &loaded) { return FormBuilder(loaded).build(); }

}  // namespace interior_point

#include "interior_point/presolve/presolve.h"

#include <algorithm>
#include <cmath>

#include "interior_point/form/form_builder.h"
#include "interior_point/form/huge_bounds.h"
#include "interior_point/presolve/reductions.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

// Share of the rows and columns that the first look has to find: the reductions, which cost about
// half an iteration, then usually find a multiple of it...
constexpr double kPromising = 0.025;
// ... of a program with many rows a smaller one: factorisations take most of an iteration then, and
// rows that are left out save more than their share of them...
constexpr double kPromisingOfMany = 0.005;
constexpr int32_t kManyRows = 5000;
// ... and the share that they have to take out for presolve and postsolve to pay.
constexpr double kWorthwhile = 0.05;
constexpr double kNoRange = 1e30;

/// What the slacks of a form say of its rows.
struct RowSigns {
  Vector<uint8_t> has_slack, may_be_positive, may_be_negative;  // the dual of the row

  explicit RowSigns(const ProblemForm &form)
      : has_slack(static_cast<size_t>(form.rows()), 0),
        may_be_positive(has_slack.size(), 1),
        may_be_negative(has_slack.size(), 1) {
    for (size_t k = 0; k < form.slack_row.size(); ++k) {
      const int32_t j = form.structurals + static_cast<int32_t>(k);
      has_slack[form.slack_row[k]] = 1;
      if (std::isfinite(form.width[j])) continue;
      const bool surplus = form.A.value[form.A.start[j]] < 0.0;
      (surplus ? may_be_negative : may_be_positive)[form.slack_row[k]] = 0;
    }
  }
};

/// True when the signs of the duals alone say that the reduced cost is at least 0.
bool is_dominated(const ProblemForm &form, const RowSigns &signs, int32_t j) {
  if (form.c[j] < 0.0 || form.is_free[j]) return false;
  for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
    const int32_t i = form.A.row[t];
    if (form.A.value[t] > 0.0 ? signs.may_be_positive[i] : signs.may_be_negative[i]) return false;
  }
  return true;
}

/// Slacks are measured from the right-hand side. It is the end nearer to 0, so that the other takes
/// no digits from what is small at this one.
int32_t row_type(double low, double high) {
  if (low == high) return kEqual;
  return std::fabs(high) < std::fabs(low) ? kLessEqual : kGreaterEqual;
}

/// What one pass over the columns tells of the rows: how many entries they have, how many of those
/// are alone in their column, and between which values the row must lie (scaled).
struct RowCounts {
  Vector<int32_t> length, singletons;
  Vector<double> least, most;

  explicit RowCounts(const ProblemForm &form)
      : length(static_cast<size_t>(form.rows()), 0),
        singletons(length.size(), 0),
        least(length.size(), 0.0),
        most(length.size(), 0.0) {
    for (int32_t j = 0; j < form.structurals; ++j) {
      const double low = form.is_free[j] ? -kInfinity : 0.0;
      for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
        const int32_t i = form.A.row[t];
        const double a = form.A.value[t];
        ++length[i];
        singletons[i] += form.A.length(j) == 1;
        least[i] += a * (a > 0.0 ? low : form.width[j]);
        most[i] += a * (a > 0.0 ? form.width[j] : low);
      }
    }
  }

  /// True when the row's columns keep it where it has to be, or cannot go beyond one of its ends.
  bool is_redundant_or_forcing(const ProblemForm &form, const RowSigns &signs, int32_t i) const {
    const bool below = signs.may_be_negative[i] && (most[i] <= form.b[i] || least[i] >= form.b[i]);
    const bool above = signs.may_be_positive[i] && (least[i] >= form.b[i] || most[i] <= form.b[i]);
    return below || above;
  }
};

}  // namespace

bool worth_presolving(const ProblemForm &form) {
  if (form.verdict != Verdict::kOpen) return false;
  const RowSigns signs(form);
  const RowCounts rows(form);
  int32_t found = 0;
  for (int32_t i = 0; i < form.rows(); ++i) {
    const int32_t length = rows.length[i];
    // One column alone with a row is a slack, or the row may leave it free; two are a penalty box.
    found += length == 1 || (length == 2 && !signs.has_slack[i]) ||
             (length > 2 && rows.singletons[i] == 1) ||
             rows.is_redundant_or_forcing(form, signs, i);
  }
  for (int32_t j = 0; j < form.structurals; ++j) {
    found += (form.c[j] == 0.0 && form.A.length(j) == 1) || is_dominated(form, signs, j);
  }
  const double promising = form.rows() < kManyRows ? kPromising : kPromisingOfMany;
  return found >= promising * (form.rows() + form.structurals);
}

Presolved::Presolved(const ProblemForm &form) : form_(form), program_(form) {
  if (!reduce(&program_, &stack_)) return;
  build_reduced();
}

void Presolved::build_reduced() {
  Vector<int32_t> number(static_cast<size_t>(program_.rows()), -1);
  for (int32_t i = 0; i < program_.rows(); ++i) {
    if (!program_.row_alive[i]) continue;
    number[i] = static_cast<int32_t>(rows_.size()) + 1;
    rows_.push_back(i);
  }
  for (int32_t j = 0; j < program_.columns(); ++j) {
    if (program_.column_alive[j]) columns_.push_back(j);
  }
  const size_t left = rows_.size() + columns_.size();
  const double before = form_.rows() + form_.structurals;
  if (static_cast<double>(left) > (1.0 - kWorthwhile) * before) return;

  const int32_t cost_row = static_cast<int32_t>(rows_.size()) + 1;
  Vector<int32_t> type, start = {1}, row;
  Vector<double> value, rhs, range, lower, upper;
  size_t entries = columns_.size();
  for (const int32_t i : rows_) entries += static_cast<size_t>(program_.row_length[i]);
  row.reserve(entries);
  value.reserve(entries);
  for (const int32_t i : rows_) {
    const double low = program_.low[i];
    const double high = program_.high[i];
    type.push_back(row_type(low, high));
    rhs.push_back(type.back() == kLessEqual ? high : low);
    const bool ranged = std::isfinite(low) && std::isfinite(high) && low != high;
    range.push_back(ranged ? high - low : kNoRange);
  }
  type.push_back(0);
  rhs.push_back(0.0);
  range.push_back(kNoRange);
  for (const int32_t j : columns_) {
    for (int32_t t = program_.first_in_column(j); t != program_.kNone;
         t = program_.entry(t).next_in_column) {
      row.push_back(number[program_.entry(t).row]);
      value.push_back(program_.entry(t).value);
    }
    row.push_back(cost_row);
    value.push_back(program_.cost[j]);
    start.push_back(static_cast<int32_t>(row.size()) + 1);
    lower.push_back(std::max(program_.lower[j], -kNoRange));
    upper.push_back(std::min(program_.upper[j], kNoRange));
  }
  ProblemForm reduced = make_problem_form({type.data(), start.data(), row.data(), value.data(),
                                           rhs.data(), range.data(), lower.data(), upper.data(),
                                           cost_row, static_cast<int32_t>(columns_.size())});
  found_no_optimum_ = reduced.verdict != Verdict::kOpen;
  if (found_no_optimum_) return;
  reduced.objective_constant += program_.constant;
  // How small a gap has to be near an optimum of 0 is for the problem itself to say.
  reduced.least_cost = form_.least_cost;
  reduced_ = std::make_shared<const ProblemForm>(std::move(reduced));
}

/// The solution of the reduced program, with duals of the sign of their rows.
Solution Presolved::solution_of(const Point &point) const {
  const ProblemForm &form = *reduced_;
  Solution s;
  s.x.assign(static_cast<size_t>(program_.columns()), 0.0);
  s.d = program_.cost;
  s.y.assign(static_cast<size_t>(program_.rows()), 0.0);
  for (int32_t j = 0; j < form.structurals; ++j) {
    s.x[columns_[form.user_column[j]]] =
        form.shift[j] + form.sign[j] * point.x[j] * form.column_scale[j];
  }
  for (size_t k = 0; k < form.removed_user.size(); ++k) {
    s.x[columns_[form.removed_user[k]]] = form.removed_value[k];
  }
  for (int32_t k = 0; k < form.rows(); ++k) {
    const int32_t i = rows_[form.user_row[k]];
    double y = point.y[k] * form.row_scale[k];
    if (std::isinf(program_.high[i])) y = std::max(y, 0.0);
    if (std::isinf(program_.low[i])) y = std::min(y, 0.0);
    s.y[i] = y;
    for (int32_t t = program_.first_in_row(i); t != program_.kNone;
         t = program_.entry(t).next_in_row) {
      s.d[program_.entry(t).column] -= program_.entry(t).value * y;
    }
  }
  return s;
}

Point Presolved::restore(const Point &point) const {
  Solution s = solution_of(point);
  stack_.undo(&s);
  Point result;
  result.resize(form_);
  Vector<double> rest(static_cast<size_t>(form_.rows()));  // b - A x of the structurals
  for (int32_t i = 0; i < form_.rows(); ++i) {
    rest[i] = form_.b[i];
    result.y[i] = s.y[i] / form_.row_scale[i];
  }
  for (int32_t j = 0; j < form_.structurals; ++j) {
    const double x = s.x[j] / form_.column_scale[j];
    result.x[j] = form_.is_free[j] ? x : std::min(std::max(x, 0.0), form_.width[j]);
    for (int32_t t = form_.A.start[j]; t < form_.A.start[j + 1]; ++t) {
      rest[form_.A.row[t]] -= form_.A.value[t] * result.x[j];
    }
  }
  for (int32_t j = form_.structurals; j < form_.columns(); ++j) {
    const int32_t t = form_.A.start[j];
    const double x = rest[form_.A.row[t]] / form_.A.value[t];
    result.x[j] = std::min(std::max(x, 0.0), form_.width[j]);
  }
  Vector<double> slack(form_.c);
  for (int32_t j = 0; j < form_.columns(); ++j) {
    slack[j] -= column_product(form_.A, j, result.y.data());
    if (!form_.is_free[j]) result.z[j] = std::max(slack[j], 0.0);
  }
  const Vector<uint8_t> huge = huge_boxes(form_);
  for (size_t k = 0; k < form_.boxed.size(); ++k) {
    const int32_t j = form_.boxed[k];
    result.w[k] = form_.width[j] - result.x[j];
    // The reduced problem has no huge boxes. A rounding error of the slack would move d by h times
    // as much.
    if (!huge[k]) result.v[k] = std::max(-slack[j], 0.0);
  }
  return result;
}

}  // namespace interior_point

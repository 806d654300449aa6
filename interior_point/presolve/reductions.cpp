#include "interior_point/presolve/reductions.h"

#include <algorithm>
#include <cmath>

#include "interior_point/presolve/dual_bounds.h"
#include "interior_point/presolve/parallel_lines.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

// Passes over what changed, and the share of rows and columns that a pass has to take out for
// another one.
constexpr int kMostPasses = 12;
constexpr double kWorthAnotherPass = 0.01;
// Rounding of a sum, as a share of its terms.
constexpr double kRounding = 1e-12;
// Bounds and row ends that cross by less than this, relative, are one value.
constexpr double kFeasibility = 1e-9;
// A bound counts as implied when a row keeps it to this, relative.
constexpr double kImplied = 1e-10;
// Pivots are at least this share of the largest entry of their row and column.
constexpr double kLeastPivot = 1e-2;
// Ratio of the entries of a doubleton, which both bounds and duals are multiplied with.
constexpr double kMostRatio = 1e3;
// A cost that changes must not lose more digits than this to cancellation, unless it vanishes.
constexpr double kMostCancellation = 1e4;
constexpr double kVanished = 4e-16;
// Longest columns that are substituted, and the longest that they may be merged into: longer ones
// fill the normal equations.
constexpr int32_t kLongestSubstituted = 3;
constexpr int32_t kLongestMerged = 20;
// Rows that a forcing row's entries of this share or less of the largest would give huge duals.
constexpr double kLeastForced = 1e-3;

class Reducer {
 public:
  Reducer(ReducibleProgram *program, PostsolveStack *stack) : p_(*program), stack_(*stack) {}
  bool run();

 private:
  enum class Outcome { kUnchanged, kReduced, kNoOptimum };
  enum class Side { kLower, kUpper };

  bool pass();
  Outcome look_at_row(int32_t i);
  Outcome drop_row(int32_t i);
  Outcome take_empty_row(int32_t i);
  Outcome take_singleton_row(int32_t i);
  Outcome take_forcing_row(int32_t i, bool at_most);
  Outcome take_doubleton_row(int32_t i);
  bool replace_in_doubleton(int32_t t, int32_t other);
  Outcome look_at_column(int32_t j);
  Outcome take_empty_column(int32_t j);
  Outcome take_singleton_column(int32_t j);
  bool take_free_column(int32_t j);
  void fix(int32_t j, double value);
  void substitute(int32_t t, double b);
  bool keeps_costs(int32_t t) const;
  bool is_free(int32_t j);
  bool implies(const ReducibleProgram::Entry &e, Side side);
  struct Reach {
    double value, size;  // a sum and that of the magnitudes of its terms
  };
  Reach reach_of_others(const ReducibleProgram::Entry &e, bool most) const;
  double largest_in_row(int32_t i) const;
  double largest_in_column(int32_t j) const;
  bool constrains_nothing(int32_t i) const {
    return std::isinf(p_.low[i]) && std::isinf(p_.high[i]);
  }
  bool is_equality(int32_t i) const { return p_.low[i] == p_.high[i]; }

  bool merge_parallel_rows();
  void merge_parallel_columns();
  bool fix_dominated_by(int32_t j, int32_t k, double s);
  void merge(int32_t j, int32_t k, double s);
  bool merge_intervals(const ParallelPair &pair);

  void look_for_dominated();

  ReducibleProgram &p_;
  PostsolveStack &stack_;
  int32_t taken_ = 0;
};

/// What an error of a bound is measured in; not for infinite ones.
double relative(double value) { return 1.0 + std::fabs(value); }

/// True for bounds that are finite and apart by a rounding error, or crossed.
bool are_one_value(double lower, double upper) {
  return std::isfinite(upper - lower) && upper - lower <= kRounding * relative(lower);
}

double Reducer::largest_in_row(int32_t i) const {
  double most = 0.0;
  for (int32_t t = p_.first_in_row(i); t != p_.kNone; t = p_.entry(t).next_in_row) {
    most = std::max(most, std::fabs(p_.entry(t).value));
  }
  return most;
}

double Reducer::largest_in_column(int32_t j) const {
  double most = 0.0;
  for (int32_t t = p_.first_in_column(j); t != p_.kNone; t = p_.entry(t).next_in_column) {
    most = std::max(most, std::fabs(p_.entry(t).value));
  }
  return most;
}

/// Takes column j out at a value.
void Reducer::fix(int32_t j, double value) {
  stack_.fixed_column(p_, j, value);
  for (int32_t t = p_.first_in_column(j); t != p_.kNone; t = p_.entry(t).next_in_column) {
    p_.shift_row(p_.entry(t).row, p_.entry(t).value * value);
  }
  p_.constant += p_.cost[j] * value;
  p_.remove_column(j);
  ++taken_;
}

Reducer::Outcome Reducer::take_empty_row(int32_t i) {
  if (p_.low[i] > kFeasibility * relative(p_.low[i]) ||
      p_.high[i] < -kFeasibility * relative(p_.high[i])) {
    return Outcome::kNoOptimum;
  }
  return drop_row(i);
}

/// Takes a row out whose dual is 0.
Reducer::Outcome Reducer::drop_row(int32_t i) {
  p_.remove_row(i);
  ++taken_;
  return Outcome::kReduced;
}

Reducer::Outcome Reducer::take_singleton_row(int32_t i) {
  const int32_t t = p_.first_in_row(i);
  const int32_t j = p_.entry(t).column;
  const double a = p_.entry(t).value;
  double lower = p_.low[i] / a;
  double upper = p_.high[i] / a;
  if (a < 0.0) std::swap(lower, upper);
  // Right-hand sides carry the rounding errors of what was taken out: a bound that moves by no more
  // has not moved.
  const bool gave_lower = lower - kRounding * relative(lower) > p_.lower[j];
  const bool gave_upper = upper + kRounding * relative(upper) < p_.upper[j];
  lower = gave_lower ? lower : p_.lower[j];
  upper = gave_upper ? upper : p_.upper[j];
  if (lower > upper + kFeasibility * relative(upper)) return Outcome::kNoOptimum;
  // One value: that of the column's own bound where there is one.
  if (are_one_value(lower, upper)) {
    lower = upper = gave_lower ? (gave_upper ? lower : upper) : lower;
  }
  stack_.singleton_row(p_, t, gave_lower, gave_upper);
  p_.remove_row(i);
  p_.set_bounds(j, lower, upper);
  ++taken_;
  return Outcome::kReduced;
}

Reducer::Outcome Reducer::take_forcing_row(int32_t i, bool at_most) {
  const double least = kLeastForced * largest_in_row(i);
  Vector<std::pair<int32_t, double>> forced;
  for (int32_t t = p_.first_in_row(i); t != p_.kNone; t = p_.entry(t).next_in_row) {
    const ReducibleProgram::Entry &e = p_.entry(t);
    if (std::fabs(e.value) < least) return Outcome::kUnchanged;
    const bool up = (e.value > 0.0) == at_most;
    forced.emplace_back(e.column, up ? p_.upper[e.column] : p_.lower[e.column]);
  }
  stack_.forcing_row(p_, i, at_most);
  p_.remove_row(i);
  ++taken_;
  for (const auto &[j, value] : forced) fix(j, value);
  return Outcome::kReduced;
}

Reducer::Outcome Reducer::look_at_row(int32_t i) {
  if (constrains_nothing(i)) return drop_row(i);
  if (p_.row_length[i] == 0) return take_empty_row(i);
  if (p_.row_length[i] == 1) return take_singleton_row(i);
  const Activity &activity = p_.activity(i);
  const double least = activity.lower();
  const double most = activity.upper();
  const double rounding_least = kRounding * (activity.least_size + 1.0);
  const double rounding_most = kRounding * (activity.most_size + 1.0);
  if (most < p_.low[i] - kFeasibility * (relative(p_.low[i]) + activity.most_size) ||
      least > p_.high[i] + kFeasibility * (relative(p_.high[i]) + activity.least_size)) {
    return Outcome::kNoOptimum;
  }
  if (std::isfinite(most) && most <= p_.low[i] + rounding_most) return take_forcing_row(i, true);
  if (std::isfinite(least) && least >= p_.high[i] - rounding_least) {
    return take_forcing_row(i, false);
  }
  // An end that cannot be reached, and so has no dual, is none.
  if (least >= p_.low[i] - rounding_least) p_.low[i] = -kInfinity;
  if (most <= p_.high[i] + rounding_most) p_.high[i] = kInfinity;
  if (constrains_nothing(i)) return drop_row(i);
  if (p_.row_length[i] == 2 && is_equality(i)) return take_doubleton_row(i);
  return Outcome::kUnchanged;
}

/// The most, or the least, that the other columns of the entry's row can make of it.
Reducer::Reach Reducer::reach_of_others(const ReducibleProgram::Entry &e, bool most) const {
  Reach reach = {0.0, 0.0};
  for (int32_t t = p_.first_in_row(e.row); t != p_.kNone; t = p_.entry(t).next_in_row) {
    const ReducibleProgram::Entry &other = p_.entry(t);
    if (other.column == e.column) continue;
    const bool up = (other.value > 0.0) == most;
    const double term = other.value * (up ? p_.upper[other.column] : p_.lower[other.column]);
    reach.value += term;
    reach.size += std::fabs(term);
  }
  return reach;
}

/// True when the row of the entry keeps its column at or above the lower bound (at or below the
/// upper one), whatever the other columns do within theirs. Where the rounding of a sum that the
/// column's own bound dominates leaves that open the others are summed up without it.
bool Reducer::implies(const ReducibleProgram::Entry &e, Side side) {
  const Activity &activity = p_.activity(e.row);
  const double a = e.value;
  const bool lower = side == Side::kLower;
  // What the others can reach at most holds x_j up where a > 0 and low_i is an end.
  const bool by_most = (a > 0.0) == lower;
  const double end = by_most ? p_.low[e.row] : p_.high[e.row];
  const double own = a * (lower ? p_.upper[e.column] : p_.lower[e.column]);
  const int32_t infinite = by_most ? activity.most_infinite : activity.least_infinite;
  if (std::isinf(end) || infinite > (std::isinf(own) ? 1 : 0)) return false;
  const double bound = lower ? p_.lower[e.column] : p_.upper[e.column];
  const double allowed = -kImplied * relative(bound);
  const auto inside = [&](const Reach &others, double sign) {
    const double rounding = kRounding * (others.size + std::fabs(end)) / std::fabs(a);
    return (lower ? 1.0 : -1.0) * ((end - others.value) / a - bound) + sign * rounding;
  };
  const double others = (by_most ? activity.most : activity.least) - (std::isinf(own) ? 0.0 : own);
  const Reach quick = {others, by_most ? activity.most_size : activity.least_size};
  if (inside(quick, -1.0) >= allowed) return true;
  return inside(quick, 1.0) >= allowed && inside(reach_of_others(e, by_most), -1.0) >= allowed;
}

/// True when the column has no bounds but those that rows imply.
bool Reducer::is_free(int32_t j) {
  bool lower = std::isinf(p_.lower[j]);
  bool upper = std::isinf(p_.upper[j]);
  for (int32_t t = p_.first_in_column(j); t != p_.kNone && !(lower && upper);
       t = p_.entry(t).next_in_column) {
    if (!lower) lower = implies(p_.entry(t), Side::kLower);
    if (!upper) upper = implies(p_.entry(t), Side::kUpper);
  }
  return lower && upper;
}

/// Cost c less a part of another; 0 where nothing is left.
double reduced_cost(double c, double part) {
  const double left = c - part;
  return std::fabs(left) <= kVanished * (std::fabs(c) + std::fabs(part)) ? 0.0 : left;
}

/// True when the costs of the other columns in the row of entry t can take up that of its column
/// without losing themselves in it.
bool Reducer::keeps_costs(int32_t t) const {
  const double price = p_.cost[p_.entry(t).column] / p_.entry(t).value;
  if (price == 0.0) return true;
  for (int32_t k = p_.first_in_row(p_.entry(t).row); k != p_.kNone; k = p_.entry(k).next_in_row) {
    if (k == t) continue;
    const double cost = p_.cost[p_.entry(k).column];
    const double part = p_.entry(k).value * price;
    const double left = reduced_cost(cost, part);
    if (left != 0.0 && std::fabs(part) > kMostCancellation * std::fabs(left)) return false;
  }
  return true;
}

/// Puts the column of entry t, as its row with the value b has it, into the other rows and costs.
void Reducer::substitute(int32_t t, double b) {
  const int32_t i = p_.entry(t).row;
  const int32_t j = p_.entry(t).column;
  const double a = p_.entry(t).value;
  stack_.substituted_column(p_, t, b);
  p_.remove_entry(t);
  const double price = p_.cost[j] / a;
  p_.constant += price * b;
  for (int32_t k = p_.first_in_row(i); k != p_.kNone; k = p_.entry(k).next_in_row) {
    double &cost = p_.cost[p_.entry(k).column];
    cost = reduced_cost(cost, p_.entry(k).value * price);
    p_.column_touched[p_.entry(k).column] = 1;
  }
  for (int32_t r = p_.first_in_column(j); r != p_.kNone; r = p_.entry(r).next_in_column) {
    const int32_t row = p_.entry(r).row;
    const double factor = p_.entry(r).value / a;
    p_.shift_row(row, factor * b);
    for (int32_t k = p_.first_in_row(i); k != p_.kNone; k = p_.entry(k).next_in_row) {
      p_.add(row, p_.entry(k).column, -factor * p_.entry(k).value);
    }
  }
  p_.remove_row(i);
  p_.remove_column(j);
  taken_ += 2;
}

/// A x_j + b x_k = r without x_j: its bounds and entries pass to x_k.
bool Reducer::replace_in_doubleton(int32_t t, int32_t other) {
  const int32_t i = p_.entry(t).row;
  const int32_t j = p_.entry(t).column;
  const int32_t k = p_.entry(other).column;
  const double a = p_.entry(t).value;
  const double b = p_.entry(other).value;
  const double r = p_.low[i];
  double lower = (r - a * (b / a > 0.0 ? p_.upper[j] : p_.lower[j])) / b;
  double upper = (r - a * (b / a > 0.0 ? p_.lower[j] : p_.upper[j])) / b;
  const bool gave_lower = lower > p_.lower[k];
  const bool gave_upper = upper < p_.upper[k];
  lower = gave_lower ? lower : p_.lower[k];
  upper = gave_upper ? upper : p_.upper[k];
  if (lower > upper) return false;
  stack_.doubleton_row(p_, t, k, b, gave_lower, gave_upper);
  const double factor = b / a;
  p_.constant += p_.cost[j] * r / a;
  p_.cost[k] = reduced_cost(p_.cost[k], factor * p_.cost[j]);
  p_.remove_entry(t);
  for (int32_t q = p_.first_in_column(j); q != p_.kNone; q = p_.entry(q).next_in_column) {
    const int32_t row = p_.entry(q).row;
    const double value = p_.entry(q).value;
    p_.shift_row(row, value * r / a);
    p_.add(row, k, -factor * value);
  }
  p_.remove_row(i);
  p_.remove_column(j);
  p_.set_bounds(k, lower, upper);
  taken_ += 2;
  return true;
}

Reducer::Outcome Reducer::take_doubleton_row(int32_t i) {
  int32_t t = p_.first_in_row(i);
  int32_t other = p_.entry(t).next_in_row;
  if (p_.column_length[p_.entry(t).column] > p_.column_length[p_.entry(other).column]) {
    std::swap(t, other);
  }
  const double ratio = std::fabs(p_.entry(t).value / p_.entry(other).value);
  const int32_t length = p_.column_length[p_.entry(t).column];
  const int32_t merged = length + p_.column_length[p_.entry(other).column] - 2;
  if (ratio > kMostRatio || ratio < 1.0 / kMostRatio) return Outcome::kUnchanged;
  if (length > 1 && merged > kLongestMerged) return Outcome::kUnchanged;
  const double pivot = std::fabs(p_.entry(t).value);
  if (pivot < kLeastPivot * largest_in_column(p_.entry(t).column)) return Outcome::kUnchanged;
  return keeps_costs(t) && replace_in_doubleton(t, other) ? Outcome::kReduced : Outcome::kUnchanged;
}

Reducer::Outcome Reducer::take_empty_column(int32_t j) {
  const double c = p_.cost[j];
  double value = std::min(std::max(0.0, p_.lower[j]), p_.upper[j]);
  if (c != 0.0) value = c > 0.0 ? p_.lower[j] : p_.upper[j];
  if (std::isinf(value)) return Outcome::kNoOptimum;
  fix(j, value);
  return Outcome::kReduced;
}

/// A slack, or a column that its row leaves free.
Reducer::Outcome Reducer::take_singleton_column(int32_t j) {
  const int32_t t = p_.first_in_column(j);
  const int32_t i = p_.entry(t).row;
  const double a = p_.entry(t).value;
  if (std::fabs(a) < kLeastPivot * largest_in_row(i)) return Outcome::kUnchanged;
  if (p_.cost[j] == 0.0) {
    const double first = a * p_.lower[j];
    const double second = a * p_.upper[j];
    stack_.slack_column(p_, t);
    p_.low[i] -= std::max(first, second);
    p_.high[i] -= std::min(first, second);
    p_.remove_column(j);
    ++taken_;
    return Outcome::kReduced;
  }
  if (!is_free(j) || !keeps_costs(t)) return Outcome::kUnchanged;
  const double b = p_.cost[j] / a > 0.0 ? p_.low[i] : p_.high[i];
  if (std::isinf(b)) return Outcome::kNoOptimum;
  substitute(t, b);
  return Outcome::kReduced;
}

/// A column of few entries that its rows leave free, by the best of its equalities.
bool Reducer::take_free_column(int32_t j) {
  const double largest = largest_in_column(j);
  int32_t best = p_.kNone;
  for (int32_t t = p_.first_in_column(j); t != p_.kNone; t = p_.entry(t).next_in_column) {
    const ReducibleProgram::Entry &e = p_.entry(t);
    const int64_t added = (p_.row_length[e.row] - 1) * (p_.column_length[j] - 1);
    const int64_t gone = p_.row_length[e.row] + p_.column_length[j] - 1;
    if (!is_equality(e.row) || added > gone) continue;
    if (std::fabs(e.value) < kLeastPivot * std::max(largest, largest_in_row(e.row))) continue;
    if (best == p_.kNone || p_.row_length[e.row] < p_.row_length[p_.entry(best).row]) best = t;
  }
  if (best == p_.kNone || !keeps_costs(best) || !is_free(j)) return false;
  substitute(best, p_.low[p_.entry(best).row]);
  return true;
}

Reducer::Outcome Reducer::look_at_column(int32_t j) {
  if (p_.column_length[j] == 0) return take_empty_column(j);
  if (are_one_value(p_.lower[j], p_.upper[j])) {
    fix(j, p_.lower[j]);
    return Outcome::kReduced;
  }
  if (p_.column_length[j] == 1) return take_singleton_column(j);
  if (p_.column_length[j] <= kLongestSubstituted && take_free_column(j)) return Outcome::kReduced;
  return Outcome::kUnchanged;
}

void Reducer::look_for_dominated() {
  const DualBounds duals(p_);
  for (int32_t j = 0; j < p_.columns(); ++j) {
    if (!p_.column_alive[j]) continue;
    const int sign = duals.sign_of_reduced_cost(p_, j);
    if (sign == 0) continue;
    const double value = sign > 0 ? p_.lower[j] : p_.upper[j];
    if (std::isfinite(value)) fix(j, value);
  }
}

/// (22); false when the two intervals have nothing in common.
bool Reducer::merge_intervals(const ParallelPair &pair) {
  const int32_t i = pair.first;
  double low = p_.low[pair.second] / pair.ratio;
  double high = p_.high[pair.second] / pair.ratio;
  if (pair.ratio < 0.0) std::swap(low, high);
  const bool gave_low = low - kRounding * relative(low) > p_.low[i];
  const bool gave_high = high + kRounding * relative(high) < p_.high[i];
  low = gave_low ? low : p_.low[i];
  high = gave_high ? high : p_.high[i];
  if (low > high + kFeasibility * relative(high)) return false;
  if (low > high) (gave_low ? low : high) = gave_low ? high : low;
  stack_.parallel_row(p_, i, pair.second, pair.ratio, gave_low, gave_high);
  p_.low[i] = low;
  p_.high[i] = high;
  p_.row_touched[i] = 1;
  p_.remove_row(pair.second);
  ++taken_;
  return true;
}

bool Reducer::merge_parallel_rows() {
  for (const ParallelPair &pair : parallel_rows(p_)) {
    if (!merge_intervals(pair)) return false;
  }
  return true;
}

/// (23): true when column k = s * column j was found to be dominated and is fixed.
bool Reducer::fix_dominated_by(int32_t j, int32_t k, double s) {
  const double difference = p_.cost[k] - s * p_.cost[j];
  const double size = std::fabs(p_.cost[k]) + std::fabs(s * p_.cost[j]);
  if (std::fabs(difference) <= kSureSign * size) return false;
  // s d_j has the sign of s where x_j has no upper bound, and the other where it has no lower.
  const bool never_below = std::isinf(s > 0.0 ? p_.upper[j] : p_.lower[j]);
  const bool never_above = std::isinf(s > 0.0 ? p_.lower[j] : p_.upper[j]);
  const double value = difference > 0.0 ? p_.lower[k] : p_.upper[k];
  if (!(difference > 0.0 ? never_below : never_above) || std::isinf(value)) return false;
  fix(k, value);
  return true;
}

/// (23): column k = s * column j joins it where the costs allow.
void Reducer::merge(int32_t j, int32_t k, double s) {
  const double difference = p_.cost[k] - s * p_.cost[j];
  const double size = std::fabs(p_.cost[k]) + std::fabs(s * p_.cost[j]);
  if (std::fabs(difference) > kRounding * size) return;
  stack_.merged_columns(p_, j, k, s);
  const double lower = p_.lower[j] + s * (s > 0.0 ? p_.lower[k] : p_.upper[k]);
  const double upper = p_.upper[j] + s * (s > 0.0 ? p_.upper[k] : p_.lower[k]);
  p_.remove_column(k);
  p_.set_bounds(j, lower, upper);
  ++taken_;
}

void Reducer::merge_parallel_columns() {
  int32_t first = p_.kNone;
  int32_t j = p_.kNone;  // the one of the columns parallel to `first` that is left to compare with
  double of_first = 1.0;
  for (const ParallelPair &pair : parallel_columns(p_)) {
    if (pair.first != first) {
      first = j = pair.first;
      of_first = 1.0;
    }
    const double s = pair.ratio / of_first;
    if (fix_dominated_by(j, pair.second, s)) continue;
    if (fix_dominated_by(pair.second, j, 1.0 / s)) {
      j = pair.second;
      of_first = pair.ratio;
      continue;
    }
    merge(j, pair.second, s);
  }
}

/// One pass over the rows and columns that were touched since the last. False without an optimum.
bool Reducer::pass() {
  for (int32_t i = 0; i < p_.rows(); ++i) {
    if (!p_.row_alive[i] || !p_.row_touched[i]) continue;
    p_.row_touched[i] = 0;
    if (look_at_row(i) == Outcome::kNoOptimum) return false;
    // What a changed row implies for its columns may have changed as well.
    for (int32_t t = p_.first_in_row(i); t != p_.kNone; t = p_.entry(t).next_in_row) {
      p_.column_touched[p_.entry(t).column] = 1;
    }
  }
  for (int32_t j = 0; j < p_.columns(); ++j) {
    if (!p_.column_alive[j] || !p_.column_touched[j]) continue;
    p_.column_touched[j] = 0;
    if (look_at_column(j) == Outcome::kNoOptimum) return false;
  }
  look_for_dominated();
  return true;
}

bool Reducer::run() {
  const double enough = kWorthAnotherPass * (p_.rows() + p_.columns());
  for (int k = 0; k < kMostPasses; ++k) {
    const int32_t before = taken_;
    if (!pass()) return false;
    if (taken_ - before > enough) continue;
    if (!merge_parallel_rows()) return false;
    merge_parallel_columns();
    if (taken_ - before <= enough) break;
  }
  // The last slacks may have left rows without an end.
  for (int32_t i = 0; i < p_.rows(); ++i) {
    if (p_.row_alive[i] && constrains_nothing(i)) drop_row(i);
  }
  return true;
}

}  // namespace

bool reduce(ReducibleProgram *program, PostsolveStack *stack) {
  return Reducer(program, stack).run();
}

}  // namespace interior_point

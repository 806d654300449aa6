#include "interior_point/presolve/reducible_program.h"

#include <algorithm>
#include <cmath>

#include "interior_point/form/huge_bounds.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {
// An entry that cancels to this share of its terms is 0, and so is the end of a row.
constexpr double kCancelled = 1e-12;
constexpr double kCancelledEnd = 1e-14;
}  // namespace

ReducibleProgram::ReducibleProgram(const ProblemForm &form) {
  const size_t m = static_cast<size_t>(form.rows());
  const size_t n = static_cast<size_t>(form.structurals);
  low.resize(m);
  high.resize(m);
  row_length.assign(m, 0);
  row_alive.assign(m, 1);
  cost.resize(n);
  lower.resize(n);
  upper.resize(n);
  column_length.assign(n, 0);
  column_alive.assign(n, 1);
  row_touched.assign(m, 1);
  column_touched.assign(n, 1);
  row_head_.assign(m, kNone);
  column_head_.assign(n, kNone);
  activity_.resize(m);
  activity_known_.assign(m, 0);
  constant = form.objective_constant;
  for (int32_t i = 0; i < form.rows(); ++i) low[i] = high[i] = form.b[i] / form.row_scale[i];
  entries_.reserve(2 * static_cast<size_t>(form.A.start[form.structurals]));  // with fill-in
  for (int32_t j = 0; j < form.structurals; ++j) {
    const double scale = form.column_scale[j];
    cost[j] = form.c[j] / scale;
    lower[j] = form.is_free[j] ? -kInfinity : 0.0;
    upper[j] = form.width[j] * scale;
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      const int32_t i = form.A.row[t];
      insert(i, j, form.A.value[t] / (form.row_scale[i] * scale));
    }
  }
  const Vector<uint8_t> huge = huge_boxes(form);
  for (size_t k = 0; k < huge.size(); ++k) {
    if (huge[k] && form.boxed[k] < form.structurals) upper[form.boxed[k]] = kInfinity;
  }
  for (size_t k = 0; k < form.slack_row.size(); ++k) {
    const int32_t j = form.structurals + static_cast<int32_t>(k);
    const int32_t i = form.slack_row[k];
    const double width = form.width[j] * form.column_scale[j];
    if (form.A.value[form.A.start[j]] < 0.0) {
      high[i] += width;
    } else {
      low[i] -= width;
    }
  }
}

const Activity &ReducibleProgram::activity(int32_t i) {
  Activity &result = activity_[i];
  if (activity_known_[i]) return result;
  activity_known_[i] = 1;
  result = Activity();
  const auto take = [](double term, double *sum, double *size, int32_t *infinite) {
    if (std::isfinite(term)) {
      *sum += term;
      *size += std::fabs(term);
    } else {
      ++*infinite;
    }
  };
  for (int32_t t = row_head_[i]; t != kNone; t = entries_[t].next_in_row) {
    const double a = entries_[t].value;
    const int32_t j = entries_[t].column;
    take(a * (a > 0.0 ? lower[j] : upper[j]), &result.least, &result.least_size,
         &result.least_infinite);
    take(a * (a > 0.0 ? upper[j] : lower[j]), &result.most, &result.most_size,
         &result.most_infinite);
  }
  return result;
}

void ReducibleProgram::set_bounds(int32_t j, double new_lower, double new_upper) {
  lower[j] = new_lower;
  upper[j] = new_upper;
  column_touched[j] = 1;
  for (int32_t t = column_head_[j]; t != kNone; t = entries_[t].next_in_column) {
    activity_known_[entries_[t].row] = 0;
    row_touched[entries_[t].row] = 1;
  }
}

void ReducibleProgram::shift_row(int32_t i, double part) {
  const auto less_part = [part](double end) {
    const double left = end - part;
    return std::fabs(left) <= kCancelledEnd * std::fabs(part) ? 0.0 : left;
  };
  low[i] = less_part(low[i]);
  high[i] = less_part(high[i]);
}

void ReducibleProgram::insert(int32_t i, int32_t j, double value) {
  const int32_t t = static_cast<int32_t>(entries_.size());
  entries_.push_back({i, j, value, row_head_[i], kNone, column_head_[j], kNone});
  if (row_head_[i] != kNone) entries_[row_head_[i]].previous_in_row = t;
  if (column_head_[j] != kNone) entries_[column_head_[j]].previous_in_column = t;
  row_head_[i] = t;
  column_head_[j] = t;
  ++row_length[i];
  ++column_length[j];
}

int32_t ReducibleProgram::find(int32_t i, int32_t j) const {
  if (row_length[i] < column_length[j]) {
    int32_t t = row_head_[i];
    while (t != kNone && entries_[t].column != j) t = entries_[t].next_in_row;
    return t;
  }
  int32_t t = column_head_[j];
  while (t != kNone && entries_[t].row != i) t = entries_[t].next_in_column;
  return t;
}

void ReducibleProgram::add(int32_t i, int32_t j, double value) {
  activity_known_[i] = 0;
  row_touched[i] = 1;
  column_touched[j] = 1;
  const int32_t t = find(i, j);
  if (t == kNone) {
    insert(i, j, value);
    return;
  }
  const double sum = entries_[t].value + value;
  if (std::fabs(sum) <= kCancelled * std::max(std::fabs(value), std::fabs(entries_[t].value))) {
    remove_entry(t);
  } else {
    entries_[t].value = sum;
  }
}

void ReducibleProgram::remove_entry(int32_t t) {
  const Entry &e = entries_[t];
  (e.previous_in_row == kNone ? row_head_[e.row] : entries_[e.previous_in_row].next_in_row) =
      e.next_in_row;
  if (e.next_in_row != kNone) entries_[e.next_in_row].previous_in_row = e.previous_in_row;
  (e.previous_in_column == kNone ? column_head_[e.column]
                                 : entries_[e.previous_in_column].next_in_column) =
      e.next_in_column;
  if (e.next_in_column != kNone) {
    entries_[e.next_in_column].previous_in_column = e.previous_in_column;
  }
  --row_length[e.row];
  --column_length[e.column];
  activity_known_[e.row] = 0;
  row_touched[e.row] = 1;
  column_touched[e.column] = 1;
}

void ReducibleProgram::remove_row(int32_t i) {
  while (row_head_[i] != kNone) remove_entry(row_head_[i]);
  row_alive[i] = 0;
}

void ReducibleProgram::remove_column(int32_t j) {
  while (column_head_[j] != kNone) remove_entry(column_head_[j]);
  column_alive[j] = 0;
}

}  // namespace interior_point

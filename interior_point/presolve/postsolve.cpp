#include "interior_point/presolve/postsolve.h"

#include <algorithm>
#include <cmath>

namespace interior_point {

namespace {
// A value this close to a bound, relative to the terms that it is the difference of, is the bound.
constexpr double kRounding = 4e-15;
}  // namespace

PostsolveStack::Record &PostsolveStack::open(const ReducibleProgram &p, Kind kind, int32_t row,
                                             int32_t column) {
  Record r = {};
  r.kind = kind;
  r.row = row;
  r.column = column;
  if (row >= 0) {
    r.low = p.low[row];
    r.high = p.high[row];
  }
  if (column >= 0) {
    r.cost = p.cost[column];
    r.lower = p.lower[column];
    r.upper = p.upper[column];
  }
  r.row_entries = r.column_entries = r.end = index_.size();
  records_.push_back(r);
  return records_.back();
}

void PostsolveStack::store_row(const ReducibleProgram &p, int32_t i, int32_t without) {
  Record &r = records_.back();
  r.row_entries = index_.size();
  for (int32_t t = p.first_in_row(i); t != p.kNone; t = p.entry(t).next_in_row) {
    if (p.entry(t).column == without) continue;
    index_.push_back(p.entry(t).column);
    value_.push_back(p.entry(t).value);
  }
  r.column_entries = r.end = index_.size();
}

void PostsolveStack::store_column(const ReducibleProgram &p, int32_t j, int32_t without) {
  Record &r = records_.back();
  r.column_entries = index_.size();
  for (int32_t t = p.first_in_column(j); t != p.kNone; t = p.entry(t).next_in_column) {
    if (p.entry(t).row == without) continue;
    index_.push_back(p.entry(t).row);
    value_.push_back(p.entry(t).value);
  }
  r.end = index_.size();
}

void PostsolveStack::fixed_column(const ReducibleProgram &p, int32_t j, double value) {
  open(p, Kind::kFixed, -1, j).value = value;
  store_column(p, j, -1);
}

void PostsolveStack::singleton_row(const ReducibleProgram &p, int32_t t, bool gave_lower,
                                   bool gave_upper) {
  Record &r = open(p, Kind::kSingletonRow, p.entry(t).row, p.entry(t).column);
  r.pivot = p.entry(t).value;
  r.first = gave_lower;
  r.second = gave_upper;
}

void PostsolveStack::forcing_row(const ReducibleProgram &p, int32_t i, bool at_most) {
  open(p, Kind::kForcingRow, i, -1).first = at_most;
  store_row(p, i, -1);
}

void PostsolveStack::substituted_column(const ReducibleProgram &p, int32_t t, double b) {
  const ReducibleProgram::Entry &e = p.entry(t);
  Record &r = open(p, Kind::kSubstituted, e.row, e.column);
  r.pivot = e.value;
  r.value = b;
  store_row(p, e.row, e.column);
  store_column(p, e.column, e.row);
}

void PostsolveStack::slack_column(const ReducibleProgram &p, int32_t t) {
  const ReducibleProgram::Entry &e = p.entry(t);
  open(p, Kind::kSlack, e.row, e.column).pivot = e.value;
  store_row(p, e.row, e.column);
}

void PostsolveStack::doubleton_row(const ReducibleProgram &p, int32_t t, int32_t k, double b,
                                   bool gave_lower, bool gave_upper) {
  const ReducibleProgram::Entry &e = p.entry(t);
  Record &r = open(p, Kind::kDoubleton, e.row, e.column);
  r.other = k;
  r.pivot = e.value;
  r.other_pivot = b;
  r.value = p.low[e.row];
  r.first = gave_lower;
  r.second = gave_upper;
  store_row(p, e.row, e.column);
  store_column(p, e.column, e.row);
}

void PostsolveStack::parallel_row(const ReducibleProgram &p, int32_t i, int32_t r, double s,
                                  bool gave_low, bool gave_high) {
  Record &record = open(p, Kind::kParallelRow, i, -1);
  record.other = r;
  record.pivot = s;
  record.first = gave_low;
  record.second = gave_high;
}

void PostsolveStack::merged_columns(const ReducibleProgram &p, int32_t j, int32_t k, double s) {
  Record &record = open(p, Kind::kMerged, -1, j);
  record.other = k;
  record.pivot = s;
  record.other_lower = p.lower[k];
  record.other_upper = p.upper[k];
}

/// The stored part of the row times x.
double PostsolveStack::row_sum(const Record &r, const Solution &s) const {
  double sum = 0.0;
  for (size_t t = r.row_entries; t < r.column_entries; ++t) sum += value_[t] * s.x[index_[t]];
  return sum;
}

/// x_j of (18) and (20). Beside a cost of 1e10 the rounding error of a column that belongs at its
/// bound would show in the objective.
double PostsolveStack::value_from_row(const Record &r, const Solution &s) const {
  double rest = r.value;
  double size = std::fabs(r.value);
  for (size_t t = r.row_entries; t < r.column_entries; ++t) {
    const double term = value_[t] * s.x[index_[t]];
    rest -= term;
    size += std::fabs(term);
  }
  const double x = rest / r.pivot;
  const double rounding = kRounding * size / std::fabs(r.pivot);
  if (std::fabs(x - r.lower) <= rounding) return r.lower;
  return std::fabs(x - r.upper) <= rounding ? r.upper : x;
}

/// The cost less the stored part of the column times y.
double PostsolveStack::column_slack(const Record &r, const Solution &s) const {
  double slack = r.cost;
  for (size_t t = r.column_entries; t < r.end; ++t) slack -= value_[t] * s.y[index_[t]];
  return slack;
}

/// (16)
void PostsolveStack::undo_singleton_row(const Record &r, Solution *s) const {
  double &d = s->d[r.column];
  const bool held = d > 0.0 ? r.first : r.second;
  s->y[r.row] = held ? d / r.pivot : 0.0;
  if (held) d = 0.0;
}

/// (17)
void PostsolveStack::undo_forcing_row(const Record &r, Solution *s) const {
  double y = 0.0;
  for (size_t t = r.row_entries; t < r.column_entries; ++t) {
    const double wanted = s->d[index_[t]] / value_[t];
    y = r.first ? std::max(y, wanted) : std::min(y, wanted);
  }
  for (size_t t = r.row_entries; t < r.column_entries; ++t) s->d[index_[t]] -= value_[t] * y;
  s->y[r.row] = y;
}

/// (19): among the values that the row allows, the one nearest to where its dual pushes.
void PostsolveStack::undo_slack(const Record &r, Solution *s) const {
  const double rest = row_sum(r, *s);
  double least = (r.low - rest) / r.pivot;
  double most = (r.high - rest) / r.pivot;
  if (least > most) std::swap(least, most);
  const double push = r.pivot * s->y[r.row];
  const double bound = push > 0.0 ? r.upper : r.lower;
  double x = push != 0.0 && std::isfinite(bound) ? bound : 0.0;
  x = std::min(std::max(x, least), most);
  s->x[r.column] = std::min(std::max(x, r.lower), r.upper);
  s->d[r.column] = -push;
}

/// (20)
void PostsolveStack::undo_doubleton(const Record &r, Solution *s) const {
  double &d = s->d[r.other];
  const bool held = d > 0.0 ? r.first : r.second;
  s->x[r.column] = value_from_row(r, *s);
  s->d[r.column] = held ? -r.pivot / r.other_pivot * d : 0.0;
  if (held) d = 0.0;
  s->y[r.row] = (column_slack(r, *s) - s->d[r.column]) / r.pivot;
}

/// (22)
void PostsolveStack::undo_parallel_row(const Record &r, Solution *s) const {
  double &y = s->y[r.row];
  const bool held = y > 0.0 ? r.first : r.second;
  s->y[r.other] = held ? y / r.pivot : 0.0;
  if (held) y = 0.0;
}

/// (23)
void PostsolveStack::undo_merged(const Record &r, Solution *s) const {
  const double x = s->x[r.column];
  const double d = s->d[r.column];
  const bool to_lower = (d >= 0.0) == (r.pivot > 0.0);
  double other = to_lower ? r.other_lower : r.other_upper;
  if (std::isinf(other)) other = std::min(std::max(0.0, r.other_lower), r.other_upper);
  const double own = std::min(std::max(x - r.pivot * other, r.lower), r.upper);
  other = std::min(std::max((x - own) / r.pivot, r.other_lower), r.other_upper);
  s->x[r.column] = x - r.pivot * other;
  s->x[r.other] = other;
  s->d[r.other] = r.pivot * d;
}

void PostsolveStack::undo(Solution *s) const {
  for (auto r = records_.rbegin(); r != records_.rend(); ++r) {
    switch (r->kind) {
      case Kind::kFixed:
        s->x[r->column] = r->value;
        s->d[r->column] = column_slack(*r, *s);
        break;
      case Kind::kSingletonRow:
        undo_singleton_row(*r, s);
        break;
      case Kind::kForcingRow:
        undo_forcing_row(*r, s);
        break;
      case Kind::kSubstituted:  // (18)
        s->x[r->column] = value_from_row(*r, *s);
        s->y[r->row] = column_slack(*r, *s) / r->pivot;
        s->d[r->column] = 0.0;
        break;
      case Kind::kSlack:
        undo_slack(*r, s);
        break;
      case Kind::kDoubleton:
        undo_doubleton(*r, s);
        break;
      case Kind::kParallelRow:
        undo_parallel_row(*r, s);
        break;
      case Kind::kMerged:
        undo_merged(*r, s);
        break;
    }
  }
}

}  // namespace interior_point

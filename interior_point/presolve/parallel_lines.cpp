#include "interior_point/presolve/parallel_lines.h"

#include <algorithm>
#include <cmath>

#include "interior_point/form/fingerprint.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

// Entries that differ from a multiple by less than this are one.
constexpr double kSame = 1e-13;
// Of more lines with one hash each is compared with this many at most: equal hashes of lines that
// are not parallel are rare.
constexpr size_t kMostCompared = 8;

/// A walk over the rows of a program and the entries in them.
struct ByRows {
  const ReducibleProgram &p;
  int32_t lines() const { return p.rows(); }
  int32_t length(int32_t i) const { return p.row_alive[i] ? p.row_length[i] : 0; }
  int32_t first(int32_t i) const { return p.first_in_row(i); }
  int32_t next(int32_t t) const { return p.entry(t).next_in_row; }
  int32_t across(int32_t t) const { return p.entry(t).column; }
  int32_t crossings() const { return p.columns(); }
};

struct ByColumns {
  const ReducibleProgram &p;
  int32_t lines() const { return p.columns(); }
  int32_t length(int32_t j) const { return p.column_alive[j] ? p.column_length[j] : 0; }
  int32_t first(int32_t j) const { return p.first_in_column(j); }
  int32_t next(int32_t t) const { return p.entry(t).next_in_column; }
  int32_t across(int32_t t) const { return p.entry(t).row; }
  int32_t crossings() const { return p.rows(); }
};

/// The entry of the least crossing: what the others are measured in.
template <typename Walk>
int32_t leading_entry(const Walk &walk, int32_t line) {
  int32_t leading = walk.first(line);
  for (int32_t t = leading; t != ReducibleProgram::kNone; t = walk.next(t)) {
    if (walk.across(t) < walk.across(leading)) leading = t;
  }
  return leading;
}

/// The same for parallel lines: a sum over the entries, whose order does not matter. Values count
/// by sign and binary exponent alone, which rounding hardly ever moves.
template <typename Walk>
uint64_t hash_of(const Walk &walk, int32_t line) {
  const double unit = walk.p.entry(leading_entry(walk, line)).value;
  uint64_t hash = 0;
  for (int32_t t = walk.first(line); t != ReducibleProgram::kNone; t = walk.next(t)) {
    const double value = walk.p.entry(t).value / unit * (1.0 + kSame);
    const uint64_t size =
        static_cast<uint64_t>(int64_t{std::ilogb(value)} + 2048) * 2 + (value < 0.0);
    hash += scramble((static_cast<uint64_t>(walk.across(t)) << 16) + size);
  }
  return hash;
}

/// True when the second line, of as many entries, is a multiple of the first, whose entries stand
/// in `value`.
template <typename Walk>
bool is_multiple(const Walk &walk, int32_t second, const Vector<double> &value, double *ratio) {
  const int32_t lead = leading_entry(walk, second);
  if (value[walk.across(lead)] == 0.0) return false;
  *ratio = walk.p.entry(lead).value / value[walk.across(lead)];
  for (int32_t t = walk.first(second); t != ReducibleProgram::kNone; t = walk.next(t)) {
    const double a = walk.p.entry(t).value;
    if (std::fabs(a - *ratio * value[walk.across(t)]) > kSame * std::fabs(a)) return false;
  }
  return true;
}

template <typename Walk>
Vector<ParallelPair> parallel_lines(const Walk &walk, int32_t least_length) {
  Vector<std::pair<uint64_t, int32_t>> order;
  for (int32_t line = 0; line < walk.lines(); ++line) {
    if (walk.length(line) >= least_length) order.emplace_back(hash_of(walk, line), line);
  }
  std::sort(order.begin(), order.end());
  Vector<ParallelPair> pairs;
  Vector<double> value(static_cast<size_t>(walk.crossings()), 0.0);
  Vector<uint8_t> taken(order.size(), 0);
  for (size_t k = 0; k < order.size(); ++k) {
    if (taken[k]) continue;
    const int32_t line = order[k].second;
    bool spread = false;
    size_t missed = 0;
    for (size_t q = k + 1; q < order.size() && order[q].first == order[k].first; ++q) {
      if (missed == kMostCompared) break;
      if (taken[q] || walk.length(order[q].second) != walk.length(line)) continue;
      for (int32_t t = walk.first(line); !spread && t != ReducibleProgram::kNone;
           t = walk.next(t)) {
        value[walk.across(t)] = walk.p.entry(t).value;
      }
      spread = true;
      double ratio = 0.0;
      taken[q] = is_multiple(walk, order[q].second, value, &ratio);
      missed += !taken[q];
      if (taken[q]) pairs.push_back({line, order[q].second, ratio});
    }
    for (int32_t t = walk.first(line); spread && t != ReducibleProgram::kNone; t = walk.next(t)) {
      value[walk.across(t)] = 0.0;
    }
  }
  return pairs;
}

}  // namespace

Vector<ParallelPair> parallel_rows(const ReducibleProgram &p) {
  return parallel_lines(ByRows{p}, 2);
}

Vector<ParallelPair> parallel_columns(const ReducibleProgram &p) {
  return parallel_lines(ByColumns{p}, 1);
}

}  // namespace interior_point

/**
 * What the matrix edits accept: sound batches of columns or rows, dense columns, keep lists.
 */
#ifndef QUARN_EDIT_CHECKS_H
#define QUARN_EDIT_CHECKS_H

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "quarn/internal.h"
#include "quarn/sparse_matrix.h"

namespace quarn {

constexpr double kDropTolerance = 1e-10;  // dense values up to this magnitude are not stored

/// What is wrong with the lists of a batch, and at which list or entry, from 0.
enum class Flaw { kNone, kFirstStart, kFallingStart, kLastStart, kNoEntries, kIndex, kValue };
struct Fault {
  Flaw flaw = Flaw::kNone;
  int32_t position = 0;
};

/// The first flaw of `count` lists with nz entries, which are to have rising starts from 1 to nz+1,
/// indices within 1 .. max_index and finite values.
inline Fault first_fault(const Lists &lists, int32_t nz, int32_t max_index) {
  if (lists.start == nullptr || lists.start[0] != 1) return {Flaw::kFirstStart, 0};
  for (int32_t t = 0; t < lists.count; ++t) {
    if (lists.start[t + 1] < lists.start[t]) return {Flaw::kFallingStart, t};
  }
  if (int64_t{lists.start[lists.count]} != int64_t{nz} + 1) return {Flaw::kLastStart, 0};
  if (nz > 0 && (lists.index == nullptr || lists.elt == nullptr)) return {Flaw::kNoEntries, 0};
  for (int32_t k = 0; k < nz; ++k) {
    if (lists.index[k] < 1 || lists.index[k] > max_index) return {Flaw::kIndex, k};
    if (!std::isfinite(lists.elt[k])) return {Flaw::kValue, k};
  }
  return {};
}

inline bool is_stored(double value) { return std::fabs(value) > kDropTolerance; }

/// The columns of a dense array, as they are handed to the additions.
struct DenseColumns {
  const double *values;
  int32_t m;
  int32_t n;

  bool is_usable() const { return m >= 0 && values != nullptr && n >= 0; }
  int64_t size() const { return int64_t{m} * n; }
  double at(int32_t i, int32_t j) const { return values[int64_t{j} * m + i]; }
};

/// Whether every value is finite and no stored one lies below the rows of the matrix; `where`, when
/// not, is the position of the first that is at fault.
inline bool is_well_formed(const DenseColumns &dense, int32_t rows, int64_t *where) {
  for (*where = 0; *where < dense.size(); ++*where) {
    const double value = dense.values[*where];
    if (!std::isfinite(value) || (*where % dense.m >= rows && is_stored(value))) return false;
  }
  return true;
}

inline int64_t count_stored(const DenseColumns &dense) {
  return std::count_if(dense.values, dense.values + dense.size(), is_stored);
}

/// Whether the list names `length` different indices from 0 to count-1; false also without memory.
/// `where`, when not, is the position of the first that is at fault, -1 when it is none of them.
inline bool is_selection(const int32_t *keep, int32_t length, int32_t count, int32_t *where) {
  *where = -1;
  if (length < 0 || (length > 0 && keep == nullptr)) return false;
  Scratch<int8_t> named(count);
  if (!named) return false;
  for (int32_t t = 0; t < length; ++t) {
    *where = t;
    if (keep[t] < 0 || keep[t] >= count || named[keep[t]] != 0) return false;
    named[keep[t]] = 1;
  }
  return true;
}

/// Whether the list keeps new_m linking rows, then new_p further rows, then the cost row; all its
/// indices are rows.
inline bool keeps_row_layout(const QUARN_env &env, const int32_t *keep, int32_t new_m,
                             int32_t new_p) {
  const int32_t cost_row = env.m + env.p;
  const auto is_linking = [&env](int32_t row) { return row < env.m; };
  const auto is_further = [&env, cost_row](int32_t row) { return row >= env.m && row < cost_row; };
  return std::all_of(keep, keep + new_m, is_linking) &&
         std::all_of(keep + new_m, keep + new_m + new_p, is_further) &&
         keep[new_m + new_p] == cost_row;
}

}  // namespace quarn

#endif

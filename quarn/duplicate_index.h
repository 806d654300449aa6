/**
 * Recognises new columns that equal a column already in the matrix.
 *
 * In a decomposed master problem every column has one entry in a further row, the convexity row of
 * its block. That row is the key: a new column is compared with the columns of its own block only.
 *
 * A column is listed under one key row, its last one in stored order. Columns with several key rows
 * are therefore compared as well, but a duplicate whose entries stand in another order may be
 * missed. A column that names a row twice is left out: its entries are terms of a sum, and
 * comparing them one by one would be unsound.
 */
#ifndef QUARN_DUPLICATE_INDEX_H
#define QUARN_DUPLICATE_INDEX_H

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "quarn/internal.h"

namespace quarn {

constexpr double kSameCoefficients = 1e-8;  // bound on the sum of all differences in a column
constexpr double kSameCost = 1e-10;

class DuplicateIndex {
 public:
  /// Lists the columns that G has now, in one pass over its entries; none when a master problem
  /// with m linking rows leaves G no key row.
  DuplicateIndex(const QUARN_SMatrix_CW &G, int32_t m)
      : G_(G),
        m_(m),
        length_(int64_t{G.n} + 1),
        next_(int64_t{G.n} + 1),
        head_(int64_t{G.m} + 1),
        mark_(int64_t{G.m} + 1),
        value_(int64_t{G.m} + 1) {
    if (*this && G.m > m + 1) list_columns();
  }

  /// False when memory ran out; then nothing else may be called.
  explicit operator bool() const { return length_ && next_ && head_ && mark_ && value_; }

  /// The listed column, from 0, with the highest index that equals the new one, or -1; *cost is the
  /// new column's entry in the cost row, 0 without one. G may have been appended to meanwhile.
  int32_t find(const ColumnView &column, double *cost) {
    const int32_t key = mark_rows(column, 1);
    scatter(column);
    *cost = value_[G_.m];
    int32_t j = key == kNoKey ? -1 : head_[key];
    while (j >= 0 && !equals(j, column.length)) j = next_[j];
    clear(column);
    return j;
  }

 private:
  static constexpr int32_t kNoKey = 0;

  bool is_key_row(int32_t row) const { return row > m_ && row < G_.m; }

  /// Links in rising column order, at the heads: each list runs from the highest column down.
  void list_columns() {
    std::fill(head_.get(), head_.get() + G_.m + 1, -1);
    for (int32_t j = 0; j < G_.n; ++j) {
      const ColumnView entries = column(G_, j);
      length_[j] = entries.length;
      const int32_t key = mark_rows(entries, j + 1);
      if (key == kNoKey) continue;
      next_[j] = head_[key];
      head_[key] = j;
    }
    std::fill(mark_.get(), mark_.get() + G_.m + 1, 0);
  }

  /// Marks the rows of a column and returns its key row, none when a row comes twice. The stamp
  /// tells this column's marks from older ones.
  int32_t mark_rows(const ColumnView &column, int32_t stamp) {
    int32_t key = kNoKey;
    bool repeats = false;
    for (int32_t t = 0; t < column.length; ++t) {
      const int32_t row = column.rw[t];
      repeats = repeats || mark_[row] == stamp;
      mark_[row] = stamp;
      if (is_key_row(row)) key = row;
    }
    return repeats ? kNoKey : key;
  }

  void scatter(const ColumnView &column) {
    for (int32_t t = 0; t < column.length; ++t) value_[column.rw[t]] = column.elt[t];
  }

  void clear(const ColumnView &column) {
    for (int32_t t = 0; t < column.length; ++t) {
      mark_[column.rw[t]] = 0;
      value_[column.rw[t]] = 0.0;
    }
  }

  /// Whether listed column j has the rows, the coefficients and the cost of the scattered column.
  /// Both have `length` distinct rows, so that every row of j being marked means the same rows.
  bool equals(int32_t j, int32_t length) const {
    if (length_[j] != length) return false;
    const ColumnView candidate = column(G_, j);
    double difference = 0.0;
    for (int32_t t = 0; t < length; ++t) {
      const int32_t row = candidate.rw[t];
      const double distance = std::fabs(value_[row] - candidate.elt[t]);
      if (mark_[row] == 0 || (row == G_.m && !(distance < kSameCost))) return false;
      if (row != G_.m) difference += distance;
    }
    return difference < kSameCoefficients;
  }

  const QUARN_SMatrix_CW &G_;
  int32_t m_;
  Scratch<int32_t> length_;
  Scratch<int32_t> next_;
  Scratch<int32_t> head_;
  Scratch<int32_t> mark_;
  Scratch<double> value_;
};

}  // namespace quarn

#endif

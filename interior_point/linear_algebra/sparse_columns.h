/**
 * A matrix by columns, rows and positions counted from 0.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_SPARSE_COLUMNS_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_SPARSE_COLUMNS_H

#include <cstddef>
#include <cstdint>
#include <numeric>

#include "interior_point/vector.h"

namespace interior_point {

struct SparseColumns {
  int32_t rows = 0;
  Vector<int32_t> start = {0};  ///< columns + 1 positions
  Vector<int32_t> row;          ///< per entry
  Vector<double> value;         ///< per entry

  int32_t columns() const { return static_cast<int32_t>(start.size()) - 1; }
  int32_t length(int32_t j) const { return start[j + 1] - start[j]; }
  int32_t entries() const { return start.back(); }
};

/// Some of the columns of a matrix by rows.
struct RowEntries {
  Vector<int32_t> start;   ///< rows + 1 positions
  Vector<int32_t> column;  ///< per entry, increasing within a row
  Vector<int32_t> entry;   ///< per entry: its position in the matrix by columns

  /// Those for which `takes(j)` is true.
  template <class Takes>
  RowEntries(const SparseColumns &A, Takes takes) : start(static_cast<std::size_t>(A.rows) + 1, 0) {
    for (int32_t j = 0; j < A.columns(); ++j) {
      if (!takes(j)) continue;
      for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) ++start[A.row[t] + 1];
    }
    std::partial_sum(start.begin(), start.end(), start.begin());
    column.resize(static_cast<std::size_t>(start.back()));
    entry.resize(column.size());
    Vector<int32_t> next(start.begin(), start.end() - 1);
    for (int32_t j = 0; j < A.columns(); ++j) {
      if (!takes(j)) continue;
      for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
        const int32_t at = next[A.row[t]]++;
        column[at] = j;
        entry[at] = t;
      }
    }
  }
};

/// y += x_j a_j
inline void add_column(const SparseColumns &A, int32_t j, double xj, double *y) {
  for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) y[A.row[t]] += A.value[t] * xj;
}

/// y += A x
inline void add_product(const SparseColumns &A, const double *x, double *y) {
  const int32_t n = A.columns();
  const int32_t *row = A.row.data();
  const double *value = A.value.data();
  for (int32_t j = 0; j < n; ++j) {
    const double xj = x[j];
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) y[row[t]] += value[t] * xj;
  }
}

/// a_j'y, the product of column j with y
inline double column_product(const SparseColumns &A, int32_t j, const double *y) {
  double sum = 0.0;
  for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) sum += A.value[t] * y[A.row[t]];
  return sum;
}

}  // namespace interior_point

#endif

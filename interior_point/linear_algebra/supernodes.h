/**
 * The supernodes of a sparse factor: neighbouring columns of L with the same rows below them, which
 * are held as one dense panel.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_SUPERNODES_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_SUPERNODES_H

#include <cstdint>

#include "interior_point/linear_algebra/ordering.h"
#include "interior_point/vector.h"

namespace interior_point {

/// Supernode s holds the columns first[s] .. first[s + 1] - 1 of L; its rows are
/// row[row_start[s]] .. row[row_start[s + 1] - 1], increasing, its own columns first. Its panel
/// (rows x columns, column-major) stands at panel_start[s] of the numbers.
struct Supernodes {
  Vector<int32_t> first;
  Vector<int64_t> row_start;
  Vector<int32_t> row;
  Vector<int64_t> panel_start;
  Vector<int32_t> of_column;  ///< per column of L: its supernode
  double work = 0.0;          ///< multiply-add pairs of a factorisation
  double thin_work = 0.0;     ///< those of panels with a few columns

  int32_t count() const { return static_cast<int32_t>(first.size()) - 1; }
  int32_t columns(int32_t s) const { return first[s + 1] - first[s]; }
  int32_t rows(int32_t s) const { return static_cast<int32_t>(row_start[s + 1] - row_start[s]); }
  const int32_t *rows_of(int32_t s) const { return row.data() + row_start[s]; }
};

/// All but the rows of the supernodes for this order.
Supernodes find_supernodes(const Ordering &ordering);

/// Writes their rows.
void find_rows(const Adjacency &adjacency, const Ordering &ordering, Supernodes *nodes);

}  // namespace interior_point

#endif

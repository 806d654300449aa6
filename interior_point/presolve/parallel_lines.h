/**
 * Rows, or columns, of a program that are multiples of each other.
 */
#ifndef INTERIOR_POINT_PRESOLVE_PARALLEL_LINES_H
#define INTERIOR_POINT_PRESOLVE_PARALLEL_LINES_H

#include "interior_point/presolve/reducible_program.h"
#include "interior_point/vector.h"

namespace interior_point {

/// Line `second` is `ratio` times line `first`.
struct ParallelPair {
  int32_t first, second;
  double ratio;
};

/// Pairs of parallel rows with at least two entries; of k parallel rows the first comes with each
/// of the others. Rows are sorted by a hash, equal hashes compared entry by entry. Throws
/// std::bad_alloc.
Vector<ParallelPair> parallel_rows(const ReducibleProgram &p);

/// The same of columns with at least one entry.
Vector<ParallelPair> parallel_columns(const ReducibleProgram &p);

}  // namespace interior_point

#endif

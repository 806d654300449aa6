/**
 * Storage of the two matrix records and the conversions between them.
 *
 * Unlike the public operations, these take capacities of 0: a master problem may have no column or
 * no entry, and its matrix is converted and copied all the same.
 */
#ifndef QUARN_MATRIX_STORAGE_H
#define QUARN_MATRIX_STORAGE_H

#include <algorithm>
#include <cstdint>

#include "quarn/internal.h"

namespace quarn {

inline bool is_capacity(int64_t count) { return count >= 0 && count < INT32_MAX; }

/// Start array of an empty record: the first two entries are 1, the others 0.
inline int32_t *allocate_starts(int32_t capacity) {
  int32_t *starts = allocate<int32_t>(std::max<int64_t>(int64_t{capacity} + 1, 2));
  if (starts != nullptr) starts[0] = starts[1] = 1;
  return starts;
}

inline bool make_rows(QUARN_SMatrix_RW *A, int32_t max_m, int32_t max_n, int32_t max_nz) {
  *A = QUARN_SMatrix_RW{};
  if (!is_capacity(max_m) || max_nz < 0) return false;
  A->row_start = allocate_starts(max_m);
  A->elt = allocate<double>(max_nz);
  A->cl = allocate<int32_t>(max_nz);
  if (A->row_start == nullptr || A->elt == nullptr || A->cl == nullptr) {
    QUARN_free_SMatrix_RW(A);
    return false;
  }
  A->max_m = max_m;
  A->max_n = max_n;
  A->max_nz = max_nz;
  return true;
}

/// Resizes the two arrays of the entries; *capacity never claims more than the shorter one has.
inline bool resize_entries(double **elt, int32_t **index, int32_t *capacity, int32_t wanted) {
  const int32_t old = *capacity;
  if (!resize_filled(elt, old, wanted, 0.0)) return false;
  *capacity = std::min(old, wanted);
  if (!resize_filled(index, old, wanted, int32_t{0})) return false;
  *capacity = wanted;
  return true;
}

inline bool resize_starts(int32_t **starts, int32_t *capacity, int32_t wanted) {
  const int64_t old_length = *starts == nullptr ? 0 : int64_t{*capacity} + 1;
  if (!resize_filled(starts, old_length, int64_t{wanted} + 1, int32_t{0})) return false;
  if (old_length == 0) (*starts)[0] = 1;
  *capacity = wanted;
  return true;
}

/// A record that frees its arrays at the end of the scope unless they were handed over.
template <typename Matrix, void (*kFree)(Matrix *)>
class Owned {
 public:
  Owned() : matrix_{} {}
  ~Owned() { kFree(&matrix_); }
  Owned(const Owned &) = delete;
  Owned &operator=(const Owned &) = delete;

  Matrix *get() { return &matrix_; }
  Matrix *operator->() { return &matrix_; }
  Matrix &operator*() { return matrix_; }

  Matrix release() {
    const Matrix handed_over = matrix_;
    matrix_ = Matrix{};
    return handed_over;
  }

 private:
  Matrix matrix_;
};

using OwnedColumns = Owned<QUARN_SMatrix_CW, QUARN_free_SMatrix_CW>;
using OwnedRows = Owned<QUARN_SMatrix_RW, QUARN_free_SMatrix_RW>;

/// The entries of a record as `count` lists, whichever way they run.
struct Lists {
  const int32_t *start;
  const int32_t *index;
  const double *elt;
  int32_t count;
};

/// Starts of the target lists from the number of entries in each, counter[1] .. counter[count]; the
/// counters are 0 afterwards.
inline void accumulate_starts(int32_t *counter, int32_t count, int32_t *start) {
  start[0] = 1;
  for (int32_t t = 1; t <= count; ++t) {
    start[t] = start[t - 1] + counter[t];
    counter[t] = 0;
  }
}

/// Second pass of the counting sort: every entry to the next free position of its target list. The
/// source lists are taken in order, so that the target lists come out sorted.
inline void distribute(const Lists &source, int32_t *counter, const int32_t *start, int32_t *index,
                       double *elt) {
  for (int32_t t = 0; t < source.count; ++t) {
    for (int32_t k = source.start[t] - 1; k < source.start[t + 1] - 1; ++k) {
      const int32_t list = source.index[k];
      const int32_t q = start[list - 1] + counter[list] - 1;
      index[q] = t + 1;
      elt[q] = source.elt[k];
      counter[list] += 1;
    }
  }
}

/// Row-wise form of C; false, with R empty, when memory ran out. C may be a view whose first
/// position is not 1.
inline bool rows_from_columns(const QUARN_SMatrix_CW &C, QUARN_SMatrix_RW *R, int32_t max_m,
                              int32_t max_n, int32_t max_nz) {
  Scratch<int32_t> counter(int64_t{C.m} + 1);
  if (!make_rows(R, max_m, max_n, max_nz)) return false;
  if (!counter) {
    QUARN_free_SMatrix_RW(R);
    return false;
  }
  R->m = C.m;
  R->n = C.n;
  R->nz = C.nz;
  for (int32_t k = C.col_start[0] - 1; k < C.col_start[C.n] - 1; ++k) counter[C.rw[k]] += 1;
  accumulate_starts(counter.get(), C.m, R->row_start);
  distribute({C.col_start, C.rw, C.elt, C.n}, counter.get(), R->row_start, R->cl, R->elt);
  return true;
}

/// Column-wise form of R; false, with C empty, when memory ran out.
inline bool columns_from_rows(const QUARN_SMatrix_RW &R, QUARN_SMatrix_CW *C, int32_t max_m,
                              int32_t max_n, int32_t max_nz) {
  Scratch<int32_t> counter(int64_t{R.n} + 1);
  if (!make_columns(C, max_m, max_n, max_nz)) return false;
  if (!counter) {
    QUARN_free_SMatrix_CW(C);
    return false;
  }
  C->m = R.m;
  C->n = R.n;
  C->nz = R.nz;
  for (int32_t k = 0; k < R.nz; ++k) counter[R.cl[k]] += 1;
  accumulate_starts(counter.get(), R.n, C->col_start);
  distribute({R.row_start, R.cl, R.elt, R.m}, counter.get(), C->col_start, C->rw, C->elt);
  return true;
}

}  // namespace quarn

#endif

/**
 * The two matrix records inside the library: creation, ownership, and the conversions between them.
 *
 * Unlike the public operations, these take capacities of 0: a master problem may have no column or
 * no entry, and its matrix is converted and copied all the same.
 */
#ifndef QUARN_SPARSE_MATRIX_H
#define QUARN_SPARSE_MATRIX_H

#include <cstdint>

#include "quarn/internal.h"
#include "quarn/log.h"

namespace quarn {

/// Whether a record may hold this many rows, columns or entries: one less than the type counts.
inline bool is_capacity(int64_t count) { return count >= 0 && count < INT32_MAX; }

/// Creates a column-wise record with exactly these capacities, no rows and no columns. Other than
/// QUARN_set_SMatrix_CW it takes capacities of 0, which a matrix without columns or entries needs.
/// What A held before is overwritten; false, with A empty, when memory ran out, max_n or max_nz is
/// negative, or max_n is 2^31-1.
bool make_columns(QUARN_SMatrix_CW *A, int32_t max_m, int32_t max_n, int32_t max_nz);

/// The same for a row-wise record; false also when max_m or max_nz is negative, or max_m is 2^31-1.
bool make_rows(QUARN_SMatrix_RW *A, int32_t max_m, int32_t max_n, int32_t max_nz);

/// Copies the columns first .. n-1 of G, all rows, into a record made by make_columns with
/// capacities equal to the sizes; false, with `out` empty, when memory ran out.
bool copy_columns_from(const QUARN_SMatrix_CW &G, int32_t first, QUARN_SMatrix_CW *out);

/// Row-wise form of C; false, with R empty, when memory ran out. C may be a view whose first
/// position is not 1.
bool rows_from_columns(const QUARN_SMatrix_CW &C, QUARN_SMatrix_RW *R, int32_t max_m, int32_t max_n,
                       int32_t max_nz);

/// Column-wise form of R; false, with C empty, when memory ran out.
bool columns_from_rows(const QUARN_SMatrix_RW &R, QUARN_SMatrix_CW *C, int32_t max_m, int32_t max_n,
                       int32_t max_nz);

/// Writes the listing of QUARN_print_Matrix to `log`.
void print_matrix(const Log &log, const QUARN_SMatrix_CW &A, int32_t dim);

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

}  // namespace quarn

#endif

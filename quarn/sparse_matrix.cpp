// The two sparse matrix records: creation, growth, conversion, release, and the listing.
//
// A column-wise record lists its entries column after column, a row-wise one row after row:
//
//   Symbol     Code                          Meaning
//   list t     col_start[t], row_start[t]    first position, from 1, of column t or row t (from 0)
//   index      rw, cl                        row or column of an entry, from 1
//   closing    start[count] = nz + 1         so that a length is the difference of two starts

#include "quarn/sparse_matrix.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "quarn/edit_messages.h"

namespace quarn {

// ---- creation and growth ------------------------------------------------------------------------

/// Start array of an empty record: the first two entries are 1, the others 0.
static int32_t *allocate_starts(int32_t capacity) {
  int32_t *starts = allocate<int32_t>(std::max<int64_t>(int64_t{capacity} + 1, 2));
  if (starts != nullptr) starts[0] = starts[1] = 1;
  return starts;
}

/// Arrays for `lists` lists with nz entries; what is there of them belongs to the record in any
/// case. False without memory, or for a number of lists or entries that cannot be.
static bool allocate_lists(int32_t lists, int32_t nz, int32_t **start, int32_t **index,
                           double **elt) {
  if (!is_capacity(lists) || nz < 0) return false;
  *start = allocate_starts(lists);
  *elt = allocate<double>(nz);
  *index = allocate<int32_t>(nz);
  return *start != nullptr && *elt != nullptr && *index != nullptr;
}

template <typename Matrix>
static void set_capacities(Matrix *A, int32_t max_m, int32_t max_n, int32_t max_nz) {
  A->max_m = max_m;
  A->max_n = max_n;
  A->max_nz = max_nz;
}

bool make_columns(QUARN_SMatrix_CW *A, int32_t max_m, int32_t max_n, int32_t max_nz) {
  *A = QUARN_SMatrix_CW{};
  if (!allocate_lists(max_n, max_nz, &A->col_start, &A->rw, &A->elt)) {
    QUARN_free_SMatrix_CW(A);
    return false;
  }
  set_capacities(A, max_m, max_n, max_nz);
  return true;
}

bool make_rows(QUARN_SMatrix_RW *A, int32_t max_m, int32_t max_n, int32_t max_nz) {
  *A = QUARN_SMatrix_RW{};
  if (!allocate_lists(max_m, max_nz, &A->row_start, &A->cl, &A->elt)) {
    QUARN_free_SMatrix_RW(A);
    return false;
  }
  set_capacities(A, max_m, max_n, max_nz);
  return true;
}

/// Resizes the two arrays of the entries; *capacity never claims more than the shorter one has.
static bool resize_entries(double **elt, int32_t **index, int32_t *capacity, int32_t wanted) {
  const int32_t old = *capacity;
  if (!resize_filled(elt, old, wanted, 0.0)) return false;
  *capacity = std::min(old, wanted);
  if (!resize_filled(index, old, wanted, int32_t{0})) return false;
  *capacity = wanted;
  return true;
}

static bool resize_starts(int32_t **starts, int32_t *capacity, int32_t wanted) {
  const int64_t old_length = *starts == nullptr ? 0 : int64_t{*capacity} + 1;
  if (!resize_filled(starts, old_length, int64_t{wanted} + 1, int32_t{0})) return false;
  if (old_length == 0) (*starts)[0] = 1;
  *capacity = wanted;
  return true;
}

// ---- conversion and copy ------------------------------------------------------------------------

/// Starts of the target lists from the number of entries in each, counter[1] .. counter[count]; the
/// counters are 0 afterwards.
static void accumulate_starts(int32_t *counter, int32_t count, int32_t *start) {
  start[0] = 1;
  for (int32_t t = 1; t <= count; ++t) {
    start[t] = start[t - 1] + counter[t];
    counter[t] = 0;
  }
}

/// Second pass of the counting sort: every entry to the next free position of its target list. The
/// source lists are taken in order, so that the target lists come out sorted.
static void distribute(const Lists &source, int32_t *counter, const int32_t *start, int32_t *index,
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

bool rows_from_columns(const QUARN_SMatrix_CW &C, QUARN_SMatrix_RW *R, int32_t max_m, int32_t max_n,
                       int32_t max_nz) {
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

bool columns_from_rows(const QUARN_SMatrix_RW &R, QUARN_SMatrix_CW *C, int32_t max_m, int32_t max_n,
                       int32_t max_nz) {
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

bool copy_columns_from(const QUARN_SMatrix_CW &G, int32_t first, QUARN_SMatrix_CW *out) {
  const int32_t skipped = G.col_start[first] - 1;
  const int32_t nz = G.col_start[G.n] - 1 - skipped;
  if (!make_columns(out, G.m, G.n - first, nz)) return false;
  out->m = G.m;
  out->n = G.n - first;
  out->nz = nz;
  std::copy(G.rw + skipped, G.rw + skipped + nz, out->rw);
  std::copy(G.elt + skipped, G.elt + skipped + nz, out->elt);
  for (int32_t j = 0; j <= out->n; ++j) out->col_start[j] = G.col_start[first + j] - skipped;
  return true;
}

// ---- listing ------------------------------------------------------------------------------------

static void print_inequality(const Log &log, const ColumnView &column, int32_t cost_row,
                             int32_t dim) {
  double cost = 0.0;
  bool has_cost = false;
  for (int32_t t = 0; t < column.length; ++t) {
    const int32_t row = column.rw[t];
    const double value = column.elt[t];
    if (row == cost_row) {
      cost = has_cost ? cost + value : value;
      has_cost = true;
      continue;
    }
    const bool linking = row <= dim;
    edit_messages::term(log, t > 0 && !(value < 0.0), value, linking ? 'U' : 'Z',
                        linking ? row : row - dim);
  }
  if (has_cost) {
    edit_messages::right_hand_side(log, cost);
  } else {
    edit_messages::no_right_hand_side(log);
  }
}

void print_matrix(const Log &log, const QUARN_SMatrix_CW &A, int32_t dim) {
  for (int32_t j = 0; j < A.n; ++j) {
    edit_messages::inequality_number(log, j);
    print_inequality(log, column(A, j), A.m, dim);
  }
  edit_messages::flush(log);
}

}  // namespace quarn

int32_t QUARN_set_SMatrix_CW(QUARN_SMatrix_CW *A, int32_t max_m, int32_t max_n, int32_t max_nz) {
  if (A == nullptr || max_n < 1 || !quarn::is_capacity(max_n)) return -1;
  A->col_start = quarn::allocate_starts(max_n);
  if (A->col_start == nullptr || max_nz < 1) return -1;
  A->elt = quarn::allocate<double>(max_nz);
  A->rw = quarn::allocate<int32_t>(max_nz);
  if (A->elt == nullptr || A->rw == nullptr) return -1;
  A->extra1 = A->extra2 = nullptr;
  quarn::set_capacities(A, max_m, max_n, max_nz);
  A->m = A->n = A->nz = 0;
  return 0;
}

int32_t QUARN_set_SMatrix_RW(QUARN_SMatrix_RW *A, int32_t max_m, int32_t max_n, int32_t max_nz) {
  if (A == nullptr || max_m < 1 || !quarn::is_capacity(max_m)) return -1;
  A->row_start = quarn::allocate_starts(max_m);
  if (A->row_start == nullptr || max_nz < 1) return -1;
  A->elt = quarn::allocate<double>(max_nz);
  A->cl = quarn::allocate<int32_t>(max_nz);
  if (A->elt == nullptr || A->cl == nullptr) return -1;
  A->extra1 = A->extra2 = nullptr;
  quarn::set_capacities(A, max_m, max_n, max_nz);
  A->m = A->n = A->nz = 0;
  return 0;
}

int32_t QUARN_reallocate_SMatrix_CW(QUARN_SMatrix_CW *A, int32_t max_n, int32_t max_nz) {
  if (A == nullptr || !quarn::is_capacity(max_n) || max_n < A->n || max_nz < A->nz) return -1;
  if (max_n != A->max_n && !quarn::resize_starts(&A->col_start, &A->max_n, max_n)) return -1;
  if (max_nz != A->max_nz && !quarn::resize_entries(&A->elt, &A->rw, &A->max_nz, max_nz)) return -1;
  return 0;
}

int32_t QUARN_reset_SMatrix_CW(QUARN_SMatrix_CW *A, int32_t /*max_m*/, int32_t max_n,
                               int32_t max_nz) {
  if (A == nullptr || max_n == INT32_MAX) return -1;
  if (max_n > A->max_n && !quarn::resize_starts(&A->col_start, &A->max_n, max_n)) return -1;
  if (max_nz > A->max_nz && !quarn::resize_entries(&A->elt, &A->rw, &A->max_nz, max_nz)) return -1;
  return 0;
}

int32_t QUARN_reset_SMatrix_RW(QUARN_SMatrix_RW *A, int32_t max_m, int32_t /*max_n*/,
                               int32_t max_nz) {
  if (A == nullptr || max_m == INT32_MAX) return -1;
  if (max_m > A->max_m && !quarn::resize_starts(&A->row_start, &A->max_m, max_m)) return -1;
  if (max_nz > A->max_nz && !quarn::resize_entries(&A->elt, &A->cl, &A->max_nz, max_nz)) return -1;
  return 0;
}

int32_t QUARN_set_SMatrix_RW_from_CW(const QUARN_SMatrix_CW *C, QUARN_SMatrix_RW *R, int32_t max_m,
                                     int32_t max_n, int32_t max_nz) {
  if (C == nullptr || C->col_start == nullptr || R == nullptr) return 0;
  if (C->m > max_m || C->n > max_n || C->nz > max_nz) return 0;
  if (max_m < 1 || max_nz < 1) return -1;
  return quarn::rows_from_columns(*C, R, max_m, max_n, max_nz) ? 1 : -1;
}

int32_t QUARN_set_SMatrix_CW_from_RW(QUARN_SMatrix_CW *C, const QUARN_SMatrix_RW *R, int32_t max_m,
                                     int32_t max_n, int32_t max_nz) {
  if (C == nullptr || R == nullptr || R->row_start == nullptr) return 0;
  if (R->m > max_m || R->n > max_n || R->nz > max_nz) return 0;
  if (max_n < 1 || max_nz < 1) return -1;
  return quarn::columns_from_rows(*R, C, max_m, max_n, max_nz) ? 1 : -1;
}

void QUARN_free_SMatrix_CW(QUARN_SMatrix_CW *A) {
  if (A == nullptr) return;
  std::free(A->elt);
  std::free(A->col_start);
  std::free(A->rw);
  std::free(A->extra1);
  std::free(A->extra2);
  *A = QUARN_SMatrix_CW{};
}

void QUARN_free_SMatrix_RW(QUARN_SMatrix_RW *A) {
  if (A == nullptr) return;
  std::free(A->elt);
  std::free(A->row_start);
  std::free(A->cl);
  std::free(A->extra1);
  std::free(A->extra2);
  *A = QUARN_SMatrix_RW{};
}

void QUARN_print_Matrix(const QUARN_SMatrix_CW *A, int32_t dim) {
  quarn::print_matrix(quarn::Log(), A != nullptr ? *A : QUARN_SMatrix_CW{}, dim);
}

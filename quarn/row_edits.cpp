// Rows into the master problem and out of it, with every array of the record kept in step. The
// edits allocate what they need before they change the first field.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "quarn/complaints.h"
#include "quarn/edit_arrays.h"
#include "quarn/edit_checks.h"
#include "quarn/edit_messages.h"
#include "quarn/environment.h"
#include "quarn/internal.h"
#include "quarn/sparse_matrix.h"

namespace quarn {

static bool are_numbers(const QUARN_env &env, const char *what, const double *values,
                        int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    if (!std::isnan(values[i])) continue;
    complaints::row_number(Log(env), what, i);
    return false;
  }
  return true;
}

static bool is_acceptable(const QUARN_env *env, const NewRows &rows) {
  if (env == nullptr || rows.R == nullptr || rows.R->m < 0) return false;
  if (rows.R->m == 0 && rows.R->row_start == nullptr) return rows.R->nz == 0;
  const bool values = rows.rhs != nullptr && rows.types != nullptr && rows.dual_lower != nullptr &&
                      rows.dual_upper != nullptr;
  if (!values && rows.R->m > 0) return false;
  const Lists lists = {rows.R->row_start, rows.R->cl, rows.R->elt, rows.R->m};
  const int32_t generated = env->G->n - env->ncols_aux;
  const Fault fault = first_fault(lists, rows.R->nz, generated);
  complaints::batch(Log(*env), {"QUARN_add_rows", "row", "column"}, lists, fault, generated);
  return fault.flaw == Flaw::kNone && are_numbers(*env, "right-hand side", rows.rhs, rows.R->m) &&
         are_numbers(*env, "dual's lower limit", rows.dual_lower, rows.R->m) &&
         are_numbers(*env, "dual's upper limit", rows.dual_upper, rows.R->m);
}

static void report_new_rows(const QUARN_env &env, const QUARN_SMatrix_RW &R) {
  if (env.verbosity == 0) return;
  edit_messages::new_rows_size(Log(env), R.m, R.n, R.nz);
  edit_messages::matrix_size(Log(env), "QUARN_add_rows", env.m, *env.G);
  if (env.verbosity > 1) {
    edit_messages::rows_received(Log(env), R.m);
    edit_messages::lists(Log(env), {R.row_start, R.cl, R.elt, R.m}, edit_messages::row_head);
  }
  edit_messages::flush(Log(env));
}

/// Inserts the new rows behind the `linking` first rows of R, in place. Their columns are counted
/// among the generated ones, which stand behind the auxiliary ones.
static void insert_rows(const QUARN_SMatrix_RW &added, int32_t linking, int32_t ncols_aux,
                        QUARN_SMatrix_RW *R) {
  const int32_t first = R->row_start[linking] - 1;
  const int32_t end = R->row_start[R->m] - 1;
  const size_t moved = static_cast<size_t>(end - first);
  std::memmove(R->elt + first + added.nz, R->elt + first, moved * sizeof(double));
  std::memmove(R->cl + first + added.nz, R->cl + first, moved * sizeof(int32_t));
  for (int32_t i = R->m; i >= linking; --i) R->row_start[added.m + i] = R->row_start[i] + added.nz;
  for (int32_t i = 0; i < added.m; ++i) {
    R->row_start[linking + i] = added.row_start[i] + first;
  }
  for (int32_t e = 0; e < added.nz; ++e) {
    R->elt[first + e] = added.elt[e];
    R->cl[first + e] = added.cl[e] + ncols_aux;
  }
  R->nz += added.nz;
  R->m += added.m;
}

/// G with the new rows, its capacities equal to its sizes; false when memory or range ran out.
static bool matrix_with_rows(const QUARN_env &env, const QUARN_SMatrix_RW &added,
                             QUARN_SMatrix_CW *matrix) {
  const QUARN_SMatrix_CW &G = *env.G;
  const int64_t rows = int64_t{G.m} + added.m;
  const int64_t nz = int64_t{G.nz} + added.nz;
  if (!is_capacity(rows) || !is_capacity(nz)) return false;
  OwnedRows R;
  if (!rows_from_columns(G, R.get(), static_cast<int32_t>(rows), G.n, static_cast<int32_t>(nz))) {
    return false;
  }
  insert_rows(added, env.m, env.ncols_aux, R.get());
  return columns_from_rows(*R, matrix, R->m, R->n, R->nz);
}

/// The linking rows, the new rows behind them, then the further rows and the cost row.
static void fill_with_new_rows(const QUARN_env &env, const NewRows &rows, RowArrays *arrays) {
  const int32_t added = rows.R->m;
  for (int32_t i = 0; i < env.m; ++i) arrays->carry_linking_row(env, i, i);
  for (int32_t i = 0; i < added; ++i) arrays->set_new_row(rows, i, env.m + i);
  for (int32_t i = env.m; i <= env.m + env.p; ++i) arrays->carry_row(env, i, added + i);
}

/// Puts the edited matrix and its row counts into the record; the loaded problem and the saved
/// point belonged to the old rows.
static void install_rows(QUARN_env *env, QUARN_SMatrix_CW matrix, int32_t m, int32_t p) {
  drop_problem(env);
  QUARN_free_SMatrix_CW(env->G);
  *env->G = matrix;
  env->m = m;
  env->p = p;
  env->nrows = m + p + 1;
  env->WS_point_saved = 0;
}

static bool is_row_selection(const QUARN_env *env, const int32_t *keep, int32_t nkeep,
                             int32_t new_m, int32_t new_p) {
  if (env == nullptr) return false;
  int32_t where = 0;
  const bool counts = new_m >= 0 && new_p >= 0 && int64_t{new_m} + new_p + 1 == nkeep;
  if (counts && !is_selection(keep, nkeep, env->G->m, &where)) {
    complaints::keep_list(Log(*env), "QUARN_remove_rows", "row", keep, where, env->G->m);
    return false;
  }
  if (counts && keeps_row_layout(*env, keep, new_m, new_p)) return true;
  complaints::row_layout(Log(*env), new_m, new_p);
  return false;
}

static void append_row(const QUARN_SMatrix_RW &R, int32_t row, QUARN_SMatrix_RW *out) {
  const int32_t first = R.row_start[row] - 1;
  const int32_t length = R.row_start[row + 1] - R.row_start[row];
  std::copy(R.elt + first, R.elt + first + length, out->elt + out->nz);
  std::copy(R.cl + first, R.cl + first + length, out->cl + out->nz);
  out->nz += length;
  out->m += 1;
  out->row_start[out->m] = out->nz + 1;
}

/// G with the kept rows in their new order, its capacities equal to its sizes; false without
/// memory.
static bool matrix_of_rows(const QUARN_SMatrix_CW &G, const int32_t *keep, int32_t nkeep,
                           QUARN_SMatrix_CW *matrix) {
  OwnedRows all, kept;
  if (!rows_from_columns(G, all.get(), G.m, G.n, G.nz)) return false;
  if (!make_rows(kept.get(), nkeep, G.n, G.nz)) return false;
  kept->n = G.n;
  for (int32_t t = 0; t < nkeep; ++t) append_row(*all, keep[t], kept.get());
  return columns_from_rows(*kept, matrix, nkeep, kept->n, kept->nz);
}

static int32_t count_added(const int32_t *row_added, int32_t m) {
  return row_added == nullptr ? 0 : static_cast<int32_t>(std::count(row_added, row_added + m, 1));
}

}  // namespace quarn

int32_t QUARN_add_rows(QUARN_env *env, const QUARN_SMatrix_RW *new_rows, const double *rhs,
                       const int32_t *types, const double *dual_lower, const double *dual_upper,
                       const int32_t *tags) {
  const quarn::NewRows rows = {new_rows, rhs, types, dual_lower, dual_upper, tags};
  if (!quarn::is_acceptable(env, rows)) return -1;
  const quarn::InvariantGuard guard(env);
  quarn::report_new_rows(*env, *new_rows);
  const int32_t added = new_rows->m;
  quarn::OwnedColumns matrix;
  if (!quarn::matrix_with_rows(*env, *new_rows, matrix.get())) return -1;
  quarn::RowArrays arrays(matrix->m, env->m + added);
  if (!arrays) return -1;
  quarn::fill_with_new_rows(*env, rows, &arrays);

  arrays.install(env);
  if (env->row_tag != nullptr) quarn::replace(&env->row_tag, &arrays.row_tag);
  quarn::install_rows(env, matrix.release(), env->m + added, env->p);
  env->ncuts += added;
  env->matrix_changed = 1;
  return 1;
}

int32_t QUARN_remove_rows(QUARN_env *env, const int32_t *keep, int32_t nkeep, int32_t new_m,
                          int32_t new_p) {
  quarn::edit_messages::row_removal(env != nullptr ? quarn::Log(*env) : quarn::Log());
  if (!quarn::is_row_selection(env, keep, nkeep, new_m, new_p)) return -1;
  const quarn::InvariantGuard guard(env);
  quarn::OwnedColumns matrix;
  quarn::RowArrays arrays(nkeep, new_m);
  if (!arrays || !quarn::matrix_of_rows(*env->G, keep, nkeep, matrix.get())) return -1;
  for (int32_t t = 0; t < new_m; ++t) arrays.carry_linking_row(*env, keep[t], t);
  for (int32_t t = new_m; t < nkeep; ++t) arrays.carry_row(*env, keep[t], t);

  const int32_t removed_cuts = quarn::count_added(env->row_added, env->m) -
                               quarn::count_added(arrays.row_added.get(), new_m);
  arrays.install(env);
  quarn::replace(&env->row_tag, &arrays.row_tag);
  quarn::install_rows(env, matrix.release(), new_m, new_p);
  env->ncuts = std::max(0, env->ncuts - removed_cuts);
  return 1;
}

// Columns into the master problem and out of it, with every array of the record kept in step, and
// the views and copies of the columns that are there.
//
// The edits allocate what they need before they change the first field. The exception is growth
// before new columns: it over-allocates in place, and a larger matrix is still a sound one.

#include <algorithm>
#include <cstdint>

#include "quarn/complaints.h"
#include "quarn/duplicate_index.h"
#include "quarn/edit_arrays.h"
#include "quarn/edit_checks.h"
#include "quarn/edit_messages.h"
#include "quarn/environment.h"
#include "quarn/internal.h"
#include "quarn/sparse_matrix.h"

namespace quarn {

// ---- batches of new columns ---------------------------------------------------------------------

/// A batch that an addition takes up: an empty one, or one with sound entries in the rows of G.
static bool is_acceptable(const QUARN_env *env, const QUARN_SMatrix_CW *batch,
                          const char *function) {
  if (env == nullptr || batch == nullptr) return false;
  if (batch->n < 1) return true;
  const Lists columns = {batch->col_start, batch->rw, batch->elt, batch->n};
  const Fault fault = first_fault(columns, batch->nz, env->G->m);
  complaints::batch(Log(*env), {function, "column", "row"}, columns, fault, env->G->m);
  return fault.flaw == Flaw::kNone;
}

static bool is_acceptable(const QUARN_env &env, const DenseColumns &columns, const char *function) {
  int64_t where = 0;
  if (is_well_formed(columns, env.G->m, &where)) return true;
  complaints::dense_entry(Log(env), function, static_cast<int32_t>(where % columns.m),
                          static_cast<int32_t>(where / columns.m), columns.values[where], env.G->m);
  return false;
}

static void report_columns(const Log &log, const QUARN_SMatrix_CW &batch, const char *function,
                           edit_messages::HeadMessage head) {
  edit_messages::columns_received(log, function, batch.n);
  edit_messages::lists(log, {batch.col_start, batch.rw, batch.elt, batch.n}, head);
}

// ---- growth for new columns ---------------------------------------------------------------------

/// New capacity: what is there, `factor` times what comes, and `reserve`.
struct GrowthRule {
  int32_t factor;
  int32_t reserve;
};

constexpr GrowthRule kGeneratedGrowth = {5, 1000};  // one resize serves many outer iterations
constexpr GrowthRule kAuxiliaryGrowth = {2, 1};

/// The capacity that `coming` more of something need; the old one while it is large enough, -1 when
/// counts or capacity would pass the range of their type.
static int32_t capacity_for(int32_t used, int32_t coming, int32_t capacity, GrowthRule rule) {
  const int64_t total = int64_t{used} + coming;
  if (!is_capacity(total)) return -1;
  if (total < int64_t{capacity} - 1) return capacity;
  const int64_t grown = used + int64_t{rule.factor} * coming + rule.reserve;
  return is_capacity(grown) ? static_cast<int32_t>(grown) : -1;
}

static bool needs_growth(int32_t used, int32_t coming, int32_t capacity) {
  return int64_t{used} + coming >= int64_t{capacity} - 1;
}

/// The column arrays of the record first, G's starts last: G never claims more columns than the
/// shortest of them has.
static bool grow_column_capacity(QUARN_env *env, int32_t max_n) {
  QUARN_SMatrix_CW *G = env->G;
  return QUARN_reset_lambda_bounds(env, max_n) == 0 &&
         resize_filled(&env->acpdm_work, G->max_n, max_n, int32_t{0}) &&
         resize_filled(&env->col_tag, G->max_n, max_n, int32_t{-1}) &&
         QUARN_reset_SMatrix_CW(G, G->max_m, max_n, G->max_nz) == 0;
}

/// Makes room for the whole batch, whether or not its columns will be accepted.
static bool grow_for_batch(QUARN_env *env, const QUARN_SMatrix_CW &batch, GrowthRule rule) {
  QUARN_SMatrix_CW *G = env->G;
  if (needs_growth(G->n, batch.n, G->max_n)) {
    const int32_t max_n = capacity_for(G->n, batch.n, G->max_n, rule);
    if (env->verbosity != 0) edit_messages::column_growth(Log(*env), G->max_n, max_n);
    if (!grow_column_capacity(env, max_n)) return false;
  }
  if (needs_growth(G->nz, batch.nz, G->max_nz)) {
    const int32_t max_nz = capacity_for(G->nz, batch.nz, G->max_nz, rule);
    if (env->verbosity != 0) edit_messages::entry_growth(Log(*env), G->max_nz, max_nz);
    if (QUARN_reset_SMatrix_CW(G, G->max_m, G->max_n, max_nz) != 0) return false;
  }
  return true;
}

static bool fits_index_range(const QUARN_SMatrix_CW &G, const QUARN_SMatrix_CW &batch,
                             GrowthRule rule) {
  return batch.n < 1 || (capacity_for(G.n, batch.n, G.max_n, rule) >= 0 &&
                         capacity_for(G.nz, batch.nz, G.max_nz, rule) >= 0);
}

// ---- appending columns --------------------------------------------------------------------------

static void append_column(QUARN_SMatrix_CW *G, const ColumnView &column) {
  std::copy(column.elt, column.elt + column.length, G->elt + G->nz);
  std::copy(column.rw, column.rw + column.length, G->rw + G->nz);
  G->nz += column.length;
  G->n += 1;
  G->col_start[G->n] = G->nz + 1;
}

/// Leading entries of the bound arrays that keep their values when these are resized. A copy counts
/// as many settled entries as its source, while its arrays may be shorter; they reach to the
/// capacity of G in any case, also when the caller put longer ones in their place.
static int32_t settled_bounds(const QUARN_env &env, int32_t capacity) {
  if (env.bounds_length <= 0) return env.ncols_total;
  return std::min(env.ncols_total, std::max(env.bounds_length, capacity));
}

/// The bounds of the moment for the columns from `first` on.
static void settle_bounds(QUARN_env *env, int32_t first) {
  std::fill(env->col_lb + first, env->col_lb + env->G->n, env->lambda_LB);
  std::fill(env->col_ub + first, env->col_ub + env->G->n, env->lambda_UB);
  env->ncols_total = env->G->n;
}

/// Tags column j of G, which is a generated one.
static void set_tag(QUARN_env *env, int32_t j, const int32_t *tags, int32_t c) {
  if (tags != nullptr && env->col_tag != nullptr) env->col_tag[j - env->ncols_aux] = tags[c];
}

static void accept_column(QUARN_env *env) {
  env->ncols_last += 1;
  env->matrix_changed = 1;
}

static void append_generated(QUARN_env *env, const QUARN_SMatrix_CW &batch, int32_t c,
                             const int32_t *tags) {
  set_tag(env, env->G->n, tags, c);
  append_column(env->G, column(batch, c));
  accept_column(env);
}

static double *cost_entry(QUARN_SMatrix_CW *G, int32_t j) {
  for (int32_t k = G->col_start[j] - 1; k < G->col_start[j + 1] - 1; ++k) {
    if (G->rw[k] == G->m) return &G->elt[k];
  }
  return nullptr;
}

/// A duplicate of column j was offered: the matrix keeps the cheaper cost. Auxiliary columns have
/// no tag to take over. False when the duplicate is not cheaper.
static bool take_cheaper_cost(QUARN_env *env, int32_t j, double cost, const int32_t *tags,
                              int32_t c) {
  double *known_cost = cost_entry(env->G, j);
  if (known_cost == nullptr || !(*known_cost > cost)) return false;
  *known_cost = cost;
  if (j >= env->ncols_aux) set_tag(env, j, tags, c);
  accept_column(env);
  return true;
}

/// A batch brought nothing but `refused` columns that are there, the first as column j of G. What
/// an oracle offers again counts only where the run stands still, and is remembered for that.
static void note_known_batch(QUARN_env *env, int32_t j, int32_t refused) {
  if (env->is_asking != 0) {
    env->known_column = j + 1;
  } else {
    complaints::known_columns(Log(*env), j, env->ncols_aux, refused - 1);
  }
}

/// Appends the columns that are not in G yet; equal columns within the batch are all new.
static bool append_distinct(QUARN_env *env, const QUARN_SMatrix_CW &batch, const int32_t *tags) {
  DuplicateIndex index(*env->G, env->m);
  if (!index) return false;
  int32_t first_known = 0, refused = 0;
  for (int32_t c = 0; c < batch.n; ++c) {
    double cost = 0.0;
    const int32_t known = index.find(column(batch, c), &cost);
    if (known < 0) {
      append_generated(env, batch, c, tags);
    } else if (!take_cheaper_cost(env, known, cost, tags, c) && refused++ == 0) {
      first_known = known;
    }
  }
  if (refused == batch.n) note_known_batch(env, first_known, refused);
  return true;
}

// ---- dense input --------------------------------------------------------------------------------

/// The batch with the stored values of the dense columns; false when memory ran out.
static bool sparse_batch(const DenseColumns &dense, int64_t nz, QUARN_SMatrix_CW *batch) {
  if (!is_capacity(nz)) return false;
  if (!make_columns(batch, dense.m, dense.n, static_cast<int32_t>(nz))) return false;
  batch->m = dense.m;
  batch->n = dense.n;
  for (int32_t j = 0; j < dense.n; ++j) {
    for (int32_t i = 0; i < dense.m; ++i) {
      if (!is_stored(dense.at(i, j))) continue;
      batch->rw[batch->nz] = i + 1;
      batch->elt[batch->nz] = dense.at(i, j);
      batch->nz += 1;
    }
    batch->col_start[j + 1] = batch->nz + 1;
  }
  return true;
}

// ---- removing columns ---------------------------------------------------------------------------

static void keep_columns(const QUARN_env &env, const int32_t *keep, int32_t nkeep,
                         QUARN_SMatrix_CW *matrix, ColumnArrays *arrays) {
  const int32_t max_n = env.G->max_n;
  std::fill(arrays->col_lb.get(), arrays->col_lb.get() + max_n, env.lambda_LB);
  std::fill(arrays->col_ub.get(), arrays->col_ub.get() + max_n, env.lambda_UB);
  matrix->m = env.G->m;
  for (int32_t j = 0; j < env.ncols_aux; ++j) {
    append_column(matrix, column(*env.G, j));
    arrays->carry_bounds(env, j, j);
  }
  for (int32_t t = 0; t < nkeep; ++t) {
    const int32_t source = env.ncols_aux + keep[t];
    append_column(matrix, column(*env.G, source));
    arrays->carry_bounds(env, source, env.ncols_aux + t);
    if (env.col_tag != nullptr) arrays->col_tag[t] = env.col_tag[keep[t]];
  }
}

}  // namespace quarn

// ---- column addition ----------------------------------------------------------------------------

int32_t QUARN_add_columns(QUARN_env *env, const QUARN_SMatrix_CW *batch, const int32_t *tags) {
  if (!quarn::is_acceptable(env, batch, __func__)) return -1;
  if (!quarn::fits_index_range(*env->G, *batch, quarn::kGeneratedGrowth)) return -1;
  const quarn::InvariantGuard guard(env);
  if (env->verbosity > 1) {
    quarn::report_columns(quarn::Log(*env), *batch, __func__, quarn::edit_messages::column_head);
  }
  if (env->verbosity != 0) quarn::edit_messages::flush(quarn::Log(*env));
  env->ncols_last = 0;
  if (batch->n < 1) return 0;
  if (!quarn::grow_for_batch(env, *batch, quarn::kGeneratedGrowth)) return -1;
  const int32_t first = env->G->n;
  if (env->column_elimination == 0) {
    for (int32_t c = 0; c < batch->n; ++c) quarn::append_generated(env, *batch, c, tags);
  } else if (!quarn::append_distinct(env, *batch, tags)) {
    return -1;
  }
  quarn::settle_bounds(env, first);
  return env->ncols_last;
}

int32_t QUARN_add_dense_columns(QUARN_env *env, const double *dense, const int32_t *tags,
                                int32_t dense_m, int32_t dense_n) {
  if (env == nullptr) return -1;
  const quarn::DenseColumns columns = {dense, dense_m, dense_n};
  if (columns.is_usable() && !quarn::is_acceptable(*env, columns, __func__)) return -1;
  env->ncols_last = 0;
  const int64_t nz = columns.is_usable() ? quarn::count_stored(columns) : 0;
  if (nz == 0) return 0;
  quarn::OwnedColumns batch;
  if (!quarn::sparse_batch(columns, nz, batch.get())) return -1;
  return QUARN_add_columns(env, batch.get(), tags);
}

int32_t QUARN_add_auxiliary_columns(QUARN_env *env, const QUARN_SMatrix_CW *batch) {
  if (!quarn::is_acceptable(env, batch, __func__)) return -1;
  if (!quarn::fits_index_range(*env->G, *batch, quarn::kAuxiliaryGrowth)) return -1;
  const quarn::InvariantGuard guard(env);
  if (env->verbosity != 0) {
    quarn::edit_messages::new_columns_size(quarn::Log(*env), batch->m, batch->n, batch->nz);
    quarn::edit_messages::matrix_size(quarn::Log(*env), __func__, env->m, *env->G);
    if (env->verbosity > 1) {
      quarn::report_columns(quarn::Log(*env), *batch, __func__,
                            quarn::edit_messages::auxiliary_column_head);
    }
    quarn::edit_messages::flush(quarn::Log(*env));
  }
  if (batch->n < 1) return 0;
  if (!quarn::grow_for_batch(env, *batch, quarn::kAuxiliaryGrowth)) return -1;
  const int32_t first = env->G->n;
  for (int32_t c = 0; c < batch->n; ++c) {
    quarn::append_column(env->G, quarn::column(*batch, c));
  }
  quarn::settle_bounds(env, first);
  env->ncols_aux_prev = env->ncols_aux;
  env->ncols_aux = env->G->n;
  return 1;
}

int32_t QUARN_add_auxiliary_columns_dense(QUARN_env *env, const double *dense, int32_t dense_m,
                                          int32_t dense_n) {
  if (env == nullptr) return -1;
  const quarn::DenseColumns columns = {dense, dense_m, dense_n};
  if (!columns.is_usable()) return 0;
  if (!quarn::is_acceptable(*env, columns, __func__)) return -1;
  const int64_t nz = quarn::count_stored(columns);
  if (nz == 0) return 0;
  quarn::OwnedColumns batch;
  if (!quarn::sparse_batch(columns, nz, batch.get())) return -1;
  return QUARN_add_auxiliary_columns(env, batch.get());
}

int32_t QUARN_reset_lambda_bounds(QUARN_env *env, int32_t length) {
  if (env == nullptr || length < 1) return -1;
  const int32_t capacity = env->G != nullptr ? env->G->max_n : 0;
  const int32_t settled = quarn::settled_bounds(*env, capacity);
  // Shorter than what G can hold, or than what is settled, the arrays would lose bounds in use.
  const int32_t held = std::max({length, settled, capacity});
  if (!quarn::resize(&env->col_lb, held)) return -1;
  env->bounds_length = std::min(env->bounds_length, held);
  for (int32_t j = settled; j < length; ++j) env->col_lb[j] = env->lambda_LB;
  if (!quarn::resize(&env->col_ub, held)) return -1;
  env->bounds_length = held;
  for (int32_t j = settled; j < length; ++j) env->col_ub[j] = env->lambda_UB;
  return 0;
}

// ---- column removal and access ------------------------------------------------------------------

int32_t QUARN_remove_columns(QUARN_env *env, const int32_t *keep, int32_t nkeep) {
  if (env == nullptr) return -1;
  QUARN_SMatrix_CW *old = env->G;
  const int32_t generated = old->n - env->ncols_aux;
  int32_t where = 0;
  if (!quarn::is_selection(keep, nkeep, generated, &where)) {
    quarn::complaints::keep_list(quarn::Log(*env), __func__, "column", keep, where, generated);
    return -1;
  }
  const quarn::InvariantGuard guard(env);
  quarn::OwnedColumns matrix;
  quarn::Scratch<QUARN_SMatrix_CW> record(1);
  quarn::ColumnArrays arrays(old->max_n);
  if (!record || !arrays) return -1;
  if (!quarn::make_columns(matrix.get(), old->m, old->max_n, old->max_nz)) return -1;
  quarn::keep_columns(*env, keep, nkeep, matrix.get(), &arrays);

  quarn::drop_problem(env);
  env->ncols_total = env->bounds_length = old->max_n;
  QUARN_free_SMatrix_CW(old);
  record[0] = matrix.release();
  quarn::replace(&env->G, &record);
  quarn::replace(&env->col_lb, &arrays.col_lb);
  quarn::replace(&env->col_ub, &arrays.col_ub);
  if (env->col_tag != nullptr) quarn::replace(&env->col_tag, &arrays.col_tag);
  env->matrix_changed = 1;
  return 1;
}

void QUARN_get_pointer_to_master_columns(const QUARN_env *env, QUARN_SMatrix_CW *view) {
  if (env == nullptr || view == nullptr) return;
  const QUARN_SMatrix_CW &G = *env->G;
  view->extra1 = view->extra2 = nullptr;
  view->col_start = G.col_start + env->ncols_aux;
  view->rw = G.rw;
  view->elt = G.elt;
  view->m = G.m;
  view->n = G.n - env->ncols_aux;
  view->nz = G.col_start[G.n] - G.col_start[env->ncols_aux];
}

void QUARN_copy_master_columns(const QUARN_env *env, QUARN_SMatrix_CW *out) {
  if (env == nullptr || out == nullptr) return;
  quarn::copy_columns_from(*env->G, env->ncols_aux, out);
}

void QUARN_copy_full_master_columns(const QUARN_env *env, QUARN_SMatrix_CW *out) {
  if (env == nullptr || out == nullptr) return;
  quarn::copy_columns_from(*env->G, 0, out);
}

// The environment record: creation with the initial restricted master, parameters, accessors, copy,
// release, and the summary of a run.
//
// The dual of the restricted master  min c'x, Ax (=, >=, <=) b, x in its bounds  has one variable
// u_i per row. Two columns per linking row i keep u_i in a box while they stay in the matrix:
//
//   (1)  column i-1    : -1 in row i, cost -u_LB[i-1]   <=>   -u_i <= -u_LB[i-1]
//   (2)  column m+i-1  : +1 in row i, cost  u_UB[i-1]   <=>    u_i <=  u_UB[i-1]

#include "quarn/environment.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <iterator>

#include "quarn/complaints.h"
#include "quarn/internal.h"
#include "quarn/log.h"
#include "quarn/sparse_matrix.h"

// A field added to the record must be looked at in set-up, copy and release; then this number
// moves.
static_assert(sizeof(void *) != 8 || sizeof(QUARN_env) == 536, "set-up, copy or release is behind");

namespace quarn {

constexpr double kDefaultDualBound = 1e10;
constexpr double kAssumedDensity = 0.05;  // of nrows rows and all columns of the first capacity
constexpr int32_t kFirstGeneratedRoom = 1000;

template <typename T>
static void fill(T *array, int64_t count, T value) {
  for (int64_t k = 0; k < count; ++k) array[k] = value;
}

/// A copy of `count` entries in *target, which is null when the source is; false without memory.
template <typename T>
static bool duplicate(const T *source, int64_t count, T **target) {
  *target = source == nullptr ? nullptr : allocate<T>(count);
  if (*target != nullptr) std::copy(source, source + count, *target);
  return source == nullptr || *target != nullptr;
}

template <typename T>
static void release(T **array) {
  std::free(*array);
  *array = nullptr;
}

// ---- set-up -------------------------------------------------------------------------------------

/// Every default that is not zero.
static void store_defaults(QUARN_env *env) {
  env->lambda_UB = kInfinity;
  env->objective_LB = -kInfinity;
  env->objective_UB = kInfinity;
  env->delta = 1e-6;
  env->opt_tol = 10.0;
  env->max_opt_tol = 1000.0;
  env->upperBnd = kInfinity;
  env->lowerBnd = -kInfinity;
  env->upperBnd_prev = kInfinity;
  env->lowerBnd_actual = -kInfinity;
  env->degree_of_optimality = 2.0;
  env->IP_obj_value = kInfinity;
  env->max_number_columns = 10000;
  env->max_cputime = 100000.0;
  env->reduce_fraction = 0.75;
  env->reduce_gap = 0.001;
  env->last_reduce = -1;
  env->WS_strategy = -1;
  env->exp_BD = 1;
  env->reliable_answer = 1;
  env->centrality_value = 1;
  env->rel_gap = 10.0;
  env->matrix_changed = 1;
  env->column_elimination = 1;
}

/// The empty matrix with all its rows. Small nrows leave too little room for the 4m entries of the
/// box columns; the capacity is raised to them, since a record without its box is of no use.
static bool make_matrix(QUARN_env *env) {
  const int64_t rows = int64_t{env->m} + env->p + 1;
  const int64_t max_n = 2 * (rows - 1) + kFirstGeneratedRoom;
  const int64_t box_entries = 4 * int64_t{env->m};
  if (max_n >= INT32_MAX || box_entries >= INT32_MAX) return false;
  const double wanted = std::ceil(env->nrows * kAssumedDensity * static_cast<double>(max_n));
  if (wanted < 1.0 || wanted >= INT32_MAX) return false;
  const int32_t max_nz = static_cast<int32_t>(std::max(wanted, static_cast<double>(box_entries)));
  if (QUARN_set_SMatrix_CW(env->G, static_cast<int32_t>(rows), static_cast<int32_t>(max_n),
                           max_nz) != 0) {
    return false;
  }
  env->G->m = static_cast<int32_t>(rows);
  return true;
}

static bool has_nan(const double *values, int64_t count) {
  return std::any_of(values, values + count, [](double value) { return std::isnan(value); });
}

/// An infinite limit as the record writes it: as the cost of a column it has to be a number.
static double finite_limit(double limit) {
  return std::isinf(limit) ? std::copysign(kInfinity, limit) : limit;
}

/// The current box starts at its limits; QUARN_set_dual_box narrows it. False also when a limit is
/// not a number.
static bool make_dual_box(QUARN_env *env, const double *lower, const double *upper) {
  const int32_t m = env->m;
  double **const arrays[] = {&env->u_LB, &env->u_LB_user, &env->u_UB, &env->u_UB_user};
  for (int a = 0; a < 4; ++a) {
    const double *given = a < 2 ? lower : upper;
    *arrays[a] = allocate<double>(m);
    if (*arrays[a] == nullptr) return false;
    if (given != nullptr) {
      if (has_nan(given, m)) return false;
      std::transform(given, given + m, *arrays[a], finite_limit);
    } else {
      fill(*arrays[a], m, a < 2 ? -kDefaultDualBound : kDefaultDualBound);
    }
  }
  return true;
}

/// The cost entry comes second even when it is 0: widening the box rewrites it in place.
static void append_box_column(QUARN_SMatrix_CW *G, int32_t row, double coefficient, double cost) {
  G->rw[G->nz] = row;
  G->elt[G->nz] = coefficient;
  G->rw[G->nz + 1] = G->m;
  G->elt[G->nz + 1] = cost;
  G->nz += 2;
  G->n += 1;
  G->col_start[G->n] = G->nz + 1;
}

/// All lower-bound columns (1), then all upper-bound columns (2).
static void append_box_columns(QUARN_env *env) {
  for (int32_t i = 0; i < env->m; ++i) append_box_column(env->G, i + 1, -1.0, -env->u_LB[i]);
  for (int32_t i = 0; i < env->m; ++i) append_box_column(env->G, i + 1, 1.0, env->u_UB[i]);
  env->ncols_total = env->ncols_box = env->ncols_aux = env->G->n;
}

/// The arrays by row, cost row included; u only for a warm start. False also when a right-hand side
/// or a dual is not a number.
static bool make_row_arrays(QUARN_env *env, const double *warm_duals, const double *rhs,
                            const int16_t *row_types) {
  const int32_t rows = env->G->m;
  if (has_nan(rhs, rows) || (warm_duals != nullptr && has_nan(warm_duals, rows))) return false;
  if (!duplicate(warm_duals, rows, &env->u) || !duplicate(rhs, rows, &env->RHS)) return false;
  env->row_range = allocate<double>(rows);
  env->row_type = allocate<int32_t>(rows);
  env->row_tag = allocate<int32_t>(rows);
  if (env->row_range == nullptr || env->row_type == nullptr || env->row_tag == nullptr)
    return false;
  fill(env->row_range, rows, kInfinity);
  fill(env->row_tag, rows, -1);
  std::copy(row_types, row_types + rows, env->row_type);
  return true;
}

/// The arrays by column, at G's full column capacity.
static bool make_column_arrays(QUARN_env *env) {
  const int32_t max_n = env->G->max_n;
  env->col_lb = allocate<double>(max_n);
  env->col_ub = allocate<double>(max_n);
  env->acpdm_work = allocate<int32_t>(max_n);
  env->col_tag = allocate<int32_t>(max_n);
  if (env->col_lb == nullptr || env->col_ub == nullptr || env->acpdm_work == nullptr ||
      env->col_tag == nullptr) {
    return false;
  }
  env->bounds_length = max_n;
  fill(env->col_lb, max_n, env->lambda_LB);
  fill(env->col_ub, max_n, env->lambda_UB);
  fill(env->col_tag, max_n, -1);
  return true;
}

// ---- accessors ----------------------------------------------------------------------------------

/// Replaces a solution buffer by a zero-filled one for the loaded problem. Columns may have been
/// added to G since the solve: the buffer reaches to the last of them, their value is 0.
static bool renew_buffer(const QUARN_env &env, double **buffer) {
  release(buffer);
  *buffer = allocate<double>(std::max(env.Pb->ncols, env.G->n));
  return *buffer != nullptr;
}

bool refresh_lambda(QUARN_env *env) {
  if (env->Pb == nullptr) return false;
  const bool renewed = renew_buffer(*env, &env->lambda);
  // At least the one entry that is always allocated: 0 is the length of a buffer of the caller's.
  env->lambda_length = renewed ? std::max({env->Pb->ncols, env->G->n, 1}) : 0;
  if (!renewed) return false;
  double unused_1 = 0.0, unused_2 = 0.0;
  get_opt_solution(env->Pb, &unused_1, &unused_2, env->lambda, nullptr, nullptr, nullptr);
  return true;
}

bool refresh_dual_slacks(QUARN_env *env) {
  if (env->Pb == nullptr || !renew_buffer(*env, &env->dual_slacks)) return false;
  double unused_1 = 0.0, unused_2 = 0.0;
  get_opt_solution(env->Pb, &unused_1, &unused_2, nullptr, nullptr, nullptr, env->dual_slacks);
  return true;
}

/// Hands out the entries of `buffer` from column `first` on, or nothing when it was not refreshed.
static void hand_out(const QUARN_env &env, bool refreshed, double *buffer, int32_t first,
                     double **values, int32_t *count) {
  *values = refreshed ? buffer + first : nullptr;
  *count = refreshed ? env.G->n - first : 0;
}

static void report_memory_overflow(const QUARN_env &env, const char *function) {
  const Log log(env);
  log.print("\n### Error on %s(): memory overflow!\n", function);
  log.flush();
}

// ---- copy ---------------------------------------------------------------------------------------

static void copy_problem_scalars(const QUARN_env &src, QUARN_env *dst) {
  dst->user_data = src.user_data;
  dst->ncols_total = src.ncols_total;
  dst->ncols_box = src.ncols_box;
  dst->ncuts = src.ncuts;
  dst->m = src.m;
  dst->p = src.p;
  dst->ncols_aux = src.ncols_aux;
  dst->ncols_aux_prev = src.ncols_aux_prev;
  dst->lambda_LB = src.lambda_LB;
  dst->lambda_UB = src.lambda_UB;
  dst->objective_LB = src.objective_LB;
  dst->objective_UB = src.objective_UB;
  dst->solver_option = src.solver_option;
  dst->nrows = src.nrows;
}

static void copy_parameters(const QUARN_env &src, QUARN_env *dst) {
  dst->delta = src.delta;
  dst->max_opt_tol = src.max_opt_tol;
  dst->WS_strategy = src.WS_strategy;
  dst->degree_of_optimality = src.degree_of_optimality;
  dst->change_bounds = src.change_bounds;
  dst->reliable_answer = src.reliable_answer;
  dst->centrality_value = src.centrality_value;
  dst->difficult_problem = src.difficult_problem;
  dst->verbosity = src.verbosity;
  dst->BLAS_threads = src.BLAS_threads;
  dst->max_number_columns = src.max_number_columns;
  dst->max_outer_iterations = src.max_outer_iterations;
  dst->max_cputime = src.max_cputime;
  dst->reduce_fraction = src.reduce_fraction;
  dst->reduce_gap = src.reduce_gap;
  dst->reduce_mode = src.reduce_mode;
  dst->column_elimination = src.column_elimination;
  dst->log_sink = src.log_sink;
  dst->log_data = src.log_data;
}

static void copy_bounds_and_state(const QUARN_env &src, QUARN_env *dst) {
  dst->opt_tol = src.opt_tol;
  dst->upperBnd = src.upperBnd;
  dst->lowerBnd = src.lowerBnd;
  dst->exp_BD = src.exp_BD;
  dst->rel_gap = src.rel_gap;
  dst->rel_gap_prev = src.rel_gap_prev;
  dst->abs_gap = src.abs_gap;
  dst->abs_gap_prev = src.abs_gap_prev;
  dst->gap_ratio = src.gap_ratio;
  dst->oracle_status = src.oracle_status;
  dst->restart = src.restart;
}

/// What a copy does not inherit: the stored integer solution, the counters and the timers.
static void start_afresh(QUARN_env *dst) {
  dst->IP_obj_value = kInfinity;
  dst->IP_lambda = nullptr;
  dst->IP_cols = nullptr;
  dst->IP_ncols = dst->IP_size = dst->n_seeds = 0;
  dst->WS_point_saved = 0;
  dst->ncols_last = 0;
  dst->is_asking = dst->known_column = 0;
  dst->last_reduce = -1;
  dst->matrix_changed = 1;
  dst->outer_iterations = dst->inner_iterations = dst->inner_iterations_ws = 0;
  dst->cputime = dst->cputime_oracle = dst->cputime_RMP = 0.0;
}

/// The copy has no loaded problem; the point of the source's one goes into its save record.
static bool copy_saved_point(const QUARN_env &src, QUARN_env *dst) {
  dst->Pb = nullptr;
  dst->Pb_save = allocate<IP_save_record>(1);
  if (dst->Pb_save == nullptr) return false;
  if (src.Pb != nullptr) save_Pb(src.Pb, dst->Pb_save);
  return true;
}

static bool copy_matrix(const QUARN_env &src, QUARN_env *dst) {
  dst->G = allocate<QUARN_SMatrix_CW>(1);
  return dst->G != nullptr && copy_columns_from(*src.G, 0, dst->G);
}

/// The copy's lambda is as long as its other column arrays, zero beyond what the source holds.
static bool copy_lambda(const QUARN_env &src, QUARN_env *dst) {
  const int32_t length = src.G->max_n;
  dst->dual_slacks = nullptr;
  dst->lambda = nullptr;
  dst->lambda_length = 0;
  if (src.lambda == nullptr) return true;
  dst->lambda = allocate<double>(length);
  if (dst->lambda == nullptr) return false;
  dst->lambda_length = length;
  // A buffer that the caller put there himself is as long as the loaded problem has columns.
  const int32_t loaded = src.Pb != nullptr ? src.Pb->ncols : 0;
  const int32_t held = src.lambda_length > 0 ? src.lambda_length : loaded;
  std::copy(src.lambda, src.lambda + std::min(length, held), dst->lambda);
  return true;
}

static bool copy_row_arrays(const QUARN_env &src, QUARN_env *dst) {
  const int32_t rows = src.G->max_m;
  return duplicate(src.u, rows, &dst->u) && duplicate(src.RHS, rows, &dst->RHS) &&
         duplicate(src.row_range, rows, &dst->row_range) &&
         duplicate(src.row_type, rows, &dst->row_type) &&
         duplicate(src.row_tag, rows, &dst->row_tag) &&
         duplicate(src.row_added, src.m, &dst->row_added);
}

/// The solver's work space is not copied: it belongs to the problem that the source has loaded.
static bool copy_column_arrays(const QUARN_env &src, QUARN_env *dst) {
  const int32_t max_n = src.G->max_n;
  dst->bounds_length = max_n;
  dst->acpdm_work = allocate<int32_t>(max_n);
  return dst->acpdm_work != nullptr && duplicate(src.col_lb, max_n, &dst->col_lb) &&
         duplicate(src.col_ub, max_n, &dst->col_ub) && duplicate(src.col_tag, max_n, &dst->col_tag);
}

static bool copy_dual_box(const QUARN_env &src, QUARN_env *dst) {
  return duplicate(src.u_LB, src.m, &dst->u_LB) && duplicate(src.u_UB, src.m, &dst->u_UB) &&
         duplicate(src.u_LB_user, src.m, &dst->u_LB_user) &&
         duplicate(src.u_UB_user, src.m, &dst->u_UB_user);
}

// ---- release ------------------------------------------------------------------------------------

/// Every array of the record, each null afterwards, so that a second release finds nothing.
static void release_arrays(QUARN_env *env) {
  release(&env->acpdm_work);
  for (double **box : {&env->u_LB, &env->u_UB, &env->u_UB_user, &env->u_LB_user}) release(box);
  for (double **values : {&env->col_ub, &env->col_lb, &env->RHS}) release(values);
  release(&env->row_type);
  for (double **values : {&env->row_range, &env->u, &env->lambda, &env->dual_slacks}) {
    release(values);
  }
  release(&env->IP_cols);
  release(&env->IP_lambda);
  for (int32_t **tags : {&env->col_tag, &env->row_tag, &env->row_added}) release(tags);
  env->lambda_length = 0;
}

void drop_problem(QUARN_env *env) {
  if (env->Pb != nullptr) free_Pb(env->Pb);
  env->Pb = nullptr;
}

// ---- invariants ---------------------------------------------------------------------------------

static bool matrix_is_sound(const QUARN_SMatrix_CW &G) {
  const bool counts = G.m >= 1 && G.n >= 0 && G.nz >= 0 && G.m <= G.max_m && G.n <= G.max_n &&
                      G.nz <= G.max_nz && G.elt != nullptr && G.rw != nullptr &&
                      G.col_start != nullptr;
  if (!counts || G.col_start[0] != 1 || G.col_start[G.n] != G.nz + 1) return false;
  for (int32_t j = 0; j < G.n; ++j) {
    if (G.col_start[j + 1] < G.col_start[j]) return false;
  }
  return std::all_of(G.rw, G.rw + G.nz, [&G](int32_t row) { return row >= 1 && row <= G.m; });
}

static bool arrays_are_there(const QUARN_env &env) {
  const void *const needed[] = {env.Pb_save,   env.RHS,       env.row_range, env.row_type,
                                env.col_lb,    env.col_ub,    env.u_LB,      env.u_UB,
                                env.u_LB_user, env.u_UB_user, env.acpdm_work};
  return std::all_of(std::begin(needed), std::end(needed), [](const void *p) { return p; });
}

bool check_invariants(const QUARN_env &env) {
  if (env.G == nullptr || !matrix_is_sound(*env.G) || !arrays_are_there(env)) return false;
  const bool rows = env.m >= 0 && env.p >= 0 && env.G->m == env.m + env.p + 1;
  const bool columns = env.ncols_aux >= 0 && env.ncols_aux <= env.G->n && env.ncols_total >= 0;
  const bool integer_solution = (env.IP_lambda == nullptr) == (env.IP_cols == nullptr) &&
                                env.IP_ncols >= 0 && env.IP_ncols <= env.IP_size;
  const bool buffers = env.lambda_length >= 0 && env.bounds_length >= env.G->max_n &&
                       (env.lambda_length == 0 || env.lambda != nullptr);
  return rows && columns && integer_solution && buffers;
}

/// Every comparison with what is not a number fails: a run would end at no gap, or at every one.
static void store(QUARN_env *env, double *field, double value, const char *function) {
  if (std::isnan(value)) {
    complaints::refused_number(Log(*env), function);
  } else {
    *field = value;
  }
}

}  // namespace quarn

QUARN_env *QUARN_set_data(int32_t m, int32_t p, int32_t nrows, int32_t option,
                          int32_t max_outer_iterations, const double *warm_duals, const double *rhs,
                          const int16_t *row_types, const double *dual_lower,
                          const double *dual_upper, void *user_data) {
  if (m < 0 || p < 0 || rhs == nullptr || row_types == nullptr) return nullptr;
  quarn::Scratch<QUARN_env> record(1);
  if (!record) return nullptr;
  QUARN_env *env = record.get();
  quarn::store_defaults(env);
  env->user_data = user_data;
  env->m = m;
  env->p = p;
  env->nrows = nrows;
  env->solver_option = option;
  env->max_outer_iterations = max_outer_iterations;
  env->G = quarn::allocate<QUARN_SMatrix_CW>(1);
  env->Pb_save = quarn::allocate<IP_save_record>(1);
  if (env->G == nullptr || env->Pb_save == nullptr || !quarn::make_matrix(env) ||
      !quarn::make_dual_box(env, dual_lower, dual_upper) ||
      !quarn::make_row_arrays(env, warm_duals, rhs, row_types) || !quarn::make_column_arrays(env)) {
    QUARN_free(env);
    return nullptr;
  }
  quarn::append_box_columns(env);
  assert(quarn::check_invariants(*env));
  return record.release();
}

int32_t QUARN_copy_environment(const QUARN_env *src, QUARN_env *dst) {
  if (src == nullptr || dst == nullptr || src == dst) return -1;
  quarn::copy_problem_scalars(*src, dst);
  quarn::copy_parameters(*src, dst);
  quarn::copy_bounds_and_state(*src, dst);
  quarn::start_afresh(dst);
  const bool copied = quarn::copy_saved_point(*src, dst) && quarn::copy_matrix(*src, dst) &&
                      quarn::copy_lambda(*src, dst) && quarn::copy_row_arrays(*src, dst) &&
                      quarn::copy_column_arrays(*src, dst) && quarn::copy_dual_box(*src, dst);
  return copied ? 1 : -1;
}

void QUARN_free(QUARN_env *env) {
  if (env == nullptr) return;
  quarn::release_arrays(env);
  QUARN_free_SMatrix_CW(env->G);
  quarn::release(&env->G);
  if (env->Pb_save != nullptr && env->Pb_save->holds_point != 0) free_Pb_save(env->Pb_save);
  quarn::release(&env->Pb_save);
  quarn::drop_problem(env);
}

void QUARN_set_lambda_LB(QUARN_env *env, double value) {
  quarn::store(env, &env->lambda_LB, value, __func__);
}
void QUARN_set_lambda_UB(QUARN_env *env, double value) {
  quarn::store(env, &env->lambda_UB, value, __func__);
}
void QUARN_set_verbosity(QUARN_env *env, int16_t value) { env->verbosity = value; }
void QUARN_set_BLAS_threads(QUARN_env *env, int32_t value) { env->BLAS_threads = value; }
void QUARN_set_column_elimination(QUARN_env *env, int16_t value) {
  env->column_elimination = value;
}
void QUARN_set_max_number_columns(QUARN_env *env, int32_t value) {
  env->max_number_columns = value;
}
void QUARN_set_degree_of_optimality(QUARN_env *env, double value) {
  quarn::store(env, &env->degree_of_optimality, value, __func__);
}
void QUARN_set_max_opt_tol(QUARN_env *env, double value) {
  quarn::store(env, &env->max_opt_tol, value, __func__);
}
void QUARN_set_change_bounds(QUARN_env *env, int16_t value) { env->change_bounds = value; }
void QUARN_set_reliable_answer(QUARN_env *env, int16_t value) { env->reliable_answer = value; }
void QUARN_set_centrality_value(QUARN_env *env, int16_t value) { env->centrality_value = value; }
void QUARN_set_WS_strategy(QUARN_env *env, int16_t value) { env->WS_strategy = value; }
void QUARN_set_max_cputime(QUARN_env *env, double value) {
  quarn::store(env, &env->max_cputime, value, __func__);
}
void QUARN_set_delta(QUARN_env *env, double value) {
  quarn::store(env, &env->delta, value, __func__);
}
void QUARN_set_rel_gap(QUARN_env *env, double value) {
  quarn::store(env, &env->rel_gap, value, __func__);
}
void QUARN_set_objective_LB(QUARN_env *env, double value) {
  quarn::store(env, &env->objective_LB, value, __func__);
}
void QUARN_set_objective_UB(QUARN_env *env, double value) {
  quarn::store(env, &env->objective_UB, value, __func__);
}
void QUARN_set_lowerBnd(QUARN_env *env, double value) {
  quarn::store(env, &env->lowerBnd, value, __func__);
}
void QUARN_set_upperBnd(QUARN_env *env, double value) {
  quarn::store(env, &env->upperBnd, value, __func__);
}

void QUARN_set_RHS(QUARN_env *env, const double *values) {
  if (quarn::has_nan(values, env->m)) {
    quarn::complaints::refused_number(quarn::Log(*env), __func__);
  } else {
    std::copy(values, values + env->m, env->RHS);
  }
}

double *QUARN_get_dual_solution(const QUARN_env *env) { return env->u; }

void QUARN_get_pointer_to_master_solution(QUARN_env *env, double **x_out, int32_t *n_out) {
  const bool refreshed = quarn::refresh_lambda(env);
  if (!refreshed && env->Pb != nullptr) quarn::report_memory_overflow(*env, __func__);
  quarn::hand_out(*env, refreshed, env->lambda, env->ncols_aux, x_out, n_out);
}

void QUARN_get_pointer_to_full_master_solution(QUARN_env *env, double **x_out, int32_t *n_out) {
  const bool refreshed = quarn::refresh_lambda(env);
  quarn::hand_out(*env, refreshed, env->lambda, 0, x_out, n_out);
}

void QUARN_get_pointer_to_dual_slacks(QUARN_env *env, double **z_out, int32_t *n_out) {
  const bool refreshed = quarn::refresh_dual_slacks(env);
  if (!refreshed && env->Pb != nullptr) quarn::report_memory_overflow(*env, __func__);
  quarn::hand_out(*env, refreshed, env->dual_slacks, env->ncols_aux, z_out, n_out);
}

void QUARN_print_gap_quarn(const QUARN_env *env) {
  if (env == nullptr) return;
  const quarn::Log log(*env);
  log.print("> duality gap: %.8e\n", env->rel_gap);
  log.flush();
}

void QUARN_print_bnd_quarn(const QUARN_env *env) {
  if (env == nullptr) return;
  const quarn::Log log(*env);
  log.print("> lower bound: %.8e\n> upper bound: %.8e\n", env->lowerBnd, env->upperBnd);
  log.flush();
}

void QUARN_print_iterations(const QUARN_env *env) {
  if (env == nullptr) return;
  const quarn::Log log(*env);
  log.print("> outer iterations: %d\n> inner iterations: %d (%d)\n", env->outer_iterations,
            env->inner_iterations, env->inner_iterations_ws);
  log.flush();
}

void QUARN_print_cputime(const QUARN_env *env) {
  if (env == nullptr) return;
  const quarn::Log log(*env);
  log.print("> CPU time: %.2lfs (%.2lfs, %.2lfs)\n", env->cputime, env->cputime_RMP,
            env->cputime_oracle);
  log.flush();
}

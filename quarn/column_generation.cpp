// Column generation: the outer loop, the master driver, the bounds, the dual box, and the
// elimination of columns.
//
// The master problem and its dual, over the columns generated so far:
//
//   (P)  minimise c'x   subject to   a_r x  (= or >= or <=)  b_r   for every row r,   l <= x <= h
//   (D)  maximise b'u   subject to   A'u <= c (for l = 0, h infinite),  u_LB <= u <= u_UB
//
// The box in (D) stands for the linking rows alone. Two columns of (P) carry it for each row i:
// -e_i at the cost -u_LB[i] and +e_i at the cost u_UB[i]. An outer iteration solves (P) to a
// tolerance, which gives z_P and z_D, and asks the oracle, which gives t_U and t_L:
//
//   candidates             U' = z_P + t_U,   L' = z_D + t_L                                   (1)
//   relative gap           g = min((U - L) / (|U| + 1e-10), 10)                               (2)
//   progress               ratio = (U' - L') / (U' - L' of the iteration before)              (3)
//   upper bound, RMP       U <- min(U, U')            when the oracle's last status is positive (4)
//   lower bound, oracle    L <- max(L, L');   loose:  L <- max(0.999 L, L') when L' is below L  (5)
//   held-back lower bound  L <- U - q s  when (U - L) / s < q,   q = g / D,  s = |U| + 1e-10  (6)
//   upper bound, oracle    U <- max(U, U') when t_U > 1e-10,   else min(U, z_P)               (7)
//   next tolerance         opt_tol = g / D                                                    (8)
//
// Of (4), (5) and (7), change_bounds 2 keeps the candidates alone: U <- U', L <- L'. The dual box
// is widened while its expansion is on, a bound U_i > 0 with limit H_i by
//
//   U_i <- min(f U_i, H_i),  f = f1, f2, f3  for  u_i above 0.8, 0.5, 0.3 times U_i,  else H_i  (9)
//
// and a lower bound by its mirror image; at a relative gap below 0.1 it is opened to its limits.
//
// Symbol    Code                                Meaning
// z_P, z_D  rmp_primal_value, rmp_dual_value    objective values of the restricted master
// t_U, t_L  ub_term, lb_term                    what the oracle adds to them
// U, L      env->upperBnd, env->lowerBnd        bounds of the optimal value of the master
// g, ratio  env->rel_gap, env->gap_ratio        what drives the stopping test and the tolerance
// D         env->degree_of_optimality           divisor of the gap
// u         env->u                              duals of the restricted master, cost row last
// u_LB,..   env->u_LB, env->u_UB                box of the duals of the linking rows
// H         env->u_LB_user, env->u_UB_user      limits of the box

#include <sys/time.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "quarn/driver.h"
#include "quarn/internal.h"
#include "quarn/messages.h"
#include "quarn/rules.h"

namespace quarn {

constexpr double kInfinity = 1e30;         // what the record calls unbounded
constexpr double kBoundTolerance = 1e-10;  // relative, for every comparison of bounds
constexpr double kLargestGap = 10.0;       // also the gap of a record that was never solved

constexpr double kOpenBoxGap = 0.1;  // below this gap a capped dual would cost more than it saves
constexpr int32_t kSettlingSolves = 3;  // the first duals say little about where the box should lie

constexpr int32_t kMaxRowsForSharpSlacks = 9;  // beyond, a solve to the final tolerance is too dear
constexpr int32_t kMaxRowsForGlobalRank = 2;   // beyond, every further row keeps columns of its own
constexpr int32_t kFewestRemovals = 10;        // a reload of the problem must be worth it
constexpr int32_t kMostRemovalsPerRow = 5;
constexpr int32_t kFewestColumnsPerRow = 3;

constexpr double kBoxColumnWeight = 0.001;  // objective share of a box column that is in use

// Time

double whole_milliseconds(int64_t seconds, int64_t microseconds) {
  const double milliseconds =
      1000.0 * static_cast<double>(seconds) + static_cast<double>(microseconds) / 1000.0;
  return std::round(milliseconds) * 0.001;
}

static timeval read_clock() {
  timeval now;
  gettimeofday(&now, nullptr);
  return now;
}

static double seconds_between(const timeval &begin, const timeval &end) {
  return whole_milliseconds(static_cast<int64_t>(end.tv_sec) - begin.tv_sec,
                            static_cast<int64_t>(end.tv_usec) - begin.tv_usec);
}

// Bounds and gaps

double relative_gap(double lower, double upper) {
  const double gap = (upper - lower) / (std::fabs(upper) + kBoundTolerance);
  return gap > kLargestGap ? kLargestGap : gap;
}

double upper_bound_after_rmp(int16_t change_bounds, int16_t oracle_status, double bound,
                             double candidate) {
  if (change_bounds == 2) return candidate;
  return oracle_status > 0 ? std::min(bound, candidate) : bound;
}

double lower_bound_after_oracle(int16_t change_bounds, double bound, double candidate) {
  if (change_bounds == 2) return candidate;
  const bool gives_way = change_bounds == 1 && bound - candidate > kBoundTolerance * bound;
  return std::max(gives_way ? 0.999 * bound : bound, candidate);
}

double lower_bound_held_back(double lower, double upper, double least_gap) {
  const double scale = std::fabs(upper) + kBoundTolerance;
  return (upper - lower) / scale < least_gap ? upper - least_gap * scale : lower;
}

double upper_bound_after_oracle(int16_t change_bounds, double bound, double rmp_value,
                                double ub_term) {
  if (change_bounds == 2) return rmp_value + ub_term;
  if (ub_term > kBoundTolerance) return std::max(bound, rmp_value + ub_term);
  return std::min(bound, rmp_value);
}

bool contradicts_objective_LB(double upper, double objective_LB) {
  return upper - objective_LB < -kBoundTolerance * std::fabs(objective_LB);
}

bool contradicts_objective_UB(double candidate, double objective_UB) {
  return objective_UB - candidate < kBoundTolerance * objective_UB;
}

// The dual box

int32_t box_column_row(const QUARN_SMatrix_CW &G, int32_t j, int32_t m) {
  if (j >= G.n) return -1;
  const ColumnView col = column(G, j);
  if (col.length != 2) return -1;
  return col.rw[0] >= 1 && col.rw[0] <= m ? col.rw[0] - 1 : -1;
}

/// The dual-box columns of a matrix, at most `count`: the lower bounds, then as many upper bounds.
/// A caller's matrix may be no more than its values; those lie as set-up makes them, two for each
/// column, row i in the columns i and m+i.
class BoxColumns {
 public:
  BoxColumns(const QUARN_SMatrix_CW &G, int32_t m, int32_t count)
      : G_(G),
        m_(m),
        described_(G.col_start != nullptr && G.rw != nullptr && G.n >= count &&
                   G.col_start[G.n] == G.nz + 1),
        half_(described_ ? count / 2 : std::min(m, count / 2)) {}

  /// Columns of either side.
  int32_t half() const { return half_; }

  /// Linking row, from 0, that column j bounds; -1 when it bounds none any more.
  int32_t row(int32_t j) const {
    if (described_) return box_column_row(G_, j, m_);
    return j < half_ ? j : j - half_;
  }

  /// The second of the two entries of column j.
  double *cost(int32_t j) const {
    return &G_.elt[described_ ? G_.col_start[j] : 2 * int64_t{j} + 1];
  }

 private:
  const QUARN_SMatrix_CW &G_;
  int32_t m_;
  bool described_;
  int32_t half_;
};

WideningFactors widening_factors(int32_t ncols_last) {
  if (ncols_last > 99) return {1.1, 1.5, 2.0};
  return {1.01, 1.1, 1.5};
}

bool may_widen(double bound, double limit) { return bound > -kBoundTolerance && limit > bound; }

WidenedBound widened_bound(double bound, double limit, double dual,
                           const WideningFactors &factors) {
  double factor;
  if (dual > 0.8 * bound) {
    factor = factors.close;
  } else if (dual > 0.5 * bound) {
    factor = factors.inside;
  } else if (dual > 0.3 * bound) {
    factor = factors.far;
  } else {
    return {limit, true};
  }
  const double widened = bound * factor;
  if (widened > limit) return {limit, false};
  return {widened, true};
}

double boxed_lower(double limit, double wanted) {
  if (limit < wanted) return wanted;
  return limit < 0.0 ? limit : 0.0;
}

double boxed_upper(double limit, double wanted) {
  if (limit > wanted) return wanted;
  return limit > 0.0 ? limit : 0.0;
}

/// The bounds were proved for a narrower box: neither holds for the wider one.
static void forget_bounds(QUARN_env *env) {
  env->upperBnd = kInfinity;
  env->lowerBnd = -kInfinity;
}

/// Opens the upper side of the row that box column j bounds, when the matrix holds it short of its
/// limit: box and matrix differ after the box was narrowed.
static void open_upper_side(QUARN_env *env, const BoxColumns &box, int32_t j) {
  const int32_t i = box.row(j);
  if (i < 0 || !(env->u_UB_user[i] > *box.cost(j))) return;
  *box.cost(j) = env->u_UB[i] = env->u_UB_user[i];
  forget_bounds(env);
}

static void open_lower_side(QUARN_env *env, const BoxColumns &box, int32_t j) {
  const int32_t i = box.row(j);
  if (i < 0 || !(env->u_LB_user[i] < -*box.cost(j))) return;
  *box.cost(j) = -env->u_LB_user[i];
  env->u_LB[i] = env->u_LB_user[i];
  forget_bounds(env);
}

/// One step (9) for the upper side of the row that box column j bounds.
static void widen_upper_side(QUARN_env *env, const BoxColumns &box, int32_t j, const double *u) {
  const int32_t i = box.row(j);
  if (i < 0 || !may_widen(env->u_UB[i], env->u_UB_user[i])) return;
  const WidenedBound widened =
      widened_bound(env->u_UB[i], env->u_UB_user[i], u[i], widening_factors(env->ncols_last));
  *box.cost(j) = env->u_UB[i] = widened.bound;
  if (widened.unfinished) env->exp_BD = 0;
  env->upperBnd = kInfinity;
}

/// The mirror image of (9): negation is exact, so that the rule is the same with its signs turned.
static void widen_lower_side(QUARN_env *env, const BoxColumns &box, int32_t j, const double *u) {
  const int32_t i = box.row(j);
  if (i < 0 || !may_widen(-env->u_LB[i], -env->u_LB_user[i])) return;
  const WidenedBound widened =
      widened_bound(-env->u_LB[i], -env->u_LB_user[i], -u[i], widening_factors(env->ncols_last));
  env->u_LB[i] = -widened.bound;
  *box.cost(j) = widened.bound;
  if (widened.unfinished) env->exp_BD = 0;
  env->upperBnd = kInfinity;
}

// Column elimination

int32_t removal_limit(int32_t ncols, double keep) {
  const double removals = ncols - std::ceil(ncols * keep);
  if (!(removals > 0.0)) return 0;
  return removals < ncols ? static_cast<int32_t>(removals) : ncols;
}

int32_t row_removal_limit(int32_t candidates) {
  return std::clamp(candidates - kFewestColumnsPerRow, 0, kMostRemovalsPerRow);
}

/// The generated columns that column elimination may remove, with their dual slacks.
struct Candidates {
  const double *slack;  ///< of every generated column
  int32_t ncols;        ///< generated columns
  int32_t first, last;  ///< candidates are first .. last-1
};

/// The candidates of each further row: those of row k are column[start[k]] and the count[k]-1
/// behind it.
struct RowCandidates {
  int32_t rows;
  Scratch<int32_t> start;
  Scratch<int32_t> count;
  Scratch<int32_t> column;

  RowCandidates(const QUARN_env &env, const Candidates &candidates);
  explicit operator bool() const { return start && count && column; }
};

/// Further row, from 0, of a row index that counts from 1; anything else is outside 0 .. rows-1.
static int32_t further_row(const QUARN_env &env, int32_t row) { return row - env.m - 1; }

static int32_t further_rows(const QUARN_env &env) { return std::max(env.G->m - 1 - env.m, 0); }

/// Entries of the candidates, as room for all their entries in further rows.
static int64_t candidate_entries(const QUARN_env &env, const Candidates &candidates) {
  if (candidates.first >= candidates.last) return 0;
  const int32_t *start = env.G->col_start + env.ncols_aux;
  return start[candidates.last] - start[candidates.first];
}

RowCandidates::RowCandidates(const QUARN_env &env, const Candidates &candidates)
    : rows(further_rows(env)),
      start(static_cast<int64_t>(rows) + 1),
      count(rows),
      column(candidate_entries(env, candidates)) {
  if (!*this) return;
  for (int32_t g = candidates.first; g < candidates.last; ++g) {
    const ColumnView col = quarn::column(*env.G, env.ncols_aux + g);
    for (int32_t t = 0; t < col.length; ++t) {
      const int32_t k = further_row(env, col.rw[t]);
      if (k >= 0 && k < rows) ++start[k + 1];
    }
  }
  for (int32_t k = 0; k < rows; ++k) start[k + 1] += start[k];
  for (int32_t g = candidates.first; g < candidates.last; ++g) {
    const ColumnView col = quarn::column(*env.G, env.ncols_aux + g);
    for (int32_t t = 0; t < col.length; ++t) {
      const int32_t k = further_row(env, col.rw[t]);
      if (k < 0 || k >= rows) continue;
      // A column may name a row more than once.
      int32_t *row = &column[start[k]];
      if (count[k] == 0 || row[count[k] - 1] != g) row[count[k]++] = g;
    }
  }
}

constexpr int32_t kNotRanked = -1;

/// Takes up to `most` columns from the queue, largest slack first, and clears their flags.
static int32_t mark_largest(RankingQueue *queue, int32_t most, int8_t *keep) {
  int32_t marked = 0;
  int32_t column = 0;
  while (marked < most && queue->take(&column)) {
    keep[column] = 0;
    ++marked;
  }
  return marked;
}

/// Ranks all candidates together; returns how many were marked.
static int32_t mark_globally(const QUARN_env &env, const Candidates &candidates,
                             RankingQueue *queue, int8_t *keep) {
  for (int32_t g = candidates.first; g < candidates.last; ++g) {
    queue->insert(-candidates.slack[g], g);
  }
  if (queue->empty()) return kNotRanked;
  return mark_largest(queue, removal_limit(candidates.ncols, env.reduce_fraction), keep);
}

/// Ranks the candidates of each further row; a column marked in two rows counts twice.
static int32_t mark_by_row(const QUARN_env &env, const Candidates &candidates, RankingQueue *queue,
                           int8_t *keep) {
  const RowCandidates lists(env, candidates);
  if (!lists) return kNotRanked;
  int32_t marked = 0;
  for (int32_t k = 0; k < lists.rows; ++k) {
    queue->clear();
    for (int32_t t = 0; t < lists.count[k]; ++t) {
      const int32_t g = lists.column[lists.start[k] + t];
      queue->insert(-candidates.slack[g], g);
    }
    marked += mark_largest(queue, row_removal_limit(lists.count[k]), keep);
  }
  return marked;
}

/// Removes the columns whose flag is cleared, when there are enough of them.
static int32_t remove_marked(QUARN_env *env, int32_t ncols, const int8_t *keep, int32_t marked) {
  if (marked <= kFewestRemovals) {
    messages::matrix_not_reduced(marked);
    return 0;
  }
  Scratch<int32_t> kept(ncols);
  if (!kept) return 0;
  int32_t nkept = 0;
  for (int32_t g = 0; g < ncols; ++g) {
    if (keep[g] != 0) kept[nkept++] = g;
  }
  if (QUARN_remove_columns(env, kept.get(), nkept) != 1) return 0;
  messages::matrix_reduced(ncols, nkept);
  return 1;
}

// The outer loop

/// Working values of one call of the outer loop.
struct Run {
  double rmp_dual_value = -DBL_MAX;
  double rmp_primal_value = DBL_MAX;
  double ub_term = 0.0;
  double lb_term = 0.0;
  timeval start = read_clock();
  double cputime_before;
  int32_t k = 1;  ///< number of the outer iteration within this call

  explicit Run(const QUARN_env &env) : cputime_before(env.cputime) {}
  double ub_candidate() const { return rmp_primal_value + ub_term; }
  double lb_candidate() const { return rmp_dual_value + lb_term; }
};

static int32_t generated_columns(const QUARN_env &env) { return env.G->n - env.ncols_aux; }

static double next_tolerance(const QUARN_env &env) {
  return env.rel_gap / env.degree_of_optimality;
}

static bool limit_is_reached(const QUARN_env &env) {
  return env.cputime >= env.max_cputime || env.outer_iterations >= env.max_outer_iterations;
}

/// A gap that is not a number counts as closed: nothing better can come of it.
static bool gap_is_closed(const QUARN_env &env) {
  return !(env.rel_gap > env.delta) && env.reliable_answer > 0;
}

/// The dual objective over the linking rows; 0 when the oracle released the duals.
static double linking_rows_value(const QUARN_env &env) {
  double value = 0.0;
  if (env.u == nullptr) return value;
  for (int32_t i = 0; i < env.m; ++i) value += env.RHS[i] * env.u[i];
  return value;
}

static void calculate_gaps(QUARN_env *env, const Run &run) {
  QUARN_calculate_gaps(env, &env->lowerBnd, &env->upperBnd, run.lb_candidate(), run.ub_candidate(),
                       run.k);
}

/// Asks the oracle and keeps its status. The caller adds the time from `asked_at` on, which an
/// answer that ends the run does not count.
static bool oracle_answers(QUARN_env *env, QUARN_oracle oracle, Run *run, timeval *asked_at) {
  *asked_at = read_clock();
  env->oracle_status = oracle(&run->ub_term, &run->lb_term, env, env->user_data);
  return env->oracle_status >= 0;
}

/// Prices the duals that the call started with.
static int16_t start_warm(QUARN_env *env, QUARN_oracle oracle, Run *run) {
  messages::warm_start();
  timeval asked_at;
  if (!oracle_answers(env, oracle, run, &asked_at)) return kOracleOrMemory;
  run->rmp_dual_value = linking_rows_value(*env);
  env->lowerBnd = run->lb_candidate();
  if (env->reliable_answer == 1 && env->lowerBnd > env->objective_UB) {
    if (env->verbosity != 0) {
      messages::warm_lower_bound_conflict(env->lowerBnd, env->objective_UB);
    }
    return kBoundConflict;
  }
  env->cputime_oracle += seconds_between(asked_at, read_clock());
  return kGoOn;
}

/// Room for the duals, zero; every array by row has the capacity of G.
static bool allocate_duals(QUARN_env *env) {
  env->u = allocate<double>(std::max(env->G->m, env->G->max_m));
  return env->u != nullptr;
}

/// What comes before the first outer iteration of a call.
static int16_t enter(QUARN_env *env, QUARN_oracle oracle, Run *run) {
  if (env->u == nullptr) {
    if (!allocate_duals(env)) return kOracleOrMemory;
  } else if (oracle != nullptr) {
    const int16_t status = start_warm(env, oracle, run);
    if (status != kGoOn) return status;
  }
  env->cputime = run->cputime_before;
  env->opt_tol = next_tolerance(*env);
  return limit_is_reached(*env) ? kSolved : kGoOn;
}

/// Solves the restricted master as it stands. The arrays are read from the record at every call:
/// the oracle and column elimination replace them.
static bool solve_restricted_master(QUARN_env *env, Run *run) {
  const timeval begin = read_clock();
  if (QUARN_solve_RMP(env, env->G, env->RHS, env->row_range, env->row_type, env->col_lb,
                      env->col_ub, &run->rmp_dual_value, &run->rmp_primal_value) != 0) {
    return false;
  }
  env->cputime_RMP += seconds_between(begin, read_clock());
  return true;
}

/// Equation (4).
static int16_t update_upper_bound(QUARN_env *env, const Run &run) {
  env->upperBnd = upper_bound_after_rmp(env->change_bounds, env->oracle_status, env->upperBnd,
                                        run.ub_candidate());
  if (env->oracle_status <= 0 || !contradicts_objective_LB(env->upperBnd, env->objective_LB)) {
    return kGoOn;
  }
  if (env->verbosity != 0) messages::upper_bound_conflict(env->upperBnd, env->objective_LB);
  return kBoundConflict;
}

/// Equations (5) to (7).
static void update_bounds(QUARN_env *env, const Run &run) {
  env->lowerBnd_actual = env->lowerBnd;
  env->lowerBnd = lower_bound_after_oracle(env->change_bounds, env->lowerBnd, run.lb_candidate());
  if (env->reliable_answer == 0) {
    env->lowerBnd = lower_bound_held_back(env->lowerBnd, env->upperBnd, next_tolerance(*env));
  }
  env->upperBnd = upper_bound_after_oracle(env->change_bounds, env->upperBnd, run.rmp_primal_value,
                                           run.ub_term);
}

static bool elimination_is_due(const QUARN_env &env) {
  return env.outer_iterations > int64_t{env.last_reduce} + 2 &&
         generated_columns(env) > env.max_number_columns && env.rel_gap > env.reduce_gap &&
         env.oracle_status <= 1;
}

/// Slacks of a loosely solved problem rank columns badly: solves once to the final tolerance. A
/// failure ends the run with rel_gap at the gap that was aimed at.
static bool sharpen_slacks(QUARN_env *env, Run *run) {
  const double rel_gap = env->rel_gap;
  env->rel_gap = env->opt_tol = env->delta;
  if (!solve_restricted_master(env, run)) return false;
  env->rel_gap = rel_gap;
  env->opt_tol = next_tolerance(*env);
  return true;
}

/// Trims the restricted master and solves it again; the bounds are those of the trimmed one.
static int16_t eliminate_columns(QUARN_env *env, Run *run) {
  if (env->p <= kMaxRowsForSharpSlacks && !sharpen_slacks(env, run)) return kRmpFailed;
  if (QUARN_reduce_coefficient_matrix(env, env->reduce_mode, generated_columns(*env) - 1) == 0) {
    return kGoOn;
  }
  if (env->WS_strategy == 1) {
    env->WS_point_saved = 0;
    env->WS_strategy = -1;
  }
  if (!solve_restricted_master(env, run)) return kRmpFailed;
  env->last_reduce = env->outer_iterations;
  env->upperBnd = run->ub_candidate();
  env->lowerBnd = run->lb_candidate();
  return kGoOn;
}

static messages::BoundFigures lower_figures(const QUARN_env &env, const Run &run) {
  return {env.lowerBnd, run.rmp_dual_value, run.lb_term, run.lb_candidate()};
}

static messages::BoundFigures upper_figures(const QUARN_env &env, const Run &run) {
  return {env.upperBnd, run.rmp_primal_value, run.ub_term, run.ub_candidate()};
}

static messages::RunFigures run_figures(const QUARN_env &env, double elapsed, double cputime) {
  return {env.opt_tol,    env.exp_BD, generated_columns(env),
          env.ncols_last, env.ncuts,  env.last_reduce,
          elapsed,        cputime};
}

static void report_iteration(const QUARN_env &env, const Run &run) {
  if (env.verbosity > 2) {
    messages::rmp_listing_begins();
    QUARN_print_Matrix(env.G, env.m);
    messages::rmp_listing_ends();
  }
  if (env.verbosity == 0) return;
  const double elapsed = seconds_between(run.start, read_clock());
  messages::outer_iteration(env.outer_iterations, run.k, lower_figures(env, run),
                            upper_figures(env, run), env.rel_gap, env.delta,
                            run_figures(env, elapsed, env.cputime));
}

/// True when the run has to end because the lower bound passes the bound that the user imposes.
static bool lower_bound_conflicts(const QUARN_env &env, const Run &run) {
  if (!contradicts_objective_UB(run.lb_candidate(), env.objective_UB)) return false;
  if (env.verbosity != 0) messages::lower_bound_conflict(env.lowerBnd, env.objective_UB);
  return env.reliable_answer == 1;
}

/// Hands the duals to the oracle and updates bounds, gaps and time from its answer.
static int16_t ask_oracle(QUARN_env *env, QUARN_oracle oracle, Run *run) {
  env->matrix_changed = 0;
  timeval asked_at;
  if (!oracle_answers(env, oracle, run, &asked_at)) return kOracleOrMemory;
  env->cputime_oracle += seconds_between(asked_at, read_clock());
  if (env->oracle_status > 0) update_bounds(env, *run);
  if (lower_bound_conflicts(*env, *run)) return kBoundConflict;
  calculate_gaps(env, *run);
  const double elapsed = seconds_between(run->start, read_clock());
  messages::after_oracle(lower_figures(*env, *run), upper_figures(*env, *run), env->rel_gap,
                         run_figures(*env, elapsed, run->cputime_before + elapsed));
  env->cputime = run->cputime_before + elapsed;
  return kGoOn;
}

/// One outer iteration: kGoOn, or what the call returns.
static int16_t outer_iteration(QUARN_env *env, QUARN_oracle oracle, Run *run) {
  if (gap_is_closed(*env)) return kSolved;
  ++env->outer_iterations;
  if (run->k > 1 && env->exp_BD == 0) QUARN_expand_bounds(env, env->G, env->m, env->u);

  env->upperBnd_prev = env->upperBnd;
  if (!solve_restricted_master(env, run)) return kRmpFailed;
  int16_t status = update_upper_bound(env, *run);
  if (status == kGoOn && elimination_is_due(*env)) status = eliminate_columns(env, run);
  if (status != kGoOn) return status;

  calculate_gaps(env, *run);
  report_iteration(*env, *run);
  if (oracle != nullptr) {
    status = ask_oracle(env, oracle, run);
    if (status != kGoOn) return status;
  } else {
    env->cputime = run->cputime_before + seconds_between(run->start, read_clock());
  }
  return limit_is_reached(*env) ? kSolved : kGoOn;
}

// The master driver

void trim_matrix(QUARN_env *env) { QUARN_reallocate_SMatrix_CW(env->G, env->G->n, env->G->nz); }

void print_summary(const QUARN_env &env) {
  messages::summary_begins();
  QUARN_print_gap_quarn(&env);
  QUARN_print_bnd_quarn(&env);
  QUARN_print_iterations(&env);
  QUARN_print_cputime(&env);
}

/// A box column that holds a dual at its bound, its linking row, and its share of the objective.
struct BoxColumnInUse {
  int32_t column;
  int32_t row;
  double product;
};

/// The first box column with weight in env->lambda, lower bounds first; column -1 when there is
/// none. A value times a negative upper bound lowers the objective: that is no sign of a dual that
/// the box holds back.
static BoxColumnInUse box_column_in_use(const QUARN_env &env) {
  const int32_t half = env.ncols_box / 2;
  for (int32_t j = 0; j < 2 * half; ++j) {
    const int32_t i = box_column_row(*env.G, j, env.m);
    if (i < 0) continue;
    const double value = env.lambda[j];
    const double product = j < half ? std::fabs(env.u_LB[i] * value) : env.u_UB[i] * value;
    if (value > env.delta && product > kBoxColumnWeight) return {j, i, product};
  }
  return {-1, -1, 0.0};
}

/// Fetches the final solution and tells whether it can be trusted. Without a loaded problem no
/// restricted master was solved, and there is no solution to look at.
static int16_t examine_final_solution(QUARN_env *env) {
  if (env->Pb != nullptr) {
    if (!refresh_lambda(env)) return kOracleOrMemory;
    const BoxColumnInUse use = box_column_in_use(*env);
    if (use.column >= 0) {
      if (env->verbosity != 0) {
        messages::dual_at_its_bound(use.row, dual_of_row(*env, use.row), use.column,
                                    env->lambda[use.column], std::fabs(use.product),
                                    10.0 * env->delta);
      }
      return kMayBeInfeasible;
    }
  }
  if (env->outer_iterations != env->max_outer_iterations) return kSolved;
  if (env->verbosity != 0) messages::iteration_limit();
  return kIterationLimit;
}

}  // namespace quarn

int16_t QUARN_solve_MP_core(QUARN_env *env, QUARN_oracle oracle) {
  quarn::Run run(*env);
  int16_t status = quarn::enter(env, oracle, &run);
  for (; status == quarn::kGoOn; ++run.k) status = quarn::outer_iteration(env, oracle, &run);
  return status;
}

int16_t QUARN_solve_MP(QUARN_env *env, QUARN_oracle oracle) {
  int16_t status = QUARN_solve_MP_core(env, oracle);
  while (env->restart == 1) status = QUARN_solve_MP_core(env, oracle);
  if (env->verbosity != 0) {
    quarn::print_summary(*env);
    quarn::messages::summary_ends();
  }
  if (status == quarn::kSolved) status = quarn::examine_final_solution(env);
  if (status != quarn::kMayBeInfeasible) quarn::trim_matrix(env);
  return status;
}

int32_t QUARN_calculate_gaps(QUARN_env *env, double *lower, double *upper, double lb_candidate,
                             double ub_candidate, int32_t k) {
  if (*lower > *upper) {
    quarn::messages::bounds_reset(*upper, ub_candidate, *lower, lb_candidate);
    *upper = ub_candidate;
    *lower = lb_candidate;
  }
  env->rel_gap_prev = env->rel_gap;
  env->rel_gap = quarn::relative_gap(*lower, *upper);
  const double abs_gap = ub_candidate - lb_candidate;
  env->abs_gap_prev = k == 1 ? abs_gap : env->abs_gap;
  env->abs_gap = abs_gap;
  env->gap_ratio = env->abs_gap / env->abs_gap_prev;
  return 0;
}

void QUARN_expand_bounds(QUARN_env *env, QUARN_SMatrix_CW *G, int32_t m, const double *u) {
  const quarn::BoxColumns box(*G, m, env->ncols_box);
  if (env->rel_gap < quarn::kOpenBoxGap) {
    env->exp_BD = 1;
    for (int32_t j = 0; j < box.half(); ++j) {
      quarn::open_upper_side(env, box, box.half() + j);
      quarn::open_lower_side(env, box, j);
    }
  } else if (env->outer_iterations > quarn::kSettlingSolves && u != nullptr) {
    env->exp_BD = 1;
    for (int32_t j = 0; j < box.half(); ++j) {
      quarn::widen_upper_side(env, box, box.half() + j, u);
      quarn::widen_lower_side(env, box, j, u);
    }
  }
}

void QUARN_set_dual_box(QUARN_env *env, double lower, double upper) {
  env->exp_BD = 0;
  for (int32_t i = 0; i < env->m; ++i) {
    env->u_LB[i] = quarn::boxed_lower(env->u_LB_user[i], lower);
    env->u_UB[i] = quarn::boxed_upper(env->u_UB_user[i], upper);
  }
}

int32_t QUARN_reduce_coefficient_matrix(QUARN_env *env, int32_t first, int32_t last) {
  quarn::Candidates candidates{nullptr, 0, std::max(first, 0), last};
  double *slack = nullptr;
  QUARN_get_pointer_to_dual_slacks(env, &slack, &candidates.ncols);
  if (slack == nullptr) return 0;
  candidates.slack = slack;
  candidates.last = std::min(last, candidates.ncols);

  quarn::RankingQueue queue(static_cast<int64_t>(candidates.ncols) + 1);
  if (!queue) return -1;
  quarn::Scratch<int8_t> keep(candidates.ncols);
  if (!keep) return 0;
  std::fill_n(keep.get(), candidates.ncols, static_cast<int8_t>(1));
  const int32_t marked = env->p <= quarn::kMaxRowsForGlobalRank
                             ? quarn::mark_globally(*env, candidates, &queue, keep.get())
                             : quarn::mark_by_row(*env, candidates, &queue, keep.get());
  if (marked == quarn::kNotRanked) return 0;
  return quarn::remove_marked(env, candidates.ncols, keep.get(), marked);
}

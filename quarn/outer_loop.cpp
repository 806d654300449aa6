// The outer loop of column generation.
//
// The master problem and its dual, over the columns generated so far:
//
//   (P)  minimise c'x   subject to   a_r x  (= or >= or <=)  b_r   for every row r,   l <= x <= h
//   (D)  maximise b'u   subject to   A'u <= c (for l = 0, h infinite),  u_LB <= u <= u_UB
//
// The box in (D) stands for the linking rows alone. An outer iteration widens the box, solves (P)
// to a tolerance that follows the gap of the bounds, trims its columns, hands the duals to the
// oracle, and updates the bounds by equations (1) to (7) of bounds.cpp.
//
// Before a restricted master chooses its own, the tolerance is
//
//   opt_tol = g / D                                                                            (8)
//
// Symbol    Code                                Meaning
// g         env->rel_gap                        relative gap of the bounds
// D         env->degree_of_optimality           divisor of the gap

#include "quarn/outer_loop.h"

#include <sys/time.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "quarn/bounds.h"
#include "quarn/clock.h"
#include "quarn/complaints.h"
#include "quarn/internal.h"
#include "quarn/messages.h"
#include "quarn/sparse_matrix.h"

namespace quarn {

constexpr int32_t kMaxRowsForSharpSlacks = 9;  // beyond, a solve to the final tolerance is too dear

/// Working values of one call of the outer loop.
struct Run {
  double rmp_dual_value = -DBL_MAX;
  double rmp_primal_value = DBL_MAX;
  double ub_term = 0.0;
  double lb_term = 0.0;
  timeval start = read_clock();
  double cputime_before;
  int32_t k = 1;                 ///< number of the outer iteration within this call
  double gap;                    ///< rel_gap behind the last answer
  int32_t idle_answers = 0;      ///< the last ones that brought nothing
  bool lower_is_proved = false;  ///< lowerBnd is the candidate of an answer, at the duals it priced

  explicit Run(const QUARN_env &env) : cputime_before(env.cputime), gap(env.rel_gap) {}
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

/// Says where bounds cross by more than rounding and the tolerance of the solver let pass.
static void check_bounds(const QUARN_env &env, const Run &run) {
  const double allowed = (1e-6 + 10.0 * env.delta) * std::max(1.0, std::fabs(env.upperBnd));
  if (run.lower_is_proved && env.lowerBnd - env.upperBnd > allowed) {
    complaints::crossing_bounds(Log(env), env.outer_iterations, env.lowerBnd, env.upperBnd);
  }
}

static void calculate_gaps(QUARN_env *env, const Run &run) {
  check_bounds(*env, run);
  QUARN_calculate_gaps(env, &env->lowerBnd, &env->upperBnd, run.lb_candidate(), run.ub_candidate(),
                       run.k);
}

/// Asks the oracle and keeps its status. The caller adds the time from `asked_at` on, which an
/// answer that ends the run does not count.
static bool oracle_answers(QUARN_env *env, QUARN_oracle oracle, Run *run, timeval *asked_at) {
  env->is_asking = 1;
  env->known_column = 0;
  *asked_at = read_clock();
  env->oracle_status = oracle(&run->ub_term, &run->lb_term, env, env->user_data);
  env->is_asking = 0;
  const Log log(*env);
  if (env->oracle_status < 0) {
    complaints::oracle_gave_up(log, env->outer_iterations, env->oracle_status);
  } else {
    if (std::isnan(run->lb_term)) {
      complaints::term_is_no_number(log, env->outer_iterations, "lb_term");
    }
    if (std::isnan(run->ub_term)) {
      complaints::term_is_no_number(log, env->outer_iterations, "ub_term");
    }
  }
  return env->oracle_status >= 0;
}

/// Prices the duals that the call started with.
static int16_t start_warm(QUARN_env *env, QUARN_oracle oracle, Run *run) {
  messages::warm_start(Log(*env));
  timeval asked_at;
  if (!oracle_answers(env, oracle, run, &asked_at)) return kOracleOrMemory;
  run->rmp_dual_value = linking_rows_value(*env);
  env->lowerBnd = run->lb_candidate();
  if (env->reliable_answer == 1 && env->lowerBnd > env->objective_UB) {
    if (env->verbosity != 0) {
      messages::warm_lower_bound_conflict(Log(*env), env->lowerBnd, env->objective_UB);
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

/// Equation (4) of bounds.cpp.
static int16_t update_upper_bound(QUARN_env *env, const Run &run) {
  env->upperBnd = upper_bound_after_rmp(env->change_bounds, env->oracle_status, env->upperBnd,
                                        run.ub_candidate());
  if (env->oracle_status <= 0 || !contradicts_objective_LB(env->upperBnd, env->objective_LB)) {
    return kGoOn;
  }
  if (env->verbosity != 0)
    messages::upper_bound_conflict(Log(*env), env->upperBnd, env->objective_LB);
  return kBoundConflict;
}

/// Equations (5) to (7) of bounds.cpp.
static void update_bounds(QUARN_env *env, Run *run) {
  env->lowerBnd_actual = env->lowerBnd;
  env->lowerBnd = lower_bound_after_oracle(env->change_bounds, env->lowerBnd, run->lb_candidate());
  if (env->reliable_answer == 0) {
    env->lowerBnd = lower_bound_held_back(env->lowerBnd, env->upperBnd, next_tolerance(*env));
  }
  if (env->lowerBnd != env->lowerBnd_actual) {
    run->lower_is_proved = !(env->lowerBnd > run->lb_candidate());
  }
  env->upperBnd = upper_bound_after_oracle(env->change_bounds, env->upperBnd, run->rmp_primal_value,
                                           run->ub_term);
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
  run->lower_is_proved = false;
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
    messages::rmp_listing_begins(Log(env));
    print_matrix(Log(env), *env.G, env.m);
    messages::rmp_listing_ends(Log(env));
  }
  if (env.verbosity == 0) return;
  const double elapsed = seconds_between(run.start, read_clock());
  messages::outer_iteration(Log(env), env.outer_iterations, run.k, lower_figures(env, run),
                            upper_figures(env, run), env.rel_gap, env.delta,
                            run_figures(env, elapsed, env.cputime));
}

/// True when the run has to end because the lower bound passes the bound that the user imposes.
static bool lower_bound_conflicts(const QUARN_env &env, const Run &run) {
  if (!contradicts_objective_UB(run.lb_candidate(), env.objective_UB)) return false;
  if (env.verbosity != 0) messages::lower_bound_conflict(Log(env), env.lowerBnd, env.objective_UB);
  return env.reliable_answer == 1;
}

/// Counts the answers in a row that bring nothing, and says so once there are some. One alone is
/// ordinary, and as many as it takes until the restricted master is solved more sharply than the
/// gap: then no answer that holds can leave the gap where it was.
static void check_progress(const QUARN_env &env, Run *run, double lb_term) {
  constexpr int32_t kStandstill = 3;
  const bool is_empty = env.matrix_changed == 0 && run->lb_term == lb_term;
  const bool is_stuck = env.rel_gap > env.delta && env.opt_tol < env.rel_gap;
  const bool idle = is_empty && is_stuck && !(env.rel_gap < run->gap);
  run->gap = env.rel_gap;
  run->idle_answers = idle ? run->idle_answers + 1 : 0;
  if (run->idle_answers != kStandstill) return;
  if (env.known_column > 0) {
    complaints::known_answers(Log(env), env.outer_iterations, kStandstill, env.known_column - 1,
                              env.ncols_aux, env.rel_gap);
  } else {
    complaints::empty_answers(Log(env), env.outer_iterations, kStandstill, lb_term, env.rel_gap);
  }
}

/// Hands the duals to the oracle and updates bounds, gaps and time from its answer.
static int16_t ask_oracle(QUARN_env *env, QUARN_oracle oracle, Run *run) {
  env->matrix_changed = 0;
  const double lb_term = run->lb_term;
  timeval asked_at;
  if (!oracle_answers(env, oracle, run, &asked_at)) return kOracleOrMemory;
  env->cputime_oracle += seconds_between(asked_at, read_clock());
  if (env->oracle_status > 0) update_bounds(env, run);
  if (lower_bound_conflicts(*env, *run)) return kBoundConflict;
  calculate_gaps(env, *run);
  check_progress(*env, run, lb_term);
  const double elapsed = seconds_between(run->start, read_clock());
  messages::after_oracle(Log(*env), lower_figures(*env, *run), upper_figures(*env, *run),
                         env->rel_gap, run_figures(*env, elapsed, run->cputime_before + elapsed));
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

}  // namespace quarn

int16_t QUARN_solve_MP_core(QUARN_env *env, QUARN_oracle oracle) {
  quarn::Run run(*env);
  int16_t status = quarn::enter(env, oracle, &run);
  for (; status == quarn::kGoOn; ++run.k) status = quarn::outer_iteration(env, oracle, &run);
  return status;
}

// The restricted master: its tolerance, its way into the interior-point solver, and the four
// strategies by which it is solved.
//
// The tolerance follows the relative gap g, so that the duals are only as sharp as the bounds:
//
//   eps_0   = g / D                                                                            (1)
//   eps     = eps_0                         in the first iteration, after a status above 1, and
//                                           for g <= 0.1 once the box expansion has ended      (2)
//   eps     = eps_0 / 2 + eps_before / 2    otherwise                                          (3)
//   eps    <- 0.9 eps                       when the gap shrinks slowly for the columns added  (4)
//   opt_tol = max(min(eps, max_opt_tol), delta / 10)                                           (5)
//
// The strategies, each a sequence of solves of one loaded problem at the tolerance t = opt_tol:
//
//   STD   one solve that only has to meet t; the fallback of the others
//   CS    one solve for a well-centred point, by acpdm_Pb for t < 1 and by solve_Pb above
//   CWS   up to three passes, from the solver's own starting point; a pass is
//           I    for t > 0.001:   a centred point at t, saved
//           II   otherwise:       a centred point at 0.001, saved, and from it
//           III                   a solution at t
//         with t <- 0.1 t after each pass, while the primal infeasibility is above 1e-5
//   WS    the same, from the point that an earlier restricted master saved
//
// New columns move the optimum, and a start close to the old one lies close to the boundary too:
// a centred point at a loose tolerance is the better start for the next restricted master (Gondzio,
// Warm start of the primal-dual method applied in the cutting-plane scheme, Mathematical
// Programming 83, 1998).
//
// Symbol  Code                                    Meaning
// g       env->rel_gap                            relative gap of the bounds
// D       env->degree_of_optimality               divisor of the gap
// eps     env->opt_tol                            tolerance of this restricted master
// t       WarmStart::tolerance                    the tolerance within a call of a strategy
// z_P     *rmp_primal_value                       objective value: the cost row's entry of u
// z_D     *rmp_dual_value                         sum of RHS[i] u[i] over all rows but the cost row

#include "quarn/restricted_master.h"

#include <algorithm>

#include "quarn/complaints.h"
#include "quarn/internal.h"
#include "quarn/messages.h"

namespace quarn {

// Tolerance

constexpr int32_t kLargestLooseExponent = 5;
constexpr double kSmallGap = 0.1;

int32_t loose_start_count(int16_t difficult_problem, int32_t rows) {
  if (difficult_problem <= 0) return 0;
  if (rows > 1000) return 6;
  if (rows > 500) return 5;
  return rows > 100 ? 4 : 3;
}

double loose_tolerance(int32_t remaining) {
  double tolerance = 1.0;
  for (int32_t k = 0; k < std::min(remaining, kLargestLooseExponent); ++k) tolerance *= 10.0;
  return tolerance;
}

bool progress_is_slow(int32_t ncols_last, double gap_ratio) {
  if (ncols_last <= 0) return false;
  const double slow = ncols_last > 100 ? 0.9 : ncols_last > 50 ? 0.93 : 0.97;
  return gap_ratio > slow;
}

double scheduled_tolerance(const ToleranceState &state) {
  const double base = state.rel_gap / state.degree_of_optimality;
  if (state.outer_iterations <= 1 || state.oracle_status > 1) return base;
  const bool follows_the_gap = !(state.rel_gap > kSmallGap) && state.expansion_ended;
  double tolerance = follows_the_gap ? base : 0.5 * base + 0.5 * state.previous;
  if (progress_is_slow(state.ncols_last, state.gap_ratio)) tolerance *= 0.9;
  if (state.solver_option > 5 && state.ncols_last <= 4) tolerance *= 0.5;
  return tolerance;
}

double held_tolerance(double tolerance, double ceiling, double delta) {
  if (tolerance > ceiling) tolerance = ceiling;
  return 0.1 * delta > tolerance ? 0.1 * delta : tolerance;
}

/// Sets env->opt_tol for a restricted master of this many rows.
static void set_tolerance(QUARN_env *env, int32_t rows) {
  const int32_t loose = loose_start_count(env->difficult_problem, rows);
  if (loose > env->outer_iterations) {
    messages::difficult_start(Log(*env), env->outer_iterations, loose);
    env->opt_tol = loose_tolerance(loose - env->outer_iterations);
    return;
  }
  const ToleranceState state{env->opt_tol,       env->rel_gap,          env->degree_of_optimality,
                             env->gap_ratio,     env->outer_iterations, env->ncols_last,
                             env->solver_option, env->oracle_status,    env->exp_BD != 0};
  env->opt_tol = held_tolerance(scheduled_tolerance(state), env->max_opt_tol, env->delta);
}

// Strategies

/// What one solve reports through its arguments.
struct SolveReport {
  int32_t option = 0;  // centrality option on the way in, exit indicator on the way out
  double primal = 1.0;
  double bounds = 0.0;
  double dual = 0.0;
  double asmall = 0.0;
  double alarge = 0.0;
};

/// Asks for a solution that meets the tolerance.
static int32_t solve(QUARN_env *env, int32_t start_mode, double *tolerance, SolveReport *report,
                     int32_t *iterations) {
  return solve_Pb(env->Pb, start_mode, env->Pb_save, tolerance, &report->option, &report->primal,
                  &report->bounds, &report->dual, &report->asmall, &report->alarge, iterations);
}

/// Asks for a well-centred point that meets the tolerance.
static int32_t solve_centred(QUARN_env *env, int32_t start_mode, double *tolerance,
                             SolveReport *report, int32_t *iterations) {
  return acpdm_Pb(env->Pb, start_mode, env->Pb_save, tolerance, &report->option, &report->primal,
                  &report->bounds, &report->dual, &report->asmall, &report->alarge, iterations,
                  env->acpdm_work);
}

constexpr int32_t kFreshStart = 0;       // from the solver's own starting point
constexpr int32_t kStartFromSaved = 1;   // from the point of an earlier restricted master
constexpr int32_t kStartFromCentre = 2;  // from the centre just found in this one

constexpr int32_t kMostPasses = 3;
constexpr double kCentreTolerance = 0.001;  // where a point still has room to move
constexpr double kPrimalTolerance = 1e-5;   // a point as feasible as this needs no further pass
constexpr double kPassFactor = 0.1;         // from one pass to the next
constexpr int32_t kRetriedFailure = -1;     // stage III may fail so and try once more

/// How the two warm-start strategies differ: in their texts, and in what they start from.
struct WarmStartVariant {
  const char *stage_1;
  const char *stage_2;
  const char *stage_3;
  const char *final_failure;
  bool starts_from_saved;
};

constexpr WarmStartVariant kCentredWarmStart = {"CWS I -", "CWS II -", "CWS III -", "CWS I/III -",
                                                false};
constexpr WarmStartVariant kWarmStart = {"I -", "II -", "III -", "I/III -", true};
constexpr const char *kFirstFailure = "I -";

/// State of one call of a warm-start strategy.
struct WarmStart {
  QUARN_env *env;
  const WarmStartVariant &texts;
  double tolerance;
  int32_t start_mode;
  int32_t passes_left = kMostPasses;
  SolveReport report{};
  int32_t search_iterations = 0;    // of stages I and II
  int32_t solution_iterations = 0;  // of stage III
  double centre_tolerance = 0.0;
};

static void report_infeasibilities(const Log &log, const char *label, const SolveReport &report) {
  messages::infeasibilities(log, label, report.primal, report.bounds, report.dual);
}

/// Keeps the point just reached. A point of an earlier restricted master is released first: it has
/// served as the start and may be of another size.
static void save_point(const WarmStart &call) {
  if (call.start_mode == kStartFromSaved) free_Pb_save(call.env->Pb_save);
  save_Pb(call.env->Pb, call.env->Pb_save);
}

/// Stage I: a centred point at the current tolerance.
static int32_t run_stage_1(WarmStart *call) {
  QUARN_env *env = call->env;
  SolveReport &report = call->report;
  report.option = env->centrality_value;
  const int32_t code =
      solve_centred(env, call->start_mode, &call->tolerance, &report, &call->search_iterations);
  if (code != 0) {
    if (env->verbosity != 0) messages::tolerance_missed(Log(*env), kFirstFailure, code);
    return code;
  }
  env->inner_iterations += call->search_iterations;
  save_point(*call);
  if (env->verbosity != 0) {
    report_infeasibilities(Log(*env), call->texts.stage_1, report);
    messages::centrality(Log(*call->env), call->texts.stage_1, report.asmall, report.alarge);
  }
  return 0;
}

/// Stage II: a centred point at the fixed tolerance, kept whether or not the search succeeded.
static int32_t run_stage_2(WarmStart *call) {
  QUARN_env *env = call->env;
  SolveReport &report = call->report;
  call->centre_tolerance = kCentreTolerance;
  report.option = env->centrality_value;
  const int32_t code = solve_centred(env, call->start_mode, &call->centre_tolerance, &report,
                                     &call->search_iterations);
  env->inner_iterations_ws += call->search_iterations;
  env->inner_iterations += call->search_iterations;
  save_point(*call);
  if (env->verbosity != 0) {
    report_infeasibilities(Log(*env), call->texts.stage_2, report);
    messages::centrality(Log(*call->env), call->texts.stage_2, report.asmall, report.alarge,
                         "opt_tol_WS", call->centre_tolerance);
  }
  if (code != 0 && env->verbosity != 0) messages::no_centre_found(Log(*env), code);
  return code;
}

/// Stage III: a solution at the current tolerance, from the centre.
static int32_t run_stage_3(WarmStart *call) {
  QUARN_env *env = call->env;
  SolveReport &report = call->report;
  report.option = 0;
  call->start_mode = kStartFromCentre;
  const int32_t code =
      solve_centred(env, call->start_mode, &call->tolerance, &report, &call->solution_iterations);
  env->inner_iterations += call->solution_iterations;
  if (env->verbosity != 0) {
    report_infeasibilities(Log(*env), call->texts.stage_3, report);
    messages::centrality(Log(*call->env), call->texts.stage_3, report.asmall, report.alarge);
  }
  return code;
}

/// Whether the point is still too infeasible, and a sharper tolerance may help.
static bool needs_another_pass(const WarmStart &call, int32_t code) {
  return call.passes_left > 0 && call.report.primal > kPrimalTolerance &&
         (code == kRetriedFailure || call.tolerance >= 0.1 * call.env->delta);
}

/// The passes of both warm-start strategies. A failure of stages I and II ends the call with their
/// own message; one of stage III counts when no pass follows.
static int32_t run_passes(WarmStart *call) {
  int32_t code;
  do {
    if (call->tolerance > kCentreTolerance) {
      code = run_stage_1(call);
      if (code != 0) return code;
    } else {
      code = run_stage_2(call);
      if (code != 0) return code;
      code = run_stage_3(call);
    }
    call->tolerance *= kPassFactor;
    --call->passes_left;
  } while (needs_another_pass(*call, code));
  if (code != 0 && call->env->verbosity != 0) {
    messages::tolerance_missed(Log(*call->env), call->texts.final_failure, code);
  }
  return code;
}

static int32_t solve_by_warm_start(QUARN_env *env, const WarmStartVariant &variant) {
  const bool from_saved = variant.starts_from_saved && env->WS_point_saved != 0;
  if (!from_saved) env->WS_point_saved = 1;
  WarmStart call{env, variant, env->opt_tol, from_saved ? kStartFromSaved : kFreshStart};
  return run_passes(&call);
}

// Dispatcher

/// The restricted master as the caller hands it over.
struct MasterData {
  const QUARN_SMatrix_CW *G;
  const double *RHS;
  const double *row_range;
  const int32_t *row_type;
  const double *col_lb;
  const double *col_ub;
};

constexpr int32_t kPlainLoad = 0;
constexpr int32_t kReload = 7;  // the rounding heuristic's second load of a problem that failed

/// Loads the restricted master into the solver in place of the problem loaded before.
static void load_problem(QUARN_env *env, const MasterData &data, int32_t reload) {
  if (env->Pb != nullptr) free_Pb(env->Pb);
  const QUARN_SMatrix_CW &G = *data.G;
  env->Pb = load_Pb(G.extra1, G.extra2, data.row_type, G.col_start, G.rw, G.elt, data.RHS,
                    data.row_range, data.col_lb, data.col_ub, G.m, G.n, G.nz, env->BLAS_threads, 0,
                    0.0, 0, 0, 0, 0, reload, G.m, 0, 1.0, 0);
  preproc_Pb(env->Pb);
}

/// Solves what is loaded by the centred strategy, which leaves no point to start from.
static int32_t run_centred(QUARN_env *env) {
  const int32_t code = QUARN_solve_RMP_CS(env);
  env->WS_point_saved = 0;
  return code;
}

/// Strategy of the outer loop by WS_strategy, on the problem just loaded.
static int32_t run_strategy(QUARN_env *env) {
  if (env->WS_strategy == 0) return run_centred(env);
  if (env->WS_strategy == 1 && env->outer_iterations >= 2 && env->oracle_status <= 1) {
    return QUARN_solve_RMP_WS(env);
  }
  const int32_t code = QUARN_solve_RMP_CWS(env);
  env->WS_strategy = 1;
  return code;
}

/// The standard strategy on a problem loaded afresh.
static int32_t run_fallback(QUARN_env *env, const MasterData &data, int32_t reload) {
  load_problem(env, data, reload);
  env->WS_point_saved = 0;
  return QUARN_solve_RMP_STD(env);
}

/// Says why the problem that is loaded was not solved, as far as the solver has proved it. Without
/// memory for that, it says the code.
static void complain(const QUARN_env &env, int32_t code) {
  constexpr int32_t kInfeasible = 4, kUnbounded = 5;
  const Log log(env);
  if (!log.is_callers()) return;
  Scratch<double> values(std::max(env.Pb->ncols, env.G->m));
  if (!values || (code != kInfeasible && code != kUnbounded)) {
    complaints::unsolved(log, code);
  } else if (code == kInfeasible) {
    get_dual_solution(env.Pb, values.get());
    complaints::contradictory_rows(log, values.get(), env.G->m - 1);
  } else {
    double unused_1 = 0.0, unused_2 = 0.0;
    get_opt_solution(env.Pb, &unused_1, &unused_2, values.get(), nullptr, nullptr, nullptr);
    complaints::unbounded_column(log, values.get(), env.Pb->ncols, env.ncols_aux);
  }
}

/// Reads the duals and the two values that follow from them. False when there is no room for the
/// duals, which a caller may have released for a cold start.
static bool read_results(QUARN_env *env, const MasterData &data, double *rmp_dual_value,
                         double *rmp_primal_value) {
  const int32_t rows = data.G->m;
  if (env->u == nullptr) env->u = allocate<double>(std::max(rows, data.G->max_m));
  if (env->u == nullptr) return false;
  get_dual_solution(env->Pb, env->u);
  double value = 0.0;
  for (int32_t i = 0; i < rows - 1; ++i) value += data.RHS[i] * env->u[i];
  *rmp_primal_value = env->u[rows - 1];
  *rmp_dual_value = value;
  return true;
}

}  // namespace quarn

int32_t QUARN_solve_RMP_STD(QUARN_env *env) {
  double tolerance = env->opt_tol;
  quarn::SolveReport report;
  int32_t iterations = 0;
  const int32_t code = quarn::solve(env, quarn::kFreshStart, &tolerance, &report, &iterations);
  env->inner_iterations += iterations;
  if (env->verbosity == 0) return code;
  quarn::report_infeasibilities(quarn::Log(*env), "STD:", report);
  quarn::messages::centrality(quarn::Log(*env), "STD:", report.asmall, report.alarge, "opt_tol",
                              env->opt_tol);
  if (code != 0) quarn::messages::tolerance_missed_unflushed(quarn::Log(*env), "STD:", code);
  return code;
}

int32_t QUARN_solve_RMP_CS(QUARN_env *env) {
  double tolerance = env->opt_tol;
  quarn::SolveReport report;
  report.option = env->centrality_value;
  int32_t iterations = 0;
  const auto solve = 1.0 > env->opt_tol ? quarn::solve_centred : quarn::solve;
  const int32_t code = solve(env, quarn::kFreshStart, &tolerance, &report, &iterations);
  env->inner_iterations += iterations;
  if (env->verbosity == 0) return code;
  quarn::report_infeasibilities(quarn::Log(*env), "CS:", report);
  quarn::messages::centrality(quarn::Log(*env), "CS:", report.asmall, report.alarge, report.option,
                              tolerance);
  if (code != 0) quarn::messages::tolerance_missed(quarn::Log(*env), "CS:", code);
  return code;
}

int32_t QUARN_solve_RMP_CWS(QUARN_env *env) {
  return quarn::solve_by_warm_start(env, quarn::kCentredWarmStart);
}

int32_t QUARN_solve_RMP_WS(QUARN_env *env) {
  return quarn::solve_by_warm_start(env, quarn::kWarmStart);
}

int32_t QUARN_solve_RMP(QUARN_env *env, QUARN_SMatrix_CW *G, double *RHS, double *row_range,
                        int32_t *row_type, double *col_lb, double *col_ub, double *rmp_dual_value,
                        double *rmp_primal_value) {
  const quarn::MasterData data{G, RHS, row_range, row_type, col_lb, col_ub};
  quarn::set_tolerance(env, G->m);
  int32_t code = -1;
  if (env->WS_strategy != -2) {
    quarn::load_problem(env, data, quarn::kPlainLoad);
    code = quarn::run_strategy(env);
  }
  if (code != 0) code = quarn::run_fallback(env, data, quarn::kPlainLoad);
  if (code != 0) {
    quarn::complain(*env, code);
    return -1;
  }
  return quarn::read_results(env, data, rmp_dual_value, rmp_primal_value) ? 0 : -1;
}

int32_t IQUARN_solve_RMP(QUARN_env *env, QUARN_SMatrix_CW *G, double *RHS, double *row_range,
                         int32_t *row_type, double *col_lb, double *col_ub, double *rmp_dual_value,
                         double *rmp_primal_value) {
  const quarn::MasterData data{G, RHS, row_range, row_type, col_lb, col_ub};
  quarn::load_problem(env, data, quarn::kPlainLoad);
  const bool warm = env->WS_strategy == 1 && env->outer_iterations >= 2;
  int32_t code = warm ? QUARN_solve_RMP_WS(env) : quarn::run_centred(env);
  if (code != 0) code = quarn::run_fallback(env, data, quarn::kReload);
  // What is left over for rounding may well have no solution: that is no mistake.
  if (code != 0) return -1;
  return quarn::read_results(env, data, rmp_dual_value, rmp_primal_value) ? 0 : -1;
}

// The driver that combines column generation with residual rounding.

#include <cstdlib>

#include "quarn/dual_box.h"
#include "quarn/environment.h"
#include "quarn/internal.h"
#include "quarn/master_driver.h"
#include "quarn/messages.h"
#include "quarn/outer_loop.h"

namespace quarn {

/// Rounds the converged solution once and generates columns once more, from a cold start: the
/// duals of the restored problem are those of a centred solve, not of the last outer iteration.
/// With the gap closed, or at a limit, the outer loop ends before a solve of its own and leaves
/// zeros; then those duals are the ones of the record, and of the problem that is loaded.
static int16_t round_and_converge(QUARN_env *env, QUARN_oracle oracle, double delta) {
  constexpr double kThreshold = 0.9;
  constexpr int32_t kFewestFixed = 1;
  IQUARN_residual_rounding(env, oracle, kThreshold, kFewestFixed);
  env->delta = delta;
  std::free(env->u);
  env->u = nullptr;
  const int32_t iterations = env->outer_iterations;
  const int16_t status = QUARN_solve_MP_core(env, oracle);
  const bool solved_nothing = env->outer_iterations == iterations;
  if (solved_nothing && env->Pb != nullptr && env->u != nullptr) {
    get_dual_solution(env->Pb, env->u);
  }
  return status;
}

/// Fetches the final solution and tells whether it can be trusted. Without a loaded problem no
/// restricted master was solved, and there is no solution to look at.
static int32_t examine_final_solution(QUARN_env *env) {
  if (env->Pb != nullptr) {
    if (!refresh_lambda(env)) return kOracleOrMemory;
    const int32_t j = box_column_above(*env, 10.0 * env->delta);
    if (j >= 0) {
      const int32_t i = box_column_row(*env->G, j, env->m);
      if (env->verbosity != 0) {
        messages::dual_at_its_bound(Log(*env), i, dual_of_row(*env, i), j, env->lambda[j]);
      }
      return kMayBeInfeasible;
    }
  }
  if (env->outer_iterations != env->max_outer_iterations) return kSolved;
  if (env->verbosity != 0) messages::iteration_limit(Log(*env));
  return kIterationLimit;
}

}  // namespace quarn

int32_t IQUARN_solve_MP(QUARN_env *env, QUARN_oracle oracle, int32_t rounding) {
  quarn::messages::integer_driver_begins(quarn::Log(*env));
  const double delta = env->delta;
  int32_t status = QUARN_solve_MP_core(env, oracle);
  while (status == quarn::kSolved && env->restart == 1) status = QUARN_solve_MP_core(env, oracle);
  if (status == quarn::kSolved && rounding > 0) {
    status = quarn::round_and_converge(env, oracle, delta);
  }
  if (env->verbosity != 0) quarn::print_summary(*env);
  if (status == quarn::kSolved) status = quarn::examine_final_solution(env);
  if (status != quarn::kMayBeInfeasible) quarn::trim_matrix(env);
  return status;
}

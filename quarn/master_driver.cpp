// The driver of a master problem: column generation to the end, the summary, and a look at the
// final solution.

#include "quarn/master_driver.h"

#include <cmath>

#include "quarn/complaints.h"
#include "quarn/dual_box.h"
#include "quarn/environment.h"
#include "quarn/messages.h"
#include "quarn/outer_loop.h"

namespace quarn {

constexpr double kBoxColumnWeight = 0.001;  // objective share of a box column that is in use

void trim_matrix(QUARN_env *env) { QUARN_reallocate_SMatrix_CW(env->G, env->G->n, env->G->nz); }

void print_summary(const QUARN_env &env) {
  messages::summary_begins(Log(env));
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
      complaints::unmet_row(Log(*env), use.row, env->lambda[use.column]);
      if (env->verbosity != 0) {
        messages::dual_at_its_bound(Log(*env), use.row, dual_of_row(*env, use.row), use.column,
                                    env->lambda[use.column], std::fabs(use.product),
                                    10.0 * env->delta);
      }
      return kMayBeInfeasible;
    }
  }
  if (env->outer_iterations != env->max_outer_iterations) return kSolved;
  if (env->verbosity != 0) messages::iteration_limit(Log(*env));
  return kIterationLimit;
}

}  // namespace quarn

int16_t QUARN_solve_MP(QUARN_env *env, QUARN_oracle oracle) {
  int16_t status = QUARN_solve_MP_core(env, oracle);
  while (env->restart == 1) status = QUARN_solve_MP_core(env, oracle);
  if (env->verbosity != 0) {
    quarn::print_summary(*env);
    quarn::messages::summary_ends(quarn::Log(*env));
  }
  if (status == quarn::kSolved) status = quarn::examine_final_solution(env);
  if (status != quarn::kMayBeInfeasible) quarn::trim_matrix(env);
  return status;
}

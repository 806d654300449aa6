// The bounds of the optimal value of the master problem. An outer iteration solves the restricted
// master to a tolerance, which gives z_P and z_D, and asks the oracle, which gives t_U and t_L:
//
//   candidates             U' = z_P + t_U,   L' = z_D + t_L                                   (1)
//   relative gap           g = min((U - L) / (|U| + 1e-10), 10)                               (2)
//   progress               ratio = (U' - L') / (U' - L' of the iteration before)              (3)
//   upper bound, RMP       U <- min(U, U')            when the oracle's last status is positive (4)
//   lower bound, oracle    L <- max(L, L');   loose:  L <- max(0.999 L, L') when L' is below L  (5)
//   held-back lower bound  L <- U - q s  when (U - L) / s < q,   q = g / D,  s = |U| + 1e-10  (6)
//   upper bound, oracle    U <- max(U, U') when t_U > 1e-10,   else min(U, z_P)               (7)
//
// Of (4), (5) and (7), change_bounds 2 keeps the candidates alone: U <- U', L <- L'.
//
// Symbol    Code                                Meaning
// z_P, z_D  rmp_primal_value, rmp_dual_value    objective values of the restricted master
// t_U, t_L  ub_term, lb_term                    what the oracle adds to them
// U, L      env->upperBnd, env->lowerBnd        bounds of the optimal value of the master
// g, ratio  env->rel_gap, env->gap_ratio        what drives the stopping test and the tolerance
// D         env->degree_of_optimality           divisor of the gap

#include "quarn/bounds.h"

#include <algorithm>
#include <cmath>

#include "quarn/messages.h"
#include "quarn/quarn.h"

namespace quarn {

constexpr double kLargestGap = 10.0;  // also the gap of a record that was never solved

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

}  // namespace quarn

int32_t QUARN_calculate_gaps(QUARN_env *env, double *lower, double *upper, double lb_candidate,
                             double ub_candidate, int32_t k) {
  if (*lower > *upper) {
    quarn::messages::bounds_reset(quarn::Log(*env), *upper, ub_candidate, *lower, lb_candidate);
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

/**
 * The two bounds of the optimal value of the master problem, and their relative gap, as functions
 * of plain numbers.
 */
#ifndef QUARN_BOUNDS_H
#define QUARN_BOUNDS_H

#include <cstdint>

namespace quarn {

constexpr double kBoundTolerance = 1e-10;  ///< relative, for every comparison of bounds

/// Relative gap of two bounds, at most 10; not a number when a bound is not.
double relative_gap(double lower, double upper);

/// Upper bound after the restricted master was solved; the oracle's previous status decides
/// whether the candidate counts.
double upper_bound_after_rmp(int16_t change_bounds, int16_t oracle_status, double bound,
                             double candidate);

/// Lower bound after an answer of the oracle. With change_bounds 1 a bound above the candidate
/// gives way by 0.1 % of its value at most.
double lower_bound_after_oracle(int16_t change_bounds, double bound, double candidate);

/// Lower bound held back so far that the relative gap stays at `least_gap` or above.
double lower_bound_held_back(double lower, double upper, double least_gap);

/// Upper bound after an answer of the oracle: a positive term can only raise it.
double upper_bound_after_oracle(int16_t change_bounds, double bound, double rmp_value,
                                double ub_term);

/// True when the upper bound lies below the bound that the user imposes on the objective.
bool contradicts_objective_LB(double upper, double objective_LB);

/// True when the candidate for the lower bound passes the bound that the user imposes.
bool contradicts_objective_UB(double candidate, double objective_UB);

}  // namespace quarn

#endif

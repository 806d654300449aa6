/**
 * The tolerance of the restricted master as functions of plain numbers.
 */
#ifndef QUARN_RESTRICTED_MASTER_H
#define QUARN_RESTRICTED_MASTER_H

#include <cstdint>

namespace quarn {

/// Outer iterations that a difficult problem starts with a loose tolerance; 0 for any other.
int32_t loose_start_count(int16_t difficult_problem, int32_t rows);

/// The loose tolerance when `remaining` of those iterations are left: ten to that power, at most
/// to the fifth.
double loose_tolerance(int32_t remaining);

/// What the tolerance of a restricted master depends on.
struct ToleranceState {
  double previous;  ///< tolerance of the restricted master before
  double rel_gap;
  double degree_of_optimality;
  double gap_ratio;
  int32_t outer_iterations;
  int32_t ncols_last;
  int32_t solver_option;
  int16_t oracle_status;
  bool expansion_ended;
};

/// Tolerance that follows the gap, before it is held to its floor and ceiling.
double scheduled_tolerance(const ToleranceState &state);

/// True when the gap has shrunk too little for the number of columns that the oracle added.
bool progress_is_slow(int32_t ncols_last, double gap_ratio);

/// The tolerance held to `ceiling` first and then to a tenth of `delta`.
double held_tolerance(double tolerance, double ceiling, double delta);

}  // namespace quarn

#endif

/**
 * The rules of the method as functions of plain numbers.
 *
 * Each is defined in the unit whose head comment states it: bounds, gaps, dual box and column
 * elimination in column_generation.cpp, the tolerance of the restricted master in
 * restricted_master.cpp, rounding in integer_heuristic.cpp. None reads or changes a record.
 */
#ifndef QUARN_RULES_H
#define QUARN_RULES_H

#include <cstdint>

namespace quarn {

// Time

/// Seconds of an interval given as differences of clock fields, in whole milliseconds rounded to
/// the nearest, halves away from zero.
double whole_milliseconds(int64_t seconds, int64_t microseconds);

// Bounds and gaps

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

// Dual box

/// Factors by which a bound moves when its dual is close to it, further inside, and far inside.
struct WideningFactors {
  double close;
  double inside;
  double far;
};

/// Larger steps while the oracle still finds many columns.
WideningFactors widening_factors(int32_t ncols_last);

/// A bound after one step, and whether the expansion has to look at the box again.
struct WidenedBound {
  double bound;
  bool unfinished;
};

/// One step of an upper bound towards its limit; a lower bound is widened with all signs turned.
WidenedBound widened_bound(double bound, double limit, double dual, const WideningFactors &factors);

/// True when an upper bound may move at all: not negative, and short of its limit.
bool may_widen(double bound, double limit);

/// Lower end of the box: the wanted one, or the limit where that is the tighter one, but then never
/// above zero. A limit that is not a number gives zero.
double boxed_lower(double limit, double wanted);

/// The mirror image for the upper end.
double boxed_upper(double limit, double wanted);

// Column elimination

/// How many of `ncols` generated columns may go when the fraction `keep` has to stay.
int32_t removal_limit(int32_t ncols, double keep);

/// How many of the candidates of one further row may go: five at most, three have to stay.
int32_t row_removal_limit(int32_t candidates);

// Tolerance of the restricted master

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

// Rounding

/// True when a residual right-hand side leaves a row of this type unmet, or exceeded; a row of an
/// unknown type never is.
bool row_is_violated(int32_t row_type, double residual);

/// True when an open row of this type counts as met at the residual right-hand side.
bool row_becomes_satisfied(int32_t row_type, double residual);

/// The integer at which a column of this value is fixed: the next one above, or the value itself
/// when it exceeds an integer by 1e-10 at most.
double rounded_up(double value);

/// Rank of a candidate: its distance to the integer above, and `draw` from 0 to 99 to break ties.
double rounding_key(double value, int32_t draw);

/// True when a completed solution takes the place of a stored one.
bool replaces_stored(double cost, double stored_cost);

}  // namespace quarn

#endif

/**
 * What the rounding heuristic decides by, as functions of plain numbers.
 */
#ifndef QUARN_ROUNDING_H
#define QUARN_ROUNDING_H

#include <cstdint>

namespace quarn {

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

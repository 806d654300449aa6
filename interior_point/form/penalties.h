/**
 * Penalty columns: those with a cost so large that it says nothing of what a column is worth, only
 * that it should carry nothing.
 */
#ifndef INTERIOR_POINT_FORM_PENALTIES_H
#define INTERIOR_POINT_FORM_PENALTIES_H

#include <cstdint>

#include "interior_point/form/problem_form.h"
#include "interior_point/vector.h"

namespace interior_point {

/// True when the column, without an upper bound, costs so many times what is usual that scaling has
/// shrunk it (scaling.h).
bool is_penalty(const ProblemForm &form, int32_t j);

/// Costs for some columns of a form in place of their own.
struct CappedCosts {
  Vector<int32_t> column;  ///< increasing
  Vector<double> cost;     ///< for each of them, in the caller's unit
};

/// The penalty columns, and for each `cap` times what is usual for an entry of that size. Throws
/// std::bad_alloc.
CappedCosts capped_costs(const ProblemForm &form, double cap);

/// The form with these costs, in the units that go with them. Its penalties, if any are left, are
/// other columns. Throws std::bad_alloc.
ProblemForm with_capped_costs(const ProblemForm &form, const CappedCosts &capped);

}  // namespace interior_point

#endif

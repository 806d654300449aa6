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

}  // namespace interior_point

#endif

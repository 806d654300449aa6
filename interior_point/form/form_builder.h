/**
 * From the problem as it is loaded to the form (1) of problem_form.h.
 */
#ifndef INTERIOR_POINT_FORM_FORM_BUILDER_H
#define INTERIOR_POINT_FORM_FORM_BUILDER_H

#include <cstdint>

#include "interior_point/form/problem_form.h"

namespace interior_point {

/// The arrays of load_Pb, borrowed for the time of the call. Row and column starts count from 1,
/// the last row holds the costs.
struct LoadedArrays {
  const int32_t *row_type;
  const int32_t *col_start;
  const int32_t *rw;
  const double *elt;
  const double *rhs;
  const double *row_range;
  const double *col_lb;
  const double *col_ub;
  int32_t rows;  ///< cost row included
  int32_t columns;
};

/// Makes the scaled form (1) of a loaded problem. Throws std::bad_alloc.
ProblemForm make_problem_form(const LoadedArrays &loaded);

}  // namespace interior_point

#endif

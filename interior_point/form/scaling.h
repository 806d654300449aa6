/**
 * Scaling of the form to be solved: x = C x^, A^ = R A C, b^ = R b, c^ = C c, h^ = C^-1 h, with R
 * and C diagonal matrices of powers of two.
 */
#ifndef INTERIOR_POINT_FORM_SCALING_H
#define INTERIOR_POINT_FORM_SCALING_H

#include "interior_point/form/problem_form.h"

namespace interior_point {

/// A cost this far above the reference cost shrinks its column until the scaled cost is within it.
constexpr double kCostBand = 1e3;

/// Scales the structural columns, rows and slacks of an unscaled form and stores the factors in it.
void scale(ProblemForm *form);

}  // namespace interior_point

#endif

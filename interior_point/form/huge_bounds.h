/**
 * Bounds so large that they say nothing of the size of x.
 *
 * A column between two huge bounds, nearer to neither, is free in the form, since a shift by one of
 * them would cost the digits of all that is small beside it. The solution is tried against the
 * bounds, and the problem solved again with them where it does not keep to them.
 */
#ifndef INTERIOR_POINT_FORM_HUGE_BOUNDS_H
#define INTERIOR_POINT_FORM_HUGE_BOUNDS_H

#include <cstdint>

#include "interior_point/form/problem_form.h"
#include "interior_point/vector.h"

namespace interior_point {

/// A bound of this size or more is huge: a shift by less keeps ten digits of x.
constexpr double kHugeBound = 1e6;

/// Per boxed column, whether its box is so wide that it says nothing of the size of x: huge in the
/// caller's unit, and in the scaled one a multiple of the largest right-hand side, which a column
/// reaches that is alone with a row, the entries of A being at most about 1. None where all
/// right-hand sides are 0: then the boxes are all that gives x a size.
Vector<uint8_t> huge_boxes(const ProblemForm &form);

/// True when the values x of the form, scaled, keep to the huge bounds of its free columns.
bool keeps_to_huge_bounds(const ProblemForm &form, const Vector<double> &x);

/// The form with the huge bounds as a shift and a width like all others. Throws std::bad_alloc.
ProblemForm with_huge_bounds(const ProblemForm &form);

}  // namespace interior_point

#endif

/**
 * Where a solve starts that has no earlier point: least squares, then a shift into the interior.
 *
 *   x = argmin |x|^2 + |w|^2  subject to  A x = b, x + w = h,
 *   (y, z) from min |c - A'y|^2,                                                              (10)
 *
 * both from one factorisation of A A', and then x, w and z, v shifted to be positive.
 * S. Mehrotra, On the implementation of a primal-dual interior point method, SIAM J. Optimization 2
 * (1992), section 7; the treatment of widths is the usual extension.
 */
#ifndef INTERIOR_POINT_STARTING_POINT_H
#define INTERIOR_POINT_STARTING_POINT_H

#include "interior_point/newton_system.h"

namespace interior_point {

/// Writes the starting point. False when A A' could not be factorised.
bool make_starting_point(const ProblemForm &form, NewtonSystem *newton, Point *point);

}  // namespace interior_point

#endif

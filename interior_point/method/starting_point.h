/**
 * Where a solve starts that has no earlier point: least squares, then a shift into the interior.
 *
 *   x = argmin |x|^2 + |w|^2  subject to  A x = b, x + w = h,
 *   y = (A Theta A')^-1 A c,   z - v = c - A'y,                                               (10)
 *
 * both from one factorisation of A Theta A', with theta 1/2 for the columns with a width and 1 for
 * the others, and then x, w and z, v shifted to be positive. Where no column has a width y is the
 * least-squares solution; to weigh c as well, which would make it so with widths, takes as many
 * iterations on 24 of 25 netlib programs together, and twice as many (44) on forplan. A box that is
 * huge (huge_bounds.h) has no part in this, half its width being no measure of x: w is what x
 * leaves of it and v = mu / w. S. Mehrotra, On the implementation of a primal-dual interior point
 * method, SIAM J. Optimization 2 (1992), section 7; the treatment of widths is the usual extension.
 */
#ifndef INTERIOR_POINT_METHOD_STARTING_POINT_H
#define INTERIOR_POINT_METHOD_STARTING_POINT_H

#include "interior_point/method/newton_system.h"

namespace interior_point {

/// Writes the starting point. False when A A' could not be factorised.
bool make_starting_point(const ProblemForm &form, NewtonSystem *newton, Point *point);

/// Writes a point of the path's far end for problems that can be feasible only by penalty columns:
///
///   x_j max_i |a_ij| = xi for every column, y = 0, z_j = mu / x_j, mu = xi C,
///
/// with xi the largest right-hand side and C the largest cost of a penalty column, both as they are
/// before that column was shrunk. The point (10) lies where penalty columns carry nothing, many
/// orders of magnitude below the mu at which such a problem has its central path.
void make_penalty_point(const ProblemForm &form, Point *point);

}  // namespace interior_point

#endif

/**
 * From a centre straight towards the solution of an earlier problem over the same rows.
 *
 *   point <- solution + lambda (centre - solution),   0 < lambda <= 1                         (34)
 *
 * (A. Skajaa, E. D. Andersen, Y. Ye, Warmstarting the homogeneous and self-dual interior point
 * method for linear and conic quadratic problems, Math. Program. Comput. 5 (2013) 1-25). Where both
 * satisfy the linear equations so does every point between them, and the gap falls with lambda:
 * what iterations would reach by small steps close to the boundary is had without a factorisation.
 * A new column is 0 in the solution, with the z that c - A'y leaves it; where that is negative the
 * column keeps lambda from 0.
 */
#ifndef INTERIOR_POINT_METHOD_APPROACH_H
#define INTERIOR_POINT_METHOD_APPROACH_H

#include "interior_point/method/newton_system.h"

namespace interior_point {

/// Moves the point, a centre, by (34) as far as every product stays at least a share of their mean,
/// and this mean at least `least_mu`. False, and the point as it was, where that is no way at all.
/// Cost: a few passes over the columns.
bool approach(const ProblemForm &form, const Point &solution, double least_mu, Point *point);

}  // namespace interior_point

#endif

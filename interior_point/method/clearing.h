/**
 * Taking what little some columns carry out of them, and keeping A x = b.
 *
 * The columns P to be cleared go to 0; the others take up their share of A x in steps
 *
 *   x <- max(0, x + X A'(A X A')^-1 (b - A x)),   X = diag(x),                               (31)
 *
 * each the change with the least sum of dx_j^2 / x_j that restores A x = b. A column that rows
 * force to 0 along with P gets there, since only that restores them: the change in the metric of a
 * Newton step, weighed with x_j / z_j, would hardly see it once it is small.
 */
#ifndef INTERIOR_POINT_METHOD_CLEARING_H
#define INTERIOR_POINT_METHOD_CLEARING_H

#include <memory>

#include "interior_point/method/newton_system.h"
#include "interior_point/vector.h"

namespace interior_point {

/// Clears the columns by (31) until `allowed` is met, one factorisation a step; x and w alone
/// change, and may end at 0. Other columns whose reduced cost z is at least `far` go to 0 at once:
/// of these the path knows that they will. False where the others cannot take up what was carried,
/// or not within a few steps; the point is then what it was. `analysed` is a system of the same
/// form. Throws std::bad_alloc.
bool clear_columns(const ProblemForm &form, const Vector<int32_t> &columns, double far,
                   const SolveAccuracy &allowed, const NewtonSystem &analysed, Point *point);

}  // namespace interior_point

#endif

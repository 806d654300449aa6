/**
 * Proofs that a problem has no optimum.
 *
 * Infeasibility. With s = A'y, every x of the form (1) with x_j <= u_j (|x_j| <= u_j where free)
 * has
 *
 *   y'(b - A x) >= theta(y) = b'y - sum_j u_j max(s_j, 0)    (|s_j| where free),              (25)
 *
 * so theta > sum_i |y_i| t_i proves that it misses some row i by more than t_i. u_j is the width
 * h_j, or 1e8 max|b| / max_i |a_ij| where that is less. J. Farkas, J. reine angew. Math. 124 (1902)
 * 1-27.
 *
 * Unboundedness. For d >= 0 (of any sign where free) with d_j = 0 in columns of finite width, every
 * y of the dual (2) with l_i <= y_i <= u_i has, with its z >= 0 and a residual r_d of (2),
 *
 *   c'd = y'A d + z'd + r_d'd >= sum_i min(l_i (A d)_i, u_i (A d)_i) - sum_j |d_j| |r_d|_j,   (26)
 *
 * so a c'd below the first sum by more than sum_j |d_j| t_j proves that it misses some column j by
 * more than t_j. l_i and u_i are what columns of one entry and no width imply, or -U and U where
 * that is less: U is the larger of 1e8 times the largest |c_j| / max_i |a_ij| of columns with a
 * d_j, and 1e3 times that of all columns. The problem then is unbounded, or infeasible.
 *
 * The t are 1e-8 (1 + |b_i|) and 1e-8 (1 + |c_j|) in the caller's units, ten times the
 * infeasibility that the sharpest solve allows, and the rounding error of b: what passes for a
 * solution is not refuted for its rounding errors. An s_j or (A d)_i within 1e-14 of the terms it
 * is the sum of counts as 0, as it is for a matrix with entries that differ by as much.
 */
#ifndef INTERIOR_POINT_METHOD_CERTIFICATES_H
#define INTERIOR_POINT_METHOD_CERTIFICATES_H

#include "interior_point/form/point.h"
#include "interior_point/form/problem_form.h"
#include "interior_point/vector.h"

namespace interior_point {

/// Whether y, per row and scaled, proves by (25) that the problem has no feasible point. Entries of
/// the wrong sign for their row are set to 0.
bool proves_infeasibility(const ProblemForm &form, Vector<double> *y);

/// Whether d, per column and scaled, proves by (26) that the problem has no dual solution. Entries
/// that have no place in a ray are set to 0.
bool proves_unboundedness(const ProblemForm &form, Vector<double> *d);

/// Looks for a column that is a ray by itself, cost and entries leading to where no bound and no
/// row ends, and if there is one notes it in the form. Costs up to 1e-9, which a solve may well put
/// down to rounding, do not count. One pass over the columns of negative cost.
void find_unbounded_column(ProblemForm *form);

/// What a point that passes for a solution may hide: where y (or x) is so large beside all costs
/// (or right-hand sides) that the measures' denominators forgave it a residual of some size, the
/// problem may be unbounded (or infeasible). kOpen where neither is.
Verdict suspicion(const ProblemForm &form, const Point &point);

}  // namespace interior_point

#endif

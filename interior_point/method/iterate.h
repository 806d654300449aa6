/**
 * A primal-dual point of the scaled form, its residuals, and the measures by which it is judged.
 *
 * With the point (x, w, y, z, v) the residuals of (1) and (2) are
 *
 *   r_p = b - A x,   r_u = h - x - w,   r_d = c - A'y - z + v,                                 (6)
 *
 * the objectives p = c'x and d = b'y - h'v, and mu the mean of the products x_j z_j and w_j v_j.
 * The measures are those of the caller's units:
 *
 *   primal   max_i |r_p|_i / (1 + max|b| + 0.01 max_j |a_ij x_j|)
 *   bound    max_j |r_u|_j / (1 + h_j)
 *   dual     max_j |r_d|_j / (1 + |c_j| + 0.01 max_i |a_ij y_i|)                               (7)
 *   gap      |p - d| / max(|p|, floor), less the rounding error of the two sums, with a floor of
 *            1e-10 min(1, least |c_j|), or 1e-6 of the constant in p where that is larger; where
 *            digits cancel, of 1e-5 min(least |c_j|, sum of the absolute terms of p and d)
 *   asmall, alarge   least and largest product over mu.
 *
 * Dual infeasibility is relative to each column's own cost: beside penalty columns of cost 1e10 one
 * denominator for all would make the test void. The last terms of the denominators are backward
 * errors: they keep (7) attainable in double precision when x or y is large.
 */
#ifndef INTERIOR_POINT_METHOD_ITERATE_H
#define INTERIOR_POINT_METHOD_ITERATE_H

#include "interior_point/form/point.h"
#include "interior_point/form/problem_form.h"
#include "interior_point/linear_algebra/column_products.h"
#include "interior_point/vector.h"

namespace interior_point {

/// Of the system (6), or of its right-hand side in a Newton step.
struct Residuals {
  Vector<double> primal;  ///< per row
  Vector<double> width;   ///< per boxed column
  Vector<double> dual;    ///< per column

  void resize(const ProblemForm &form);
};

struct Measures {
  double primal = 1.0;
  double bound = 0.0;
  double dual = 1.0;
  double gap = kInfinity;
  double unit = 1.0;            ///< what the gap is relative to
  double unit_of_terms = 1.0;   ///< the same with the floor for digits that cancel
  double rounded = 0.0;         ///< what rounding may have made of p - d
  double objective = 0.0;       ///< p, constant included
  double dual_objective = 0.0;  ///< d, constant included
  double defect = 0.0;          ///< |y'r_p|: by how much p may miss the value of a feasible point
  double dual_defect = 0.0;     ///< |x'r_d|: the part of p - d that is dual infeasibility
  double mu = 0.0;
  double asmall = 0.0;
  double alarge = 0.0;
};

/// Writes the residuals (6) of the point. `products` are those with A.
void compute_residuals(const ProblemForm &form, const ColumnProducts &products, const Point &point,
                       Residuals *residuals);

/// The same for a single point of a form.
inline void compute_residuals(const ProblemForm &form, const Point &point, Residuals *residuals) {
  compute_residuals(form, ColumnProducts(form.A), point, residuals);
}

/// The floor of the gap in (7): the first, or that of digits which cancel.
enum class Unit { kObjective, kTerms };

/// The measures (7). Infeasibilities above `tolerance` under the first terms of a denominator alone
/// are looked at again with all of it.
Measures measure(const ProblemForm &form, const Point &point, const Residuals &residuals,
                 double tolerance, Unit unit = Unit::kObjective);

}  // namespace interior_point

#endif

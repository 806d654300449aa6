/**
 * Looks for a proof that a problem has no optimum, by two problems that always have one:
 *
 *   minimise e'(p + q)   subject to   A x + p - q = b,   x as in (1),   p, q >= 0,             (27)
 *
 * the duals of which, where its value is above 0, prove by (25) that there is no feasible point,
 * and
 *
 *   minimise c'd   subject to   A d = 0,   0 <= d_j <= 1 (|d_j| <= 1 where free),              (28)
 *
 * over the columns without a width, the solution of which, where its value is below 0, is a ray for
 * (26).
 */
#ifndef INTERIOR_POINT_METHOD_CERTIFICATE_SEARCH_H
#define INTERIOR_POINT_METHOD_CERTIFICATE_SEARCH_H

#include "interior_point/form/problem_form.h"
#include "interior_point/vector.h"

namespace interior_point {

/// A verdict, and what proves it: y for kInfeasible, d for kUnbounded, scaled and at most 1.
struct Certificate {
  Verdict verdict = Verdict::kOpen;
  Vector<double> proof;
};

/// Looks for a proof of one verdict. `iterations` grows by those that were needed. Throws
/// std::bad_alloc.
Certificate find_certificate(const ProblemForm &form, Verdict verdict, int32_t *iterations);

}  // namespace interior_point

#endif

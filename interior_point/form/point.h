/**
 * A primal-dual point of the form: values for (1) and (2) of problem_form.h.
 */
#ifndef INTERIOR_POINT_FORM_POINT_H
#define INTERIOR_POINT_FORM_POINT_H

#include "interior_point/form/problem_form.h"
#include "interior_point/vector.h"

namespace interior_point {

/// x and z per column (z is 0 for a free one), w and v per boxed column, y per row.
struct Point {
  Vector<double> x, z, w, v, y;

  /// All zeros, of the lengths of the form. Throws std::bad_alloc.
  void resize(const ProblemForm &form) {
    x.assign(static_cast<std::size_t>(form.columns()), 0.0);
    z.assign(x.size(), 0.0);
    w.assign(form.boxed.size(), 0.0);
    v.assign(form.boxed.size(), 0.0);
    y.assign(static_cast<std::size_t>(form.rows()), 0.0);
  }
};

}  // namespace interior_point

#endif

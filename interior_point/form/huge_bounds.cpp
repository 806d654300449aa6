#include "interior_point/form/huge_bounds.h"

#include <algorithm>
#include <cmath>

#include "interior_point/form/fingerprint.h"

namespace interior_point {

namespace {
constexpr double kHugeWidth = 5e5;        // from a bound of any common size to a huge one
constexpr double kLeastHugeRatio = 10.0;  // of a huge width to the largest right-hand side
}  // namespace

Vector<uint8_t> huge_boxes(const ProblemForm &form) {
  Vector<uint8_t> huge(form.boxed.size(), 0);
  double rhs = 0.0;
  for (const double e : form.b) rhs = std::max(rhs, std::fabs(e));
  if (rhs == 0.0) return huge;
  for (size_t k = 0; k < huge.size(); ++k) {
    const int32_t j = form.boxed[k];
    huge[k] =
        form.width[j] > kLeastHugeRatio * rhs && form.width[j] * form.column_scale[j] >= kHugeWidth;
  }
  return huge;
}

bool keeps_to_huge_bounds(const ProblemForm &form, const Vector<double> &x) {
  return std::all_of(form.huge_bounds.begin(), form.huge_bounds.end(),
                     [&](const HugeBounds &bounds) {
                       const double value = x[bounds.column] * form.column_scale[bounds.column];
                       return bounds.lower <= value && value <= bounds.upper;
                     });
}

ProblemForm with_huge_bounds(const ProblemForm &form) {
  ProblemForm result = form;
  for (const HugeBounds &bounds : form.huge_bounds) {
    const int32_t j = bounds.column;
    const bool reflected = std::isinf(bounds.lower);
    const double end = (reflected ? bounds.upper : bounds.lower) * form.column_unit[j];
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      result.b[form.A.row[t]] -= form.A.value[t] * end;
      if (reflected) result.A.value[t] = -form.A.value[t];
    }
    result.objective_constant += form.c[j] * end;
    result.shift[j] = end * form.column_scale[j];
    if (reflected) {
      result.c[j] = -form.c[j];
      result.sign[j] = -1.0;
    }
    // Its x is another one now: a saved point of the free column is none of this.
    result.fingerprint[j] = mix(result.fingerprint[j], bits_of(result.shift[j]));
    result.is_free[j] = 0;
    result.width[j] = (bounds.upper - bounds.lower) * form.column_unit[j];
  }
  result.huge_bounds.clear();
  result.derive();
  return result;
}

}  // namespace interior_point

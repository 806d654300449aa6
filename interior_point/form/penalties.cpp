#include "interior_point/form/penalties.h"

#include <algorithm>
#include <cmath>

#include "interior_point/form/scaling.h"

namespace interior_point {

namespace {

double largest_entry(const ProblemForm &form, int32_t j) {
  double most = 0.0;
  for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
    most = std::max(most, std::fabs(form.A.value[t]));
  }
  return most;
}

}  // namespace

bool is_penalty(const ProblemForm &form, int32_t j) {
  if (!form.has_penalties || form.is_free[j] || std::isfinite(form.width[j])) return false;
  return form.c[j] > kCostBand * form.reference_cost * largest_entry(form, j);
}

}  // namespace interior_point

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

/// Measures x_j in a smaller unit by a power of two, or in a larger one.
void scale_column(int32_t j, double factor, ProblemForm *form) {
  for (int32_t t = form->A.start[j]; t < form->A.start[j + 1]; ++t) form->A.value[t] *= factor;
  form->c[j] *= factor;
  form->column_scale[j] *= factor;
  form->column_unit[j] /= factor;
}

}  // namespace

bool is_penalty(const ProblemForm &form, int32_t j) {
  if (!form.has_penalties || form.is_free[j] || std::isfinite(form.width[j])) return false;
  return form.c[j] > kCostBand * form.reference_cost * largest_entry(form, j);
}

CappedCosts capped_costs(const ProblemForm &form, double cap) {
  CappedCosts capped;
  for (int32_t j = 0; j < form.structurals; ++j) {
    if (!is_penalty(form, j)) continue;
    const double cost = cap * form.reference_cost * largest_entry(form, j);
    capped.column.push_back(j);
    capped.cost.push_back(cost * form.column_unit[j]);
  }
  return capped;
}

ProblemForm with_capped_costs(const ProblemForm &form, const CappedCosts &capped) {
  ProblemForm result = form;
  for (size_t k = 0; k < capped.column.size(); ++k) {
    const int32_t j = capped.column[k];
    result.c[j] = capped.cost[k] * form.column_scale[j];
    scale_column(j, std::exp2(-std::round(std::log2(largest_entry(form, j)))), &result);
  }
  const auto last = capped.column.end();
  auto next = capped.column.begin();
  result.has_penalties = false;
  for (int32_t j = 0; j < result.structurals && !result.has_penalties; ++j) {
    if (next != last && *next == j) {
      ++next;
      continue;
    }
    result.has_penalties =
        std::fabs(result.c[j]) > kCostBand * form.reference_cost * largest_entry(result, j);
  }
  return result;
}

}  // namespace interior_point

#include "examples/dantzig_wolfe/objective_step.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace dantzig_wolfe {

/// What the objective is a sum of multiples of.
static std::vector<double> terms(const Model &model) {
  std::vector<double> result;
  if (model.constant != 0.0) result.push_back(model.constant);
  for (const Variable &variable : model.variables) {
    if (variable.cost != 0.0) result.push_back(variable.cost);
  }
  return result;
}

double objective_step(const Model &model) {
  constexpr double kMostDecimals = 1e6, kLargest = 1e12;
  for (const Variable &variable : model.variables) {
    if (variable.cost != 0.0 && !variable.integer) return 0.0;
  }
  const std::vector<double> values = terms(model);
  const auto is_whole = [](double value) {
    return std::fabs(value) < kLargest &&
           std::fabs(value - std::round(value)) <= 1e-12 * std::fabs(value);
  };
  for (double factor = 1.0; factor <= kMostDecimals; factor *= 10.0) {
    if (!std::all_of(values.begin(), values.end(),
                     [&](double value) { return is_whole(value * factor); })) {
      continue;
    }
    int64_t divisor = 0;
    for (const double value : values) divisor = std::gcd(divisor, std::llround(value * factor));
    return static_cast<double>(divisor) / factor;
  }
  return 0.0;
}

double rounded_bound(const Model &model, double step, double bound) {
  if (step <= 0.0 || !std::isfinite(bound)) return bound;
  const double error = 1e-6 * std::max(1.0, std::fabs(bound)) / step;
  const double steps = model.sign() * bound / step;
  const double rounded = model.sign() * step * std::ceil(steps - error);
  // Where a step is hardly more than the errors, rounding would weaken the bound.
  return model.sign() * rounded > model.sign() * bound ? rounded : bound;
}

bool is_closed(const Model &model, double value, double bound, double tolerance) {
  return model.sign() * (value - bound) <= tolerance * std::max(1.0, std::fabs(value));
}

}  // namespace dantzig_wolfe

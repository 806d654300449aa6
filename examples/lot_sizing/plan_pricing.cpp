#include "examples/lot_sizing/plan_pricing.h"

#include <algorithm>
#include <limits>

namespace lot_sizing {

PlanPricer::PlanPricer(const Item &item) : item_(item) {
  const size_t T = item.demand.size();
  demand_sum_.resize(T + 1);
  moment_sum_.resize(T + 1);
  least_.resize(T + 1);
  start_.resize(T + 1);
  for (size_t t = 0; t < T; ++t) {
    demand_sum_[t + 1] = demand_sum_[t] + item.demand[t];
    moment_sum_[t + 1] = moment_sum_[t] + static_cast<double>(t) * item.demand[t];
  }
}

double PlanPricer::cheapest(const std::vector<double> &g, Plan &plan) {
  const size_t T = item_.demand.size();
  std::fill(least_.begin() + 1, least_.end(), std::numeric_limits<double>::infinity());
  for (size_t s = 0; s < T; ++s) {
    if (item_.demand[s] <= 0.0 && least_[s] < least_[s + 1]) {
      least_[s + 1] = least_[s];  // nothing is wanted and nothing is made
      start_[s + 1] = s;
    }
    // A unit used in k is held for k - s periods; the k is in the moments.
    const double unit = g[s] * item_.unit_use - item_.holding_cost * static_cast<double>(s);
    const double before = least_[s] + item_.setup_cost + g[s] * item_.setup_use -
                          unit * demand_sum_[s] - item_.holding_cost * moment_sum_[s];
    for (size_t e = s + 1; e <= T; ++e) {
      const double cost = before + unit * demand_sum_[e] + item_.holding_cost * moment_sum_[e];
      if (cost < least_[e]) least_[e] = cost, start_[e] = s;
    }
  }
  plan.assign(T, 0.0);
  for (size_t e = T; e > 0; e = start_[e])
    plan[start_[e]] = demand_sum_[e] - demand_sum_[start_[e]];
  return least_[T];
}

}  // namespace lot_sizing

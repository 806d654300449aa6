#include "examples/lot_sizing/plan.h"

#include <algorithm>
#include <utility>

namespace lot_sizing {

double plan_cost(const Item &item, const Plan &plan) {
  double cost = 0.0;
  double stock = 0.0;
  for (size_t t = 0; t < plan.size(); ++t) {
    if (plan[t] > 0.0) cost += item.setup_cost;
    stock += plan[t] - item.demand[t];
    cost += item.holding_cost * stock;
  }
  return cost;
}

double plan_use(const Item &item, const Plan &plan, size_t t) {
  return plan[t] > 0.0 ? item.setup_use + item.unit_use * plan[t] : 0.0;
}

/// The items made in period t >= 1, in the order in which they are to be made earlier.
static std::vector<size_t> moving_order(const Instance &instance, const std::vector<Plan> &plans,
                                        size_t t) {
  std::vector<std::pair<double, size_t>> ranked;
  for (size_t i = 0; i < plans.size(); ++i) {
    if (plans[i][t] <= 0.0) continue;
    const Item &item = instance.items[i];
    const double saved = plans[i][t - 1] > 0.0 ? item.setup_cost : 0.0;
    const double extra = item.holding_cost * plans[i][t] - saved;
    ranked.push_back({extra / plan_use(item, plans[i], t), i});
  }
  std::sort(ranked.begin(), ranked.end());
  std::vector<size_t> order;
  for (const auto &entry : ranked) order.push_back(entry.second);
  return order;
}

static double total_use(const Instance &instance, const std::vector<Plan> &plans, size_t t) {
  double use = 0.0;
  for (size_t i = 0; i < plans.size(); ++i) use += plan_use(instance.items[i], plans[i], t);
  return use;
}

std::vector<Plan> fitting_plans(const Instance &instance) {
  std::vector<Plan> plans;
  for (const Item &item : instance.items) plans.push_back(item.demand);
  for (size_t t = instance.horizon() - 1; t > 0; --t) {
    double excess = total_use(instance, plans, t) - instance.capacity;
    for (const size_t i : moving_order(instance, plans, t)) {
      if (excess <= 0.0) break;
      const double before = plan_use(instance.items[i], plans[i], t);
      const double moved = std::min(plans[i][t], excess / instance.items[i].unit_use);
      plans[i][t] -= moved;
      plans[i][t - 1] += moved;
      excess -= before - plan_use(instance.items[i], plans[i], t);
    }
  }
  if (total_use(instance, plans, 0) > instance.capacity) plans.clear();
  return plans;
}

}  // namespace lot_sizing

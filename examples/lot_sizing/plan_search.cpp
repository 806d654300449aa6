#include "examples/lot_sizing/plan_search.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "examples/common/polyak_step.h"

namespace lot_sizing {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// A reduced cost closer to 0, relative to the dual of the item, is rounding.
constexpr double kReducedCostTolerance = 1e-9;

PlanSearch::PlanSearch(const Instance &instance, int32_t price_vectors)
    : instance_(instance),
      price_vectors_(price_vectors),
      costs_(instance.items.size()),
      plans_(instance.items.size()),
      subgradient_(instance.horizon()),
      lower_bound_(-kInfinity) {
  for (const Item &item : instance.items) pricers_.emplace_back(item);
}

bool PlanSearch::price_items(const std::vector<double> &g) {
  for (size_t i = 0; i < pricers_.size(); ++i) costs_[i] = pricers_[i].cheapest(g, plans_[i]);
  return true;
}

/// L(g) of the items priced at g; leaves the subgradient of their plans behind.
double PlanSearch::evaluate(const std::vector<double> &g) {
  double value = 0.0;
  std::fill(subgradient_.begin(), subgradient_.end(), -instance_.capacity);
  for (const double price : g) value -= price * instance_.capacity;
  for (size_t i = 0; i < plans_.size(); ++i) {
    value += costs_[i];
    for (size_t t = 0; t < g.size(); ++t) {
      subgradient_[t] += plan_use(instance_.items[i], plans_[i], t);
    }
  }
  return value;
}

/// Adds the plans of the last evaluation that are worth it at the prices g and are not there yet.
void PlanSearch::collect(const std::vector<double> &g, const double *v, bool every_plan,
                         std::vector<Candidate> &candidates) const {
  for (size_t i = 0; i < plans_.size(); ++i) {
    const Item &item = instance_.items[i];
    const double cost = plan_cost(item, plans_[i]);
    double reduced_cost = cost - v[i];
    for (size_t t = 0; t < g.size(); ++t) reduced_cost += g[t] * plan_use(item, plans_[i], t);
    if (!every_plan && reduced_cost >= -kReducedCostTolerance * std::fabs(v[i])) continue;
    const bool known =
        std::any_of(candidates.begin(), candidates.end(), [&](const Candidate &candidate) {
          return candidate.item == i && candidate.plan == plans_[i];
        });
    if (!known) candidates.push_back({i, cost, reduced_cost, plans_[i]});
  }
}

Findings PlanSearch::search(const double *u, double upper_bound, bool every_plan,
                            const PriceItems &others) {
  std::vector<double> own(instance_.horizon());
  for (size_t t = 0; t < own.size(); ++t) own[t] = std::max(0.0, -u[t]);
  Findings findings;
  std::vector<double> g = own;
  for (int32_t k = 0; k < price_vectors_; ++k) {
    if (!(others ? others(g, costs_, plans_) : price_items(g))) break;
    const double value = evaluate(g);
    lower_bound_ = std::max(lower_bound_, value);
    collect(own, u + own.size(), every_plan, findings.candidates);
    if (!examples::polyak_step(g, subgradient_, upper_bound - value, 0.0, kInfinity)) break;
  }
  findings.lower_bound = lower_bound_;
  return findings;
}

void keep_best(std::vector<Candidate> &candidates, int32_t most) {
  const auto count = static_cast<size_t>(most);
  if (most <= 0 || candidates.size() <= count) return;
  std::stable_sort(
      candidates.begin(), candidates.end(),
      [](const Candidate &a, const Candidate &b) { return a.reduced_cost < b.reduced_cost; });
  candidates.resize(count);
}

}  // namespace lot_sizing

#include "examples/generalized_assignment/bundle_search.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "examples/common/polyak_step.h"

namespace generalized_assignment {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
// A reduced cost closer to 0, relative to the largest cost of a task, is rounding.
constexpr double kReducedCostTolerance = 1e-9;

double largest_cost(const Instance &instance) {
  double largest = 0.0;
  for (const Agent &agent : instance.agents) {
    for (const double cost : agent.cost) largest = std::max(largest, std::fabs(cost));
  }
  return largest;
}

static bool has_negative_cost(const Instance &instance) {
  const auto negative = [](double cost) { return cost < 0.0; };
  return std::any_of(instance.agents.begin(), instance.agents.end(), [&](const Agent &agent) {
    return std::any_of(agent.cost.begin(), agent.cost.end(), negative);
  });
}

DualRange dual_range(const Instance &instance) {
  if (instance.optional) return {-kInfinity, 0.0};
  return {has_negative_cost(instance) ? -kInfinity : 0.0, kInfinity};
}

std::vector<std::vector<size_t>> alike_agents(const Instance &instance) {
  std::vector<std::vector<size_t>> alike;
  for (size_t i = 0; i < instance.agents.size(); ++i) {
    const Agent &agent = instance.agents[i];
    const auto group = std::find_if(alike.begin(), alike.end(), [&](const auto &members) {
      const Agent &other = instance.agents[members.front()];
      return other.cost == agent.cost && other.weight == agent.weight;
    });
    if (group == alike.end()) {
      alike.push_back({i});
    } else {
      group->push_back(i);
    }
  }
  return alike;
}

void price_group(const Instance &instance, const std::vector<size_t> &group,
                 const std::vector<double> &u, Knapsack &knapsack, std::vector<double> &worth,
                 std::vector<std::vector<int32_t>> &chosen) {
  const Agent &common = instance.agents[group.front()];
  int64_t capacity = 0;
  for (const size_t i : group) capacity = std::max(capacity, instance.agents[i].capacity);
  std::vector<double> profit(u.size());
  for (size_t j = 0; j < u.size(); ++j) profit[j] = u[j] - common.cost[j];
  knapsack.solve(common.weight, profit, capacity);
  for (const size_t i : group) {
    worth[i] = knapsack.value(instance.agents[i].capacity);
    chosen[i] = knapsack.tasks(instance.agents[i].capacity);
  }
}

BundleSearch::BundleSearch(const Instance &instance, int32_t dual_vectors)
    : instance_(instance),
      dual_vectors_(dual_vectors),
      range_(dual_range(instance)),
      alike_(alike_agents(instance)),
      worth_(instance.agents.size()),
      chosen_(instance.agents.size()),
      subgradient_(instance.tasks()),
      lower_bound_(-kInfinity) {}

bool BundleSearch::price_agents(const std::vector<double> &u) {
  for (const std::vector<size_t> &group : alike_) {
    price_group(instance_, group, u, knapsack_, worth_, chosen_);
  }
  return true;
}

/// L(u) of the agents priced at u; leaves the subgradient of their bundles behind.
double BundleSearch::evaluate(const std::vector<double> &u) {
  double value = 0.0;
  for (const double dual : u) value += dual;
  std::fill(subgradient_.begin(), subgradient_.end(), 1.0);
  for (size_t i = 0; i < chosen_.size(); ++i) {
    value -= worth_[i];
    for (const int32_t j : chosen_[i]) subgradient_[static_cast<size_t>(j)] -= 1.0;
  }
  return value;
}

/// Adds the bundles of the last evaluation that are of use at the duals u and not there yet.
void BundleSearch::collect(const std::vector<double> &u, const double *v, bool every_bundle,
                           std::vector<Bundle> &bundles) const {
  const double least = -kReducedCostTolerance * largest_cost(instance_);
  for (size_t i = 0; i < chosen_.size(); ++i) {
    Bundle bundle = {i, 0.0, -v[i], chosen_[i]};
    for (const int32_t task : bundle.tasks) {
      const auto j = static_cast<size_t>(task);
      bundle.cost += instance_.agents[i].cost[j];
      bundle.reduced_cost += instance_.agents[i].cost[j] - u[j];
    }
    if (bundle.tasks.empty() || (!every_bundle && bundle.reduced_cost >= least)) continue;
    const bool known = std::any_of(bundles.begin(), bundles.end(), [&](const Bundle &other) {
      return other.agent == i && other.tasks == bundle.tasks;
    });
    if (!known) bundles.push_back(std::move(bundle));
  }
}

Findings BundleSearch::search(const double *u, double upper_bound, bool every_bundle,
                              const PriceAgents &others) {
  std::vector<double> own(u, u + instance_.tasks());
  for (double &dual : own) dual = std::clamp(dual, range_.least, range_.most);
  Findings findings;
  std::vector<double> near = own;
  for (int32_t k = 0; k < dual_vectors_; ++k) {
    if (!(others ? others(near, worth_, chosen_) : price_agents(near))) break;
    const double value = evaluate(near);
    lower_bound_ = std::max(lower_bound_, value);
    collect(own, u + own.size(), every_bundle, findings.bundles);
    if (!examples::polyak_step(near, subgradient_, upper_bound - value, range_.least,
                               range_.most)) {
      break;
    }
  }
  findings.lower_bound = lower_bound_;
  return findings;
}

void keep_best(std::vector<Bundle> &bundles, int32_t most) {
  const auto count = static_cast<size_t>(most);
  if (most <= 0 || bundles.size() <= count) return;
  std::stable_sort(bundles.begin(), bundles.end(), [](const Bundle &a, const Bundle &b) {
    return a.reduced_cost < b.reduced_cost;
  });
  bundles.resize(count);
}

}  // namespace generalized_assignment

// Knapsacks and bundles of one agent against trying every set of tasks.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "examples/generalized_assignment/bundle_search.h"
#include "examples/generalized_assignment/instance.h"
#include "examples/generalized_assignment/knapsack.h"

namespace generalized_assignment {
namespace {

int64_t draw(std::mt19937 &random, int64_t least, int64_t most) {
  return std::uniform_int_distribution<int64_t>(least, most)(random);
}

double best_subset(const std::vector<int64_t> &weight, const std::vector<double> &profit,
                   int64_t capacity) {
  double best = 0.0;
  for (uint32_t set = 1; set < uint32_t{1} << weight.size(); ++set) {
    int64_t total = 0;
    double value = 0.0;
    for (size_t j = 0; j < weight.size(); ++j) {
      if ((set >> j & 1) != 0) total += weight[j], value += profit[j];
    }
    if (total <= capacity) best = std::max(best, value);
  }
  return best;
}

TEST(GeneralizedAssignment, KnapsackIsExactForEveryCapacity) {
  std::mt19937 random(31);
  Knapsack knapsack;  // one object, so that tables of larger problems are left over
  for (int round = 0; round < 150; ++round) {
    std::vector<int64_t> weight;
    std::vector<double> profit;
    for (int64_t j = draw(random, 1, 9); j > 0; --j) {
      weight.push_back(draw(random, 0, 12));
      profit.push_back(0.1 * static_cast<double>(draw(random, -30, 100)));
    }
    const int64_t capacity = draw(random, 0, 60);
    knapsack.solve(weight, profit, capacity);
    for (int64_t room = 0; room <= capacity; ++room) {
      SCOPED_TRACE(testing::Message() << "round " << round << ", capacity " << room);
      const std::vector<int32_t> tasks = knapsack.tasks(room);
      int64_t total = 0;
      double value = 0.0;
      for (const int32_t j : tasks) {
        total += weight[static_cast<size_t>(j)];
        value += profit[static_cast<size_t>(j)];
      }
      EXPECT_TRUE(std::adjacent_find(tasks.begin(), tasks.end(), std::greater_equal<>()) ==
                  tasks.end());
      EXPECT_LE(total, room);
      EXPECT_NEAR(value, knapsack.value(room), 1e-10);
      EXPECT_NEAR(value, best_subset(weight, profit, room), 1e-10);
    }
  }
}

double best_profit(const Agent &agent, const std::vector<double> &u) {
  std::vector<double> profit;
  for (size_t j = 0; j < agent.cost.size(); ++j) profit.push_back(u[j] - agent.cost[j]);
  return best_subset(agent.weight, profit, agent.capacity);
}

TEST(GeneralizedAssignment, BundlesAreFeasibleAndPricedRightAndTheBoundIsTheLagrangian) {
  std::mt19937 random(32);
  for (const char kind : {'C', 'D', 'E', 'K'}) {
    for (int64_t seed = 1; seed <= 15; ++seed) {
      SCOPED_TRACE(testing::Message() << kind << seed);
      const Instance instance = generate_instance(kind, 8, 3, seed);
      // Within the range of the signs, so that the search takes the duals as they are.
      std::vector<double> u;
      const auto most = static_cast<int64_t>(largest_cost(instance));
      for (int j = 0; j < 8; ++j) {
        u.push_back(static_cast<double>(instance.optional ? -draw(random, 0, most)
                                                          : draw(random, 0, 2 * most)));
      }
      double bound = 0.0;
      for (const double dual : u) bound += dual;
      for (const Agent &agent : instance.agents) {
        bound -= best_profit(agent, u);
        u.push_back(-static_cast<double>(draw(random, 0, most)));
      }
      const Findings first = BundleSearch(instance, 1).search(u.data(), 1e9, false);
      EXPECT_NEAR(first.lower_bound, bound, 1e-7);
      const Findings findings = BundleSearch(instance, 6).search(u.data(), bound + 100.0, false);
      EXPECT_GE(findings.lower_bound, bound - 1e-7);
      std::vector<double> least(instance.agents.size(), 0.0);
      for (const Bundle &bundle : findings.bundles) {
        const Agent &agent = instance.agents[bundle.agent];
        int64_t weight = 0;
        double cost = 0.0, duals = u[8 + bundle.agent];
        for (const int32_t j : bundle.tasks) {
          weight += agent.weight[static_cast<size_t>(j)];
          cost += agent.cost[static_cast<size_t>(j)];
          duals += u[static_cast<size_t>(j)];
        }
        EXPECT_LE(weight, agent.capacity);
        EXPECT_NEAR(bundle.cost, cost, 1e-9);
        EXPECT_NEAR(bundle.reduced_cost, cost - duals, 1e-8);
        least[bundle.agent] = std::min(least[bundle.agent], bundle.reduced_cost);
      }
      for (size_t i = 0; i < instance.agents.size(); ++i) {
        const double best = -best_profit(instance.agents[i], u) - u[8 + i];
        EXPECT_NEAR(least[i], std::min(0.0, best), 1e-5);
      }
    }
  }
}

}  // namespace
}  // namespace generalized_assignment

// Plans of one item against trying every set of setups, and what the columns say of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/master.h"
#include "examples/lot_sizing/plan.h"
#include "examples/lot_sizing/plan_pricing.h"
#include "examples/lot_sizing/plan_search.h"

namespace lot_sizing {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double draw(std::mt19937 &random, int least, int most) {
  return std::uniform_int_distribution<int>(least, most)(random);
}

Item random_item(std::mt19937 &random, size_t periods) {
  Item item = {
      draw(random, 1, 3), 0.5 * draw(random, 0, 4), draw(random, 0, 20), draw(random, 0, 200), {}};
  while (item.demand.size() < periods) {
    item.demand.push_back(std::max(0.0, draw(random, -20, 60)));
  }
  return item;
}

/// Every unit is made at the cheapest of the setups in `set` that are not too late for it.
double cost_with_setups(const Item &item, const std::vector<double> &g, uint32_t set) {
  double total = 0.0, unit = kInfinity;
  for (size_t t = 0; t < g.size(); ++t) {
    unit += item.holding_cost;
    if ((set >> t & 1) != 0) {
      total += item.setup_cost + g[t] * item.setup_use;
      unit = std::min(unit, g[t] * item.unit_use);
    }
    if (item.demand[t] > 0.0) total += item.demand[t] * unit;
  }
  return total;
}

double least_cost(const Item &item, const std::vector<double> &g) {
  double least = kInfinity;
  for (uint32_t set = 0; set < uint32_t{1} << g.size(); ++set) {
    least = std::min(least, cost_with_setups(item, g, set));
  }
  return least;
}

double priced(const Item &item, const Plan &plan, const std::vector<double> &g) {
  double cost = plan_cost(item, plan);
  for (size_t t = 0; t < g.size(); ++t) cost += g[t] * plan_use(item, plan, t);
  return cost;
}

void expect_serves(const Item &item, const Plan &plan) {
  double stock = 0.0;
  for (size_t t = 0; t < plan.size(); ++t) {
    EXPECT_GE(plan[t], 0.0);
    stock += plan[t] - item.demand[t];
    EXPECT_GE(stock, -1e-9);
  }
  EXPECT_NEAR(stock, 0.0, 1e-9);
}

TEST(LotSizing, PlansAreTheBestOfAllSetsOfSetups) {
  std::mt19937 random(21);
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    const Item item = random_item(random, static_cast<size_t>(draw(random, 1, 9)));
    PlanPricer pricer(item);
    for (int change = 0; change < 3; ++change) {
      std::vector<double> g;
      while (g.size() < item.demand.size()) g.push_back(std::max(0.0, draw(random, -5, 10)));
      Plan plan;
      const double least = pricer.cheapest(g, plan);
      EXPECT_NEAR(least, least_cost(item, g), 1e-8);  // of sums below 1e4
      EXPECT_NEAR(priced(item, plan, g), least, 1e-8);
      expect_serves(item, plan);
    }
  }
}

TEST(LotSizing, CandidatesHaveTheirReducedCostAndTheBoundIsTheLagrangian) {
  std::mt19937 random(22);
  for (int round = 0; round < 30; ++round) {
    Instance instance;
    instance.periods = 5;
    instance.capacity = 100.0;
    for (int i = 0; i < 3; ++i) instance.items.push_back(random_item(random, 5));
    std::vector<double> u, g;
    for (int t = 0; t < 5; ++t) u.push_back(-draw(random, 0, 5)), g.push_back(-u.back());
    double bound = 0.0;
    for (const double price : g) bound -= price * instance.capacity;
    for (const Item &item : instance.items) {
      bound += least_cost(item, g);
      u.push_back(least_cost(item, g) + draw(random, -20, 200));
    }
    EXPECT_NEAR(PlanSearch(instance, 1).search(u.data(), 1e6, false).lower_bound, bound, 1e-7);
    const Findings findings = PlanSearch(instance, 4).search(u.data(), bound + 500.0, false);
    EXPECT_GE(findings.lower_bound, bound - 1e-7);
    for (const Candidate &candidate : findings.candidates) {
      const Item &item = instance.items[candidate.item];
      expect_serves(item, candidate.plan);
      EXPECT_NEAR(candidate.cost, plan_cost(item, candidate.plan), 1e-9);
      EXPECT_NEAR(candidate.reduced_cost, priced(item, candidate.plan, g) - u[5 + candidate.item],
                  1e-8);
      EXPECT_LT(candidate.reduced_cost, 0.0);
    }
  }
}

TEST(LotSizing, ColumnsHoldTheUseOfPlansThatServeAllDemands) {
  const Instance instance = generate_instance({2, 2, 1, 7}, 6, 8, 5);
  const std::vector<Plan> fitting = fitting_plans(instance);
  ASSERT_EQ(fitting.size(), instance.items.size());
  for (size_t i = 0; i < fitting.size(); ++i) expect_serves(instance.items[i], fitting[i]);
  MasterSettings settings;
  quarn::Master master = make_master(instance);
  Oracle oracle(instance, master, settings);
  quarn::Settings how;
  how.first_duals = first_duals(instance);
  const quarn::Result result = master.solve(std::ref(oracle), how);
  ASSERT_EQ(result.status, quarn::Status::optimal);
  std::vector<double> use(instance.horizon(), 0.0);
  double cost = 0.0;
  for (const auto &[column, value] : result.values) cost += value * column.cost();
  ASSERT_GE(master.columns().size(), instance.items.size());
  for (const quarn::Column &column : master.columns()) {
    std::vector<quarn::Entry> entries = master.entries(column);
    EXPECT_TRUE(entries.back().first.is_block());
    EXPECT_EQ(entries.back().second, 1.0);
    const auto i = static_cast<size_t>(entries.back().first.index() - instance.periods);
    entries.pop_back();
    const Item &item = instance.items[i];
    Plan plan(instance.horizon(), 0.0);
    for (const auto &[row, amount] : entries) {
      plan[static_cast<size_t>(row.index())] = (amount - item.setup_use) / item.unit_use;
    }
    expect_serves(item, plan);
    EXPECT_NEAR(column.cost(), plan_cost(item, plan), 1e-6);
  }
  for (const auto &[column, value] : result.values) {
    for (const auto &[row, amount] : master.entries(column)) {
      if (!row.is_block()) use[static_cast<size_t>(row.index())] += value * amount;
    }
  }
  for (const double total : use) EXPECT_LE(total, instance.capacity * (1.0 + 1e-5));
  EXPECT_NEAR(cost, result.lower_bound, 1e-4 * result.lower_bound);
}

}  // namespace
}  // namespace lot_sizing

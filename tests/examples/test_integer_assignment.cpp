// Generalized assignment to the integer optimum, against enumeration.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

#include "examples/generalized_assignment/integer_assignment.h"
#include "examples/generalized_assignment/master.h"

namespace generalized_assignment {

namespace bp = quarn::branch_and_price;

static Instance random_instance(uint32_t seed) {
  std::mt19937 random(seed);
  const auto whole = [&](int64_t low, int64_t high) {
    return low + static_cast<int64_t>(random() % static_cast<uint64_t>(high - low + 1));
  };
  Instance instance;
  const auto tasks = static_cast<size_t>(whole(3, 8));
  for (int64_t agents = whole(1, 3); agents > 0; --agents) {
    Agent agent;
    agent.capacity = whole(5, 30);
    for (size_t j = 0; j < tasks; ++j) {
      agent.cost.push_back(static_cast<double>(whole(seed % 4 == 0 ? -20 : 1, 40)));
      if (seed % 3 == 0) agent.cost.back() += 0.25;
      agent.weight.push_back(whole(1, 12));
    }
    instance.agents.push_back(agent);
  }
  return instance;
}

static double least_cost(const Instance &instance) {
  std::vector<int64_t> room;
  for (const Agent &agent : instance.agents) room.push_back(agent.capacity);
  const std::function<double(size_t)> rest = [&](size_t j) {
    if (j == instance.tasks()) return 0.0;
    double best = HUGE_VAL;
    for (size_t i = 0; i < room.size(); ++i) {
      const Agent &agent = instance.agents[i];
      if (agent.weight[j] > room[i]) continue;
      room[i] -= agent.weight[j];
      best = std::min(best, agent.cost[j] + rest(j + 1));
      room[i] += agent.weight[j];
    }
    return best;
  };
  return rest(0);
}

TEST(IntegerAssignment, EndsAtTheLeastCostWithAndWithoutHeuristics) {
  int64_t nodes = 0, solved = 0;
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Instance instance = random_instance(seed);
    const quarn::Master master = make_master(instance);
    IntegerAssignment problem(instance, master, 5);
    bp::Settings settings;
    settings.own_heuristic = seed % 2 == 0;
    settings.dive_every = seed % 5 == 0 ? 1 : 0;
    settings.candidates = seed % 7 == 0 ? 3 : 1;
    const bp::Outcome outcome = bp::Search(problem, master).run(settings);
    nodes += outcome.nodes;
    const double least = least_cost(instance);
    if (least == HUGE_VAL) {
      EXPECT_EQ(outcome.status, bp::Status::infeasible) << outcome.message;
      continue;
    }
    ++solved;
    ASSERT_EQ(outcome.status, bp::Status::optimal) << outcome.message;
    EXPECT_NEAR(outcome.value, least, 1e-4);
    EXPECT_NEAR(outcome.bound, least, 1e-4);
    const Assignment assignment = problem.assignment_of(outcome.solution);
    EXPECT_LE(cost_of(instance, assignment), least + 1e-4);
    for (size_t i = 0; i < instance.agents.size(); ++i) {
      int64_t load = 0;
      for (size_t j = 0; j < assignment.size(); ++j) {
        if (assignment[j] == i) load += instance.agents[i].weight[j];
      }
      EXPECT_LE(load, instance.agents[i].capacity);
    }
  }
  EXPECT_GT(solved, 60);
  EXPECT_GT(nodes, 220);
}

}  // namespace generalized_assignment

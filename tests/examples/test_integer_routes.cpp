// Vehicle routing to the integer optimum, against dynamic programming over sets of customers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <set>

#include "examples/vehicle_routing/integer_routes.h"

namespace vehicle_routing {

namespace bp = quarn::branch_and_price;

/// Least length to serve everybody, in tenths: the shortest route of each set, then sets together.
static int64_t least_length(const Instance &instance) {
  const auto n = static_cast<size_t>(instance.customers());
  constexpr int64_t kNone = int64_t{1} << 40;
  std::vector<int64_t> one(size_t{1} << n, kNone), all(size_t{1} << n, kNone);
  for (size_t set = 1; set < one.size(); ++set) {
    Route route;
    for (size_t i = 0; i < n; ++i) {
      if ((set >> i & 1U) != 0) route.push_back(static_cast<int32_t>(i) + 1);
    }
    if (route.size() > 5) continue;  // the generator's windows and loads allow no more
    do {
      if (is_feasible(instance, route))
        one[set] = std::min(one[set], route_length(instance, route));
    } while (std::next_permutation(route.begin(), route.end()));
  }
  all[0] = 0;
  for (size_t set = 1; set < all.size(); ++set) {
    for (size_t part = set; part > 0; part = (part - 1) & set) {
      all[set] = std::min(all[set], all[set & ~part] + one[part]);
    }
  }
  return all.back();
}

static Instance small_instance(int32_t customers, int64_t seed) {
  Instance instance = generate_instance(customers, seed);
  instance.capacity = 75;
  for (Node &node : instance.nodes) {
    node.demand = node.demand == 0 ? 0 : std::max(node.demand, 15);
    // Wide windows, so that routes could cross in many ways.
    node.ready = seed % 2 == 0 ? node.ready / 4 : node.ready;
  }
  return instance;
}

TEST(IntegerRoutes, EndAtTheLeastLengthWithAndWithoutHeuristics) {
  int64_t nodes = 0, cuts = 0;
  for (int64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Instance instance = small_instance(static_cast<int32_t>(5 + seed % 5), seed);
    MasterSettings options;
    options.ng_size = seed % 3 == 0 ? 2 : 8;
    const quarn::Master master = make_master(instance, false);
    IntegerRoutes problem(instance, master, options);
    bp::Settings settings;
    settings.dive_every = seed % 4 == 0 ? 1 : 0;
    settings.candidates = seed % 5 == 0 ? 3 : 1;
    settings.cut_rounds = seed % 7 < 4 ? 20 : 0;
    settings.own_heuristic = seed % 2 == 0;
    const bp::Outcome outcome = bp::Search(problem, master).run(settings);
    nodes += outcome.nodes;
    cuts += outcome.cuts;
    ASSERT_EQ(outcome.status, bp::Status::optimal) << outcome.message;
    EXPECT_NEAR(outcome.value, 0.1 * static_cast<double>(least_length(instance)), 1e-3);
    EXPECT_NEAR(outcome.bound, outcome.value, 1e-5 * outcome.value);
    std::vector<int32_t> visited;
    for (const bp::SolutionColumn &column : outcome.solution) {
      const auto route = std::any_cast<Route>(column.data);
      EXPECT_TRUE(is_feasible(instance, route));
      visited.insert(visited.end(), route.begin(), route.end());
    }
    std::sort(visited.begin(), visited.end());
    std::vector<int32_t> everybody(static_cast<size_t>(instance.customers()));
    std::iota(everybody.begin(), everybody.end(), 1);
    EXPECT_EQ(visited, everybody);
  }
  EXPECT_GT(nodes, 65);
  EXPECT_GT(cuts, 20);
}

TEST(IntegerRoutes, CutsLoseNoRoutesOfASolutionAndAreViolated) {
  std::mt19937 random(5);
  const auto draw = [&](int32_t least, int32_t most) {
    return std::uniform_int_distribution<int32_t>(least, most)(random);
  };
  size_t found = 0;
  for (int round = 0; round < 200; ++round) {
    std::vector<std::pair<Route, double>> routes;
    for (int r = draw(3, 9); r > 0; --r) {
      Route route;  // may come to a customer again
      for (int k = draw(1, 7); k > 0; --k) route.push_back(draw(1, 8));
      routes.push_back({route, 0.1 * draw(1, 7)});
    }
    for (const RouteCut &cut : separate(routes, 8, 5)) {
      ++found;
      double left = 0.0;
      for (const auto &[route, value] : routes) {
        const auto visits = std::count_if(route.begin(), route.end(), [&cut](int32_t i) {
          return std::count(cut.customers.begin(), cut.customers.end(), i) > 0;
        });
        EXPECT_EQ(coefficient(cut, route), visits / 2);  // as if all customers were remembered
        left += value * coefficient(cut, route);
        Route back(route.rbegin(), route.rend());
        EXPECT_EQ(coefficient(cut, back), coefficient(cut, route));
      }
      EXPECT_GT(left, 1.0);
      // Rounded down from half the rows, whatever the memory.
      RouteCut smaller = cut;
      smaller.memory.assign(cut.customers.begin(), cut.customers.end());
      for (const auto &[route, value] : routes) {
        EXPECT_LE(coefficient(smaller, route), coefficient(cut, route));
      }
    }
  }
  EXPECT_GT(found, 100u);
}

TEST(IntegerRoutes, SearchWithoutBoundFindsTheLeastLengthOfFewCustomers) {
  for (int64_t seed = 101; seed <= 115; ++seed) {
    const Instance instance = small_instance(8, seed);
    std::vector<Route> alone;
    for (int32_t i = 1; i <= instance.customers(); ++i) alone.push_back({i});
    RouteSearch search(instance);
    int64_t length = 0, visits = 0;
    for (const Route &route : search.run(alone, 2000)) {
      EXPECT_TRUE(is_feasible(instance, route));
      length += route_length(instance, route);
      visits += static_cast<int64_t>(std::set<int32_t>(route.begin(), route.end()).size());
    }
    EXPECT_EQ(visits, instance.customers());
    EXPECT_EQ(length, least_length(instance)) << "seed " << seed;
    EXPECT_EQ(search.run(alone, 0).size(), search.run(alone, 1).size());  // never worse
  }
}

}  // namespace vehicle_routing

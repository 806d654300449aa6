// Vehicle routing to the integer optimum, against dynamic programming over sets of customers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

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

TEST(IntegerRoutes, EndAtTheLeastLengthWithAndWithoutHeuristics) {
  int64_t nodes = 0;
  for (int64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Instance instance = generate_instance(static_cast<int32_t>(5 + seed % 5), seed);
    instance.capacity = 75;
    for (Node &node : instance.nodes) {
      node.demand = node.demand == 0 ? 0 : std::max(node.demand, 15);
      // Wide windows, so that routes could cross in many ways.
      node.ready = seed % 2 == 0 ? node.ready / 4 : node.ready;
    }
    MasterSettings options;
    options.ng_size = seed % 3 == 0 ? 2 : 8;
    const quarn::Master master = make_master(instance, false);
    IntegerRoutes problem(instance, master, options);
    bp::Settings settings;
    settings.dive_every = seed % 4 == 0 ? 1 : 0;
    settings.candidates = seed % 5 == 0 ? 3 : 1;
    const bp::Outcome outcome = bp::Search(problem, master).run(settings);
    nodes += outcome.nodes;
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
  EXPECT_GT(nodes, 75);
}

}  // namespace vehicle_routing

// Pricing of routes against trying every route, at neighbourhoods from one customer to all.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <vector>

#include "examples/vehicle_routing/instance.h"
#include "examples/vehicle_routing/network.h"
#include "examples/vehicle_routing/route_pricing.h"

namespace vehicle_routing {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kTolerance = 1e-9;  // sums of about ten numbers below 1000

int32_t draw(std::mt19937 &random, int32_t least, int32_t most) {
  return std::uniform_int_distribution<int32_t>(least, most)(random);
}

/// Every fourth depot opens late in the horizon, every third one has a customer at its door.
Instance random_instance(std::mt19937 &random, int round) {
  const int32_t opening = round % 4 == 3 ? 2000 : 0;
  Instance instance;
  instance.capacity = draw(random, 10, 30);
  instance.nodes.push_back({10, 10, 0, opening, opening + draw(random, 400, 700), 0});
  const int32_t length = instance.nodes[0].due - opening;
  for (int32_t i = draw(random, 5, 7); i > 0; --i) {
    const int32_t ready = opening + draw(random, 0, length / 2);
    instance.nodes.push_back({draw(random, 0, 20), draw(random, 0, 20), draw(random, 1, 12), ready,
                              ready + draw(random, 50, length), draw(random, 1, 40)});
  }
  if (round % 3 == 2) {
    Node &node = instance.nodes[1];
    node.x = node.y = 10;
    node.ready = opening;
  }
  return instance;
}

/// Duals of customers and prices of cuts.
struct Prices {
  std::vector<double> u;
  std::vector<std::pair<RouteCut, double>> cuts = {};

  CutPrices of_cuts() const {
    CutPrices prices(u.size() + 1);
    for (const auto &[cut, price] : cuts) prices.add(cut, price);
    return prices;
  }
};

double reduced_cost(const Instance &instance, const Route &route, const Prices &prices) {
  double cost = 0.1 * static_cast<double>(route_length(instance, route));
  for (const int32_t i : route) cost -= prices.u[static_cast<size_t>(i) - 1];
  for (const auto &[cut, price] : prices.cuts) cost += price * coefficient(cut, route);
  return cost;
}

RouteCut random_cut(std::mt19937 &random, int32_t customers) {
  std::vector<int32_t> order(static_cast<size_t>(customers));
  std::iota(order.begin(), order.end(), 1);
  std::shuffle(order.begin(), order.end(), random);
  RouteCut cut = {{order[0], order[1], order[2]}, order};
  cut.memory.resize(static_cast<size_t>(draw(random, 3, customers)));
  std::sort(cut.memory.begin(), cut.memory.end());
  return cut;
}

/// Visits every route that keeps to (1) of label_setting.h, without labels or dominance.
class AllRoutes {
 public:
  AllRoutes(const Instance &instance, const Network &network, const Prices &prices)
      : instance_(instance), network_(network), prices_(prices) {
    Route route;
    extend(route, {});
  }

  double least = 0.0;                       ///< reduced cost of any route, at most 0
  std::map<uint32_t, double> of_customers;  ///< least one by the set visited, elementary routes

 private:
  /// Windows and load only, the way back left out: a prefix of a feasible route keeps to them.
  bool can_go_on(const Route &route) const {
    Instance open_end = instance_;
    open_end.nodes[0].due = std::numeric_limits<int32_t>::max();
    return is_feasible(open_end, route);
  }

  void extend(Route &route, const std::set<int32_t> &memory) {
    if (!route.empty() && is_feasible(instance_, route)) record(route);
    for (int32_t j = 1; j <= instance_.customers(); ++j) {
      const bool returns_at_once = route.size() >= 2 && route[route.size() - 2] == j;
      if (memory.count(j) > 0 || returns_at_once) continue;
      route.push_back(j);
      std::set<int32_t> carried = {j};
      for (const int32_t i : memory) {
        if (network_.bit(i, j) >= 0 || !network_.returns(i, j)) carried.insert(i);
      }
      if (can_go_on(route)) extend(route, carried);
      route.pop_back();
    }
  }

  void record(const Route &route) {
    EXPECT_TRUE(network_.is_allowed(route));
    const double cost = reduced_cost(instance_, route, prices_);
    least = std::min(least, cost);
    uint32_t visited = 0;
    for (const int32_t i : route) {
      if ((visited >> i & 1) != 0) return;
      visited |= uint32_t{1} << i;
    }
    double &known = of_customers[visited];
    known = std::min(known, cost);
  }

  const Instance &instance_;
  const Network &network_;
  const Prices &prices_;
};

/// The least sum of reduced costs of elementary routes without a common customer.
double least_packing(const std::map<uint32_t, double> &routes, uint32_t free) {
  double best = 0.0;
  for (const auto &[visited, cost] : routes) {
    // Taken in the order of their first customers, so every packing is seen once.
    const uint32_t first = visited & (~visited + 1);
    if ((visited & ~free) != 0 || cost >= 0.0) continue;
    best = std::min(best, cost + least_packing(routes, free & ~visited & ~(2 * first - 1)));
  }
  return best;
}

void expect_sound(const Instance &instance, const Pricing &pricing, const Prices &prices) {
  for (const Route &route : pricing.routes) {
    EXPECT_TRUE(is_feasible(instance, route));
    EXPECT_LT(reduced_cost(instance, route, prices), 0.0);
    EXPECT_EQ(std::adjacent_find(route.begin(), route.end()), route.end());
  }
}

TEST(VehicleRouting, PricingFindsTheBestOfAllNgRoutes) {
  std::mt19937 random(11);
  int profitable = 0;
  for (int round = 0; round < 60; ++round) {
    const Instance instance = random_instance(random, round);
    const auto customers = static_cast<size_t>(instance.customers());
    Remembered more;
    for (int k = round % 4; k > 0; --k) {
      const int32_t i = draw(random, 1, instance.customers());
      more.push_back({i, i % instance.customers() + 1});
    }
    std::vector<Network> networks;
    for (int32_t size = 1; size <= instance.customers(); ++size) {
      networks.emplace_back(instance, size, more);
    }
    for (int drawn = 0; drawn < 4; ++drawn) {
      Prices prices;
      std::vector<double> &u = prices.u;
      while (u.size() < customers) u.push_back(0.1 * draw(random, -20, drawn == 2 ? 40 : 200));
      // Few that cost a lot, or many that cost little.
      while (drawn > 1 && prices.cuts.size() < (drawn == 2 ? 5 : 20)) {
        prices.cuts.push_back({random_cut(random, instance.customers()),
                               0.1 * draw(random, 0, drawn == 2 ? 300 : 60)});
      }
      const CutPrices of_cuts = prices.of_cuts();
      double last_least = -kInfinity;
      for (const size_t size : {size_t{1}, size_t{2}, size_t{3}, customers}) {
        SCOPED_TRACE(testing::Message() << "round " << round << ", ng size " << size);
        const AllRoutes all(instance, networks[size - 1], prices);
        EXPECT_GE(all.least, last_least);  // the sets of routes are nested
        last_least = all.least;
        RoutePricer pricer(networks[size - 1]);
        for (int repeat = 0; repeat < 3; ++repeat) {  // each from another half time
          const Pricing exact = pricer.price(u.data(), of_cuts, kInfinity, 0);
          ASSERT_TRUE(exact.exact);
          expect_sound(instance, exact, prices);
          const double best =
              exact.routes.empty() ? 0.0 : reduced_cost(instance, exact.routes.front(), prices);
          EXPECT_NEAR(best, all.least, 1e-7);
          EXPECT_LE(exact.shortfall, all.least + kTolerance);
          EXPECT_LE(exact.shortfall, least_packing(all.of_customers, ~uint32_t{0}) + kTolerance);
        }
        profitable += all.least < -1.0;
        const Pricing quick = pricer.price(u.data(), of_cuts, 0.0, 2);
        expect_sound(instance, quick, prices);
        EXPECT_LE(quick.routes.size(), 2u);
        // Only the complete search may come back with nothing.
        EXPECT_TRUE(!quick.routes.empty() || (quick.exact && all.least > -1e-6));
      }
    }
  }
  EXPECT_GT(profitable, 100);
}

TEST(VehicleRouting, RoutesMayReturnWhereTheyAreForgotten) {
  std::mt19937 random(13);
  const Instance instance = random_instance(random, 0);
  const Network network(instance, 1), remembering(instance, 1, {{1, 2}, {1, 3}});
  EXPECT_FALSE(network.is_allowed({2, 2}));
  for (const Route &route : {Route{1, 2, 1}, Route{1, 2, 3, 1}, Route{1, 3, 2, 3, 1}}) {
    EXPECT_TRUE(network.is_allowed(route));
    EXPECT_FALSE(remembering.is_allowed(route));
  }
  for (const Route &route : {Route{1, 4, 1}, Route{1, 2, 4, 1}, Route{2, 1, 2}}) {
    EXPECT_TRUE(remembering.is_allowed(route));
  }
}

TEST(VehicleRouting, PricingWithoutAnyRouteWorthwhileFindsNone) {
  std::mt19937 random(12);
  const Instance instance = random_instance(random, 0);
  const Network network(instance, 3);
  RoutePricer pricer(network);
  const std::vector<double> u(static_cast<size_t>(instance.customers()), -1.0);
  // A restricted master problem solved roughly can leave a gap below 0.
  for (const double open_gap : {0.0, 1.0, -1.0}) {
    const Pricing pricing = pricer.price(u.data(), CutPrices(u.size() + 1), open_gap, 0);
    EXPECT_TRUE(pricing.exact);
    EXPECT_TRUE(pricing.routes.empty());
    EXPECT_EQ(pricing.shortfall, 0.0);
  }
}

}  // namespace
}  // namespace vehicle_routing

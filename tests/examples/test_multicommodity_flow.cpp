// Shortest paths against Floyd and Warshall, and the conservation of flow in what is made of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "examples/multicommodity_flow/flow_columns.h"
#include "examples/multicommodity_flow/flow_router.h"
#include "examples/multicommodity_flow/network.h"
#include "examples/multicommodity_flow/shortest_paths.h"

namespace multicommodity_flow {
namespace {

using Matrix = std::vector<std::vector<double>>;

int32_t draw(std::mt19937 &random, int32_t least, int32_t most) {
  return std::uniform_int_distribution<int32_t>(least, most)(random);
}

/// Arcs between any two nodes, parallel ones and loops included; with `ring` all are connected.
Network random_network(std::mt19937 &random, bool ring, int64_t unserved_cost) {
  Network network;
  network.nodes = draw(random, 2, 9);
  network.unserved_cost = unserved_cost;
  const int32_t last = network.nodes - 1;
  for (int32_t i = 0; ring && i <= last; ++i) {
    network.arcs.push_back({i, i < last ? i + 1 : 0, draw(random, 0, 20), draw(random, 0, 30)});
  }
  for (int32_t a = draw(random, 1, 20); a > 0; --a) {
    network.arcs.push_back(
        {draw(random, 0, last), draw(random, 0, last), draw(random, 0, 20), draw(random, 0, 30)});
  }
  for (int32_t k = draw(random, 1, 8); k > 0; --k) {
    const int32_t origin = draw(random, 0, last);
    const int32_t destination = (origin + draw(random, 1, last)) % network.nodes;
    network.commodities.push_back({origin, destination, draw(random, 1, 9)});
  }
  return network;
}

Matrix all_distances(const Network &network, const std::vector<double> &lengths) {
  const auto n = static_cast<size_t>(network.nodes);
  Matrix d(n, std::vector<double>(n, std::numeric_limits<double>::infinity()));
  for (size_t i = 0; i < n; ++i) d[i][i] = 0.0;
  for (size_t a = 0; a < lengths.size(); ++a) {
    double &direct =
        d[static_cast<size_t>(network.arcs[a].tail)][static_cast<size_t>(network.arcs[a].head)];
    direct = std::min(direct, lengths[a]);
  }
  for (size_t k = 0; k < n; ++k) {
    for (size_t i = 0; i < n; ++i) {
      for (size_t j = 0; j < n; ++j) d[i][j] = std::min(d[i][j], d[i][k] + d[k][j]);
    }
  }
  return d;
}

std::vector<double> random_lengths(std::mt19937 &random, const Network &network) {
  std::vector<double> lengths;  // whole numbers, so that all sums are exact; a third of them 0
  for (const Arc &arc : network.arcs) {
    lengths.push_back(static_cast<double>(arc.cost) + std::max(0, draw(random, -10, 20)));
  }
  return lengths;
}

TEST(MulticommodityFlow, PathsAreShortestAndLeadToTheirTargets) {
  std::mt19937 random(41);
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    const Network network = random_network(random, false, 0);
    const std::vector<double> lengths = random_lengths(random, network);
    const Matrix distances = all_distances(network, lengths);
    ShortestPaths paths(network);
    for (int32_t origin = 0; origin < network.nodes; ++origin) {
      std::vector<int32_t> targets;
      for (int32_t k = draw(random, 1, 4); k > 0; --k) {
        targets.push_back(draw(random, 0, network.nodes - 1));
      }
      paths.grow(origin, targets, lengths);
      for (const int32_t target : targets) {
        const double least = distances[static_cast<size_t>(origin)][static_cast<size_t>(target)];
        ASSERT_EQ(paths.distance(target), least);
        if (least == std::numeric_limits<double>::infinity()) continue;
        int32_t node = target;
        double length = 0.0;
        paths.for_each_arc(target, [&](int32_t a) {
          EXPECT_EQ(network.arcs[static_cast<size_t>(a)].head, node);
          node = network.arcs[static_cast<size_t>(a)].tail;
          length += lengths[static_cast<size_t>(a)];
        });
        EXPECT_EQ(node, origin);
        EXPECT_EQ(length, least);
      }
    }
  }
}

/// What leaves each node less what enters it.
std::vector<double> net_outflow(const Network &network, const std::vector<FlowColumn> &columns) {
  std::vector<double> net(static_cast<size_t>(network.nodes), 0.0);
  for (const FlowColumn &column : columns) {
    for (const ArcFlow &flow : column.flow) {
      EXPECT_GT(flow.amount, 0.0);
      net[static_cast<size_t>(network.arcs[static_cast<size_t>(flow.arc)].tail)] += flow.amount;
      net[static_cast<size_t>(network.arcs[static_cast<size_t>(flow.arc)].head)] -= flow.amount;
    }
    const auto unsorted = [](const ArcFlow &x, const ArcFlow &y) { return x.arc >= y.arc; };
    EXPECT_EQ(std::adjacent_find(column.flow.begin(), column.flow.end(), unsorted),
              column.flow.end());
  }
  return net;
}

std::vector<double> demanded(const Network &network, const std::vector<Commodity> &served) {
  std::vector<double> net(static_cast<size_t>(network.nodes), 0.0);
  for (const Commodity &commodity : served) {
    net[static_cast<size_t>(commodity.origin)] += static_cast<double>(commodity.demand);
    net[static_cast<size_t>(commodity.destination)] -= static_cast<double>(commodity.demand);
  }
  return net;
}

double weigh(const std::vector<FlowColumn> &columns, const std::vector<double> &lengths) {
  double sum = 0.0;
  for (const FlowColumn &column : columns) {
    for (const ArcFlow &flow : column.flow) {
      sum += flow.amount * lengths[static_cast<size_t>(flow.arc)];
    }
  }
  return sum;
}

TEST(MulticommodityFlow, ColumnsCarryTheDemandsOfTheirBlocksAtLeastLength) {
  std::mt19937 random(42);
  for (int round = 0; round < 150; ++round) {
    SCOPED_TRACE(round);
    const int64_t unserved_cost = round % 2 == 0 ? 0 : 25;
    const Network network = random_network(random, unserved_cost == 0, unserved_cost);
    const std::vector<double> lengths = random_lengths(random, network);
    const Matrix distances = all_distances(network, lengths);
    double least = 0.0, penalties = 0.0;
    std::vector<Commodity> served;
    for (const Commodity &commodity : network.commodities) {
      const double path = distances[static_cast<size_t>(commodity.origin)]
                                   [static_cast<size_t>(commodity.destination)];
      const auto demand = static_cast<double>(commodity.demand);
      const bool is_served = unserved_cost == 0 || path < static_cast<double>(unserved_cost);
      if (is_served) served.push_back(commodity);
      least += demand * (is_served ? path : static_cast<double>(unserved_cost));
      penalties += is_served ? 0.0 : demand * static_cast<double>(unserved_cost);
    }
    for (const Grouping grouping : {Grouping::kCommodity, Grouping::kOrigin, Grouping::kAll}) {
      FlowRouter router(network, grouping);
      std::vector<FlowColumn> columns;
      double length = 0.0, cost = 0.0;
      for (RoutedBlock &block : router.route(lengths)) {
        length += block.length;
        cost += block.column.cost;
        EXPECT_EQ(block.column.block, static_cast<int32_t>(columns.size()));
        columns.push_back(block.column);
        if (grouping != Grouping::kCommodity || unserved_cost > 0) continue;
        EXPECT_EQ(net_outflow(network, {block.column}),
                  demanded(network, {network.commodities[columns.size() - 1]}));
      }
      ASSERT_EQ(static_cast<int32_t>(columns.size()), router.blocks());
      EXPECT_EQ(length, least);
      EXPECT_EQ(length, weigh(columns, lengths) + penalties);
      EXPECT_EQ(cost, weigh(columns, router.arc_costs()) + penalties);
      EXPECT_EQ(net_outflow(network, columns), demanded(network, served));
      if (unserved_cost > 0) continue;
      std::vector<FlowColumn> taken;
      router.negotiate(3, [&taken](const FlowColumn &column) { taken.push_back(column); });
      ASSERT_EQ(taken.size(), 3 * columns.size());
      for (size_t pass = 0; pass < taken.size(); pass += columns.size()) {
        const auto from = taken.begin() + static_cast<std::ptrdiff_t>(pass);
        const std::vector<FlowColumn> of_pass(from, from + router.blocks());
        EXPECT_EQ(net_outflow(network, of_pass), demanded(network, network.commodities));
      }
    }
  }
}

TEST(MulticommodityFlow, PotentialLoadsAreSumsOfTheBlocksLargestAmounts) {
  std::mt19937 random(43);
  FlowColumns columns(5);
  std::vector<FlowColumn> kept;
  for (int k = 0; k < 300; ++k) {
    FlowColumn column = {draw(random, 0, 2), static_cast<double>(draw(random, 0, 2)), {}};
    for (int32_t a = 0; a < 5; ++a) {
      const double amount = draw(random, -3, 2);
      if (amount > 0.0) column.flow.push_back({a, amount});
    }
    const bool is_new = std::none_of(kept.begin(), kept.end(), [&](const FlowColumn &other) {
      return other.block == column.block && other.flow == column.flow && other.cost <= column.cost;
    });
    EXPECT_EQ(columns.add(column), is_new);
    if (is_new) kept.push_back(column);
    std::map<std::pair<int32_t, int32_t>, double> largest;
    for (const FlowColumn &other : kept) {
      for (const ArcFlow &flow : other.flow) {
        double &amount = largest[{other.block, flow.arc}];
        amount = std::max(amount, flow.amount);
      }
    }
    std::vector<double> load(5, 0.0);
    for (const auto &[place, amount] : largest) load[static_cast<size_t>(place.second)] += amount;
    for (int32_t a = 0; a < 5; ++a)
      EXPECT_EQ(columns.potential_load(a), load[static_cast<size_t>(a)]);
  }
  EXPECT_EQ(columns.size(), static_cast<int32_t>(kept.size()));
}

}  // namespace
}  // namespace multicommodity_flow

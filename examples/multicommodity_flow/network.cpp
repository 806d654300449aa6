#include "examples/multicommodity_flow/network.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>
#include <utility>

#include "examples/common/lehmer.h"
#include "examples/common/text_reader.h"

namespace multicommodity_flow {

using examples::Lehmer;
using examples::Line;
using examples::TextReader;

constexpr int64_t kMostItems = 10000000;
// Up to here sums of a million products of such numbers stay exact enough for a gap of 1e-6.
constexpr int64_t kLargestNumber = 1000000000;
constexpr int64_t kSide = 1000;
constexpr size_t kNeighbours = 4;
constexpr int64_t kMostDemand = 100;
constexpr int64_t kMostGridCost = 100;

static int32_t read_node(const Line &line, size_t k, const char *what, int32_t nodes) {
  return static_cast<int32_t>(line.integer(k, what, 1, nodes)) - 1;
}

static Arc read_arc(const Line &line, int32_t nodes) {
  return {read_node(line, 0, "the arc's first node", nodes),
          read_node(line, 1, "the arc's second node", nodes),
          line.integer(2, "the cost", 0, kLargestNumber),
          line.integer(3, "the capacity", 0, kLargestNumber)};
}

static Commodity read_commodity(const Line &line, int32_t nodes) {
  const Commodity commodity = {read_node(line, 0, "the origin", nodes),
                               read_node(line, 1, "the destination", nodes),
                               line.integer(2, "the demand", 1, kLargestNumber)};
  if (commodity.origin == commodity.destination) line.fail("origin and destination are the same");
  return commodity;
}

Network read_network(const std::string &path) {
  TextReader reader(path);
  const std::string counts = "the numbers of nodes, arcs and commodities";
  const Line head = reader.next(counts);
  if (head.size() != 4) head.expect_fields(3, counts);
  Network network;
  network.nodes = static_cast<int32_t>(head.integer(0, "the number of nodes", 2, kMostItems));
  const int64_t arcs = head.integer(1, "the number of arcs", 1, kMostItems);
  const int64_t commodities = head.integer(2, "the number of commodities", 1, kMostItems);
  if (head.size() == 4) {
    network.unserved_cost = head.integer(3, "the cost of an unserved unit", 1, kLargestNumber);
  }
  for (int64_t a = 1; a <= arcs; ++a) {
    const std::string what = "arc " + std::to_string(a) + " of " + std::to_string(arcs);
    network.arcs.push_back(read_arc(reader.next(what, 4), network.nodes));
  }
  for (int64_t k = 1; k <= commodities; ++k) {
    const std::string what =
        "commodity " + std::to_string(k) + " of " + std::to_string(commodities);
    network.commodities.push_back(read_commodity(reader.next(what, 3), network.nodes));
  }
  reader.expect_end();
  return network;
}

void write_network(const Network &network, FILE *stream) {
  std::fprintf(stream, "%d %zu %zu", static_cast<int>(network.nodes), network.arcs.size(),
               network.commodities.size());
  if (network.unserved_cost > 0) {
    std::fprintf(stream, " %lld", static_cast<long long>(network.unserved_cost));
  }
  std::fputc('\n', stream);
  for (const Arc &arc : network.arcs) {
    std::fprintf(stream, "%d %d %lld %lld\n", static_cast<int>(arc.tail + 1),
                 static_cast<int>(arc.head + 1), static_cast<long long>(arc.cost),
                 static_cast<long long>(arc.capacity));
  }
  for (const Commodity &commodity : network.commodities) {
    std::fprintf(stream, "%d %d %lld\n", static_cast<int>(commodity.origin + 1),
                 static_cast<int>(commodity.destination + 1),
                 static_cast<long long>(commodity.demand));
  }
}

/// Two opposite arcs.
static void add_edge(Network &network, std::pair<int32_t, int32_t> ends, int64_t cost,
                     int64_t capacity) {
  network.arcs.push_back({ends.first, ends.second, cost, capacity});
  network.arcs.push_back({ends.second, ends.first, cost, capacity});
}

static void draw_commodities(Network &network, int32_t count, Lehmer &random) {
  const int64_t pairs = static_cast<int64_t>(network.nodes) * (network.nodes - 1);
  if (count > pairs) throw std::invalid_argument("more commodities than pairs of nodes");
  std::set<std::pair<int32_t, int32_t>> seen;
  while (network.commodity_count() < count) {
    const auto origin = static_cast<int32_t>(random.draw(1, network.nodes)) - 1;
    const auto destination = static_cast<int32_t>(random.draw(1, network.nodes)) - 1;
    if (origin == destination || !seen.insert({origin, destination}).second) continue;
    network.commodities.push_back({origin, destination, random.draw(1, kMostDemand)});
  }
}

struct Point {
  int64_t x, y;
};

static int64_t squared_distance(const Point &a, const Point &b) {
  return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
}

/// The nodes nearest to node i.
static std::vector<int32_t> nearest(const std::vector<Point> &points, int32_t i) {
  std::vector<std::pair<int64_t, int32_t>> others;
  for (int32_t j = 0; j < static_cast<int32_t>(points.size()); ++j) {
    if (j == i) continue;
    others.push_back(
        {squared_distance(points[static_cast<size_t>(i)], points[static_cast<size_t>(j)]), j});
  }
  const size_t count = std::min(kNeighbours, others.size());
  std::partial_sort(others.begin(), others.begin() + static_cast<std::ptrdiff_t>(count),
                    others.end());
  std::vector<int32_t> nodes;
  for (size_t t = 0; t < count; ++t) nodes.push_back(others[t].second);
  return nodes;
}

Network planar_network(const Recipe &recipe) {
  Lehmer random(recipe.seed);
  std::vector<Point> points;
  for (int32_t i = 0; i < recipe.nodes; ++i) {
    const int64_t x = random.draw(0, kSide);
    points.push_back({x, random.draw(0, kSide)});
  }
  std::set<std::pair<int32_t, int32_t>> edges;
  for (int32_t i = 0; i < recipe.nodes; ++i) {
    for (const int32_t j : nearest(points, i)) edges.insert({std::min(i, j), std::max(i, j)});
  }
  Network network;
  network.nodes = recipe.nodes;
  network.unserved_cost = recipe.unserved_cost;
  for (const auto &edge : edges) {
    const double distance = std::sqrt(static_cast<double>(squared_distance(
        points[static_cast<size_t>(edge.first)], points[static_cast<size_t>(edge.second)])));
    add_edge(network, edge, 1 + static_cast<int64_t>(distance),
             random.draw(recipe.least_capacity, recipe.most_capacity));
  }
  draw_commodities(network, recipe.commodities, random);
  return network;
}

Network grid_network(const Recipe &recipe) {
  const auto side = static_cast<int32_t>(std::lround(std::sqrt(recipe.nodes)));
  if (side * side != recipe.nodes) throw std::invalid_argument("a grid needs a square of nodes");
  Lehmer random(recipe.seed);
  Network network;
  network.nodes = recipe.nodes;
  network.unserved_cost = recipe.unserved_cost;
  const auto add = [&](int32_t i, int32_t j) {
    const int64_t cost = random.draw(1, kMostGridCost);
    add_edge(network, {i, j}, cost, random.draw(recipe.least_capacity, recipe.most_capacity));
  };
  for (int32_t i = 0; i < recipe.nodes; ++i) {
    if ((i + 1) % side != 0) add(i, i + 1);
    if (i + side < recipe.nodes) add(i, i + side);
  }
  draw_commodities(network, recipe.commodities, random);
  return network;
}

Recipe benchmark_recipe(const std::string &name) {
  struct Named {
    const char *name;
    Recipe recipe;
  };
  static const Named kNamed[] = {{"g100", {100, 500, 700, 2100, 10000, 1}},
                                 {"g100t", {100, 500, 500, 1500, 10000, 1}},
                                 {"g200", {200, 2000, 3000, 9000, 10000, 1}},
                                 {"g200t", {200, 2000, 2200, 6600, 10000, 1}},
                                 {"g300", {300, 5000, 7000, 21000, 10000, 1}}};
  for (const Named &known : kNamed) {
    if (name == known.name) return known.recipe;
  }
  throw std::invalid_argument("no network is called " + name);
}

}  // namespace multicommodity_flow

/// Separators and the orders made of them, on graphs that fall apart, hang together everywhere, or
/// have a separator that is known.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <set>

#include "interior_point/linear_algebra/nested_dissection.h"
#include "interior_point/linear_algebra/ordering.h"
#include "interior_point/linear_algebra/vertex_separator.h"
#include "tests/interior_point/random_programs.h"

namespace {

using interior_point::Adjacency;
using interior_point::Graph;
using interior_point::Ordering;
using interior_point::Vector;
using random_programs::Random;
using Neighbours = std::vector<std::set<int32_t>>;

void join(int32_t a, int32_t b, Neighbours *graph) {
  if (a == b) return;
  (*graph)[static_cast<size_t>(a)].insert(b);
  (*graph)[static_cast<size_t>(b)].insert(a);
}

Neighbours grid(int32_t width, int32_t height, int32_t depth) {
  Neighbours graph(static_cast<size_t>(width * height * depth));
  const auto at = [&](int32_t i, int32_t j, int32_t k) { return (k * height + j) * width + i; };
  for (int32_t k = 0; k < depth; ++k) {
    for (int32_t j = 0; j < height; ++j) {
      for (int32_t i = 0; i < width; ++i) {
        join(at(i, j, k), at(std::min(i + 1, width - 1), j, k), &graph);
        join(at(i, j, k), at(i, std::min(j + 1, height - 1), k), &graph);
        join(at(i, j, k), at(i, j, std::min(k + 1, depth - 1)), &graph);
      }
    }
  }
  return graph;
}

/// Clusters of random size with some edges in them, hubs that meet many vertices, loose ends.
Neighbours clusters(Random *random) {
  const int32_t n = random->integer(1, 1500);
  Neighbours graph(static_cast<size_t>(n));
  for (int32_t first = 0; first < n;) {
    const int32_t last = std::min(n - 1, first + random->integer(0, 400));
    const int32_t edges = random->integer(0, 3) * (last - first);
    for (int32_t e = 0; e < edges; ++e)
      join(random->integer(first, last), random->integer(first, last), &graph);
    first = last + 1;
  }
  for (int32_t hub = random->integer(0, 3); hub-- > 0;) {
    const int32_t centre = random->integer(0, n - 1);
    for (int32_t e = random->integer(0, n); e-- > 0;)
      join(centre, random->integer(0, n - 1), &graph);
  }
  return graph;
}

Adjacency adjacency_of(const Neighbours &graph) {
  Adjacency result;
  result.start.push_back(0);
  for (const std::set<int32_t> &row : graph) {
    result.row.insert(result.row.end(), row.begin(), row.end());
    result.start.push_back(static_cast<int64_t>(result.row.size()));
  }
  return result;
}

/// How many vertices each part and the separator have; no edge joins the parts.
std::array<size_t, 3> sizes_of_separation(const Neighbours &neighbours) {
  const Adjacency adjacency = adjacency_of(neighbours);
  Graph graph;
  graph.start = adjacency.start;
  graph.neighbour = adjacency.row;
  graph.edge_weight.assign(adjacency.row.size(), 1);
  graph.weight.assign(neighbours.size(), 1);
  const Vector<uint8_t> side = interior_point::separate(graph);
  EXPECT_EQ(side, interior_point::separate(graph));
  std::array<size_t, 3> count = {0, 0, 0};
  for (size_t v = 0; v < neighbours.size(); ++v) {
    ++count.at(side[v]);
    for (const int32_t u : neighbours[v]) EXPECT_NE(side[v] + side[u], 1) << v << " and " << u;
  }
  return count;
}

TEST(Orderings, SeparatorsOfGridsAreCrossSectionsAndLeaveTwoLargeParts) {
  const struct {
    int32_t width, height, depth;
    double cross_section;
  } cases[] = {{200, 10, 1, 10}, {40, 40, 1, 40}, {60, 12, 12, 144}, {1000, 1, 1, 1}};
  for (const auto &c : cases) {
    const auto count = sizes_of_separation(grid(c.width, c.height, c.depth));
    const double all = c.width * c.height * c.depth;
    EXPECT_LE(static_cast<double>(count[interior_point::kSeparator]), 1.3 * c.cross_section);
    EXPECT_GE(static_cast<double>(std::min(count[0], count[1])), 0.3 * all);
  }
}

TEST(Orderings, DissectionOrdersAnyGraphAndSeparatesItsParts) {
  Random random(1);
  for (int repeat = 0; repeat < 60; ++repeat) {
    const Neighbours graph = clusters(&random);
    sizes_of_separation(graph);
    Vector<int32_t> at = interior_point::nested_dissection(adjacency_of(graph));
    std::sort(at.begin(), at.end());
    Vector<int32_t> every(graph.size());
    std::iota(every.begin(), every.end(), 0);
    EXPECT_EQ(at, every);
  }
}

/// Entries of L below the diagonal.
double fill(const Ordering &o) { return std::accumulate(o.below.begin(), o.below.end(), 0.0); }

TEST(Orderings, DissectionIsTakenWhereItPaysAndFillsLess) {
  const Adjacency solid = adjacency_of(grid(16, 16, 16)), thin = adjacency_of(grid(900, 3, 1));
  const auto order = [](const Adjacency &a, double times) {
    return interior_point::fill_reducing_order(a, times);
  };
  EXPECT_LT(fill(order(solid, 25.0)), 0.9 * fill(order(solid, 0.0)));
  EXPECT_EQ(order(thin, 25.0).at, order(thin, 0.0).at);
}

}  // namespace

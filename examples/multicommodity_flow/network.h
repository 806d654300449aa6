#ifndef EXAMPLES_MULTICOMMODITY_FLOW_NETWORK_H
#define EXAMPLES_MULTICOMMODITY_FLOW_NETWORK_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace multicommodity_flow {

/// A directed arc between nodes counted from 0.
struct Arc {
  int32_t tail, head;
  int64_t cost;      ///< of one unit of flow, 0 or more
  int64_t capacity;  ///< 0 or more
};

/// `demand` units are to go from the origin to the destination; nodes counted from 0.
struct Commodity {
  int32_t origin, destination;
  int64_t demand;  ///< 1 or more
};

/// A linear multicommodity flow problem.
struct Network {
  int32_t nodes = 0;
  std::vector<Arc> arcs;
  std::vector<Commodity> commodities;
  /// What a unit costs that is not sent; 0: everything has to be sent.
  int64_t unserved_cost = 0;

  int32_t arc_count() const { return static_cast<int32_t>(arcs.size()); }
  int32_t commodity_count() const { return static_cast<int32_t>(commodities.size()); }
};

/**
 * Reads a file: the numbers of nodes, arcs and commodities on the first line, where a fourth
 * number is the cost of a unit that is not sent; then `from to cost capacity` for each arc and
 * `origin destination demand` for each commodity, a line each, nodes counted from 1. Anything else
 * becomes an examples::InputError with file and line.
 */
Network read_network(const std::string &path);

/// Writes that format.
void write_network(const Network &network, FILE *stream);

/// What a random network is made from.
struct Recipe {
  int32_t nodes = 100;  ///< 2 or more; for a grid the square of a whole number
  int32_t commodities = 500;
  int64_t least_capacity = 700, most_capacity = 2100;
  int64_t unserved_cost = 10000;
  int64_t seed = 1;
};

/**
 * Random points of the square [0, 1000] x [0, 1000], each joined to its 4 nearest. An edge is two
 * opposite arcs of one random capacity, their cost 1 plus the distance rounded down. Commodities
 * are between different random pairs, demands from 1 to 100. Throws std::invalid_argument when
 * there are not that many pairs.
 */
Network planar_network(const Recipe &recipe);

/// The same on a square grid, each node joined to the next ones of its row and column, with random
/// arc costs from 1 to 100, the same in both directions.
Network grid_network(const Recipe &recipe);

/// The recipe of the benchmark networks g100, g100t, g200, g200t and g300 (t: tight capacities);
/// throws std::invalid_argument for another name.
Recipe benchmark_recipe(const std::string &name);

}  // namespace multicommodity_flow

#endif

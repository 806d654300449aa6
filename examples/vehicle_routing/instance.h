#ifndef EXAMPLES_VEHICLE_ROUTING_INSTANCE_H
#define EXAMPLES_VEHICLE_ROUTING_INSTANCE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vehicle_routing {

/// The depot (node 0) or a customer. Times are in tenths of the file's unit.
struct Node {
  int64_t x, y;
  int32_t demand;
  int32_t ready, due;  ///< service starts within [ready, due]; the depot's is the horizon
  int32_t service;     ///< how long the service takes
};

/// Vehicle routing with time windows: one depot, equal vehicles. Routes start and end at node 0.
struct Instance {
  std::string name;
  int32_t vehicles = 0;
  int32_t capacity = 0;
  std::vector<Node> nodes;

  int32_t customers() const { return static_cast<int32_t>(nodes.size()) - 1; }
};

/// Customers in the order of their visits, without the depot.
using Route = std::vector<int32_t>;

/// Length of arc (i, j), which is also its travel time, in tenths: the Euclidean distance truncated
/// to one decimal.
int32_t distance(const Instance &instance, int32_t i, int32_t j);

/// Length of a route in tenths.
int64_t route_length(const Instance &instance, const Route &route);

/// Whether the route keeps to the capacity and to all windows.
bool is_feasible(const Instance &instance, const Route &route);

/// Reads a file: name, blank, VEHICLE, heading, `vehicles capacity`, blank, CUSTOMER, heading,
/// blank, then `number x y demand ready due service` for the nodes 0, 1, 2, ..., a line each. Takes
/// the first `customers` of them, 0: all. Anything else, and a customer whom no vehicle can serve,
/// becomes an examples::InputError with file and line.
Instance read_instance(const std::string &path, int32_t customers);

/// Writes that format.
void write_instance(const Instance &instance, FILE *stream);

/// A random instance `v<customers>_s<seed>`: places in a square of side 100 with the depot in the
/// middle, capacity 200, demands from 1 to 40, windows of width 30 to 120 in a day of 240, service
/// 10; 1 to 1000 customers.
Instance generate_instance(int32_t customers, int64_t seed);

}  // namespace vehicle_routing

#endif

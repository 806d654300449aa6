// Vehicle routing to the integer optimum: branching on arcs.
#ifndef EXAMPLES_VEHICLE_ROUTING_INTEGER_ROUTES_H
#define EXAMPLES_VEHICLE_ROUTING_INTEGER_ROUTES_H

#include <list>
#include <memory>
#include <vector>

#include "branch_and_price/branch_and_price.hpp"
#include "examples/vehicle_routing/instance.h"
#include "examples/vehicle_routing/master.h"
#include "examples/vehicle_routing/network.h"
#include "examples/vehicle_routing/route_cuts.h"
#include "examples/vehicle_routing/route_pricing.h"
#include "examples/vehicle_routing/route_search.h"

namespace vehicle_routing {

/// Decisions are on an arc (i, j): `with` forbids all other arcs out of i and into j, as far as
/// these are customers, `without` the arc itself. Neither needs a row; pricing is that of a network
/// with fewer arcs. Cuts are those of route_cuts.h: `cut`, with the three customers and the memory
/// as numbers. `memory` makes neighbourhoods larger than the root's, by pairs of a customer and one
/// who remembers it: all those on the way from the root, so that the last decision tells them.
class IntegerRoutes : public quarn::branch_and_price::Problem {
 public:
  /// `instance` has to outlive the problem; `master` has equations.
  IntegerRoutes(const Instance &instance, const quarn::Master &master,
                const MasterSettings &settings);

  quarn::Answer price(const quarn::branch_and_price::Subproblem &at, const quarn::Duals &duals,
                      quarn::Columns &columns) override;
  std::vector<quarn::branch_and_price::Decision> cuts(
      const quarn::branch_and_price::Relaxation &relaxation) override;
  double coefficient(const quarn::branch_and_price::Decision &decision, const quarn::Column &column,
                     const std::vector<quarn::Entry> &entries) const override;
  bool allows(const quarn::branch_and_price::Decision &decision, const quarn::Column &column,
              const std::vector<quarn::Entry> &entries) const override;
  std::vector<quarn::branch_and_price::Branching> branch(
      const quarn::branch_and_price::Relaxation &relaxation) override;
  /// Begins the search of route_search.h anew from the routes that are used most.
  std::optional<quarn::branch_and_price::Solution> heuristic(
      const quarn::branch_and_price::Relaxation &relaxation) override;
  /// Routes to begin with, before any column generation.
  quarn::branch_and_price::Solution first_solution();
  /// Lengths are in tenths.
  double granularity() const override { return 0.1; }

 private:
  /// The network of a node, with what pricing keeps between its rounds.
  struct Node {
    Node(const Instance &instance, int32_t ng_size, const Remembered &more)
        : network(instance, ng_size, more) {}

    std::vector<quarn::branch_and_price::Decision> decisions;
    std::vector<int32_t> served;  ///< customers that a dive is done with
    Network network;
    std::unique_ptr<RoutePricer> pricer;
  };

  struct Cuts;

  void add_column(const Route &route, const Cuts &cuts, quarn::Columns &columns) const;
  Node &node_of(const quarn::branch_and_price::Subproblem &at);
  quarn::branch_and_price::Solution solution_of(const std::vector<Route> &routes) const;
  void forbid(const quarn::branch_and_price::Decision &decision, Network &network) const;

  const Instance &instance_;
  std::vector<quarn::Row> rows_;
  int32_t ng_size_;
  int32_t most_;
  const Network &remembering(const quarn::branch_and_price::Decision &decision) const;
  std::vector<quarn::branch_and_price::Decision> longer_memory(
      const quarn::branch_and_price::Relaxation &relaxation) const;

  /// The neighbourhoods that were last asked for.
  mutable std::vector<int64_t> remembered_;
  mutable std::unique_ptr<Network> remembering_;
  double last_bound_ = 0.0;  ///< at the last round of cuts
  RouteSearch search_;
  size_t labels_ = 0;      ///< of the last complete search
  int32_t searched_ = 0;   ///< calls of the heuristic
  std::list<Node> nodes_;  ///< the last ones, which must not move
};

}  // namespace vehicle_routing

#endif

#ifndef EXAMPLES_MULTICOMMODITY_FLOW_FLOW_ROUTER_H
#define EXAMPLES_MULTICOMMODITY_FLOW_FLOW_ROUTER_H

#include <cstdint>
#include <functional>
#include <vector>

#include "examples/multicommodity_flow/flow_columns.h"
#include "examples/multicommodity_flow/network.h"
#include "examples/multicommodity_flow/shortest_paths.h"

namespace multicommodity_flow {

/// Which commodities make up a block, with one column at a time and one convexity row.
enum class Grouping { kCommodity, kOrigin, kAll };

/// A way to send the demands of a block, and its cost at the arc lengths that it was made for.
struct RoutedBlock {
  FlowColumn column;
  double length;
};

/// Sends all demands along shortest paths, one tree for each origin.
class FlowRouter {
 public:
  /// `network` has to outlive the router.
  FlowRouter(const Network &network, Grouping grouping);

  int32_t blocks() const { return blocks_; }

  /// The arcs' costs.
  std::vector<double> arc_costs() const;

  /// The cheapest column of every block for arc lengths of 0 or more. A demand stays unserved where
  /// that is allowed and not dearer. Throws std::runtime_error when a demand that has to be sent
  /// has no path.
  std::vector<RoutedBlock> route(const std::vector<double> &lengths);

  /// The nodes at which commodities begin.
  std::vector<size_t> origins() const;

  /// What route() makes of the commodities of one origin, by increasing block.
  std::vector<RoutedBlock> route_from(size_t origin, const std::vector<double> &lengths);

  /// Columns that leave everything unserved, one for each block; none if that is not allowed.
  std::vector<FlowColumn> unserved() const;

  /**
   * Looks for columns that fit together within the capacities, before there are any duals. In every
   * pass the origins are sent one after the other, each at prices that answer to what the others
   * put on the arcs; between passes the price of an arc rises or falls with its overload. Hands the
   * columns of each pass to `take`. Source: L. McMurchie, C. Ebeling, PathFinder: a
   * negotiation-based performance-driven router for FPGAs, FPGA (1995), with prices as here.
   */
  void negotiate(int32_t passes, const std::function<void(FlowColumn)> &take);

 private:
  std::vector<RoutedBlock> empty_routing() const;
  template <typename BlockOf>
  void route_origin(size_t origin, const std::vector<double> &lengths, const BlockOf &block_of,
                    std::vector<ArcFlow> *sent);

  const Network &network_;
  ShortestPaths paths_;
  int32_t blocks_ = 0;
  std::vector<int32_t> block_of_;              ///< of each commodity
  std::vector<std::vector<int32_t>> from_;     ///< commodities by origin
  std::vector<std::vector<int32_t>> targets_;  ///< their destinations
};

}  // namespace multicommodity_flow

#endif

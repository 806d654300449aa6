#ifndef EXAMPLES_VEHICLE_ROUTING_COMPLETION_BOUNDS_H
#define EXAMPLES_VEHICLE_ROUTING_COMPLETION_BOUNDS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "examples/vehicle_routing/network.h"

namespace vehicle_routing {

/**
 * What it costs at least to go on from a customer to the depot, in one direction of the network:
 *
 *     f(j, t) = min(c_j0, min over k of c_jk + f(k, max(ready_k, t + step_jk))), (1)
 *
 * over the arcs that time allows, k not the customer before j. Neither load nor what a route
 * remembers matters, so f is a lower bound for every label at j that is served at t or later. The
 * two best k at each (j, t) tell the value without one of them. Source: N. Christofides,
 * A. Mingozzi, P. Toth, State-space relaxation procedures for the computation of bounds to routing
 * problems, Networks 11 (1981).
 *
 * Times are rounded down to slots, kLanes of which are the shortest step, so the values of as many
 * slots in a row depend on later ones alone and are found together.
 */
class CompletionBounds {
 public:
  /// `direction` is one of the network's, `reverse` the other. The network has to outlive the
  /// object, and keep its arcs.
  CompletionBounds(const Network &network, const Network::Direction &direction,
                   const Network::Direction &reverse);

  /// Sets the bounds for the arc costs c, by arc.
  void update(const std::vector<double> &cost);

  /// For paths that come to customer `node` from `before` and are served at `time` or later.
  /// kNever if there is no way to go on.
  double operator()(int32_t node, int32_t time, int32_t before) const {
    const size_t k = place(node, slot_of(time));
    return via_[k] == before ? second_[k] : least_[k];
  }
  static constexpr float kNever = 1e30F;

 private:
  static constexpr size_t kLanes = 8;

  struct Arc {
    float cost;
    int32_t shift;  ///< slots from service to service
    int32_t last;   ///< slot from which `to` is reached in time
    int32_t to;
  };
  /// A customer, with the slots in which it can be served and be the last one.
  struct Stop {
    int32_t first, last, last_return;
    float return_cost;
    std::vector<Arc> arcs;  ///< out of it, those that are open longest first
  };

  int32_t slot_of(int32_t time) const {
    return static_cast<int32_t>(static_cast<uint64_t>(time) * inverse_ >> 32);
  }
  size_t place(int32_t node, int32_t slot) const {
    return static_cast<size_t>(node) * stride_ + static_cast<size_t>(slot);
  }
  Stop stop_of(int32_t j, const Network::Direction &reverse) const;
  void set_costs(const std::vector<double> &cost);
  void set_block(int32_t j, int32_t slot);
  void close(int32_t j, int32_t slot);

  const Network &network_;
  const Network::Direction &direction_;
  uint64_t inverse_;                   ///< slots in a unit of time, times 2^32; 0: no bounds
  size_t stride_;                      ///< slots of a node, with some behind the last
  std::vector<Stop> stops_;            ///< by node; that of the depot is empty
  std::vector<float> least_, second_;  ///< by node and slot: f, and without the best k
  std::vector<int32_t> via_;           ///< by node and slot: the best k, -1: none or the depot
};

}  // namespace vehicle_routing

#endif

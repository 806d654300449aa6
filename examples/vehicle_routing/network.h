#ifndef EXAMPLES_VEHICLE_ROUTING_NETWORK_H
#define EXAMPLES_VEHICLE_ROUTING_NETWORK_H

#include <cstdint>
#include <utility>
#include <vector>

#include "examples/vehicle_routing/instance.h"

namespace vehicle_routing {

/// A set of customers of one neighbourhood, bit b for its b-th member.
using Memory = uint64_t;
constexpr int32_t kLargestNeighbourhood = 64;
/// Pairs (i, j): customer i is in the neighbourhood of customer j.
using Remembered = std::vector<std::pair<int32_t, int32_t>>;

/**
 * What pricing knows of an instance before it knows any duals: lengths, the arcs that some route
 * can use, the neighbourhoods of the ng-routes.
 *
 * A route that comes to customer i remembers some of the customers before: all in the neighbourhood
 * N_j of every customer j visited since. It may not return to a customer that it remembers. So it
 * may visit one twice if it goes far away in between, and labels need to agree in small sets only.
 * Neighbourhoods of one member bring back all cycles but i, i; those of all members leave only
 * elementary routes. Source: R. Baldacci, A. Mingozzi, R. Roberti, New route relaxation and pricing
 * strategies for the vehicle routing problem, Operations Research 59 (2011).
 *
 * A route and its reverse remember alike, so labels can be set from both ends. The reverse of the
 * network has time running backwards: node i is served at time T - t with T the end of the horizon.
 */
class Network {
 public:
  /// Windows and arcs of one direction.
  struct Direction {
    std::vector<int32_t> ready, due;               ///< of each node
    std::vector<int32_t> step;                     ///< [i * nodes + j] from service to service
    std::vector<std::vector<int32_t>> successors;  ///< of each node, customers only
  };

  /// Neighbourhoods are the nearest customers, itself included, at most `ng_size` of them, up to
  /// kLargestNeighbourhood; a customer that time forbids to return to is never needed.
  /// `more` are pairs of a customer and one whose neighbourhood it joins, up to that limit.
  Network(const Instance &instance, int32_t ng_size, const Remembered &more = {});

  int32_t nodes() const { return nodes_; }
  int32_t capacity() const { return capacity_; }
  int32_t horizon() const { return horizon_; }
  int32_t demand(int32_t i) const { return demand_[static_cast<size_t>(i)]; }
  int32_t length(int32_t i, int32_t j) const { return length_[arc(i, j)]; }
  size_t arc(int32_t i, int32_t j) const {
    return static_cast<size_t>(i) * static_cast<size_t>(nodes_) + static_cast<size_t>(j);
  }
  const Direction &forward() const { return forward_; }
  const Direction &backward() const { return backward_; }

  /// Takes the arc out of the network, in both directions.
  void forbid(int32_t i, int32_t j);
  bool is_forbidden(int32_t i, int32_t j) const { return forbidden_[arc(i, j)] != 0; }

  /// Time from one customer to the next at least, and at least 1.
  int32_t shortest_step(const Direction &direction) const;

  /// Whether a route may visit i, j and i again, as far as time is concerned.
  bool returns(int32_t i, int32_t j) const { return returns_[arc(i, j)] != 0; }

  /// Bit of customer i in the memory of node j, or -1 if i is not in its neighbourhood.
  int32_t bit(int32_t i, int32_t j) const { return bit_[arc(i, j)]; }

  /// Whether the route returns to no customer that it remembers.
  bool is_allowed(const Route &route) const;

  /// What of the memory at node i is remembered at node j.
  Memory carry(Memory memory, int32_t i, int32_t j) const {
    Memory carried = 0;
    const int8_t *bit_of = &carry_[arc(i, j) * static_cast<size_t>(ng_size_)];
    for (memory &= kept_[arc(i, j)]; memory != 0; memory &= memory - 1) {
      carried |= Memory{1} << bit_of[__builtin_ctzll(memory)];
    }
    return carried;
  }

 private:
  void make_directions(const Instance &instance);
  void make_neighbourhoods(int32_t ng_size, const Remembered &more);
  std::vector<int32_t> neighbourhood(int32_t j, int32_t ng_size) const;

  int32_t nodes_, capacity_, horizon_, ng_size_ = 1;
  std::vector<int32_t> demand_, length_;
  Direction forward_, backward_;
  std::vector<int8_t> returns_;    ///< by arc
  std::vector<int8_t> forbidden_;  ///< by arc
  std::vector<int8_t> bit_;        ///< by arc
  std::vector<Memory> kept_;       ///< by arc (i, j): bits of i whose customer is in N_j as well
  std::vector<int8_t> carry_;      ///< by arc (i, j) and bit of i: its bit at j
};

}  // namespace vehicle_routing

#endif

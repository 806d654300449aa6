#ifndef EXAMPLES_MULTICOMMODITY_FLOW_SHORTEST_PATHS_H
#define EXAMPLES_MULTICOMMODITY_FLOW_SHORTEST_PATHS_H

#include <cstdint>
#include <utility>
#include <vector>

#include "examples/multicommodity_flow/network.h"

namespace multicommodity_flow {

/// Shortest path trees for arc lengths that change from call to call: Dijkstra's algorithm.
class ShortestPaths {
 public:
  explicit ShortestPaths(const Network &network);

  /// Grows the tree from `origin` until it holds all of the `targets`, for arc lengths of 0 or
  /// more. Until the next call distance() and path() speak of this tree.
  void grow(int32_t origin, const std::vector<int32_t> &targets,
            const std::vector<double> &lengths);

  /// Length of the shortest path to a target, infinite where there is none.
  double distance(int32_t target) const { return distance_[static_cast<size_t>(target)]; }

  /// Calls visit(arc) for every arc of the shortest path to a target, the last one first.
  template <typename Visit>
  void for_each_arc(int32_t target, const Visit &visit) const {
    for (int32_t node = target; node != origin_;) {
      const int32_t arc = last_arc_[static_cast<size_t>(node)];
      visit(arc);
      node = network_.arcs[static_cast<size_t>(arc)].tail;
    }
  }

 private:
  using Label = std::pair<double, int32_t>;  ///< a tentative distance, and of which node

  const Network &network_;
  std::vector<int32_t> start_, leaving_;  ///< arcs leaving node i: leaving_ from start_[i] on
  std::vector<double> distance_;
  std::vector<int32_t> last_arc_;
  std::vector<int32_t> wanted_;  ///< 1 for a target that the tree does not hold yet
  std::vector<Label> heap_;
  int32_t origin_ = 0;
};

}  // namespace multicommodity_flow

#endif

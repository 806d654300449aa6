#include "examples/multicommodity_flow/shortest_paths.h"

#include <algorithm>
#include <functional>
#include <limits>

namespace multicommodity_flow {

ShortestPaths::ShortestPaths(const Network &network)
    : network_(network),
      start_(static_cast<size_t>(network.nodes) + 1, 0),
      leaving_(network.arcs.size()),
      distance_(static_cast<size_t>(network.nodes)),
      last_arc_(static_cast<size_t>(network.nodes)),
      wanted_(static_cast<size_t>(network.nodes), 0) {
  for (const Arc &arc : network.arcs) ++start_[static_cast<size_t>(arc.tail) + 1];
  for (size_t i = 1; i < start_.size(); ++i) start_[i] += start_[i - 1];
  std::vector<int32_t> next = start_;
  for (int32_t a = 0; a < network.arc_count(); ++a) {
    int32_t &position = next[static_cast<size_t>(network.arcs[static_cast<size_t>(a)].tail)];
    leaving_[static_cast<size_t>(position++)] = a;
  }
}

void ShortestPaths::grow(int32_t origin, const std::vector<int32_t> &targets,
                         const std::vector<double> &lengths) {
  origin_ = origin;
  std::fill(distance_.begin(), distance_.end(), std::numeric_limits<double>::infinity());
  distance_[static_cast<size_t>(origin)] = 0.0;
  size_t missing = 0;
  for (const int32_t target : targets) {
    missing += wanted_[static_cast<size_t>(target)] == 0;
    wanted_[static_cast<size_t>(target)] = 1;
  }
  heap_.assign(1, {0.0, origin});
  while (!heap_.empty() && missing > 0) {
    const Label label = heap_.front();
    std::pop_heap(heap_.begin(), heap_.end(), std::greater<>());
    heap_.pop_back();
    const auto node = static_cast<size_t>(label.second);
    if (label.first > distance_[node]) continue;  // an older label of a node that is in the tree
    missing -= static_cast<size_t>(std::exchange(wanted_[node], 0));
    for (int32_t t = start_[node]; t < start_[node + 1]; ++t) {
      const int32_t a = leaving_[static_cast<size_t>(t)];
      const int32_t head = network_.arcs[static_cast<size_t>(a)].head;
      const double through = label.first + lengths[static_cast<size_t>(a)];
      if (through >= distance_[static_cast<size_t>(head)]) continue;
      distance_[static_cast<size_t>(head)] = through;
      last_arc_[static_cast<size_t>(head)] = a;
      heap_.push_back({through, head});
      std::push_heap(heap_.begin(), heap_.end(), std::greater<>());
    }
  }
  for (const int32_t target : targets) wanted_[static_cast<size_t>(target)] = 0;
}

}  // namespace multicommodity_flow

#ifndef EXAMPLES_MULTICOMMODITY_FLOW_FLOW_COLUMNS_H
#define EXAMPLES_MULTICOMMODITY_FLOW_FLOW_COLUMNS_H

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace multicommodity_flow {

/// Flow on one arc.
struct ArcFlow {
  int32_t arc;
  double amount;
  bool operator==(const ArcFlow &other) const { return arc == other.arc && amount == other.amount; }
};

/// A way to send all demands of one block.
struct FlowColumn {
  int32_t block;
  double cost;
  std::vector<ArcFlow> flow;  ///< by increasing arc, amounts above 0
};

/**
 * The columns generated so far, and what the arcs may have to carry for them.
 *
 * A block has one convexity row, so its flow on an arc is at most the largest of its columns'
 * amounts there. Summed over the blocks this is the potential load of the arc. While that is within
 * the capacity no solution of the restricted master problem can violate the arc's row: leaving the
 * row out changes nothing.
 */
class FlowColumns {
 public:
  explicit FlowColumns(int32_t arcs) : potential_load_(static_cast<size_t>(arcs), 0.0) {}

  /// Adds a column unless it is there at no higher cost; returns whether it was added.
  bool add(FlowColumn column);

  /// Has `add` take an equal of column j for a new one. Column j keeps its place and its loads.
  void forget(int32_t j);

  int32_t size() const { return static_cast<int32_t>(columns_.size()); }
  const FlowColumn &operator[](int32_t j) const { return columns_[static_cast<size_t>(j)]; }

  double potential_load(int32_t arc) const { return potential_load_[static_cast<size_t>(arc)]; }

 private:
  std::vector<FlowColumn> columns_;
  std::unordered_multimap<size_t, int32_t> by_hash_;
  std::unordered_map<int64_t, double> largest_;  ///< by block and arc
  std::vector<double> potential_load_;
};

}  // namespace multicommodity_flow

#endif

#ifndef EXAMPLES_VEHICLE_ROUTING_LABEL_SETTING_H
#define EXAMPLES_VEHICLE_ROUTING_LABEL_SETTING_H

#include <cstdint>
#include <vector>

#include "examples/vehicle_routing/network.h"

namespace vehicle_routing {

/// How far apart two labels may be for one to dominate the other.
enum class Dominance {
  kTimeCost,      ///< time and cost alone: heuristic, a handful of labels
  kTimeLoadCost,  ///< load as well: heuristic where capacity matters
  kExact,         ///< memory as well: no route is lost that matters
};

/// A path from the depot to `node`, in one of the two directions.
struct Label {
  double cost;         ///< length minus the duals of the customers on it
  Memory memory;       ///< customers that it may not return to, of the neighbourhood of `node`
  int32_t time, load;  ///< at the node, which is served at `time`
  int32_t node;
  int32_t parent;  ///< label of the path without the node; -1: none
  int32_t last;    ///< customer before `node` if it is not in the memory but could be returned to
  int32_t only;    ///< the one customer that the path is worth extending to; -1: all
};

/**
 * Label setting in one direction.
 *
 *     cost(j) = cost(i) + d_ij - u_j,   load(j) = load(i) + q_j <= Q,
 *     time(j) = max(ready_j, time(i) + step_ij) <= due_j,
 *     memory(j) = (memory(i) and N_j) + {j},   j not in memory(i), j not the customer before i. (1)
 *
 * Every step between customers takes time, so labels are settled in the order of time, and all that
 * can dominate one are there before it. Label L dominates M at the same node if it is no worse in
 * time, load and cost and remembers nothing that M does not: then every way to go on from M is open
 * to L. The customer before, which (1) forbids even where it is not remembered, makes an exception:
 * if it is l for L, and another for M, then M remains worth extending to l, and to nothing else.
 *
 * Settled labels of a node lie in buckets of load, sorted by cost: what can dominate a label is in
 * the buckets up to its own, in front.
 */
class LabelSetting {
 public:
  /// `network` and `direction` (one of the network's) have to outlive the object.
  LabelSetting(const Network &network, const Network::Direction &direction);

  /// Sets labels for the arc costs d_ij - u_j (`cost`, by arc), up to the time `latest` inclusive,
  /// over the `arcs` cheapest arcs out of every customer (all out of the depot). Labels of an
  /// earlier run are gone.
  void run(const std::vector<double> &cost, Dominance dominance, int32_t latest, size_t arcs);

  /// Settled labels of a node, cheapest first; one at the depot, of the empty path.
  const std::vector<int32_t> &settled(int32_t node) const {
    return settled_[static_cast<size_t>(node)];
  }
  size_t size() const { return labels_.size(); }
  const Label &label(int32_t k) const { return labels_[static_cast<size_t>(k)]; }

  /// Customers on the path, from the depot on.
  Route path(int32_t k) const;

 private:
  /// What dominance looks at, close together.
  struct Entry {
    double cost;
    Memory memory;
    int32_t load, last;
  };
  using Bucket = std::vector<Entry>;

  void clear();
  void choose_arcs(const std::vector<double> &cost, size_t arcs);
  void settle(int32_t time);
  void extend(int32_t k, const std::vector<double> &cost, int32_t latest);
  void add(const Label &label);
  bool is_dominated(Label &label) const;
  bool is_dominated_by(const Entry &entry, Label &label) const;
  void insert(int32_t k);
  size_t bucket_of(int32_t load) const;
  Label extension(int32_t k, int32_t to, double cost, int32_t time) const;

  const Network &network_;
  const Network::Direction &direction_;
  Dominance dominance_ = Dominance::kExact;
  std::vector<Label> labels_;
  std::vector<int32_t> next_;                     ///< of each label: another one of the same time
  std::vector<int32_t> first_;                    ///< of each time: an unsettled label
  std::vector<int32_t> due_now_;                  ///< labels of one time
  std::vector<std::vector<int32_t>> settled_;     ///< by node
  std::vector<std::vector<int32_t>> successors_;  ///< by node, those of this run
  std::vector<Bucket> buckets_;                   ///< by node and load
};

}  // namespace vehicle_routing

#endif

#ifndef EXAMPLES_VEHICLE_ROUTING_LABEL_SETTING_H
#define EXAMPLES_VEHICLE_ROUTING_LABEL_SETTING_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "examples/vehicle_routing/completion_bounds.h"
#include "examples/vehicle_routing/network.h"
#include "examples/vehicle_routing/route_cuts.h"

namespace vehicle_routing {

/// How far apart two labels may be for one to dominate the other.
enum class Dominance {
  kTimeCost,      ///< time and cost alone: heuristic, a handful of labels
  kTimeLoadCost,  ///< load as well: heuristic where capacity matters
  kMemory,        ///< memory as well: heuristic where there are cuts
  kExact,         ///< cuts as well: no route is lost that matters
};

/// A path from the depot to `node`, in one of the two directions.
struct Label {
  double cost;         ///< length minus the duals of the customers and cuts on it
  Memory memory;       ///< customers that it may not return to, of the neighbourhood of `node`
  int32_t time, load;  ///< at the node, which is served at `time`
  int32_t node;
  int32_t parent;  ///< label of the path without the node; -1: none
  int32_t last;    ///< customer before `node` if it is not in the memory but could be returned to
  int32_t only;    ///< the one customer that the path is worth extending to; -1: all
  CutSet open;     ///< cuts whose price the next visit may cost
};

/**
 * Label setting in one direction.
 *
 *     cost(j) = cost(i) + d_ij - u_j,   load(j) = load(i) + q_j <= Q,
 *     time(j) = max(ready_j, time(i) + step_ij) <= due_j,
 *     memory(j) = (memory(i) and N_j) + {j},   j not in memory(i), j not the customer before i. (1)
 *
 * Time is divided into slots as long as the shortest step between customers. So labels are settled
 * slot by slot, at each node in the order of time, and all that can dominate one are there before
 * it. Label L dominates M at the same node if it is no worse in time, load and cost and remembers
 * nothing that M does not: then every way to go on from M is open to L. Cuts that are open for L
 * and not for M may cost L their price on that way, so it is added to its cost. The customer
 * before, which (1) forbids even where it is not remembered, makes an exception: if it is l for L,
 * and another for M, then M remains worth extending to l, and to nothing else.
 *
 * Settled labels of a node lie in buckets of load, sorted by cost: what can dominate a label is in
 * the buckets up to its own, in front. Nine labels in ten are dominated, mostly by one that
 * dominated another of the node just before: a few of these are asked first.
 */
class LabelSetting {
 public:
  /// `network` and `direction` (one of the network's) have to outlive the object.
  LabelSetting(const Network &network, const Network::Direction &direction);

  /// The arc costs d_ij - u_j (`cost`) and which arcs some route of negative cost may use
  /// (`useful`), both by arc; the prices of cuts, and bounds for the same costs, which have to live
  /// on.
  void set_prices(const std::vector<double> &cost, const std::vector<char> &useful,
                  const CutPrices &cuts, const CompletionBounds &bounds);

  /// Sets labels up to the time `latest` inclusive, over the `arcs` cheapest arcs out of every
  /// customer (all out of the depot); only those that the bounds let end at a negative cost. Labels
  /// of an earlier run are gone. False when there are more than `most` labels, some of which are
  /// then missing.
  bool run(Dominance dominance, int32_t latest, size_t arcs,
           size_t most = std::numeric_limits<size_t>::max());

  /// Settled labels of a node, cheapest first; one at the depot, of the empty path.
  const std::vector<int32_t> &settled(int32_t node) const {
    return settled_[static_cast<size_t>(node)].labels;
  }
  /// Labels that were not dominated when they were made.
  size_t created() const { return created_; }
  const Label &label(int32_t k) const { return labels_[static_cast<size_t>(k)]; }

  /// Customers on the path, from the depot on.
  Route path(int32_t k) const;

 private:
  static constexpr size_t kLoadBuckets = 16;
  static constexpr size_t kRecent = 4;

  /// An arc out of some node, and what a label has to meet for it.
  struct Arc {
    double cost;
    Memory forbidden;   ///< the bit of `to`
    int32_t step;       ///< time from service to service
    int32_t most_time;  ///< at `to`
    int32_t most_load;  ///< before `to`
    int32_t to;
  };
  /// The arcs out of a node; those in front are the cheapest where not all count.
  struct Arcs {
    std::vector<Arc> list;
    size_t count = 0;  ///< that count in this run
  };
  /// What dominance looks at, close together.
  struct Entry {
    double cost;
    Memory memory;
    int32_t load, last;
    int32_t label;
  };
  /// Settled labels of a node.
  struct Settled {
    std::vector<int32_t> labels;
    std::array<std::vector<Entry>, kLoadBuckets> buckets;
    std::array<double, kLoadBuckets> least;  ///< least cost in this bucket and those before
    std::array<Entry, kRecent> recent;       ///< entries that dominated, at no cost: none
    size_t oldest = 0;                       ///< of the recent ones
  };

  void clear();
  void choose_arcs(size_t arcs);
  std::vector<Label> &pending(int32_t time, int32_t node) {
    return pending_[static_cast<size_t>(time / slot_) * settled_.size() +
                    static_cast<size_t>(node)];
  }
  void settle(std::vector<Label> &labels);
  void extend(int32_t k);
  Label extension(int32_t k, const Arc &arc, int32_t time) const;
  bool is_dominated(Label &label);
  bool is_dominated_by(const Entry &entry, Label &label) const;
  void insert(const Label &label);
  size_t bucket_of(int32_t load) const;

  const Network &network_;
  const Network::Direction &direction_;
  const CutPrices *cuts_ = nullptr;
  const CompletionBounds *bounds_ = nullptr;
  Dominance dominance_ = Dominance::kExact;
  int32_t latest_ = 0;
  int32_t slot_;                             ///< time of the shortest step, at least 1
  std::vector<std::vector<Label>> pending_;  ///< by slot of time and node: labels to settle
  std::vector<Label> labels_;                ///< settled ones, by slot of time and node
  std::vector<Settled> settled_;             ///< by node
  std::vector<Arcs> arcs_;                   ///< by node
  size_t created_ = 0;
};

}  // namespace vehicle_routing

#endif

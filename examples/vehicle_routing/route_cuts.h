#ifndef EXAMPLES_VEHICLE_ROUTING_ROUTE_CUTS_H
#define EXAMPLES_VEHICLE_ROUTING_ROUTE_CUTS_H

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "examples/vehicle_routing/instance.h"

namespace vehicle_routing {

constexpr size_t kMostCuts = 128;  ///< that pricing can look at in one round

/// A set of cuts, by their positions in CutPrices.
struct CutSet {
  std::array<uint64_t, kMostCuts / 64> words = {};

  void add(size_t cut) { words[cut / 64] |= uint64_t{1} << cut % 64; }
  bool empty() const { return (words[0] | words[1]) == 0; }
  friend CutSet operator&(const CutSet &a, const CutSet &b) {
    return {{a.words[0] & b.words[0], a.words[1] & b.words[1]}};
  }
  friend CutSet operator^(const CutSet &a, const CutSet &b) {
    return {{a.words[0] ^ b.words[0], a.words[1] ^ b.words[1]}};
  }
  /// Those of a that are not in b.
  friend CutSet operator-(const CutSet &a, const CutSet &b) {
    return {{a.words[0] & ~b.words[0], a.words[1] & ~b.words[1]}};
  }
};

/**
 * A subset-row cut over three customers S, with a memory M of customers, S among them:
 *
 *     sum_r c_r x_r <= 1,   c_r = sum of floor(v / 2) over the stretches of route r within M, (1)
 *
 * v the visits of a stretch to S. Two visits to S take two of the three units that the rows of S
 * have, so no more than one such route is in a solution; a stretch ends where the route leaves M.
 * The smaller M, the less has a label to remember, and the weaker the cut. Sources: M. Jepsen,
 * B. Petersen, S. Spoorendonk, D. Pisinger, Subset-row inequalities applied to the vehicle routing
 * problem with time windows, Operations Research 56 (2008); D. Pecin, A. Pessoa, M. Poggi,
 * E. Uchoa, Improved branch-cut-and-price for capacitated vehicle routing, Mathematical Programming
 * Computation 9 (2017).
 */
struct RouteCut {
  std::array<int32_t, 3> customers;
  std::vector<int32_t> memory;  ///< in ascending order
};

/// c_r of (1).
int32_t coefficient(const RouteCut &cut, const Route &route);

/// The cuts that the routes with these values violate most, at most `most` of them, no customer in
/// more than a few. Their memories are as small as these routes allow.
std::vector<RouteCut> separate(const std::vector<std::pair<Route, double>> &routes,
                               int32_t customers, size_t most);

/**
 * What cuts add to the reduced cost of a path. A label remembers of which cuts an odd number of
 * visits is open: the next visit costs the dual of (1), with its sign turned, unless the path
 * leaves the memory first.
 */
class CutPrices {
 public:
  explicit CutPrices(size_t nodes) : kept_(nodes), turned_(nodes) {}

  /// `price` is at least 0. At most kMostCuts.
  void add(const RouteCut &cut, double price);
  bool empty() const { return prices_.empty(); }

  /// What of `open` is left on arrival at customer `to`, whose cuts then turn; adds to the cost.
  CutSet arrive(const CutSet &open, int32_t to, double *cost) const {
    const CutSet kept = open & kept_[static_cast<size_t>(to)];
    const CutSet &turned = turned_[static_cast<size_t>(to)];
    *cost += price(kept & turned);
    return kept ^ turned;
  }

  /// The sum of the prices of the cuts.
  double price(const CutSet &cuts) const {
    double sum = 0.0;
    for (size_t w = 0; w < cuts.words.size(); ++w) {
      for (uint64_t left = cuts.words[w]; left != 0; left &= left - 1) {
        sum += prices_[64 * w + static_cast<size_t>(__builtin_ctzll(left))];
      }
    }
    return sum;
  }

 private:
  std::vector<double> prices_;
  std::vector<CutSet> kept_, turned_;  ///< by node
};

}  // namespace vehicle_routing

#endif

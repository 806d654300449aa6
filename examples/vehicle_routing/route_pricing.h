#ifndef EXAMPLES_VEHICLE_ROUTING_ROUTE_PRICING_H
#define EXAMPLES_VEHICLE_ROUTING_ROUTE_PRICING_H

#include <cstdint>
#include <vector>

#include "examples/vehicle_routing/instance.h"
#include "examples/vehicle_routing/label_setting.h"
#include "examples/vehicle_routing/network.h"

namespace vehicle_routing {

/// The outcome of pricing.
struct Pricing {
  bool exact = false;  ///< whether all ng-routes were considered; with cuts that may be too many
  double shortfall = 0.0;  ///< sum over the customers of (2), at most 0; what it proves needs exact
  size_t labels = 0;       ///< of the last search
  std::vector<Route> routes;
};

/**
 * Finds ng-routes of negative reduced cost d_r - sum_i a_ir u_i, and what cuts add to it.
 *
 * Labels are set from both ends, forward up to a time H and backward while a customer can be left
 * for after H; a route is a forward label at i and a backward label at j, joined by the arc (i, j):
 *
 *     time_f(i) + step_ij <= T - time_b(j),   load_f + load_b <= Q,   memories disjoint. (1)
 *
 * It costs the price of every cut that is open on both sides. Every ng-route has such a joint: i is
 * its last customer that it can reach by H. The joint is also what makes the lower bound good.
 * Assign a route to i (to j, if it starts with the backward part), and let
 *
 *     m_i = min(0, the least reduced cost of the routes assigned to customer i). (2)
 *
 * Routes assigned to i visit i, so in a solution of the master problem their values sum to at most
 * 1, and all routes together lower the objective by no more than - sum_i m_i.
 */
class RoutePricer {
 public:
  /// `network` has to outlive the pricer.
  explicit RoutePricer(const Network &network);

  /// Prices u (of customer i: u[i - 1], per unit of length) and those of cuts. Two heuristics come
  /// first; the complete search follows when they find nothing, and also when what they find lowers
  /// the bound by less than `open_gap`, which the restricted master problem has left open itself:
  /// then it is its tolerance that keeps the bounds apart, and only a proven bound lets it be
  /// tightened. At most `most` routes, the best first; 0: as many as are worth it.
  ///
  /// The routes form layers. Each holds routes without a common customer, as a solution does: the
  /// next best routes alone are variations of the best, from which the master problem learns
  /// little.
  Pricing price(const double *u, const CutPrices &cuts, double open_gap, int32_t most);

 private:
  /// A forward and a backward label that make a route.
  struct Joint {
    double reduced_cost = 0.0;
    int32_t forward = -1, backward = -1;
  };

  /// A backward label, and what a forward one has to meet for it by (1).
  struct Half {
    double cost;
    Memory memory;
    CutSet open;
    int32_t most_load;
    int32_t most_time;  ///< at the node
    int32_t last, label;
  };

  void set_costs(const double *u);
  void set_prices(const double *u, const CutPrices &cuts);
  void find_useful_arcs(const double *u);
  bool search(Dominance dominance, size_t arcs);
  bool set_labels(Dominance dominance, size_t arcs);
  void join();
  void list_halves();
  void join_arc(int32_t i, int32_t to);
  void keep(const Joint &joint, int32_t customer);
  Route route(const Joint &joint) const;
  std::vector<Route> choose_routes(int32_t most) const;
  void move_half_time();
  void shift_half_time(int32_t steps);

  const Network &network_;
  const CutPrices *cuts_ = nullptr;  ///< of this round
  LabelSetting forward_, backward_;
  CompletionBounds from_front_, from_back_;  ///< of labels of either side
  int32_t half_time_;                        ///< H
  std::vector<double> cost_;                 ///< by arc
  std::vector<char> useful_;                 ///< by arc: whether routes may gain by it
  std::vector<char> useful_back_;            ///< by arc of the backward direction
  std::vector<double> least_;                ///< by customer: m_i of (2)
  std::vector<std::vector<Half>> halves_;    ///< by node, cheapest first
  std::vector<Joint> best_;                  ///< of each forward label of a node
  std::vector<Joint> joints_;  ///< the best of every forward label, the least reduced cost first
};

}  // namespace vehicle_routing

#endif

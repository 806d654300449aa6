#ifndef EXAMPLES_LOT_SIZING_PLAN_PRICING_H
#define EXAMPLES_LOT_SIZING_PLAN_PRICING_H

#include <cstddef>
#include <vector>

#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/plan.h"

namespace lot_sizing {

/**
 * Finds the cheapest plan of one item when capacity has a price.
 *
 * With the price g_t >= 0 of a unit of capacity in period t, a plan costs
 *
 *     sum_t (setup cost + g_t setup use) y_t + g_t (unit use) q_t + (holding cost) s_t.         (1)
 *
 * Without a limit on q there is an optimal plan that makes something only when the stock is empty
 * (H. M. Wagner, T. M. Whitin, Dynamic version of the economic lot size model, Management Science
 * 5 (1958)): each lot covers the demand of whole periods s, ..., e - 1. So plans are paths from 0
 * to T in a network with a node between any two periods and an arc (s, e) for each lot, whose cost
 * is found in constant time from sums over the demands:
 *
 *     F_e = min over s < e of F_s + (cost of a lot made in s for s, ..., e - 1).                (2)
 */
class PlanPricer {
 public:
  /// `item` has to outlive the pricer.
  explicit PlanPricer(const Item &item);

  /// The least cost (1) for the prices g, one for each period, and a plan that attains it.
  double cheapest(const std::vector<double> &g, Plan &plan);

 private:
  const Item &item_;
  std::vector<double> demand_sum_, moment_sum_;  ///< sums of d_t and of t d_t before a period
  std::vector<double> least_;                    ///< F of (2)
  std::vector<size_t> start_;                    ///< the s that attains it
};

}  // namespace lot_sizing

#endif

#ifndef EXAMPLES_LOT_SIZING_PLAN_SEARCH_H
#define EXAMPLES_LOT_SIZING_PLAN_SEARCH_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/plan.h"
#include "examples/lot_sizing/plan_pricing.h"

namespace lot_sizing {

/// A plan for the master problem.
struct Candidate {
  size_t item;
  double cost;
  double reduced_cost;
  Plan plan;
};

/// What a search found.
struct Findings {
  double lower_bound = 0.0;  ///< of the master problem, from any search so far
  std::vector<Candidate> candidates;
};

/// Prices all items at the prices g: the least cost of each and a plan that attains it. False when
/// the time was over before all were priced.
using PriceItems = std::function<bool(const std::vector<double> &g, std::vector<double> &costs,
                                      std::vector<Plan> &plans)>;

/**
 * Prices a round: the cheapest plan of every item at the master's prices and at prices nearby.
 *
 * For any prices g >= 0 the Lagrangian function
 *
 *     L(g) = sum_i (least cost of a plan of item i at g) - capacity sum_t g_t                   (1)
 *
 * is a lower bound, and (use of the cheapest plans in t) - capacity is a subgradient. The first
 * prices are the master's own; the next ones are each a step further along the subgradient, whose
 * length the distance to an upper bound gives (see polyak_step.h).
 *
 * Where the cheapest plans crowd into some periods these become dearer, and the next plans go
 * elsewhere: plans of one item that differ, and plans of different items that fit together. A plan
 * is a candidate when its reduced cost at the master's prices is negative.
 */
class PlanSearch {
 public:
  /// `instance` has to outlive the search; `price_vectors` counts the master's own, too.
  PlanSearch(const Instance &instance, int32_t price_vectors);

  /// Searches at the duals of the master: u_t <= 0 for each period, then v_i for each item. With
  /// `every_plan` reduced costs do not matter. `others` price in place of this thread.
  Findings search(const double *u, double upper_bound, bool every_plan,
                  const PriceItems &others = nullptr);

 private:
  bool price_items(const std::vector<double> &g);
  double evaluate(const std::vector<double> &g);
  void collect(const std::vector<double> &g, const double *v, bool every_plan,
               std::vector<Candidate> &candidates) const;

  const Instance &instance_;
  int32_t price_vectors_;
  std::vector<PlanPricer> pricers_;
  std::vector<double> costs_;        ///< the least ones at the last prices
  std::vector<Plan> plans_;          ///< that attain them
  std::vector<double> subgradient_;  ///< there
  double lower_bound_;
};

/// Keeps the `most` candidates of least reduced cost; 0 keeps all.
void keep_best(std::vector<Candidate> &candidates, int32_t most);

}  // namespace lot_sizing

#endif

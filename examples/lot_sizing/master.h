// Capacitated lot sizing with setup times, decomposed by items: formulation, pricing, bound. The
// page of the example, README.md beside this file, derives all three. The bound holds at all
// prices, not only at the master's: an answer is the best value that was seen at any
// (plan_search.h).
#ifndef EXAMPLES_LOT_SIZING_MASTER_H
#define EXAMPLES_LOT_SIZING_MASTER_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "block_pricing/block_pricer.hpp"
#include "examples/common/options.h"
#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/plan.h"
#include "examples/lot_sizing/plan_search.h"
#include "quarn_cpp/quarn.hpp"

namespace lot_sizing {

/// How the master problem is solved.
struct MasterSettings : examples::Options {
  int32_t price_vectors = 5;  ///< at which an answer looks for plans
};

/// A row for each period, then one for each item; and plans that fit into the capacity together,
/// where such are found.
quarn::Master make_master(const Instance &instance);

/// Duals of 0: the first call is one for the cheapest plans of all.
std::vector<double> first_duals(const Instance &instance);

/// Prices plans.
class Oracle {
 public:
  /// `instance` has to outlive the oracle. The master is one of make_master, or goes on from one.
  /// `pricer` prices PlanBlocks; without one this thread prices.
  Oracle(const Instance &instance, const quarn::Master &master, const MasterSettings &settings,
         quarn::BlockPricer *pricer = nullptr);

  quarn::Answer operator()(const quarn::Duals &duals, quarn::Columns &columns);

 private:
  const Instance &instance_;
  std::vector<quarn::Row> rows_;
  int32_t most_;
  quarn::BlockPricer *pricer_;
  double first_cost_;  ///< of the plans that fit; 0 when there are none
  PlanSearch search_;
};

}  // namespace lot_sizing

#endif

// Capacitated lot sizing with setup times, decomposed by items. The page of the example, README.md
// beside this file, derives the master problem, its pricing and the lower bound, which holds at all
// prices, not only at the master's: the oracle answers with the best value that it has seen at any
// (plan_search.h).
#ifndef EXAMPLES_LOT_SIZING_PLAN_ORACLE_H
#define EXAMPLES_LOT_SIZING_PLAN_ORACLE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/master.h"
#include "examples/lot_sizing/plan.h"
#include "examples/lot_sizing/plan_search.h"

namespace lot_sizing {

examples::MasterRows make_rows(const Instance &instance);

/// Prices plans; the tag of a column is its item, from 0.
class PlanOracle : public examples::Oracle {
 public:
  /// `instance` has to outlive the oracle.
  PlanOracle(const Instance &instance, const MasterSettings &settings);

  /// To be called once, before the run: keeps all columns.
  void prepare(QUARN_env &env) const;

  examples::Answer price(QUARN_env &env) override;

 private:
  void add(examples::ColumnBatch &batch, size_t i, double cost, const Plan &plan) const;
  double add_first_plans(QUARN_env &env) const;

  const Instance &instance_;
  int32_t most_;
  PlanSearch search_;
};

}  // namespace lot_sizing

#endif

/**
 * Capacitated lot sizing with setup times, decomposed by items.
 *
 * Items i share a machine with the same capacity C in every period t = 1, ..., T. A column is a
 * production plan p of one item for the whole horizon, with cost c_p (setups and stock) and the
 * capacity w_tp that it takes in each period. Master problem and duals:
 *
 *     min  sum_p c_p x_p
 *     s.t. sum_p w_tp x_p <= C          for every period t       (u_t <= 0, linking rows)
 *          sum_{p of i} x_p = 1         for every item i         (v_i, further rows)
 *          x >= 0
 *
 * The reduced cost of a plan of item i is c_p - sum_t u_t w_tp - v_i: with -u_t as the price of
 * capacity, it is what the plan costs in all less v_i. Pricing is a lot sizing problem without a
 * limit on production for each item, which a dynamic program solves (see plan_pricing.h).
 *
 * With z_i(u) the least cost of a plan of item i at u, (u, z(u)) is a feasible dual solution, so
 *
 *     C sum_t u_t + sum_i z_i(u)  <=  the master's value     for every u <= 0.
 *
 * The bound holds at all prices, not only at the master's: the oracle answers with the best value
 * that it has seen at any (see plan_search.h).
 */
#ifndef EXAMPLES_LOT_SIZING_PLAN_ORACLE_H
#define EXAMPLES_LOT_SIZING_PLAN_ORACLE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/plan.h"
#include "examples/lot_sizing/plan_search.h"

namespace lot_sizing {

/// How the master problem is solved.
struct MasterSettings : examples::Options {
  int32_t price_vectors = 5;  ///< at which an answer looks for plans
};

examples::MasterRows make_rows(const Instance &instance);

/// Duals of 0: the oracle's first call is one for the cheapest plans of all.
std::vector<double> first_duals(const Instance &instance);

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

/**
 * Linear multicommodity flow by column generation.
 *
 * Every commodity k is a demand q_k from an origin to a destination. The commodities are grouped
 * into blocks: one commodity each, those of one origin, or all in one. A column p of block b sends
 * all of the block's demands along one path each (or leaves them unserved, at a cost for each
 * unit); it costs c_p and puts f_ap on arc a. The master problem shares out the capacities,
 *
 *     min  sum_p c_p x_p
 *     s.t. sum_p f_ap x_p <= capacity_a       for every arc a,            dual u_a <= 0
 *          sum_{p of b} x_p = 1               for every block b,          dual v_b              (1)
 *          x_p >= 0,
 *
 * and convex combinations of columns are all ways to split demands over paths.
 *
 * A column's cost is a sum over its paths' arcs, so its reduced cost is one too, at raised prices:
 *
 *     c_p - sum_a u_a f_ap - v_b = sum_{k in b} q_k * sum over arcs a of k's path (cost_a - u_a)
 *                                  - v_b.                                                       (2)
 *
 * With lengths cost_a - u_a >= 0 the least one takes a shortest path for every commodity of the
 * block, all those of one origin from one tree of Dijkstra's algorithm: pricing is exact.
 *
 * Let l_b be the least first part of (2) in block b. Any solution of (1), priced at any u <= 0, has
 *
 *     c'x >= c'x - sum_a u_a (sum_p f_ap x_p - capacity_a) >= sum_b l_b + sum_a capacity_a u_a, (3)
 *
 * the Lagrangian bound. The right-hand sides of the convexity rows are 1, so RHS'u over all rows is
 * sum_a capacity_a u_a + sum_b v_b, and what remains to (3) is the sum of the least reduced costs.
 *
 * Rows are made when they are needed. A block's flow on an arc is at most the largest f_ap of its
 * columns; as long as these add up to no more than the capacity, no solution of the restricted
 * master problem violates the arc's row, which may as well be left out: the value is the same and 0
 * is the row's dual. Most arcs never need their row.
 */
#ifndef EXAMPLES_MULTICOMMODITY_FLOW_FLOW_ORACLE_H
#define EXAMPLES_MULTICOMMODITY_FLOW_FLOW_ORACLE_H

#include <cstdint>
#include <vector>

#include "examples/common/master_run.h"
#include "examples/multicommodity_flow/flow_columns.h"
#include "examples/multicommodity_flow/flow_router.h"
#include "examples/multicommodity_flow/network.h"

namespace multicommodity_flow {

/// How the oracle works.
struct OracleSettings {
  Grouping grouping = Grouping::kCommodity;
  bool all_rows = false;         ///< a row for every arc from the start
  int32_t first_passes = 8;      ///< of FlowRouter::negotiate, for the first columns
  int32_t columns_per_call = 0;  ///< most columns of an answer; 0: one for each block that has one
};

/// The value of examples::Options::divisor that a grouping runs with unless another is asked for.
double default_divisor(Grouping grouping);

/// Prices (1), adding rows and columns.
class FlowOracle : public examples::Oracle {
 public:
  /// `network` has to outlive the oracle. Where everything has to be sent, all rows are there from
  /// the start: only then do they have columns of the dual box, which let the first restricted
  /// master problems overload arcs.
  FlowOracle(const Network &network, const OracleSettings &settings);

  /// The rows to begin with. To be called once, before the run.
  examples::MasterRows rows();

  /// To be called once, before the run: keeps all columns, and looks for no duplicates.
  void prepare(QUARN_env &env) const;

  /// Duals for MasterRun that make the run begin with a call at u = 0, v = 0, which makes the first
  /// columns and a first bound.
  std::vector<double> first_duals() const;

  examples::Answer price(QUARN_env &env) override;

  /// Capacity rows made so far.
  int32_t row_count() const { return static_cast<int32_t>(row_arcs_.size()); }

  /// The arc of capacity row `row`, from 0.
  int32_t arc_of_row(int32_t row) const { return row_arcs_[static_cast<size_t>(row)]; }

 private:
  double first_columns();
  double priced_columns(const QUARN_env &env);
  void add_missing_rows(QUARN_env &env, int32_t known);
  void send_columns(QUARN_env &env, int32_t known) const;

  const Network &network_;
  OracleSettings settings_;
  FlowRouter router_;
  FlowColumns columns_;            ///< in the order of the restricted master problem
  std::vector<int32_t> row_of_;    ///< of each arc, from 0; -1 for none
  std::vector<int32_t> row_arcs_;  ///< the arc of each row
};

}  // namespace multicommodity_flow

#endif

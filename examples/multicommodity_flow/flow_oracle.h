// Linear multicommodity flow. The page of the example, README.md beside this file, derives the
// master problem (1), the reduced cost (2), the lower bound (3), and why a row is left out for as
// long as no solution can violate it.
#ifndef EXAMPLES_MULTICOMMODITY_FLOW_FLOW_ORACLE_H
#define EXAMPLES_MULTICOMMODITY_FLOW_FLOW_ORACLE_H

#include <cstdint>
#include <vector>

#include "examples/common/master_run.h"
#include "examples/multicommodity_flow/flow_columns.h"
#include "examples/multicommodity_flow/flow_router.h"
#include "examples/multicommodity_flow/master.h"
#include "examples/multicommodity_flow/network.h"

namespace multicommodity_flow {

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

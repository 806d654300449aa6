// Linear multicommodity flow: formulation, pricing, bound. The page of the example, README.md
// beside this file, derives the master problem (1), the reduced cost (2), the lower bound (3), and
// why a row is left out for as long as no solution can violate it.
#ifndef EXAMPLES_MULTICOMMODITY_FLOW_MASTER_H
#define EXAMPLES_MULTICOMMODITY_FLOW_MASTER_H

#include <cstdint>
#include <utility>
#include <vector>

#include "block_pricing/block_pricer.hpp"
#include "examples/common/master_solve.h"
#include "examples/multicommodity_flow/flow_columns.h"
#include "examples/multicommodity_flow/flow_router.h"
#include "examples/multicommodity_flow/network.h"
#include "quarn_cpp/quarn.hpp"

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

/// A row for each block, and with `all_rows`, or where everything has to be sent, one for each arc;
/// otherwise the columns that leave a block unserved.
quarn::Master make_master(const Network &network, const OracleSettings &settings);

/// Duals of 0 for the first call, which makes good columns to begin with and a first bound.
std::vector<double> first_duals(const quarn::Master &master);

/// The columns' objects are their FlowColumns.
examples::ColumnText column_text();

/// Prices (1), adding rows and columns.
class Oracle {
 public:
  /// `network` and `master` have to outlive the oracle. The master is one of make_master, or goes
  /// on from one. `pricer` prices OriginBlocks; without one this thread prices.
  Oracle(const Network &network, const OracleSettings &settings, quarn::Master &master,
         quarn::BlockPricer *pricer = nullptr);

  quarn::Answer operator()(const quarn::Duals &duals, quarn::Columns &columns);

 private:
  quarn::Answer first_columns();
  quarn::Answer price(const quarn::Duals &duals);
  std::vector<RoutedBlock> route(const quarn::Duals &duals, const std::vector<double> &lengths);
  std::vector<std::pair<double, RoutedBlock>> routed_by_reduced_cost(const quarn::Duals &duals);
  void add_missing_rows();
  void send_columns(quarn::Columns &columns);

  const Network &network_;
  OracleSettings settings_;
  quarn::Master &master_;
  quarn::BlockPricer *pricer_;
  FlowRouter router_;
  FlowColumns columns_;
  std::vector<quarn::Column> handles_;  ///< of the columns in the master; empty: its equal is
  std::vector<quarn::Row> arc_rows_;    ///< of each arc, empty where there is none
  std::vector<quarn::Row> block_rows_;
};

/// The arcs that have a row in the master, with their rows.
std::vector<std::pair<int32_t, quarn::Row>> rows_of_arcs(const quarn::Master &master);

}  // namespace multicommodity_flow

#endif

#include "examples/multicommodity_flow/flow_oracle.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "examples/common/column_batch.h"
#include "examples/common/row_batch.h"

namespace multicommodity_flow {

using examples::Answer;
using examples::ColumnBatch;

// Reduced costs are differences of numbers of the size of v; below this share of it they are
// rounding.
constexpr double kAccuracy = 1e-12;
FlowOracle::FlowOracle(const Network &network, const OracleSettings &settings)
    : network_(network),
      settings_(settings),
      router_(network, settings.grouping),
      columns_(network.arc_count()),
      row_of_(network.arcs.size(), -1) {
  if (network.unserved_cost == 0) settings_.all_rows = true;
}

void FlowOracle::prepare(QUARN_env &env) const {
  // The oracle knows its columns by their place, and never repeats one.
  QUARN_set_max_number_columns(&env, std::numeric_limits<int32_t>::max());
  QUARN_set_column_elimination(&env, 0);
}

examples::MasterRows FlowOracle::rows() {
  examples::MasterRows rows;
  for (int32_t a = 0; settings_.all_rows && a < network_.arc_count(); ++a) {
    const auto arc = static_cast<size_t>(a);
    row_of_[arc] = a;
    row_arcs_.push_back(a);
    rows.add_linking_row(examples::kAtMost, static_cast<double>(network_.arcs[arc].capacity));
  }
  for (int32_t b = 0; b < router_.blocks(); ++b) rows.add_further_row(examples::kEqual, 1.0);
  return rows;
}

std::vector<double> FlowOracle::first_duals() const {
  return std::vector<double>(row_arcs_.size() + static_cast<size_t>(router_.blocks()), 0.0);
}

/// Makes the columns to begin with; returns (3) for u = 0.
double FlowOracle::first_columns() {
  double bound = 0.0;
  for (FlowColumn &column : router_.unserved()) columns_.add(std::move(column));
  for (RoutedBlock &block : router_.route(router_.arc_costs())) {
    bound += block.length;
    columns_.add(std::move(block.column));
  }
  router_.negotiate(settings_.first_passes,
                    [this](FlowColumn column) { columns_.add(std::move(column)); });
  return bound;
}

/// Makes the columns of negative reduced cost; returns the sum of the blocks' least reduced costs.
double FlowOracle::priced_columns(const QUARN_env &env) {
  std::vector<double> lengths = router_.arc_costs();
  for (size_t r = 0; r < row_arcs_.size(); ++r) {
    lengths[static_cast<size_t>(row_arcs_[r])] -= std::min(env.u[r], 0.0);
  }
  std::vector<RoutedBlock> routed = router_.route(lengths);
  const double *v = env.u + env.m;
  const auto reduced_cost = [v](const RoutedBlock &block) {
    return block.length - v[block.column.block];
  };
  std::sort(routed.begin(), routed.end(), [&](const RoutedBlock &x, const RoutedBlock &y) {
    return reduced_cost(x) < reduced_cost(y);
  });
  double sum = 0.0;
  int32_t added = 0;
  for (RoutedBlock &block : routed) {
    const double least = reduced_cost(block);
    sum += least;
    const bool full = settings_.columns_per_call > 0 && added == settings_.columns_per_call;
    if (full || least >= -kAccuracy * block.length) continue;
    if (columns_.add(std::move(block.column))) ++added;
  }
  return sum;
}

/// Adds the rows that became necessary, with their entries in the first `known` columns.
void FlowOracle::add_missing_rows(QUARN_env &env, int32_t known) {
  examples::RowBatch batch;
  const int32_t first = row_count();
  for (int32_t a = 0; a < network_.arc_count(); ++a) {
    const auto capacity = static_cast<double>(network_.arcs[static_cast<size_t>(a)].capacity);
    if (row_of_[static_cast<size_t>(a)] >= 0 || columns_.potential_load(a) <= capacity) continue;
    row_of_[static_cast<size_t>(a)] = row_count();
    row_arcs_.push_back(a);
    batch.add_row(examples::kAtMost, capacity);
  }
  for (int32_t j = 0; j < known; ++j) {
    for (const ArcFlow &flow : columns_[j].flow) {
      const int32_t row = row_of_[static_cast<size_t>(flow.arc)] - first;
      if (row >= 0) batch.add_entry(row, j, flow.amount);
    }
  }
  batch.send(env);
}

/// Sends all columns but the first `known` to the restricted master problem.
void FlowOracle::send_columns(QUARN_env &env, int32_t known) const {
  ColumnBatch batch(*env.G);
  for (int32_t j = known; j < columns_.size(); ++j) {
    const FlowColumn &column = columns_[j];
    batch.start_column(column.cost, j);
    for (const ArcFlow &flow : column.flow) {
      const int32_t row = row_of_[static_cast<size_t>(flow.arc)];
      if (row >= 0) batch.add_entry(row, flow.amount);
    }
    batch.add_entry(env.m + column.block, 1.0);
  }
  if (batch.size() > 0) batch.send(env);
}

Answer FlowOracle::price(QUARN_env &env) {
  const int32_t known = columns_.size();
  const double lb_term = known == 0 ? first_columns() : priced_columns(env);
  add_missing_rows(env, known);
  send_columns(env, known);
  return {1, lb_term};
}

}  // namespace multicommodity_flow

#include "benchmarks/compare_simplex.h"

#ifdef QUARN_HAVE_CLP
#include <ClpSimplex.hpp>
#endif
#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace benchmarks {

double SimplexMaster::rhs(size_t row) const {
  const quarn::Bounds sides = master_.range(rows_[row]);
  return sides.lower > -quarn::kInfinity ? sides.lower : sides.upper;
}

#ifdef QUARN_HAVE_CLP

// A price of ten times what any first column pays for a unit of a row is hardly ever attained.
constexpr double kPenaltyFactor = 10.0;
// What is left of a column at weight 0 by Clp's primal tolerance, with room.
constexpr double kLeastWeight = 1e-6;

struct SimplexMaster::Clp {
  ClpSimplex model;
};

bool simplex_available() { return true; }

SimplexMaster::SimplexMaster(const quarn::Master &master, double penalty)
    : master_(master), widest_(penalty), clp_(std::make_unique<Clp>()) {
  clp_->model.setLogLevel(0);
}

SimplexMaster::~SimplexMaster() = default;

/// What the columns pay at most for a unit of a linking row.
void SimplexMaster::set_penalty() {
  double dearest = 0.0;
  for (const SimplexColumn &column : columns_) {
    for (const auto &[row, value] : column.entries) {
      if (rows_[static_cast<size_t>(row)].is_block()) continue;
      dearest = std::max(dearest, std::fabs(column.cost) / std::fabs(value));
    }
  }
  penalty_ = kPenaltyFactor * (dearest > 0.0 ? dearest : 1.0);
}

/// New rows, from the last known one on, with their entries in the columns that are known.
void SimplexMaster::append_rows(const std::vector<quarn::Row> &rows) {
  const size_t first = rows_.size();
  if (rows.size() == first) return;
  rows_ = rows;
  std::vector<std::vector<int>> columns(rows.size() - first);
  std::vector<std::vector<double>> values(rows.size() - first);
  for (size_t j = 0; j < columns_.size(); ++j) {
    for (const auto &[row, value] : master_.entries(handles_[j])) {
      const auto i = static_cast<size_t>(row.index());
      if (i < first) continue;
      columns_[j].entries.push_back({row.index(), value});
      columns[i - first].push_back(columns_[j].clp);
      values[i - first].push_back(value);
    }
  }
  for (size_t i = first; i < rows.size(); ++i) {
    const quarn::Bounds sides = master_.range(rows[i]);
    const std::vector<int> &named = columns[i - first];
    clp_->model.addRow(static_cast<int>(named.size()), named.data(), values[i - first].data(),
                       sides.lower > -quarn::kInfinity ? sides.lower : -COIN_DBL_MAX,
                       sides.upper < quarn::kInfinity ? sides.upper : COIN_DBL_MAX);
  }
}

/// In linking rows, for what is missing and for what is too much.
void SimplexMaster::append_reliefs() {
  for (size_t i = 0; i < rows_.size(); ++i) {
    if (rows_[i].is_block()) continue;
    const quarn::Bounds sides = master_.range(rows_[i]);
    const quarn::Bounds box = master_.dual_bounds(rows_[i]);
    for (const double unit : {1.0, -1.0}) {
      const double bound = unit > 0.0 ? box.upper : -box.lower;
      if (unit > 0.0 ? sides.lower <= -quarn::kInfinity : sides.upper >= quarn::kInfinity) continue;
      const double cost = bound < quarn::kInfinity ? bound : widest_;
      const int row = static_cast<int>(i);
      reliefs_.push_back({clp_->model.numberColumns(), cost});
      clp_->model.addColumn(1, &row, &unit, 0.0, COIN_DBL_MAX, std::min(cost, penalty_));
    }
  }
}

void SimplexMaster::append_columns(const std::vector<quarn::Column> &columns) {
  std::vector<CoinBigIndex> starts = {0};
  std::vector<int> rows;
  std::vector<double> values, costs;
  const size_t first = columns_.size();
  for (size_t j = first; j < columns.size(); ++j) {
    SimplexColumn column = {columns[j].cost(), {}, 0};
    column.clp = clp_->model.numberColumns() + static_cast<int32_t>(j - first);
    for (const auto &[row, value] : master_.entries(columns[j])) {
      column.entries.push_back({row.index(), value});
      rows.push_back(row.index());
      values.push_back(value);
    }
    starts.push_back(static_cast<CoinBigIndex>(rows.size()));
    costs.push_back(column.cost);
    columns_.push_back(std::move(column));
  }
  handles_ = columns;
  const std::vector<double> low(costs.size(), 0.0), high(costs.size(), COIN_DBL_MAX);
  clp_->model.addColumns(static_cast<int>(costs.size()), low.data(), high.data(), costs.data(),
                         starts.data(), rows.data(), values.data());
}

void SimplexMaster::follow() {
  append_rows(master_.rows());
  append_columns(master_.columns());
}

bool SimplexMaster::solve() {
  if (penalty_ == 0.0) {
    set_penalty();
    append_reliefs();
  }
  clp_->model.primal(1);
  if (clp_->model.status() != 0) return false;
  read_solution();
  return true;
}

void SimplexMaster::read_solution() {
  const ClpSimplex &model = clp_->model;
  value_ = model.objectiveValue();
  duals_.assign(model.getRowPrice(), model.getRowPrice() + rows_.size());
  column_sum_ = 0.0;
  penalised_ = false;
  for (const SimplexColumn &column : columns_) column_sum_ += model.getColSolution()[column.clp];
  for (const Relief &relief : reliefs_) {
    const bool in_use = model.getColSolution()[relief.clp] > kLeastWeight;
    penalised_ = penalised_ || (in_use && relief.cost > penalty_);
  }
}

void SimplexMaster::raise_penalty() {
  penalty_ *= kPenaltyFactor;
  for (const Relief &relief : reliefs_) {
    clp_->model.setObjectiveCoefficient(relief.clp, std::min(relief.cost, penalty_));
  }
}

#else

struct SimplexMaster::Clp {};

bool simplex_available() { return false; }

SimplexMaster::SimplexMaster(const quarn::Master &master, double penalty)
    : master_(master), widest_(penalty) {
  throw std::logic_error("this build has no Clp; ask simplex_available first");
}

SimplexMaster::~SimplexMaster() = default;

void SimplexMaster::follow() {}

bool SimplexMaster::solve() { return false; }

void SimplexMaster::raise_penalty() {}

#endif

}  // namespace benchmarks

#include "benchmarks/compare_simplex.h"

#ifdef QUARN_HAVE_CLP
#include <ClpSimplex.hpp>
#endif
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "examples/common/master_run.h"

namespace benchmarks {

#ifdef QUARN_HAVE_CLP

// A price of ten times what any first column pays for a unit of a row is hardly ever attained.
constexpr double kPenaltyFactor = 10.0;
// What is left of a column at weight 0 by Clp's primal tolerance, with room.
constexpr double kLeastWeight = 1e-6;

struct SimplexMaster::Clp {
  ClpSimplex model;
};

bool simplex_available() { return true; }

SimplexMaster::SimplexMaster(QUARN_env &env) : env_(env), clp_(std::make_unique<Clp>()) {
  clp_->model.setLogLevel(0);
}

SimplexMaster::~SimplexMaster() = default;

/// Column j of the record, from 0: calls visit(row, element) for its entries, rows from 0.
template <typename Visit>
static void for_each_entry(const QUARN_SMatrix_CW &G, int32_t j, const Visit &visit) {
  for (int32_t t = G.col_start[j] - 1; t < G.col_start[j + 1] - 1; ++t)
    visit(G.rw[t] - 1, G.elt[t]);
}

static double cost_of(const QUARN_SMatrix_CW &G, int32_t j) {
  double cost = 0.0;
  for_each_entry(G, j, [&](int32_t row, double element) {
    if (row == G.m - 1) cost = element;
  });
  return cost;
}

/// What the generated columns pay at most for a unit of a linking row.
void SimplexMaster::set_penalty() {
  const QUARN_SMatrix_CW &G = *env_.G;
  double dearest = 0.0;
  for (int32_t j = env_.ncols_aux; j < G.n; ++j) {
    const double column_cost = std::fabs(cost_of(G, j));
    for_each_entry(G, j, [&](int32_t row, double element) {
      if (row < env_.m) dearest = std::max(dearest, column_cost / std::fabs(element));
    });
  }
  penalty_ = kPenaltyFactor * (dearest > 0.0 ? dearest : 1.0);
}

/// The cost of a column as Clp gets it.
double SimplexMaster::cost(int32_t j) const {
  const double own = cost_of(*env_.G, j);
  return j < env_.ncols_aux ? std::min(own, penalty_) : own;
}

/// A column of the box that has no negative cost and only does what the slack of its row does.
bool SimplexMaster::is_needless(int32_t j) const {
  if (j >= env_.ncols_box || cost_of(*env_.G, j) < 0.0) return false;
  bool needless = false;
  for_each_entry(*env_.G, j, [&](int32_t row, double element) {
    if (row >= env_.m) return;
    const int32_t type = env_.row_type[row];
    needless = (type == examples::kAtLeast && element < 0.0) ||
               (type == examples::kAtMost && element > 0.0);
  });
  return needless;
}

/// The record puts new linking rows behind those that are there; Clp has them at the end.
void SimplexMaster::append_rows() {
  ClpSimplex &model = clp_->model;
  const bool first = clp_row_.empty();
  const int32_t from = first ? 0 : linking_rows_;
  const int32_t to = first ? env_.G->m - 1 : env_.m;
  std::vector<int32_t> fresh;
  std::vector<double> low, high;
  for (int32_t row = from; row < to; ++row) {
    fresh.push_back(model.numberRows() + row - from);
    low.push_back(env_.row_type[row] == examples::kAtMost ? -COIN_DBL_MAX : env_.RHS[row]);
    high.push_back(env_.row_type[row] == examples::kAtLeast ? COIN_DBL_MAX : env_.RHS[row]);
  }
  clp_row_.insert(clp_row_.begin() + from, fresh.begin(), fresh.end());
  linking_rows_ = env_.m;
  if (fresh.empty()) return;

  std::vector<std::vector<int>> columns(fresh.size());
  std::vector<std::vector<double>> elements(fresh.size());
  for (size_t j = 0; j < clp_column_.size(); ++j) {
    for_each_entry(*env_.G, static_cast<int32_t>(j), [&](int32_t row, double element) {
      if (row < from || row >= to || clp_column_[j] < 0) return;
      columns[static_cast<size_t>(row - from)].push_back(clp_column_[j]);
      elements[static_cast<size_t>(row - from)].push_back(element);
    });
  }
  for (size_t r = 0; r < fresh.size(); ++r) {
    model.addRow(static_cast<int>(columns[r].size()), columns[r].data(), elements[r].data(), low[r],
                 high[r]);
  }
}

void SimplexMaster::append_columns() {
  std::vector<CoinBigIndex> starts = {0};
  std::vector<int> rows;
  std::vector<double> elements, costs, low, high;
  int32_t next = clp_->model.numberColumns();
  for (auto j = static_cast<int32_t>(clp_column_.size()); j < env_.G->n; ++j) {
    const bool needless = is_needless(j);
    clp_column_.push_back(needless ? -1 : next);
    if (needless) continue;
    ++next;
    for_each_entry(*env_.G, j, [&](int32_t row, double element) {
      if (row == env_.G->m - 1) return;
      rows.push_back(clp_row_[static_cast<size_t>(row)]);
      elements.push_back(element);
    });
    starts.push_back(static_cast<CoinBigIndex>(rows.size()));
    costs.push_back(cost(j));
    low.push_back(0.0);
    high.push_back(COIN_DBL_MAX);
  }
  clp_->model.addColumns(static_cast<int>(costs.size()), low.data(), high.data(), costs.data(),
                         starts.data(), rows.data(), elements.data());
}

bool SimplexMaster::solve() {
  if (penalty_ == 0.0) set_penalty();
  append_rows();
  append_columns();
  clp_->model.primal(1);
  if (clp_->model.status() != 0) return false;
  read_solution();
  return true;
}

void SimplexMaster::read_solution() {
  const ClpSimplex &model = clp_->model;
  value_ = model.objectiveValue();
  duals_.clear();
  for (const int32_t row : clp_row_) duals_.push_back(model.getRowPrice()[row]);
  column_sum_ = 0.0;
  penalised_ = false;
  for (int32_t j = 0; j < env_.G->n; ++j) {
    const int32_t column = clp_column_[static_cast<size_t>(j)];
    if (column < 0) continue;
    const double weight = model.getColSolution()[column];
    if (j >= env_.ncols_aux) {
      column_sum_ += weight;
    } else if (weight > kLeastWeight && cost_of(*env_.G, j) > penalty_) {
      penalised_ = true;
    }
  }
}

void SimplexMaster::raise_penalty() {
  penalty_ *= kPenaltyFactor;
  for (int32_t j = 0; j < env_.ncols_aux; ++j) {
    const int32_t column = clp_column_[static_cast<size_t>(j)];
    if (column >= 0) clp_->model.setObjectiveCoefficient(column, cost(j));
  }
}

#else

struct SimplexMaster::Clp {};

bool simplex_available() { return false; }

SimplexMaster::SimplexMaster(QUARN_env &env) : env_(env) {
  throw std::logic_error("this build has no Clp; ask simplex_available first");
}

SimplexMaster::~SimplexMaster() = default;

bool SimplexMaster::solve() { return false; }

void SimplexMaster::raise_penalty() {}

#endif

}  // namespace benchmarks

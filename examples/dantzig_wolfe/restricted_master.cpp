#include "examples/dantzig_wolfe/restricted_master.h"

#include <algorithm>
#include <cmath>
#include <coin/CbcHeuristic.hpp>
#include <coin/CbcModel.hpp>
#include <coin/CglGomory.hpp>
#include <coin/CglKnapsackCover.hpp>
#include <coin/OsiClpSolverInterface.hpp>

#include "examples/dantzig_wolfe/block_program.h"

namespace dantzig_wolfe {

static size_t at(int32_t index) { return static_cast<size_t>(index); }

RestrictedMaster::RestrictedMaster(const Reformulation &reformulation)
    : reformulation_(reformulation) {
  simplex_.setLogLevel(0);
  const std::vector<LinkingRow> &rows = reformulation.rows();
  const std::vector<Block> &blocks = reformulation.blocks();
  simplex_.resize(static_cast<int>(rows.size() + blocks.size()), 0);
  for (size_t i = 0; i < rows.size(); ++i) {
    simplex_.setRowBounds(static_cast<int>(i), coin_bound(rows[i].lower),
                          coin_bound(rows[i].upper));
  }
  for (size_t k = 0; k < blocks.size(); ++k) {
    simplex_.setRowBounds(static_cast<int>(rows.size() + k), blocks[k].times(), blocks[k].times());
  }
}

Coefficients RestrictedMaster::coefficients_of(const MasterColumn &column) const {
  if (column.kind == MasterColumn::Kind::outside) {
    const OutsideColumn &outside = reformulation_.outside()[column.owner];
    return {outside.cost, outside.entries};
  }
  Coefficients found = coefficients(reformulation_.blocks()[column.owner], column);
  if (column.kind == MasterColumn::Kind::point) {
    const size_t row = reformulation_.rows().size() + column.owner;
    found.entries.push_back({static_cast<int32_t>(row), 1.0});
  }
  return found;
}

bool RestrictedMaster::add(const MasterColumn &column) {
  if (!known_.insert(to_text(column)).second) return false;
  const Coefficients found = coefficients_of(column);
  for (const Entry &entry : found.entries) {
    new_rows_.push_back(entry.index);
    new_values_.push_back(entry.value);
  }
  new_starts_.push_back(static_cast<CoinBigIndex>(new_rows_.size()));
  new_costs_.push_back(found.cost);
  new_uppers_.push_back(coin_bound(column.kind == MasterColumn::Kind::outside
                                       ? reformulation_.outside()[column.owner].upper
                                       : kInfinite));
  columns_.push_back(column);
  return true;
}

/// All at once: each call copies the matrix.
void RestrictedMaster::hand_over_columns() {
  const std::vector<double> zeros(new_costs_.size(), 0.0);
  if (!new_costs_.empty()) {
    simplex_.addColumns(static_cast<int>(new_costs_.size()), zeros.data(), new_uppers_.data(),
                        new_costs_.data(), new_starts_.data(), new_rows_.data(),
                        new_values_.data());
  }
  new_starts_ = {0};
  new_rows_.clear();
  new_values_.clear();
  new_costs_.clear();
  new_uppers_.clear();
}

bool RestrictedMaster::solve() {
  hand_over_columns();
  simplex_.primal(1);
  if (simplex_.status() != kOptimal) {
    simplex_.allSlackBasis(true);
    simplex_.primal();
  }
  values_.resize(columns_.size(), 0.0);
  if (simplex_.status() != kOptimal) return false;
  const double *const x = simplex_.primalColumnSolution();
  values_.assign(x, x + simplex_.numberColumns());
  return true;
}

std::vector<MasterColumn> RestrictedMaster::columns_within(double reduced_cost) const {
  const double *const reduced = simplex_.dualColumnSolution();
  std::vector<MasterColumn> result;
  const auto solved = static_cast<size_t>(simplex_.numberColumns());
  for (size_t k = 0; k < columns_.size(); ++k) {
    if (k >= solved || reduced[k] <= reduced_cost) result.push_back(columns_[k]);
  }
  return result;
}

std::vector<double> RestrictedMaster::master_duals() const {
  const double *const duals = simplex_.dualRowSolution();
  const double sign = reformulation_.model().sign();
  const std::vector<LinkingRow> &rows = reformulation_.rows();
  std::vector<double> result(reformulation_.master().rows().size(), 0.0);
  for (size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].master >= 0) result[at(rows[i].master)] = sign * duals[i];
  }
  for (size_t k = 0; k < reformulation_.blocks().size(); ++k) {
    result[at(reformulation_.convexity(k))] = sign * duals[rows.size() + k];
  }
  // The points of the first block carry the constant in the master.
  result[at(reformulation_.convexity(0))] +=
      sign * reformulation_.constant() / reformulation_.blocks()[0].times();
  return result;
}

RestrictedMaster::Use RestrictedMaster::use_of(const MasterColumn &column) const {
  if (column.kind == MasterColumn::Kind::outside) {
    const std::vector<OutsideVariable> &parts = reformulation_.outside()[column.owner].parts;
    const bool whole = std::all_of(parts.begin(), parts.end(), [&](const OutsideVariable &part) {
      return reformulation_.model().variables[at(part.variable)].integer;
    });
    return whole ? Use::whole : Use::continuous;
  }
  const std::vector<BlockVariable> &variables = reformulation_.blocks()[column.owner].variables;
  const bool integer = std::any_of(variables.begin(), variables.end(),
                                   [](const BlockVariable &variable) { return variable.integer; });
  if (!integer) return Use::continuous;
  bool touches = false;
  for (const Entry &entry : column.values) {
    if (!variables[at(entry.index)].integer) continue;
    if (entry.value != std::round(entry.value)) return Use::none;
    touches = true;
  }
  return column.kind == MasterColumn::Kind::ray && !touches ? Use::continuous : Use::whole;
}

std::vector<double> RestrictedMaster::solve_in_integers(double seconds) const {
  OsiClpSolverInterface solver;
  solver.setLogLevel(0);
  solver.messageHandler()->setLogLevel(0);
  solver.loadProblem(*simplex_.matrix(), simplex_.columnLower(), simplex_.columnUpper(),
                     simplex_.objective(), simplex_.rowLower(), simplex_.rowUpper());
  for (size_t k = 0; k < columns_.size(); ++k) {
    const Use use = use_of(columns_[k]);
    if (use == Use::whole) solver.setInteger(static_cast<int>(k));
    if (use == Use::none) solver.setColUpper(static_cast<int>(k), 0.0);
  }
  solver.initialSolve();
  if (!solver.isProvenOptimal()) return {};
  CbcModel cbc(solver);
  cbc.setLogLevel(0);
  cbc.solver()->messageHandler()->setLogLevel(0);
  CglGomory gomory;
  CglKnapsackCover cover;
  CbcRounding rounding(cbc);
  cbc.addCutGenerator(&gomory, -1, "Gomory");
  cbc.addCutGenerator(&cover, -1, "cover");
  cbc.addHeuristic(&rounding);
  cbc.setNumberStrong(0);  // as for blocks
  cbc.setNumberBeforeTrust(0);
  cbc.setUseElapsedTime(true);
  cbc.setMaximumSeconds(seconds);
  cbc.branchAndBound();
  if (cbc.bestSolution() == nullptr) return {};
  std::vector<double> values(cbc.bestSolution(), cbc.bestSolution() + cbc.getNumCols());
  for (size_t k = 0; k < values.size(); ++k) {
    if (solver.isInteger(static_cast<int>(k))) values[k] = std::round(values[k]);
  }
  return values;
}

}  // namespace dantzig_wolfe

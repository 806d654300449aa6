#include "examples/dantzig_wolfe/block_program.h"

#include <algorithm>
#include <cmath>
#include <coin/CoinFinite.hpp>
#include <memory>
#include <stdexcept>
#include <string>

namespace dantzig_wolfe {

double coin_bound(double value) {
  if (value >= kInfinite) return COIN_DBL_MAX;
  return value <= -kInfinite ? -COIN_DBL_MAX : value;
}

void append_row(const std::vector<Entry> &entries, CoinPackedMatrix &matrix) {
  std::vector<int> indices;
  std::vector<double> values;
  for (const Entry &entry : entries) {
    indices.push_back(entry.index);
    values.push_back(entry.value);
  }
  matrix.appendRow(static_cast<int>(indices.size()), indices.data(), values.data());
}

BlockProgram::BlockProgram(const Block &block) : matrix(false, 0.0, 0.0) {
  matrix.setDimensions(0, static_cast<int>(block.variables.size()));
  for (const BlockRow &row : block.rows) {
    append_row(row.entries, matrix);
    row_lower.push_back(coin_bound(row.lower));
    row_upper.push_back(coin_bound(row.upper));
  }
  for (const BlockVariable &variable : block.variables) {
    column_lower.push_back(coin_bound(variable.lower));
    column_upper.push_back(coin_bound(variable.upper));
    cost.push_back(variable.cost);
  }
}

ScaledCost::ScaledCost(const std::vector<double> &cost) : values_(cost) {
  double largest = 0.0;
  for (const double value : cost) largest = std::max(largest, std::fabs(value));
  if (largest == 0.0) return;
  factor_ = std::ldexp(1.0, 6 - std::ilogb(largest));
  for (double &value : values_) value *= factor_;
}

/// Without traces of rounding errors, which the solvers' tolerance leaves and which would make
/// columns nearly equal to others.
static std::vector<double> cleaned(std::vector<double> x) {
  constexpr double kTrace = 1e-9;
  for (double &value : x) {
    if (std::fabs(value - std::round(value)) < kTrace) value = std::round(value);
  }
  return x;
}

void go_to_start(ClpSimplex &simplex) {
  const std::vector<double> cost(simplex.objective(),
                                 simplex.objective() + simplex.numberColumns());
  std::fill_n(simplex.objective(), cost.size(), 0.0);
  simplex.primal();
  std::copy(cost.begin(), cost.end(), simplex.objective());
  if (simplex.status() != kOptimal) return;
  ClpSimplex own(simplex);
  own.primal(1);
  if (own.status() == kOptimal) simplex = own;
}

void solve_from_start(ClpSimplex &simplex) {
  simplex.primal(1);
  if (simplex.status() <= kDualInfeasible) return;
  simplex.allSlackBasis(true);
  simplex.primal();
  if (simplex.status() <= kDualInfeasible) return;
  throw std::runtime_error("Clp failed with status " + std::to_string(simplex.status()));
}

std::vector<double> point_of(const ClpSimplex &simplex) {
  const double *const x = simplex.primalColumnSolution();
  return cleaned(std::vector<double>(x, x + simplex.numberColumns()));
}

std::vector<double> unbounded_ray(const ClpSimplex &simplex) {
  const std::unique_ptr<double[]> found(simplex.unboundedRay());
  if (!found) throw std::runtime_error("Clp found no ray");
  std::vector<double> ray(found.get(), found.get() + simplex.numberColumns());
  double largest = 0.0;
  for (const double value : ray) largest = std::max(largest, std::fabs(value));
  for (double &value : ray) value /= largest;
  return cleaned(std::move(ray));
}

}  // namespace dantzig_wolfe

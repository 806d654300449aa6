#include "examples/dantzig_wolfe/relaxation.h"

#include <algorithm>
#include <cmath>
#include <coin/ClpSimplex.hpp>
#include <coin/CoinPackedMatrix.hpp>
#include <stdexcept>
#include <string>

#include "examples/dantzig_wolfe/block_program.h"

namespace dantzig_wolfe {

static void load(const Model &model, ClpSimplex &simplex) {
  CoinPackedMatrix matrix(false, 0.0, 0.0);
  matrix.setDimensions(0, static_cast<int>(model.variables.size()));
  std::vector<double> lower, upper, cost, row_lower, row_upper;
  for (const Constraint &row : model.rows) {
    append_row(row.entries, matrix);
    row_lower.push_back(coin_bound(row.lower));
    row_upper.push_back(coin_bound(row.upper));
  }
  for (const Variable &variable : model.variables) {
    lower.push_back(coin_bound(variable.lower));
    upper.push_back(coin_bound(variable.upper));
    cost.push_back(model.sign() * variable.cost);
  }
  simplex.setLogLevel(0);
  simplex.loadProblem(matrix, lower.data(), upper.data(), cost.data(), row_lower.data(),
                      row_upper.data());
}

/// From a point that satisfies the rows, where there is one: without it Clp takes some unbounded
/// programs for infeasible ones.
static void solve_in_two_phases(ClpSimplex &simplex) {
  const std::vector<double> cost(simplex.objective(),
                                 simplex.objective() + simplex.numberColumns());
  std::fill_n(simplex.objective(), cost.size(), 0.0);
  simplex.allSlackBasis(true);
  simplex.primal();
  std::copy(cost.begin(), cost.end(), simplex.objective());
  if (simplex.status() == kOptimal) simplex.primal(1);
}

static LinearSolution solve(const Model &model, ClpSimplex &simplex) {
  simplex.initialSolve();
  if (simplex.status() != kOptimal) solve_in_two_phases(simplex);
  LinearSolution solution;
  if (simplex.status() == kPrimalInfeasible) {
    solution.outcome = LinearSolution::Outcome::infeasible;
  } else if (simplex.status() == kDualInfeasible) {
    solution.outcome = LinearSolution::Outcome::unbounded;
  } else if (simplex.status() != kOptimal) {
    throw std::runtime_error("the relaxation: Clp failed with status " +
                             std::to_string(simplex.status()));
  } else {
    const double *const x = simplex.primalColumnSolution();
    const double *const duals = simplex.dualRowSolution();
    solution.x.assign(x, x + simplex.numberColumns());
    solution.duals.assign(duals, duals + simplex.numberRows());
    solution.value = model.objective(solution.x);
  }
  return solution;
}

LinearSolution solve_relaxation(const Model &model) {
  ClpSimplex simplex;
  load(model, simplex);
  return solve(model, simplex);
}

LinearSolution solve_with_integers_fixed(const Model &model, const std::vector<double> &x) {
  ClpSimplex simplex;
  load(model, simplex);
  for (size_t j = 0; j < x.size(); ++j) {
    if (!model.variables[j].integer) continue;
    simplex.setColumnBounds(static_cast<int>(j), std::round(x[j]), std::round(x[j]));
  }
  return solve(model, simplex);
}

}  // namespace dantzig_wolfe

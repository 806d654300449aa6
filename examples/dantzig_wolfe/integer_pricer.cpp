#include <algorithm>
#include <cmath>
#include <coin/CbcModel.hpp>
#include <coin/CglFlowCover.hpp>
#include <coin/CglGomory.hpp>
#include <coin/CglKnapsackCover.hpp>
#include <coin/CglMixedIntegerRounding2.hpp>
#include <coin/OsiClpSolverInterface.hpp>
#include <initializer_list>

#include "examples/dantzig_wolfe/block_pricer.h"
#include "examples/dantzig_wolfe/block_program.h"

namespace dantzig_wolfe {

namespace {

constexpr double kIntegral = 1e-6;  // Cbc's own tolerance
constexpr int kAtTheRoot = -99;     // how often Cbc is to ask for cuts: there only

/**
 * Branch and bound by Cbc behind a relaxation that starts from the optimal basis for the block's
 * own cost, so that the answer depends on the cost alone. When the relaxation is unbounded its ray
 * is one of the block, too: the numbers of the file are rational (R. R. Meyer, On the existence of
 * optimal solutions to integer and mixed-integer programming problems, Mathematical Programming 7
 * (1974)). Any point of the block goes with it.
 */
class IntegerPricer : public BlockPricer {
 public:
  IntegerPricer(const Block &block, const PricingLimits &limits);

  BlockSolution price(const std::vector<double> &cost) override;

  void set_bounds(int32_t variable, double lower, double upper) override {
    const auto j = static_cast<size_t>(variable);
    program_.column_lower[j] = coin_bound(lower);
    program_.column_upper[j] = coin_bound(upper);
    simplex_.setColumnBounds(variable, coin_bound(lower), coin_bound(upper));
    some_point_.clear();
  }

 private:
  BlockSolution solve(const std::vector<double> &cost);
  BlockSolution search(const std::vector<double> &cost) const;
  bool run(CbcModel &model, int nodes, BlockSolution *solution) const;
  std::vector<double> rounded(const double *x) const;
  bool is_integral(const double *x) const;

  const PricingLimits limits_;
  BlockProgram program_;
  ClpSimplex simplex_;  ///< the relaxation at the start
  std::vector<size_t> integers_;
  std::vector<double> some_point_;  ///< of the block; empty while there is none
};

}  // namespace

IntegerPricer::IntegerPricer(const Block &block, const PricingLimits &limits)
    : limits_(limits), program_(block) {
  for (size_t j = 0; j < block.variables.size(); ++j) {
    if (block.variables[j].integer) integers_.push_back(j);
  }
  simplex_.setLogLevel(0);
  simplex_.loadProblem(program_.matrix, program_.column_lower.data(), program_.column_upper.data(),
                       program_.cost.data(), program_.row_lower.data(), program_.row_upper.data());
  simplex_.setDualTolerance(1e-9);
  go_to_start(simplex_);
}

bool IntegerPricer::is_integral(const double *x) const {
  return std::all_of(integers_.begin(), integers_.end(),
                     [x](size_t j) { return std::fabs(x[j] - std::round(x[j])) <= kIntegral; });
}

std::vector<double> IntegerPricer::rounded(const double *x) const {
  std::vector<double> point(x, x + program_.cost.size());
  for (const size_t j : integers_) point[j] = std::round(point[j]);
  return point;
}

/// The relaxation, and the search unless that settles it. In the units of the cost given.
BlockSolution IntegerPricer::solve(const std::vector<double> &cost) {
  ClpSimplex simplex(simplex_);
  std::copy(cost.begin(), cost.end(), simplex.objective());
  solve_from_start(simplex);
  BlockSolution solution;
  if (simplex.status() == kPrimalInfeasible) {
    solution.outcome = BlockSolution::Outcome::infeasible;
  } else if (simplex.status() == kDualInfeasible) {
    solution.outcome = BlockSolution::Outcome::unbounded;
    solution.ray = unbounded_ray(simplex);
  } else if (is_integral(simplex.primalColumnSolution())) {
    solution.bound = simplex.objectiveValue();
    solution.points.push_back(rounded(simplex.primalColumnSolution()));
  } else {
    solution = search(cost);
  }
  return solution;
}

/// Plainly at first, which is fast for the many small searches of a run; one that takes long is
/// begun again with cuts.
BlockSolution IntegerPricer::search(const std::vector<double> &cost) const {
  constexpr int kPlainNodes = 500;
  OsiClpSolverInterface solver;
  solver.setLogLevel(0);
  solver.messageHandler()->setLogLevel(0);
  solver.loadProblem(program_.matrix, program_.column_lower.data(), program_.column_upper.data(),
                     cost.data(), program_.row_lower.data(), program_.row_upper.data());
  for (const size_t j : integers_) solver.setInteger(static_cast<int>(j));
  solver.setDblParam(OsiDualTolerance, 1e-9);
  if (limits_.nodes > kPlainNodes) {
    CbcModel plain(solver);
    BlockSolution solution;
    if (run(plain, kPlainNodes, &solution)) return solution;
  }
  CbcModel model(solver);
  CglGomory gomory;
  CglMixedIntegerRounding2 rounding;
  CglKnapsackCover cover;
  CglFlowCover flow;
  for (CglCutGenerator *cuts :
       std::initializer_list<CglCutGenerator *>{&gomory, &rounding, &cover, &flow}) {
    model.addCutGenerator(cuts, kAtTheRoot, "cuts");
  }
  BlockSolution solution;
  run(model, limits_.nodes, &solution);
  return solution;
}

/// Whether the search came to its end.
bool IntegerPricer::run(CbcModel &model, int nodes, BlockSolution *solution) const {
  model.setLogLevel(0);
  model.solver()->messageHandler()->setLogLevel(0);
  // The hot starts of strong branching and of pseudo-costs end in an assertion at times.
  model.setNumberStrong(0);
  model.setNumberBeforeTrust(0);
  model.setMaximumSavedSolutions(limits_.points);
  model.setMaximumNodes(nodes);
  model.setUseElapsedTime(true);
  model.setMaximumSeconds(limits_.seconds);
  model.setCutoffIncrement(1e-8);
  model.setAllowableGap(0.0);
  model.setAllowableFractionGap(0.0);
  model.branchAndBound();
  if (model.isProvenInfeasible()) {
    solution->outcome = BlockSolution::Outcome::infeasible;
    return true;
  }
  solution->bound = model.getBestPossibleObjValue();
  for (int k = 0; k < model.numberSavedSolutions(); ++k) {
    solution->points.push_back(rounded(model.savedSolution(k)));
  }
  if (solution->points.empty() && model.bestSolution() != nullptr) {
    solution->points.push_back(rounded(model.bestSolution()));
  }
  return model.isProvenOptimal();
}

BlockSolution IntegerPricer::price(const std::vector<double> &cost) {
  const ScaledCost scaled(cost);
  BlockSolution solution = solve(scaled.values());
  solution.bound = scaled.unscaled(solution.bound);
  if (solution.outcome != BlockSolution::Outcome::unbounded) return solution;
  if (some_point_.empty()) {
    const BlockSolution any = solve(std::vector<double>(cost.size(), 0.0));
    if (any.points.empty()) return any;
    some_point_ = any.points[0];
  }
  solution.points.push_back(some_point_);
  return solution;
}

std::unique_ptr<BlockPricer> make_integer_pricer(const Block &block, const PricingLimits &limits) {
  return std::make_unique<IntegerPricer>(block, limits);
}

std::unique_ptr<BlockPricer> make_pricer(const Block &block, const PricingLimits &limits) {
  if (std::unique_ptr<BlockPricer> knapsack = make_knapsack_pricer(block, limits)) return knapsack;
  const bool linear = std::none_of(block.variables.begin(), block.variables.end(),
                                   [](const BlockVariable &variable) { return variable.integer; });
  return linear ? make_linear_pricer(block) : make_integer_pricer(block, limits);
}

}  // namespace dantzig_wolfe

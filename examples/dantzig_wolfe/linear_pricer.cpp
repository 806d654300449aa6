#include <coin/ClpSimplex.hpp>
#include <memory>

#include "examples/dantzig_wolfe/block_pricer.h"
#include "examples/dantzig_wolfe/block_program.h"

namespace dantzig_wolfe {

namespace {

/// The primal simplex method, always from the same basis, see go_to_start.
class LinearPricer : public BlockPricer {
 public:
  explicit LinearPricer(const Block &block) {
    const BlockProgram program(block);
    simplex_.setLogLevel(0);
    simplex_.loadProblem(program.matrix, program.column_lower.data(), program.column_upper.data(),
                         program.cost.data(), program.row_lower.data(), program.row_upper.data());
    go_to_start(simplex_);
  }

  BlockSolution price(const std::vector<double> &cost) override {
    const ScaledCost scaled(cost);
    ClpSimplex simplex(simplex_);
    for (size_t j = 0; j < cost.size(); ++j) {
      simplex.setObjectiveCoefficient(static_cast<int>(j), scaled.values()[j]);
    }
    BlockSolution solution;
    solve_from_start(simplex);
    if (simplex.status() == kPrimalInfeasible) {
      solution.outcome = BlockSolution::Outcome::infeasible;
    } else if (simplex.status() == kDualInfeasible) {
      solution.outcome = BlockSolution::Outcome::unbounded;
      solution.ray = unbounded_ray(simplex);
      solution.points.push_back(point_of(simplex));
    } else {
      solution.bound = scaled.unscaled(simplex.objectiveValue());
      solution.points.push_back(point_of(simplex));
    }
    return solution;
  }

  void set_bounds(int32_t variable, double lower, double upper) override {
    simplex_.setColumnBounds(variable, lower, upper);
  }

 private:
  ClpSimplex simplex_;
};

}  // namespace

std::unique_ptr<BlockPricer> make_linear_pricer(const Block &block) {
  return std::make_unique<LinearPricer>(block);
}

}  // namespace dantzig_wolfe

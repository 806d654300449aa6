#include "examples/dantzig_wolfe/integer_tree.h"

#include <utility>

#include "examples/dantzig_wolfe/branching_problem.h"
#include "examples/dantzig_wolfe/root.h"

namespace dantzig_wolfe {

namespace bp = quarn::branch_and_price;

/// Columns of merged blocks as columns of every copy, in the order of kept_apart().
static std::vector<MasterColumn> of_every_copy(const std::vector<Block> &merged,
                                               const std::vector<MasterColumn> &columns) {
  std::vector<size_t> first;
  size_t copies = 0;
  for (const Block &block : merged) {
    first.push_back(copies);
    copies += block.copies.size();
  }
  std::vector<MasterColumn> result;
  for (const MasterColumn &column : columns) {
    if (column.kind == MasterColumn::Kind::outside) continue;  // the master has them
    for (size_t copy = 0; copy < merged[column.owner].copies.size(); ++copy) {
      result.push_back({column.kind, first[column.owner] + copy, column.values});
    }
  }
  return result;
}

/// The solution that the search ended with, when it is one of the file and better than `best`.
static FileSolution better(const Model &model, const BranchingProblem &problem,
                           const bp::Outcome &outcome, FileSolution best) {
  if (!outcome.has_solution) return best;
  std::vector<double> x = problem.file_solution(outcome.solution);
  tidy(model, x);
  const Violation violation = check(model, x);
  const double value = model.objective(x);
  const bool counts = violation.integral && violation.largest <= kFeasible;
  if (!counts || (best.integral && model.sign() * (best.value - value) <= 0.0)) return best;
  return {std::move(x), true, value, "by branch and price"};
}

TreeResult search_tree(const RootResult &root, const PricingLimits &limits, bp::Settings settings) {
  const Model &model = root.reformulation.model();
  const std::vector<Block> &blocks = root.reformulation.blocks();
  const Reformulation reformulation(model, root.decomposition, kept_apart(blocks));
  BlockPricing pricing(reformulation, limits);
  BranchingProblem problem(reformulation, pricing);
  quarn::Master master = reformulation.master();
  // For the settings: the columns here are those of the root.
  quarn::Master unused = master;
  prepare_root(reformulation, pricing, root.relaxation, unused, settings.master);
  problem.add_columns(of_every_copy(blocks, root.columns), master);
  bp::Search search(problem, master);
  settings.dive_every = 0;  // a dive knows nothing of rays and of negative entries
  if (root.solution.integral) search.offer(problem.solution_of(root.solution.x));
  TreeResult result;
  result.outcome = search.run(settings);
  result.solution = better(model, problem, result.outcome, root.solution);
  return result;
}

}  // namespace dantzig_wolfe

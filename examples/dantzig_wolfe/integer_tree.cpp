#include "examples/dantzig_wolfe/integer_tree.h"

#include <utility>

#include "examples/dantzig_wolfe/branching_problem.h"
#include "examples/dantzig_wolfe/root.h"

namespace dantzig_wolfe {

namespace bp = quarn::branch_and_price;

// Half of the root's: most columns that a node needs are there. With one point a block and round
// cpmp_p2050-1 takes 0.15 of the time that it takes with ten.
constexpr int32_t kPointsOfARound = 50;

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

/// Those of blocks; the master has the others.
static std::vector<MasterColumn> inside(const std::vector<MasterColumn> &columns) {
  std::vector<MasterColumn> result;
  for (const MasterColumn &column : columns) {
    if (column.kind != MasterColumn::Kind::outside) result.push_back(column);
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
  const bool apart = has_rays(blocks);
  const Reformulation reformulation(model, root.decomposition, apart ? kept_apart(blocks) : blocks);
  BlockPricing pricing(reformulation, BlockPricing::for_all_blocks(limits, kPointsOfARound,
                                                                   reformulation.blocks().size()));
  quarn::LocalTeam team(root.threads);
  quarn::BlockPricer pricer(pricing, team);
  BranchingProblem problem(reformulation, pricing, pricer);
  quarn::Master master = reformulation.master();
  // For the settings: the columns here are those of the root.
  quarn::Master unused = master;
  prepare_root(reformulation, pricing, root.relaxation, unused, settings.master);
  problem.add_columns(apart ? of_every_copy(blocks, root.columns) : inside(root.columns), master);
  bp::Search search(problem, master);
  if (!problem.can_dive()) settings.dive_every = 0;
  if (root.solution.integral) search.offer(problem.solution_of(root.solution.x));
  settings.save_data = BranchingProblem::data_to_text;
  if (!root.resume_file.empty()) {
    search.resume(root.resume_file, BranchingProblem::data_from_text);
  }
  TreeResult result;
  result.outcome = search.run(settings);
  result.solution = better(model, problem, result.outcome, root.solution);
  return result;
}

}  // namespace dantzig_wolfe

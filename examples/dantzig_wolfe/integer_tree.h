#ifndef EXAMPLES_DANTZIG_WOLFE_INTEGER_TREE_H
#define EXAMPLES_DANTZIG_WOLFE_INTEGER_TREE_H

#include <string>
#include <vector>

#include "branch_and_price/branch_and_price.hpp"
#include "examples/dantzig_wolfe/block_pricer.h"
#include "examples/dantzig_wolfe/decomposition.h"
#include "examples/dantzig_wolfe/reformulation.h"
#include "examples/dantzig_wolfe/relaxation.h"
#include "examples/dantzig_wolfe/solution_search.h"

namespace dantzig_wolfe {

/// What the root of a search leaves to it.
struct RootResult {
  const Reformulation &reformulation;
  const Decomposition &decomposition;
  const LinearSolution &relaxation;
  const std::vector<MasterColumn> &columns;
  const FileSolution &solution;  ///< the best so far
  int threads = 1;               ///< that price blocks
  std::string resume_file = {};  ///< of a saved search to go on from; empty: none
};

/// What a search has found out.
struct TreeResult {
  quarn::branch_and_price::Outcome outcome;
  FileSolution solution;  ///< the best, that of the root included; checked against the file
};

/**
 * Searches for an optimal solution by branch and price, see BranchingProblem, from the columns and
 * the solution of the root. Equal blocks are kept apart only where there are rays. Limits are those
 * of `settings`; what belongs to the problem is set here.
 */
TreeResult search_tree(const RootResult &root, const PricingLimits &limits,
                       quarn::branch_and_price::Settings settings);

}  // namespace dantzig_wolfe

#endif

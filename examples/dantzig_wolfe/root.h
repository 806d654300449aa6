#ifndef EXAMPLES_DANTZIG_WOLFE_ROOT_H
#define EXAMPLES_DANTZIG_WOLFE_ROOT_H

#include <functional>
#include <quarn_cpp/quarn.hpp>

#include "examples/dantzig_wolfe/block_pricing.h"
#include "examples/dantzig_wolfe/reformulation.h"
#include "examples/dantzig_wolfe/relaxation.h"
#include "examples/dantzig_wolfe/restricted_master.h"

namespace dantzig_wolfe {

/**
 * Prepares a run from what the relaxation tells. Its duals u are the first ones to be priced, so
 * the first bound is at least its value. The penalty is ten times the largest of costs, of u, and
 * of the blocks' values at u: with u and these the restricted master has a dual solution within its
 * box whatever columns come. No dual is expected to be larger; if one is, the library
 * finds out and opens the box. Columns are added that go some way to satisfy the linking rows.
 */
void prepare_root(const Reformulation &reformulation, BlockPricing &pricing,
                  const LinearSolution &relaxation, quarn::Master &master,
                  quarn::Settings &settings);

/**
 * Goes on from the columns of a run with duals of basic solutions, by Clp, until none of them finds
 * a better column. After a run that closed its gap this takes a round or two, and leaves bounds
 * that are equal to the last digits where the run's are to its tolerance; a run whose restricted
 * master could not be solved is brought to its end. Returns the restricted master, with its
 * solution; bounds, gap, status and columns of the result are changed. Nothing is done for a run
 * that was infeasible, or ended at a limit.
 */
RestrictedMaster finish_root(const Reformulation &reformulation, const BlockPricing &pricing,
                             const quarn::Master &master, quarn::BlockPricer &pricer,
                             const std::function<bool()> &out_of_time, double tolerance,
                             quarn::Result *result);

}  // namespace dantzig_wolfe

#endif

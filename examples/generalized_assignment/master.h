// Generalized assignment, decomposed by agents: formulation, pricing, bound. The page of the
// example, README.md beside this file, derives all three. The bound holds at all duals, not only at
// the master's: an answer is the best value that was seen at any (bundle_search.h).
#ifndef EXAMPLES_GENERALIZED_ASSIGNMENT_MASTER_H
#define EXAMPLES_GENERALIZED_ASSIGNMENT_MASTER_H

#include <cstdint>
#include <vector>

#include "block_pricing/block_pricer.hpp"
#include "examples/common/options.h"
#include "examples/generalized_assignment/bundle_search.h"
#include "examples/generalized_assignment/instance.h"
#include "quarn_cpp/quarn.hpp"

namespace generalized_assignment {

/// How the master problem is solved.
struct MasterSettings : examples::Options {
  int32_t dual_vectors = 15;  ///< at which an answer looks for bundles
};

/// A row for each task, then one for each agent.
quarn::Master make_master(const Instance &instance);

/// The first penalty for leaving a task undone, which nearly always is dear enough.
double first_penalty(const Instance &instance);

/// Duals for the first call: at the second lowest cost of a task one agent wants it, or few.
std::vector<double> first_duals(const Instance &instance);

/// Prices bundles.
class Oracle {
 public:
  /// `instance` has to outlive the oracle. `pricer` prices AgentBlocks; without one this thread
  /// prices.
  Oracle(const Instance &instance, const quarn::Master &master, const MasterSettings &settings,
         quarn::BlockPricer *pricer = nullptr);

  quarn::Answer operator()(const quarn::Duals &duals, quarn::Columns &columns);

 private:
  double worst_cost() const;

  const Instance &instance_;
  std::vector<quarn::Row> rows_;
  int32_t most_;
  quarn::BlockPricer *pricer_;
  BundleSearch search_;
};

}  // namespace generalized_assignment

#endif

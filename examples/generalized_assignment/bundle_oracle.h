// Generalized assignment, decomposed by agents. The page of the example, README.md beside this
// file, derives the master problem, its pricing and the lower bound, which holds at all duals, not
// only at the master's: the oracle answers with the best value that it has seen at any
// (bundle_search.h).
#ifndef EXAMPLES_GENERALIZED_ASSIGNMENT_BUNDLE_ORACLE_H
#define EXAMPLES_GENERALIZED_ASSIGNMENT_BUNDLE_ORACLE_H

#include <cstdint>
#include <vector>

#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/generalized_assignment/bundle_search.h"
#include "examples/generalized_assignment/instance.h"
#include "examples/generalized_assignment/master.h"

namespace generalized_assignment {

/// Half the width of the first box of the duals, which nearly always is wide enough.
double first_box(const Instance &instance);

/// The rows; a box column, which leaves a task undone, costs `box`.
examples::MasterRows make_rows(const Instance &instance, double box);

/// Prices bundles; the tag of a column is its agent, from 0.
class BundleOracle : public examples::Oracle {
 public:
  /// `instance` has to outlive the oracle.
  BundleOracle(const Instance &instance, const MasterSettings &settings);

  /// To be called once, before the run: keeps all columns.
  void prepare(QUARN_env &env) const;

  examples::Answer price(QUARN_env &env) override;

 private:
  double worst_cost() const;

  const Instance &instance_;
  int32_t most_;
  BundleSearch search_;
};

}  // namespace generalized_assignment

#endif

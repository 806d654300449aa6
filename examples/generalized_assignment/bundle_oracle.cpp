#include "examples/generalized_assignment/bundle_oracle.h"

#include <algorithm>
#include <limits>

#include "examples/common/column_batch.h"

namespace generalized_assignment {

// Columns are cheap here, and removing some would set the bounds back to what the next answer says.
constexpr int32_t kKeepColumns = std::numeric_limits<int32_t>::max();
// The first box of the duals, in units of the largest cost.
constexpr double kFirstBox = 1000.0;

BundleOracle::BundleOracle(const Instance &instance, const MasterSettings &settings)
    : instance_(instance),
      most_(settings.columns_per_call),
      search_(instance, settings.dual_vectors) {}

void BundleOracle::prepare(QUARN_env &env) const {
  QUARN_set_max_number_columns(&env, kKeepColumns);
}

/// No solution costs more than every task at its dearest agent.
double BundleOracle::worst_cost() const {
  if (instance_.optional) return 0.0;
  double sum = 0.0;
  for (size_t j = 0; j < instance_.tasks(); ++j) {
    double dearest = instance_.agents.front().cost[j];
    for (const Agent &agent : instance_.agents) dearest = std::max(dearest, agent.cost[j]);
    sum += dearest;
  }
  return sum;
}

examples::Answer BundleOracle::price(QUARN_env &env) {
  const bool first = env.outer_iterations == 0;
  const double upper_bound = first ? worst_cost() : std::min(env.upperBnd, env.u[env.G->m - 1]);
  Findings findings = search_.search(env.u, upper_bound, first);
  keep_best(findings.bundles, first ? 0 : most_);
  examples::ColumnBatch batch(*env.G);
  const auto tasks = static_cast<int32_t>(instance_.tasks());
  for (const Bundle &bundle : findings.bundles) {
    const auto agent = static_cast<int32_t>(bundle.agent);
    batch.start_column(bundle.cost, agent);
    for (const int32_t task : bundle.tasks) batch.add_entry(task, 1.0);
    batch.add_entry(tasks + agent, 1.0);
  }
  batch.send(env);
  return {1, findings.lower_bound - examples::rmp_dual_value(env)};
}

double first_box(const Instance &instance) {
  return std::min(kFirstBox * std::max(1.0, largest_cost(instance)),
                  examples::MasterRows::kWideBox);
}

examples::MasterRows make_rows(const Instance &instance, double box) {
  const DualRange range = dual_range(instance);
  examples::RowType type = examples::kEqual;
  if (range.least == 0.0) type = examples::kAtLeast;
  if (range.most == 0.0) type = examples::kAtMost;
  examples::MasterRows rows;
  for (size_t j = 0; j < instance.tasks(); ++j) rows.add_linking_row(type, 1.0, -box, box);
  for (size_t i = 0; i < instance.agents.size(); ++i) {
    rows.add_further_row(examples::kAtMost, 1.0);
  }
  return rows;
}

}  // namespace generalized_assignment

#include "examples/lot_sizing/plan_oracle.h"

#include <algorithm>
#include <limits>

namespace lot_sizing {

// Columns are cheap here, and removing some would set the bounds back to what the next answer says.
constexpr int32_t kKeepColumns = std::numeric_limits<int32_t>::max();

PlanOracle::PlanOracle(const Instance &instance, const MasterSettings &settings)
    : instance_(instance),
      most_(settings.columns_per_call),
      search_(instance, settings.price_vectors) {}

void PlanOracle::prepare(QUARN_env &env) const { QUARN_set_max_number_columns(&env, kKeepColumns); }

static double value(const QUARN_env &env) { return env.u[env.G->m - 1]; }

void PlanOracle::add(examples::ColumnBatch &batch, size_t i, double cost, const Plan &plan) const {
  batch.start_column(cost, static_cast<int32_t>(i));
  for (size_t t = 0; t < plan.size(); ++t) {
    const double use = plan_use(instance_.items[i], plan, t);
    if (use > 0.0) batch.add_entry(static_cast<int32_t>(t), use);
  }
  batch.add_entry(instance_.periods + static_cast<int32_t>(i), 1.0);
}

/// Plans that fit, so that no box column is needed from the start; returns what they cost, or 0,
/// which is below any bound and so stops the search at its first prices, when there are none.
double PlanOracle::add_first_plans(QUARN_env &env) const {
  const std::vector<Plan> plans = fitting_plans(instance_);
  examples::ColumnBatch batch(*env.G);
  double total = 0.0;
  for (size_t i = 0; i < plans.size(); ++i) {
    const double cost = plan_cost(instance_.items[i], plans[i]);
    add(batch, i, cost, plans[i]);
    total += cost;
  }
  batch.send(env);
  return total;
}

examples::Answer PlanOracle::price(QUARN_env &env) {
  const bool first = env.outer_iterations == 0;
  const double upper_bound = first ? add_first_plans(env) : std::min(env.upperBnd, value(env));
  Findings findings = search_.search(env.u, upper_bound, first);
  keep_best(findings.candidates, first ? 0 : most_);
  examples::ColumnBatch batch(*env.G);
  for (const Candidate &candidate : findings.candidates) {
    add(batch, candidate.item, candidate.cost, candidate.plan);
  }
  batch.send(env);
  return {1, findings.lower_bound - examples::rmp_dual_value(env)};
}

examples::MasterRows make_rows(const Instance &instance) {
  examples::MasterRows rows;
  for (int32_t t = 0; t < instance.periods; ++t) {
    rows.add_linking_row(examples::kAtMost, instance.capacity);
  }
  for (size_t i = 0; i < instance.items.size(); ++i) rows.add_further_row(examples::kEqual, 1.0);
  return rows;
}

}  // namespace lot_sizing

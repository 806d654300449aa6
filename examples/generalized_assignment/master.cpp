#include "examples/generalized_assignment/master.h"

#include <algorithm>
#include <string>

#include "examples/generalized_assignment/agent_blocks.h"

namespace generalized_assignment {

// The first penalty, in units of the largest cost.
constexpr double kFirstPenalty = 1000.0;
// No penalty is higher: half the width of the library's own dual boxes.
constexpr double kMostPenalty = 1e10;

// Formulation

quarn::Master make_master(const Instance &instance) {
  const DualRange range = dual_range(instance);
  quarn::RowSense sense = quarn::RowSense::equal;
  if (range.least == 0.0) sense = quarn::RowSense::at_least;
  if (range.most == 0.0) sense = quarn::RowSense::at_most;
  quarn::Master master;
  for (size_t j = 1; j <= instance.tasks(); ++j) {
    master.add_row(sense, 1.0, {"task " + std::to_string(j)});
  }
  for (size_t i = 1; i <= instance.agents.size(); ++i) {
    master.add_block(quarn::RowSense::at_most, 1.0, "agent " + std::to_string(i));
  }
  return master;
}

double first_penalty(const Instance &instance) {
  return std::min(kFirstPenalty * std::max(1.0, largest_cost(instance)), kMostPenalty);
}

std::vector<double> first_duals(const Instance &instance) {
  std::vector<double> duals(instance.tasks() + instance.agents.size(), 0.0);
  if (instance.optional) return duals;
  for (size_t j = 0; j < instance.tasks(); ++j) {
    std::vector<double> costs;
    for (const Agent &agent : instance.agents) costs.push_back(agent.cost[j]);
    std::sort(costs.begin(), costs.end());
    duals[j] = costs[std::min<size_t>(1, costs.size() - 1)];
  }
  return duals;
}

// Pricing and bound

Oracle::Oracle(const Instance &instance, const quarn::Master &master,
               const MasterSettings &settings, quarn::BlockPricer *pricer)
    : instance_(instance),
      rows_(master.rows()),
      most_(settings.columns_per_call),
      pricer_(pricer),
      search_(instance, settings.dual_vectors) {}

/// No solution costs more than every task at its dearest agent.
double Oracle::worst_cost() const {
  if (instance_.optional) return 0.0;
  double sum = 0.0;
  for (size_t j = 0; j < instance_.tasks(); ++j) {
    double dearest = instance_.agents.front().cost[j];
    for (const Agent &agent : instance_.agents) dearest = std::max(dearest, agent.cost[j]);
    sum += dearest;
  }
  return sum;
}

quarn::Answer Oracle::operator()(const quarn::Duals &duals, quarn::Columns &columns) {
  const bool first = duals.iteration() == 0;
  const double upper = first ? worst_cost() : std::min(duals.upper_bound(), duals.objective());
  PriceAgents others;
  if (pricer_ != nullptr) {
    others = by_blocks(instance_, *pricer_, [&] { return duals.out_of_time(); });
  }
  Findings findings = search_.search(duals.values().data(), upper, first, others);
  keep_best(findings.bundles, first ? 0 : most_);
  for (const Bundle &bundle : findings.bundles) {
    std::vector<quarn::Entry> entries;
    for (const int32_t task : bundle.tasks)
      entries.push_back({rows_[static_cast<size_t>(task)], 1});
    entries.push_back({rows_[instance_.tasks() + bundle.agent], 1.0});
    columns.add(bundle.cost, entries);
  }
  return quarn::Answer::bound(findings.lower_bound);
}

}  // namespace generalized_assignment

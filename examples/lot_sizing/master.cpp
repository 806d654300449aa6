#include "examples/lot_sizing/master.h"

#include <algorithm>
#include <string>

#include "examples/lot_sizing/plan_blocks.h"

namespace lot_sizing {

// Formulation

/// The capacity that the plan of item i takes in each period, and a 1 in the row of the item.
static std::vector<quarn::Entry> entries_of(const Instance &instance, size_t i, const Plan &plan,
                                            const std::vector<quarn::Row> &rows) {
  std::vector<quarn::Entry> entries;
  for (size_t t = 0; t < plan.size(); ++t) {
    const double use = plan_use(instance.items[i], plan, t);
    if (use > 0.0) entries.push_back({rows[t], use});
  }
  entries.push_back({rows[instance.horizon() + i], 1.0});
  return entries;
}

quarn::Master make_master(const Instance &instance) {
  quarn::Master master;
  for (size_t t = 1; t <= instance.horizon(); ++t) {
    master.add_row(quarn::RowSense::at_most, instance.capacity, {"period " + std::to_string(t)});
  }
  for (size_t i = 1; i <= instance.items.size(); ++i) {
    master.add_block(quarn::RowSense::equal, 1.0, "item " + std::to_string(i));
  }
  const std::vector<quarn::Row> rows = master.rows();
  const std::vector<Plan> plans = fitting_plans(instance);
  for (size_t i = 0; i < plans.size(); ++i) {
    master.add_column(plan_cost(instance.items[i], plans[i]),
                      entries_of(instance, i, plans[i], rows));
  }
  return master;
}

std::vector<double> first_duals(const Instance &instance) {
  return std::vector<double>(instance.horizon() + instance.items.size(), 0.0);
}

// Pricing and bound

Oracle::Oracle(const Instance &instance, const quarn::Master &master,
               const MasterSettings &settings, quarn::BlockPricer *pricer)
    : instance_(instance),
      rows_(master.rows()),
      most_(settings.columns_per_call),
      pricer_(pricer),
      first_cost_(0.0),
      search_(instance, settings.price_vectors) {
  for (const quarn::Column &column : master.columns()) first_cost_ += column.cost();
}

/// A search up to a cost of 0, which is below any bound, stops at its first prices.
quarn::Answer Oracle::operator()(const quarn::Duals &duals, quarn::Columns &columns) {
  const bool first = duals.iteration() == 0;
  const double upper = first ? first_cost_ : std::min(duals.upper_bound(), duals.objective());
  PriceItems others;
  if (pricer_ != nullptr) others = by_blocks(*pricer_, [&] { return duals.out_of_time(); });
  Findings findings = search_.search(duals.values().data(), upper, first, others);
  keep_best(findings.candidates, first ? 0 : most_);
  for (const Candidate &candidate : findings.candidates) {
    columns.add(candidate.cost, entries_of(instance_, candidate.item, candidate.plan, rows_));
  }
  return quarn::Answer::bound(findings.lower_bound);
}

}  // namespace lot_sizing

// Capacitated lot sizing with setup times, decomposed by items.
//
// Items i share a machine with the same capacity C in every period t = 1, ..., T. A column is a
// production plan p of one item for the whole horizon, with cost c_p (setups and stock) and the
// capacity w_tp that it takes in each period. Master problem and duals:
//
//     min  sum_p c_p x_p
//     s.t. sum_p w_tp x_p <= C          for every period t       (u_t <= 0, linking rows)
//          sum_{p of i} x_p = 1         for every item i         (v_i, further rows)
//          x >= 0
//
// The reduced cost of a plan of item i is c_p - sum_t u_t w_tp - v_i: with -u_t as the price of
// capacity, it is what the plan costs in all less v_i. Pricing is a lot sizing problem without a
// limit on production for each item, which a dynamic program solves (see plan_pricing.h).
//
// With z_i(u) the least cost of a plan of item i at u, (u, z(u)) is a feasible dual solution, so
//
//     C sum_t u_t + sum_i z_i(u)  <=  the master's value     for every u <= 0.
//
// The bound holds at all prices, not only at the master's: the oracle answers with the best value
// that it has seen at any (see plan_search.h).

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/common/run_report.h"
#include "examples/common/text_reader.h"
#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/plan.h"
#include "examples/lot_sizing/plan_search.h"

namespace lot_sizing {

// Columns are cheap here, and removing some would set the bounds back to what the next answer says.
constexpr int32_t kKeepColumns = std::numeric_limits<int32_t>::max();

struct Settings : examples::Options {
  int32_t price_vectors = 5;  ///< at which an answer looks for plans
  std::string generate;       ///< what to generate; empty: read the file
  bool plans = false;         ///< print the plans in use at the end
};

class PlanOracle : public examples::Oracle {
 public:
  PlanOracle(const Instance &instance, const Settings &settings)
      : instance_(instance), settings_(settings), search_(instance, settings.price_vectors) {}

  examples::Answer price(QUARN_env &env) override {
    const bool first = env.outer_iterations == 0;
    const double upper_bound = first ? add_first_plans(env) : std::min(env.upperBnd, value(env));
    Findings findings = search_.search(env.u, upper_bound, first);
    keep_best(findings.candidates, first ? 0 : settings_.columns_per_call);
    examples::ColumnBatch batch(*env.G);
    for (const Candidate &candidate : findings.candidates) {
      add(batch, candidate.item, candidate.cost, candidate.plan);
    }
    batch.send(env);
    return {1, findings.lower_bound - examples::rmp_dual_value(env)};
  }

 private:
  static double value(const QUARN_env &env) { return env.u[env.G->m - 1]; }

  void add(examples::ColumnBatch &batch, size_t i, double cost, const Plan &plan) const {
    batch.start_column(cost, static_cast<int32_t>(i));
    for (size_t t = 0; t < plan.size(); ++t) {
      const double use = plan_use(instance_.items[i], plan, t);
      if (use > 0.0) batch.add_entry(static_cast<int32_t>(t), use);
    }
    batch.add_entry(instance_.periods + static_cast<int32_t>(i), 1.0);
  }

  /// Plans that fit, so that no box column is needed from the start; returns what they cost, or 0,
  /// which is below any bound and so stops the search at its first prices, when there are none.
  double add_first_plans(QUARN_env &env) const {
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

  const Instance &instance_;
  const Settings &settings_;
  PlanSearch search_;
};

static examples::MasterRows master_rows(const Instance &instance) {
  examples::MasterRows rows;
  for (int32_t t = 0; t < instance.periods; ++t) {
    rows.add_linking_row(examples::kAtMost, instance.capacity);
  }
  for (size_t i = 0; i < instance.items.size(); ++i) rows.add_further_row(examples::kEqual, 1.0);
  return rows;
}

constexpr const char *kGenerator = "CLASS,ITEMS,PERIODS,SEED";

static Instance load(const Settings &settings) {
  if (settings.generate.empty()) return read_instance(settings.file);
  const examples::Line fields = examples::generator_fields(settings.generate, kGenerator);
  const int64_t code = fields.integer(0, "the class", 1000, 9999);
  const auto digit = [code](int64_t unit) { return static_cast<int>(code / unit % 10); };
  const Levels levels = {digit(1000), digit(100), digit(10), digit(1)};
  if (!is_class(levels)) fields.fail("there is no class " + fields.text(0) + ", see --help");
  return generate_instance(
      levels, static_cast<int32_t>(fields.integer(1, "the number of items", 1, 100000)),
      static_cast<int32_t>(fields.integer(2, "the number of periods", 1, 10000)),
      fields.integer(3, "the seed", 1, 2147483646));
}

static void print_plans(examples::MasterRun &run, const Instance &instance) {
  std::puts("\n     item     share        cost  quantity in each period");
  for (const examples::MasterColumn &column : examples::master_solution(run.env(), 1e-4)) {
    const Item &item = instance.items[static_cast<size_t>(column.tag)];
    std::vector<double> made(instance.horizon(), 0.0);
    for (const examples::Entry &entry : column.entries) {
      if (entry.row >= instance.periods) continue;
      made[static_cast<size_t>(entry.row)] = (entry.value - item.setup_use) / item.unit_use;
    }
    std::printf("%9d %9.6f %11.3f ", column.tag + 1, column.value, column.cost);
    for (const double quantity : made) std::printf(" %g", quantity);
    std::printf("\n");
  }
}

static void add_options(CLI::App &app, Settings &settings) {
  examples::add_options(app, settings);
  examples::add_generator(
      app, settings.generate, kGenerator,
      "make an instance instead; CLASS has four digits as in the names of the published "
      "instances: demand variation 1 or 2, time between orders 1, 2 or 4, setup time 1 or 2, "
      "tightness 7, 8 or 9");
  app.add_option("--prices", settings.price_vectors,
                 "price vectors at which an answer looks for plans, the master's own included")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_flag("--plans", settings.plans, "print the plans in use at the end");
}

static int solve(const Settings &settings) {
  const Instance instance = load(settings);
  PlanOracle oracle(instance, settings);
  // Duals of 0 make the oracle's first call one for the cheapest plans of all.
  const std::vector<double> duals(instance.horizon() + instance.items.size(), 0.0);
  examples::MasterRun run(master_rows(instance), oracle, settings, duals);
  QUARN_set_max_number_columns(&run.env(), kKeepColumns);
  const examples::MasterResult result = run.solve();
  examples::print_summary(stdout, result);
  if (settings.plans && result.status == 0) print_plans(run, instance);
  const std::string &name = settings.generate.empty() ? settings.file : settings.generate;
  examples::write_json({name, result, std::nullopt}, settings.json_file);
  return examples::exit_status(result);
}

}  // namespace lot_sizing

int main(int argc, char **argv) {
  CLI::App app("Capacitated lot sizing with setup times by column generation", "lot_sizing");
  lot_sizing::Settings settings;
  lot_sizing::add_options(app, settings);
  if (const auto status = examples::parse(app, argc, argv)) return *status;
  return examples::run_guarded([&] { return lot_sizing::solve(settings); });
}

// Generalized assignment, decomposed by agents.
//
// Every task j goes to one agent i, which costs c_ij and takes w_ij of the agent's capacity. A
// column is a bundle p of tasks that one agent has the capacity for, c_p its cost, a_jp = 1 where
// task j is in it. Master problem and duals:
//
//     min  sum_p c_p x_p
//     s.t. sum_p a_jp x_p = 1           for every task j         (u_j, linking rows)
//          sum_{p of i} x_p <= 1        for every agent i        (v_i <= 0, further rows)
//          x >= 0
//
// The task rows become >= where no cost is negative: a task done twice may be taken out of one of
// the bundles, which costs nothing, so u_j >= 0 without loss. Where tasks may stay out (multiple
// knapsack, costs are negative profits) they are <=, and u_j <= 0.
//
// The reduced cost of a bundle of agent i is sum_j (c_ij - u_j) a_jp - v_i, so pricing is a
// knapsack problem for each agent with profits u_j - c_ij. With z_i(u) >= 0 its optimum, (u, -z(u))
// is a feasible dual solution, so
//
//     sum_j u_j - sum_i z_i(u)  <=  the master's value     for every u of the right signs.
//
// The bound holds at all duals, not only at the master's: the oracle answers with the best value
// that it has seen at any (see bundle_search.h).

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
#include "examples/generalized_assignment/bundle_search.h"
#include "examples/generalized_assignment/instance.h"

namespace generalized_assignment {

// Columns are cheap here, and removing some would set the bounds back to what the next answer says.
constexpr int32_t kKeepColumns = std::numeric_limits<int32_t>::max();
// The first box of the duals, in units of the largest cost, and what a box too narrow grows by.
constexpr double kFirstBox = 1000.0;
constexpr double kBoxGrowth = 1000.0;

struct Settings : examples::Options {
  int32_t dual_vectors = 15;  ///< at which an answer looks for bundles
  std::string generate;       ///< what to generate; empty: read the file
  bool bundles = false;       ///< print the bundles in use at the end
};

class BundleOracle : public examples::Oracle {
 public:
  BundleOracle(const Instance &instance, const Settings &settings)
      : instance_(instance), settings_(settings), search_(instance, settings.dual_vectors) {}

  examples::Answer price(QUARN_env &env) override {
    const bool first = env.outer_iterations == 0;
    const double upper_bound = first ? worst_cost() : std::min(env.upperBnd, env.u[env.G->m - 1]);
    Findings findings = search_.search(env.u, upper_bound, first);
    keep_best(findings.bundles, first ? 0 : settings_.columns_per_call);
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

 private:
  /// No solution costs more than every task at its dearest agent.
  double worst_cost() const {
    if (instance_.optional) return 0.0;
    double sum = 0.0;
    for (size_t j = 0; j < instance_.tasks(); ++j) {
      double dearest = instance_.agents.front().cost[j];
      for (const Agent &agent : instance_.agents) dearest = std::max(dearest, agent.cost[j]);
      sum += dearest;
    }
    return sum;
  }

  const Instance &instance_;
  const Settings &settings_;
  BundleSearch search_;
};

/// The rows; a box column, which leaves a task undone, costs `box`.
static examples::MasterRows master_rows(const Instance &instance, double box) {
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

/// Duals for the first call: at the second lowest cost of a task one agent wants it, or few.
static std::vector<double> first_duals(const Instance &instance) {
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

constexpr const char *kGenerator = "CLASS,TASKS,AGENTS,SEED";

static Instance load(const Settings &settings) {
  if (settings.generate.empty()) return read_instance(settings.file);
  const examples::Line fields = examples::generator_fields(settings.generate, kGenerator);
  const std::string &kind = fields.text(0);
  if (kind.size() != 1 || std::string("CDEK").find(kind) == std::string::npos) {
    fields.fail("the class must be C, D, E or K, not " + kind);
  }
  const int64_t tasks = fields.integer(1, "the number of tasks", 1, 10000);
  const int64_t agents = fields.integer(2, "the number of agents", 1, 10000);
  return generate_instance(kind[0], static_cast<int32_t>(tasks), static_cast<int32_t>(agents),
                           fields.integer(3, "the seed", 1, 2147483646));
}

static void print_bundles(examples::MasterRun &run, const Instance &instance) {
  std::puts("\n    agent     share        cost  tasks");
  for (const examples::MasterColumn &column : examples::master_solution(run.env(), 1e-4)) {
    std::printf("%9d %9.6f %11g ", column.tag + 1, column.value, column.cost);
    for (const examples::Entry &entry : column.entries) {
      if (static_cast<size_t>(entry.row) < instance.tasks()) std::printf(" %d", entry.row + 1);
    }
    std::printf("\n");
  }
}

static examples::MasterResult solve_in_box(const Instance &instance, const Settings &settings,
                                           double box) {
  BundleOracle oracle(instance, settings);
  examples::MasterRun run(master_rows(instance, box), oracle, settings, first_duals(instance));
  QUARN_set_max_number_columns(&run.env(), kKeepColumns);
  const examples::MasterResult result = run.solve();
  if (settings.bundles && result.status == 0) print_bundles(run, instance);
  return result;
}

static int solve(const Settings &settings) {
  const Instance instance = load(settings);
  double box =
      std::min(kFirstBox * std::max(1.0, largest_cost(instance)), examples::MasterRows::kWideBox);
  examples::MasterResult result = solve_in_box(instance, settings, box);
  while (result.status == 5 && box < examples::MasterRows::kWideBox) {
    box = std::min(kBoxGrowth * box, examples::MasterRows::kWideBox);
    std::printf("\nonce more, with duals up to %g\n\n", box);
    result = solve_in_box(instance, settings, box);
  }
  examples::print_summary(stdout, result);
  const std::string &name = settings.generate.empty() ? settings.file : settings.generate;
  examples::write_json({name, result, std::nullopt}, settings.json_file);
  return examples::exit_status(result);
}

static void add_options(CLI::App &app, Settings &settings) {
  examples::add_options(app, settings);
  examples::add_generator(app, settings.generate, kGenerator,
                          "make an instance instead; CLASS is one of the published classes C, D "
                          "and E, or K for a multiple knapsack problem");
  app.add_option("--prices", settings.dual_vectors,
                 "dual vectors at which an answer looks for bundles, the master's own included")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_flag("--bundles", settings.bundles, "print the bundles in use at the end");
}

}  // namespace generalized_assignment

int main(int argc, char **argv) {
  CLI::App app("Generalized assignment by column generation", "generalized_assignment");
  generalized_assignment::Settings settings;
  generalized_assignment::add_options(app, settings);
  if (const auto status = examples::parse(app, argc, argv)) return *status;
  return examples::run_guarded([&] { return generalized_assignment::solve(settings); });
}

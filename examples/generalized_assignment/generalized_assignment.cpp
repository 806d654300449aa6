#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/common/run_report.h"
#include "examples/common/text_reader.h"
#include "examples/generalized_assignment/bundle_oracle.h"
#include "examples/generalized_assignment/instance.h"

namespace generalized_assignment {

// The master problem, its pricing and its bound are derived in README.md.

// What a box of the duals grows by when it was too narrow.
constexpr double kBoxGrowth = 1000.0;

struct Settings : MasterSettings {
  std::string generate;  ///< what to generate; empty: read the file
  bool bundles = false;  ///< print the bundles in use at the end
};

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
  examples::MasterRun run(make_rows(instance, box), oracle, settings, first_duals(instance));
  oracle.prepare(run.env());
  const examples::MasterResult result = run.solve();
  if (settings.bundles && result.status == 0) print_bundles(run, instance);
  return result;
}

static int solve(const Settings &settings) {
  const Instance instance = load(settings);
  double box = first_box(instance);
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

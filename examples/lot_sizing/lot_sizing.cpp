#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/common/run_report.h"
#include "examples/common/text_reader.h"
#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/plan_oracle.h"

namespace lot_sizing {

// The master problem, its pricing and its bound are derived in README.md.

struct Settings : MasterSettings {
  std::string generate;  ///< what to generate; empty: read the file
  bool plans = false;    ///< print the plans in use at the end
};

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
  examples::MasterRun run(make_rows(instance), oracle, settings, first_duals(instance));
  oracle.prepare(run.env());
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

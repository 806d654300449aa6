#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "examples/common/job.h"
#include "examples/common/master_solve.h"
#include "examples/common/options.h"
#include "examples/common/report.h"
#include "examples/common/text_reader.h"
#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/master.h"
#include "examples/lot_sizing/plan_blocks.h"

namespace lot_sizing {

// The master problem, its pricing and its bound are derived in README.md.

constexpr double kLeastShare = 1e-4;  // of a plan that is printed

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

static void print_plans(const quarn::Master &master, const quarn::Result &result,
                        const Instance &instance) {
  std::puts("\n     item     share        cost  quantity in each period");
  for (const auto &[column, share] : result.values) {
    if (share <= kLeastShare) continue;
    std::vector<quarn::Entry> entries = master.entries(column);
    const int32_t i = entries.back().first.index() - instance.periods;
    entries.pop_back();
    const Item &item = instance.items[static_cast<size_t>(i)];
    std::vector<double> made(instance.horizon(), 0.0);
    for (const auto &[row, use] : entries) {
      made[static_cast<size_t>(row.index())] = (use - item.setup_use) / item.unit_use;
    }
    std::printf("%9d %9.6f %11.3f ", i + 1, share, column.cost());
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

static int solve(const Settings &settings, const Instance &instance, quarn::BlockPricer *pricer) {
  quarn::Master master = examples::resumed(make_master(instance), settings);
  Oracle oracle(instance, master, settings, pricer);
  const quarn::Settings how = examples::settings_of(settings, first_duals(instance));
  const quarn::Result result = examples::solve(master, std::ref(oracle), settings, how);
  examples::print_summary(result);
  const int status = examples::exit_status(result);
  if (settings.plans && status == examples::kSolved) print_plans(master, result, instance);
  const std::string &name = settings.generate.empty() ? settings.file : settings.generate;
  examples::write_json({name, result, std::nullopt}, settings.json_file);
  return status;
}

static int run(const Settings &settings, examples::Job &job) {
  const Instance instance = load(settings);
  PlanBlocks blocks(instance);
  return job.run(blocks,
                 [&](quarn::BlockPricer *pricer) { return solve(settings, instance, pricer); });
}

}  // namespace lot_sizing

int main(int argc, char **argv) {
  examples::Job job(argc, argv);
  CLI::App app("Capacitated lot sizing with setup times by column generation", "lot_sizing");
  lot_sizing::Settings settings;
  lot_sizing::add_options(app, settings);
  job.add_options(app);
  if (const auto status = examples::parse(app, argc, argv)) return job.finish(*status);
  return job.finish(examples::run_guarded([&] { return lot_sizing::run(settings, job); }));
}

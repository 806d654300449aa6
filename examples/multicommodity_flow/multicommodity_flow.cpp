#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>

#include "examples/common/job.h"
#include "examples/common/master_solve.h"
#include "examples/common/options.h"
#include "examples/common/output.h"
#include "examples/common/report.h"
#include "examples/common/text_reader.h"
#include "examples/multicommodity_flow/master.h"
#include "examples/multicommodity_flow/network.h"
#include "examples/multicommodity_flow/origin_blocks.h"

// The master problem, its pricing and its bound are derived in README.md.

namespace multicommodity_flow {

struct Settings : examples::Options {
  OracleSettings oracle;
  std::string generate;  ///< what to generate; empty: read the file
  int64_t unserved_cost = 10000;
  std::string write_file;
  bool prices = false;
};

constexpr const char *kGenerator = "KIND,NODES,COMMODITIES,LEAST,MOST,SEED";
// A price below this is what an interior point leaves of 0.
constexpr double kLeastPrice = 1e-3;

static void add_options(CLI::App &app, Settings &settings) {
  examples::add_options(app, settings);
  examples::add_generator(
      app, settings.generate, kGenerator,
      "make a network instead; KIND is planar or grid, LEAST and MOST are for the capacities. Or "
      "one of the names g100, g100t, g200, g200t and g300");
  app.add_option("--unserved-cost", settings.unserved_cost,
                 "of a unit not sent in a network made by --generate; 0: all has to be sent")
      ->check(CLI::Range(0, 1000000000))
      ->capture_default_str();
  const std::map<std::string, Grouping> groupings = {
      {"commodity", Grouping::kCommodity}, {"origin", Grouping::kOrigin}, {"all", Grouping::kAll}};
  app.add_option("--columns", settings.oracle.grouping,
                 "what a column sends: commodity, origin or all; with all the default of "
                 "--divisor is 1.05")
      ->transform(CLI::CheckedTransformer(groupings))
      ->type_name("GROUPING")
      ->default_str("commodity");
  app.add_option("--first-passes", settings.oracle.first_passes,
                 "passes over all origins that make the first columns")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  app.add_flag("--all-rows", settings.oracle.all_rows,
               "a row for every arc from the start, not when it becomes necessary");
  app.add_flag("--prices", settings.prices, "print the arcs that have a price at the end");
  app.add_option("--write", settings.write_file, "only write the network to this file")
      ->type_name("FILE");
}

static Network generate(const Settings &settings) {
  if (settings.generate.find(',') == std::string::npos) {
    Recipe recipe = benchmark_recipe(settings.generate);
    recipe.unserved_cost = settings.unserved_cost;
    return planar_network(recipe);
  }
  const examples::Line fields = examples::generator_fields(settings.generate, kGenerator);
  Recipe recipe;
  recipe.nodes = static_cast<int32_t>(fields.integer(1, "the number of nodes", 2, 100000));
  recipe.commodities =
      static_cast<int32_t>(fields.integer(2, "the number of commodities", 1, 10000000));
  recipe.least_capacity = fields.integer(3, "the least capacity", 0, 1000000000);
  recipe.most_capacity =
      fields.integer(4, "the largest capacity", recipe.least_capacity, 1000000000);
  recipe.seed = fields.integer(5, "the seed", 1, 2147483646);
  recipe.unserved_cost = settings.unserved_cost;
  if (fields.text(0) == "planar") return planar_network(recipe);
  if (fields.text(0) == "grid") return grid_network(recipe);
  fields.fail("the kind must be planar or grid, not " + fields.text(0));
}

static Network load(const Settings &settings) {
  if (settings.generate.empty()) return read_network(settings.file);
  try {
    return generate(settings);
  } catch (const std::invalid_argument &error) {
    throw examples::InputError("--generate", 1, error.what());
  }
}

static int write(const Network &network, const std::string &path) {
  FILE *stream = std::fopen(path.c_str(), "w");
  if (stream == nullptr) throw examples::OutputError(path, errno);
  write_network(network, stream);
  const bool failed = std::ferror(stream) != 0;
  if (std::fclose(stream) != 0 || failed) throw examples::OutputError(path, errno);
  return examples::kSolved;
}

static void print_prices(const Network &network, const quarn::Master &master,
                         const quarn::Duals &duals) {
  std::puts("\n     from       to        cost    capacity       price");
  for (const auto &[a, row] : rows_of_arcs(master)) {
    if (duals[row] > -kLeastPrice) continue;
    const Arc &arc = network.arcs[static_cast<size_t>(a)];
    std::printf("%9d %8d %11lld %11lld %11.3f\n", static_cast<int>(arc.tail + 1),
                static_cast<int>(arc.head + 1), static_cast<long long>(arc.cost),
                static_cast<long long>(arc.capacity), -duals[row]);
  }
}

static int solve(const Settings &settings, const Network &network, quarn::BlockPricer *pricer) {
  OracleSettings oracle_settings = settings.oracle;
  oracle_settings.columns_per_call = settings.columns_per_call;
  quarn::Master master =
      examples::resumed(make_master(network, oracle_settings), settings, column_text());
  Oracle oracle(network, oracle_settings, master, pricer);
  const quarn::Settings how = examples::settings_of(settings, first_duals(master));
  const quarn::Result result =
      examples::solve(master, std::ref(oracle), settings, how, column_text());
  examples::print_summary(result);
  std::printf("capacity rows   %zu of %d arcs\n", rows_of_arcs(master).size(),
              static_cast<int>(network.arc_count()));
  const int status = examples::exit_status(result);
  if (settings.prices && status == examples::kSolved) print_prices(network, master, result.duals);
  const std::string &name = settings.generate.empty() ? settings.file : settings.generate;
  examples::write_json({name, result, std::nullopt}, settings.json_file);
  return status;
}

static int run(const Settings &settings, examples::Job &job) {
  const Network network = load(settings);
  if (!settings.write_file.empty()) {
    return job.has_master() ? write(network, settings.write_file) : examples::kSolved;
  }
  OriginBlocks blocks(network, settings.oracle.grouping);
  const bool one_block = settings.oracle.grouping == Grouping::kAll;
  return job.run(blocks, [&](quarn::BlockPricer *pricer) {
    return solve(settings, network, one_block ? nullptr : pricer);
  });
}

}  // namespace multicommodity_flow

int main(int argc, char **argv) {
  examples::Job job(argc, argv);
  CLI::App app("Linear multicommodity flow by column generation", "multicommodity_flow");
  multicommodity_flow::Settings settings;
  multicommodity_flow::add_options(app, settings);
  job.add_options(app);
  if (const auto status = examples::parse(app, argc, argv)) return job.finish(*status);
  if (app.count("--divisor") == 0) {
    settings.divisor = multicommodity_flow::default_divisor(settings.oracle.grouping);
  }
  return job.finish(examples::run_guarded([&] { return multicommodity_flow::run(settings, job); }));
}

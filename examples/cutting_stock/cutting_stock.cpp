#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "examples/common/integer_search.h"
#include "examples/common/master_solve.h"
#include "examples/common/options.h"
#include "examples/common/report.h"
#include "examples/common/text_reader.h"
#include "examples/cutting_stock/instance.h"
#include "examples/cutting_stock/integer_patterns.h"
#include "examples/cutting_stock/master.h"
#include "examples/cutting_stock/pattern_pricing.h"
#include "examples/cutting_stock/rounding.h"

namespace cutting_stock {

// The master problem, its pricing and its bound are derived in README.md.

struct Settings : MasterSettings {
  std::string generate;  ///< what to generate; empty: solve the file
  examples::SearchOptions search;
};

namespace bp = quarn::branch_and_price;

// Strong branching: pairs that are compared, and for how long.
constexpr int32_t kCandidates = 8;
constexpr int32_t kProbeIterations = 3;
constexpr const char *kGenerator = "TYPES,SEED";
constexpr int64_t kMostPieces = 5000;
// What rounding errors may add to a lower bound, relative.
constexpr double kBoundError = 1e-9;

static CuttingPlan rounded_plan(const Instance &instance, const PatternPricer &pricer,
                                const quarn::Master &master, const quarn::Result &result) {
  std::vector<PatternUse> solution;
  for (const auto &[column, value] : result.values) {
    solution.push_back({pattern_of(master, column), value});
  }
  CuttingPlan plan = round_up(instance, pricer, std::move(solution));
  verify(instance, plan, false);
  return plan;
}

/// What the library's heuristic found; empty when it found nothing.
static CuttingPlan heuristic_plan(const Instance &instance, bool exactly,
                                  const quarn::Master &master, const quarn::Result &result) {
  CuttingPlan plan;
  for (const auto &[column, value] : result.integer_values) {
    plan.push_back({pattern_of(master, column), std::llround(value)});
  }
  if (!plan.empty()) verify(instance, plan, exactly);
  return plan;
}

static void print_plan(const Instance &instance, const CuttingPlan &plan) {
  std::puts("\n    rolls  pattern");
  for (const Cut &cut : merged(instance, plan)) {
    std::printf("%9lld ", static_cast<long long>(cut.rolls));
    for (const Piece &piece : cut.pattern) {
      std::printf(" %lldx%lld", static_cast<long long>(piece.copies),
                  static_cast<long long>(instance.types[static_cast<size_t>(piece.type)].size));
    }
    std::putchar('\n');
  }
}

/// Prints the plan and returns its number of rolls.
static std::optional<double> report_plan(const Instance &instance, const CuttingPlan &plan,
                                         const quarn::Result &result) {
  const double least = std::ceil(std::max(0.0, result.lower_bound) * (1.0 - kBoundError));
  if (result.status == quarn::Status::optimal)
    std::printf("LP value        %.6f\n", result.upper_bound);
  if (plan.empty()) {
    std::printf(
        "rolls           none: the rounding heuristic found no integer solution "
        "(at least %.0f are needed)\n",
        least);
    return std::nullopt;
  }
  std::printf("rolls           %lld (at least %.0f are needed)\n",
              static_cast<long long>(rolls(plan)), least);
  print_plan(instance, plan);
  return static_cast<double>(rolls(plan));
}

static int generate(const std::string &text) {
  const examples::Line fields = examples::generator_fields(text, kGenerator);
  const int64_t types = fields.integer(0, "the number of types", 1, kMostGeneratedTypes);
  const int64_t seed = fields.integer(1, "the seed", 1, 2147483646);
  write_instance(generate_instance(static_cast<int32_t>(types), seed), stdout);
  return examples::kSolved;
}

/// For (1) or for (4).
static Instance load(const Settings &settings) {
  const Instance instance = read_instance(settings.file);
  if (!settings.integer) return instance;
  if (instance.pieces() > kMostPieces) {
    throw examples::InputError(settings.file, 0,
                               "--integer makes a row for each of at most " +
                                   std::to_string(kMostPieces) + " pieces, this instance has " +
                                   std::to_string(instance.pieces()));
  }
  return piece_by_piece(instance);
}

/// To the integer optimum.
static int search(const Settings &settings) {
  const Instance instance = read_instance(settings.file);
  PatternPricer pricer(instance);
  const quarn::Master master = make_integer_master(instance, pricer);
  IntegerPatterns problem(instance, pricer, master);
  bp::Search search(problem, master);
  bp::Settings how;
  how.candidates = kCandidates;
  how.probe_iterations = kProbeIterations;
  const bp::Outcome outcome = examples::run_search(
      search, settings, examples::search_settings(settings, settings.search, how));
  examples::print_summary(outcome);
  if (outcome.has_solution) {
    const CuttingPlan plan = IntegerPatterns::plan_of(outcome.solution);
    verify(instance, plan, false);
    print_plan(instance, plan);
  }
  examples::write_json(settings.file, outcome, settings.json_file);
  return examples::exit_status(outcome);
}

static int solve(const Settings &settings) {
  if (!settings.generate.empty()) return generate(settings.generate);
  if (settings.search.optimal) return search(settings);
  const Instance instance = load(settings);
  PatternPricer pricer(instance);
  quarn::Master master = examples::resumed(make_master(instance, pricer, settings), settings);
  const Oracle oracle(instance, pricer, master, settings.columns_per_call);
  quarn::Settings how = examples::settings_of(settings);
  how.rounding = settings.integer;
  const quarn::Result result = examples::solve(master, oracle, settings, how);
  examples::print_summary(result);
  std::optional<double> integer_value;
  const int status = examples::exit_status(result);
  if (status == examples::kSolved) {
    const CuttingPlan plan = settings.integer
                                 ? heuristic_plan(instance, !settings.covering, master, result)
                                 : rounded_plan(instance, pricer, master, result);
    integer_value = report_plan(instance, plan, result);
  }
  examples::write_json({settings.file, result, integer_value}, settings.json_file);
  return status;
}

}  // namespace cutting_stock

int main(int argc, char **argv) {
  CLI::App app("Cutting stock by column generation", "cutting_stock");
  cutting_stock::Settings settings;
  examples::add_options(app, settings);
  examples::add_generator(app, settings.generate, cutting_stock::kGenerator,
                          "print a random instance in the file format instead of solving one");
  app.add_flag("--default-box", settings.default_box,
               "the library's default limits of the duals, +-1e10, instead of provable ones");
  CLI::Option *integer =
      app.add_flag("--integer", settings.integer,
                   "equality rows and the library's rounding heuristic; print what it finds");
  examples::add_search_options(app, settings.search);
  app.get_option("--optimal")->excludes(integer);
  app.add_flag("--covering", settings.covering, "with --integer: covering rows, not equations")
      ->needs(integer);
  if (const auto status = examples::parse(app, argc, argv)) return *status;
  return examples::run_guarded([&] { return cutting_stock::solve(settings); });
}

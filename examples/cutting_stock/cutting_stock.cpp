// Cutting stock. The master problem says how often each pattern p is cut; a_ip pieces of type i
// come out of one roll, d_i are wanted:
//
//   minimise    sum_p x_p
//   subject to  sum_p a_ip x_p >= d_i    for every type i, dual u_i >= 0                      (1)
//               x >= 0
//
// Reduced cost of a pattern: 1 - sum_i u_i a_ip; pricing is a bounded knapsack problem with at most
// d_i copies of type i, whose optimal value z is exact or replaced by a bound from above
// (pattern_pricing.h, bounded_knapsack.h).
//
// Lower bound. Let u+ = max(u, 0) and z its knapsack's value. u+ / z is worth at most 1 in every
// pattern, so it is feasible for the dual of (1), and
//
//   sum_i d_i u+_i / z                                                                        (2)
//
// is a lower bound whatever u is: every call counts.
//
// Dual box. min(d_i, floor(length / size_i)) pieces of type i alone are a pattern, so
//
//   0 <= u_i <= 1 / min(d_i, floor(length / size_i))                                          (3)
//
// for every feasible dual of (1). (Without the d_i the interval may cut optimal duals off, since
// the pattern that proves it may not be one.) An optimal dual often lies on the upper limit. The
// column of the box is then as good as the pattern that proves (3), a centred solution divides the
// weight between the two, and the run ends with status 5. So the limit gets a margin, which makes
// the box column dearer than the pattern. It is still in use a little, as every column of a centred
// solution: together with its cost by about the gap divided by the number of columns, and the
// library's test for box columns in use is absolute. Instances of more than kManyRolls rolls have
// the library's wide box instead.
//
// Start. The first columns are those of a complete solution that wastes little: the patterns that
// pricing finds for prices u_i = size_i / length, one after the other for the demands that remain.
//
// Integer solutions. The library's rounding heuristic takes a column only if it meets all the rows
// that it touches, so for it every piece gets a row of its own:
//
//   sum_p a_jp x_p = 1    for every piece j, u_j of any sign, a_jp 0 or 1                      (4)
//
// With the box of (1) the surplus of covering rows would appear on box columns of cost 0, which the
// integer driver takes for a sign of infeasibility; equations have none. Patterns stay patterns
// when pieces are taken away, so the optimum is that of (1), pieces of negative dual are left out
// of patterns, and (2) holds as before. The problems that the heuristic solves in between have few
// columns and no claim to (3), so the box is the wide default; and patterns of one piece, there
// from the start, make all of them feasible.
//
// Equations forbid a good pattern as soon as one of its pieces is packed. With --covering the rows
// are >= 1 and such a pattern still serves for its other pieces; with the wide box surplus on a box
// column would be dear, so that none appears there.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/common/run_report.h"
#include "examples/common/text_reader.h"
#include "examples/cutting_stock/instance.h"
#include "examples/cutting_stock/pattern_pricing.h"
#include "examples/cutting_stock/rounding.h"

namespace cutting_stock {

struct Settings : examples::Options {
  bool default_box = false, integer = false, covering = false;
  std::string generate;  ///< what to generate; empty: solve the file
};

constexpr const char *kGenerator = "TYPES,SEED";
constexpr int64_t kMostPieces = 5000;
constexpr double kBoxMargin = 1.5;
// With random instances of 1 to 15 types, none of up to 15000 rolls ended with status 5, a third of
// those with ten times as many did.
constexpr double kManyRolls = 1000.0;
// The rounds bring so many different patterns that the duals are nearly settled: over the published
// instances 30, 100 and 1000 take 10.5, 9.8 and 9.1 rounds on average.
constexpr double kDivisor = 1000.0;
// A pattern worth less than this has a reduced cost that is mere rounding error.
constexpr double kLeastWorth = 1.0 + 1e-9;
constexpr double kLeastRolls = 1e-9;
// What rounding errors may add to a lower bound, relative.
constexpr double kBoundError = 1e-9;

/// Prices patterns.
class PatternOracle : public examples::Oracle {
 public:
  PatternOracle(const Instance &instance, const Settings &settings)
      : instance_(instance),
        pricer_(instance),
        most_(settings.columns_per_call),
        starts_with_pieces_(settings.integer && !settings.covering) {}

  examples::Answer price(QUARN_env &env) override {
    examples::ColumnBatch batch(*env.G);
    if (starts_with_pieces_) add_single_pieces(batch);
    const Pricing pricing = pricer_.price(env.u, kLeastWorth, most_);
    for (const Pattern &pattern : pricing.patterns) add(batch, pattern);
    batch.send(env);
    return {1, proven_bound(env.u, pricing.best_value) - examples::rmp_dual_value(env)};
  }

  /// Adds the patterns of a complete solution that wastes little.
  void start(QUARN_env &env) const {
    std::vector<double> u;
    std::vector<int64_t> demand;
    for (const ItemType &type : instance_.types) {
      u.push_back(static_cast<double>(type.size) / static_cast<double>(instance_.length));
      demand.push_back(type.demand);
    }
    examples::ColumnBatch batch(*env.G);
    for (const Cut &cut : pricer_.fill(u.data(), demand)) add(batch, cut.pattern);
    batch.send(env);
  }

  const PatternPricer &pricer() const { return pricer_; }

 private:
  static void add(examples::ColumnBatch &batch, const Pattern &pattern) {
    batch.start_column(1.0);
    for (const Piece &piece : pattern) {
      batch.add_entry(piece.type, static_cast<double>(piece.copies));
    }
  }

  /// With these the equations (4) can be met whatever pieces remain.
  void add_single_pieces(examples::ColumnBatch &batch) {
    for (int32_t i = 0; i < instance_.size(); ++i) add(batch, {{i, 1}});
    starts_with_pieces_ = false;
  }

  /// The lower bound (2).
  double proven_bound(const double *u, double best_value) const {
    double worth = 0.0;
    for (size_t i = 0; i < instance_.types.size(); ++i) {
      worth += static_cast<double>(instance_.types[i].demand) * std::max(u[i], 0.0);
    }
    return worth > 0.0 ? worth / best_value : 0.0;
  }

  const Instance &instance_;
  PatternPricer pricer_;
  int32_t most_;
  bool starts_with_pieces_;
};

static double least_rolls(const Instance &instance) {
  double rolls = 0.0;
  for (const ItemType &type : instance.types) {
    rolls += static_cast<double>(type.size) * static_cast<double>(type.demand);
  }
  return rolls / static_cast<double>(instance.length);
}

static examples::MasterRows make_rows(const Instance &instance, const Settings &settings) {
  examples::MasterRows rows;
  const bool default_box = settings.default_box || least_rolls(instance) > kManyRolls;
  for (int32_t i = 0; i < instance.size(); ++i) {
    const auto demand = static_cast<double>(instance.types[static_cast<size_t>(i)].demand);
    if (settings.integer) {
      rows.add_linking_row(settings.covering ? examples::kAtLeast : examples::kEqual, demand);
    } else if (default_box) {
      rows.add_linking_row(examples::kAtLeast, demand);
    } else {
      rows.add_linking_row(examples::kAtLeast, demand, 0.0,
                           kBoxMargin / static_cast<double>(instance.most_copies(i)));
    }
  }
  return rows;
}

static Pattern pattern_of(const examples::MasterColumn &column) {
  Pattern pattern;
  for (const examples::Entry &entry : column.entries) {
    pattern.push_back({entry.row, std::llround(entry.value)});
  }
  return pattern;
}

static CuttingPlan rounded_plan(const Instance &instance, const PatternPricer &pricer,
                                QUARN_env &env) {
  std::vector<PatternUse> solution;
  for (const examples::MasterColumn &column : examples::master_solution(env, kLeastRolls)) {
    solution.push_back({pattern_of(column), column.value});
  }
  CuttingPlan plan = round_up(instance, pricer, std::move(solution));
  verify(instance, plan, false);
  return plan;
}

/// What the library's heuristic found; empty when it found nothing.
static CuttingPlan heuristic_plan(const Instance &instance, bool exactly, QUARN_env &env) {
  CuttingPlan plan;
  for (const examples::MasterColumn &column : examples::integer_solution(env)) {
    plan.push_back({pattern_of(column), std::llround(column.value)});
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
                                         const examples::MasterResult &result) {
  const double least = std::ceil(std::max(0.0, result.lower_bound) * (1.0 - kBoundError));
  if (result.gap_closed) std::printf("LP value        %.6f\n", result.upper_bound);
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

static int solve(const Settings &settings) {
  if (!settings.generate.empty()) return generate(settings.generate);
  const Instance instance = load(settings);
  PatternOracle oracle(instance, settings);
  examples::MasterRun run(make_rows(instance, settings), oracle, settings);
  QUARN_set_max_number_columns(&run.env(), std::numeric_limits<int32_t>::max());
  if (!settings.integer) oracle.start(run.env());
  const examples::MasterResult result = settings.integer ? run.solve_integer() : run.solve();
  examples::print_summary(stdout, result);
  std::optional<double> integer_value;
  if (result.status == 0) {
    const CuttingPlan plan = settings.integer
                                 ? heuristic_plan(instance, !settings.covering, run.env())
                                 : rounded_plan(instance, oracle.pricer(), run.env());
    integer_value = report_plan(instance, plan, result);
  }
  examples::write_json({settings.file, result, integer_value}, settings.json_file);
  return examples::exit_status(result);
}

}  // namespace cutting_stock

int main(int argc, char **argv) {
  CLI::App app("Cutting stock by column generation", "cutting_stock");
  cutting_stock::Settings settings;
  settings.divisor = cutting_stock::kDivisor;
  examples::add_options(app, settings);
  examples::add_generator(app, settings.generate, cutting_stock::kGenerator,
                          "print a random instance in the file format instead of solving one");
  app.add_flag("--default-box", settings.default_box,
               "the library's default limits of the duals, +-1e10, instead of provable ones");
  CLI::Option *integer =
      app.add_flag("--integer", settings.integer,
                   "equality rows and the library's rounding heuristic; print what it finds");
  app.add_flag("--covering", settings.covering, "with --integer: covering rows, not equations")
      ->needs(integer);
  if (const auto status = examples::parse(app, argc, argv)) return *status;
  return examples::run_guarded([&] { return cutting_stock::solve(settings); });
}

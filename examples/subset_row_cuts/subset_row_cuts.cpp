// Partitioning items into groups, with cuts that the oracle adds to the master problem as rows. The
// page of the example, README.md beside this file, derives the master problem, its pricing with
// cuts, the lower bound, and what happens to both bounds when rows are added.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/common/run_report.h"
#include "examples/common/text_reader.h"
#include "examples/subset_row_cuts/cuts.h"
#include "examples/subset_row_cuts/groups.h"

namespace subset_row_cuts {

// Reduced costs are differences of numbers of the size of the objective; below this share of it
// they are rounding.
constexpr double kAccuracy = 1e-10;
// Cuts are looked for below this relative gap: the solution then is near an optimal one.
constexpr double kCutGap = 1e-5;

struct Settings : examples::Options {
  int32_t rounds = 100;  ///< of cuts, at most
  int32_t cuts_per_round = 10;
  std::string generate;  ///< what to generate; empty: read the file
};

/// What was known of the master problem when cuts were added to it.
struct Round {
  int32_t iteration, cuts;
  double lower_bound, value;
};

class GroupOracle : public examples::Oracle {
 public:
  GroupOracle(const Instance &instance, const Settings &settings)
      : items_(static_cast<int32_t>(instance.items.size())),
        settings_(settings),
        groups_(list_groups(instance)) {}

  examples::Answer price(QUARN_env &env) override {
    const double value = env.u[env.G->m - 1];
    const double bound = add_groups(env, value);
    const double best = std::max(bound, env.lowerBnd);
    if (value - best <= kCutGap * value && add_cuts(env, best, value)) return {0, 0.0};
    return {1, bound - examples::rmp_dual_value(env)};
  }

  const std::vector<Group> &groups() const { return groups_; }
  const std::vector<Round> &rounds() const { return rounds_; }

 private:
  /// The rows, from 0, in which the group's column has a 1.
  std::vector<int32_t> rows_of(const Group &group) const {
    std::vector<int32_t> rows;
    for (int32_t i = 0; i < items_; ++i) {
      if ((group.items >> i & 1U) != 0) rows.push_back(i);
    }
    int32_t row = items_;
    for (const ItemSet triple : cuts_) {
      if (cuts_across(group.items, triple)) rows.push_back(row);
      ++row;
    }
    rows.push_back(row);
    return rows;
  }

  /// Adds the groups of least reduced cost; returns the lower bound that the duals prove.
  double add_groups(QUARN_env &env, double value) const {
    // The bound needs the right signs, which interior points may miss by their tolerance.
    std::vector<double> duals(env.u, env.u + env.m + 1);
    for (size_t r = static_cast<size_t>(items_); r < duals.size(); ++r) {
      duals[r] = std::min(duals[r], 0.0);
    }
    std::vector<std::pair<double, int32_t>> found;
    for (size_t g = 0; g < groups_.size(); ++g) {
      double cost = groups_[g].cost;
      for (const int32_t row : rows_of(groups_[g])) cost -= duals[static_cast<size_t>(row)];
      if (cost < 0.0) found.push_back({cost, static_cast<int32_t>(g)});
    }
    std::sort(found.begin(), found.end());
    double bound = found.empty() ? 0.0 : env.RHS[env.m] * found.front().first;
    for (size_t r = 0; r < duals.size(); ++r) bound += env.RHS[r] * duals[r];

    const auto most = static_cast<size_t>(settings_.columns_per_call);
    examples::ColumnBatch batch(*env.G);
    for (size_t k = 0; k < found.size() && (most == 0 || k < most); ++k) {
      const auto [cost, index] = found[k];
      if (cost > -kAccuracy * value) break;
      const Group &group = groups_[static_cast<size_t>(index)];
      batch.start_column(group.cost, index);
      for (const int32_t row : rows_of(group)) batch.add_entry(row, 1.0);
    }
    batch.send(env);
    return bound;
  }

  /// Adds cuts that the restricted master problem violates; false when there are none.
  ///
  /// The lower bound stays: with more rows the value can only rise. The upper bound does not, it
  /// came from solutions that the cuts exclude. Nor may the value of the problem just solved become
  /// one again, hence the answer 0, after which the library takes no bound from this iteration;
  /// what the answer proves is put into the record here. With the upper bound unknown the gap is
  /// open, so the run goes on, and the next answer closes it from the problem with the cuts.
  bool add_cuts(QUARN_env &env, double bound, double value) {
    if (static_cast<int32_t>(rounds_.size()) >= settings_.rounds) return false;
    const std::vector<ItemSet> cuts =
        separate(env, groups_, items_, static_cast<size_t>(settings_.cuts_per_round));
    if (cuts.empty()) return false;
    add_cut_rows(env, groups_, cuts);
    cuts_.insert(cuts_.end(), cuts.begin(), cuts.end());
    rounds_.push_back({env.outer_iterations, static_cast<int32_t>(cuts.size()), bound, value});
    QUARN_set_lowerBnd(&env, bound);
    QUARN_set_upperBnd(&env, 1e30);
    return true;
  }

  const int32_t items_;
  const Settings &settings_;
  std::vector<Group> groups_;
  std::vector<ItemSet> cuts_;  ///< in the order of their rows, which follow those of the items
  std::vector<Round> rounds_;
};

/// The rows without cuts. A box column leaves an item out, at a price above that of any
/// partition.
static examples::MasterRows master_rows(const Instance &instance) {
  double box = 0.0;
  for (const Item &a : instance.items) {
    for (const Item &b : instance.items) box += 1.0 + static_cast<double>(distance(a, b));
  }
  examples::MasterRows rows;
  for (size_t i = 0; i < instance.items.size(); ++i) {
    rows.add_linking_row(examples::kEqual, 1.0, -box, box);
  }
  rows.add_further_row(examples::kAtMost, instance.groups);
  return rows;
}

static void print_rounds(const std::vector<Round> &rounds, const examples::MasterResult &result) {
  std::printf("\n%9s %9s %9s %18s %18s\n", "cuts", "added", "iteration", "lower bound", "value");
  int32_t cuts = 0;
  for (const Round &round : rounds) {
    std::printf("%9d %9d %9d %18.10g %18.10g\n", cuts, round.cuts, round.iteration,
                round.lower_bound, round.value);
    cuts += round.cuts;
  }
  std::printf("%9d %9d %9d %18.10g %18.10g\n", cuts, 0, result.outer_iterations, result.lower_bound,
              result.upper_bound);
}

/// Prints the groups in use. Returns their cost when they are a partition: the best.
static std::optional<double> print_groups(QUARN_env &env, const std::vector<Group> &groups) {
  constexpr double kVisible = 1e-3;
  double cost = 0.0;
  bool whole = true;
  std::puts("\n    share      cost  items");
  for (const examples::MasterColumn &column : examples::master_solution(env, kVisible)) {
    const ItemSet items = groups[static_cast<size_t>(column.tag)].items;
    std::printf("%9.6f %9g ", column.value, column.cost);
    for (int i = 0; i < kMostItems; ++i) {
      if ((items >> i & 1U) != 0) std::printf(" %d", i + 1);
    }
    std::printf("\n");
    whole = whole && column.value > 1.0 - kVisible;
    cost += column.cost;
  }
  if (!whole) return std::nullopt;
  std::printf("\nThe groups are a partition, of cost %.10g.\n", cost);
  return cost;
}

constexpr const char *kGenerator = "ITEMS,SEED";

static Instance load(const Settings &settings) {
  if (settings.generate.empty()) return read_instance(settings.file);
  const examples::Line fields = examples::generator_fields(settings.generate, kGenerator);
  const int64_t items = fields.integer(0, "the number of items", 3, kMostItems);
  return generate_instance(static_cast<int32_t>(items),
                           fields.integer(1, "the seed", 1, 2147483646));
}

static int solve(const Settings &settings) {
  const Instance instance = load(settings);
  GroupOracle oracle(instance, settings);
  examples::MasterRun run(master_rows(instance), oracle, settings);
  const examples::MasterResult result = run.solve();
  print_rounds(oracle.rounds(), result);
  std::optional<double> integer_value;
  if (result.status == 0) integer_value = print_groups(run.env(), oracle.groups());
  examples::print_summary(stdout, result);
  const std::string &name = settings.generate.empty() ? settings.file : settings.generate;
  examples::write_json({name, result, integer_value}, settings.json_file);
  return examples::exit_status(result);
}

static void add_options(CLI::App &app, Settings &settings) {
  settings.columns_per_call = 20;
  examples::add_options(app, settings);
  examples::add_generator(app, settings.generate, kGenerator, "make an instance instead");
  app.add_option("--rounds", settings.rounds, "most rounds of cuts; 0: no cuts")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--cuts-per-round", settings.cuts_per_round, "most cuts of one round")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
}

}  // namespace subset_row_cuts

int main(int argc, char **argv) {
  CLI::App app("Partitioning with subset-row cuts by column generation", "subset_row_cuts");
  subset_row_cuts::Settings settings;
  subset_row_cuts::add_options(app, settings);
  if (const auto status = examples::parse(app, argc, argv)) return *status;
  return examples::run_guarded([&] { return subset_row_cuts::solve(settings); });
}

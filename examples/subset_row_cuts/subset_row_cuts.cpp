// Partitioning items into groups, with cuts that the oracle adds to the master problem as rows. The
// page of the example, README.md beside this file, derives the master problem, its pricing with
// cuts, the lower bound, and what happens to both bounds when rows are added.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "examples/common/master_solve.h"
#include "examples/common/options.h"
#include "examples/common/report.h"
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

// Formulation

/// The rows without cuts.
static quarn::Master make_master(const Instance &instance) {
  quarn::Master master;
  for (size_t i = 1; i <= instance.items.size(); ++i) {
    master.add_row(quarn::RowSense::equal, 1.0, {"item " + std::to_string(i)});
  }
  master.add_block(quarn::RowSense::at_most, instance.groups, "groups");
  return master;
}

/// Leaving an item out has a price above that of any partition.
static double penalty(const Instance &instance) {
  double sum = 0.0;
  for (const Item &a : instance.items) {
    for (const Item &b : instance.items) sum += 1.0 + static_cast<double>(distance(a, b));
  }
  return sum;
}

/// The columns' objects are their ItemSets.
static examples::ColumnText column_text() {
  return {[](const quarn::Column &column) { return std::to_string(column.get<ItemSet>()); },
          [](const std::string &text) { return std::any(static_cast<ItemSet>(std::stoul(text))); }};
}

class Oracle {
 public:
  /// The master is one of make_master, or goes on from one; it gets the cuts.
  Oracle(const Instance &instance, const Settings &settings, quarn::Master &master)
      : items_(static_cast<int32_t>(instance.items.size())),
        most_groups_(instance.groups),
        settings_(settings),
        groups_(list_groups(instance)),
        master_(master),
        rows_(master.rows()) {
    const auto first_cut = rows_.begin() + items_ + 1;
    for (auto row = first_cut; row != rows_.end(); ++row) cuts_.push_back({triple_of(*row), *row});
  }

  quarn::Answer operator()(const quarn::Duals &duals, quarn::Columns &columns) {
    const double value = duals.objective();
    const double bound = add_groups(duals, columns);
    const double best = std::max(bound, duals.lower_bound());
    if (value - best <= kCutGap * value) add_cuts(duals, best);
    return quarn::Answer::bound(bound);
  }

  const std::vector<Round> &rounds() const { return rounds_; }

 private:
  struct Cut {
    ItemSet triple;
    quarn::Row row;
  };

  // Pricing

  double reduced_cost(const Group &group, const std::vector<double> &u) const {
    double cost = group.cost - u[static_cast<size_t>(items_)];
    for (int32_t i = 0; i < items_; ++i) {
      if ((group.items >> i & 1U) != 0) cost -= u[static_cast<size_t>(i)];
    }
    for (const Cut &cut : cuts_) {
      if (cuts_across(group.items, cut.triple)) cost -= u[static_cast<size_t>(cut.row.index())];
    }
    return cost;
  }

  void add(const Group &group, quarn::Columns &columns) const {
    std::vector<quarn::Entry> entries = {{rows_[static_cast<size_t>(items_)], 1.0}};
    for (int32_t i = 0; i < items_; ++i) {
      if ((group.items >> i & 1U) != 0) entries.push_back({rows_[static_cast<size_t>(i)], 1.0});
    }
    for (const Cut &cut : cuts_) {
      if (cuts_across(group.items, cut.triple)) entries.push_back({cut.row, 1.0});
    }
    columns.add(group.cost, entries, group.items);
  }

  /// Adds the groups of least reduced cost; returns the lower bound that the duals prove.
  double add_groups(const quarn::Duals &duals, quarn::Columns &columns) const {
    const std::vector<double> &u = duals.values();
    std::vector<std::pair<double, size_t>> found;
    for (size_t g = 0; g < groups_.size(); ++g) {
      const double cost = reduced_cost(groups_[g], u);
      if (cost < 0.0) found.push_back({cost, g});
    }
    std::sort(found.begin(), found.end());
    const auto most = static_cast<size_t>(settings_.columns_per_call);
    for (size_t k = 0; k < found.size() && (most == 0 || k < most); ++k) {
      if (found[k].first > -kAccuracy * duals.objective()) break;
      add(groups_[found[k].second], columns);
    }
    return proven_bound(u, found.empty() ? 0.0 : found.front().first);
  }

  // Bound

  /// Of items and cuts the right-hand side is 1.
  double proven_bound(const std::vector<double> &u, double least_reduced_cost) const {
    double bound = most_groups_ * (u[static_cast<size_t>(items_)] + least_reduced_cost);
    for (int32_t i = 0; i < items_; ++i) bound += u[static_cast<size_t>(i)];
    for (const Cut &cut : cuts_) bound += u[static_cast<size_t>(cut.row.index())];
    return bound;
  }

  // Cuts

  /// Adds cuts that the restricted master problem violates. The lower bound stays: with more rows
  /// the value can only rise. The library drops the upper bound, which came from solutions that the
  /// cuts exclude, so the run goes on.
  void add_cuts(const quarn::Duals &duals, double bound) {
    if (static_cast<int32_t>(rounds_.size()) >= settings_.rounds) return;
    const std::vector<ItemSet> triples =
        separate(duals.solution(), items_, static_cast<size_t>(settings_.cuts_per_round));
    if (triples.empty()) return;
    for (const ItemSet triple : triples) cuts_.push_back({triple, add_cut(master_, triple)});
    rounds_.push_back(
        {duals.iteration(), static_cast<int32_t>(triples.size()), bound, duals.objective()});
  }

  const int32_t items_;
  const double most_groups_;
  const Settings &settings_;
  std::vector<Group> groups_;
  quarn::Master &master_;
  std::vector<quarn::Row> rows_;  ///< of the items and of the number of groups
  std::vector<Cut> cuts_;
  std::vector<Round> rounds_;
};

static void print_rounds(const std::vector<Round> &rounds, const quarn::Result &result) {
  std::printf("\n%9s %9s %9s %18s %18s\n", "cuts", "added", "iteration", "lower bound", "value");
  int32_t cuts = 0;
  for (const Round &round : rounds) {
    std::printf("%9d %9d %9d %18.10g %18.10g\n", cuts, round.cuts, round.iteration,
                round.lower_bound, round.value);
    cuts += round.cuts;
  }
  std::printf("%9d %9d %9d %18.10g %18.10g\n", cuts, 0, static_cast<int>(result.history.size()),
              result.lower_bound, result.upper_bound);
}

/// Prints the groups in use. Returns their cost when they are a partition: the best.
static std::optional<double> print_groups(const quarn::Result &result) {
  constexpr double kVisible = 1e-3;
  double cost = 0.0;
  bool whole = true;
  std::puts("\n    share      cost  items");
  for (const auto &[column, share] : result.values) {
    if (share <= kVisible) continue;
    const auto items = column.get<ItemSet>();
    std::printf("%9.6f %9g ", share, column.cost());
    for (int i = 0; i < kMostItems; ++i) {
      if ((items >> i & 1U) != 0) std::printf(" %d", i + 1);
    }
    std::printf("\n");
    whole = whole && share > 1.0 - kVisible;
    cost += column.cost();
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
  quarn::Master master = examples::resumed(make_master(instance), settings, column_text());
  Oracle oracle(instance, settings, master);
  quarn::Settings how = examples::settings_of(settings);
  how.penalty = penalty(instance);
  const quarn::Result result =
      examples::solve(master, std::ref(oracle), settings, how, column_text());
  print_rounds(oracle.rounds(), result);
  std::optional<double> integer_value;
  const int status = examples::exit_status(result);
  if (status == examples::kSolved) integer_value = print_groups(result);
  examples::print_summary(result);
  const std::string &name = settings.generate.empty() ? settings.file : settings.generate;
  examples::write_json({name, result, integer_value}, settings.json_file);
  return status;
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

#include "examples/cutting_stock/integer_patterns.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <tuple>

#include "examples/cutting_stock/master.h"

namespace cutting_stock {

namespace bp = quarn::branch_and_price;

// A single piece is a pattern in every node, or belongs to a joined type that is one: no optimal
// dual is above 1, and the margin keeps the solution clear of the box.
constexpr double kLargestDual = 1.5;
// A pattern worth less than this has a reduced cost that is mere rounding error.
constexpr double kLeastWorth = 1.0 + 1e-9;
// As in pattern_pricing.cpp.
constexpr double kSlack = 0.05;
// A sum this close to a whole number is one.
constexpr double kWhole = 1e-5;
constexpr double kClearlyAbove = 0.2, kClearlyBelow = 0.9;
constexpr size_t kMostCandidates = 12;

quarn::Master make_integer_master(const Instance &instance, const PatternPricer &pricer) {
  quarn::Master master;
  std::vector<double> lengths;
  std::vector<int64_t> demand;
  for (const ItemType &type : instance.types) {
    quarn::RowOptions options;
    options.dual_bounds = {0.0, kLargestDual};
    master.add_row(quarn::RowSense::at_least, static_cast<double>(type.demand), options);
    lengths.push_back(static_cast<double>(type.size) / static_cast<double>(instance.length));
    demand.push_back(type.demand);
  }
  const std::vector<quarn::Row> rows = master.rows();
  for (const Cut &cut : pricer.fill(lengths.data(), demand)) {
    master.add_column(1.0, entries_of(cut.pattern, rows));
  }
  return master;
}

// Pricing

/// The rows of the types, joined ones included.
std::vector<quarn::Row> IntegerPatterns::node_rows(const bp::Subproblem &at) const {
  std::vector<quarn::Row> rows = rows_;
  for (const quarn::Row &row : at.rows) {
    if (row) rows.push_back(row);
  }
  return rows;
}

quarn::Answer IntegerPatterns::price(const bp::Subproblem &at, const quarn::Duals &duals,
                                     quarn::Columns &columns) {
  const std::vector<quarn::Row> rows = node_rows(at);
  std::vector<double> prices;
  std::vector<int64_t> demand;
  double worth = 0.0;
  for (const quarn::Row &row : rows) {
    demand.push_back(std::max<int64_t>(0, std::llround(at.master.range(row).lower)));
    prices.push_back(std::max(0.0, duals[row]));
    worth += prices.back() * static_cast<double>(demand.back());
  }
  const NodeTypes types(instance_, at.decisions);
  const double most = types.has_decisions() ? price_pairs(types, rows, prices, demand, columns)
                                            : price_plain(prices, demand, columns);
  return quarn::Answer::bound(worth > 0.0 ? worth / most : 0.0);
}

/// Adds patterns; returns what none is worth more than.
double IntegerPatterns::price_plain(const std::vector<double> &prices,
                                    const std::vector<int64_t> &demand, quarn::Columns &columns) {
  const Pricing pricing = pricer_.price(prices.data(), kLeastWorth, 0, demand);
  for (const Pattern &pattern : pricing.patterns) columns.add(1.0, entries_of(pattern, rows_));
  return pricing.best_value;
}

/// The same for a node with decisions: the best pattern, and for every type that no pattern of the
/// round holds yet the best one that does.
double IntegerPatterns::price_pairs(const NodeTypes &types, const std::vector<quarn::Row> &rows,
                                    const std::vector<double> &prices,
                                    const std::vector<int64_t> &demand,
                                    quarn::Columns &columns) const {
  ConflictKnapsack knapsack(instance_.length, types.items(prices, types.free_pieces(demand)));
  std::vector<bool> covered(types.size(), false);
  const auto add = [&](const ConflictPacking &packing) {
    std::vector<int64_t> free(types.size(), 0);
    for (const auto &[t, copies] : packing.items) {
      free[t] = copies;
      covered[t] = true;
    }
    const std::vector<int64_t> pieces = types.all_pieces(free);
    std::vector<quarn::Entry> entries;
    for (size_t t = 0; t < pieces.size(); ++t) {
      if (pieces[t] > 0) entries.push_back({rows[t], static_cast<double>(pieces[t])});
    }
    columns.add(1.0, entries);
  };
  const ConflictPacking best = knapsack.best(0.0);
  const double most = knapsack.bound();
  if (best.value <= kLeastWorth) return most;
  add(best);
  for (size_t t = 0; t < types.size(); ++t) {
    if (covered[t]) continue;
    const ConflictPacking packing = knapsack.best_with(t, kLeastWorth, kSlack);
    if (!packing.items.empty()) add(packing);
  }
  return most;
}

// Decisions

bool IntegerPatterns::allows(const bp::Decision &decision, const quarn::Column &,
                             const std::vector<quarn::Entry> &entries) const {
  return decision.kind != kPart || !pair_count(decision, entries).holds_pair();
}

double IntegerPatterns::coefficient(const bp::Decision &decision, const quarn::Column &,
                                    const std::vector<quarn::Entry> &entries) const {
  return pair_count(decision, entries).holds_pair() ? 1.0 : 0.0;
}

/// In how many rolls each pair of free pieces is.
std::map<IntegerPatterns::Pair, double> IntegerPatterns::pair_sums(
    const NodeTypes &types, const bp::Relaxation &relaxation) const {
  std::map<Pair, double> sums;
  for (const auto &[column, value] : relaxation.values) {
    std::vector<int64_t> pieces(types.size(), 0);
    for (const auto &[row, copies] : relaxation.at.master.entries(column)) {
      pieces[static_cast<size_t>(row.index())] = std::llround(copies);
    }
    const std::vector<int64_t> free = types.free_pieces(pieces);
    for (size_t a = 0; a < free.size(); ++a) {
      if (free[a] <= 0) continue;
      if (free[a] > 1) sums[{a, a}] += value;
      for (size_t b = a + 1; b < free.size(); ++b) {
        if (free[b] > 0) sums[{a, b}] += value;
      }
    }
  }
  return sums;
}

/// Pairs that are in less than one roll, from two lists in turn. One has those of long pieces
/// first: with whom these share a roll decides most; among them only clearly fractional ones, as
/// long as there are any. The other has those nearest to one half. Either alone needs many times
/// the nodes of both on some instances.
std::vector<bp::Branching> IntegerPatterns::branch(const bp::Relaxation &relaxation) {
  const NodeTypes types(instance_, relaxation.at.decisions);
  using Key = std::tuple<bool, int64_t, double>;
  std::vector<std::pair<Key, Pair>> longest, nearest;
  for (const auto &[pair, sum] : pair_sums(types, relaxation)) {
    if (sum < kWhole || sum > 1.0 - kWhole) continue;
    const bool clear = sum > kClearlyAbove && sum < kClearlyBelow;
    // Rounded, so that ties are not decided by a solver's last digits.
    const double distance = std::round(std::fabs(sum - 0.5) * 1e4);
    longest.push_back({{!clear, -types.length(pair.first), distance}, pair});
    nearest.push_back({{!clear, 0, distance}, pair});
  }
  std::sort(longest.begin(), longest.end());
  std::sort(nearest.begin(), nearest.end());
  std::vector<bp::Branching> candidates;
  std::set<Pair> taken;
  for (size_t k = 0; k < longest.size() && candidates.size() < kMostCandidates; ++k) {
    for (const Pair &pair : {longest[k].second, nearest[k].second}) {
      if (!taken.insert(pair).second) continue;
      candidates.push_back(types.branching(pair.first, pair.second));
    }
  }
  return candidates;
}

// Solutions

bool IntegerPatterns::fits(const bp::Subproblem &at, const quarn::Column &,
                           const std::vector<quarn::Entry> &entries) const {
  return std::all_of(entries.begin(), entries.end(), [&](const quarn::Entry &entry) {
    return entry.second <= at.master.range(entry.first).lower + 0.5;
  });
}

std::optional<bp::Solution> IntegerPatterns::heuristic(const bp::Relaxation &relaxation) {
  std::vector<PatternUse> uses;
  for (const auto &[column, value] : relaxation.values) {
    PatternUse use = {{}, value};
    for (const auto &[row, copies] : relaxation.at.master.entries(column)) {
      if (row.index() < instance_.size())
        use.pattern.push_back({row.index(), std::llround(copies)});
    }
    uses.push_back(std::move(use));
  }
  bp::Solution solution;
  for (const Cut &cut : round_up(instance_, pricer_, std::move(uses))) {
    solution.push_back({1.0, entries_of(cut.pattern, rows_), {}, static_cast<double>(cut.rolls)});
  }
  return solution;
}

CuttingPlan IntegerPatterns::plan_of(const bp::Solution &solution) {
  CuttingPlan plan;
  for (const bp::SolutionColumn &column : solution) {
    Cut cut = {{}, std::llround(column.value)};
    for (const auto &[row, copies] : column.entries) {
      cut.pattern.push_back({row.index(), std::llround(copies)});
    }
    std::sort(cut.pattern.begin(), cut.pattern.end(),
              [](const Piece &a, const Piece &b) { return a.type < b.type; });
    plan.push_back(std::move(cut));
  }
  return plan;
}

}  // namespace cutting_stock

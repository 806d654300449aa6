#include "branch_and_price/frame.hpp"

#include <algorithm>
#include <cmath>
#include <map>

namespace quarn {
namespace branch_and_price {

// What the oracle's own rounding errors may add to a bound.
constexpr double kBoundError = 1e-6;
// What may be missing from a row, relative to what is added up in it.
constexpr double kRowError = 1e-6;

double Objective::rounded_up(double bound) const {
  if (granularity <= 0.0 || std::fabs(bound) >= kInfinity) return bound;
  const double units = bound / granularity;
  return granularity * std::ceil(units - std::max(kBoundError, 1e-9 * std::fabs(units)));
}

double Objective::allowed(double value) const {
  return tolerance * std::max(1.0, std::fabs(value));
}

double Objective::enough(double incumbent) const {
  return granularity > 0.0 ? incumbent - granularity : incumbent - allowed(incumbent);
}

bool Objective::reaches(double bound, double incumbent) const {
  if (incumbent >= kInfinity) return bound >= kInfinity;
  return rounded_up(bound) >= incumbent - allowed(incumbent);
}

Frame::Frame(Problem &the_problem, const Master &root)
    : problem(the_problem), pool(root), root_rows(root.rows()) {
  objective.sign = root.sense() == Sense::minimize ? 1.0 : -1.0;
  objective.granularity = the_problem.granularity();
  if (!(objective.granularity >= 0.0)) throw Mistake("the granularity of costs is negative");
  for (const Row &row : root_rows) first_late_row = std::max(first_late_row, row.index() + 1);
  for (const Column &column : root.columns()) {
    first_late_column = std::max(first_late_column, column.index() + 1);
    check_cost(column.cost(), "column " + std::to_string(column.index()));
  }
}

double Frame::seconds() const {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

bool Frame::must_stop() {
  if (!stopped && settings.interrupt) stopped = settings.interrupt();
  return stopped || time_left() <= 0.0;
}

void Frame::check_cost(double cost, const std::string &what) const {
  if (objective.granularity <= 0.0) return;
  const double units = cost / objective.granularity;
  if (std::fabs(units - std::round(units)) <= 1e-9 * std::max(1.0, std::fabs(units))) return;
  throw Mistake(what + ": its cost " + std::to_string(cost) + " is no multiple of " +
                std::to_string(objective.granularity) + ", to which bounds are rounded up");
}

double Frame::cost(const Solution &solution) const {
  double sum = 0.0;
  for (const SolutionColumn &column : solution) sum += column.cost * column.value;
  return objective.sign * sum;
}

std::string Frame::violation(const Solution &solution) const {
  std::map<int32_t, std::pair<double, double>> sums;  // and what is added up
  for (const SolutionColumn &column : solution) {
    if (!(column.value >= -kRowError)) {
      return "a column is used " + std::to_string(column.value) + " times";
    }
    for (const auto &[row, entry] : column.entries) {
      auto &[sum, magnitude] = sums[row.index()];
      sum += entry * column.value;
      magnitude += std::fabs(entry * column.value);
    }
  }
  for (const Row &row : root_rows) {
    const Bounds sides = pool.range(row);
    const auto &[sum, magnitude] = sums[row.index()];
    const double error = kRowError * std::max(1.0, magnitude);
    if (sum >= sides.lower - error && sum <= sides.upper + error) continue;
    const bool below = sum < sides.lower;
    return "row '" + row.name() + "' is " + std::to_string(sum) + " instead of at " +
           (below ? "least " : "most ") + std::to_string(below ? sides.lower : sides.upper);
  }
  return "";
}

bool Frame::offer(const Solution &solution, const std::string &by) {
  const std::string wrong = violation(solution);
  if (!wrong.empty()) throw Mistake("a solution by " + by + " is none: " + wrong);
  for (const SolutionColumn &column : solution) check_cost(column.cost, "a column of a solution");
  const double found = cost(solution);
  if (found < tree_bound - 10.0 * objective.allowed(found)) {
    throw Mistake("a solution by " + by + " has the value " +
                  std::to_string(objective.sign * found) + ", better than the bound of the tree, " +
                  std::to_string(objective.sign * tree_bound) +
                  ": a bound of the oracle, or a branching that loses solutions, is wrong");
  }
  if (found >= limit - 1e-9 * std::max(1.0, std::fabs(limit))) return false;
  incumbent = solution;
  has_incumbent = true;
  value = limit = found;
  finds.push_back({by, objective.sign * found, seconds_before + seconds(),
                   objective.sign * std::max(tree_bound, -kInfinity)});
  return true;
}

std::vector<Entry> Frame::root_entries(const Master &master, const Column &column) const {
  std::vector<Entry> entries = master.entries(column);
  entries.erase(
      std::remove_if(entries.begin(), entries.end(),
                     [this](const Entry &entry) { return entry.first.index() >= first_late_row; }),
      entries.end());
  return entries;
}

void Frame::decide(NodeMaster *at, const Branch &decisions) const {
  for (const Decision &decision : decisions) {
    at->decisions.push_back(decision);
    at->rows.push_back({});
    at->master.remove_columns([&](const Column &column) {
      return !problem.allows(decision, column, at->master.entries(column));
    });
    if (!decision.row) continue;
    RowOptions options;
    for (const Column &column : at->master.columns()) {
      const double entry = problem.coefficient(decision, column, at->master.entries(column));
      if (entry != 0.0) options.entries.push_back({column, entry});
    }
    at->rows.back() = at->master.add_row(decision.row->sense, decision.row->rhs, options);
  }
}

void Frame::keep_columns(const Master &master, int32_t first) {
  std::vector<double> costs, values;
  std::vector<int64_t> starts = {0};
  std::vector<int32_t> rows;
  std::vector<std::any> data;
  for (const Column &column : master.columns()) {
    if (column.index() < first) continue;
    for (const auto &[row, value_in_row] : root_entries(master, column)) {
      rows.push_back(row.index());
      values.push_back(value_in_row);
    }
    costs.push_back(column.cost());
    data.push_back(column.data());
    starts.push_back(static_cast<int64_t>(rows.size()));
  }
  if (!costs.empty()) pool.add_columns(costs, starts, rows, values, std::move(data));
}

HeuristicReport &Frame::report(const std::string &name) {
  for (HeuristicReport &known : heuristics) {
    if (known.name == name) return known;
  }
  heuristics.push_back({name, 0, 0, 0, objective.sign * kNothing, 0.0});
  return heuristics.back();
}

}  // namespace branch_and_price
}  // namespace quarn

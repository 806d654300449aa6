#include "branch_and_price/dive.hpp"

#include <algorithm>
#include <cmath>

namespace quarn {
namespace branch_and_price {

// A value this close below a whole number counts as that number.
constexpr double kNearlyWhole = 1e-4;
constexpr double kRoomError = 1e-9;
// Steps of a dive need no sharper restricted masters: each is followed by another.
constexpr double kDiveTolerance = 1e-3;

Dive::Dive(Frame &frame, const NodeMaster &at, double bound)
    : frame_(frame), root_(at), bound_(bound) {}

void Dive::run(const std::vector<ColumnValue> &values) {
  explore({root_, {}, 0.0, bound_}, values, 0, frame_.settings.discrepancies);
}

bool Dive::is_over(double bound) { return frame_.is_cut_off(bound) || frame_.must_stop(); }

bool Dive::try_solution(const Solution &solution) {
  if (!frame_.violation(solution).empty()) return false;
  ++found_;
  best_ = std::min(best_, frame_.cost(solution));
  if (frame_.offer(solution, "dive")) ++improved_;
  return true;
}

void Dive::explore(Partial partial, std::vector<ColumnValue> values, int32_t depth,
                   int32_t discrepancies) {
  for (; !is_over(std::max(bound_, partial.bound)); ++depth) {
    const bool backtracks = discrepancies > 0 && depth < frame_.settings.discrepancy_depth;
    std::set<int32_t> passed_over;
    for (int32_t passed = 0; backtracks && passed < discrepancies; ++passed) {
      const std::vector<Choice> chosen = choices(partial, values, passed_over);
      if (chosen.empty()) return;
      Partial child = partial;
      std::vector<ColumnValue> child_values;
      passed_over.insert(fix(&child, chosen));
      if (solve(&child, &child_values)) {
        explore(std::move(child), std::move(child_values), depth + 1, discrepancies - passed);
      }
      if (is_over(bound_)) return;
    }
    // The last try needs no copy.
    const std::vector<Choice> chosen = choices(partial, values, passed_over);
    if (chosen.empty()) return;
    fix(&partial, chosen);
    if (backtracks) discrepancies = 0;
    if (!solve(&partial, &values)) return;
  }
}

/// Solves what is left; false when there is nothing to go on with.
bool Dive::solve(Partial *partial, std::vector<ColumnValue> *values) {
  if (try_solution(partial->fixed)) return false;
  remove_misfits(partial);
  GenerationOptions options;
  options.bound = bound_;
  options.offset = partial->cost;
  options.tolerance = std::max(frame_.settings.master.tolerance, kDiveTolerance);
  options.iterations = frame_.settings.dive_iterations;
  options.dive = true;
  options.may_settle = false;
  Generation generation = generate(frame_, partial->at, options);
  partial->bound = generation.bound;
  if (generation.end != End::finished && generation.end != End::iterations) return false;
  *values = std::move(generation.result.values);
  const Subproblem at = partial->at.subproblem(true);
  const Relaxation relaxation{at, *values, generation.result.duals,
                              frame_.objective.sign * generation.bound,
                              frame_.objective.sign * generation.value};
  std::optional<Solution> rest = frame_.problem.integer_solution(relaxation);
  if (!rest) return true;
  rest->insert(rest->end(), partial->fixed.begin(), partial->fixed.end());
  return !try_solution(*rest);
}

/// How often the column can still be used.
double Dive::room(const Partial &partial, const Column &column) const {
  double most = kInfinity;
  for (const auto &[row, entry] : partial.at.master.entries(column)) {
    const double upper = partial.at.master.range(row).upper;
    if (entry > 0.0 && upper < kInfinity) most = std::min(most, upper / entry);
  }
  return std::floor(most + kRoomError);
}

/// Columns that could be fixed, the nearest to a whole number above 0 first. Those of a value of 1
/// and more come before all others, at their whole part.
std::vector<Dive::Choice> Dive::choices(const Partial &partial,
                                        const std::vector<ColumnValue> &values,
                                        const std::set<int32_t> &passed_over) const {
  std::vector<Choice> choices;
  for (const auto &[column, value] : values) {
    if (value < kNearlyWhole || passed_over.count(column.index()) != 0) continue;
    const double whole = std::max(1.0, std::floor(value + kNearlyWhole));
    const double times = std::min(whole, room(partial, column));
    if (times < 1.0) continue;
    choices.push_back({{column, times}, value >= 1.0 - kNearlyWhole ? 0.0 : 1.0 - value});
  }
  std::stable_sort(choices.begin(), choices.end(),
                   [](const Choice &a, const Choice &b) { return a.distance < b.distance; });
  return choices;
}

/// Fixes the first choice, all others at their whole part, and more as far as the share of a step
/// goes. Returns the index of the first one's column.
int32_t Dive::fix(Partial *partial, const std::vector<Choice> &choices) const {
  double left = 0.0;
  for (const Choice &choice : choices) left += 1.0 - choice.distance;
  left *= frame_.settings.dive_share;
  for (size_t k = 0; k < choices.size(); ++k) {
    Choice choice = choices[k];
    left -= 1.0 - choice.distance;
    if (k > 0 && choice.distance > 0.0 && left < 0.0) break;
    const bool fits = frame_.problem.fits(partial->at.subproblem(true), choice.use.column,
                                          partial->at.master.entries(choice.use.column));
    choice.use.value = std::min(choice.use.value, room(*partial, choice.use.column));
    if (k > 0 && (!fits || choice.use.value < 1.0)) continue;
    fix_one(partial, choice);
  }
  return choices.front().use.column.index();
}

void Dive::fix_one(Partial *partial, const Choice &choice) const {
  const auto &[column, times] = choice.use;
  for (const Entry &entry : partial->at.master.entries(column)) {
    lower_sides(&partial->at.master, entry, times);
  }
  partial->fixed.push_back(
      {column.cost(), frame_.root_entries(partial->at.master, column), column.data(), times});
  partial->cost += frame_.objective.sign * column.cost() * times;
}

void Dive::lower_sides(Master *master, const Entry &entry, double times) const {
  const auto &[row, coefficient] = entry;
  Bounds sides = master->range(row);
  if (sides.lower > -kInfinity) sides.lower -= coefficient * times;
  if (sides.upper < kInfinity) sides.upper -= coefficient * times;
  if (row.is_block()) {
    if (sides.lower > -kInfinity) sides.lower = std::max(0.0, sides.lower);
    sides.upper = std::max(0.0, sides.upper);
  }
  if (sides.lower > -kInfinity && sides.upper < kInfinity && sides.lower != sides.upper) {
    master->set_range(row, sides.lower, sides.upper);
  } else {
    master->set_rhs(row, sides.lower > -kInfinity ? sides.lower : sides.upper);
  }
}

void Dive::remove_misfits(Partial *partial) const {
  const Subproblem at = partial->at.subproblem(true);
  partial->at.master.remove_columns([&](const Column &column) {
    return !frame_.problem.fits(at, column, at.master.entries(column));
  });
}

}  // namespace branch_and_price
}  // namespace quarn

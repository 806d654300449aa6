#include "branch_and_price/problem.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace quarn {
namespace branch_and_price {

std::string to_string(const Decision &decision) {
  std::string text = decision.kind;
  for (const int64_t number : decision.numbers) text += " " + std::to_string(number);
  if (!decision.row) return text;
  const RowSense sense = decision.row->sense;
  char rhs[40];
  std::snprintf(rhs, sizeof rhs, " %s %.6g",
                sense == RowSense::equal      ? "="
                : sense == RowSense::at_least ? ">="
                                              : "<=",
                decision.row->rhs);
  return text + rhs;
}

Problem::~Problem() = default;

bool Problem::allows(const Decision &, const Column &, const std::vector<Entry> &) const {
  return true;
}

double Problem::coefficient(const Decision &, const Column &, const std::vector<Entry> &) const {
  return 0.0;
}

std::vector<Decision> Problem::cuts(const Relaxation &) { return {}; }

double Problem::granularity() const { return 0.0; }

std::optional<Solution> Problem::integer_solution(const Relaxation &relaxation) const {
  return rounded_solution(relaxation);
}

std::optional<Solution> Problem::heuristic(const Relaxation &) { return std::nullopt; }

bool Problem::fits(const Subproblem &at, const Column &, const std::vector<Entry> &entries) const {
  return std::all_of(entries.begin(), entries.end(), [&](const Entry &entry) {
    return entry.second <= at.master.range(entry.first).upper + 1e-9;
  });
}

std::optional<Solution> rounded_solution(const Relaxation &relaxation, double tolerance) {
  Solution solution;
  for (const auto &[column, value] : relaxation.values) {
    const double whole = std::round(value);
    if (std::fabs(value - whole) > tolerance) return std::nullopt;
    if (whole == 0.0) continue;
    std::vector<Entry> entries = relaxation.at.master.entries(column);
    const std::vector<Row> &late = relaxation.at.rows;
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [&](const Entry &entry) {
                                   return std::find(late.begin(), late.end(), entry.first) !=
                                          late.end();
                                 }),
                  entries.end());
    solution.push_back({column.cost(), std::move(entries), column.data(), whole});
  }
  return solution;
}

}  // namespace branch_and_price
}  // namespace quarn

// Cutting stock whose exact pricing is called only when a heuristic finds nothing.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <quarn_cpp/quarn.hpp>

#include "exit_status.h"
#include "knapsack.h"

const int kRoll = 1000;
const std::vector<int> kSizes = {485, 447, 401, 367, 331, 283, 251, 223, 197, 163};
const std::vector<double> kDemand = {12, 25, 31, 18, 40, 22, 35, 28, 44, 51};

/// Fills a roll by worth for length, as often as each size fits.
Pattern greedy_pattern(const std::vector<double> &worths) {
  std::vector<size_t> order(kSizes.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::sort(order.begin(), order.end(),
            [&](size_t i, size_t j) { return worths[i] * kSizes[j] > worths[j] * kSizes[i]; });
  Pattern pattern = {0.0, std::vector<int>(kSizes.size(), 0)};
  int left = kRoll;
  for (const size_t i : order) {
    pattern.pieces[i] = worths[i] > 0.0 ? left / kSizes[i] : 0;
    left -= pattern.pieces[i] * kSizes[i];
    pattern.worth += pattern.pieces[i] * worths[i];
  }
  return pattern;
}

struct Run {
  double value;
  int exact_calls;
};

Run run(bool tries_greedy) {
  quarn::Master master(quarn::Sense::minimize);
  std::vector<quarn::Row> rows;
  for (const double demand : kDemand) {
    rows.push_back(master.add_row(quarn::RowSense::at_least, demand));
  }
  int exact_calls = 0;

  const auto add = [&](quarn::Columns &columns, const Pattern &pattern) {
    std::vector<quarn::Entry> entries;
    for (size_t i = 0; i < rows.size(); ++i) {
      if (pattern.pieces[i] > 0) entries.push_back({rows[i], pattern.pieces[i]});
    }
    columns.add(1.0, entries);
  };
  const auto price = [&](const quarn::Duals &duals, quarn::Columns &columns) {
    if (tries_greedy) {
      const Pattern good = greedy_pattern(duals.values());
      if (good.worth > 1.0 + 1e-6) add(columns, good);
      // The column is taken, the bounds stay as they are. A column that is there already is not
      // added again, so that added() tells whether the heuristic has come to its end.
      if (columns.added() > 0) return quarn::Answer::heuristic();
    }
    ++exact_calls;
    const Pattern best = best_pattern(kRoll, kSizes, duals.values());
    if (best.worth > 1.0) add(columns, best);
    double value = 0.0;
    for (size_t i = 0; i < rows.size(); ++i) value += kDemand[i] * duals[rows[i]];
    return quarn::Answer::bound(value / std::max(1.0, best.worth));
  };
  const quarn::Result result = master.solve(price);
  std::printf("%s, %d exact calls\n", result.message.c_str(), exact_calls);
  return {result.status == quarn::Status::optimal ? result.upper_bound : 0.0, exact_calls};
}

int main() {
  const Run exact = run(false), mixed = run(true);
  const bool same = exact.value > 0.0 && std::fabs(exact.value - mixed.value) < 1e-5 * exact.value;
  return exit_status(same && mixed.exact_calls < exact.exact_calls);
}

// Cutting stock that starts from patterns of one size each. The value, 452.25, is known.
#include <cmath>
#include <cstdio>
#include <quarn_cpp/quarn.hpp>

#include "exit_status.h"
#include "knapsack.h"

const int kRoll = 100;
const std::vector<int> kSizes = {45, 36, 31, 14};
const std::vector<double> kDemand = {97, 610, 395, 211};

int main() {
  quarn::Master master(quarn::Sense::minimize);
  std::vector<quarn::Row> rows;
  for (const double demand : kDemand) {
    rows.push_back(master.add_row(quarn::RowSense::at_least, demand));
  }

  // The first columns: as many pieces of one size as a roll gives.
  for (size_t i = 0; i < kSizes.size(); ++i) {
    const int pieces = kRoll / kSizes[i];
    master.add_column(1.0, {{rows[i], pieces}}, "only " + std::to_string(kSizes[i]));
  }

  const auto price = [&](const quarn::Duals &duals, quarn::Columns &columns) {
    const Pattern best = best_pattern(kRoll, kSizes, duals.values());
    std::vector<quarn::Entry> entries;
    double value = 0.0;
    for (size_t i = 0; i < rows.size(); ++i) {
      if (best.pieces[i] > 0) entries.push_back({rows[i], best.pieces[i]});
      value += kDemand[i] * duals[rows[i]];
    }
    if (best.worth > 1.0) columns.add(1.0, entries, std::string("priced"));
    return quarn::Answer::bound(value / std::max(1.0, best.worth));
  };
  const quarn::Result result = master.solve(price);

  std::printf("%s\n", result.message.c_str());
  for (const auto &[column, times] : result.values) {
    if (times < 1e-3) continue;
    std::printf("%8.2f times column %d, %s\n", times, static_cast<int>(column.index()),
                column.get<std::string>().c_str());
  }
  const bool right = std::fabs(result.upper_bound - 452.25) < 1e-3;
  return exit_status(result.status == quarn::Status::optimal && right);
}

// Cutting for profit: 60 rolls of length 100 are there, and every size sells up to a limit.
//
// When maximising, a column improves the master while its reduced cost is positive, the answer is
// the largest one, and what pricing proves is an upper bound. 2049.375 is known to be the most.
#include <cmath>
#include <cstdio>
#include <quarn_cpp/quarn.hpp>

#include "exit_status.h"
#include "knapsack.h"

const int kRoll = 100;
const std::vector<int> kSizes = {45, 36, 31, 14};
const std::vector<double> kProfit = {17, 13, 10.5, 4.5};
const std::vector<double> kSales = {30, 60, 45, 80};
const double kRolls = 60;

int main() {
  quarn::Master master(quarn::Sense::maximize);
  std::vector<quarn::Row> sizes;
  for (const double sales : kSales) {
    sizes.push_back(master.add_row(quarn::RowSense::at_most, sales));
  }
  // Rolls may stay in the store: a block row with <=.
  const quarn::Row rolls = master.add_block(quarn::RowSense::at_most, kRolls, "rolls");

  const auto price = [&](const quarn::Duals &duals, quarn::Columns &columns) {
    // What a piece earns beyond its dual; the duals of <= rows are at least 0 when maximising.
    std::vector<double> worths;
    for (size_t i = 0; i < sizes.size(); ++i) worths.push_back(kProfit[i] - duals[sizes[i]]);
    const Pattern best = best_pattern(kRoll, kSizes, worths);
    std::vector<quarn::Entry> entries = {{rolls, 1.0}};
    double profit = 0.0;
    for (size_t i = 0; i < sizes.size(); ++i) {
      if (best.pieces[i] == 0) continue;
      entries.push_back({sizes[i], best.pieces[i]});
      profit += best.pieces[i] * kProfit[i];
    }
    const double reduced = best.worth - duals[rolls];
    if (reduced > 1e-9) columns.add(profit, entries);
    return quarn::Answer::best_reduced_costs({{rolls, reduced}});
  };
  const quarn::Result result = master.solve(price);

  std::printf("%s\n", result.message.c_str());
  std::printf("the columns reach %.4f, no others reach more than %.4f\n", result.lower_bound,
              result.upper_bound);
  const bool right = std::fabs(result.lower_bound - 2049.375) < 1e-2;
  return exit_status(result.status == quarn::Status::optimal && right);
}

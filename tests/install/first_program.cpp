#include <algorithm>
#include <iostream>
#include <quarn_cpp/quarn.hpp>

// Cut 20 pieces of length 3 and 15 of length 4 from as few rolls of length 10 as possible.
int main() {
  quarn::Master master(quarn::Sense::minimize);
  const quarn::Row threes = master.add_row(quarn::RowSense::at_least, 20.0, {"length 3"});
  const quarn::Row fours = master.add_row(quarn::RowSense::at_least, 15.0, {"length 4"});

  // Tries a pattern of `a` threes and `b` fours for every a that fits, and adds the best.
  const auto price = [&](const quarn::Duals &duals, quarn::Columns &columns) {
    double best = 1.0;
    int best_a = 0;
    for (int a = 0; a <= 3; ++a) {
      const double worth = a * duals[threes] + (10 - 3 * a) / 4 * duals[fours];
      if (worth > best) best = worth, best_a = a;
    }
    if (best > 1.0) {
      const double b = (10 - 3 * best_a) / 4;
      columns.add(1.0, {{threes, double(best_a)}, {fours, b}});
    }
    // No pattern is worth more than its roll at the duals divided by `best`: a lower bound.
    return quarn::Answer::bound((20 * duals[threes] + 15 * duals[fours]) / best);
  };

  const quarn::Result result = master.solve(price);
  std::cout << quarn::to_string(result.status) << ": " << result.upper_bound << " rolls\n";
  for (const auto &[column, times] : result.values) {
    if (times < 1e-4) continue;
    std::cout << times << " times";
    for (const auto &[row, pieces] : master.entries(column)) {
      std::cout << "  " << pieces << " of " << row.name();
    }
    std::cout << "\n";
  }
  return result.status == quarn::Status::optimal ? 0 : 1;
}

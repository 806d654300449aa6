// Six people form three pairs. A pair of the same trio costs 1, any other 10.
//
// The relaxation takes half of each pair within the trios, at a cost of 3. Of three people only one
// pair can be formed: these cuts are added in the run, and with them the optimum is 12, one mixed
// pair and one of each trio.
#include <cmath>
#include <cstdio>
#include <quarn_cpp/quarn.hpp>

#include "exit_status.h"

using Pair = std::pair<size_t, size_t>;

struct Cut {
  std::vector<bool> trio;  // by person
  quarn::Row row;
};

bool lies_in(const Pair &pair, const std::vector<bool> &trio) {
  return trio[pair.first] && trio[pair.second];
}

/// A trio of which the solution forms more than one pair; empty when there is none.
std::vector<bool> violated_trio(const std::vector<quarn::ColumnValue> &solution) {
  for (size_t a = 0; a < 6; ++a) {
    for (size_t b = a + 1; b < 6; ++b) {
      for (size_t c = b + 1; c < 6; ++c) {
        std::vector<bool> trio(6, false);
        trio[a] = trio[b] = trio[c] = true;
        double pairs = 0.0;
        for (const auto &[column, value] : solution) {
          if (lies_in(column.get<Pair>(), trio)) pairs += value;
        }
        if (pairs > 1.1) return trio;
      }
    }
  }
  return {};
}

int main() {
  quarn::Master master(quarn::Sense::minimize);
  std::vector<quarn::Row> people;
  for (int k = 0; k < 6; ++k) people.push_back(master.add_row(quarn::RowSense::equal, 1.0));
  std::vector<Cut> cuts;

  const auto price = [&](const quarn::Duals &duals, quarn::Columns &columns) {
    double value = 0.0, best = 1e9;
    for (const quarn::Row &person : people) value += duals[person];
    for (const Cut &cut : cuts) value += duals[cut.row];
    for (Pair pair = {0, 1}; pair.first < 5; ++pair.second) {
      const double cost = pair.first / 3 == pair.second / 3 ? 1.0 : 10.0;
      std::vector<quarn::Entry> entries = {{people[pair.first], 1.0}, {people[pair.second], 1.0}};
      // Columns know the cuts that are there already.
      for (const Cut &cut : cuts) {
        if (lies_in(pair, cut.trio)) entries.push_back({cut.row, 1.0});
      }
      const double reduced = duals.reduced_cost(cost, entries);
      if (reduced < -1e-9) columns.add(cost, entries, pair);
      best = std::min(best, reduced);
      if (pair.second == 5) pair = {pair.first + 1, pair.first + 1};
    }
    // A new row has entries in the columns that are there, those just added among them.
    const std::vector<bool> trio = violated_trio(duals.solution());
    if (!trio.empty()) {
      quarn::RowOptions options;
      options.name = "cut " + std::to_string(cuts.size());
      for (const quarn::Column &column : master.columns()) {
        if (lies_in(column.get<Pair>(), trio)) options.entries.push_back({column, 1.0});
      }
      cuts.push_back({trio, master.add_row(quarn::RowSense::at_most, 1.0, options)});
    }
    // Three pairs are formed, whatever the cuts: the bound of the master before the new one.
    return quarn::Answer::bound(value + 3.0 * best);
  };
  const quarn::Result result = master.solve(price);

  std::printf("%s, with %d cuts\n", result.message.c_str(), static_cast<int>(cuts.size()));
  const bool right = std::fabs(result.upper_bound - 12.0) < 1e-3 && !cuts.empty();
  return exit_status(result.status == quarn::Status::optimal && right);
}

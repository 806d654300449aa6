// A week's shifts: every day wants a number of people within a range.
//
// A shift is four to six days in a row, and costs 1 for each day and 2 more at the weekend. Without
// the upper sides the optimum would be 39, for 3 more people than needed on a day; with them 44.
#include <cmath>
#include <cstdio>
#include <quarn_cpp/quarn.hpp>

#include "exit_status.h"

const double kNeed[] = {4, 5, 3, 6, 7, 2, 2};
const double kSpare = 1.0;   // how many more than needed may come
const double kPeople = 9.0;  // how many there are

int main() {
  quarn::Master master(quarn::Sense::minimize);
  std::vector<quarn::Row> week;
  for (const double need : kNeed) week.push_back(master.add_range(need, need + kSpare));
  const quarn::Row people = master.add_block(quarn::RowSense::at_most, kPeople, "people");

  const auto price = [&](const quarn::Duals &duals, quarn::Columns &columns) {
    double best = 0.0;  // of those who stay at home
    for (size_t first = 0; first < 7; ++first) {
      double cost = 0.0;
      std::vector<quarn::Entry> entries = {{people, 1.0}};
      for (size_t length = 1; length <= 6; ++length) {
        const size_t day = (first + length - 1) % 7;
        cost += day < 5 ? 1.0 : 3.0;
        entries.push_back({week[day], 1.0});
        if (length < 4) continue;
        // The dual of a range has either sign: positive at its lower side, negative at the upper.
        const double reduced = duals.reduced_cost(cost, entries);
        if (reduced < -1e-9) columns.add(cost, entries);
        best = std::min(best, reduced);
      }
    }
    return quarn::Answer::best_reduced_costs({{people, best}});
  };
  const quarn::Result result = master.solve(price);

  std::printf("%s\n", result.message.c_str());
  bool right = result.status == quarn::Status::optimal;
  for (size_t day = 0; day < 7; ++day) {
    double there = 0.0;
    for (const auto &[column, value] : result.values) {
      for (const auto &[row, entry] : master.entries(column)) {
        if (row == week[day]) there += entry * value;
      }
    }
    const quarn::Bounds side = master.range(week[day]);
    std::printf("day %d: %.3f of %g to %g, dual %.3f\n", static_cast<int>(day), there, side.lower,
                side.upper, result.duals[week[day]]);
    right = right && there > side.lower - 1e-3 && there < side.upper + 1e-3;
  }
  return exit_status(right && std::fabs(result.upper_bound - 44.0) < 1e-4);
}

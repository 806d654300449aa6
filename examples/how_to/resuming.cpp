// A run that is stopped, and goes on from its file. The value, 452.25, is known.
#include <cmath>
#include <cstdio>
#include <quarn_cpp/quarn.hpp>

#include "exit_status.h"
#include "knapsack.h"

const int kRoll = 100;
const std::vector<int> kSizes = {45, 36, 31, 14};
const std::vector<double> kDemand = {97, 610, 395, 211};

/// Columns carry their waste; what a file keeps of it is text.
std::string to_text(const quarn::Column &column) { return std::to_string(column.get<int>()); }
std::any from_text(const std::string &text) { return std::stoi(text); }

quarn::Result solve(quarn::Master &master, const quarn::Settings &settings) {
  // The rows are asked for, so that this serves a master that comes from a file.
  const std::vector<quarn::Row> rows = master.rows();
  const auto price = [&](const quarn::Duals &duals, quarn::Columns &columns) {
    const Pattern best = best_pattern(kRoll, kSizes, duals.values());
    std::vector<quarn::Entry> entries;
    double value = 0.0;
    int waste = kRoll;
    for (size_t i = 0; i < rows.size(); ++i) {
      if (best.pieces[i] > 0) entries.push_back({rows[i], best.pieces[i]});
      waste -= best.pieces[i] * kSizes[i];
      value += kDemand[i] * duals[rows[i]];
    }
    if (best.worth > 1.0) columns.add(1.0, entries, waste);
    return quarn::Answer::bound(value / std::max(1.0, best.worth));
  };
  return master.solve(price, settings);
}

int main(int count, char **arguments) {
  quarn::Settings settings;
  settings.save_file = count > 1 ? arguments[1] : "resuming.quarn";
  settings.save_every = 60.0;  // seconds; and at the end of the run
  settings.save_data = to_text;
  {
    quarn::Master master(quarn::Sense::minimize);
    for (const double demand : kDemand) master.add_row(quarn::RowSense::at_least, demand);
    settings.max_iterations = 3;
    std::printf("%s\n", solve(master, settings).message.c_str());
  }

  quarn::Master master = quarn::Master::load(settings.save_file, from_text);
  const int columns = master.number_of_columns();
  settings.max_iterations = 1000;
  const quarn::Result result = solve(master, settings);
  std::printf("from %d columns: %s\n", columns, result.message.c_str());
  for (const auto &[column, times] : result.values) {
    if (times > 1e-3) std::printf("%8.2f rolls with a waste of %d\n", times, column.get<int>());
  }
  std::remove(settings.save_file.c_str());
  const bool right = columns > 0 && std::fabs(result.upper_bound - 452.25) < 1e-3;
  return exit_status(result.status == quarn::Status::optimal && right);
}

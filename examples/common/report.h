#ifndef EXAMPLES_COMMON_REPORT_H
#define EXAMPLES_COMMON_REPORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "quarn_cpp/quarn.hpp"

namespace examples {

/// What a program has to say about one run.
struct Report {
  std::string instance;
  const quarn::Result &result;
  std::optional<double> integer_value;  ///< of the integer solution, where there is one
  /// What a program reports besides, by key.
  std::vector<std::pair<std::string, std::variant<int64_t, double, bool>>> more = {};
};

/// Prints how the run ended: status in words, bounds, iterations, columns, times.
void print_summary(const quarn::Result &result);

/// Writes the report as one JSON object with the keys instance, status (as the C library numbers
/// them), lower_bound, upper_bound, relative_gap, outer_iterations, inner_iterations, columns,
/// time_total, time_rmp, time_oracle and integer_value (null when there is none), and those of
/// `more`. An empty path writes nothing; a file that cannot be written becomes an OutputError.
void write_json(const Report &report, const std::string &path);

/// The program's exit status: a run that ends at its time limit is a success, with the gap it
/// reports.
int exit_status(const quarn::Result &result);

}  // namespace examples

#endif

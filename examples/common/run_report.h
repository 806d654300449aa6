#ifndef EXAMPLES_COMMON_RUN_REPORT_H
#define EXAMPLES_COMMON_RUN_REPORT_H

#include <cstdio>
#include <optional>
#include <string>

#include "examples/common/master_run.h"

namespace examples {

/// What a program has to say about one run.
struct RunReport {
  std::string instance;
  MasterResult master;
  std::optional<double> integer_value;  ///< of the integer solution, where there is one
};

/// Prints how the run ended: status in words, bounds, iterations, columns, times.
void print_summary(FILE *stream, const MasterResult &result);

/// Writes the report as one JSON object with the keys instance, status, lower_bound, upper_bound,
/// relative_gap, outer_iterations, inner_iterations, columns, time_total, time_rmp, time_oracle and
/// integer_value (null when there is none). An empty path writes nothing; a file that cannot be
/// written becomes an OutputError.
void write_json(const RunReport &report, const std::string &path);

/// The exit status that goes with the library's status.
int exit_status(const MasterResult &result);

}  // namespace examples

#endif

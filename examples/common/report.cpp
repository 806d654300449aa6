#include "examples/common/report.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "examples/common/options.h"
#include "examples/common/output.h"

namespace examples {

/// The status of the C library, see docs/statuses.md.
static int library_status(const quarn::Result &result) {
  switch (result.status) {
    case quarn::Status::optimal:
    case quarn::Status::time_limit:
      return 0;
    case quarn::Status::stopped:
      return 2;
    case quarn::Status::infeasible:
      return 5;
    case quarn::Status::iteration_limit:
      return 6;
    default:
      return 3;
  }
}

static std::string status_text(const quarn::Result &result) {
  switch (result.status) {
    case quarn::Status::optimal:
      return "solved";
    case quarn::Status::time_limit:
      return "stopped at the time limit, the gap is still open";
    case quarn::Status::stopped:
      return "stopped by a signal; --resume goes on from what was saved";
    case quarn::Status::iteration_limit:
      return "stopped at the limit of iterations";
    default:
      return result.message;
  }
}

void print_summary(const quarn::Result &result) {
  std::printf("\nstatus          %d (%s)\n", library_status(result), status_text(result).c_str());
  std::printf("upper bound     %.10g\n", result.upper_bound);
  std::printf("lower bound     %.10g\n", result.lower_bound);
  std::printf("relative gap    %.2e\n", result.gap);
  std::printf("iterations      %zu outer, %d inner\n", result.history.size(),
              static_cast<int>(result.inner_iterations));
  std::printf("columns         %d\n", static_cast<int>(result.columns));
  std::printf("time            %.3f s (restricted master problems %.3f s, oracle %.3f s)\n",
              result.seconds, result.rmp_seconds, result.oracle_seconds);
  std::fflush(stdout);
}

void write_json(const Report &report, const std::string &path) {
  nlohmann::ordered_json object;
  object["instance"] = report.instance;
  object["status"] = library_status(report.result);
  object["lower_bound"] = report.result.lower_bound;
  object["upper_bound"] = report.result.upper_bound;
  object["relative_gap"] = report.result.gap;
  object["outer_iterations"] = report.result.history.size();
  object["inner_iterations"] = report.result.inner_iterations;
  object["columns"] = report.result.columns;
  object["time_total"] = report.result.seconds;
  object["time_rmp"] = report.result.rmp_seconds;
  object["time_oracle"] = report.result.oracle_seconds;
  object["integer_value"] = nullptr;
  if (report.integer_value) object["integer_value"] = *report.integer_value;
  for (const auto &[key, value] : report.more) {
    std::visit([&object, name = key](auto number) { object[name] = number; }, value);
  }
  write_json_file(object, path);
}

int exit_status(const quarn::Result &result) {
  return library_status(result) == 0 ? kSolved : kNotSolved;
}

}  // namespace examples

#include "examples/common/run_report.h"

#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>

#include "examples/common/quiet_output.h"

namespace examples {

static const char *status_text(const MasterResult &result) {
  switch (result.status) {
    case 0:
      return result.gap_closed ? "solved" : "stopped at the time limit, the gap is still open";
    case 2:
      return "failed: no memory, or the oracle gave up";
    case 3:
      return "failed: a restricted master problem could not be solved";
    case 5:
      return "a column of the dual box is in use: the problem may be infeasible";
    case 6:
      return "stopped at the limit of iterations";
    case 7:
      return "a bound contradicts the bounds imposed on the objective";
    default:
      return "failed";
  }
}

void print_summary(FILE *stream, const MasterResult &result) {
  std::fprintf(stream, "\nstatus          %d (%s)\n", static_cast<int>(result.status),
               status_text(result));
  std::fprintf(stream, "upper bound     %.10g\n", result.upper_bound);
  std::fprintf(stream, "lower bound     %.10g\n", result.lower_bound);
  std::fprintf(stream, "relative gap    %.2e\n", result.relative_gap);
  std::fprintf(stream, "iterations      %d outer, %d inner\n",
               static_cast<int>(result.outer_iterations),
               static_cast<int>(result.inner_iterations));
  std::fprintf(stream, "columns         %d\n", static_cast<int>(result.columns));
  std::fprintf(stream,
               "time            %.3f s (restricted master problems %.3f s, oracle %.3f s)\n",
               result.time_total, result.time_rmp, result.time_oracle);
  std::fflush(stream);
}

void write_json(const RunReport &report, const std::string &path) {
  if (path.empty()) return;
  nlohmann::ordered_json object;
  object["instance"] = report.instance;
  object["status"] = report.master.status;
  object["lower_bound"] = report.master.lower_bound;
  object["upper_bound"] = report.master.upper_bound;
  object["relative_gap"] = report.master.relative_gap;
  object["outer_iterations"] = report.master.outer_iterations;
  object["inner_iterations"] = report.master.inner_iterations;
  object["columns"] = report.master.columns;
  object["time_total"] = report.master.time_total;
  object["time_rmp"] = report.master.time_rmp;
  object["time_oracle"] = report.master.time_oracle;
  object["integer_value"] = nullptr;
  if (report.integer_value) object["integer_value"] = *report.integer_value;
  errno = 0;
  std::ofstream file(path);
  // An instance's name may hold bytes that are not UTF-8; they are replaced.
  file << object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
  file.flush();
  if (!file) throw OutputError(path, errno);
}

int exit_status(const MasterResult &result) { return result.status == 0 ? kSolved : kNotSolved; }

}  // namespace examples

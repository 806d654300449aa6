#include "examples/common/progress_table.h"

#include <cmath>

namespace examples {

constexpr double kUnbounded = 1e30;

static void print_bound(FILE *stream, double bound) {
  if (std::fabs(bound) >= kUnbounded) {
    std::fprintf(stream, " %18s", "-");
  } else {
    std::fprintf(stream, " %18.10g", bound);
  }
}

void ProgressTable::add(const ProgressRow &row) {
  if (!has_heading_) {
    std::fprintf(stream_, "%9s %18s %18s %9s %9s %9s\n", "iteration", "lower bound", "upper bound",
                 "gap", "columns", "time");
    has_heading_ = true;
  }
  std::fprintf(stream_, "%9d", static_cast<int>(row.iteration));
  print_bound(stream_, row.lower_bound);
  print_bound(stream_, row.upper_bound);
  std::fprintf(stream_, " %9.2e %9d %9.3f\n", row.gap, static_cast<int>(row.columns), row.seconds);
  std::fflush(stream_);
}

}  // namespace examples

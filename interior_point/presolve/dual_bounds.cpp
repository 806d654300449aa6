#include "interior_point/presolve/dual_bounds.h"

#include <algorithm>
#include <cmath>

#include "interior_point/vector.h"

namespace interior_point {

DualBounds::DualBounds(const ReducibleProgram &program)
    : low_(program.low.size(), -kInfinity), high_(program.low.size(), kInfinity) {
  for (int32_t i = 0; i < program.rows(); ++i) {
    if (std::isinf(program.high[i])) low_[i] = 0.0;
    if (std::isinf(program.low[i])) high_[i] = 0.0;
  }
  for (int32_t j = 0; j < program.columns(); ++j) {
    // A bound of 0 is no better than that of a row's sign, and would pass for one.
    if (!program.column_alive[j] || program.column_length[j] != 1 || program.cost[j] == 0.0) {
      continue;
    }
    const ReducibleProgram::Entry &e = program.entry(program.first_in_column(j));
    const double bound = program.cost[j] / e.value;
    if (std::isinf(e.value > 0.0 ? program.upper[j] : program.lower[j])) {
      high_[e.row] = std::min(high_[e.row], bound);
    }
    if (std::isinf(e.value > 0.0 ? program.lower[j] : program.upper[j])) {
      low_[e.row] = std::max(low_[e.row], bound);
    }
  }
}

int DualBounds::sign_of_reduced_cost(const ReducibleProgram &program, int32_t j) const {
  double least = program.cost[j];
  double most = program.cost[j];
  double size = std::fabs(program.cost[j]);
  for (int32_t t = program.first_in_column(j); t != ReducibleProgram::kNone;
       t = program.entry(t).next_in_column) {
    const double a = program.entry(t).value;
    const double low = a * low_[program.entry(t).row];
    const double high = a * high_[program.entry(t).row];
    least -= std::max(low, high);
    most -= std::min(low, high);
    const double finite = std::max(std::isfinite(low) ? std::fabs(low) : 0.0,
                                   std::isfinite(high) ? std::fabs(high) : 0.0);
    size += finite;
    if (least == -kInfinity && most == kInfinity) return 0;
  }
  // Terms of 0 are those of row signs.
  const double sure = size == std::fabs(program.cost[j]) ? 0.0 : kSureSign * size;
  if (least >= sure && (least > 0.0 || sure == 0.0)) return 1;
  if (-most >= sure && (most < 0.0 || sure == 0.0)) return -1;
  return 0;
}

}  // namespace interior_point

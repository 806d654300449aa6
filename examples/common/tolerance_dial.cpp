#include "examples/common/tolerance_dial.h"

#include <algorithm>
#include <cmath>

namespace examples {

// Outside this range a single answer would outweigh all that are still to come.
constexpr double kLeastContraction = 1e-4;
constexpr double kMostContraction = 1.0;
// At 1 a restricted master problem could be left as open as the gap, and the run could stand still.
constexpr double kLeastDivisor = 1.05;
constexpr double kMostDivisor = 1000.0;

double average_contraction(double average, double latest) {
  return std::sqrt(average * std::clamp(latest, kLeastContraction, kMostContraction));
}

double divisor_for(double average) {
  return std::min(kLeastDivisor / (average * average * average), kMostDivisor);
}

double ToleranceDial::update(double dual_gap) {
  const bool comparable = std::isfinite(dual_gap) && dual_gap > 0.0;
  if (comparable && last_gap_ > 0.0) {
    contraction_ = average_contraction(contraction_, dual_gap / last_gap_);
    divisor_ = divisor_for(contraction_);
  }
  last_gap_ = comparable ? dual_gap : 0.0;
  return divisor_;
}

}  // namespace examples

#include "quarn_cpp/tolerance_dial.hpp"

#include <algorithm>
#include <cmath>

namespace quarn {
inline namespace v1 {
namespace detail {

// Outside this range a single answer would outweigh all that are still to come.
constexpr double kLeastContraction = 1e-4;
constexpr double kMostContraction = 1.0;
// Of the latest answer in the average. With 1/2 noise decides now and then: one column a call takes
// a tenth more iterations, and the published cutting stock instances half an iteration more.
constexpr double kLatestWeight = 0.25;
// Averages of runs with many columns a call lie below, those of runs with one nearly always above.
// From 0.55 to 0.65 nothing changes.
constexpr double kSettled = 0.6;
// At 1 a restricted master problem could be left as open as the gap, and the run could stand still.
constexpr double kLeastDivisor = 1.05;

double average_contraction(double average, double latest) {
  const double within = std::clamp(latest, kLeastContraction, kMostContraction);
  return std::pow(average, 1.0 - kLatestWeight) * std::pow(within, kLatestWeight);
}

double divisor_for(double average) {
  if (average < kSettled) return ToleranceDial::kMostDivisor;
  return kLeastDivisor / (average * average * average);
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

double ToleranceDial::update_without_bound() {
  contraction_ = average_contraction(contraction_, kMostContraction);
  divisor_ = divisor_for(contraction_);
  return divisor_;
}

}  // namespace detail
}  // namespace v1
}  // namespace quarn

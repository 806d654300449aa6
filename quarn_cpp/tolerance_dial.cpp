#include "quarn_cpp/tolerance_dial.hpp"

#include <algorithm>
#include <cmath>

namespace quarn {
inline namespace v1 {
namespace detail {

// Outside this range a single answer would outweigh all that are still to come. A fall below it is
// that of the box letting go of the duals, and says nothing of the rounds to come: taken for a fast
// contraction it made six restricted masters of set covering sharp at a cost of 50 of 309
// iterations.
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
// Aggregated flow, where loose solutions are best, has a share of 0.2 to 0.35; multiple knapsack,
// where tight ones are, 0.1 to 0.3, and less as soon as they are tighter.
constexpr double kFairShare = 0.25;
constexpr double kMostSharpening = 6.0;
constexpr double kLatestFall = 1.0 / 6.0;

double average_contraction(double average, double latest) {
  const double within = std::clamp(latest, kLeastContraction, kMostContraction);
  return std::pow(average, 1.0 - kLatestWeight) * std::pow(within, kLatestWeight);
}

double divisor_for(double average) {
  if (average < kSettled) return ToleranceDial::kMostDivisor;
  return kLeastDivisor / (average * average * average);
}

double sharpening_for(double share) {
  if (!(share < kFairShare)) return 1.0;
  const double ratio = kFairShare / std::max(share, kLeastContraction);
  return std::min(ratio * ratio, kMostSharpening);
}

/// Loose restricted masters have values that go up and down: only new least ones say how far what
/// closes the gap came from above.
void ToleranceDial::note_bounds(double value, double lower) {
  const double gap = least_value_ - lower_then_;
  if (has_value_ && !(value < least_value_)) return;
  if (has_value_ && gap > 0.0 && std::isfinite(gap) && std::isfinite(value - lower)) {
    fall_ += kLatestFall * ((least_value_ - value) / gap - fall_);
    rise_ += kLatestFall * ((lower - lower_then_) / gap - rise_);
  }
  has_value_ = std::isfinite(value) && std::isfinite(lower);
  least_value_ = value;
  lower_then_ = lower;
}

double ToleranceDial::divisor_now() const {
  const double sharpened = divisor_for(contraction_) * sharpening_for(fall_ / (fall_ + rise_));
  return std::min(sharpened, kMostDivisor);
}

double ToleranceDial::update(double dual_gap) {
  const bool comparable = std::isfinite(dual_gap) && dual_gap > 0.0;
  if (comparable && dual_gap >= kLeastContraction * last_gap_ && last_gap_ > 0.0) {
    contraction_ = average_contraction(contraction_, dual_gap / last_gap_);
    divisor_ = divisor_now();
  }
  last_gap_ = comparable ? dual_gap : 0.0;
  return divisor_;
}

double ToleranceDial::update_without_bound() {
  contraction_ = average_contraction(contraction_, kMostContraction);
  divisor_ = divisor_now();
  return divisor_;
}

}  // namespace detail
}  // namespace v1
}  // namespace quarn

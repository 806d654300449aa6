#include "benchmarks/compare_smoothing.h"

#include <algorithm>

namespace benchmarks {

double adjusted_alpha(double alpha, double product) {
  if (product <= 0.0) return alpha + (1.0 - alpha) / 10.0;
  return alpha >= 0.5 ? alpha / 1.1 : std::max(0.0, alpha - (1.0 - alpha) / 10.0);
}

void DualSmoothing::begin_round(const std::vector<double> &out) {
  out_ = out;
  trial_ = 0;
}

const std::vector<double> &DualSmoothing::next_trial() {
  ++trial_;
  weight_ = active_ && !in_.empty() ? std::max(0.0, 1.0 - trial_ * (1.0 - alpha_)) : 0.0;
  point_ = out_;
  if (weight_ > 0.0) {
    for (size_t i = 0; i < point_.size(); ++i) {
      point_[i] = weight_ * in_[i] + (1.0 - weight_) * out_[i];
    }
  }
  return point_;
}

void DualSmoothing::learn(const std::vector<double> &subgradient, bool improved,
                          const std::vector<double> &centre) {
  if (trial_ == 1 && !in_.empty()) {
    double product = 0.0;
    for (size_t i = 0; i < subgradient.size(); ++i) {
      product += subgradient[i] * (out_[i] - in_[i]);
    }
    alpha_ = adjusted_alpha(alpha_, product);
  }
  if (improved) in_ = centre;
}

void DualSmoothing::insert_rows(int32_t at, int32_t count) {
  if (count == 0) return;
  for (std::vector<double> *prices : {&in_, &out_, &point_}) {
    if (!prices->empty()) prices->insert(prices->begin() + at, static_cast<size_t>(count), 0.0);
  }
}

}  // namespace benchmarks

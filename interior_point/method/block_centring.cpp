#include "interior_point/method/block_centring.h"

#include <algorithm>
#include <cmath>

#include "interior_point/linear_algebra/block_factorisation.h"

namespace interior_point {

namespace {

// Newton's method on the reciprocal of (33) takes three or four steps.
constexpr int kMostSteps = 20;
constexpr double kAccuracy = 1e-10;

}  // namespace

BlockCentring::BlockCentring(const ProblemForm &form, const Point &start)
    : form_(form), start_(start), blocks_(static_cast<size_t>(form.rows())) {
  const auto is_set = [](uint8_t e) { return e != 0; };
  if (!form.boxed.empty() || std::any_of(form.is_free.begin(), form.is_free.end(), is_set)) return;
  collect_blocks();
  applies_ = std::all_of(others_.begin(), others_.end(),
                         [&](int32_t j) { return form.A.length(j) == 1 && start.z[j] > 0.0; });
}

void BlockCentring::collect_blocks() {
  Vector<uint8_t> in_set = independent_rows(form_.A);
  for (int32_t j = 0; j < form_.columns(); ++j) {
    for (int32_t t = form_.A.start[j]; t < form_.A.start[j + 1]; ++t) {
      const int32_t i = form_.A.row[t];
      if (!(form_.A.value[t] * form_.b[i] > 0.0)) in_set[i] = 0;
    }
  }
  for (int32_t j = 0; j < form_.columns(); ++j) {
    int32_t at = form_.A.start[j];
    while (at < form_.A.start[j + 1] && !in_set[form_.A.row[at]]) ++at;
    if (at == form_.A.start[j + 1]) {
      others_.push_back(j);
      continue;
    }
    const int32_t i = form_.A.row[at];
    const double reduced = form_.c[j] - column_product(form_.A, j, start_.y.data());
    const double size = std::fabs(form_.A.value[at]);
    const double rest = reduced + form_.A.value[at] * start_.y[i];
    blocks_[i].push_back({j, size, rest / size});
  }
}

/// With s the distance, the left side of (33) is G(s) = sum_j mu / (s + limit_j - least limit). Its
/// reciprocal is concave: from below Newton's method stays below.
double BlockCentring::distance(double mu, int32_t row, double least_limit) const {
  const double b = std::fabs(form_.b[row]);
  double s = mu / b;
  for (int step = 0; step < kMostSteps; ++step) {
    double G = 0.0;
    double slope = 0.0;
    for (const Entry &e : blocks_[row]) {
      const double inverse = 1.0 / (s + (e.limit - least_limit));
      G += mu * inverse;
      slope += mu * inverse * inverse;
    }
    s += (G / b - 1.0) * G / slope;
    if (G - b <= kAccuracy * b) break;
  }
  return s;
}

double BlockCentring::centre(double mu, Point *point) const {
  *point = start_;
  for (int32_t i = 0; i < form_.rows(); ++i) {
    if (blocks_[i].empty()) continue;
    double least = kInfinity;
    for (const Entry &e : blocks_[i]) least = std::min(least, e.limit);
    const double s = distance(mu, i, least);
    point->y[i] = std::copysign(1.0, form_.b[i]) * (least - s);
    for (const Entry &e : blocks_[i]) {
      point->z[e.column] = e.size * (s + (e.limit - least));
      point->x[e.column] = mu / point->z[e.column];
    }
  }
  for (const int32_t j : others_) point->x[j] = mu / point->z[j];
  return defect(*point) / (mu * form_.pairs);
}

double BlockCentring::defect(const Point &point) const {
  Vector<double> image(static_cast<size_t>(form_.rows()), 0.0);
  add_product(form_.A, point.x.data(), image.data());
  double sum = 0.0;
  for (int32_t i = 0; i < form_.rows(); ++i) {
    if (blocks_[i].empty()) sum += std::fabs(point.y[i] * (form_.b[i] - image[i]));
  }
  return sum;
}

}  // namespace interior_point

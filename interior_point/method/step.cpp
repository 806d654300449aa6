#include "interior_point/method/step.h"

#include <algorithm>

#include "interior_point/vector.h"

namespace interior_point {

namespace {

// Entries that are looked at together.
constexpr size_t kGroup = 16;
// Shares are tried at equal distances, as many as Colombo and Gondzio do.
constexpr int kShareSteps = 8;

/// A change, and one with a share of a correction.
struct Plain {
  const double *change;
  double operator()(size_t j) const { return change[j]; }
};
struct Corrected {
  const double *change, *correction;
  double share;
  double operator()(size_t j) const { return change[j] + share * correction[j]; }
};

/// True when one of the group's entries is below 0 after the step.
template <typename Change>
bool leaves(const double *value, const Change &change, size_t first, double step) {
  double least[2] = {0.0, 0.0};
  for (size_t k = 0; k < kGroup; k += 2) {
    for (size_t l = 0; l < 2; ++l) {
      const double next = value[first + k + l] + step * change(first + k + l);
      least[l] = next < least[l] ? next : least[l];
    }
  }
  return least[0] < 0.0 || least[1] < 0.0;
}

/// The longest step of at most `step`, or any that is no longer than `enough` where that is
/// reached. Few entries shorten it: whole groups are passed over.
template <typename Change>
double longest(const Vector<double> &value, const Change &change, const uint8_t *skip, double step,
               double enough = -1.0) {
  const size_t size = value.size();
  for (size_t first = 0; first < size && step > enough; first += kGroup) {
    const size_t end = std::min(first + kGroup, size);
    if (end == first + kGroup && !leaves(value.data(), change, first, step)) continue;
    for (size_t j = first; j < end; ++j) {
      if (value[j] < -step * change(j) && !(skip && skip[j])) step = -value[j] / change(j);
    }
  }
  return step;
}

/// One part of a point, a direction and a correction: x and w, or z and v.
struct Part {
  const Vector<double> &value, &boxed_value;
  const Vector<double> &change, &boxed_change;
  const Vector<double> &correction, &boxed_correction;
};

double best_share(const Part &part, const uint8_t *skip, double least) {
  double best = 1.0;
  double best_step = -1.0;
  const int steps = least < 1.0 ? kShareSteps : 0;
  for (int k = 0; k <= steps && best_step < 1.0; ++k) {
    const double share = 1.0 - (1.0 - least) * k / kShareSteps;
    const Corrected boxed = {part.boxed_change.data(), part.boxed_correction.data(), share};
    double step = longest(part.boxed_value, boxed, nullptr, 1.0, best_step);
    const Corrected all = {part.change.data(), part.correction.data(), share};
    step = longest(part.value, all, skip, step, best_step);
    if (step > best_step) {
      best_step = step;
      best = share;
    }
  }
  return best;
}

double centrality_correction(double product, double low, double high) {
  if (product < low) return low - product;
  if (product > high) return std::max(high - product, -high);
  return 0.0;
}

void add_to(double factor, const Vector<double> &b, Vector<double> *a) {
  for (size_t i = 0; i < b.size(); ++i) (*a)[i] += factor * b[i];
}

void sum_to(const Vector<double> &a, const Vector<double> &b, Vector<double> *result) {
  for (size_t i = 0; i < a.size(); ++i) (*result)[i] = a[i] + b[i];
}

}  // namespace

StepLengths steps_to_boundary(const ProblemForm &form, const Point &point,
                              const Direction &direction, double cap) {
  const uint8_t *skip = form.is_free.data();
  StepLengths steps;
  steps.primal = cap;
  steps.dual = cap;
  steps.primal = longest(point.x, Plain{direction.x.data()}, skip, steps.primal);
  steps.primal = longest(point.w, Plain{direction.w.data()}, nullptr, steps.primal);
  steps.dual = longest(point.z, Plain{direction.z.data()}, skip, steps.dual);
  steps.dual = longest(point.v, Plain{direction.v.data()}, nullptr, steps.dual);
  return steps;
}

Shares best_shares(const ProblemForm &form, const Point &point, const Direction &direction,
                   const Direction &correction, double least) {
  const uint8_t *skip = form.is_free.data();
  Shares shares;
  shares.primal = best_share(
      {point.x, point.w, direction.x, direction.w, correction.x, correction.w}, skip, least);
  shares.dual = best_share({point.z, point.v, direction.z, direction.v, correction.z, correction.v},
                           skip, least);
  return shares;
}

double mean_product_after(const ProblemForm &form, const Point &point, const Direction &direction,
                          const StepLengths &steps) {
  double sum = 0.0;
  for (size_t j = 0; j < point.x.size(); ++j) {
    sum +=
        (point.x[j] + steps.primal * direction.x[j]) * (point.z[j] + steps.dual * direction.z[j]);
  }
  for (size_t k = 0; k < point.w.size(); ++k) {
    sum +=
        (point.w[k] + steps.primal * direction.w[k]) * (point.v[k] + steps.dual * direction.v[k]);
  }
  return sum / std::max(form.pairs, 1);
}

void aim_at(const ProblemForm &form, const Point &point, double target, Products *products) {
  for (size_t j = 0; j < point.x.size(); ++j) {
    products->xz[j] = form.is_free[j] ? 0.0 : target - point.x[j] * point.z[j];
  }
  for (size_t k = 0; k < point.w.size(); ++k) {
    products->wv[k] = target - point.w[k] * point.v[k];
  }
}

void aim_at_second_order(const ProblemForm &form, const Direction &direction, Products *products) {
  for (size_t j = 0; j < direction.x.size(); ++j) {
    products->xz[j] = form.is_free[j] ? 0.0 : -direction.x[j] * direction.z[j];
  }
  for (size_t k = 0; k < direction.w.size(); ++k) {
    products->wv[k] = -direction.w[k] * direction.v[k];
  }
}

void aim_at_neighbourhood(const ProblemForm &form, const Point &point, const Direction &direction,
                          const StepLengths &steps, double low, double high, Products *products) {
  for (size_t j = 0; j < point.x.size(); ++j) {
    const double product =
        (point.x[j] + steps.primal * direction.x[j]) * (point.z[j] + steps.dual * direction.z[j]);
    products->xz[j] = form.is_free[j] ? 0.0 : centrality_correction(product, low, high);
  }
  for (size_t k = 0; k < point.w.size(); ++k) {
    const double product =
        (point.w[k] + steps.primal * direction.w[k]) * (point.v[k] + steps.dual * direction.v[k]);
    products->wv[k] = centrality_correction(product, low, high);
  }
}

void take_step(const StepLengths &steps, const Direction &direction, Point *point) {
  add_shares({steps.primal, steps.dual}, direction, point);
}

void add_scaled(double factor, const Direction &b, Direction *a) {
  add_shares({factor, factor}, b, a);
}

void add_shares(const Shares &shares, const Direction &b, Direction *a) {
  add_to(shares.primal, b.x, &a->x);
  add_to(shares.primal, b.w, &a->w);
  add_to(shares.dual, b.y, &a->y);
  add_to(shares.dual, b.z, &a->z);
  add_to(shares.dual, b.v, &a->v);
}

void set_sum(const Direction &a, const Direction &b, Direction *result) {
  sum_to(a.x, b.x, &result->x);
  sum_to(a.w, b.w, &result->w);
  sum_to(a.y, b.y, &result->y);
  sum_to(a.z, b.z, &result->z);
  sum_to(a.v, b.v, &result->v);
}

}  // namespace interior_point

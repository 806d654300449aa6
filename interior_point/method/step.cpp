#include "interior_point/method/step.h"

#include <algorithm>

#include "interior_point/vector.h"

namespace interior_point {

namespace {

// Entries that are looked at together.
constexpr size_t kGroup = 16;

/// True when one of the group's entries is below 0 after the step.
bool leaves(const double *value, const double *change, double step) {
  double least[2] = {0.0, 0.0};
  for (size_t k = 0; k < kGroup; k += 2) {
    for (size_t l = 0; l < 2; ++l) {
      const double next = value[k + l] + step * change[k + l];
      least[l] = next < least[l] ? next : least[l];
    }
  }
  return least[0] < 0.0 || least[1] < 0.0;
}

/// The longest step of at most `step`. Few entries shorten it: whole groups are passed over.
double longest(const Vector<double> &value, const Vector<double> &change, const uint8_t *skip,
               double step) {
  const size_t size = value.size();
  for (size_t first = 0; first < size; first += kGroup) {
    const size_t end = std::min(first + kGroup, size);
    if (end == first + kGroup && !leaves(&value[first], &change[first], step)) continue;
    for (size_t j = first; j < end; ++j) {
      if (value[j] < -step * change[j] && !(skip && skip[j])) step = -value[j] / change[j];
    }
  }
  return step;
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
  steps.primal = longest(point.x, direction.x, skip, steps.primal);
  steps.primal = longest(point.w, direction.w, nullptr, steps.primal);
  steps.dual = longest(point.z, direction.z, skip, steps.dual);
  steps.dual = longest(point.v, direction.v, nullptr, steps.dual);
  return steps;
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
  add_to(steps.primal, direction.x, &point->x);
  add_to(steps.primal, direction.w, &point->w);
  add_to(steps.dual, direction.y, &point->y);
  add_to(steps.dual, direction.z, &point->z);
  add_to(steps.dual, direction.v, &point->v);
}

void add_scaled(double factor, const Direction &b, Direction *a) {
  add_to(factor, b.x, &a->x);
  add_to(factor, b.w, &a->w);
  add_to(factor, b.y, &a->y);
  add_to(factor, b.z, &a->z);
  add_to(factor, b.v, &a->v);
}

void set_sum(const Direction &a, const Direction &b, Direction *result) {
  sum_to(a.x, b.x, &result->x);
  sum_to(a.w, b.w, &result->w);
  sum_to(a.y, b.y, &result->y);
  sum_to(a.z, b.z, &result->z);
  sum_to(a.v, b.v, &result->v);
}

}  // namespace interior_point

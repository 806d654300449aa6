#include "interior_point/method/clearing.h"

#include <algorithm>
#include <cmath>

#include "interior_point/method/options.h"

namespace interior_point {

namespace {

constexpr const ClearingOptions &kClearing = kOptions.clearing;

// In place of 0, so that theta and 1/x are numbers, and what a step may make of it.
constexpr double kNothing = 1e-150;
constexpr double kTrace = 1e-100;

/// r_p, and what of it counts.
struct PrimalError {
  double largest = 0.0;  ///< entry, in the caller's unit
  double defect = 0.0;   ///< |y'r_p|
};

PrimalError primal_error(const ProblemForm &form, const Point &point, Vector<double> *residual) {
  *residual = form.b;
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (std::fabs(point.x[j]) <= kTrace) continue;
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      (*residual)[form.A.row[t]] -= form.A.value[t] * point.x[j];
    }
  }
  PrimalError error;
  for (int32_t i = 0; i < form.rows(); ++i) {
    error.largest = std::max(error.largest, std::fabs((*residual)[i]) * form.row_unit[i]);
    error.defect += point.y[i] * (*residual)[i];
  }
  error.defect = std::fabs(error.defect);
  return error;
}

/// z and v such that theta of (9) is x, and x w / (x + w) where there is a width.
void set_metric(const ProblemForm &form, Point *point) {
  for (int32_t j = 0; j < form.columns(); ++j) point->z[j] = form.is_free[j] ? 0.0 : 1.0;
  std::fill(point->v.begin(), point->v.end(), 1.0);
}

void add_clipped(const ProblemForm &form, const Vector<double> &change, Point *point) {
  for (int32_t j = 0; j < form.columns(); ++j) {
    point->x[j] += change[j];
    if (!form.is_free[j]) point->x[j] = std::max(point->x[j], kNothing);
  }
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    const int32_t j = form.boxed[k];
    point->x[j] = std::min(point->x[j], form.width[j]);
    point->w[k] = std::max(form.width[j] - point->x[j], kNothing);
  }
}

void drop_traces(Vector<double> *values) {
  for (double &e : *values) {
    if (std::fabs(e) <= kTrace) e = 0.0;
  }
}

}  // namespace

bool clear_columns(const ProblemForm &form, const Vector<int32_t> &columns, double far,
                   const SolveAccuracy &allowed, const NewtonSystem &analysed, Point *point) {
  NewtonSystem newton(form);
  newton.analyse_as(analysed);
  newton.set_accuracy(allowed);
  Residuals residuals;
  residuals.resize(form);
  Products products;
  products.resize(form);
  Direction step;
  step.resize(form);
  Point moved = *point;
  for (const int32_t j : columns) moved.x[j] = kNothing;
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (!form.is_free[j] && moved.z[j] >= far) moved.x[j] = kNothing;
  }
  set_metric(form, &moved);
  const double most = kClearing.most_carried * form.largest_rhs;
  for (int round = 0; round <= kClearing.most_steps; ++round) {
    const PrimalError error = primal_error(form, moved, &residuals.primal);
    if (error.largest <= allowed.rows && error.defect <= allowed.defect) {
      drop_traces(&moved.x);
      drop_traces(&moved.w);
      point->x = std::move(moved.x);
      point->w = std::move(moved.w);
      return true;
    }
    if (!(error.largest <= most)) return false;
    if (!newton.prepare(moved, 1.0)) return false;
    newton.solve(moved, &residuals, products, &step);
    add_clipped(form, step.x, &moved);
  }
  return false;
}

}  // namespace interior_point

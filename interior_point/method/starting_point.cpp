#include "interior_point/method/starting_point.h"

#include <algorithm>
#include <cmath>

#include "interior_point/form/huge_bounds.h"
#include "interior_point/method/options.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

/// x + w = h with |x|^2 + |w|^2 least among the near boxes: theta is 1/2 there, x is measured from
/// h/2. The other columns have theta 1.
void least_squares_x(const ProblemForm &form, const NewtonSystem &newton,
                     const Vector<uint8_t> &huge, Point *point) {
  Vector<double> r = form.b;
  std::fill(point->x.begin(), point->x.end(), 0.0);
  for (size_t k = 0; k < huge.size(); ++k) {
    if (!huge[k]) point->x[form.boxed[k]] = -0.5 * form.width[form.boxed[k]];
  }
  add_product(form.A, point->x.data(), r.data());
  newton.solve_normal(r.data());
  for (int32_t j = 0; j < form.columns(); ++j) {
    point->x[j] = newton.theta()[j] * column_product(form.A, j, r.data()) - point->x[j];
  }
  for (size_t k = 0; k < huge.size(); ++k) {
    point->w[k] = form.width[form.boxed[k]] - point->x[form.boxed[k]];
  }
}

void least_squares_y(const ProblemForm &form, const NewtonSystem &newton,
                     const Vector<uint8_t> &huge, Point *point) {
  std::fill(point->y.begin(), point->y.end(), 0.0);
  add_product(form.A, form.c.data(), point->y.data());
  newton.solve_normal(point->y.data());
  for (int32_t j = 0; j < form.columns(); ++j) {
    point->z[j] = form.c[j] - column_product(form.A, j, point->y.data());
  }
  // z - v = c - A'y is split evenly around zero.
  for (size_t k = 0; k < huge.size(); ++k) {
    if (huge[k]) continue;
    const double slack = point->z[form.boxed[k]];
    point->z[form.boxed[k]] = 0.5 * slack;
    point->v[k] = -0.5 * slack;
  }
}

double least_value(const ProblemForm &form, const Vector<uint8_t> &huge,
                   const Vector<double> &per_column, const Vector<double> &per_boxed) {
  double least = kInfinity;
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (!form.is_free[j]) least = std::min(least, per_column[j]);
  }
  for (size_t k = 0; k < huge.size(); ++k) {
    if (!huge[k]) least = std::min(least, per_boxed[k]);
  }
  return least;
}

void add_constant(const ProblemForm &form, double constant, Vector<double> *per_column,
                  Vector<double> *per_boxed) {
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (!form.is_free[j]) (*per_column)[j] += constant;
  }
  for (double &e : *per_boxed) e += constant;
}

/// The pairs of huge boxes, at the mean product of the others.
void complete_huge_boxes(const ProblemForm &form, const Vector<uint8_t> &huge, double mu,
                         Point *point) {
  for (size_t k = 0; k < huge.size(); ++k) {
    if (!huge[k]) continue;
    const int32_t j = form.boxed[k];
    point->w[k] = std::max(form.width[j] - point->x[j], 0.5 * form.width[j]);
    point->v[k] = mu / point->w[k];
  }
}

/// First to positive values, then by half of the mean product over the mean of the other side.
void shift_into_interior(const ProblemForm &form, const Vector<uint8_t> &huge, Point *point) {
  const double least_x = least_value(form, huge, point->x, point->w);
  const double least_z = least_value(form, huge, point->z, point->v);
  add_constant(form,
               std::max(-kOptions.start.violation_shift * least_x, kOptions.start.least_shift),
               &point->x, &point->w);
  add_constant(form,
               std::max(-kOptions.start.violation_shift * least_z, kOptions.start.least_shift),
               &point->z, &point->v);
  double products = 0.0;
  double sum_x = 0.0;
  double sum_z = 0.0;
  int32_t pairs = 0;
  const auto take = [&](double x, double z) {
    products += x * z;
    sum_x += x;
    sum_z += z;
    ++pairs;
  };
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (form.is_free[j]) {
      point->z[j] = 0.0;
    } else {
      take(point->x[j], point->z[j]);
    }
  }
  for (size_t k = 0; k < huge.size(); ++k) {
    if (!huge[k]) take(point->w[k], point->v[k]);
  }
  add_constant(form, 0.5 * products / sum_z, &point->x, &point->w);
  add_constant(form, 0.5 * products / sum_x, &point->z, &point->v);
  // sum (x + dx)(z + dz) with the two shifts is 2 products and a quarter of N times their ratio.
  const double shifts = 0.25 * products / sum_x * products / sum_z;
  complete_huge_boxes(form, huge, 2.0 * products / pairs + shifts, point);
}

double largest_entry(const ProblemForm &form, int32_t j) {
  double most = 0.0;
  for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
    most = std::max(most, std::fabs(form.A.value[t]));
  }
  return most;
}

}  // namespace

void make_penalty_point(const ProblemForm &form, Point *point) {
  point->resize(form);
  double size = 1.0;
  for (const double e : form.b) size = std::max(size, std::fabs(e));
  double penalty = form.reference_cost;
  for (int32_t j = 0; j < form.structurals; ++j) {
    penalty = std::max(penalty, std::fabs(form.c[j]) / largest_entry(form, j));
  }
  const double mu = size * penalty;
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (form.is_free[j]) continue;
    point->x[j] = std::min(size / largest_entry(form, j), 0.5 * form.width[j]);
    point->z[j] = mu / point->x[j];
  }
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    point->w[k] = form.width[form.boxed[k]] - point->x[form.boxed[k]];
    point->v[k] = mu / point->w[k];
  }
}

bool make_starting_point(const ProblemForm &form, NewtonSystem *newton, Point *point) {
  point->resize(form);
  newton->reset_regularisation();
  const Vector<uint8_t> huge = huge_boxes(form);
  if (!newton->prepare_least_squares(huge)) return false;
  least_squares_x(form, *newton, huge, point);
  least_squares_y(form, *newton, huge, point);
  if (form.pairs > 0) shift_into_interior(form, huge, point);
  return true;
}

}  // namespace interior_point

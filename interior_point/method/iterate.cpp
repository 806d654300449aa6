#include "interior_point/method/iterate.h"

#include <algorithm>
#include <cmath>

#include "interior_point/method/options.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

constexpr const MeasureOptions &kMeasures = kOptions.measures;

// Of a sum of many terms, relative to their sizes.
constexpr double kSummationError = 2e-15;
// A residual this small is the rounding error of b - A x and says nothing of the point.
constexpr double kRoundedPrimal = 1e-14;

/// max_j |a_ij x_j| per row, in the caller's units
Vector<double> backward_terms_of_rows(const ProblemForm &form, const Point &point) {
  Vector<double> row(static_cast<size_t>(form.rows()), 0.0);
  const double *value = form.A.value.data();
  const int32_t *at = form.A.row.data();
  for (int32_t j = 0; j < form.columns(); ++j) {
    const double xj = std::fabs(point.x[j]);
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      row[at[t]] = std::max(row[at[t]], std::fabs(value[t]) * xj);
    }
  }
  for (int32_t i = 0; i < form.rows(); ++i) row[i] *= form.row_unit[i];
  return row;
}

/// max_i |a_ij y_i| in the caller's units
double backward_term_of_column(const ProblemForm &form, const Point &point, int32_t j) {
  double most = 0.0;
  for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
    most = std::max(most, std::fabs(form.A.value[t]) * std::fabs(point.y[form.A.row[t]]));
  }
  return most * form.column_unit[j];
}

double primal_measure(const ProblemForm &form, const Residuals &r, const double *backward) {
  const double common = 1.0 + form.largest_rhs;
  double worst = 0.0;
  for (int32_t i = 0; i < form.rows(); ++i) {
    const double denominator = common + (backward ? kMeasures.backward_share * backward[i] : 0.0);
    worst = std::max(worst, std::fabs(r.primal[i]) * form.row_unit[i] / denominator);
  }
  return worst;
}

/// The last term of the denominator, where it is asked for, is looked at in the few columns that
/// are the worst so far without it.
double dual_measure(const ProblemForm &form, const Point &point, const Residuals &r,
                    bool with_backward_terms) {
  double worst = 0.0;
  for (int32_t j = 0; j < form.columns(); ++j) {
    const double unit = form.column_unit[j];
    const double violation = std::fabs(r.dual[j]) * unit;
    const double first_terms = 1.0 + std::fabs(form.c[j]) * unit;
    if (!(violation > worst * first_terms)) continue;
    const double last = with_backward_terms ? backward_term_of_column(form, point, j) : 0.0;
    worst = std::max(worst, violation / (first_terms + kMeasures.backward_share * last));
  }
  return worst;
}

double bound_measure(const ProblemForm &form, const Residuals &r) {
  double worst = 0.0;
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    const int32_t j = form.boxed[k];
    const double scale = form.column_scale[j];
    worst = std::max(worst, std::fabs(r.width[k]) * scale / (1.0 + form.width[j] * scale));
  }
  return worst;
}

/// `rounded` is a part of p - d that is known for a rounding error.
void measure_objectives(const ProblemForm &form, const Point &point, double rounded, Unit unit,
                        Measures *m) {
  double p = 0.0;
  double d = 0.0;
  double size = 0.0;  // of all terms: the sums are exact to a few units in its last place
  const auto add = [&size](double term, double *sum) {
    *sum += term;
    size += std::fabs(term);
  };
  for (int32_t j = 0; j < form.columns(); ++j) add(form.c[j] * point.x[j], &p);
  for (int32_t i = 0; i < form.rows(); ++i) add(form.b[i] * point.y[i], &d);
  for (size_t k = 0; k < form.boxed.size(); ++k) add(-form.width[form.boxed[k]] * point.v[k], &d);
  m->objective = p + form.objective_constant;
  m->dual_objective = d + form.objective_constant;
  m->rounded = kSummationError * size;
  m->unit =
      std::max({std::fabs(m->objective), kMeasures.objective_floor * std::min(1.0, form.least_cost),
                kMeasures.constant_floor * std::fabs(form.objective_constant)});
  m->unit_of_terms = std::max(m->unit, kMeasures.terms_floor * std::min(size, form.least_cost));
  if (unit == Unit::kTerms) m->unit = m->unit_of_terms;
  const double forgiven =
      std::min(rounded + kSummationError * size, kMeasures.most_forgiven * m->unit);
  m->gap = std::max(std::fabs(p - d) - forgiven, 0.0) / m->unit;
}

void measure_products(const ProblemForm &form, const Point &point, Measures *m) {
  double sum = 0.0;
  double least = kInfinity;
  double most = 0.0;
  const auto take = [&](double product) {
    sum += product;
    least = std::min(least, product);
    most = std::max(most, product);
  };
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (!form.is_free[j]) take(point.x[j] * point.z[j]);
  }
  for (size_t k = 0; k < form.boxed.size(); ++k) take(point.w[k] * point.v[k]);
  const int32_t pairs = form.pairs;
  m->mu = pairs > 0 ? sum / pairs : 0.0;
  m->asmall = m->mu > 0.0 ? least / m->mu : 1.0;
  m->alarge = m->mu > 0.0 ? most / m->mu : 1.0;
}

}  // namespace

void Residuals::resize(const ProblemForm &form) {
  primal.assign(static_cast<size_t>(form.rows()), 0.0);
  width.assign(form.boxed.size(), 0.0);
  dual.assign(static_cast<size_t>(form.columns()), 0.0);
}

void compute_residuals(const ProblemForm &form, const ColumnProducts &products, const Point &point,
                       Residuals *residuals) {
  double *dual = residuals->dual.data();
  residuals->primal = form.b;
  products.multiply_both(point.x.data(), residuals->primal.data(), point.y.data(), dual);
  for (int32_t j = 0; j < form.columns(); ++j) dual[j] = form.c[j] - dual[j] - point.z[j];
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    const int32_t j = form.boxed[k];
    residuals->dual[j] += point.v[k];
    residuals->width[k] = form.width[j] - point.x[j] - point.w[k];
  }
}

Measures measure(const ProblemForm &form, const Point &point, const Residuals &residuals,
                 double tolerance, Unit unit) {
  Measures m;
  m.primal = primal_measure(form, residuals, nullptr);
  m.dual = dual_measure(form, point, residuals, false);
  m.bound = bound_measure(form, residuals);
  if (m.primal > tolerance || m.dual > tolerance) {
    m.primal = primal_measure(form, residuals, backward_terms_of_rows(form, point).data());
    m.dual = dual_measure(form, point, residuals, true);
  }
  double defect = 0.0;
  for (int32_t i = 0; i < form.rows(); ++i) defect += point.y[i] * residuals.primal[i];
  double dual_defect = 0.0;
  for (int32_t j = 0; j < form.columns(); ++j) dual_defect += point.x[j] * residuals.dual[j];
  m.dual_defect = std::fabs(dual_defect);
  const bool rounded = m.primal <= kRoundedPrimal;
  m.defect = rounded ? 0.0 : std::fabs(defect);
  measure_objectives(form, point, rounded ? std::fabs(defect) : 0.0, unit, &m);
  measure_products(form, point, &m);
  return m;
}

}  // namespace interior_point

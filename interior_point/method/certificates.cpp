#include "interior_point/method/certificates.h"

#include <algorithm>
#include <cmath>

#include "interior_point/method/iterate.h"
#include "interior_point/method/options.h"

namespace interior_point {

namespace {

constexpr const CertificateOptions &kCertificates = kOptions.certificates;

constexpr double kRoundedRhs = 4e-15;  // of a sum, relative to its terms
constexpr double kRoundedSum = 1e-14;
constexpr double kRoundedCost = 1e-9;  // a solve allows dual infeasibilities of this size

double largest(const Vector<double> &v) {
  double most = 0.0;
  for (const double e : v) most = std::max(most, std::fabs(e));
  return most;
}

double largest_entry(const SparseColumns &A, int32_t j) {
  double most = 0.0;
  for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
    most = std::max(most, std::fabs(A.value[t]));
  }
  return most;
}

/// The largest dual that the cost of one of the columns with a d_j asks for by itself; of all
/// columns without a d.
double largest_price(const ProblemForm &form, const Vector<double> *d = nullptr) {
  double most = 0.0;
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (form.c[j] == 0.0 || (d && (*d)[j] == 0.0)) continue;
    most = std::max(most, std::fabs(form.c[j]) / largest_entry(form.A, j));
  }
  return most;
}

/// The magnitudes that each scaled b_i is the sum of: a right-hand side, and what shifts of columns
/// and fixed columns took from it.
Vector<double> rhs_magnitudes(const ProblemForm &form) {
  Vector<double> sum(form.b.size());
  for (int32_t i = 0; i < form.rows(); ++i) sum[i] = std::fabs(form.b[i]);
  for (int32_t j = 0; j < form.structurals; ++j) {
    const double shift = std::fabs(form.shift[j]) * form.column_unit[j];
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      sum[form.A.row[t]] += std::fabs(form.A.value[t]) * shift;
    }
  }
  for (size_t k = 0; k < form.removed_value.size(); ++k) {
    for (int32_t t = form.removed.start[k]; t < form.removed.start[k + 1]; ++t) {
      const int32_t i = form.removed.row[t];
      if (i < 0) continue;
      sum[i] += std::fabs(form.removed.value[t] * form.removed_value[k]) * form.row_scale[i];
    }
  }
  return sum;
}

struct Range {
  double low = -kInfinity, high = kInfinity;
};

/// Per row, between which values columns of one entry and no width keep its dual.
Vector<Range> dual_ranges(const ProblemForm &form) {
  Vector<Range> ranges(form.b.size());
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (form.A.start[j + 1] - form.A.start[j] != 1 || std::isfinite(form.width[j])) continue;
    const double a = form.A.value[form.A.start[j]];
    const double bound = form.c[j] / a;
    Range &range = ranges[form.A.row[form.A.start[j]]];
    if (a > 0.0 || form.is_free[j]) range.high = std::min(range.high, bound);
    if (a < 0.0 || form.is_free[j]) range.low = std::max(range.low, bound);
  }
  return ranges;
}

void clip_to_row_signs(const ProblemForm &form, Vector<double> *y) {
  for (size_t k = 0; k < form.slack_row.size(); ++k) {
    const int32_t j = form.structurals + static_cast<int32_t>(k);
    if (std::isfinite(form.width[j])) continue;
    double &e = (*y)[form.slack_row[k]];
    e = form.A.value[form.A.start[j]] > 0.0 ? std::min(e, 0.0) : std::max(e, 0.0);
  }
}

void clip_to_ray(const ProblemForm &form, Vector<double> *d) {
  for (int32_t j = 0; j < form.columns(); ++j) {
    double &e = (*d)[j];
    if (std::isfinite(form.width[j])) e = 0.0;
    if (!form.is_free[j]) e = std::max(e, 0.0);
  }
  for (const HugeBounds &bounds : form.huge_bounds) (*d)[bounds.column] = 0.0;
}

/// What column j takes from theta of (25), rounding included.
double taken_by(const ProblemForm &form, const Vector<double> &y, int32_t j, double most_x) {
  double s = 0.0;
  double terms = 0.0;
  for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
    const double term = form.A.value[t] * y[form.A.row[t]];
    s += term;
    terms += std::fabs(term);
  }
  if (form.is_free[j]) s = std::fabs(s);
  if (s <= kRoundedSum * terms) return 0.0;
  return s * std::min(form.width[j], most_x / largest_entry(form.A, j));
}

/// Which ways an activity can go without end: by the row's slack, or because it has no such end.
struct OpenRows {
  Vector<uint8_t> up, down;

  explicit OpenRows(const ProblemForm &form) : up(form.b.size(), 0), down(form.b.size(), 0) {
    for (size_t k = 0; k < form.slack_row.size(); ++k) {
      const int32_t j = form.structurals + static_cast<int32_t>(k);
      if (std::isfinite(form.width[j])) continue;
      (form.A.value[form.A.start[j]] < 0.0 ? up : down)[form.slack_row[k]] = 1;
    }
  }
};

/// The measures of iterate.h without what their denominators forgive.
double primal_residual(const ProblemForm &form, const Residuals &residuals) {
  double most = 0.0;
  for (int32_t i = 0; i < form.rows(); ++i) {
    most = std::max(most, std::fabs(residuals.primal[i]) * form.row_unit[i]);
  }
  return most / (1.0 + form.largest_rhs);
}

double dual_residual(const ProblemForm &form, const Residuals &residuals) {
  double most = 0.0;
  for (int32_t j = 0; j < form.columns(); ++j) {
    const double unit = form.column_unit[j];
    most =
        std::max(most, std::fabs(residuals.dual[j]) * unit / (1.0 + std::fabs(form.c[j]) * unit));
  }
  return most;
}

bool is_ray(const ProblemForm &form, const OpenRows &open, int32_t j, double direction) {
  for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
    const bool rises = form.A.value[t] * direction > 0.0;
    if (!(rises ? open.up : open.down)[form.A.row[t]]) return false;
  }
  return true;
}

}  // namespace

bool proves_infeasibility(const ProblemForm &form, Vector<double> *y) {
  clip_to_row_signs(form, y);
  const Vector<double> magnitude = rhs_magnitudes(form);
  double theta = 0.0;
  for (int32_t i = 0; i < form.rows(); ++i) {
    const double missed = kCertificates.tolerance * (form.row_scale[i] + std::fabs(form.b[i])) +
                          kRoundedRhs * magnitude[i];
    theta += form.b[i] * (*y)[i] - missed * std::fabs((*y)[i]);
  }
  const double most_x = kCertificates.largest * largest(form.b);
  for (int32_t j = 0; j < form.columns() && theta > 0.0; ++j) {
    theta -= taken_by(form, *y, j, most_x);
  }
  return theta > 0.0;
}

bool proves_unboundedness(const ProblemForm &form, Vector<double> *d) {
  clip_to_ray(form, d);
  Vector<double> product(form.b.size(), 0.0);
  Vector<double> terms(form.b.size(), 0.0);
  double gain = 0.0;
  for (int32_t j = 0; j < form.columns(); ++j) {
    const double e = (*d)[j];
    const double missed = kCertificates.tolerance * (form.column_scale[j] + std::fabs(form.c[j]));
    gain -= form.c[j] * e + missed * std::fabs(e);
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      product[form.A.row[t]] += form.A.value[t] * e;
      terms[form.A.row[t]] += std::fabs(form.A.value[t] * e);
    }
  }
  const double most_y = std::max(kCertificates.largest * largest_price(form, d),
                                 kCertificates.largest_of_all * largest_price(form));
  const Vector<Range> ranges = dual_ranges(form);
  for (int32_t i = 0; i < form.rows() && gain > 0.0; ++i) {
    const double low = std::max(ranges[i].low, -most_y);
    const double high = std::min(ranges[i].high, most_y);
    if (std::fabs(product[i]) <= kRoundedSum * terms[i]) continue;
    gain += std::min(low * product[i], high * product[i]);
  }
  return gain > 0.0;
}

void find_unbounded_column(ProblemForm *form) {
  if (form->verdict != Verdict::kOpen) return;
  const OpenRows open(*form);
  Vector<uint8_t> has_huge_bounds(static_cast<size_t>(form->structurals), 0);
  for (const HugeBounds &bounds : form->huge_bounds) has_huge_bounds[bounds.column] = 1;
  for (int32_t j = 0; j < form->structurals; ++j) {
    const bool pays = form->c[j] < 0.0 || (form->is_free[j] && form->c[j] > 0.0);
    const double direction = form->c[j] < 0.0 ? 1.0 : -1.0;
    if (!pays || std::isfinite(form->width[j]) || has_huge_bounds[j]) continue;
    if (std::fabs(form->c[j]) * form->column_unit[j] <= kRoundedCost) continue;
    if (!is_ray(*form, open, j, direction)) continue;
    form->verdict = Verdict::kUnbounded;
    form->unbounded_column = {form->user_column[j], form->sign[j] * direction};
    return;
  }
}

Verdict suspicion(const ProblemForm &form, const Point &point) {
  const bool y_may_be = largest(point.y) > kCertificates.far_out * largest(form.c);
  const bool x_may_be = largest(point.x) > kCertificates.far_out * largest(form.b);
  if (!y_may_be && !x_may_be) return Verdict::kOpen;
  Residuals residuals;
  residuals.resize(form);
  compute_residuals(form, point, &residuals);
  if (y_may_be && dual_residual(form, residuals) > kCertificates.unsuspicious)
    return Verdict::kUnbounded;
  if (x_may_be && primal_residual(form, residuals) > kCertificates.unsuspicious)
    return Verdict::kInfeasible;
  return Verdict::kOpen;
}

}  // namespace interior_point

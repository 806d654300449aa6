#include "interior_point/form/scaling.h"

#include <algorithm>
#include <cmath>

#include "interior_point/vector.h"

namespace interior_point {

namespace {

constexpr int kGeometricPasses = 2;

// Beyond kCostBand a cost is scaled into it, beyond this until it equals the reference cost: such
// columns are penalties.
constexpr double kPenaltyBand = 1e6;

// Units of costs and right-hand sides may differ by the square of this. Where they seem to differ
// by more, one of the two is what rounding left of 0.
constexpr double kMostBalance = 8192.0;

double power_of_two_near(double value) {
  if (!(value > 0.0) || !std::isfinite(value)) return 1.0;
  constexpr double kHalfWay = 0.70710678118654752;  // between 1/2 and 1
  int exponent = 0;
  return std::frexp(value, &exponent) < kHalfWay ? std::ldexp(0.5, exponent)
                                                 : std::ldexp(1.0, exponent);
}

struct Extremes {
  double least = kInfinity;
  double largest = 0.0;
  void take(double magnitude) {
    least = std::min(least, magnitude);
    largest = std::max(largest, magnitude);
  }
};

/// Row factors 1 / sqrt(least * largest) of the rows as the columns are scaled now.
void scale_rows_geometrically(const ProblemForm &form, Vector<double> *row,
                              const Vector<double> &column) {
  Vector<Extremes> seen(row->size());
  for (int32_t j = 0; j < form.structurals; ++j) {
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      seen[form.A.row[t]].take(std::fabs(form.A.value[t]) * column[j]);
    }
  }
  for (size_t i = 0; i < row->size(); ++i) {
    if (seen[i].largest > 0.0) (*row)[i] = 1.0 / std::sqrt(seen[i].least * seen[i].largest);
  }
}

void scale_columns_geometrically(const ProblemForm &form, const Vector<double> &row,
                                 Vector<double> *column) {
  for (int32_t j = 0; j < form.structurals; ++j) {
    Extremes seen;
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      seen.take(std::fabs(form.A.value[t]) * row[form.A.row[t]]);
    }
    (*column)[j] = 1.0 / std::sqrt(seen.least * seen.largest);
  }
}

/// Brings the largest entry of every row, then of every column, to 1.
void scale_maxima(const ProblemForm &form, Vector<double> *row, Vector<double> *column) {
  Vector<double> largest(row->size(), 0.0);
  for (int32_t j = 0; j < form.structurals; ++j) {
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      const int32_t i = form.A.row[t];
      largest[i] = std::max(largest[i], std::fabs(form.A.value[t]) * (*row)[i] * (*column)[j]);
    }
  }
  for (size_t i = 0; i < row->size(); ++i) {
    if (largest[i] > 0.0) (*row)[i] /= largest[i];
    (*row)[i] = power_of_two_near((*row)[i]);
  }
  for (int32_t j = 0; j < form.structurals; ++j) {
    double most = 0.0;
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      most = std::max(most, std::fabs(form.A.value[t]) * (*row)[form.A.row[t]]);
    }
    (*column)[j] = power_of_two_near(1.0 / most);
  }
}

double median(Vector<double> *values) {
  if (values->empty()) return 0.0;
  const auto middle = values->begin() + static_cast<int64_t>(values->size() / 2);
  std::nth_element(values->begin(), middle, values->end());
  return *middle;
}

double least_cost(const ProblemForm &form) {
  double least = kInfinity;
  for (const double c : form.c) {
    if (c != 0.0) least = std::min(least, std::fabs(c));
  }
  return std::isfinite(least) ? least : 1.0;
}

/// Median cost of the columns with more than one entry or, where there are none, of those that cost
/// about as little as the cheapest. Penalty columns have one entry each; taking them in would make
/// their cost the reference while the other columns are still few.
double reference_cost(const ProblemForm &form, const Vector<double> &column) {
  Vector<double> several;
  Vector<double> cheap;
  for (int32_t j = 0; j < form.structurals; ++j) {
    const double cost = std::fabs(form.c[j]) * column[j];
    if (cost == 0.0) continue;
    if (std::fabs(form.c[j]) <= kCostBand * form.least_cost) cheap.push_back(cost);
    if (form.A.length(j) > 1) several.push_back(cost);
  }
  const double reference = several.empty() ? median(&cheap) : median(&several);
  return reference > 0.0 ? reference : 1.0;
}

/// Measures a column of large cost in a small unit: its scaled cost comes down to the others', so
/// that one starting value suits all columns. True when there was one.
bool scale_by_cost(const ProblemForm &form, double reference, Vector<double> *column) {
  bool shrunk = false;
  for (int32_t j = 0; j < form.structurals; ++j) {
    const double cost = std::fabs(form.c[j]) * (*column)[j];
    if (cost > kPenaltyBand * reference) {
      (*column)[j] *= power_of_two_near(reference / cost);
    } else if (cost > kCostBand * reference) {
      (*column)[j] *= power_of_two_near(kCostBand * reference / cost);
    }
    shrunk |= cost > kCostBand * reference;
  }
  return shrunk;
}

/// The largest right-hand side and the largest cost, as they are scaled now.
double largest_product(const Vector<double> &a, const Vector<double> &factor) {
  double most = 0.0;
  for (size_t k = 0; k < factor.size(); ++k) most = std::max(most, std::fabs(a[k]) * factor[k]);
  return most;
}

/// R = beta R, C = C / beta leaves A^ as it is and makes the largest right-hand side as large as
/// the largest cost. x and z then have one size, and so have their ratios whatever units the caller
/// measures costs and right-hand sides in: the proximal terms are absolute in z / x.
void balance(Vector<double> *row, Vector<double> *column, ProblemForm *form) {
  const double rhs = largest_product(form->b, *row);
  const double cost = largest_product(form->c, *column);
  if (!(rhs > 0.0) || !(cost > 0.0)) return;
  const double beta =
      std::clamp(power_of_two_near(std::sqrt(cost / rhs)), 1.0 / kMostBalance, kMostBalance);
  for (double &r : *row) r *= beta;
  for (double &c : *column) c /= beta;
  form->reference_cost /= beta;
}

void apply(const Vector<double> &row, Vector<double> *column, ProblemForm *form) {
  for (const int32_t i : form->slack_row) column->push_back(1.0 / row[i]);
  for (int32_t j = 0; j < form->columns(); ++j) {
    const double factor = (*column)[j];
    for (int32_t t = form->A.start[j]; t < form->A.start[j + 1]; ++t) {
      form->A.value[t] *= row[form->A.row[t]] * factor;
    }
    form->c[j] *= factor;
    form->width[j] /= factor;
  }
  for (int32_t i = 0; i < form->rows(); ++i) form->b[i] *= row[i];
  form->row_scale = row;
  form->column_scale = *column;
}

}  // namespace

void scale(ProblemForm *form) {
  Vector<double> row(static_cast<size_t>(form->rows()), 1.0);
  Vector<double> column(static_cast<size_t>(form->structurals), 1.0);
  for (int pass = 0; pass < kGeometricPasses; ++pass) {
    scale_rows_geometrically(*form, &row, column);
    scale_columns_geometrically(*form, row, &column);
  }
  scale_maxima(*form, &row, &column);
  form->least_cost = least_cost(*form);
  form->reference_cost = reference_cost(*form, column);
  form->has_penalties = scale_by_cost(*form, form->reference_cost, &column);
  // Beside penalty columns neither the largest cost nor, when they carry weight, x has a size of
  // its own.
  if (!form->has_penalties) balance(&row, &column, form);
  apply(row, &column, form);
}

}  // namespace interior_point

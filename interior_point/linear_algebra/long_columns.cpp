#include "interior_point/linear_algebra/long_columns.h"

#include <algorithm>

#include "interior_point/linear_algebra/dense_kernel.h"

namespace interior_point {

namespace {

// A BLAS takes a tenth of the time for an entry, and the zeros in between their share of it.
constexpr int32_t kLongShare = 4;
// With fewer rows a call takes longer than what it saves.
constexpr int32_t kFewestRows = 64;

}  // namespace

LongColumns::LongColumns(const SparseColumns &A) : rows_(A.rows), all_(A.columns()) {
  for (int32_t j = 0; j < all_ && rows_ >= kFewestRows; ++j) {
    if (kLongShare * A.length(j) >= rows_) columns_.push_back(j);
  }
  const size_t size = static_cast<size_t>(rows_) * columns_.size();
  values_.resize(size);
  double *value = values_.data();
  std::fill(value, value + size, 0.0);
  for (const int32_t j : columns_) {
    add_column(A, j, 1.0, value);
    value += rows_;
  }
  at_.resize(columns_.size());
}

void LongColumns::add_product(double factor, const double *x, double *y) const {
  for (size_t k = 0; k < at_.size(); ++k) at_[k] = x[columns_[k]];
  dense::add_matrix_vector(rows_, static_cast<int32_t>(at_.size()), factor, values_.data(), rows_,
                           at_.data(), y);
}

void LongColumns::multiply(const double *y, double *out) const {
  std::fill(out, out + columns_.size(), 0.0);
  dense::add_transposed_vector(rows_, static_cast<int32_t>(columns_.size()), 1.0, values_.data(),
                               rows_, y, out);
}

void LongColumns::add_squares(const double *theta, double *y) const {
  const double *value = values_.data();
  for (const int32_t j : columns_) {
    for (int32_t i = 0; i < rows_; ++i) y[i] += theta[j] * value[i] * value[i];
    value += rows_;
  }
}

}  // namespace interior_point

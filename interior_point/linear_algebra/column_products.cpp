#include "interior_point/linear_algebra/column_products.h"

#include <algorithm>
#include <numeric>
#include <type_traits>

#include "interior_point/linear_algebra/dense_kernel.h"

namespace interior_point {

namespace {

// Dense, an entry takes a tenth of the time, and the zeros in between their share of it.
constexpr int32_t kLongShare = 4;
// Of fewer entries the columns in groups are as fast.
constexpr int32_t kShortestLong = 5;
// Up to so many rows the kernels for panels are faster than a BLAS.
constexpr int32_t kFewRows = 128;
// Numbers that the widest of these take at a time: there are no shorter ends.
constexpr int32_t kPadding = 8;
// Up to so many rows the start on a column takes as long as its entries.
constexpr int32_t kGroupedRows = 256;
// Loops over so few entries are unrolled.
constexpr int32_t kUnrolled = 4;

template <int32_t N>
using Length = std::integral_constant<int32_t, N>;

}  // namespace

ColumnProducts::ColumnProducts(const SparseColumns &A) : A_(A), kernels_(panel_kernels()) {
  list_columns();
  fill_long();
}

void ColumnProducts::list_columns() {
  const int32_t shortest_long = std::max(kShortestLong, (A_.rows + kLongShare - 1) / kLongShare);
  for (int32_t j = 0; j < A_.columns(); ++j) {
    const int32_t length = A_.length(j);
    if (length >= shortest_long) {
      long_.push_back(j);
    } else if (length == 1 && A_.rows <= kGroupedRows) {
      single_.push_back({j, A_.row[A_.start[j]], A_.value[A_.start[j]]});
    } else {
      short_.push_back(j);
    }
  }
  if (A_.rows <= kGroupedRows) group_by_length(shortest_long);
}

void ColumnProducts::group_by_length(int32_t shortest_long) {
  group_start_.assign(static_cast<size_t>(std::max(shortest_long, kUnrolled + 1)) + 1, 0);
  for (const int32_t j : short_) ++group_start_[A_.length(j) + 1];
  std::partial_sum(group_start_.begin(), group_start_.end(), group_start_.begin());
  const Vector<int32_t> columns = short_;
  Vector<int32_t> next = group_start_;
  for (const int32_t j : columns) short_[next[A_.length(j)]++] = j;
}

bool ColumnProducts::has_few_rows() const { return A_.rows <= kFewRows; }

void ColumnProducts::fill_long() {
  const auto padded = [this](int32_t size) {
    return has_few_rows() ? (size + kPadding - 1) / kPadding * kPadding : size;
  };
  leading_ = padded(A_.rows);
  leading_transposed_ = padded(static_cast<int32_t>(long_.size()));
  at_.resize(static_cast<size_t>(leading_transposed_));
  if (has_few_rows()) transposed_.assign(at_.size() * static_cast<size_t>(A_.rows), 0.0);
  if (has_few_rows()) image_.resize(static_cast<size_t>(leading_));
  values_.assign(static_cast<size_t>(leading_) * long_.size(), 0.0);
  for (size_t k = 0; k < long_.size(); ++k) {
    for (int32_t t = A_.start[long_[k]]; t < A_.start[long_[k] + 1]; ++t) {
      const size_t i = static_cast<size_t>(A_.row[t]);
      values_[k * static_cast<size_t>(leading_) + i] += A_.value[t];
      if (has_few_rows()) transposed_[i * at_.size() + k] += A_.value[t];
    }
  }
}

template <class F>
void ColumnProducts::for_short(const F &f) const {
  if (group_start_.empty()) {
    for (const int32_t j : short_) f(j, A_.start[j], A_.length(j));
    return;
  }
  const auto group = [&](auto length) {
    for (int32_t k = group_start_[length]; k < group_start_[length + 1]; ++k) {
      f(short_[k], A_.start[short_[k]], length);
    }
  };
  group(Length<0>());
  group(Length<2>());
  group(Length<3>());
  group(Length<kUnrolled>());
  for (int32_t length = kUnrolled + 1; static_cast<size_t>(length) + 1 < group_start_.size();
       ++length) {
    group(length);
  }
}

void ColumnProducts::add_long_product(double factor, const double *x, double *y) const {
  if (long_.empty()) return;
  for (size_t k = 0; k < long_.size(); ++k) at_[k] = factor * x[long_[k]];
  const auto columns = static_cast<int32_t>(long_.size());
  if (!has_few_rows()) {
    dense::add_matrix_vector(A_.rows, columns, 1.0, values_.data(), leading_, at_.data(), y);
    return;
  }
  std::fill(image_.begin(), image_.end(), 0.0);
  kernels_.add_product(leading_, columns, values_.data(), at_.data(), image_.data());
  for (int32_t i = 0; i < A_.rows; ++i) y[i] += image_[i];
}

void ColumnProducts::multiply_long(const double *y, double *out) const {
  if (long_.empty()) return;
  std::fill(at_.begin(), at_.end(), 0.0);
  if (has_few_rows()) {
    kernels_.add_product(leading_transposed_, A_.rows, transposed_.data(), y, at_.data());
  } else {
    dense::add_transposed_vector(A_.rows, leading_transposed_, 1.0, values_.data(), leading_, y,
                                 at_.data());
  }
  for (size_t k = 0; k < long_.size(); ++k) out[long_[k]] = at_[k];
}

void ColumnProducts::add_product(double factor, const double *x, double *y) const {
  const int32_t *row = A_.row.data();
  const double *value = A_.value.data();
  for (const Single &e : single_) y[e.row] += e.value * (factor * x[e.column]);
  for_short([=](int32_t j, int32_t first, auto length) {
    const double xj = factor * x[j];
    for (int32_t t = 0; t < length; ++t) y[row[first + t]] += value[first + t] * xj;
  });
  add_long_product(factor, x, y);
}

void ColumnProducts::multiply(const double *y, double *out) const {
  const int32_t *row = A_.row.data();
  const double *value = A_.value.data();
  for (const Single &e : single_) out[e.column] = e.value * y[e.row];
  for_short([=](int32_t j, int32_t first, auto length) {
    double sum = 0.0;
    for (int32_t t = 0; t < length; ++t) sum += value[first + t] * y[row[first + t]];
    out[j] = sum;
  });
  multiply_long(y, out);
}

void ColumnProducts::multiply_both(const double *x, double *y, const double *u, double *out) const {
  const int32_t *row = A_.row.data();
  const double *value = A_.value.data();
  for (const Single &e : single_) {
    out[e.column] = e.value * u[e.row];
    y[e.row] -= e.value * x[e.column];
  }
  for_short([=](int32_t j, int32_t first, auto length) {
    const double xj = x[j];
    double sum = 0.0;
    for (int32_t t = 0; t < length; ++t) {
      sum += value[first + t] * u[row[first + t]];
      y[row[first + t]] -= value[first + t] * xj;
    }
    out[j] = sum;
  });
  add_long_product(-1.0, x, y);
  multiply_long(u, out);
}

void ColumnProducts::add_squares(const double *theta, double *y) const {
  const int32_t *row = A_.row.data();
  const double *value = A_.value.data();
  for (const Single &e : single_) y[e.row] += theta[e.column] * e.value * e.value;
  const auto add = [=](int32_t j, int32_t first, auto length) {
    for (int32_t t = 0; t < length; ++t) {
      y[row[first + t]] += theta[j] * value[first + t] * value[first + t];
    }
  };
  for_short(add);
  for (const int32_t j : long_) add(j, A_.start[j], A_.length(j));
}

}  // namespace interior_point

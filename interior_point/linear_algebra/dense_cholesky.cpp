#include "interior_point/linear_algebra/dense_cholesky.h"

#include "interior_point/linear_algebra/dense_kernel.h"

namespace interior_point {

namespace {

// Up to this order the kernels for panels are faster than a BLAS: a factorisation takes 0.8 of the
// time with 100 rows, the solves with it 0.6; with 200 rows 1.2 and 0.65.
constexpr int32_t kSmallOrder = 128;

}  // namespace

bool DenseCholesky::is_small() const { return order_ <= kSmallOrder; }

void DenseCholesky::resize(int32_t order) {
  order_ = order;
  numbers_.resize(static_cast<size_t>(order) * static_cast<size_t>(order));
}

bool DenseCholesky::factorise() {
  if (!is_small()) return dense::cholesky(order_, numbers_.data(), order_);
  double scratch[kScratchPerColumn * kSmallOrder];
  return kernels_.factorise(order_, order_, nullptr, numbers_.data(), scratch);
}

void DenseCholesky::solve_lower(int32_t count, double *x) const {
  if (is_small()) {
    for (int32_t k = 0; k < count; ++k, x += order_) {
      kernels_.solve(order_, order_, numbers_.data(), x);
    }
  } else if (count == 1) {
    dense::solve_lower(order_, numbers_.data(), order_, x);
  } else {
    dense::solve_lower_block(order_, count, numbers_.data(), order_, x, order_);
  }
}

void DenseCholesky::solve_lower_transposed(double *x) const {
  if (is_small()) {
    kernels_.solve_transposed(order_, order_, numbers_.data(), x);
  } else {
    dense::solve_lower_transposed(order_, numbers_.data(), order_, x);
  }
}

}  // namespace interior_point

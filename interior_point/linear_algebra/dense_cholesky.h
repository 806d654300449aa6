/**
 * The Cholesky factorisation of one dense matrix, by whichever kernels serve its order.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_DENSE_CHOLESKY_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_DENSE_CHOLESKY_H

#include <cstdint>

#include "interior_point/linear_algebra/panel_kernels.h"
#include "interior_point/vector.h"

namespace interior_point {

/// A symmetric matrix in its lower triangle, column-major without gaps, and then its factor L.
class DenseCholesky {
 public:
  DenseCholesky() : kernels_(panel_kernels()) {}

  /// Makes room for a matrix; what was held is gone. Throws std::bad_alloc.
  void resize(int32_t order);

  int32_t order() const { return order_; }
  double *data() { return numbers_.data(); }
  double *column(int32_t k) { return data() + static_cast<int64_t>(k) * order_; }

  /// A = L L' in place; false when A is not positive definite (L is then not to be used).
  bool factorise();
  /// L^-1 x in place for `count` columns x.
  void solve_lower(int32_t count, double *x) const;
  /// L'^-1 x in place.
  void solve_lower_transposed(double *x) const;

 private:
  bool is_small() const;

  const PanelKernels &kernels_;
  int32_t order_ = 0;
  Room numbers_;  // order x order
};

}  // namespace interior_point

#endif

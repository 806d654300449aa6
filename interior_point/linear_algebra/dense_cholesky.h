/**
 * The Cholesky factorisation of one dense matrix, by whichever kernels serve its order.
 *
 * The lower triangle of a large matrix is held in blocks of columns, each from its diagonal down:
 * half of the memory of a square, and a factor that is kept beside a new one takes no more than one
 * square. With L_b the block b of columns, below its diagonal block L_bb,
 *
 *   A_bb = L_bb L_bb',   L_b = A_b L_bb'^-1,   A_c = A_c - L_b[from c on] L_b[rows of c]', c > b,
 *
 * for one block after the other: nearly all of the work is matrix products.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_DENSE_CHOLESKY_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_DENSE_CHOLESKY_H

#include <cstdint>

#include "interior_point/linear_algebra/panel_kernels.h"
#include "interior_point/vector.h"

namespace interior_point {

/// A symmetric matrix in its lower triangle, and then its factor L.
class DenseCholesky {
 public:
  DenseCholesky() : kernels_(panel_kernels()) {}

  /// Makes room for a matrix; what was held is gone. Throws std::bad_alloc.
  void resize(int32_t order);

  int32_t order() const { return order_; }
  /// True up to an order where the kernels for panels are faster than a BLAS.
  static bool is_small(int32_t order);
  bool is_small() const { return is_small(order_); }
  /// Column k, of which the entries from k on are there: column(k)[i] is that of row i.
  double *column(int32_t k) {
    const int32_t b = k / width_;
    const int64_t before = static_cast<int64_t>(k - b * width_) * leading(b);
    return numbers_.data() + start_[b] + before - b * width_;
  }

  /// A = A + alpha V V' for the order x k matrix V.
  void add_outer_product(int32_t k, double alpha, const double *v, int32_t leading_v);
  /// A = A + V diag(weight) V' for the order x k matrix V; for a matrix that is small.
  void add_weighted_products(int32_t k, const double *weight, const double *v);
  /// A = V'V for the k x order matrix V.
  void set_to_inner_product(int32_t k, const double *v, int32_t leading_v);

  /// A = L L' in place; false when A is not positive definite (L is then not to be used).
  bool factorise();
  /// L^-1 x in place for `count` columns x.
  void solve_lower(int32_t count, double *x) const;
  /// L'^-1 x in place.
  void solve_lower_transposed(double *x) const;

 private:
  void subtract_products(int32_t k, const double *signs, const double *v, int32_t leading_v);
  int32_t blocks() const { return static_cast<int32_t>(start_.size()); }
  int32_t first(int32_t b) const { return b * width_; }
  int32_t columns(int32_t b) const;
  int32_t below(int32_t b) const { return order_ - first(b) - columns(b); }
  int32_t leading(int32_t b) const { return order_ - first(b); }
  double *block(int32_t b) { return numbers_.data() + start_[b]; }
  const double *block(int32_t b) const { return numbers_.data() + start_[b]; }
  bool factorise_block(int32_t b);

  const PanelKernels &kernels_;
  int32_t order_ = 0;
  int32_t width_ = 1;      // columns of each block but the last
  Vector<int64_t> start_;  // per block: where its rows from the diagonal down are in the numbers
  Room numbers_;
  Vector<int32_t> identity_;  // where products go in a small matrix
  Vector<double> factor_;     // of those with weights
  Room scratch_;              // of their kernels
};

}  // namespace interior_point

#endif

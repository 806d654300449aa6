/**
 * Products of a matrix by columns with vectors, many times for one matrix.
 *
 * Columns with entries in many of the rows are held as a dense matrix besides. Of a matrix of few
 * rows most of the time of the others goes into starting on columns of a few entries: those of one
 * entry become a list of entries, the others are taken in groups of one length.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_COLUMN_PRODUCTS_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_COLUMN_PRODUCTS_H

#include "interior_point/linear_algebra/panel_kernels.h"
#include "interior_point/linear_algebra/sparse_columns.h"
#include "interior_point/vector.h"

namespace interior_point {

class ColumnProducts {
 public:
  /// `A` must outlive the object and stay as it is. Throws std::bad_alloc.
  explicit ColumnProducts(const SparseColumns &A);

  /// y += factor A x
  void add_product(double factor, const double *x, double *y) const;
  /// out = A'y
  void multiply(const double *y, double *out) const;
  /// y -= A x and out = A'u, with one pass over the entries of A.
  void multiply_both(const double *x, double *y, const double *u, double *out) const;
  /// y_i += the sum of theta_j a_ij^2
  void add_squares(const double *theta, double *y) const;

  /// Columns of the dense matrix, increasing.
  const Vector<int32_t> &long_columns() const { return long_; }

 private:
  /// An entry of a column that has no other.
  struct Single {
    int32_t column, row;
    double value;
  };

  bool has_few_rows() const;
  void list_columns();
  void group_by_length(int32_t shortest_long);
  void fill_long();
  /// f(j, first entry, length) for the columns that are neither single entries nor long. Lengths
  /// of a few entries come as constants.
  template <class F>
  void for_short(const F &f) const;
  void add_long_product(double factor, const double *x, double *y) const;
  void multiply_long(const double *y, double *out) const;

  const SparseColumns &A_;
  const PanelKernels &kernels_;
  Vector<Single> single_;
  Vector<int32_t> short_;
  Vector<int32_t> group_start_;  // per length: where its columns start; none of many rows
  Vector<int32_t> long_;
  // The long columns, column-major, and their transpose, which the kernels multiply faster than by
  // products along columns. Of many rows the transpose is left out.
  int32_t leading_ = 0;
  int32_t leading_transposed_ = 0;
  Vector<double> values_;
  Vector<double> transposed_;
  mutable Vector<double> at_, image_;  // per long column, per row
};

}  // namespace interior_point

#endif

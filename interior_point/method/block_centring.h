/**
 * The centre of all blocks of columns at given duals: a start behind deep cuts.
 *
 * Master problems often have rows E, those of convexity, that hold every column of several entries
 * once. A lower dual of such a row makes all columns of its block dual feasible, however deep they
 * cut. With the duals of the other rows and the slacks there as they are, and
 *
 *   z_j = c_j - a_j'y,   x_j = mu / z_j,                                                     (32)
 *
 * the row i of E is met where its own dual solves
 *
 *   sum_j a_ij mu / (r_j - a_ij y_i) = b_i,   r_j = c_j - sum_(k other than i) a_kj y_k,     (33)
 *
 * whose left side grows from 0 without limit. The point is dual feasible and in the middle of the
 * path; what is left over is r_p in the other rows. It takes long to restore where it is large in
 * sum |y_i r_i| / (N mu), which falls as mu grows and the weights spread over the columns.
 */
#ifndef INTERIOR_POINT_METHOD_BLOCK_CENTRING_H
#define INTERIOR_POINT_METHOD_BLOCK_CENTRING_H

#include "interior_point/form/point.h"
#include "interior_point/form/problem_form.h"

namespace interior_point {

/// The rows E of a form and their blocks, for centres at several mu.
class BlockCentring {
 public:
  /// For the duals of `start`, and its z of columns in no block. Both are borrowed. Throws
  /// std::bad_alloc.
  BlockCentring(const ProblemForm &form, const Point &start);

  /// Whether the columns fall into blocks, and all others have a z above 0.
  bool applies() const { return applies_; }

  /// The point of (32) and (33), and its sum |y_i r_i| / (N mu) over the rows outside E. Throws
  /// std::bad_alloc.
  double centre(double mu, Point *point) const;

 private:
  struct Entry {
    int32_t column;
    double size;   ///< |a_ij|
    double limit;  ///< r_j / |a_ij|: with the dual there z_j is 0
  };

  /// Sorts the columns into blocks_ and others_.
  void collect_blocks();
  /// The distance of the dual, times the sign of b_i, from the least limit of the block.
  double distance(double mu, int32_t row, double least_limit) const;
  /// sum |y_i r_i| over the rows outside E
  double defect(const Point &point) const;

  const ProblemForm &form_;
  const Point &start_;
  Vector<Vector<Entry>> blocks_;  ///< per row; empty outside E
  Vector<int32_t> others_;        ///< columns in no block
  bool applies_ = false;
};

}  // namespace interior_point

#endif

/**
 * Flexible GMRES: of all combinations of given directions the one that leaves the least residual of
 * M y = r in the 2-norm.
 *
 * The caller proposes the directions, as a rule an approximate inverse applied to `next`, and says
 * what M makes of them. Conjugate gradients would need less memory but diverge where the
 * approximate inverse has lost the definiteness of M to rounding; this residual never grows.
 * Y. Saad, A flexible inner-outer preconditioned GMRES algorithm, SIAM J. Sci. Comput. 14 (1993)
 * 461-469.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_FGMRES_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_FGMRES_H

#include <array>
#include <cstddef>

#include "interior_point/vector.h"

namespace interior_point {

class Fgmres {
 public:
  static constexpr int kMaxDimension = 12;  ///< directions

  /// Forgets all directions. False for a residual of 0 or not of numbers.
  bool start(const Vector<double> &residual);

  /// What the next direction should be the inverse image of.
  const Vector<double> &next() const { return basis_[static_cast<size_t>(size_)]; }

  /// Takes a direction, of any size, and its image. False where no other one can follow; one whose
  /// image is 0 or not of numbers is not taken.
  bool add(const Vector<double> &direction, const Vector<double> &image);

  int size() const { return size_; }
  /// The norm of the residual that the combination leaves.
  double residual_norm() const;

  /// Writes the combination.
  void combine(Vector<double> *sum) const;

 private:
  double &hessenberg(int row, int column) {
    return hessenberg_[static_cast<size_t>(row * kMaxDimension + column)];
  }
  double hessenberg(int row, int column) const {
    return hessenberg_[static_cast<size_t>(row * kMaxDimension + column)];
  }
  void rotate(double below);

  int size_ = 0;
  std::array<Vector<double>, kMaxDimension + 1> basis_;   // orthonormal: r and the images
  std::array<Vector<double>, kMaxDimension> directions_;  // as they came
  // The triangle that is solved with.
  std::array<double, kMaxDimension *kMaxDimension> hessenberg_ = {};
  std::array<double, kMaxDimension> cosine_ = {}, sine_ = {};  // of the rotations that made it one
  std::array<double, kMaxDimension + 1> rhs_ = {};             // r in the rotated basis
};

}  // namespace interior_point

#endif

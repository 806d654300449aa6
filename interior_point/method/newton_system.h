/**
 * The Newton system of one interior-point iteration and its reduction to the normal equations.
 *
 * For right-hand sides r_p, r_u, r_d as in (6) and r_xz, r_wv for the products, the direction
 * solves
 *
 *   A dx = r_p,   dx + dw = r_u,   A'dy + dz - dv = r_d,
 *   z dx + x dz = r_xz,   v dw + w dv = r_wv.                                                  (8)
 *
 * Eliminating dz, dw, dv and dx leaves
 *
 *   theta = 1 / (z/x + v/w + rho),   g = r_d - r_xz/x + (r_wv - v r_u)/w,
 *   (A Theta A' + delta I) dy = r_p + A Theta g,   dx = theta (A'dy - g).                      (9)
 *
 * dz and dv follow from the product rows of (8). Where a column has both and is near a bound, the
 * one with the larger ratio to its variable comes from the dual row instead: products for all would
 * never restore dual feasibility, while the dual row for columns between their bounds, whose z and
 * v vanish with mu, would leave the rounding error of A'dy in their products.
 *
 * A free column has no barrier, and 1/theta = 0. A finite theta in its place is a proximal term: of
 * r_d a full step leaves dx_j / theta_j. Theta starts moderate, for the sake of the condition of
 * the matrix, and grows for the columns whose leavings hold the dual infeasibility up.
 *
 * delta and rho are proximal terms: they keep (9) solvable when rows depend on each other or force
 * variables to zero, and vanish from the limit because they act on the step alone. rho is a number
 * per column: a column that has far to go is held back by it and none of the others.
 */
#ifndef INTERIOR_POINT_METHOD_NEWTON_SYSTEM_H
#define INTERIOR_POINT_METHOD_NEWTON_SYSTEM_H

#include <memory>

#include "interior_point/linear_algebra/factorisation_choice.h"
#include "interior_point/linear_algebra/fgmres.h"
#include "interior_point/method/iterate.h"
#include "interior_point/vector.h"

namespace interior_point {

/// A direction has the same parts as a point.
using Direction = Point;

/// Right-hand sides of the product rows of (8).
struct Products {
  Vector<double> xz;  ///< per column
  Vector<double> wv;  ///< per boxed column

  void resize(const ProblemForm &form);
};

/// What the residual of a single column is held against: the largest one, and |x'r_d|. Infinite
/// where that is not too large.
struct Blame {
  double residual = kInfinity;
  double defect = kInfinity;
};

class NewtonSystem {
 public:
  explicit NewtonSystem(const ProblemForm &form);

  /// Chooses how to factorise, unless that has been done; the first factorisation does it
  /// otherwise. A factorisation for the same rows may be given as `last`, for its choices to be
  /// kept. Throws std::bad_alloc.
  void analyse(const Factorisation *last = nullptr);

  /// Theta of (9) at the point, and the factorisation. False when no factorisation was found even
  /// with the largest shift.
  bool prepare(const Point &point, double mu);

  /// The residual that a solution of (9) may leave in r_p, in the caller's units.
  void set_accuracy(double residual) { accuracy_ = residual; }

  /// Solves (8). A null `residuals` stands for r_p = r_u = r_d = 0. The first solution after a
  /// factorisation is tested against (9) and refined where it is not clean; when it was clean the
  /// others of that factorisation are taken as they come.
  void solve(const Point &point, const Residuals *residuals, const Products &products,
             Direction *direction);

  /// A full step leaves delta dy of r_p. Where that is a good part of its largest entry, lowers
  /// delta for the rest of the solve.
  void weaken_primal_term(const Direction &direction, double largest_residual);
  /// The same of rho dx and r_d, column by column.
  void weaken_dual_terms(const Residuals &residuals, const Point &point, const Direction &direction,
                         const Blame &blame);
  /// Raises theta of the free columns, for the rest of the solve, of which a full step leaves what
  /// is to blame.
  void loosen_free_columns(const Point &point, const Direction &direction, const Blame &blame);
  void reset_terms();

  /// The factorisation of the last prepare, for others to keep; null before the first one, after
  /// one that failed, and after that of the starting point.
  std::shared_ptr<Factorisation> factorisation() const {
    return factorised_ ? factorisation_ : nullptr;
  }
  const Vector<double> &theta() const { return theta_; }

  /// Theta of the least-squares starting point: 1, and 1/2 for the boxed columns that are not
  /// marked as huge.
  bool prepare_least_squares(const Vector<uint8_t> &huge);
  /// y = (A Theta A' + delta I)^-1 r in place.
  void solve_normal(double *r) const { factorisation_->solve(r); }

 private:
  bool factorise();
  void form_diagonal();
  void form_gradient(const Point &point, const Residuals *residuals, const Products &products);
  void solve_normal_equations(const Residuals *residuals, Direction *direction);
  void form_product(const Direction &direction);
  double residual_of(const Residuals *residuals, const Direction &direction);
  bool refine(const Residuals *residuals, Direction *direction);
  bool find_correction();
  void form_search_x();
  void form_image();
  void set_augmented(const double *augmented_x, Vector<double> *x) const;
  void add_search(double length, Direction *direction);

  const ProblemForm &form_;
  std::shared_ptr<Factorisation> factorisation_;
  Vector<double> theta_;
  Vector<double> least_free_theta_;  // per column
  double delta_ = 0.0;
  double delta_factor_ = 1.0;
  Vector<double> rho_;  // per column
  double accuracy_ = 0.0;
  bool factorised_ = false;
  bool trusted_ = false;  // the first solution with this factorisation was clean
  // Work space of one solve.
  Vector<double> gradient_;  // g of (9)
  Vector<double> rhs_, residual_, image_;
  Vector<double> search_, search_x_;  // a correction: dy, then dx of the augmented columns; all dx
  Fgmres corrections_;
  Vector<double> product_;           // A'dy
  Vector<double> augmented_x_;       // entries for the augmented columns
  Vector<double> inverse_x_;         // 1 / x at the point of the last prepare, 0 for free x
  Vector<double> inverse_w_;         // the same with w
  Vector<double> diagonal_, added_;  // of A Theta A', and what is added to it
};

}  // namespace interior_point

#endif

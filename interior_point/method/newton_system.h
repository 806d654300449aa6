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
 * delta is the dual regularisation, rho the primal one, a number per column. As proximal terms they
 * keep (9) solvable when rows depend on each other or force variables to zero, and vanish from the
 * limit because they act on the step alone. A column whose value is far from where it ends is held
 * back by its own rho alone. M. P. Friedlander and D. Orban, A primal-dual regularized
 * interior-point method for convex quadratic programs, Math. Program. Comput. 4 (2012) 71-107.
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

/// The dual infeasibility that a step has left and should not have: the largest residual, and
/// |x'r_d|. Infinite where that is not too large. Single columns are held against it.
struct DualViolation {
  double residual = kInfinity;
  double defect = kInfinity;
};

/// What a solution of (9) may leave of r_p.
struct SolveAccuracy {
  double rows = 0.0;    ///< in a row, in the caller's units
  double defect = 0.0;  ///< of sum |y_i r_i|
  double aim = 0.0;     ///< in a row, so little that both are met; what a correction aims at
};

class NewtonSystem {
 public:
  explicit NewtonSystem(const ProblemForm &form);

  /// Chooses how to factorise, unless that has been done; the first factorisation does it
  /// otherwise. A factorisation for the same rows may be given as `last`, for its choices to be
  /// kept. Throws std::bad_alloc.
  void analyse(const Factorisation *last = nullptr);

  /// The same by what a system of the same form has chosen, if it has. Throws std::bad_alloc.
  void analyse_as(const NewtonSystem &other);

  /// Theta of (9) at the point, and the factorisation. False when no factorisation was found even
  /// with the largest shift.
  bool prepare(const Point &point, double mu);

  void set_accuracy(const SolveAccuracy &accuracy) { accuracy_ = accuracy; }

  /// Solves (8). A null `residuals` stands for r_p = r_u = r_d = 0. The first solution after a
  /// factorisation is tested against (9) and refined where it is not clean; when it was clean the
  /// others of that factorisation are taken as they come.
  void solve(const Point &point, const Residuals *residuals, const Products &products,
             Direction *direction);

  /// A full step leaves delta dy of r_p. Where that is a good part of its largest entry, lowers
  /// delta for the rest of the solve.
  void lower_dual_regularisation(const Direction &direction, double largest_residual);
  /// Raises rho of all columns until the next reset.
  void raise_primal_regularisation();
  /// As the lowering of delta, of rho dx and r_d, column by column.
  void lower_primal_regularisation(const Residuals &residuals, const Point &point,
                                   const Direction &direction, const DualViolation &violation);
  /// Raises theta, for the rest of the solve, of the free columns that leave a good part of
  /// the violation.
  void raise_free_theta(const Point &point, const Direction &direction,
                        const DualViolation &violation);
  /// Regularisation and theta of free columns as at the start of a solve.
  void reset_regularisation();

  /// The factorisation of the last prepare, for others to keep; null before the first one, after
  /// one that failed, and after that of the starting point.
  std::shared_ptr<Factorisation> factorisation() const {
    return factorised_ ? factorisation_ : nullptr;
  }
  const Vector<double> &theta() const { return theta_; }
  /// Products with the matrix of the form.
  const ColumnProducts &products() const { return products_; }

  /// Theta of the least-squares starting point: 1, and 1/2 for the boxed columns that are not
  /// marked as huge.
  bool prepare_least_squares(const Vector<uint8_t> &huge);
  /// y = (A Theta A' + delta I)^-1 r in place.
  void solve_normal(double *r) const { factorisation_->solve(r); }

 private:
  /// Factorises A Theta A' + delta I, the diagonal raised as far as that needs. False when even the
  /// last raise does not do.
  bool factorise();
  /// diagonal_ = that of A Theta A'.
  void form_diagonal();
  /// The delta whose delta dy stays within the rounding error of r_p for a dy no larger than y.
  double unfelt_delta(const Point &point) const;
  /// gradient_ = g of (9).
  void form_gradient(const Point &point, const Residuals *residuals, const Products &products);
  /// Lists the columns by what the factorisation does with them.
  void list_columns();
  /// dy and dx of (9). Where columns are unknowns beside dy, theta g of theirs is left to the
  /// factorisation, and their dx comes from it.
  void solve_normal_equations(const Residuals *residuals, Direction *direction);
  /// rhs_ += A Theta g.
  void add_weighted_gradient();
  /// product_ = A'y, where that is asked for.
  void form_product(const double *y);
  /// residual_ = r_p - A dx - delta dy, and its largest entry in the caller's units.
  double residual_of(const Residuals *residuals, const Direction &direction);
  /// Whether residual_, whose largest entry is given, is allowed at the point. Large entries of it
  /// and large duals rarely meet: corrections would double the passes over A of many iterations.
  bool is_clean(double error, const Point &point) const;
  /// Corrects dx and dy until their residual is allowed. True when the direction was clean as it
  /// came; it stays where no correction improves it.
  bool refine(const Point &point, const Residuals *residuals, Direction *direction);
  /// The dy and dx that take most of residual_ away, to search_ and search_x_. Residuals are
  /// compared in the caller's units.
  bool find_correction();
  /// search_x_ = dx for the dy of search_, whose last entries are those of the augmented columns.
  void form_search_x();
  /// image_ = A dx + delta dy of search_ in the caller's units.
  void form_image();
  /// Writes the entries of the augmented columns to their places in x.
  void set_augmented(const double *augmented_x, Vector<double> *x) const;
  /// direction += length times the correction.
  void add_search(double length, Direction *direction);

  const ProblemForm &form_;
  ColumnProducts products_;
  Vector<double> largest_entry_;  // per column
  std::shared_ptr<Factorisation> factorisation_;
  Vector<int32_t> plain_;       // the columns that are no unknowns beside dy
  Vector<int32_t> multiplied_;  // those and the boxed ones: the columns whose a'dy is asked for
  bool listed_ = false;         // both are there
  Vector<double> theta_;
  Vector<double> least_free_theta_;  // per column
  double delta_ = 0.0;
  double delta_factor_ = 1.0;
  double least_delta_ = 0.0;  // not to be felt, and enough to hold y
  Vector<double> rho_;        // per column
  SolveAccuracy accuracy_;
  bool factorised_ = false;
  bool trusted_ = false;  // the first solution with this factorisation was clean
  // Work space of one solve.
  Vector<double> gradient_;  // g of (9)
  Vector<double> rhs_, residual_, image_;
  Vector<double> search_, search_x_;  // a correction: dy, then dx of the augmented columns; all dx
  Fgmres corrections_;
  Vector<double> product_;           // A'dy
  Vector<double> weighted_;          // Theta g
  Vector<double> augmented_x_;       // entries for the augmented columns
  Vector<double> inverse_x_;         // 1 / x at the point of the last prepare, 0 for free x
  Vector<double> inverse_w_;         // the same with w
  Vector<double> diagonal_, added_;  // of A Theta A', and what is added to it
};

}  // namespace interior_point

#endif

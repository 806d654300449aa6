/**
 * What a factorisation of the normal equations of an interior-point step is,
 *
 *   M y = r,   M = A Theta A' + delta I,                                                       (3)
 *
 * with Theta a positive diagonal matrix that changes from iteration to iteration while the pattern
 * of A stays. What depends on the pattern alone (which factorisation, orderings, index lists) is
 * worked out once per loaded problem and shared; the numbers belong to one factorisation.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_FACTORISATION_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_FACTORISATION_H

#include <memory>

#include "interior_point/linear_algebra/sparse_columns.h"
#include "interior_point/vector.h"

namespace interior_point {

/// A factorisation of M: its numbers, over a pattern that it shares with others.
class Factorisation {
 public:
  virtual ~Factorisation() = default;

  /// Factorises A Theta A' + diag(added) for theta per column and `added` per row. False when that
  /// was not positive definite to working precision.
  virtual bool compute(const double *theta, const double *added) = 0;

  /// y = M^-1 r in place, r with one entry per row of A.
  virtual void solve(double *r) const = 0;

  /// The columns P of A that are unknowns beside y in an augmented system, increasing; none where
  /// it is M itself that is factorised.
  const Vector<int32_t> &augmented_columns() const { return augmented_columns_; }

  /// The same with them: r = r_S and x = r_P, one entry per column of P, become the y and q of
  ///
  ///   (A_S Theta_S A_S' + diag(added)) y + P q = r_S,   P'y - Theta_P^-1 q = r_P.             (24)
  ///
  /// q is as exact as y. Theta_P (P'y - r_P) would multiply the rounding error of y by Theta_P.
  virtual void solve_augmented(double *r, double * /*x*/) const { solve(r); }

  /// t_k = a_k'M^-1 a_k for each of the columns a_k (rows as in A). Threads may ask a factorisation
  /// that they share at once; all else is for one thread.
  virtual void quadratic_forms(const SparseColumns &columns, double *t) const = 0;

  /// True where pivots come from subtractions, of which rounding may leave nothing: the diagonal of
  /// M has to be raised by a share of itself then.
  virtual bool needs_shift() const { return true; }

  /// Another factorisation over the same pattern, without numbers yet.
  virtual std::unique_ptr<Factorisation> sibling() const = 0;

  /// One of the same kind for another A that has the same rows. Null where A differs so much from
  /// the one for which it was chosen that the choice should be made anew.
  virtual std::unique_ptr<Factorisation> adapted(const SparseColumns &A) const = 0;

  /// Multiply-add pairs of a factorisation.
  virtual double work() const = 0;

 protected:
  Vector<int32_t> augmented_columns_;
};

/// What `work` charges for: one scattered multiply-add takes about as long as this many of a rank-k
/// update; measured with orders from 200 to 1000 (8 to 14 Gflop/s dense against 0.6 to 1 Gflop/s
/// scattered).
constexpr double kScatterCost = 8.0;

/// True while A has about as many entries as there were when a choice was made.
inline bool holds_for(const SparseColumns &A, int32_t entries_then) {
  constexpr double kDrift = 1.5;
  return A.entries() <= kDrift * entries_then && entries_then <= kDrift * A.entries();
}

}  // namespace interior_point

#endif

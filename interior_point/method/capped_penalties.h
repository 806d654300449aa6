/**
 * Solving a problem beside penalty columns by way of one with smaller penalties.
 *
 * Where rows force columns to 0 the optimal duals are bounded by the penalties alone, and the
 * central path has them in the middle: y is of the penalties' size, and so large that rounding
 * errors of r_p alone make y'r_p larger than what a bound p may miss. With penalties c_P of the
 * size of ordinary costs y is of that size. A point (x, y) of that problem says the same of the
 * other:
 *
 *   - y is feasible for its dual, whose right-hand side c is nowhere smaller;
 *   - x is once the penalty columns, with mu over c_P on the path, are cleared (clearing.h).
 *
 * Penalty columns that carry more than that want dearer ones. The point is a good start for the
 * next problem, which gets the same penalties; cleared, it is on the boundary.
 */
#ifndef INTERIOR_POINT_METHOD_CAPPED_PENALTIES_H
#define INTERIOR_POINT_METHOD_CAPPED_PENALTIES_H

#include <memory>

#include "interior_point/form/penalties.h"
#include "interior_point/method/solver.h"

namespace interior_point {

class CappedPenalties {
 public:
  /// For a form that stays. Throws std::bad_alloc.
  explicit CappedPenalties(std::shared_ptr<const ProblemForm> form);

  /// Solves the capped problem, clears its point and has `solver`, of the form itself, take it
  /// over. Starts as Solver::solve; a saved point of another capped problem hands its penalties on,
  /// any other one stands for no start. `iterations` grows by what was spent. Any code but 0 says
  /// that this way leads nowhere. Throws std::bad_alloc.
  Code solve(const Request &request, Start start, const SavedPoint *saved, Solver *solver,
             int32_t *iterations);

  /// The point of the capped problem for a later start. Throws std::bad_alloc.
  SavedPoint save() const;

 private:
  /// Takes over penalties of the saved problem, columns found at the same places.
  void inherit(const SavedPoint &saved);
  /// A solver for the penalties as they are.
  void renew();
  /// Raises penalties whose columns carry a good part of a right-hand side. False when none does.
  bool raise();
  /// Clears the point and hands it over.
  bool hand_over(const Request &request, Solver *solver, int32_t iterations) const;

  std::shared_ptr<const ProblemForm> form_;
  CappedCosts costs_;
  std::unique_ptr<Solver> solver_;  // of the capped problem
};

}  // namespace interior_point

#endif

/**
 * Making a problem smaller before it is solved.
 *
 * The reductions, repeated while they find anything, each with its record in postsolve.h:
 *
 * - A row without entries, or one whose interval holds all that its columns can reach, goes.
 * - A row with one entry becomes bounds of its column.                                        (16)
 * - A row that can only just be satisfied fixes all its columns.                              (17)
 * - A fixed column, or one without entries, goes into right-hand sides and objective.
 * - A column is dominated when its reduced cost has one sign for all duals that are possible,
 *
 *     y_i >= 0 (<= 0) where row i has no upper (lower) end,
 *     a_ij y_i <= c_j (>= c_j) where column j has no other entry and no upper (lower) bound,   (21)
 *
 *   and is fixed at its lower bound for d_j > 0, at its upper one for d_j < 0. Where the row signs
 *   alone make d_j >= 0, or <= 0, that is enough: moving the column to its bound costs nothing.
 * - A column of cost 0 with one entry is a slack and widens its row.                          (19)
 * - A column whose bounds follow from the rows is free. One with a single entry in row i sets the
 *   dual y_i = c_j / a_ij and is substituted out with the row, which the sign of y_i makes an
 *   equality; one with two or three entries where one of them is in an equality.              (18)
 * - An equality with two entries replaces one column by the other.                            (20)
 * - Of two rows that are multiples of each other one goes, and the other keeps both intervals. (22)
 * - Two columns a_k = s a_j with c_k = s c_j are one column x_j + s x_k. Where c_k > s c_j and x_j
 *   has no upper bound (s > 0), x_k is dominated: d_k > s d_j >= 0; likewise where c_k < s c_j and
 *   x_j has no lower bound.                                                                   (23)
 *
 * E. D. Andersen and K. D. Andersen, Presolving in linear programming, Math. Programming 71 (1995)
 * 221-245.
 *
 * Errors of the small problem's solution grow in postsolve by the ratio of entries to pivots, so
 * small pivots are refused. What is found to be infeasible or unbounded is left as it is: a proof
 * on the problem itself has the say.
 */
#ifndef INTERIOR_POINT_PRESOLVE_PRESOLVE_H
#define INTERIOR_POINT_PRESOLVE_PRESOLVE_H

#include <memory>

#include "interior_point/form/point.h"
#include "interior_point/presolve/postsolve.h"
#include "interior_point/vector.h"

namespace interior_point {

/// True when the first look at a form, one pass over its entries, finds enough to take out.
/// Restricted master problems mostly show nothing.
bool worth_presolving(const ProblemForm &form);

/// A form made smaller, and its postsolve.
class Presolved {
 public:
  /// Reduces the problem of a form, which must outlive the object. Throws std::bad_alloc.
  explicit Presolved(const ProblemForm &form);

  /// True when the reductions met rows or columns that leave no optimum, up to their tolerances.
  bool found_no_optimum() const { return found_no_optimum_; }

  /// The form to solve; null when too little was found or the problem has no optimum.
  std::shared_ptr<const ProblemForm> reduced() const { return reduced_; }

  /// The point of the original form that belongs to one of the reduced form. Its z and v are the
  /// parts of c - A'y, and it lies on the boundary where columns were taken out.
  Point restore(const Point &point) const;

 private:
  void build_reduced();
  Solution solution_of(const Point &point) const;

  const ProblemForm &form_;
  ReducibleProgram program_;
  PostsolveStack stack_;
  Vector<int32_t> rows_, columns_;  // of the reduced problem: those of the program
  std::shared_ptr<const ProblemForm> reduced_;
  bool found_no_optimum_ = false;
};

}  // namespace interior_point

#endif

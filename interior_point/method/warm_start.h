/**
 * Starting from a point of an earlier problem over the same rows.
 *
 * The point is kept in the caller's units, since the next problem is scaled differently, and its
 * columns are recognised by their contents: columns may have been added, removed or reordered
 * since. A removed column is dropped with its share of A x. A new column j gets the pair
 *
 *   rc_j = c_j - a_j'y,   t_j = a_j'(A Theta A')^-1 a_j   with A, Theta of the earlier problem,
 *   rho  = max_j -rc_j / sqrt(mu t_j),   mu_t = mu max(1, rho),
 *   z_j  = max(rc_j, sqrt(mu_t t_j)),    x_j = mu_t / z_j.                                    (11)
 *
 * sqrt(mu t_j) is the half-width of the dual ellipsoid around the point in the direction a_j, so
 * this is the pair for which neither the primal nor the dual correction leaves the ellipsoid, and
 * rho is the depth of the deepest new cut in its units. The infeasibility this leaves goes in the
 * first Newton steps. The ellipsoid is taken from the factorisation that the earlier solve ended
 * with; at a centred point A Theta A' = mu A Z^-2 A', so its own mu belongs to it.
 *
 * Behind deep cuts such a point is worth little, but where the columns fall into blocks the centre
 * of all blocks at the saved duals of the other rows takes its place (block_centring.h).
 *
 * While rows live on penalty columns their duals are of the penalties' size, and a new column of
 * ordinary cost cuts so deep that (11) would need dozens of steps. When the slacks of all its rows
 * grow with it, the central path has that column large and the slacks with it; it is put there,
 * the duals of its rows at its own cost, and the penalty columns of these rows where they carry
 * nothing.
 */
#ifndef INTERIOR_POINT_METHOD_WARM_START_H
#define INTERIOR_POINT_METHOD_WARM_START_H

#include <memory>

#include "interior_point/method/newton_system.h"
#include "interior_point/vector.h"

namespace interior_point {

/// A factorisation, the row scale it belongs to, and the mu of its theta.
struct SavedFactorisation {
  std::shared_ptr<const Factorisation> factor;
  Vector<double> row_scale;
  double mu = 0.0;
};

struct SavedPoint {
  // Per structural column of the problem it comes from, in the caller's units.
  Vector<uint64_t> fingerprint;
  Vector<double> cost, x, z, w, v;
  Vector<double> largest_activity;  ///< max_i |a_ij| x_j: what the column does to the largest row
  // Per row of that problem.
  Vector<int32_t> user_row, row_type;
  Vector<double> y, slack_x, slack_z, slack_w, slack_v;
  double mu = 0.0;
  bool capped = false;    ///< of a problem with capped penalties (capped_penalties.h)
  bool far_down = false;  ///< it lies far below the mu that its tolerance asks for (solver.h)
  SavedFactorisation factorisation;  ///< the last one
  /// What a solve went on to from a point like this, of this problem or an earlier one; may be
  /// null. It has neither a factorisation nor a solution of its own.
  std::shared_ptr<const SavedPoint> solution;
};

/// Copies the point out of its form. Throws std::bad_alloc.
SavedPoint save_point(const ProblemForm &form, const Point &point, double mu,
                      SavedFactorisation factorisation);

/// True when the saved point is of a problem with the rows of this form, in its order.
bool same_rows(const SavedPoint &saved, const ProblemForm &form);

/// True when penalty columns of the form carried a good part of a right-hand side in the saved
/// point, that of a problem with these penalties.
bool lived_on_penalties(const SavedPoint &saved, const ProblemForm &form);

/// Places the saved point into a form. False when the rows differ or the new cuts are so deep that
/// a start from scratch is cheaper; `point` then holds nothing of use.
bool restore_point(const SavedPoint &saved, const ProblemForm &form, Point *point);

/// Places a saved solution into a form: new columns get x = 0, and they and those of another cost
/// the z that c - A'y leaves, negative perhaps. False when the rows differ.
bool place_solution(const SavedPoint &saved, const ProblemForm &form, Point *point);

}  // namespace interior_point

#endif

/**
 * Step lengths, and the right-hand sides that improve a direction with the same factorisation.
 */
#ifndef INTERIOR_POINT_METHOD_STEP_H
#define INTERIOR_POINT_METHOD_STEP_H

#include "interior_point/method/newton_system.h"

namespace interior_point {

/// Step lengths of the primal part (x, w) and of the dual part (y, z, v).
struct StepLengths {
  double primal = 1.0;
  double dual = 1.0;

  double least() const { return primal < dual ? primal : dual; }
  double sum() const { return primal + dual; }
};

/// The longest steps, at most `cap`, after which everything is still at least zero.
StepLengths steps_to_boundary(const ProblemForm &form, const Point &point,
                              const Direction &direction, double cap = 1.0);

/// What part of a correction is taken by the primal part (x, w) and by the dual part (y, z, v).
struct Shares {
  double primal = 1.0;
  double dual = 1.0;
};

/// The shares omega of the correction, from `least` to 1, with which either part of the direction
/// goes furthest; of equals the largest:
///
///   dx + omega_p dx',   dy + omega_d dy'                                                      (35)
///
/// Both parts keep to their equations of (8), since those of a correction are homogeneous, but
/// products no longer do. M. Colombo, J. Gondzio, Comput. Optim. Appl. 41 (2008) 277-305,
/// section 4.
Shares best_shares(const ProblemForm &form, const Point &point, const Direction &direction,
                   const Direction &correction, double least);

/// The mean product after a step of the given lengths.
double mean_product_after(const ProblemForm &form, const Point &point, const Direction &direction,
                          const StepLengths &steps);

/// Products for the direction towards mu = `target` everywhere, without second-order terms.
void aim_at(const ProblemForm &form, const Point &point, double target, Products *products);

/// Products of the second-order term, -dx dz and -dw dv.
void aim_at_second_order(const ProblemForm &form, const Direction &direction, Products *products);

/// Products of a centrality corrector: where the products of the trial point after `steps` leave
/// [low, high] they are aimed back at it, from above by at most `high`.
/// J. Gondzio, Multiple centrality corrections in a primal-dual method for linear programming,
/// Computational Optimization and Applications 6 (1996) 137-156.
void aim_at_neighbourhood(const ProblemForm &form, const Point &point, const Direction &direction,
                          const StepLengths &steps, double low, double high, Products *products);

/// point += steps * direction
void take_step(const StepLengths &steps, const Direction &direction, Point *point);

/// a += factor * b, part by part.
void add_scaled(double factor, const Direction &b, Direction *a);

/// a += shares * b
void add_shares(const Shares &shares, const Direction &b, Direction *a);

/// result = a + b, part by part; the result has the right sizes already.
void set_sum(const Direction &a, const Direction &b, Direction *result);

}  // namespace interior_point

#endif

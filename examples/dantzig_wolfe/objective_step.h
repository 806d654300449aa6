#ifndef EXAMPLES_DANTZIG_WOLFE_OBJECTIVE_STEP_H
#define EXAMPLES_DANTZIG_WOLFE_OBJECTIVE_STEP_H

#include "examples/dantzig_wolfe/model.h"

namespace dantzig_wolfe {

/// The largest number of which the objective is a multiple at every solution: the greatest common
/// divisor of costs and constant. 0 where a variable with a cost is not integer, or a cost has more
/// than six decimals.
double objective_step(const Model &model);

/// The best value of a solution that a bound of the objective allows: rounded up to a multiple of
/// the step where the file minimises, down where it maximises, but for rounding errors of 1e-6. A
/// step of 0 leaves the bound as it is.
double rounded_bound(const Model &model, double step, double bound);

/// Whether no solution is better than one of this value by more than `tolerance`, relative to the
/// larger of 1 and the value.
bool is_closed(const Model &model, double value, double bound, double tolerance);

}  // namespace dantzig_wolfe

#endif

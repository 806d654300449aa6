/**
 * The reductions of a program (presolve.h), carried out in place.
 */
#ifndef INTERIOR_POINT_PRESOLVE_REDUCTIONS_H
#define INTERIOR_POINT_PRESOLVE_REDUCTIONS_H

#include "interior_point/presolve/postsolve.h"

namespace interior_point {

/// Reduces the program until little is found and records how. False when it turned out to have no
/// optimum; both are then of no use. Throws std::bad_alloc.
bool reduce(ReducibleProgram *program, PostsolveStack *stack);

}  // namespace interior_point

#endif

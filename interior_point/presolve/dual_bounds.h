/**
 * What rows and singleton columns say of the duals of a program, equation (21) of presolve.h.
 */
#ifndef INTERIOR_POINT_PRESOLVE_DUAL_BOUNDS_H
#define INTERIOR_POINT_PRESOLVE_DUAL_BOUNDS_H

#include "interior_point/presolve/reducible_program.h"
#include "interior_point/vector.h"

namespace interior_point {

/// A reduced cost is of one sign when it is this far from 0, relative to the terms of its sum.
constexpr double kSureSign = 1e-7;

/// Bounds of the duals as the program is now. Each holds while the columns whose costs it rests on
/// stay; these are not taken out by it, their reduced cost being 0 at the bound that they give.
class DualBounds {
 public:
  /// Throws std::bad_alloc.
  explicit DualBounds(const ReducibleProgram &program);

  /// 1 or -1 where the reduced cost of column j has that sign for all duals within their bounds (or
  /// is 0, while only the signs of duals were used), 0 where it may have either.
  int sign_of_reduced_cost(const ReducibleProgram &program, int32_t j) const;

 private:
  Vector<double> low_, high_;  // per row
};

}  // namespace interior_point

#endif

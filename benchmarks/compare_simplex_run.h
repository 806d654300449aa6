/// Column generation with restricted master problems solved to optimality by the simplex method.
#ifndef BENCHMARKS_COMPARE_SIMPLEX_RUN_H
#define BENCHMARKS_COMPARE_SIMPLEX_RUN_H

#include "benchmarks/compare_run.h"

namespace benchmarks {

/// The textbook's method, or with `smooth` the one that prices smoothed duals (DualSmoothing). The
/// oracle finds in the duals what the library would put there.
RunResult run_simplex(const MasterMaker &make, const Overrides &overrides, bool smooth);

}  // namespace benchmarks

#endif

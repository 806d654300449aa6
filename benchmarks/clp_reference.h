/**
 * A trusted solver to compare with: the primal simplex, the dual simplex and the barrier method of
 * Clp, where it was found when the build was configured.
 */
#ifndef BENCHMARKS_CLP_REFERENCE_H
#define BENCHMARKS_CLP_REFERENCE_H

#include "benchmarks/linear_program.h"

namespace benchmarks {

enum class ClpMethod { kPrimal, kDual, kBarrier };

enum class ClpStatus { kOptimal, kInfeasible, kUnbounded, kStopped };

struct ClpResult {
  ClpStatus status;
  double objective;  ///< with the objective constant
  double seconds;    ///< the solve alone, without the making of the model
  int32_t iterations;
};

/// Whether this build can call solve_with_clp.
bool clp_available();

/**
 * Solves from scratch, with Clp's presolve and otherwise as Clp's users get it; the barrier without
 * crossover. Both feasibility tolerances are `tolerance`. A solve that dies of one of Clp's own
 * assertions counts as stopped, after no time. An infeasible problem may be reported as
 * unbounded and the other way round by methods that stop at the first proof of either.
 */
ClpResult solve_with_clp(const LinearProgram &program, ClpMethod method, double tolerance,
                         double seconds_limit);

}  // namespace benchmarks

#endif

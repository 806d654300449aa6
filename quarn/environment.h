/**
 * What the units ask of the environment record: its loaded problem, the buffers of its solution,
 * and whether it is sound.
 */
#ifndef QUARN_ENVIRONMENT_H
#define QUARN_ENVIRONMENT_H

#include <cassert>

#include "quarn/quarn.h"

namespace quarn {

/// Releases the loaded problem, if there is one; Pb is null afterwards.
void drop_problem(QUARN_env *env);

/// Refills env->lambda with the primal solution of the loaded problem: the old buffer is released,
/// a new one of max(Pb->ncols, G->n) entries made, columns that the solved problem did not have
/// stay 0. False when no problem is loaded (nothing changes) or memory ran out (lambda is null
/// then).
bool refresh_lambda(QUARN_env *env);

/// The same for env->dual_slacks.
bool refresh_dual_slacks(QUARN_env *env);

/// Whether the record is sound: counts within capacities, starts that rise from 1 to nz+1, row
/// indices in range, ncols_aux <= n, G->m = m+p+1, and every array there that must be there.
/// Linear in the entries of G; for debug builds and tests.
bool check_invariants(const QUARN_env &env);

/// In debug builds, asserts at the end of a scope that a record which was sound at its beginning
/// still is; in release builds, nothing.
class InvariantGuard {
 public:
#ifdef NDEBUG
  explicit InvariantGuard(const QUARN_env *) {}
#else
  explicit InvariantGuard(const QUARN_env *env)
      : env_(env), sound_(env != nullptr && check_invariants(*env)) {}
  ~InvariantGuard() { assert(!sound_ || check_invariants(*env_)); }
#endif
  InvariantGuard(const InvariantGuard &) = delete;
  InvariantGuard &operator=(const InvariantGuard &) = delete;

#ifndef NDEBUG
 private:
  const QUARN_env *env_;
  bool sound_;
#endif
};

}  // namespace quarn

#endif

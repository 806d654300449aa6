/**
 * What the two drivers of the master problem share once the outer loop has ended.
 */
#ifndef QUARN_MASTER_DRIVER_H
#define QUARN_MASTER_DRIVER_H

#include <cstdint>

#include "quarn/quarn.h"

namespace quarn {

/// Dual of row i (from 0); 0 when the duals were released, which the oracle may do to make the next
/// run start cold.
inline double dual_of_row(const QUARN_env &env, int32_t i) {
  return env.u != nullptr ? env.u[i] : 0.0;
}

/// The heading of the summary and the four reports.
void print_summary(const QUARN_env &env);

/// Fits the capacities of G to its sizes; a failure leaves more room than is needed.
void trim_matrix(QUARN_env *env);

}  // namespace quarn

#endif

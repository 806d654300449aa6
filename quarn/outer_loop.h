/**
 * What the outer loop returns, and the drivers behind it.
 */
#ifndef QUARN_OUTER_LOOP_H
#define QUARN_OUTER_LOOP_H

#include <cstdint>

namespace quarn {

/// What the outer loop and the drivers return, by cause.
enum Status : int16_t {
  kGoOn = -1,            ///< within the outer loop only: no reason to stop
  kSolved = 0,           ///< gap closed, or a limit of time or iterations reached
  kOracleOrMemory = 2,   ///< the oracle reported an error, or memory was short
  kRmpFailed = 3,        ///< no strategy solved the restricted master
  kMayBeInfeasible = 5,  ///< a box column carries weight in the final solution
  kIterationLimit = 6,   ///< stopped by the limit of outer iterations
  kBoundConflict = 7     ///< a bound contradicts the objective bounds of the user
};

}  // namespace quarn

#endif

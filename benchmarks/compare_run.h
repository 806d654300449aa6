/// One run of column generation: what is measured, and the library's own methods.
#ifndef BENCHMARKS_COMPARE_RUN_H
#define BENCHMARKS_COMPARE_RUN_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/compare_master.h"

namespace benchmarks {

/// Both bounds after an answer of the oracle; of absolute value 1e30 while not known.
struct Sample {
  int32_t rounds;
  double seconds;
  double lower, upper;
};

/// How a run went. Seconds are processor time.
struct RunResult {
  std::string failure;  ///< why the run ended early, save for the time limit; empty: it did not
  bool closed = false;  ///< the gap fell to the tolerance
  int32_t rounds = 0;   ///< calls of the oracle after a restricted master problem
  int32_t inner = 0;    ///< iterations of the library's solver
  int32_t columns = 0;
  double lower = -1e30, upper = 1e30;
  double rmp_seconds = 0.0;     ///< everything but what the oracle takes
  double oracle_seconds = 0.0;  ///< with making the oracle and the first columns
  std::vector<Sample> samples;

  double seconds() const { return rmp_seconds + oracle_seconds; }
  double gap() const;
};

/// (upper - lower) / |upper|, at most 10, as the library measures it.
double relative_gap(double lower, double upper);

/// Passes calls on to an oracle and keeps the processor time that they take.
class ClockedOracle {
 public:
  explicit ClockedOracle(quarn::Oracle oracle) : oracle_(std::move(oracle)) {}

  quarn::Answer operator()(const quarn::Duals &duals, quarn::Columns &columns);

  /// Counts the time since `since` as the oracle's.
  void charge(double since);

  double seconds() const { return seconds_; }

 private:
  quarn::Oracle oracle_;
  double seconds_ = 0.0;
};

/// The library's method with the example's settings and this strategy.
RunResult run_library(const MasterMaker &make, const Overrides &overrides,
                      quarn::Strategy strategy);

}  // namespace benchmarks

#endif

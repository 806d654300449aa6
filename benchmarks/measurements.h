/// What the benchmark measures on one problem: iterations, times and the rates behind them.
#ifndef BENCHMARKS_MEASUREMENTS_H
#define BENCHMARKS_MEASUREMENTS_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "benchmarks/master_problems.h"

namespace benchmarks {

/// The tolerances of a run: loose, that of a mu-centre, and that of the last RMPs.
constexpr double kTolerances[] = {0.1, 1e-3, 1e-8};
constexpr double kCentreTolerance = 1e-3;

/// The middle one of `count` runs of `seconds_of`, a function without arguments.
template <typename Function>
double median_seconds(int32_t count, Function seconds_of) {
  std::vector<double> seconds;
  for (int32_t k = 0; k < count; ++k) seconds.push_back(seconds_of());
  std::nth_element(seconds.begin(), seconds.begin() + count / 2, seconds.end());
  return seconds[static_cast<size_t>(count / 2)];
}

/// -1 in place of the iterations of a solve that failed.
constexpr int32_t kFailed = -1;

/// Iterations from a cold start at the three tolerances: centred at the first two, and at the last
/// as the standard strategy solves.
struct ColdStarts {
  int32_t iterations[3];
  double seconds;       ///< loading and solving at the last tolerance, median
  double load_seconds;  ///< the part of loading in it, median
  double objective;     ///< at the last tolerance
};
ColdStarts measure_cold(const LinearProgram &program, int32_t repeats);

/// Iterations on `after` from a point of `before`, as the warm-start strategy makes them: the point
/// is a centred one, never tighter than 1e-3, and what is asked for beyond 1e-3 is reached from the
/// mu-centre of `after` itself, whose iterations count. The record keeps what `before` was solved
/// to.
struct WarmStarts {
  int32_t in_run;         ///< at the tolerances that the run asked for at this stage
  double in_run_seconds;  ///< the same with loading, median
  int32_t iterations[3];  ///< both problems at the same tolerance, however early the stage
};
WarmStarts measure_warm(const RmpPair &pair, int32_t repeats);

/// One factorisation of the normal equations, assembly included, on its own.
struct FactorisationCost {
  double choice_seconds;  ///< choosing the way and working out its pattern, median
  double seconds;         ///< of one factorisation, median
  double flops;           ///< additions and multiplications that the chosen way needs
};
FactorisationCost measure_factorisation(const LinearProgram &program, int32_t repeats);

/// Flops per second of the machine's own dgemm on one thread, the best of several products.
double dgemm_rate();

/// The exponent b of y = a x^b, least squares in the logarithms.
double fitted_exponent(const std::vector<double> &x, const std::vector<double> &y);

}  // namespace benchmarks

#endif

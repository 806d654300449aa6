#include "benchmarks/measurements.h"

#include <algorithm>
#include <cmath>

extern "C" {
void dgemm_(const char *trans_a, const char *trans_b, const int *m, const int *n, const int *k,
            const double *alpha, const double *a, const int *lda, const double *b, const int *ldb,
            const double *beta, double *c, const int *ldc);
// Only a BLAS with threads of its own has it.
void openblas_set_num_threads(int threads) __attribute__((weak));
}

namespace benchmarks {
namespace {

int32_t iterations_or_failed(const SolveReport &report) {
  return report.code == 0 ? report.iterations : kFailed;
}

int32_t sum_or_failed(int32_t a, int32_t b) {
  return a == kFailed || b == kFailed ? kFailed : a + b;
}

}  // namespace

ColdStarts measure_cold(const LinearProgram &program, int32_t repeats) {
  ColdStarts result = {};
  for (size_t k = 0; k < 2; ++k) {
    result.iterations[k] = iterations_or_failed(LoadedProblem(program).centre(kTolerances[k]));
  }
  std::vector<double> load_seconds;
  result.seconds = median_seconds(repeats, [&] {
    LoadedProblem problem(program);
    const SolveReport report = problem.solve(kTolerances[2]);
    result.iterations[2] = iterations_or_failed(report);
    result.objective = problem.objective() + program.objective_constant;
    load_seconds.push_back(problem.load_seconds());
    return problem.load_seconds() + report.seconds;
  });
  std::sort(load_seconds.begin(), load_seconds.end());
  result.load_seconds = load_seconds[load_seconds.size() / 2];
  return result;
}

namespace {

/// Iterations and seconds of one warm start, from `before` at one tolerance to `after` at another.
std::pair<int32_t, double> warm_start(const RmpPair &pair, double tolerance_before,
                                      double tolerance_after) {
  SavedPoint saved;
  LoadedProblem before(pair.before);
  before.centre(std::max(tolerance_before, kCentreTolerance));
  before.save(&saved);
  if (tolerance_before < kCentreTolerance) before.centre(tolerance_before, 2, &saved, 0);
  LoadedProblem after(pair.after);
  const SolveReport first = after.centre(std::max(tolerance_after, kCentreTolerance), 1, &saved);
  std::pair<int32_t, double> result = {iterations_or_failed(first),
                                       after.load_seconds() + first.seconds};
  if (tolerance_after < kCentreTolerance) {
    after.save(&saved);
    const SolveReport second = after.centre(tolerance_after, 2, &saved, 0);
    result.first = sum_or_failed(result.first, iterations_or_failed(second));
    result.second += second.seconds;
  }
  return result;
}

}  // namespace

WarmStarts measure_warm(const RmpPair &pair, int32_t repeats) {
  WarmStarts result = {};
  result.in_run_seconds = median_seconds(repeats, [&] {
    const auto [iterations, seconds] =
        warm_start(pair, pair.tolerance_before, pair.tolerance_after);
    result.in_run = iterations;
    return seconds;
  });
  for (size_t k = 0; k < 3; ++k) {
    result.iterations[k] = warm_start(pair, kTolerances[k], kTolerances[k]).first;
  }
  return result;
}

double dgemm_rate() {
  if (openblas_set_num_threads != nullptr) openblas_set_num_threads(1);
  constexpr int kOrder = 768;  // beyond the caches, and short enough to escape an interruption
  const std::vector<double> a(size_t{kOrder} * kOrder, 0.5), b(a);
  std::vector<double> c(a.size());
  const double one = 1.0, zero = 0.0;
  double best = 1e30;
  for (int k = 0; k < 7; ++k) {
    const double before = processor_seconds();
    dgemm_("N", "T", &kOrder, &kOrder, &kOrder, &one, a.data(), &kOrder, b.data(), &kOrder, &zero,
           c.data(), &kOrder);
    best = std::min(best, processor_seconds() - before);
  }
  return 2.0 * kOrder * kOrder * kOrder / best;
}

double fitted_exponent(const std::vector<double> &x, const std::vector<double> &y) {
  double sx = 0.0, sy = 0.0, sxx = 0.0, sxy = 0.0;
  const auto n = static_cast<double>(x.size());
  for (size_t k = 0; k < x.size(); ++k) {
    const double lx = std::log(x[k]), ly = std::log(y[k]);
    sx += lx;
    sy += ly;
    sxx += lx * lx;
    sxy += lx * ly;
  }
  return (n * sxy - sx * sy) / (n * sxx - sx * sx);
}

}  // namespace benchmarks

#include "benchmarks/compare_run.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "benchmarks/linear_program.h"

namespace benchmarks {

constexpr double kWidestGap = 10.0;

double relative_gap(double lower, double upper) {
  return std::min(kWidestGap, (upper - lower) / (std::fabs(upper) + 1e-10));
}

double RunResult::gap() const { return relative_gap(lower, upper); }

void ClockedOracle::charge(double since) { seconds_ += processor_seconds() - since; }

quarn::Answer ClockedOracle::operator()(const quarn::Duals &duals, quarn::Columns &columns) {
  const double asked = processor_seconds();
  const quarn::Answer answer = oracle_(duals, columns);
  charge(asked);
  return answer;
}

static std::string failure_of(const quarn::Result &result) {
  const bool failed =
      result.status == quarn::Status::failed || result.status == quarn::Status::infeasible;
  return failed ? result.message : std::string();
}

/// The library's own limit is one of the time that passes, and on a busy machine a run would get
/// less of it than the figures say.
RunResult run_library(const MasterMaker &make, const Overrides &overrides,
                      quarn::Strategy strategy) {
  const double start = processor_seconds();
  MasterSetup setup = make(overrides);
  ClockedOracle oracle(setup.oracle);
  oracle.charge(start);
  RunResult result;
  setup.settings.strategy = strategy;
  setup.settings.interrupt = [&] { return processor_seconds() - start > overrides.time_limit; };
  setup.settings.on_iteration = [&](const quarn::Iteration &line) {
    result.samples.push_back(
        {line.iteration, processor_seconds() - start, line.lower_bound, line.upper_bound});
  };
  const quarn::Result master = setup.master->solve(std::ref(oracle), setup.settings);
  result.failure = failure_of(master);
  result.closed = master.status == quarn::Status::optimal;
  result.rounds = static_cast<int32_t>(master.history.size());
  result.inner = master.inner_iterations;
  result.columns = master.columns;
  result.lower = master.lower_bound;
  result.upper = master.upper_bound;
  result.oracle_seconds = oracle.seconds();
  result.rmp_seconds = processor_seconds() - start - oracle.seconds();
  return result;
}

}  // namespace benchmarks

#include "benchmarks/compare_run.h"

#include <algorithm>
#include <cmath>

#include "benchmarks/linear_program.h"
#include "examples/common/quiet_output.h"

namespace benchmarks {

constexpr double kWidestGap = 10.0;

double relative_gap(double lower, double upper) {
  return std::min(kWidestGap, (upper - lower) / (std::fabs(upper) + 1e-10));
}

double RunResult::gap() const { return relative_gap(lower, upper); }

void ClockedOracle::charge(double since) { seconds_ += processor_seconds() - since; }

examples::Answer ClockedOracle::price(QUARN_env &env) {
  const double asked = processor_seconds();
  const double dual_value = examples::rmp_dual_value(env);  // rows may be added by the answer
  const examples::Answer answer = oracle_.price(env);
  charge(asked);
  if (answer.status > 0) lower_ = std::max(lower_, dual_value + answer.lb_term);
  const double passed = processor_seconds() - start_;
  samples_.push_back({env.outer_iterations, passed, lower_, env.upperBnd});
  if (passed > limit_) QUARN_set_max_cputime(&env, 0.0);
  return answer;
}

static std::string failure_of(int32_t status) {
  if (status == 0) return {};
  if (status == 5) return "a dual lies at the end of its box";
  return "the library ended with status " + std::to_string(status);
}

RunResult run_library(const MasterMaker &make, const Overrides &overrides, int strategy) {
  const double start = processor_seconds();
  MasterSetup setup = make(overrides);
  setup.options.strategy = strategy;
  ClockedOracle oracle(*setup.oracle, start, overrides.time_limit);
  examples::MasterRun run(setup.rows, oracle, setup.options, setup.first_duals);
  setup.prepare(run.env());
  oracle.charge(start);

  examples::MasterResult master;
  {
    const examples::QuietOutput quiet(false);  // the table of the run as well as the library's text
    master = run.solve();
  }
  RunResult result;
  result.failure = failure_of(master.status);
  result.closed = master.gap_closed && result.failure.empty();
  result.rounds = master.outer_iterations;
  result.columns = master.columns;
  result.lower = master.lower_bound;
  result.upper = master.upper_bound;
  result.oracle_seconds = oracle.seconds();
  result.rmp_seconds = processor_seconds() - start - oracle.seconds();
  result.samples = oracle.samples();
  return result;
}

}  // namespace benchmarks

#include "benchmarks/clp_reference.h"

#ifdef QUARN_HAVE_CLP
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ClpSimplex.hpp>
#include <ClpSolve.hpp>
#endif
#include <algorithm>
#include <stdexcept>

namespace benchmarks {

#ifdef QUARN_HAVE_CLP
namespace {

void load(const LinearProgram &program, ClpSimplex *model) {
  std::vector<double> low(static_cast<size_t>(program.rows())), high(low.size());
  for (size_t i = 0; i < low.size(); ++i) {
    const Interval bounds = row_bounds(program, static_cast<int32_t>(i));
    low[i] = std::max(bounds.lower, -COIN_DBL_MAX);
    high[i] = std::min(bounds.upper, COIN_DBL_MAX);
  }
  std::vector<double> lower = program.lower, upper = program.upper;
  for (double &l : lower) l = l <= -kNoBound ? -COIN_DBL_MAX : l;
  for (double &u : upper) u = u >= kNoBound ? COIN_DBL_MAX : u;
  const std::vector<CoinBigIndex> start(program.start.begin(), program.start.end());
  model->loadProblem(program.columns(), program.rows(), start.data(), program.row.data(),
                     program.value.data(), lower.data(), upper.data(), program.cost.data(),
                     low.data(), high.data());
}

ClpSolve::SolveType solve_type(ClpMethod method) {
  switch (method) {
    case ClpMethod::kPrimal:
      return ClpSolve::usePrimal;
    case ClpMethod::kDual:
      return ClpSolve::useDual;
    default:
      return ClpSolve::useBarrierNoCross;
  }
}

ClpStatus status_of(const ClpSimplex &model) {
  switch (model.status()) {
    case 0:
      return ClpStatus::kOptimal;
    case 1:
      return ClpStatus::kInfeasible;
    case 2:
      return ClpStatus::kUnbounded;
    default:
      return ClpStatus::kStopped;
  }
}

/// The solve itself, in this process.
ClpResult solve_here(const LinearProgram &program, ClpMethod method, double tolerance,
                     double seconds_limit) {
  ClpSimplex model;
  model.setLogLevel(0);
  load(program, &model);
  model.setPrimalTolerance(tolerance);
  model.setDualTolerance(tolerance);
  model.setMaximumSeconds(seconds_limit);
  ClpSolve options;
  options.setSolveType(solve_type(method));
  const double before = processor_seconds();
  model.initialSolve(options);
  const double seconds = processor_seconds() - before;
  return {status_of(model), model.objectiveValue() + program.objective_constant, seconds,
          model.numberIterations()};
}

}  // namespace

bool clp_available() { return true; }

// In a process of its own: distributions ship Clp with its assertions, and a few problems hit one.
ClpResult solve_with_clp(const LinearProgram &program, ClpMethod method, double tolerance,
                         double seconds_limit) {
  ClpResult result = {ClpStatus::kStopped, 0.0, 0.0, 0};
  int channel[2];
  if (pipe(channel) != 0) throw std::runtime_error("no pipe to a Clp process");
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no Clp process");
  if (child == 0) {
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDERR_FILENO);
    const ClpResult answer = solve_here(program, method, tolerance, seconds_limit);
    const bool written = write(channel[1], &answer, sizeof answer) == sizeof answer;
    _exit(written ? 0 : 1);
  }
  close(channel[1]);
  ClpResult answer;
  if (read(channel[0], &answer, sizeof answer) == sizeof answer) result = answer;
  close(channel[0]);
  waitpid(child, nullptr, 0);
  return result;
}

#else

bool clp_available() { return false; }

ClpResult solve_with_clp(const LinearProgram &, ClpMethod, double, double) {
  throw std::logic_error("this build has no Clp; ask clp_available first");
}

#endif

}  // namespace benchmarks

#include <gtest/gtest.h>

#include "branch_and_price/cbc.hpp"
#include "tests/branch_and_price/explicit_master.h"

namespace explicit_master {

TEST(BranchAndPriceByCbc, TheRestrictedMasterInIntegersBringsSolutions) {
  int32_t found = 0;
  for (uint32_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Program program = random_program(Family::covering, seed);
    const std::optional<double> best = best_value(program);
    if (!best) continue;
    ExplicitProblem problem(program);
    bp::Settings settings;
    settings.dive_every = 0;
    settings.integer_solver = bp::solve_by_cbc;
    const bp::Outcome outcome = bp::Search(problem, problem.master()).run(settings);
    ASSERT_EQ(outcome.status, bp::Status::optimal) << outcome.message;
    EXPECT_NEAR(outcome.value, *best, 1e-5);
    for (const bp::HeuristicReport &report : outcome.heuristics) {
      if (report.name == "integer solver") found += report.improved;
    }
  }
  EXPECT_GT(found, 10);
}

}  // namespace explicit_master

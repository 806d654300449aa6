// The C++ interface on the library without its solver: the stand-in solves masters of one row.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "quarn_cpp/quarn.hpp"
#include "tests/support/scripted_solver.h"

namespace {

using quarn::Answer;
using quarn::Columns;
using quarn::Duals;
using support::LoadedProblem;

/// The column that meets the row most cheaply.
struct Best {
  size_t column = 0;
  double entry = 0.0, ratio = 1e30;
};

Best best_of(const LoadedProblem &problem) {
  Best best;
  for (size_t j = 0; j < static_cast<size_t>(problem.n); ++j) {
    double entry = 0.0, cost = 0.0;
    for (int32_t t = problem.col_start[j]; t < problem.col_start[j + 1]; ++t) {
      const auto at = static_cast<size_t>(t) - 1;
      (problem.rw[at] == problem.m ? cost : entry) = problem.elt[at];
    }
    if (entry > 0.0 && cost / entry < best.ratio) best = {j, entry, cost / entry};
  }
  return best;
}

class AnotherSolver : public testing::Test {
 protected:
  AnotherSolver() {
    support::reset_solver();
    support::solver().duals = [](const LoadedProblem &problem, double *u) {
      u[0] = best_of(problem).ratio;
      u[1] = u[0] * problem.rhs[0];
    };
    support::solver().primal = [](const LoadedProblem &problem, double *x) {
      const Best best = best_of(problem);
      x[best.column] = problem.rhs[0] / best.entry;
    };
    row = master.add_row(quarn::RowSense::at_least, 4.0);
  }

  /// Every problem is released, and was used by the rules.
  void TearDown() override {
    EXPECT_EQ(support::solver().live_problems, 0);
    EXPECT_TRUE(support::solver().faults.empty());
  }

  quarn::Master master;
  quarn::Row row;
};

TEST_F(AnotherSolver, SolvesTheMasterOfTheCppInterface) {
  const quarn::Result result = master.solve([&](const Duals &duals, Columns &columns) {
    const double entry = std::min(duals.iteration(), 3);
    columns.add(1.0, {{row, entry}});
    return Answer::bound(4.0 * duals[row] / std::max(1.0, 3.0 * duals[row]));
  });
  EXPECT_EQ(result.status, quarn::Status::optimal) << result.message;
  EXPECT_NEAR(result.upper_bound, 4.0 / 3.0, 1e-9);
  ASSERT_EQ(result.values.size(), 1u);
  EXPECT_EQ(result.values[0].column.index(), 2);
  EXPECT_GE(support::solver().loads.size(), 4u);
}

TEST_F(AnotherSolver, IsNotSolvedWhenTheSolverFails) {
  support::solver().usual.code = 2;
  const auto oracle = [](const Duals &, Columns &) { return Answer::heuristic(); };
  const quarn::Result result = master.solve(oracle);
  EXPECT_EQ(result.status, quarn::Status::failed);
  EXPECT_NE(result.message.find("could not be solved"), std::string::npos) << result.message;
}

}  // namespace

/// The programs that the solver's rules are tried on: each has the optimal value that it was made
/// to have.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "benchmarks/transformed_programs.h"
#include "tests/interior_point/random_programs.h"

namespace {

using benchmarks::kNoBound;
using benchmarks::LinearProgram;
using random_programs::KnownProgram;
using random_programs::Traits;

/// Bounds, ranges, equations and free columns in about equal parts.
Traits mixed() {
  Traits traits;
  traits.bounded = 0.6;
  traits.ranges = 0.25;
  return traits;
}

class Transformation : public testing::TestWithParam<std::string> {};

TEST_P(Transformation, HasTheValueItIsMadeToHave) {
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    const KnownProgram known = random_programs::draw_known(mixed(), seed);
    const KnownProgram second = random_programs::draw_known(mixed(), seed + 1000);
    const LinearProgram program = benchmarks::transformed(
        known.program, GetParam(), static_cast<int32_t>(seed), second.program);
    SCOPED_TRACE(program.name);
    benchmarks::LoadedProblem problem(program);
    EXPECT_EQ(problem.solve(1e-8).code, 0);
    const double value = benchmarks::measure(program, problem.x(), problem.duals()).objective;
    const auto constant = [](const KnownProgram &p) { return p.program.objective_constant; };
    const double expected = benchmarks::transformed_value(
        GetParam(), known.optimum + constant(known), second.optimum + constant(second));
    // Rows and columns in other units: what is infeasible by 1e-9 in one is by 1e-6 in another.
    const double slack = 1e3 * (known.slack + second.slack);
    EXPECT_NEAR(value, expected, std::min(slack, 1e-3 * (1.0 + std::fabs(expected))));
  }
}

INSTANTIATE_TEST_SUITE_P(All, Transformation, testing::ValuesIn(benchmarks::transformation_names()),
                         [](const auto &name) { return name.param; });

TEST(Transformation, ChangesTheProgramInItsOwnWay) {
  const LinearProgram plain = random_programs::draw_known(mixed(), 1).program;
  const auto made = [&](const char *name) {
    return benchmarks::transformed(plain, name, 1, plain);
  };
  EXPECT_EQ(made("dual").rows(), plain.columns());
  EXPECT_EQ(made("union").entries(), 2 * plain.entries());
  EXPECT_EQ(made("dependent").rows(), plain.rows() + (plain.rows() + 9) / 10);
  EXPECT_NE(made("order").row, plain.row);
  EXPECT_NE(made("rows").rhs, plain.rhs);
  EXPECT_NE(made("columns").cost, plain.cost);
  EXPECT_THROW(made("nothing"), std::invalid_argument);
}

TEST(Transformation, SplitsATenthOfTheColumns) {
  LinearProgram plain;
  for (int32_t j = 0; j < 400; ++j) plain.add_column(1.0, 0.0, kNoBound, {});
  // Binomially distributed with mean 40 and deviation 6: four deviations to either side.
  const int32_t split = benchmarks::transformed(plain, "split", 1, plain).columns() - 400;
  EXPECT_GT(split, 16);
  EXPECT_LT(split, 64);
}

}  // namespace

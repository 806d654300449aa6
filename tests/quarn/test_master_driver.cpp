#include <gtest/gtest.h>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Environment;
using support::LoadedProblem;
using support::Oracle;
using support::solver;

/// Two linking rows and one generated column; the solver returns these box columns.
struct Driver {
  explicit Driver(const std::vector<double> &box = {0, 0, 0, 0}, int32_t limit = 1)
      : oracle([this](double *, double *, QUARN_env *e) { return answer(e); }), env(data(limit)) {
    support::add_columns(env.get(), {{{1, 1}, {3, 4}}});
    env->WS_strategy = -2;
    solver().trace.clear();
    solver().primal = [box](const LoadedProblem &, double *x) {
      std::copy(box.begin(), box.end(), x);
      x[4] = 0.75;
    };
    solver().duals = [](const LoadedProblem &, double *u) { u[0] = 0.5, u[1] = 0.25, u[2] = 3; };
  }

  support::ProblemData data(int32_t limit) {
    support::ProblemData made;
    made.max_outer_iterations = limit;
    made.dual_lower = {-0.01, -0.001};
    made.dual_upper = {2, -2};
    made.user_data = &oracle;
    return made;
  }

  int16_t solve(std::string *text = nullptr) {
    int16_t code = -99;
    const std::string output =
        support::flushed_output([&] { code = QUARN_solve_MP(env.get(), support::call_oracle); });
    if (text != nullptr) *text = output;
    return code;
  }

  std::function<int16_t(QUARN_env *)> answer = [](QUARN_env *) { return int16_t{1}; };
  Oracle oracle;
  Environment env;
};

/// What the outer loop prints after each oracle call ends with this line.
std::string behind_the_loop(const std::string &text) {
  const size_t last = text.rfind("> CPU time: ", text.rfind("))\n"));
  return last == std::string::npos ? text : text.substr(text.find('\n', last) + 1);
}

const std::string kSummary =
    "\nQUARN info:\n> duality gap: 6.66666667e-01\n> lower bound: 1.00000000e+00\n"
    "> upper bound: 3.00000000e+00\n> outer iterations: 1\n> inner iterations: 1 (0)\n"
    "> CPU time: *s (*s, *s)\n\n";
const std::string kInfeasible =
    "\n -- QUARN has detected that the problem may be infeasible. -- \nThe dual variable ";
const std::string kLimit = "\n -- Maximum number of outer iterations exceeded -- \n";

TEST(MasterDriver, BoxColumnsInUseComeBeforeTheIterationLimit) {
  const struct {
    const char *what;
    std::vector<double> box;
    int16_t code;
    const char *text;
  } rows[] = {
      {"none", {0, 0, 0, 0}, 6, nullptr},
      {"lower column",
       {0.5, 0, 0, 0},
       5,
       "u[0]=0.500000 approaches one of its bounds (lambda[0]=0.500000). [0.005000,0.000010]\n"},
      {"lower column, small product", {0, 0.5, 0, 0}, 6, nullptr},
      {"below delta", {9e-7, 0, 9e-7, 0}, 6, nullptr},
      {"negative value", {-5, 0, -5, 0}, 6, nullptr},
      {"upper column",
       {0, 0, 0.125, 0},
       5,
       "u[0]=0.500000 approaches one of its bounds (lambda[2]=0.125000). [0.250000,0.000010]\n"},
      {"upper column, negative bound", {0, 0, 0, 100}, 6, nullptr},
      {"lower columns first",
       {0, 2, 3, 0},
       5,
       "u[1]=0.250000 approaches one of its bounds (lambda[1]=2.000000). [0.002000,0.000010]\n"},
  };
  for (const auto &row : rows) {
    for (const int16_t verbosity : support::Shorts{0, 1, -1}) {
      SCOPED_TRACE(testing::Message() << row.what << " at " << verbosity);
      Driver driver(row.box);
      driver.env->verbosity = verbosity;
      driver.env->lowerBnd = 1;
      std::string text;
      EXPECT_EQ(driver.solve(&text), row.code);
      const std::string ending = row.text != nullptr ? kInfeasible + row.text : kLimit;
      EXPECT_EQ(support::without_times(behind_the_loop(text)),
                verbosity == 0 ? "" : kSummary + ending);
      const bool trimmed = driver.env->G->max_n == 5 && driver.env->G->max_nz == 10;
      EXPECT_EQ(trimmed, row.code != 5);
      ASSERT_NE(driver.env->lambda, nullptr);
      EXPECT_EQ(driver.env->lambda[4], 0.75);
      EXPECT_EQ(solver().take_trace(), "load preproc solve(0,5,0) duals get_x");
    }
  }
}

TEST(MasterDriver, RunsAgainWhileAskedTo) {
  Driver driver({0, 0, 0, 0}, 100);
  int calls = 0;
  driver.answer = [&](QUARN_env *e) {
    ++calls;
    e->restart = calls < 3 ? 1 : 0;
    return static_cast<int16_t>(calls < 3 ? -1 : calls == 3 ? 0 : -1);
  };
  // Runs end with a failed oracle; the third call is the warm start of the third run.
  EXPECT_EQ(driver.solve(), 2);
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(driver.env->restart, 0);
  EXPECT_EQ(driver.env->G->max_n, 5) << "trimmed on every status but 5";
  EXPECT_EQ(driver.env->lambda, nullptr) << "no solution is fetched after a failure";
}

TEST(MasterDriver, StatusesOfTheLoopPassThrough) {
  Driver timed({0, 0, 0, 0}, 100);
  timed.answer = [](QUARN_env *e) {
    e->max_cputime = 0.0;
    return int16_t{1};
  };
  EXPECT_EQ(timed.solve(), 0);

  Driver failing;
  solver().usual.code = 1;
  failing.env->verbosity = 0;
  std::string text;
  EXPECT_EQ(failing.solve(&text), 3);
  EXPECT_EQ(text, "");
  solver().usual.code = 0;

  Driver contradicted;
  contradicted.env->objective_UB = -1e3;
  EXPECT_EQ(contradicted.solve(), 7);
}

TEST(MasterDriver, WithoutALoadedProblemThereIsNothingToTest) {
  Driver driver({1, 1, 1, 1}, 0);
  EXPECT_EQ(driver.solve(), 6);
  EXPECT_EQ(solver().take_trace(), "");
  EXPECT_EQ(driver.env->G->max_nz, 10);
  Driver closed({1, 1, 1, 1}, 5);
  closed.env->rel_gap = 0.0;
  EXPECT_EQ(closed.solve(), 0);
}

TEST(MasterDriver, AddedRowsHaveNoBoxColumnsToLookAt) {
  Driver driver({0, 0, 0, 0});
  const double rhs = 1, low = -50, high = 50;
  const int32_t type = 2;
  ASSERT_EQ(QUARN_add_rows(driver.env.get(), support::RowBatch(1, {{{1, 1}}}).get(), &rhs, &type,
                           &low, &high, nullptr),
            1);
  EXPECT_EQ(driver.solve(), 6) << "the generated column at 0.75 is no box column";
  // The upper-bound column of the first row stays at index 2 of 4.
  Driver upper({0, 0, 3, 0});
  ASSERT_EQ(QUARN_add_rows(upper.env.get(), support::RowBatch(1, {{{1, 1}}}).get(), &rhs, &type,
                           &low, &high, nullptr),
            1);
  upper.env->verbosity = 1;
  std::string text;
  EXPECT_EQ(upper.solve(&text), 5);
  EXPECT_NE(text.find("u[0]=0.500000 approaches one of its bounds (lambda[2]=3.000000). "
                      "[6.000000,0.000010]"),
            std::string::npos);
}

}  // namespace

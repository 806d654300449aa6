#include <gtest/gtest.h>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Environment;
using support::LoadedProblem;
using support::Oracle;
using support::solver;

/// Three linking rows, one column that covers them all at value 1, and scripted box columns.
struct IntegerDriver {
  explicit IntegerDriver(const std::vector<double> &box = std::vector<double>(6, 0.0))
      : oracle([this](double *, double *, QUARN_env *e) { return answer(e); }), env(data()) {
    support::add_columns(env.get(), {{{1, 1}, {2, 1}, {3, 1}, {4, 4}}});
    env->WS_strategy = -2;
    solver().trace.clear();
    solver().primal = [box](const LoadedProblem &, double *x) {
      std::copy(box.begin(), box.end(), x);
      x[6] = 1.0;
    };
    solver().duals = [](const LoadedProblem &, double *u) {
      u[0] = 1, u[1] = 2, u[2] = 1, u[3] = 4;
    };
  }
  ~IntegerDriver() { solver().primal = solver().duals = nullptr; }

  support::ProblemData data() {
    support::ProblemData made;
    made.m = 3;
    made.user_data = &oracle;
    return made;
  }

  int32_t solve(int32_t rounding, std::string *text = nullptr) {
    int32_t code = -99;
    const std::string output = support::flushed_output(
        [&] { code = IQUARN_solve_MP(env.get(), support::call_oracle, rounding); });
    if (text != nullptr) *text = output;
    return code;
  }

  std::function<int16_t(QUARN_env *)> answer = [](QUARN_env *) {
    solver().trace.push_back("oracle");
    return int16_t{1};
  };
  Oracle oracle;
  Environment env;
};

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

bool is_trimmed(const QUARN_env &env) {
  return env.G->max_n == env.G->n && env.G->max_nz == env.G->nz;
}

const std::string kLoop = "load preproc solve(0,5,0) duals oracle";  // closes the gap at 4

TEST(IntegerDriver, RoundsOnceThenStartsColdOnce) {
  IntegerDriver driver;
  driver.env->delta = 1e-3;
  driver.answer = [&](QUARN_env *e) {
    solver().trace.push_back("oracle");
    e->delta = 0.5;
    return int16_t{1};
  };
  std::string text;
  EXPECT_EQ(driver.solve(1, &text), 0);
  // Column generation, rounding (the centred strategy restores the RMP). The gap is closed already,
  // so the cold run stops before an RMP, and the duals are those of the restored one; then the
  // final solution.
  EXPECT_EQ(solver().take_trace(),
            kLoop + " get_x free load preproc solve(0,5,1) duals duals get_x");
  EXPECT_EQ(support::to_text({driver.env->u, driver.env->u + 4}), "1 2 1 4");
  EXPECT_EQ(driver.env->delta, 1e-3) << "the value at entry holds in the final run";
  EXPECT_EQ(driver.env->IP_obj_value, 4);
  EXPECT_EQ(text.substr(0, 30), "Hello from IQUARN_solve_MP()\n\n");
  EXPECT_FALSE(contains(text, "QUARN info"));
  EXPECT_FALSE(contains(text, "warm dual"));
  EXPECT_TRUE(is_trimmed(*driver.env.get()));
  EXPECT_EQ(driver.env->lambda[6], 1.0);
}

TEST(IntegerDriver, TheSecondRunIsColdWhenTheGapIsOpen) {
  IntegerDriver driver;
  driver.env->max_outer_iterations = 1;
  driver.answer = [](QUARN_env *) {
    solver().trace.push_back("oracle");
    return int16_t{0};  // no bound moves
  };
  const auto scripted = solver().primal;
  solver().primal = [&](const LoadedProblem &problem, double *x) {
    driver.env->max_outer_iterations = 2;  // the first to ask for x is the rounding
    scripted(problem, x);
  };
  EXPECT_EQ(driver.solve(1), 6);
  // A warm run would call the oracle before its RMP. Without bounds the gap is 2, the tolerance 1.
  EXPECT_EQ(solver().take_trace(), kLoop +
                                       " get_x free load preproc solve(0,5,1) duals"
                                       " free load preproc solve(0,1,0) duals oracle get_x");
}

TEST(IntegerDriver, WithoutRoundingNothingIsRemembered) {
  for (const int32_t rounding : {0, -1}) {
    IntegerDriver driver;
    driver.answer = [](QUARN_env *e) {
      solver().trace.push_back("oracle");
      e->delta = 0.25;
      return int16_t{1};
    };
    std::string text;
    EXPECT_EQ(driver.solve(rounding, &text), 0);
    EXPECT_EQ(solver().take_trace(), kLoop + " get_x");
    EXPECT_EQ(driver.env->delta, 0.25);
    EXPECT_EQ(driver.env->u[1], 2);
    EXPECT_FALSE(contains(text, "residual_rounding"));
  }
}

TEST(IntegerDriver, RestartRepeatsOnlySuccessfulRuns) {
  IntegerDriver driver;
  int calls = 0;
  driver.answer = [&](QUARN_env *e) {
    ++calls;
    e->rel_gap = 0.0;
    e->restart = calls < 4 ? 1 : 0;
    return static_cast<int16_t>(calls == 4 ? -1 : 0);
  };
  driver.env->verbosity = 1;
  std::string text;
  EXPECT_EQ(driver.solve(1, &text), 2);
  EXPECT_EQ(calls, 4);
  EXPECT_FALSE(contains(text, "residual_rounding")) << "a failed run skips the heuristic";
  EXPECT_TRUE(contains(text, "\nQUARN info:\n> duality gap: "));
  EXPECT_TRUE(is_trimmed(*driver.env.get()));

  IntegerDriver failing;
  failing.answer = [&](QUARN_env *e) {
    e->restart = 1;
    return int16_t{-1};
  };
  EXPECT_EQ(failing.solve(0), 2) << "not repeated although restart is 1";
}

TEST(IntegerDriver, BoxColumnsAndTheLimit) {
  const std::string infeasible =
      "\n -- QUARN has detected that the problem may be infeasible. -- \nThe dual variable ";
  const struct {
    const char *what;
    std::vector<double> box;
    int32_t limit, code;
    std::string text;
  } rows[] = {
      // clang-format off
      {"fifth of six", {0, 0, 0, 0, 1, 1}, 9, 5, infeasible +
       "u[1]=2.000000 approaches one of its bounds (lambda[4]=1.000000).\n"},
      {"negative", {0, 0, -0.25, 0, 0, 0}, 9, 5, infeasible +
       "u[2]=1.000000 approaches one of its bounds (lambda[2]=-0.250000).\n"},
      {"at the threshold", {10 * 1e-6, -10 * 1e-6, 0, 0, 0, 0}, 9, 0, ""},
      {"box before limit", {0, 1, 0, 0, 0, 0}, 1, 5, infeasible +
       "u[1]=2.000000 approaches one of its bounds (lambda[1]=1.000000).\n"},
      {"limit", {0, 0, 0, 0, 0, 0}, 1, 6,
       "\n -- Maximum number of outer iterations exceeded -- \n"}
      // clang-format on
  };
  for (const auto &row : rows) {
    for (const int16_t verbosity : support::Shorts{0, 1}) {
      SCOPED_TRACE(testing::Message() << row.what << " at " << verbosity);
      IntegerDriver driver(row.box);
      driver.env->max_outer_iterations = row.limit;
      driver.env->verbosity = verbosity;
      std::string text;
      EXPECT_EQ(driver.solve(0, &text), row.code);
      const std::string summary = "s)\n" + row.text;  // behind the line of times
      EXPECT_EQ(text.size() >= summary.size() &&
                    text.compare(text.size() - summary.size(), summary.size(), summary) == 0,
                verbosity != 0);
      EXPECT_EQ(contains(text, " -- "), verbosity != 0 && !row.text.empty());
      EXPECT_EQ(is_trimmed(*driver.env.get()), row.code != 5);
    }
  }
}

TEST(IntegerDriver, WithoutALoadedProblemTheStatusStands) {
  IntegerDriver driver;
  driver.env->max_outer_iterations = 0;
  EXPECT_EQ(driver.solve(0), 6);
  IntegerDriver closed;
  closed.env->rel_gap = 0.0;
  EXPECT_EQ(closed.solve(1), 0);
}

}  // namespace

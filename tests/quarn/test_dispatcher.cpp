#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "quarn/internal.h"
#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Environment;
using support::solver;
using support::SolveReply;

using Dispatcher = decltype(&QUARN_solve_RMP);

struct Result {
  int32_t code = 99;
  double dual_value = -1.5, primal_value = -2.5;
};

Result dispatch(Dispatcher dispatcher, QUARN_env *env) {
  Result result;
  result.code = dispatcher(env, env->G, env->RHS, env->row_range, env->row_type, env->col_lb,
                           env->col_ub, &result.dual_value, &result.primal_value);
  return result;
}

/// A record with `rows` rows and storage for its duals.
Environment record(int32_t rows) {
  support::ProblemData setup;
  setup.m = rows - 1;
  setup.warm_duals.assign(static_cast<size_t>(rows), 0.0);
  return Environment(setup);
}

/// The tolerance rule, case by case, from the numbers it depends on.
double expected_tolerance(const QUARN_env &e, int32_t rows) {
  const int32_t loose = e.difficult_problem <= 0 ? 0
                        : rows > 1000            ? 6
                        : rows > 500             ? 5
                        : rows > 100             ? 4
                                                 : 3;
  if (loose > e.outer_iterations) return std::pow(10.0, std::min(loose - e.outer_iterations, 5));
  const double base = e.rel_gap / e.degree_of_optimality;
  double tolerance = base;
  if (e.outer_iterations > 1 && e.oracle_status <= 1) {
    const bool closing = !(e.rel_gap > 0.1) && e.exp_BD != 0;
    if (!closing) tolerance = 0.5 * base + 0.5 * e.opt_tol;
    const double stalled = e.ncols_last > 100  ? 0.9
                           : e.ncols_last > 50 ? 0.93
                           : e.ncols_last > 0  ? 0.97
                                               : std::numeric_limits<double>::infinity();
    if (e.gap_ratio > stalled) tolerance *= 0.9;
    if (e.solver_option > 5 && e.ncols_last <= 4) tolerance *= 0.5;
  }
  if (tolerance > e.max_opt_tol) tolerance = e.max_opt_tol;
  if (0.1 * e.delta > tolerance) tolerance = 0.1 * e.delta;
  return tolerance;
}

TEST(Dispatcher, ToleranceFollowsTheRuleOverRandomStates) {
  support::Random random(71);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const int32_t rows : {100, 101, 500, 501, 1000, 1001}) {
    Environment env = record(rows);
    for (int k = 0; k < 400; ++k) {
      env->WS_strategy = -2;
      env->opt_tol = random.one_of<double>({10, 0.3, 1e-4, 3000});
      env->rel_gap = random.one_of<double>({10, 0.5, 0.1, 0.0999, 1e-3, 1e-7, 0, -1, nan});
      env->degree_of_optimality = random.one_of<double>({2, 10, 0.001});
      env->max_opt_tol = random.one_of<double>({1000, 0.2});
      env->delta = random.one_of<double>({1e-6, 1e-3});
      env->outer_iterations = random.integer(0, 8);
      env->oracle_status = static_cast<int16_t>(random.integer(0, 2));
      env->exp_BD = static_cast<int16_t>(random.one_of<int32_t>({0, 1, -1}));
      env->ncols_last = random.one_of<int32_t>({-1, 0, 1, 4, 5, 50, 51, 100, 101});
      env->gap_ratio = random.one_of<double>({0.5, 0.9, 0.92, 0.93, 0.95, 0.97, 0.98, 2, nan});
      env->solver_option = random.integer(4, 7);
      env->difficult_problem = static_cast<int16_t>(random.one_of<int32_t>({0, 0, 0, 1, -1}));
      const double expected = expected_tolerance(*env.get(), rows);
      support::flushed_output([&] { dispatch(QUARN_solve_RMP, env.get()); });
      if (std::isnan(expected)) {
        ASSERT_TRUE(std::isnan(env->opt_tol));
      } else {
        ASSERT_DOUBLE_EQ(env->opt_tol, expected) << support::dump(*env.get());
      }
    }
    solver().trace.clear();
  }
}

TEST(Dispatcher, TheLooseStartIsAnnouncedWithoutAFlush) {
  const struct {
    int32_t rows, iteration;
    const char *text;
    double tolerance;
  } rows[] = {{1001, 1, "\n### outer = 1, difficult_iters reset to  6\n", 100000},
              {1001, 5, "\n### outer = 5, difficult_iters reset to  6\n", 10},
              {1001, 6, "", 5},
              {1001, 0, "\n### outer = 0, difficult_iters reset to  6\n", 100000},
              {100, 1, "\n### outer = 1, difficult_iters reset to  3\n", 100},
              {100, 3, "", 5}};
  for (const auto &row : rows) {
    Environment env = record(row.rows);
    env->WS_strategy = -2;
    env->difficult_problem = 1;
    env->oracle_status = 2;
    env->outer_iterations = row.iteration;
    support::CapturedOutput output;
    dispatch(QUARN_solve_RMP, env.get());
    const std::string flushed = output.flushed(), all = output.all();
    EXPECT_EQ(flushed, "");
    EXPECT_EQ(all, row.text);
    EXPECT_DOUBLE_EQ(env->opt_tol, row.tolerance);
  }
}

SolveReply failure() {
  SolveReply reply;
  reply.code = 5;
  return reply;
}

// The trace of one strategy call at tolerance 5: cold, warm, centred, standard.
const std::string kLoad = "free load preproc ";
const std::string kCold = "acpdm(0,5,1) save", kWarm = "acpdm(1,5,1) free_save save";
const std::string kSolve = "solve(0,5,1)", kStandard = "solve(0,5,0)", kDuals = " duals";

TEST(Dispatcher, StrategyAndFallback) {
  const std::string second = " " + kLoad + kStandard;
  struct Row {
    const char *what;
    Dispatcher run;
    int16_t strategy, status;
    int32_t iterations;
    int failures;
    std::string trace;
    int32_t code;
    int16_t strategy_after, saved_after;
  };
  const auto outer = QUARN_solve_RMP, inner = IQUARN_solve_RMP;
  const std::string inner_second = " free load:7 preproc " + kStandard;
  const Row rows[] = {
      {"default", outer, -1, 0, 1, 0, kLoad + kCold + kDuals, 0, 1, 1},
      {"any other value", outer, 17, 0, 9, 0, kLoad + kCold + kDuals, 0, 1, 1},
      {"standard", outer, -2, 0, 1, 0, kLoad + kStandard + kDuals, 0, -2, 0},
      {"standard fails", outer, -2, 0, 1, 1, kLoad + kStandard, -1, -2, 0},
      {"centred", outer, 0, 0, 1, 0, kLoad + kSolve + kDuals, 0, 0, 0},
      {"centred fails", outer, 0, 0, 1, 1, kLoad + kSolve + second + kDuals, 0, 0, 0},
      {"warm too early", outer, 1, 1, 1, 0, kLoad + kCold + kDuals, 0, 1, 1},
      {"warm after status 2", outer, 1, 2, 2, 0, kLoad + kCold + kDuals, 0, 1, 1},
      {"warm", outer, 1, 1, 2, 0, kLoad + kWarm + kDuals, 0, 1, 1},
      {"warm fails", outer, 1, 1, 2, 1, kLoad + "acpdm(1,5,1)" + second + kDuals, 0, 1, 0},
      {"all fails", outer, -1, 1, 2, 2, kLoad + "acpdm(0,5,1)" + second, -1, 1, 0},
      {"rounding: centred", inner, 0, 0, 9, 0, kLoad + kSolve + kDuals, 0, 0, 0},
      {"rounding: default", inner, -1, 0, 9, 0, kLoad + kSolve + kDuals, 0, -1, 0},
      {"rounding: never standard", inner, -2, 0, 9, 0, kLoad + kSolve + kDuals, 0, -2, 0},
      {"rounding: warm", inner, 1, 9, 2, 0, kLoad + kWarm + kDuals, 0, 1, 1},
      {"rounding: warm too early", inner, 1, 0, 1, 0, kLoad + kSolve + kDuals, 0, 1, 0},
      {"rounding: fails", inner, 0, 0, 9, 1, kLoad + kSolve + inner_second + kDuals, 0, 0, 0},
      {"rounding: all fails", inner, 1, 0, 2, 2, kLoad + "acpdm(1,5,1)" + inner_second, -1, 1, 0},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.what);
    Environment env = record(3);
    support::solve_once(env.get());
    save_Pb(env->Pb, env->Pb_save);
    solver().trace.clear();
    solver().replies.assign(static_cast<size_t>(row.failures), failure());
    solver().duals = [](const support::LoadedProblem &, double *u) {
      u[0] = 2, u[1] = 3, u[2] = 40;
    };
    env->WS_point_saved = 1;
    env->WS_strategy = row.strategy;
    env->oracle_status = row.status;
    env->outer_iterations = row.iterations;
    env->opt_tol = 5;  // where the rule averages, with the same value
    env->RHS[0] = 10, env->RHS[1] = 100, env->RHS[2] = 1e6;
    env->u[0] = -77;
    const Result result = dispatch(row.run, env.get());
    EXPECT_EQ(solver().take_trace(), row.trace);
    EXPECT_EQ(result.code, row.code);
    EXPECT_EQ(env->WS_strategy, row.strategy_after);
    EXPECT_EQ(env->WS_point_saved, row.saved_after);
    EXPECT_EQ(env->opt_tol, 5);
    EXPECT_NE(env->Pb, nullptr);
    const bool solved = row.code == 0;
    EXPECT_EQ(result.dual_value, solved ? 320 : -1.5) << "every row but the cost row";
    EXPECT_EQ(result.primal_value, solved ? 40 : -2.5);
    EXPECT_EQ(env->u[0], solved ? 2 : -77);
  }
}

TEST(Dispatcher, LoadsTheRecordsArraysAndNothingToFreeTheFirstTime) {
  support::ProblemData setup;
  setup.p = 1;
  setup.rhs = {1, 2, 3, 4};
  setup.row_types = {1, 2, 3, 1};
  setup.warm_duals = {0, 0, 0, 0};
  Environment env(setup);
  support::add_columns(env.get(), {{{1, 5}, {3, 1}, {4, 7}}});
  env->col_lb[4] = -1;
  env->col_ub[4] = 6;
  env->row_range[1] = 0.5;
  env->G->max_m = 4;
  dispatch(IQUARN_solve_RMP, env.get());
  EXPECT_EQ(solver().take_trace().substr(0, 12), "load preproc");
  const support::LoadedProblem &loaded = solver().loads.at(0);
  const QUARN_SMatrix_CW &G = *env->G;
  EXPECT_TRUE(loaded.m == 4 && loaded.n == 5 && loaded.nz == 11 && loaded.cost_row == 4);
  EXPECT_TRUE(loaded.extra1 == nullptr && loaded.extra2 == nullptr);
  EXPECT_EQ(support::to_text(loaded.constants), "0 0 0 0 0 0 0 0 1 0");
  EXPECT_EQ(loaded.elt, std::vector<double>(G.elt, G.elt + 11));
  EXPECT_EQ(loaded.rw, std::vector<int32_t>(G.rw, G.rw + 11));
  EXPECT_EQ(loaded.col_start, std::vector<int32_t>(G.col_start, G.col_start + 6));
  EXPECT_EQ(loaded.row_type, (std::vector<int32_t>{1, 2, 3, 1}));
  EXPECT_EQ(support::to_text(loaded.rhs), "1 2 3 4");
  EXPECT_EQ(support::to_text(loaded.row_range), support::to_text({1e30, 0.5, 1e30, 1e30}));
  EXPECT_EQ(support::to_text(loaded.col_lb), "0 0 0 0 -1");
  EXPECT_EQ(support::to_text(loaded.col_ub), support::to_text({1e30, 1e30, 1e30, 1e30, 6}));
}

TEST(Dispatcher, ACostRowAloneHasNoDualValue) {
  support::ProblemData setup;
  setup.m = 0;
  setup.warm_duals = {0};
  Environment env(setup);
  support::add_columns(env.get(), {{{1, 3}}});
  solver().duals = [](const support::LoadedProblem &, double *u) { u[0] = 8; };
  const Result result = dispatch(QUARN_solve_RMP, env.get());
  EXPECT_TRUE(result.code == 0 && result.dual_value == 0.0 && result.primal_value == 8.0);
}

}  // namespace

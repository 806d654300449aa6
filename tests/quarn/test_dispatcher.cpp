#include <gtest/gtest.h>

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

/// What a tolerance depends on; the defaults are a run on its way at a gap of
/// 0.5.
struct State {
  const char *what;
  double expected;
  double rel_gap = 0.5, gap_ratio = 0.5, opt_tol = 1.0, divisor = 2.0, ceiling = 1000.0;
  int32_t iterations = 4, ncols_last = 3, option = 5;
  int16_t status = 1, exp_BD = 1;
};

std::vector<State> states() {
  std::vector<State> rows;
  const auto add = [&rows](const char *what, double expected) -> State & {
    rows.push_back({what, expected});
    return rows.back();
  };
  add("halfway between the last one and the gap's", 0.625);
  add("the first iteration", 0.25).iterations = 1;
  add("no iteration yet", 0.25).iterations = 0;
  add("a status above 1", 0.25).status = 2;
  add("another divisor", 0.525).divisor = 10.0;
  add("a gap of 0.1", 0.05).rel_gap = 0.1;
  add("a gap just above 0.1", 0.5505).rel_gap = 0.202;
  State *open = &add("a gap of 0.1 while the box is still widened", 0.525);
  open->rel_gap = 0.1, open->exp_BD = 0;
  const struct {
    int32_t ncols_last;
    double slow;
  } limits[] = {{1, 0.97}, {50, 0.97}, {51, 0.93}, {100, 0.93}, {101, 0.9}};
  for (const auto &limit : limits) {
    for (const bool slow : {false, true}) {
      State &row = add("progress", slow ? 0.5625 : 0.625);
      row.ncols_last = limit.ncols_last;
      row.gap_ratio = slow ? limit.slow + 1e-9 : limit.slow;
    }
  }
  State *none = &add("no progress, and no column", 0.625);
  none->ncols_last = 0, none->gap_ratio = 2.0;
  State *few = &add("option 6 with few columns", 0.3125);
  few->option = 6, few->ncols_last = 4;
  State *more = &add("option 6 with one column more", 0.625);
  more->option = 6, more->ncols_last = 5;
  State *slow_and_few = &add("option 7, few columns, no progress", 0.28125);
  slow_and_few->option = 7, slow_and_few->gap_ratio = 2.0;
  add("above the ceiling", 0.5).ceiling = 0.5;
  State *floor = &add("below a tenth of delta", 1e-4);
  floor->rel_gap = 1e-7, floor->opt_tol = 0.0;
  State *low_ceiling = &add("a ceiling below the floor", 1e-4);
  low_ceiling->ceiling = 1e-9;
  State *negative = &add("a negative gap", 1e-4);
  negative->rel_gap = -1.0;
  return rows;
}

TEST(Dispatcher, TheToleranceFollowsTheGap) {
  for (const State &row : states()) {
    SCOPED_TRACE(testing::Message() << row.what << ", " << row.ncols_last << " columns");
    Environment env = record(3);
    env->WS_strategy = -2;
    env->delta = 1e-3;
    env->rel_gap = row.rel_gap, env->gap_ratio = row.gap_ratio, env->opt_tol = row.opt_tol;
    env->degree_of_optimality = row.divisor, env->max_opt_tol = row.ceiling;
    env->outer_iterations = row.iterations, env->ncols_last = row.ncols_last;
    env->solver_option = row.option, env->oracle_status = row.status, env->exp_BD = row.exp_BD;
    dispatch(QUARN_solve_RMP, env.get());
    EXPECT_DOUBLE_EQ(env->opt_tol, row.expected);
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
              {1000, 4, "\n### outer = 4, difficult_iters reset to  5\n", 10},
              {501, 5, "", 5},
              {500, 3, "\n### outer = 3, difficult_iters reset to  4\n", 10},
              {101, 4, "", 5},
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
  env->BLAS_threads = 2;
  dispatch(IQUARN_solve_RMP, env.get());
  EXPECT_EQ(solver().take_trace().substr(0, 12), "load preproc");
  const support::LoadedProblem &loaded = solver().loads.at(0);
  const QUARN_SMatrix_CW &G = *env->G;
  EXPECT_TRUE(loaded.m == 4 && loaded.n == 5 && loaded.nz == 11 && loaded.cost_row == 4);
  EXPECT_TRUE(loaded.extra1 == nullptr && loaded.extra2 == nullptr);
  EXPECT_EQ(support::to_text(loaded.constants), "2 0 0 0 0 0 0 0 1 0");
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

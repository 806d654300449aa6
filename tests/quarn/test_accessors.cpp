#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Environment;
using support::LoadedProblem;
using support::solver;

TEST(Setters, EachStoresItsValueUncheckedAndNothingElse) {
  struct Row {
    const char *line;  // the one line of the dump that changes
    std::function<void(QUARN_env *)> set;
  };
#define REAL(field, value)                                                      \
  {                                                                             \
#field " = " #value, [](QUARN_env * env) { QUARN_set_##field(env, value); } \
  }
  const Row rows[] = {
      REAL(lambda_LB, -1.5),
      REAL(lambda_UB, 7.25),
      REAL(verbosity, -32768),
      REAL(BLAS_threads, 3),
      REAL(column_elimination, -2),
      REAL(max_number_columns, 2147483647),
      REAL(degree_of_optimality, 0),
      REAL(max_opt_tol, -3),
      REAL(change_bounds, 2),
      REAL(reliable_answer, 0),
      REAL(centrality_value, -4),
      REAL(WS_strategy, -2),
      REAL(max_cputime, 0.5),
      REAL(delta, -0.125),
      REAL(rel_gap, 0.5),
      REAL(objective_LB, -12),
      REAL(objective_UB, 13),
      REAL(lowerBnd, -14),
      REAL(upperBnd, 15),
  };
#undef REAL
  for (const Row &row : rows) {
    Environment env;
    const std::string before = support::dump(*env.get());
    row.set(env.get());
    EXPECT_EQ(support::changed_lines(before, support::dump(*env.get())), row.line);
  }
}

TEST(Setters, RefuseWhatIsNotANumber) {
  const double nan = std::nan("");
#define REAL(field) [nan](QUARN_env *env) { QUARN_set_##field(env, nan); }
  const std::function<void(QUARN_env *)> calls[] = {
      REAL(lambda_LB),
      REAL(lambda_UB),
      REAL(degree_of_optimality),
      REAL(max_opt_tol),
      REAL(max_cputime),
      REAL(delta),
      REAL(rel_gap),
      REAL(objective_LB),
      REAL(objective_UB),
      REAL(lowerBnd),
      REAL(upperBnd),
      [nan](QUARN_env *env) { QUARN_set_dual_box(env, nan, 1.0); },
      [nan](QUARN_env *env) { QUARN_set_dual_box(env, -1.0, nan); },
      [nan](QUARN_env *env) {
        const double values[] = {-5, nan};
        QUARN_set_RHS(env, values);
      }};
#undef REAL
  for (const auto &call : calls) {
    Environment env;
    const std::string before = support::dump(*env.get());
    std::string text;
    QUARN_set_log(
        env.get(),
        [](const char *piece, void *data) { *static_cast<std::string *>(data) += piece; }, &text);
    call(env.get());
    QUARN_set_log(env.get(), nullptr, nullptr);
    EXPECT_EQ(support::dump(*env.get()), before) << text;
    EXPECT_NE(text.find(": not a number, nothing is changed\n"), std::string::npos) << text;
  }
}

TEST(Setters, RightHandSideOfTheLinkingRowsOnly) {
  support::ProblemData setup;
  setup.p = 1;
  setup.rhs = {1, 2, 3, 4};
  Environment env(setup);
  const double values[] = {-5, -6, -7, -8};
  QUARN_set_RHS(env.get(), values);
  EXPECT_EQ(support::to_text({env->RHS, env->RHS + 4}), "-5 -6 3 4");
}

TEST(Accessors, DualSolutionIsTheRecordsOwnArrayOrNull) {
  Environment env;
  EXPECT_EQ(QUARN_get_dual_solution(env.get()), nullptr);
  support::solve_once(env.get());
  ASSERT_NE(env->u, nullptr);
  EXPECT_EQ(QUARN_get_dual_solution(env.get()), env->u);
}

using Getter = void (*)(QUARN_env *, double **, int32_t *);
struct GetterRow {
  Getter get;
  const char *trace;
  int32_t skipped;  // auxiliary columns of a record with three linking rows
  double sign;      // the script fills x with 1, 2, ... and z with -1, -2, ...
};
const GetterRow kGetters[] = {{QUARN_get_pointer_to_master_solution, "get_x", 6, 1.0},
                              {QUARN_get_pointer_to_full_master_solution, "get_x", 0, 1.0},
                              {QUARN_get_pointer_to_dual_slacks, "get_z", 6, -1.0}};

support::ScriptedSolver::Fill counting(double sign) {
  return [sign](const LoadedProblem &problem, double *values) {
    for (int32_t j = 0; j < problem.n; ++j) values[j] = sign * (j + 1);
  };
}

TEST(Accessors, ColumnsAddedSinceTheSolveReadZero) {
  solver().primal = counting(1.0);
  solver().slacks = counting(-1.0);
  support::ProblemData setup;
  setup.m = 3;
  Environment env(setup);
  support::add_columns(env.get(), {{{1, 1}}, {{2, 1}}});
  support::solve_once(env.get());
  support::add_columns(env.get(), support::Columns(3, {{3, 1}}));
  for (const GetterRow &row : kGetters) {
    SCOPED_TRACE(row.skipped);
    for (int twice = 0; twice < 2; ++twice) {
      solver().take_trace();
      double *values = nullptr;
      int32_t count = -1;
      EXPECT_EQ(support::flushed_output([&] { row.get(env.get(), &values, &count); }), "");
      EXPECT_EQ(solver().take_trace(), row.trace);
      ASSERT_EQ(count, 11 - row.skipped);
      const double *buffer = row.sign > 0 ? env->lambda : env->dual_slacks;
      EXPECT_EQ(values, buffer + row.skipped);
      for (int32_t j = 0; j < 11; ++j) EXPECT_EQ(buffer[j], j < 8 ? row.sign * (j + 1) : 0.0);
    }
  }
}

TEST(Accessors, ABufferMayHoldMoreColumnsThanTheMatrixHasLeft) {
  solver().primal = counting(1.0);
  Environment env;
  support::add_columns(env.get(), support::Columns(5, {{1, 1}}));
  support::solve_once(env.get());
  double *values = nullptr;
  int32_t count = 0;
  QUARN_get_pointer_to_full_master_solution(env.get(), &values, &count);
  EXPECT_EQ(count, 9);
  const int32_t keep[] = {4};
  ASSERT_EQ(QUARN_remove_columns(env.get(), keep, 1), 1);  // drops the loaded problem
  QUARN_get_pointer_to_full_master_solution(env.get(), &values, &count);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(values, nullptr);
}

TEST(Accessors, WithoutALoadedProblemThereIsNothingAndNoText) {
  Environment env;
  for (const GetterRow &row : kGetters) {
    double dummy = 0.0, *values = &dummy;
    int32_t count = -1;
    EXPECT_EQ(support::flushed_output([&] { row.get(env.get(), &values, &count); }), "");
    EXPECT_EQ(count, 0);
    EXPECT_EQ(values, nullptr);
  }
  EXPECT_EQ(solver().take_trace(), "");
}

}  // namespace

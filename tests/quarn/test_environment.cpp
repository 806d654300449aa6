#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "tests/support/allocation.h"
#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Columns;
using support::Environment;
using support::ProblemData;
using support::solver;

TEST(SetUp, EveryScalarTakesItsDefault) {
  ProblemData setup;
  setup.m = 3;
  setup.p = 2;
  setup.nrows = 77;
  setup.option = 5;
  setup.max_outer_iterations = 9;
  int user = 0;
  setup.user_data = &user;
  Environment env(setup);
  const struct {
    const char *name;
    double value, expected;
  } rows[] = {
#define ROW(field, expected) {#field, double(env->field), expected}
      ROW(m, 3),
      ROW(p, 2),
      ROW(nrows, 77),
      ROW(solver_option, 5),
      ROW(max_outer_iterations, 9),
      ROW(ncols_total, 6),
      ROW(ncols_box, 6),
      ROW(ncols_aux, 6),
      ROW(ncols_aux_prev, 0),
      ROW(ncols_last, 0),
      ROW(ncuts, 0),
      ROW(lambda_LB, 0),
      ROW(lambda_UB, 1e30),
      ROW(objective_LB, -1e30),
      ROW(objective_UB, 1e30),
      ROW(delta, 1e-6),
      ROW(opt_tol, 10),
      ROW(max_opt_tol, 1000),
      ROW(upperBnd, 1e30),
      ROW(lowerBnd, -1e30),
      ROW(upperBnd_prev, 1e30),
      ROW(lowerBnd_actual, -1e30),
      ROW(degree_of_optimality, 2),
      ROW(IP_obj_value, 1e30),
      ROW(IP_ncols, 0),
      ROW(IP_size, 0),
      ROW(n_seeds, 0),
      ROW(max_number_columns, 10000),
      ROW(max_cputime, 100000),
      ROW(reduce_fraction, 0.75),
      ROW(reduce_gap, 0.001),
      ROW(last_reduce, -1),
      ROW(reduce_mode, 0),
      ROW(WS_strategy, -1),
      ROW(WS_point_saved, 0),
      ROW(exp_BD, 1),
      ROW(change_bounds, 0),
      ROW(oracle_status, 0),
      ROW(reliable_answer, 1),
      ROW(centrality_value, 1),
      ROW(difficult_problem, 0),
      ROW(restart, 0),
      ROW(rel_gap, 10),
      ROW(rel_gap_prev, 0),
      ROW(abs_gap, 0),
      ROW(abs_gap_prev, 0),
      ROW(gap_ratio, 0),
      ROW(outer_iterations, 0),
      ROW(inner_iterations, 0),
      ROW(inner_iterations_ws, 0),
      ROW(cputime, 0),
      ROW(cputime_oracle, 0),
      ROW(cputime_RMP, 0),
      ROW(verbosity, 0),
      ROW(matrix_changed, 1),
      ROW(column_elimination, 1),
#undef ROW
  };
  for (const auto &row : rows) EXPECT_EQ(row.value, row.expected) << row.name;
  EXPECT_EQ(env->user_data, &user);
  const void *const absent[] = {env->Pb,        env->lambda,  env->dual_slacks, env->u,
                                env->IP_lambda, env->IP_cols, env->G->extra1,   env->G->extra2};
  for (const void *pointer : absent) EXPECT_EQ(pointer, nullptr);
  EXPECT_EQ(env->Pb_save->holds_point, 0);
}

TEST(SetUp, BoxColumnsCarryTheDualBoundsAsCosts) {
  const double inf = 1e10;
  struct Row {
    const char *what;
    ProblemData setup;
    Columns columns;
  };
  std::vector<Row> rows(4);
  rows[0] = {"default box",
             {},
             {{{1, -1}, {4, inf}}, {{2, -1}, {4, inf}}, {{1, 1}, {4, inf}}, {{2, 1}, {4, inf}}}};
  rows[0].setup.p = 1;
  rows[1] = {"own box, a zero cost stays an entry",
             {},
             {{{1, -1}, {3, 3}}, {{2, -1}, {3, 0}}, {{1, 1}, {3, 5}}, {{2, 1}, {3, 7}}}};
  rows[1].setup.dual_lower = {-3, 0};
  rows[1].setup.dual_upper = {5, 7};
  rows[2] = {"upper bounds only", {}, {{{1, -1}, {2, inf}}, {{1, 1}, {2, -4}}}};
  rows[2].setup.m = 1;
  rows[2].setup.dual_upper = {-4};
  rows[3] = {"no linking row", {}, {}};
  rows[3].setup.m = 0;
  rows[3].setup.p = 2;
  for (const Row &row : rows) {
    SCOPED_TRACE(row.what);
    Environment env(row.setup);
    EXPECT_EQ(support::columns_of(*env->G), row.columns);
    EXPECT_EQ(support::broken_invariants(*env.get()), "");
    for (int32_t i = 0; i < row.setup.m; ++i) {
      const auto k = static_cast<size_t>(i);
      const double low = row.setup.dual_lower.empty() ? -inf : row.setup.dual_lower[k];
      const double high = row.setup.dual_upper.empty() ? inf : row.setup.dual_upper[k];
      EXPECT_TRUE(env->u_LB[i] == low && env->u_LB_user[i] == low);
      EXPECT_TRUE(env->u_UB[i] == high && env->u_UB_user[i] == high);
    }
  }
}

TEST(SetUp, InfiniteLimitsOfTheBoxBecomeTheLargestNumbers) {
  ProblemData setup;
  setup.dual_lower = {-INFINITY, -1e40};
  setup.dual_upper = {INFINITY, -INFINITY};
  Environment env(setup);
  ASSERT_NE(env.get(), nullptr);
  EXPECT_EQ(
      support::columns_of(*env->G),
      (Columns{
          {{1, -1}, {3, 1e30}}, {{2, -1}, {3, 1e40}}, {{1, 1}, {3, 1e30}}, {{2, 1}, {3, -1e30}}}));
  for (const double *lower : {env->u_LB, env->u_LB_user}) {
    EXPECT_EQ(support::to_text({lower, lower + 2}), support::to_text({-1e30, -1e40}));
  }
  for (const double *upper : {env->u_UB, env->u_UB_user}) {
    EXPECT_EQ(support::to_text({upper, upper + 2}), support::to_text({1e30, -1e30}));
  }
}

TEST(SetUp, RefusesWhatIsNotANumber) {
  ProblemData sound;
  sound.p = 1;
  sound.rhs = sound.warm_duals = {1, 2, 3, 4};
  sound.dual_lower = sound.dual_upper = {1, 2};
  const int64_t blocks = support::live_blocks();
  for (std::vector<double> ProblemData::*values :
       {&ProblemData::rhs, &ProblemData::warm_duals, &ProblemData::dual_lower,
        &ProblemData::dual_upper}) {
    for (size_t i = 0; i < (sound.*values).size(); ++i) {
      ProblemData broken = sound;
      (broken.*values)[i] = std::nan("");
      EXPECT_EQ(support::set_up(broken), nullptr) << i;
      EXPECT_EQ(support::live_blocks(), blocks);
    }
  }
  const Environment env(sound);
  EXPECT_NE(env.get(), nullptr);
}

TEST(SetUp, CapacitiesFollowTheRowsAndArraysCopyTheCallers) {
  struct Row {
    int32_t m, p, nrows, max_n, max_nz;
  };
  // Five per cent of nrows * max_n, rounded up; the last row is too small for its box columns and
  // gets what it needs.
  for (const Row &row : {Row{2, 1, 4, 1006, 202}, Row{0, 0, 1, 1000, 50}, Row{10, 5, 7, 1030, 361},
                         Row{100, 0, 1, 1200, -1}}) {
    SCOPED_TRACE(row.m);
    ProblemData setup;
    setup.m = row.m;
    setup.p = row.p;
    setup.nrows = row.nrows;
    const int32_t r = row.m + row.p + 1;
    for (int32_t i = 0; i < r; ++i) {
      setup.rhs.push_back(i + 0.5);
      setup.warm_duals.push_back(-i);
      setup.row_types.push_back(static_cast<int16_t>(i == 0 ? -7 : i % 3 + 1));
    }
    Environment env(setup);
    ASSERT_NE(env.get(), nullptr);
    EXPECT_EQ(env->G->max_m, r);
    EXPECT_EQ(env->G->max_n, row.max_n);
    if (row.max_nz > 0) {
      EXPECT_EQ(env->G->max_nz, row.max_nz);
    }
    EXPECT_EQ(support::broken_invariants(*env.get()), "");
    for (int32_t i = 0; i < r; ++i) {
      EXPECT_EQ(env->RHS[i], i + 0.5);
      EXPECT_EQ(env->u[i], -i);
      EXPECT_EQ(env->row_type[i], i == 0 ? -7 : i % 3 + 1);
      EXPECT_TRUE(env->row_range[i] == 1e30 && env->row_tag[i] == -1);
    }
    for (int32_t j = 0; j < row.max_n; ++j) {
      ASSERT_TRUE(env->col_lb[j] == 0.0 && env->col_ub[j] == 1e30);
      ASSERT_TRUE(env->col_tag[j] == -1 && env->acpdm_work[j] == 0);
    }
  }
}

TEST(SetUp, WithoutRoomForEntriesThereIsNoRecordAndNoText) {
  for (const int32_t nrows : {0, -1, -1000}) {
    ProblemData setup;
    setup.nrows = nrows;
    QUARN_env *env = nullptr;
    EXPECT_EQ(support::flushed_output([&] { env = support::set_up(setup); }), "");
    EXPECT_EQ(env, nullptr);
  }
}

TEST(Free, ReleasesTheSolverSideOnlyWhereThereIsSomething) {
  {
    Environment fresh;
    fresh->verbosity = 1;
  }
  EXPECT_EQ(solver().take_trace(), "");
  QUARN_env *env = support::set_up({});
  support::solve_once(env);
  save_Pb(env->Pb, env->Pb_save);
  double *values;
  int32_t count;
  QUARN_get_pointer_to_master_solution(env, &values, &count);
  QUARN_get_pointer_to_dual_slacks(env, &values, &count);
  solver().take_trace();
  QUARN_free(env);
  EXPECT_EQ(solver().take_trace(), "free_save free");
  EXPECT_EQ(env->Pb, nullptr);
  EXPECT_EQ(env->Pb_save, nullptr);
  std::free(env);
}

}  // namespace

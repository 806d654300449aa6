#include <gtest/gtest.h>

#include <memory>

#include "tests/support/allocation.h"
#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::changed_lines;
using support::dump;
using support::Environment;
using support::solver;

/// Every parameter and every state field away from its default.
Environment unusual_record() {
  support::ProblemData data;
  data.p = 1;
  data.option = 6;
  data.dual_lower = {-3, -4};
  data.dual_upper = {5, 6};
  data.rhs = {1, 2, 3, 4};
  data.row_types = {1, 2, 3, 1};
  static int user;
  data.user_data = &user;
  Environment env(data);
  const int32_t tags[] = {8, 9};
  support::add_columns(env.get(), {{{1, 1}, {3, 1}, {4, 9}}, {{2, 1}, {4, 5}}}, tags);
  solver().duals = [](const support::LoadedProblem &, double *u) { u[0] = 7, u[3] = 70; };
  solver().primal = [](const support::LoadedProblem &, double *x) {
    for (int32_t j = 0; j < 6; ++j) x[j] = j + 0.5;
  };
  support::solve_once(env.get());
  double *values;
  int32_t count;
  QUARN_get_pointer_to_master_solution(env.get(), &values, &count);
  QUARN_get_pointer_to_dual_slacks(env.get(), &values, &count);
  double next = 100.5;
  for (double *field :
       {&env->lambda_LB,    &env->lambda_UB,     &env->objective_LB,    &env->objective_UB,
        &env->delta,        &env->opt_tol,       &env->max_opt_tol,     &env->upperBnd,
        &env->lowerBnd,     &env->upperBnd_prev, &env->lowerBnd_actual, &env->degree_of_optimality,
        &env->IP_obj_value, &env->max_cputime,   &env->reduce_fraction, &env->reduce_gap,
        &env->rel_gap,      &env->rel_gap_prev,  &env->abs_gap,         &env->abs_gap_prev,
        &env->gap_ratio,    &env->cputime,       &env->cputime_oracle,  &env->cputime_RMP}) {
    *field = next++;
  }
  for (int32_t *field :
       {&env->ncuts, &env->ncols_aux_prev, &env->n_seeds, &env->max_number_columns,
        &env->max_outer_iterations, &env->last_reduce, &env->reduce_mode, &env->restart,
        &env->outer_iterations, &env->inner_iterations, &env->inner_iterations_ws}) {
    *field = static_cast<int32_t>(next++);
  }
  for (int16_t *field : {&env->WS_strategy, &env->WS_point_saved, &env->exp_BD, &env->change_bounds,
                         &env->oracle_status, &env->reliable_answer, &env->centrality_value,
                         &env->difficult_problem, &env->verbosity, &env->column_elimination}) {
    *field = static_cast<int16_t>(next++);
  }
  return env;
}

TEST(Copy, EverythingTravelsButTheRunItself) {
  Environment source = unusual_record();
  const std::string before = dump(*source.get());
  solver().take_trace();
  Environment copy = Environment::zero_filled();
  int32_t result = 0;
  EXPECT_EQ(
      support::flushed_output([&] { result = QUARN_copy_environment(source.get(), copy.get()); }),
      "");
  ASSERT_EQ(result, 1);
  EXPECT_EQ(solver().take_trace(), "save");
  EXPECT_EQ(dump(*source.get()), before);
  EXPECT_EQ(changed_lines(before, dump(*copy.get())),
            "Pb = none\nPb_save = point\nncols_last = 0\nG = 4 6 13 4 6 13\n"
            "dual_slacks = none\nupperBnd_prev = 0\nlowerBnd_actual = 0\n"
            "IP_obj_value = 1e+30\nn_seeds = 0\nlast_reduce = -1\n"
            "WS_point_saved = 0\nouter_iterations = 0\ninner_iterations = 0\n"
            "inner_iterations_ws = 0\ncputime = 0\ncputime_oracle = 0\ncputime_RMP = 0");
  EXPECT_EQ(copy->user_data, source->user_data);
  EXPECT_EQ(copy->matrix_changed, 1);
  EXPECT_EQ(support::broken_invariants(*copy.get()), "");
  // The column arrays keep the capacity of the source, values beyond the buffer's are zeros.
  EXPECT_EQ(support::block_size(copy->lambda), sizeof(double) * 1006);
  EXPECT_EQ(support::block_size(copy->col_lb), sizeof(double) * 1006);
  for (int32_t j = 0; j < 1006; ++j) {
    ASSERT_EQ(copy->lambda[j], j < 6 ? j + 0.5 : 0.0);
    ASSERT_EQ(copy->col_tag[j], source->col_tag[j]);
    ASSERT_TRUE(copy->acpdm_work[j] == 0 && copy->col_ub[j] == source->col_ub[j]);
  }
}

TEST(Copy, OfAFreshRecordHoldsNothingOfASolve) {
  for (const int32_t m : {0, 2}) {
    support::ProblemData data;
    data.m = m;
    Environment source(data), copy = Environment::zero_filled();
    ASSERT_EQ(QUARN_copy_environment(source.get(), copy.get()), 1);
    EXPECT_EQ(solver().take_trace(), "");
    EXPECT_TRUE(copy->u == nullptr && copy->lambda == nullptr && copy->Pb == nullptr);
    EXPECT_EQ(copy->Pb_save->holds_point, 0);
    EXPECT_EQ(copy->G->m, m + 1);
    EXPECT_EQ(copy->G->n, 2 * m);
  }
}

/// The buffer of a solution without columns has a length of its own, whatever is solved afterwards.
TEST(Copy, ReadsNoMoreThanTheSolutionThatWasFetched) {
  support::ProblemData data;
  data.m = 0;
  data.p = 1;
  Environment source(data), copy = Environment::zero_filled();
  support::solve_once(source.get());
  double *values;
  int32_t count;
  QUARN_get_pointer_to_full_master_solution(source.get(), &values, &count);
  EXPECT_EQ(count, 0);
  support::add_columns(source.get(), support::Columns(600, {{1, 1}}));
  support::solve_once(source.get());
  EXPECT_GT(source->lambda_length, 0) << "0 stands for a buffer of the caller's";
  EXPECT_LE(sizeof(double) * static_cast<size_t>(source->lambda_length),
            support::block_size(source->lambda));
  ASSERT_EQ(QUARN_copy_environment(source.get(), copy.get()), 1);
  for (int32_t j = 0; j < copy->lambda_length; ++j) ASSERT_EQ(copy->lambda[j], 0.0);
}

TEST(Copy, NoDestinationAndTheSourceItselfAreRefused) {
  Environment source = unusual_record();
  const std::string before = dump(*source.get());
  const int64_t blocks = support::live_blocks();
  EXPECT_EQ(QUARN_copy_environment(source.get(), nullptr), -1);
  EXPECT_EQ(QUARN_copy_environment(nullptr, source.get()), -1);
  EXPECT_EQ(QUARN_copy_environment(source.get(), source.get()), -1);
  EXPECT_EQ(dump(*source.get()), before);
  EXPECT_EQ(support::live_blocks(), blocks);
}

/// Both records are edited, solved and released in either order.
TEST(Copy, SourceAndCopyLiveApart) {
  for (const bool source_first : {true, false}) {
    auto source = std::make_unique<Environment>(unusual_record());
    auto copy = std::make_unique<Environment>(Environment::zero_filled());
    ASSERT_EQ(QUARN_copy_environment(source->get(), copy->get()), 1);
    (source_first ? source : copy).reset();
    QUARN_env *left = (source_first ? copy : source)->get();
    left->verbosity = 0;
    left->max_number_columns = 1000;
    support::add_columns(left, support::Columns(2000, {{1, 1}, {4, 2}}));
    left->WS_strategy = -1;
    left->reliable_answer = 1;
    left->max_outer_iterations = left->outer_iterations + 2;
    left->max_cputime = 1e9;
    left->objective_LB = -1e30;
    int16_t code = -1;
    support::flushed_output([&] { code = QUARN_solve_MP_core(left, nullptr); });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(support::broken_invariants(*left), "");
  }
}

TEST(ColumnCopies, WithoutColumnsOrEntriesAreEmptyAndReleasable) {
  support::ProblemData data;
  data.m = 0;
  data.p = 3;
  Environment env(data);
  QUARN_SMatrix_CW part = {}, full = {}, view = {};
  QUARN_copy_master_columns(env.get(), &part);
  QUARN_copy_full_master_columns(env.get(), &full);
  for (QUARN_SMatrix_CW *copy : {&part, &full}) {
    EXPECT_TRUE(copy->m == 4 && copy->n == 0 && copy->nz == 0);
    QUARN_free_SMatrix_CW(copy);
  }
  QUARN_get_pointer_to_master_columns(env.get(), nullptr);
  QUARN_get_pointer_to_master_columns(nullptr, &view);
  EXPECT_EQ(view.elt, nullptr);
}

}  // namespace

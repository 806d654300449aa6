/**
 * Every public operation with its k-th allocation failing, k = 1, 2, ... until it succeeds: the
 * documented failure value, nothing leaked, the record releasable, and unchanged where promised.
 */
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "tests/support/allocation.h"
#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Batch;
using support::Columns;
using support::Environment;
using support::Failing;
using support::LoadedProblem;
using support::RowBatch;
using support::solver;

constexpr int64_t kMostAllocations = 5000;  // far above what any operation makes

/// Runs `attempt` with each of its allocations failing in turn, alone and with all later ones.
/// `attempt(failed)` does everything from building to releasing: it arms the failure through `arm`
/// just before the operation and gets told by `arm.disarm()` whether one struck.
struct Arm {
  int64_t k;
  Failing which;
  void operator()() const { support::fail_allocation(k, which); }
  bool disarm() const {
    const bool failed = support::allocation_failed();
    support::fail_allocation(0);
    return failed;
  }
};

template <typename Attempt>
void sweep(const char *what, Attempt attempt) {
  SCOPED_TRACE(what);
  for (const Failing which : {Failing::kOnlyThat, Failing::kThatAndAllLater}) {
    int64_t k = 1;
    for (; k < kMostAllocations; ++k) {
      SCOPED_TRACE(testing::Message() << "allocation " << k);
      const int64_t blocks = support::live_blocks();
      const bool failed = attempt(Arm{k, which});
      EXPECT_EQ(support::live_blocks(), blocks) << "leaked";
      if (!failed || testing::Test::HasFailure()) break;
    }
    ASSERT_LT(k, kMostAllocations);
  }
}

/// A solved record of two linking rows and one further row whose every growth lies one column away.
Environment full_record() {
  support::ProblemData data;
  data.p = 1;
  Environment env(data);
  env->column_elimination = 0;
  support::add_columns(env.get(), Columns(44, {{1, 1}, {2, 1}, {4, 9}}));
  env->column_elimination = 1;
  EXPECT_EQ(QUARN_reallocate_SMatrix_CW(env->G, env->G->n, env->G->nz), 0);
  support::solve_once(env.get());
  return env;
}

enum class After { kUnchanged, kGrown, kReleasable };

/// One operation on a record: its value when memory fails and what is promised of the record then.
struct Edit {
  const char *what;
  std::function<int32_t(QUARN_env *)> run;
  int32_t failure, success;
  After after;
};

/// The dump without what growth may change: capacities and the lengths that follow them.
std::string without_capacities(const QUARN_env &env) {
  std::string text = support::dump(env), kept;
  for (size_t start = 0; start < text.size(); start = text.find('\n', start) + 1) {
    const std::string line = text.substr(start, text.find('\n', start) - start);
    const bool capacities = line.rfind("G = ", 0) == 0, last = line.rfind("ncols_last", 0) == 0;
    if (!capacities && !last) kept += line + "\n";
  }
  return kept;
}

TEST(FailingAllocations, EditsReportThemAndKeepTheRecord) {
  static const double values[] = {1, 2, 3, 4};
  static const int32_t types[] = {1, 2}, tags[] = {5, 6}, keep[] = {1, 5, 9}, rows[] = {1, 2, 3};
  const Batch batch(4, {{{1, 1}, {3, 1}, {4, 2}}, {{2, 1}}});
  const RowBatch cuts(44, {{{1, 1}, {40, 2}}, {}});
  const Edit edits[] = {
      {"add columns", [&](QUARN_env *env) { return QUARN_add_columns(env, batch.get(), tags); }, -1,
       2, After::kGrown},
      {"add dense columns",
       [&](QUARN_env *env) { return QUARN_add_dense_columns(env, values, tags, 4, 1); }, -1, 1,
       After::kGrown},
      {"add auxiliary columns",
       [&](QUARN_env *env) { return QUARN_add_auxiliary_columns(env, batch.get()); }, -1, 1,
       After::kGrown},
      {"add dense auxiliary columns",
       [&](QUARN_env *env) { return QUARN_add_auxiliary_columns_dense(env, values, 4, 1); }, -1, 1,
       After::kGrown},
      {"bound arrays", [&](QUARN_env *env) { return QUARN_reset_lambda_bounds(env, 3000); }, -1, 0,
       After::kUnchanged},
      {"remove columns", [&](QUARN_env *env) { return QUARN_remove_columns(env, keep, 3); }, -1, 1,
       After::kUnchanged},
      {"add rows",
       [&](QUARN_env *env) {
         return QUARN_add_rows(env, cuts.get(), values, types, values, values, tags);
       },
       -1, 1, After::kUnchanged},
      {"remove rows", [&](QUARN_env *env) { return QUARN_remove_rows(env, rows, 3, 1, 1); }, -1, 1,
       After::kUnchanged},
  };
  for (const Edit &edit : edits) {
    sweep(edit.what, [&](const Arm &arm) {
      Environment env = full_record();
      const std::string before = support::dump(*env.get());
      const std::string kept = without_capacities(*env.get());
      int32_t result = -99;
      bool failed = false;
      support::flushed_output([&] {
        arm();
        result = edit.run(env.get());
        failed = arm.disarm();
      });
      EXPECT_EQ(result, failed ? edit.failure : edit.success);
      if (failed && edit.after == After::kUnchanged) {
        EXPECT_EQ(support::dump(*env.get()), before);
      }
      if (failed && edit.after == After::kGrown) {
        EXPECT_EQ(without_capacities(*env.get()), kept);
      }
      EXPECT_EQ(support::broken_invariants(*env.get()), "");
      // The record is as good as any: the same edit succeeds now.
      if (failed) {
        support::flushed_output([&] { result = edit.run(env.get()); });
        EXPECT_EQ(result, edit.success);
        EXPECT_EQ(support::broken_invariants(*env.get()), "");
      }
      return failed;
    });
  }
}

TEST(FailingAllocations, SetUpReturnsNullWithoutAWord) {
  support::ProblemData data;
  data.warm_duals = {1, 2, 3};
  sweep("set up", [&](const Arm &arm) {
    QUARN_env *env = nullptr;
    bool failed = false;
    const std::string text = support::flushed_output([&] {
      arm();
      env = support::set_up(data);
      failed = arm.disarm();
    });
    EXPECT_EQ(text, "");
    EXPECT_EQ(env == nullptr, failed);
    if (env != nullptr) QUARN_free(env);
    std::free(env);
    return failed;
  });
}

TEST(FailingAllocations, ACopyInAZeroFilledRecordCanBeReleased) {
  sweep("copy", [&](const Arm &arm) {
    Environment source = full_record();
    double *values;
    int32_t count;
    QUARN_get_pointer_to_master_solution(source.get(), &values, &count);
    const std::string before = support::dump(*source.get());
    Environment copy = Environment::zero_filled();
    arm();
    const int32_t result = QUARN_copy_environment(source.get(), copy.get());
    const bool failed = arm.disarm();
    EXPECT_EQ(result, failed ? -1 : 1);
    EXPECT_EQ(support::dump(*source.get()), before);
    return failed;
  });
}

TEST(FailingAllocations, GettersHandOutNothing) {
  using Getter = void (*)(QUARN_env *, double **, int32_t *);
  const struct {
    const char *what;
    Getter get;
    const char *text;
  } rows[] = {
      {"master solution", QUARN_get_pointer_to_master_solution,
       "\n### Error on QUARN_get_pointer_to_master_solution(): memory overflow!\n"},
      {"full master solution", QUARN_get_pointer_to_full_master_solution, ""},
      {"dual slacks", QUARN_get_pointer_to_dual_slacks,
       "\n### Error on QUARN_get_pointer_to_dual_slacks(): memory overflow!\n"},
  };
  for (const auto &row : rows) {
    sweep(row.what, [&](const Arm &arm) {
      Environment env = full_record();
      double *values = nullptr;
      int32_t count = -1;
      row.get(env.get(), &values, &count);  // an old buffer to release
      bool failed = false;
      const std::string text = support::flushed_output([&] {
        arm();
        row.get(env.get(), &values, &count);
        failed = arm.disarm();
      });
      EXPECT_EQ(values == nullptr, failed);
      EXPECT_EQ(count == 0, failed);
      EXPECT_EQ(text, failed ? row.text : "");
      if (failed) {
        EXPECT_TRUE(env->lambda == nullptr || env->dual_slacks == nullptr);
      }
      return failed;
    });
  }
}

TEST(FailingAllocations, MatrixRecordsStayReleasable) {
  const Batch source(3, {{{1, 1}, {3, 2}}, {{2, 5}}});
  const RowBatch row_source(2, {{{1, 1}}, {{2, 5}}, {{1, 2}}});
  const struct {
    const char *what;
    std::function<int32_t(QUARN_SMatrix_CW *, QUARN_SMatrix_RW *)> run;
    int32_t success;
  } rows[] = {
      {"column-wise", [](auto *A, auto *) { return QUARN_set_SMatrix_CW(A, 3, 4, 5); }, 0},
      {"row-wise", [](auto *, auto *B) { return QUARN_set_SMatrix_RW(B, 3, 4, 5); }, 0},
      {"to rows",
       [&](auto *, auto *B) { return QUARN_set_SMatrix_RW_from_CW(source.get(), B, 3, 2, 3); }, 1},
      {"to columns",
       [&](auto *A, auto *) { return QUARN_set_SMatrix_CW_from_RW(A, row_source.get(), 3, 2, 3); },
       1},
  };
  for (const auto &row : rows) {
    sweep(row.what, [&](const Arm &arm) {
      QUARN_SMatrix_CW A = {};
      QUARN_SMatrix_RW B = {};
      arm();
      const int32_t result = row.run(&A, &B);
      const bool failed = arm.disarm();
      EXPECT_EQ(result, failed ? -1 : row.success);
      QUARN_free_SMatrix_CW(&A);
      QUARN_free_SMatrix_RW(&B);
      return failed;
    });
  }
  using Resize = int32_t (*)(QUARN_SMatrix_CW *);
  for (const Resize resize :
       {Resize{[](QUARN_SMatrix_CW *A) { return QUARN_reset_SMatrix_CW(A, 0, 50, 60); }},
        Resize{[](QUARN_SMatrix_CW *A) { return QUARN_reallocate_SMatrix_CW(A, 2, 2); }}}) {
    sweep("resizing", [&](const Arm &arm) {
      QUARN_SMatrix_CW A = {};
      EXPECT_EQ(QUARN_set_SMatrix_CW(&A, 3, 4, 5), 0);
      arm();
      const int32_t result = resize(&A);
      const bool failed = arm.disarm();
      EXPECT_EQ(result, failed ? -1 : 0);
      QUARN_free_SMatrix_CW(&A);
      return failed;
    });
  }
  sweep("resizing rows", [&](const Arm &arm) {
    QUARN_SMatrix_RW B = {};
    EXPECT_EQ(QUARN_set_SMatrix_RW(&B, 3, 4, 5), 0);
    arm();
    const int32_t result = QUARN_reset_SMatrix_RW(&B, 50, 4, 60);
    const bool failed = arm.disarm();
    EXPECT_EQ(result, failed ? -1 : 0);
    QUARN_free_SMatrix_RW(&B);
    return failed;
  });
  for (const auto copy : {QUARN_copy_master_columns, QUARN_copy_full_master_columns}) {
    sweep("column copies", [&](const Arm &arm) {
      Environment env = full_record();
      QUARN_SMatrix_CW out = {};
      arm();
      copy(env.get(), &out);
      const bool failed = arm.disarm();
      EXPECT_EQ(out.n == 0, failed);
      QUARN_free_SMatrix_CW(&out);
      return failed;
    });
  }
}

TEST(FailingAllocations, ColumnEliminationLeavesTheMatrix) {
  std::vector<int32_t> results;
  sweep("column elimination", [&](const Arm &arm) {
    Environment env = full_record();
    solver().slacks = [](const LoadedProblem &problem, double *z) {
      for (int32_t j = 0; j < problem.n; ++j) z[j] = j;
    };
    const std::string matrix = support::to_text({env->G->elt, env->G->elt + env->G->nz});
    int32_t result = -99;
    bool failed = false;
    const std::string text = support::flushed_output([&] {
      arm();
      result = QUARN_reduce_coefficient_matrix(env.get(), 0, 43);
      failed = arm.disarm();
    });
    if (failed) {
      results.push_back(result);
      EXPECT_EQ(text.find("was reduced"), std::string::npos);
      EXPECT_EQ(support::to_text({env->G->elt, env->G->elt + env->G->nz}), matrix);
      EXPECT_NE(env->Pb, nullptr);
    } else {
      EXPECT_EQ(result, 1);
    }
    EXPECT_EQ(support::broken_invariants(*env.get()), "");
    return failed;
  });
  // The slacks, the storage of the queue, then the flags, the list and what the removal makes.
  ASSERT_GT(results.size(), 10U);
  for (size_t k = 0; k < results.size() / 2; ++k) EXPECT_EQ(results[k], k == 1 ? -1 : 0) << k;
}

TEST(FailingAllocations, RoundingRestoresTheRecord) {
  sweep("rounding", [&](const Arm &arm) {
    Environment env = full_record();
    env->opt_tol = 5;
    solver().primal = [](const LoadedProblem &, double *x) { x[7] = 0.95; };
    const std::string rhs = support::to_text({env->RHS, env->RHS + 4});
    int32_t result = -99;
    bool failed = false;
    support::flushed_output([&] {
      arm();
      result = IQUARN_residual_rounding(env.get(), nullptr, 0.9, 1);
      failed = arm.disarm();
    });
    EXPECT_TRUE(failed ? result <= 0 || result == 1 : result == 1) << result;
    EXPECT_EQ(env->IP_cols != nullptr, result == 1);
    EXPECT_EQ(env->IP_lambda != nullptr, result == 1);
    EXPECT_EQ(env->IP_obj_value, result == 1 ? 9 : 1e30);
    EXPECT_EQ(support::to_text({env->RHS, env->RHS + 4}), rhs);
    EXPECT_EQ(env->WS_strategy, -1);
    EXPECT_EQ(support::broken_invariants(*env.get()), "");
    return failed;
  });
}

/// A whole run: whatever fails inside, the driver comes back with one of its codes.
TEST(FailingAllocations, DriversComeBackWithACode) {
  support::Oracle oracle = [](double *, double *, QUARN_env *env) {
    const Batch batch(4, {{{1, 1}, {4, double(env->outer_iterations)}}});
    const int32_t added = QUARN_add_columns(env, batch.get(), nullptr);
    return static_cast<int16_t>(added == 1 ? 1 : -1);
  };
  for (const bool integer : {false, true}) {
    sweep(integer ? "integer driver" : "driver", [&](const Arm &arm) {
      Environment env = full_record();
      env->user_data = &oracle;
      std::free(env->u);
      env->u = nullptr;
      env->max_outer_iterations = 6;
      env->max_number_columns = 20;
      solver().primal = [](const LoadedProblem &, double *x) { x[7] = 0.95; };
      solver().duals = [](const LoadedProblem &problem, double *u) {
        u[0] = 1, u[problem.m - 1] = 50;
      };
      int32_t code = -99;
      bool failed = false;
      support::flushed_output([&] {
        arm();
        code = integer ? IQUARN_solve_MP(env.get(), support::call_oracle, 1)
                       : QUARN_solve_MP(env.get(), support::call_oracle);
        failed = arm.disarm();
      });
      EXPECT_TRUE(code == 0 || code == 2 || code == 3 || code == 6) << code;
      if (!failed) {
        EXPECT_EQ(code, 6);
      }
      EXPECT_EQ(support::broken_invariants(*env.get()), "");
      return failed;
    });
  }
}

}  // namespace

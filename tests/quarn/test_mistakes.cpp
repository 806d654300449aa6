/// Each mistake of a caller is named in one sentence, on the sink that he has set, and nowhere
/// else; the page on mistakes shows that sentence.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <string>

#include "quarn/quarn.h"
#include "tests/campaign/masters.h"
#include "tests/support/captured_output.h"
#include "tests/support/mistakes_page.h"
#include "tests/support/records.h"

namespace {

constexpr int32_t kAnyStatus = 99;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

using Record = std::unique_ptr<QUARN_env, void (*)(QUARN_env *)>;

struct Caller {
  std::string text;
  std::function<int16_t(double *ub_term, double *lb_term, QUARN_env *env)> price;

  static void keep(const char *text, void *caller) { static_cast<Caller *>(caller)->text += text; }
  static int16_t ask(double *ub_term, double *lb_term, QUARN_env *env, void *caller) {
    return static_cast<Caller *>(caller)->price(ub_term, lb_term, env);
  }
};

int32_t add_first_column(QUARN_env *env) {
  const double column[] = {1.0, 1.0, 1.0};
  return QUARN_add_dense_columns(env, column, nullptr, 3, 1);
}

/// One linking row, >= 4, one further row, <= 10, and a column of cost 1 with 1 in both.
Record make(Caller *caller) {
  const double rhs[] = {4.0, 10.0, 0.0}, lower[] = {0.0}, upper[] = {1e3};
  const int16_t types[] = {2, 3, 1};
  Record env(QUARN_set_data(1, 1, 3, 0, 100, nullptr, rhs, types, lower, upper, caller),
             QUARN_destroy);
  QUARN_set_log(env.get(), QUARN_log_nothing, nullptr);
  EXPECT_EQ(add_first_column(env.get()), 1);
  return env;
}

/// Adds a column with an entry in this row, from 1, beside its cost.
int32_t add_column(QUARN_env *env, int32_t row, double value) {
  double elt[] = {value, 1.0};
  int32_t rw[] = {row, 3}, start[] = {1, 3};
  const QUARN_SMatrix_CW batch = {3, 1, 2, 3, 1, 2, elt, rw, start, nullptr, nullptr};
  return QUARN_add_columns(env, &batch, nullptr);
}

/// Adds a row with an entry in the first column and this right-hand side.
int32_t add_row(QUARN_env *env, double value, double rhs) {
  int32_t cl[] = {1}, start[] = {1, 2};
  const QUARN_SMatrix_RW rows = {1, 1, 1, 1, 1, 1, &value, start, cl, nullptr, nullptr};
  const int32_t type = 2;
  const double lower = 0.0, upper = 1e3;
  return QUARN_add_rows(env, &rows, &rhs, &type, &lower, &upper, nullptr);
}

/// Solves with an oracle that answers `status` with this term and adds nothing.
int16_t solve(QUARN_env *env, double lb_term, int16_t status = 1) {
  static_cast<Caller *>(env->user_data)->price = [=](double *, double *term, QUARN_env *) {
    *term = lb_term;
    return status;
  };
  return QUARN_solve_MP(env, Caller::ask);
}

/// In a sentence ~ stands for a number that the solver's last digits show in.
const struct Case {
  const char *mistake;
  const char *sentence;
  int32_t result;
  std::function<int32_t(QUARN_env *)> make;
} kMistakes[] = {
    {"no row", "QUARN_add_columns: column 1 has an entry in row 7, the last row is 3", -1,
     [](QUARN_env *env) { return add_column(env, 7, 1.0); }},
    {"not a number", "QUARN_add_columns: the entry of column 1 in row 2 is nan", -1,
     [](QUARN_env *env) { return add_column(env, 2, kNan); }},
    {"not a number, dense",
     "QUARN_add_dense_columns: the entry of column 1 in row 3 is inf, the last row is 3", -1,
     [](QUARN_env *env) {
       const double column[] = {1.0, 1.0, INFINITY};
       return QUARN_add_dense_columns(env, column, nullptr, 3, 1);
     }},
    {"column twice",
     "QUARN_add_columns: column 1 is there already, as generated column 0 from 0, no dearer", 0,
     [](QUARN_env *env) { return add_first_column(env); }},
    {"row of numbers that are none", "QUARN_add_rows: the right-hand side of row 1 is not a number",
     -1, [](QUARN_env *env) { return add_row(env, 1.0, kNan); }},
    {"row with no column", "QUARN_add_rows: the starts are missing, or do not begin at 1", -1,
     [](QUARN_env *env) {
       const QUARN_SMatrix_RW rows = {1,       1,       1,       1,       1,      1,
                                      nullptr, nullptr, nullptr, nullptr, nullptr};
       const double number = 0.0;
       const int32_t type = 2;
       return QUARN_add_rows(env, &rows, &number, &type, &number, &number, nullptr);
     }},
    {"no column to keep", "QUARN_remove_columns: there is no column 4, they are 0 to 0", -1,
     [](QUARN_env *env) {
       const int32_t keep[] = {4};
       return QUARN_remove_columns(env, keep, 1);
     }},
    {"row kept twice", "QUARN_remove_rows: row 0 is named twice", -1,
     [](QUARN_env *env) {
       const int32_t keep[] = {0, 0, 2};
       return QUARN_remove_rows(env, keep, 3, 1, 1);
     }},
    {"oracle gives up", "iteration 1: the oracle returned -4, which ends the run", 2,
     [](QUARN_env *env) { return solve(env, 0.0, -4); }},
    {"oracle returns nothing",
     "iteration ~: the last 3 answers added no column and left lb_term at 0, the gap at 2",
     kAnyStatus, [](QUARN_env *env) { return solve(env, 0.0, 0); }},
    {"oracle proves nothing",
     "iteration ~: the last 3 answers brought only what is there, such as generated column 0 from "
     "0, and left the gap at ~",
     kAnyStatus,
     [](QUARN_env *env) {
       static_cast<Caller *>(env->user_data)->price = [](double *, double *term, QUARN_env *known) {
         *term = -1.0;
         EXPECT_EQ(add_first_column(known), 0);
         return int16_t{1};
       };
       return QUARN_solve_MP(env, Caller::ask);
     }},
    {"oracle returns nothing after what is there",
     "iteration ~: the last 3 answers added no column and left lb_term at 0, the gap at 2",
     kAnyStatus,
     [](QUARN_env *env) {
       static_cast<Caller *>(env->user_data)->price = [](double *, double *, QUARN_env *known) {
         if (known->outer_iterations == 1) add_first_column(known);
         return int16_t{0};
       };
       return QUARN_solve_MP(env, Caller::ask);
     }},
    {"bound not a number", "iteration 1: the oracle's lb_term is not a number", kAnyStatus,
     [](QUARN_env *env) { return solve(env, kNan); }},
    {"bound contradicts", "iteration ~: the lower bound ~ contradicts the upper bound ~",
     kAnyStatus,
     [](QUARN_env *env) {
       env->max_outer_iterations = 3;
       return solve(env, 50.0);
     }},
    {"infeasible linking row",
     "the row of u[0] is missed by ~: no columns satisfy it, or its dual's limits cut", 5,
     [](QUARN_env *env) {
       QUARN_remove_columns(env, nullptr, 0);
       return solve(env, 0.0);
     }},
    {"infeasible further row", "no columns satisfy the rows of u[1]", 3,
     [](QUARN_env *env) {
       env->RHS[1] = -1.0;
       return solve(env, 0.0);
     }},
    {"unbounded", "the restricted master is unbounded along generated column 1 from 0", 3,
     [](QUARN_env *env) {
       const double column[] = {1.0, 0.0, -1.0};
       QUARN_add_dense_columns(env, column, nullptr, 3, 1);
       return solve(env, 0.0);
     }},
};

TEST(Mistakes, AreNamedOnTheSinkOfTheCaller) {
  for (const Case &row : kMistakes) {
    SCOPED_TRACE(row.mistake);
    Caller caller;
    const Record env = make(&caller);
    QUARN_set_log(env.get(), Caller::keep, &caller);
    const int32_t given = row.make(env.get());
    EXPECT_TRUE(given == row.result || row.result == kAnyStatus) << given;
    EXPECT_TRUE(support::is_said(row.sentence, caller.text)) << caller.text;
    EXPECT_TRUE(support::is_on_mistakes_page(row.sentence));

    const Record silent = make(&caller);
    QUARN_set_log(silent.get(), nullptr, nullptr);
    const std::string shown = support::flushed_output([&] { row.make(silent.get()); });
    EXPECT_FALSE(support::is_said(row.sentence, shown)) << shown;
  }
}

/// Bounds that cross are the oracle's mistake only where its answer proved the lower one.
TEST(Mistakes, ABoundThatTheCallerSetIsNoneOfTheOracle) {
  Caller caller;
  const Record env = make(&caller);
  QUARN_set_log(env.get(), Caller::keep, &caller);
  QUARN_set_lowerBnd(env.get(), 50.0);
  solve(env.get(), 0.0);
  EXPECT_EQ(caller.text.find("contradicts"), std::string::npos) << caller.text;
}

/// The text of a run without a mistake: its oracle is exact, and offers again what is there. Half
/// of them round, where residual problems need not have a solution.
std::string text_of_ordinary_run(uint32_t seed, bool has_sink) {
  support::Random random(seed);
  campaign::Optimum optimum;
  const bool rounds = seed % 2 == 0;
  const campaign::Master master = rounds ? campaign::draw_decomposition(random, &optimum)
                                         : campaign::draw_master(random, &optimum);
  campaign::Pricer pricer(master, random.integer(1, 20));
  support::Oracle oracle = [&](double *, double *lb_term, QUARN_env *env) {
    const support::Columns known = {support::columns_of(*env->G).back()};
    const int32_t last = env->G->n - env->ncols_aux - 1;
    const int16_t status = pricer.price(env, lb_term);
    if (last < 0) return status;
    QUARN_add_columns(env, support::Batch(env->G->m, known).get(), env->col_tag + last);
    return status;
  };
  const auto strategy = static_cast<int16_t>(static_cast<int>(seed / 2 % 4) - 2);
  const support::Environment env = campaign::make_record(master, &oracle, strategy, random);
  Caller caller;
  if (has_sink) QUARN_set_log(env.get(), Caller::keep, &caller);
  std::srand(1);
  int32_t status = 0;
  const std::string shown = support::flushed_output([&] {
    status = rounds ? IQUARN_solve_MP(env.get(), support::call_oracle, 1)
                    : QUARN_solve_MP(env.get(), support::call_oracle);
  });
  // A box that excludes the duals is a mistake.
  return status != 0 ? "" : support::without_times(has_sink ? caller.text : shown);
}

TEST(Mistakes, OrdinaryRunsHaveTheTextOfStandardOutput) {
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    ASSERT_EQ(text_of_ordinary_run(seed, true), text_of_ordinary_run(seed, false)) << seed;
  }
}

}  // namespace

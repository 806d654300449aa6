#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Environment;
using support::flushed_output;
using support::LoadedProblem;
using support::Oracle;
using support::solver;

/// One linking row, one further row; right-hand sides 1 and 100, so that the dual value of an RMP
/// with duals (a, b, value) is a + 100 b.
support::ProblemData tiny(Oracle *oracle) {
  support::ProblemData data;
  data.m = data.p = 1;
  data.rhs = {1, 100, 7};
  data.user_data = oracle;
  return data;
}

void script_duals(double a, double b, double value) {
  solver().duals = [=](const LoadedProblem &problem, double *u) {
    u[0] = a, u[1] = b, u[problem.m - 1] = value;
  };
}

int16_t run_loop(QUARN_env *env, std::string *text = nullptr) {
  int16_t code = -99;
  const QUARN_oracle oracle = env->user_data != nullptr ? support::call_oracle : nullptr;
  const std::string output = flushed_output([&] { code = QUARN_solve_MP_core(env, oracle); });
  if (text != nullptr) *text = output;
  return code;
}

/// An oracle that leaves a mark in the solver's trace.
Oracle marking(int16_t status) {
  return [status](double *, double *, QUARN_env *) {
    solver().trace.push_back("oracle");
    return status;
  };
}

const std::string kSolve = "load preproc solve(0,5,0) duals";

TEST(OuterLoop, EventsComeInOrder) {
  const std::string fail = "load preproc solve(0,5,0)";
  const struct {
    const char *what;
    bool warm, oracle;
    int16_t status;
    int32_t limit, solver_code;
    double cputime_limit, rel_gap;
    std::string trace;
    int16_t code;
    int32_t iterations;
  } rows[] = {
      {"cold", false, true, 1, 2, 0, 1e5, 10, kSolve + " oracle free " + kSolve + " oracle", 0, 2},
      {"warm", true, true, 1, 1, 0, 1e5, 10, "oracle " + kSolve + " oracle", 0, 1},
      {"warm, no oracle", true, false, 0, 1, 0, 1e5, 10, kSolve, 0, 1},
      {"no oracle", false, false, 0, 2, 0, 1e5, 10, kSolve + " free " + kSolve, 0, 2},
      {"solver fails", false, true, 1, 2, -1, 1e5, 10, fail, 3, 1},
      {"oracle fails", false, true, -5, 2, 0, 1e5, 10, kSolve + " oracle", 2, 1},
      {"oracle fails on the warm duals", true, true, -5, 2, 0, 1e5, 10, "oracle", 2, 0},
      {"no iterations left", false, true, 1, 0, 0, 1e5, 10, "", 0, 0},
      {"none left, warm", true, true, 1, 0, 0, 1e5, 10, "oracle", 0, 0},
      {"no time left", false, true, 1, 9, 0, 0, 10, "", 0, 0},
      {"gap closed", false, true, 1, 9, 0, 1e5, 1e-6, "", 0, 0},
      {"gap not a number", false, true, 1, 9, 0, 1e5, NAN, "", 0, 0},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    Oracle oracle = marking(row.status);
    support::ProblemData data = tiny(row.oracle ? &oracle : nullptr);
    if (row.warm) data.warm_duals = {2, 3, 4};
    data.max_outer_iterations = row.limit;
    Environment env(data);
    env->WS_strategy = -2;
    env->max_cputime = row.cputime_limit;
    env->rel_gap = row.rel_gap;
    env->degree_of_optimality = 1e-9;  // every tolerance ends at its ceiling
    env->max_opt_tol = 5;
    solver().trace.clear();
    script_duals(0, 0, 1e30);
    solver().usual.code = row.solver_code;
    std::string text;
    EXPECT_EQ(run_loop(env.get(), &text), row.code);
    EXPECT_EQ(solver().take_trace(), row.trace);
    EXPECT_EQ(env->outer_iterations, row.iterations);
    EXPECT_EQ(text.substr(0, 37) == "\nStarting with a warm dual solution!\n",
              row.warm && row.oracle);
    EXPECT_NE(env->u, nullptr);
    if (row.oracle && row.trace.find("oracle") != std::string::npos) {
      EXPECT_EQ(env->oracle_status, row.status);
    }
  }
}

struct Answer {
  int16_t status;
  bool write;  // or leave the terms alone
  double ub_term, lb_term;
};
struct Solve {
  double a, b, value;
};

/// The loop on plain numbers, without column elimination. `s` is a record used for its scalars.
class LoopModel {
 public:
  QUARN_env s = {};
  std::vector<Answer> answers;
  std::vector<Solve> solves;
  std::vector<std::vector<double>> seen;  // what the oracle finds at each call

  int32_t run(bool warm, const double *duals, bool given_oracle) {
    if (warm && given_oracle) {
      ask();
      if (s.oracle_status < 0) return 2;
      dual_value_ = duals[0];
      s.lowerBnd = dual_value_ + lb_term_;
      if (s.reliable_answer == 1 && s.lowerBnd > s.objective_UB) return 7;
    }
    if (s.outer_iterations >= s.max_outer_iterations) return 0;
    for (int32_t k = 1;; ++k) {
      if (s.reliable_answer > 0 && !(s.rel_gap > s.delta)) return 0;
      ++s.outer_iterations;
      s.upperBnd_prev = s.upperBnd;
      const Solve &solve = solves[next_solve_++];
      dual_value_ = solve.a + 100 * solve.b;
      primal_value_ = solve.value;
      if (!after_rmp()) return 7;
      gaps(k);
      if (given_oracle) {
        ask();
        if (s.oracle_status < 0) return 2;
        if (s.oracle_status > 0) after_answer();
        if (s.objective_UB - lb() < 1e-10 * s.objective_UB && s.reliable_answer == 1) return 7;
        gaps(k);
      }
      if (s.outer_iterations >= s.max_outer_iterations) return 0;
    }
  }

 private:
  double lb() const { return dual_value_ + lb_term_; }
  double ub() const { return primal_value_ + ub_term_; }
  void gaps(int32_t k) {
    flushed_output([&] { QUARN_calculate_gaps(&s, &s.lowerBnd, &s.upperBnd, lb(), ub(), k); });
  }
  void ask() {
    seen.push_back({s.lowerBnd, s.upperBnd, s.upperBnd_prev, s.lowerBnd_actual, s.rel_gap,
                    double(s.outer_iterations)});
    const Answer &answer = answers[next_answer_++];
    if (answer.write) ub_term_ = answer.ub_term, lb_term_ = answer.lb_term;
    s.oracle_status = answer.status;
  }
  bool after_rmp() {
    if (s.change_bounds == 2) {
      s.upperBnd = ub();
    } else if (s.oracle_status > 0) {
      s.upperBnd = std::min(s.upperBnd, ub());
    }
    return s.oracle_status <= 0 ||
           !(s.upperBnd - s.objective_LB < -1e-10 * std::fabs(s.objective_LB));
  }
  void after_answer() {
    const double old = s.lowerBnd;
    s.lowerBnd_actual = old;
    if (s.change_bounds == 2) {
      s.lowerBnd = lb();
    } else if (s.change_bounds == 1 && old - lb() > 1e-10 * old) {
      s.lowerBnd = std::max(0.999 * old, lb());
    } else {
      s.lowerBnd = std::max(old, lb());
    }
    if (s.reliable_answer == 0) {
      const double q = s.rel_gap / s.degree_of_optimality, size = std::fabs(s.upperBnd) + 1e-10;
      if ((s.upperBnd - s.lowerBnd) / size < q) s.lowerBnd = s.upperBnd - q * size;
    }
    if (s.change_bounds == 2) {
      s.upperBnd = ub();
    } else if (ub_term_ > 1e-10) {
      s.upperBnd = std::max(s.upperBnd, ub());
    } else {
      s.upperBnd = std::min(s.upperBnd, primal_value_);
    }
  }

  double dual_value_ = 0, primal_value_ = 0, ub_term_ = 0, lb_term_ = 0;
  size_t next_answer_ = 0, next_solve_ = 0;
};

TEST(OuterLoop, BoundsFollowTheModelUnderRandomOracles) {
  support::Random random(81);
  int codes[8] = {};
  for (int run = 0; run < 2000; ++run) {
    LoopModel model;
    for (int k = 0; k < 12; ++k) {
      const bool fails = random.chance(0.01);
      model.answers.push_back({static_cast<int16_t>(fails ? -1 : random.integer(0, 3)),
                               random.chance(0.8), random.one_of<double>({0, 5, -5, 1e-11}),
                               random.real(-20, 3)});
      model.solves.push_back(
          {random.real(-40, 40) + k, random.real(-0.2, 0.2), random.real(-10, 100) - 3 * k});
    }
    size_t asked = 0, solved = 0;
    std::vector<std::vector<double>> seen;
    Oracle oracle = [&](double *ub_term, double *lb_term, QUARN_env *e) {
      seen.push_back({e->lowerBnd, e->upperBnd, e->upperBnd_prev, e->lowerBnd_actual, e->rel_gap,
                      double(e->outer_iterations)});
      const Answer &answer = model.answers[asked++];
      if (answer.write) *ub_term = answer.ub_term, *lb_term = answer.lb_term;
      return answer.status;
    };
    const bool given_oracle = random.chance(0.95), warm = random.chance(0.4);
    support::ProblemData data = tiny(given_oracle ? &oracle : nullptr);
    if (warm) data.warm_duals = {random.real(-30, 30), 5, 5};
    data.max_outer_iterations = random.integer(1, 10);
    Environment env(data);
    env->WS_strategy = -2;
    env->change_bounds = static_cast<int16_t>(random.integer(0, 2));
    env->reliable_answer = static_cast<int16_t>(random.integer(-1, 2));
    env->objective_LB = random.one_of<double>({-1e30, -1e30, -5, 0});
    env->objective_UB = random.one_of<double>({1e30, 1e30, 30, -20});
    env->delta = random.one_of<double>({1e-6, 0.2});
    env->oracle_status = static_cast<int16_t>(random.integer(0, 1));
    env->upperBnd = random.one_of<double>({1e30, 50});
    env->lowerBnd = random.one_of<double>({-1e30, -60});
    solver().duals = [&](const LoadedProblem &, double *u) {
      const Solve &solve = model.solves[solved++];
      u[0] = solve.a, u[1] = solve.b, u[2] = solve.value;
    };
    model.s = *env.get();
    const int32_t expected = model.run(warm, data.warm_duals.data(), given_oracle);
    SCOPED_TRACE(testing::Message() << "run " << run);
    ASSERT_EQ(run_loop(env.get()), expected);
    ASSERT_EQ(seen, model.seen);
    const auto ends = [](const QUARN_env &e) {
      return support::to_text({e.lowerBnd, e.upperBnd, e.upperBnd_prev, e.lowerBnd_actual,
                               e.rel_gap, e.abs_gap, e.gap_ratio, double(e.outer_iterations),
                               double(e.oracle_status)});
    };
    ASSERT_EQ(ends(*env.get()), ends(model.s));
    ++codes[expected];
    solver().duals = nullptr;
  }
  for (const int code : {0, 2, 7}) EXPECT_GT(codes[code], 20) << "code " << code << " hardly drawn";
}

TEST(OuterLoop, ConflictsWithTheUsersBounds) {
  const struct {
    const char *what;
    bool warm;
    double objective_LB, objective_UB, a, value;
    int16_t reliable, code;
    const char *text;
  } rows[] = {
      {"warm lower bound", true, -1e30, 1.5, 2, 9, 1, 7,
       "\n -- The current lower bound (2.0000000000E+00) is greater than the upper bound imposed "
       "by the user (1.5000000000E+00) -- \n"},
      {"upper bound", false, 10, 1e30, 2, 9, 1, 7,
       "\n -- The current UPPer bound (9.0000000000E+00) is less than the lower bound imposed by "
       "the user (1.0000000000E+01) -- \n"},
      {"upper bound below a negative one", false, -10, 1e30, -12, -11, 1, 7,
       "\n -- The current UPPer bound (-1.1000000000E+01) is less than the "
       "lower bound imposed by "
       "the user (-1.0000000000E+01) -- \n"},
      {"a hair below a negative one", false, -10, 1e30, -12, -10 - 2e-9, 1, 7,
       "\n -- The current UPPer bound (-1.0000000002E+01) is less than the "
       "lower bound imposed by "
       "the user (-1.0000000000E+01) -- \n"},
      {"actual lower bound", false, -1e30, 1.5, 2, 9, 1, 7,
       "\n -- The current (actual) LOWer bound (2.0000000000E+00) is greater than the upper bound "
       "imposed by the user (1.5000000000E+00) -- \n"},
      {"actual lower bound at the user's", false, -1e30, 2, 2, 9, 1, 7,
       "\n -- The current (actual) LOWer bound (2.0000000000E+00) is greater than the upper bound "
       "imposed by the user (2.0000000000E+00) -- \n"},
      {"goes on with an unreliable answer", false, -1e30, 1.5, 2, 9, 2, 0,
       "\n -- The current (actual) LOWer bound (2.0000000000E+00) is greater than the upper bound "
       "imposed by the user (1.5000000000E+00) -- \n"},
  };
  for (const auto &row : rows) {
    for (const int16_t verbosity : support::Shorts{0, -1, 1}) {
      SCOPED_TRACE(testing::Message() << row.what << " at " << verbosity);
      Oracle oracle = marking(1);
      support::ProblemData data = tiny(&oracle);
      data.max_outer_iterations = 1;
      if (row.warm) data.warm_duals = {row.a, 0, 0};
      Environment env(data);
      env->WS_strategy = -2;
      env->oracle_status = 1;
      env->verbosity = verbosity;
      env->objective_LB = row.objective_LB;
      env->objective_UB = row.objective_UB;
      env->reliable_answer = row.reliable;
      script_duals(row.a, 0, row.value);
      std::string text;
      EXPECT_EQ(run_loop(env.get(), &text), row.code);
      EXPECT_EQ(text.find(row.text) != std::string::npos, verbosity != 0);
      EXPECT_EQ(text.find(" imposed ") != std::string::npos, verbosity != 0);
    }
  }
}

TEST(OuterLoop, AnUpperBoundWithinRoundingOfTheUsersLowerOneIsNoConflict) {
  for (const double limit : {-10.0, 10.0}) {
    Oracle oracle = marking(1);
    support::ProblemData data = tiny(&oracle);
    data.max_outer_iterations = 1;
    Environment env(data);
    env->WS_strategy = -2;
    env->oracle_status = 1;
    env->objective_LB = limit;
    script_duals(-12, 0, limit - 5e-10);
    EXPECT_EQ(run_loop(env.get()), 0) << limit;
  }
}

TEST(OuterLoop, ReportsToTheCharacter) {
  const std::string listing =
      "\nRMP before calling the oracle:\n"
      "0:    -1*U_1 <=  1e+10\n1:    U_1 <=  1e+10\n2:    2*U_1 + Z_1 <=  12\n\n";
  const std::string before =
      "\n[OUTER: 5 (1)]\n"
      "> LB=1.0000000e+00 (2.0100000e+02, 0.0000000e+00, 2.0100000e+02)\n"
      "> UB=4.0200000e+02 (4.0200000e+02, 0.0000000e+00, 4.0200000e+02)\n"
      "> rel_gap=0.9975124 (delta=0.0000010)\n"
      "> opt_tol=5.0000000\n> exp_BD=1\n> ncols=1\n> ncols_last=1\n> ncuts=0\n"
      "> last_reduce=-1\n> CPU time: * (*))\n";
  const std::string after =
      "\n[AFTER CALLING THE ORACLE]\n"
      "> LB=1.9850000e+02 (2.0100000e+02, -2.5000000e+00, 1.9850000e+02)\n"
      "> UB=4.0300000e+02 (4.0200000e+02, 1.0000000e+00, 4.0300000e+02)\n"
      "> rel_gap=0.5074442\n> opt_tol=5.0000000\n> exp_BD=1\n> ncols=2\n> ncols_last=1\n"
      "> ncuts=0\n> last_reduce=-1\n> CPU time: * (*))\n";
  for (const int16_t verbosity : support::Shorts{0, 1, 2, 3, -1}) {
    SCOPED_TRACE(verbosity);
    std::string at_oracle;
    support::CapturedOutput *capture = nullptr;
    Oracle oracle = [&](double *ub_term, double *lb_term, QUARN_env *e) {
      at_oracle = capture->flushed();
      EXPECT_EQ(e->matrix_changed, 0);
      const int16_t level = e->verbosity;
      e->verbosity = 0;
      support::add_columns(e, {{{1, 3}, {3, 1}}});
      e->verbosity = level;
      *ub_term = 1;
      *lb_term = -2.5;
      return int16_t{1};
    };
    support::ProblemData data = tiny(&oracle);
    data.max_outer_iterations = 5;
    Environment env(data);
    support::add_columns(env.get(), {{{1, 2}, {2, 1}, {3, 12}}});
    env->outer_iterations = 4;
    env->oracle_status = 2;  // keeps the tolerance at rel_gap / 2
    env->lowerBnd = 1;
    env->WS_strategy = -2;
    env->verbosity = verbosity;
    solver().duals = [&](const LoadedProblem &, double *u) {
      env->verbosity = verbosity;
      u[0] = 1, u[1] = 2, u[2] = 402;
    };
    std::string all;
    {
      support::CapturedOutput output;
      capture = &output;
      QUARN_solve_MP_core(env.get(), support::call_oracle);
      all = output.flushed();
    }
    solver().duals = nullptr;
    std::string expected = (verbosity > 2 ? listing : "") + (verbosity != 0 ? before : "");
    const std::string masked = support::without_times(at_oracle);
    const size_t solver_lines = masked.find("\nRMP before") != std::string::npos
                                    ? masked.find("\nRMP before")
                                    : std::min(masked.find("\n[OUTER"), masked.size());
    EXPECT_EQ(masked.substr(solver_lines), expected) << "flushed before the oracle is asked";
    EXPECT_EQ(support::without_times(all.substr(at_oracle.size())), after);
    EXPECT_EQ(env->matrix_changed, 1);
  }
}

TEST(OuterLoop, TheBoxIsWidenedFromTheSecondIterationOfARunOn) {
  Oracle oracle = marking(1);
  support::ProblemData data = tiny(&oracle);
  data.dual_lower = {-40};
  data.dual_upper = {40};
  data.max_outer_iterations = 8;
  Environment env(data);
  QUARN_set_dual_box(env.get(), -2, 2);
  env->WS_strategy = -2;
  env->outer_iterations = 6;
  script_duals(0, 0, 1e6);  // a dual of zero sends each bound to its limit
  for (const int32_t t : {1, 3}) env->G->elt[t] = 2;
  run_loop(env.get());
  ASSERT_EQ(solver().loads.size(), 2U);
  EXPECT_EQ(support::to_text(solver().loads[0].elt), "-1 2 1 2");
  EXPECT_EQ(support::to_text(solver().loads[1].elt), "-1 40 1 40");
}

TEST(OuterLoop, ANewRunStartsFromTheGapsTolerance) {
  support::ProblemData data = tiny(nullptr);
  data.max_outer_iterations = 6;
  Environment env(data);
  env->WS_strategy = -2;
  env->outer_iterations = 5;
  env->opt_tol = 77;  // what an earlier run left must not enter the average
  env->rel_gap = 0.4;
  run_loop(env.get());
  EXPECT_DOUBLE_EQ(env->opt_tol, 0.2);
}

TEST(OuterLoop, ColumnsAreEliminatedUnderAllConditionsAndBoundsRestart) {
  const std::string tight = " free load preproc solve(0,5e-07,0) duals";
  const std::string again = " get_z free load preproc solve(0,5,0) duals";
  const struct {
    const char *what;
    int32_t p, n, iterations, last_reduce, limit;
    double rel_gap, reduce_gap;
    int16_t status;
    bool tightened, reduced;
  } rows[] = {
      {"all hold", 1, 44, 1, -1, 43, 10, 0.001, 1, true, true},
      {"status 0", 1, 44, 1, -1, 43, 10, 0.001, 0, true, true},
      {"status 2", 1, 44, 1, -1, 43, 10, 0.001, 2, false, false},
      {"first iteration", 1, 44, 0, -1, 43, 10, 0.001, 1, false, false},
      {"two after a reduction", 1, 44, 6, 5, 43, 10, 0.001, 1, false, false},
      {"three after a reduction", 1, 44, 7, 5, 43, 10, 0.001, 1, true, true},
      {"few columns", 1, 44, 1, -1, 44, 10, 0.001, 1, false, false},
      {"small gap", 1, 44, 1, -1, 43, 10, 10, 1, false, false},
      {"too little to remove", 1, 43, 1, -1, 42, 10, 0.001, 1, true, false},
      {"nine further rows", 9, 44, 1, -1, 43, 10, 0.001, 1, true, false},
      {"ten further rows", 10, 44, 1, -1, 43, 10, 0.001, 1, false, false},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    Oracle oracle = marking(0);
    support::ProblemData data = tiny(&oracle);
    data.p = row.p;
    data.rhs.assign(static_cast<size_t>(row.p) + 2, 1.0);
    data.max_outer_iterations = row.iterations + 1;
    Environment env(data);
    env->column_elimination = 0;
    support::add_columns(env.get(), support::Columns(static_cast<size_t>(row.n), {{1, 1}}));
    env->WS_strategy = -2;
    env->outer_iterations = row.iterations;
    env->last_reduce = row.last_reduce;
    env->max_number_columns = row.limit;
    env->rel_gap = row.rel_gap;
    env->reduce_gap = row.reduce_gap;
    solver().trace.clear();
    env->oracle_status = row.status;
    env->lowerBnd = -1000;
    env->upperBnd = 2000;
    double value = 100;
    solver().duals = [&](const LoadedProblem &problem, double *u) {
      u[0] = value, u[problem.m - 1] = 10 * value;  // dual value 100, 101, 102, primal tenfold
      value += 1;
    };
    EXPECT_EQ(run_loop(env.get()), 0);
    const bool asked = row.tightened || row.p > 9;
    const bool called = asked && row.n > row.limit;
    std::string expected = kSolve;
    if (row.tightened) expected += tight;
    if (row.reduced) {
      expected += again;
    } else if (called) {
      expected += " get_z";
    }
    EXPECT_EQ(solver().take_trace(), expected + " oracle");
    EXPECT_EQ(env->last_reduce, row.reduced ? row.iterations + 1 : row.last_reduce);
    if (row.reduced) {
      EXPECT_EQ(env->lowerBnd, 102);
      EXPECT_EQ(env->upperBnd, 1020);
    } else {
      EXPECT_EQ(env->lowerBnd, -1000);
      EXPECT_EQ(env->upperBnd, row.status > 0 ? 1000 : 2000);
    }
    solver().duals = nullptr;
  }
}

TEST(OuterLoop, AWarmStrategyStartsColdAfterAnElimination) {
  Oracle oracle = marking(0);
  support::ProblemData data = tiny(&oracle);
  data.max_outer_iterations = 2;
  Environment env(data);
  env->column_elimination = 0;
  support::add_columns(env.get(), support::Columns(44, {{1, 1}}));
  env->WS_strategy = 1;
  env->outer_iterations = 1;
  env->max_number_columns = 10;
  env->verbosity = 1;
  std::string text;
  run_loop(env.get(), &text);
  // Only the prefix of its reports tells a cold strategy from a warm one without a point.
  const size_t cold = text.find("CWS I - infeasibilities");
  EXPECT_NE(cold, std::string::npos);
  EXPECT_GT(cold, text.find("was reduced from 44 to 33"));
  EXPECT_EQ(solver().take_trace(),
            "load preproc acpdm(0,5,1) save duals "
            "free load preproc acpdm(1,0.001,1) free_save save acpdm(2,5e-07,0) duals "
            "get_z free load preproc acpdm(0,5,1) save duals oracle");
  EXPECT_EQ(env->WS_strategy, 1);
  EXPECT_EQ(env->WS_point_saved, 1);
}

TEST(OuterLoop, TimesAreWholeMillisecondsAndAccumulate) {
  Oracle oracle = [](double *, double *, QUARN_env *) {
    usleep(12300);
    return int16_t{0};
  };
  support::ProblemData data = tiny(&oracle);
  data.max_outer_iterations = 2;
  Environment env(data);
  env->WS_strategy = -2;
  env->cputime = 100.0;
  env->cputime_oracle = 50.0;
  run_loop(env.get());
  const double total = env->cputime - 100.0, oracle_time = env->cputime_oracle - 50.0;
  EXPECT_GE(oracle_time, 0.024 - 1e-9);
  EXPECT_GE(total, oracle_time - 0.003) << "three roundings of half a millisecond";
  EXPECT_LT(total, 10.0);
  for (const double time : {env->cputime, env->cputime_oracle, env->cputime_RMP}) {
    EXPECT_NEAR(time * 1000.0, std::round(time * 1000.0), 1e-6);
  }
  env->max_cputime = env->cputime;
  env->max_outer_iterations = 100;
  EXPECT_EQ(run_loop(env.get()), 0);
  EXPECT_EQ(env->outer_iterations, 2) << "the time of earlier runs counts";
}

}  // namespace

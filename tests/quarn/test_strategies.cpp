#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Environment;
using support::solver;
using support::SolveReply;

using Strategy = int32_t (*)(QUARN_env *);
constexpr double kInfeasible = 2e-5;  // above the 1e-5 that ends the passes

SolveReply reply(int32_t code, int32_t iterations, double primal, double tolerance = -1.0) {
  SolveReply made;
  made.code = code;
  made.iterations = iterations;
  made.primal = primal;
  made.tolerance = tolerance;
  return made;
}

/// A loaded problem, and a saved point when `saved`.
Environment ready(double opt_tol, int16_t saved) {
  Environment env;
  support::solve_once(env.get());
  if (saved != 0) save_Pb(env->Pb, env->Pb_save);
  env->opt_tol = opt_tol;
  env->WS_point_saved = saved;
  env->inner_iterations = 1000;
  env->centrality_value = 3;
  solver().trace.clear();
  solver().solves.clear();
  return env;
}

struct Row {
  const char *what;
  Strategy run;
  double opt_tol;
  int16_t saved;
  std::vector<SolveReply> replies;  // then more of the usual: infeasible, one iteration, code 0
  const char *trace;
  int32_t code, iterations, ws_iterations;
};

// Expected calls follow from the rules by hand: mode, tolerance and option of every solve.
const Row kRows[] = {
    // clang-format off
    {"standard", QUARN_solve_RMP_STD, 0.5, 0, {reply(0, 7, 0)}, "solve(0,0.5,0)", 0, 7, 0},
    {"standard fails", QUARN_solve_RMP_STD, 5, 1, {reply(-4, 7, 0)}, "solve(0,5,0)", -4, 7, 0},
    {"centred", QUARN_solve_RMP_CS, 0.99, 0, {reply(0, 7, 0)}, "acpdm(0,0.99,3)", 0, 7, 0},
    {"centred at 1", QUARN_solve_RMP_CS, 1.0, 1, {reply(9, 7, 0)}, "solve(0,1,3)", 9, 7, 0},
    {"centred without a tolerance", QUARN_solve_RMP_CS, NAN, 0, {}, "solve(0,nan,3)", 0, 1, 0},
    {"cold: three passes of stage I", QUARN_solve_RMP_CWS, 5, 0, {},
     "acpdm(0,5,3) save acpdm(0,0.5,3) save acpdm(0,0.05,3) save", 0, 3, 0},
    {"cold: one pass is enough at 1e-5", QUARN_solve_RMP_CWS, 5, 1, {reply(0, 2, 1e-5)},
     "acpdm(0,5,3) save", 0, 2, 0},
    {"cold: stage I, then II and III twice", QUARN_solve_RMP_CWS, 0.002, 0, {},
     "acpdm(0,0.002,3) save acpdm(0,0.001,3) save acpdm(2,0.0002,0) "
     "acpdm(2,0.001,3) save acpdm(2,2e-05,0)", 0, 5, 2},
    {"cold: 0.001 belongs to stage II", QUARN_solve_RMP_CWS, 0.001, 0, {},
     "acpdm(0,0.001,3) save acpdm(2,0.001,0) acpdm(2,0.001,3) save acpdm(2,0.0001,0) "
     "acpdm(2,0.001,3) save acpdm(2,1e-05,0)", 0, 6, 3},
    {"cold: the floor ends the passes", QUARN_solve_RMP_CWS, 1e-6, 0, {},
     "acpdm(0,0.001,3) save acpdm(2,1e-06,0) acpdm(2,0.001,3) save acpdm(2,1e-07,0)", 0, 4, 2},
    {"cold: code -1 passes below the floor", QUARN_solve_RMP_CWS, 1e-6, 0, {reply(0, 1, 1),
     reply(0, 1, 1), reply(0, 1, 1), reply(-1, 5, kInfeasible), reply(0, 1, 1), reply(8, 6, 1)},
     "acpdm(0,0.001,3) save acpdm(2,1e-06,0) acpdm(2,0.001,3) save acpdm(2,1e-07,0) "
     "acpdm(2,0.001,3) save acpdm(2,1e-08,0)", 8, 15, 3},
    {"cold: another code does not", QUARN_solve_RMP_CWS, 1e-7, 0, {reply(0, 1, 1), reply(-2, 4,
     1)}, "acpdm(0,0.001,3) save acpdm(2,1e-07,0)", -2, 5, 1},
    {"cold: another code goes on above the floor", QUARN_solve_RMP_CWS, 1e-4, 0, {reply(0, 1, 1),
     reply(-2, 4, 1), reply(0, 1, 1), reply(0, 1, 0)},
     "acpdm(0,0.001,3) save acpdm(2,0.0001,0) acpdm(2,0.001,3) save acpdm(2,1e-05,0)", 0, 7, 2},
    {"cold: -1 without infeasibility is final", QUARN_solve_RMP_CWS, 1e-4, 0, {reply(0, 1, 1),
     reply(-1, 4, 1e-6)}, "acpdm(0,0.001,3) save acpdm(2,0.0001,0)", -1, 5, 1},
    {"cold: stage I fails, its iterations do not count", QUARN_solve_RMP_CWS, 5, 0, {reply(0, 2,
     1), reply(-1, 30, 1)}, "acpdm(0,5,3) save acpdm(0,0.5,3)", -1, 2, 0},
    {"cold: stage II fails after saving, counted", QUARN_solve_RMP_CWS, 1e-4, 0, {reply(6, 30,
     1)}, "acpdm(0,0.001,3) save", 6, 30, 30},
    {"cold: the solver's own tolerance is divided", QUARN_solve_RMP_CWS, 5, 0, {reply(0, 1, 1,
     0.2), reply(0, 1, 1, 0.0005)},
     "acpdm(0,5,3) save acpdm(0,0.02,3) save acpdm(0,0.001,3) save acpdm(2,5e-05,0)", 0, 4, 1},
    {"warm without a point is cold", QUARN_solve_RMP_WS, 5, 0, {},
     "acpdm(0,5,3) save acpdm(0,0.5,3) save acpdm(0,0.05,3) save", 0, 3, 0},
    {"warm: stage I starts from the point and replaces it", QUARN_solve_RMP_WS, 5, 1, {},
     "acpdm(1,5,3) free_save save acpdm(1,0.5,3) free_save save acpdm(1,0.05,3) free_save save",
     0, 3, 0},
    {"warm: mode 2 for good after stage III", QUARN_solve_RMP_WS, 0.002, 1, {},
     "acpdm(1,0.002,3) free_save save acpdm(1,0.001,3) free_save save acpdm(2,0.0002,0) "
     "acpdm(2,0.001,3) save acpdm(2,2e-05,0)", 0, 5, 2},
    {"warm: stage I fails and keeps the old point", QUARN_solve_RMP_WS, 5, 1, {reply(3, 30, 1)},
     "acpdm(1,5,3)", 3, 0, 0},
    {"warm: stage II fails", QUARN_solve_RMP_WS, 1e-4, 1, {reply(3, 30, 1)},
     "acpdm(1,0.001,3) free_save save", 3, 30, 30}
    // clang-format on
};

TEST(Strategies, CallsCodesAndCounters) {
  for (const Row &row : kRows) {
    SCOPED_TRACE(row.what);
    Environment env = ready(row.opt_tol, row.saved);
    solver().replies.assign(row.replies.begin(), row.replies.end());
    solver().usual = reply(0, 1, kInfeasible);
    int32_t code = 99;
    EXPECT_EQ(support::flushed_output([&] { code = row.run(env.get()); }), "");
    EXPECT_EQ(code, row.code);
    EXPECT_EQ(solver().take_trace(), row.trace);
    EXPECT_EQ(env->inner_iterations, 1000 + row.iterations);
    EXPECT_EQ(env->inner_iterations_ws, row.ws_iterations);
    const bool warm = row.run == QUARN_solve_RMP_CWS || row.run == QUARN_solve_RMP_WS;
    EXPECT_EQ(env->WS_point_saved, warm ? 1 : row.saved);
    if (row.opt_tol == row.opt_tol) {
      EXPECT_EQ(env->opt_tol, row.opt_tol);
    }
    EXPECT_NE(env->Pb, nullptr) << "the problem stays loaded for its duals";
    const bool centred = row.trace[0] == 'a';
    EXPECT_EQ(solver().solves[0].work, centred ? env->acpdm_work : nullptr);
    EXPECT_EQ(solver().solves[0].saved, env->Pb_save);
    EXPECT_EQ(solver().solves[0].iterations, 0);
    if (row.run != QUARN_solve_RMP_STD) {
      EXPECT_EQ(solver().solves[0].primal, 1.0);
    }
  }
}

std::string infeasibilities(const std::string &prefix) {
  return prefix + "infeasibilities:  primal= 1.50e-01,  bounds= 2.00e-09,  dual= 3.00e-09\n";
}
std::string centrality(const std::string &prefix, const std::string &rest = "") {
  return prefix + "centrality:       asmall= 5.00e-01,  alarge= 2.00e+00" + rest + "\n";
}
std::string error(const std::string &prefix, const std::string &what) {
  return "## " + prefix + "ERROR ON SOLVING THE RMP: Could not find " + what + " (code=-7)\n";
}
const std::string kNoSolution = "a solution with opt_tol required";

/// Stage texts with the prefix of the strategy, "CWS " or nothing.
std::string stage_i(const std::string &p) {
  return infeasibilities(p + "I - ") + centrality(p + "I - ");
}
std::string stage_ii(const std::string &p) {
  return infeasibilities(p + "II - ") + centrality(p + "II - ", " (opt_tol_WS= 4.00e-04)");
}
std::string stage_iii(const std::string &p) {
  return infeasibilities(p + "III - ") + centrality(p + "III - ");
}

TEST(Strategies, ReportsAtAnyVerbosityButZero) {
  struct TextRow {
    const char *what;
    Strategy run;
    double opt_tol;
    std::vector<int32_t> codes;
    std::string text;
    bool error_line_waits;  // printed without a flush of its own
  };
  const std::string std_report =
      infeasibilities("STD: ") + centrality("STD: ", " (opt_tol= 1.00e-04)");
  const std::string cs_report =
      infeasibilities("CS: ") + centrality("CS: ", "   iexit= 4 (opt_tol= 4.00e-04)");
  std::vector<TextRow> rows = {
      {"standard", QUARN_solve_RMP_STD, 1e-4, {0}, std_report, false},
      {"standard fails", QUARN_solve_RMP_STD, 1e-4, {-7}, std_report, true},
      {"centred", QUARN_solve_RMP_CS, 1e-4, {0}, cs_report, false},
      {"centred fails",
       QUARN_solve_RMP_CS,
       1e-4,
       {-7},
       cs_report + error("CS: ", kNoSolution),
       false},
  };
  for (const bool cold : {true, false}) {
    const Strategy run = cold ? QUARN_solve_RMP_CWS : QUARN_solve_RMP_WS;
    const std::string p = cold ? "CWS " : "";
    rows.push_back(
        {"I, II, III", run, 0.004, {0, 0, 0}, stage_i(p) + stage_ii(p) + stage_iii(p), false});
    rows.push_back({"stage I fails", run, 5, {-7}, error("I - ", kNoSolution), false});
    rows.push_back(
        {"stage II fails", run, 1e-4, {-7}, stage_ii(p) + error("I - ", "a mu-center"), false});
    rows.push_back({"stage III fails",
                    run,
                    1e-7,
                    {0, -7},
                    stage_ii(p) + stage_iii(p) + error(p + "I/III - ", kNoSolution),
                    false});
  }
  for (const TextRow &row : rows) {
    for (const int16_t verbosity : support::Shorts{1, -1, 0}) {
      SCOPED_TRACE(testing::Message() << row.what << " at " << verbosity);
      Environment env = ready(row.opt_tol, 1);
      env->verbosity = verbosity;
      // The solver leaves 4e-4 in every tolerance; the third pass is feasible.
      for (size_t k = 0; k < row.codes.size(); ++k) {
        solver().replies.push_back(
            reply(row.codes[k], 1, 0.15, k == 0 && row.opt_tol > 1e-3 ? 4e-3 : 4e-4));
      }
      solver().usual = reply(0, 1, 0.0);
      if (row.opt_tol == 1e-7) env->delta = 1.0;  // the floor is above: one pass
      if (row.opt_tol == 0.004) env->delta = 4e-3;
      support::CapturedOutput output;
      row.run(env.get());
      const std::string flushed = output.flushed(), all = output.all();
      const std::string late = row.error_line_waits ? error("STD: ", kNoSolution) : "";
      EXPECT_EQ(flushed, verbosity == 0 ? "" : row.text);
      EXPECT_EQ(all, verbosity == 0 ? "" : row.text + late);
    }
  }
}

}  // namespace

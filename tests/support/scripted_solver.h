/**
 * A stand-in for the nine operations of interior_point.h: it solves nothing, writes down every call
 * and plays back what a test scripts. It also watches the contract: a call on a problem that is not
 * loaded, a solve before preprocessing, or a start from an empty save record is a fault.
 */
#ifndef TESTS_SUPPORT_SCRIPTED_SOLVER_H
#define TESTS_SUPPORT_SCRIPTED_SOLVER_H

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "interior_point/interior_point.h"

namespace support {

/// Copies of everything that load_Pb was given.
struct LoadedProblem {
  int32_t m, n, nz, reload, cost_row;
  const void *extra1, *extra2;
  std::vector<int32_t> row_type, col_start, rw;
  std::vector<double> elt, rhs, row_range, col_lb, col_ub;
  std::vector<double> constants;  ///< arguments 14 to 20 and 23 to 25, in order
};

/// What one solve_Pb or acpdm_Pb reports back.
struct SolveReply {
  int32_t code = 0;
  int32_t iterations = 1;
  double primal = 1e-9;
  double tolerance = -1.0;  ///< replaces the caller's tolerance when not negative
  double bounds = 2e-9, dual = 3e-9, asmall = 0.5, alarge = 2.0;
  int32_t exit_indicator = 4;
};

/// What one solve_Pb or acpdm_Pb was given beside what its trace entry shows.
struct SolveCall {
  double primal;
  int32_t iterations;
  const void *saved, *work;
  int32_t point;  ///< serial number of the point in the save record, 0 when it is empty
};

class ScriptedSolver {
 public:
  using Fill = std::function<void(const LoadedProblem &, double *)>;

  /// The calls since the last `take_trace`, in order: "load", "load:7" (reload argument 7),
  /// "preproc", "solve(mode,tolerance,option)", "acpdm(mode,tolerance,option)", "save", "free",
  /// "free_save", "get_x", "get_z", "duals". Tests add words of their own.
  std::vector<std::string> trace;
  std::vector<LoadedProblem> loads;
  std::vector<SolveCall> solves;
  std::vector<std::string> faults;  ///< breaches of the contract

  std::deque<SolveReply> replies;  ///< one per solve; `usual` once they are used up
  SolveReply usual;
  Fill duals, primal, slacks;  ///< fill the result buffers; zeros without them

  int live_problems = 0, live_points = 0;

  std::string take_trace();
};

ScriptedSolver &solver();
/// Forgets the script and the records; problems still loaded stay valid.
void reset_solver();

}  // namespace support

#endif

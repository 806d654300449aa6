#ifndef EXAMPLES_COMMON_MASTER_RUN_H
#define EXAMPLES_COMMON_MASTER_RUN_H

#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "examples/common/options.h"
#include "examples/common/progress_table.h"
#include "quarn/quarn.h"
#include "quarn_cpp/tolerance_dial.hpp"

namespace examples {

/// Row types of a master problem, with the library's codes.
enum RowType : int16_t { kEqual = 1, kAtLeast = 2, kAtMost = 3 };

/// The rows of a master problem: the linking rows, whose duals have a box, in front.
class MasterRows {
 public:
  /// Half the width of the box that the library gives to duals without one of their own.
  static constexpr double kWideBox = 1e10;

  /// Adds a linking row whose dual is known to lie in [dual_lower, dual_upper].
  void add_linking_row(RowType type, double rhs, double dual_lower = -kWideBox,
                       double dual_upper = kWideBox);

  /// Adds a further row (a convexity row, say); all linking rows come first.
  void add_further_row(RowType type, double rhs);

 private:
  friend class MasterRun;
  std::vector<double> rhs_, dual_lower_, dual_upper_;
  std::vector<int16_t> types_;
};

/// What an oracle says about the duals it was given.
struct Answer {
  /// 1: `lb_term` is valid. 0: it is not, the bounds stay. 2 and more: as 1, and the library is to
  /// keep all columns for the next iteration.
  int16_t status = 1;
  /// Added to RHS'u, over all rows but the cost row, this is a lower bound of the master problem.
  double lb_term = 0.0;
};

/// The pricing of an example.
class Oracle {
 public:
  virtual ~Oracle() = default;
  /// Prices the duals env.u, adds columns to env (see ColumnBatch), says what they prove. What it
  /// throws ends the run and comes out of MasterRun::solve.
  virtual Answer price(QUARN_env &env) = 0;
};

/// RHS'u over all rows but the cost row: what the library adds `lb_term` to.
double rmp_dual_value(const QUARN_env &env);

/// How a run ended.
struct MasterResult {
  int32_t status = 0;       ///< as the library returned it
  bool gap_closed = false;  ///< false with status 0: the time limit came first
  double lower_bound = 0.0, upper_bound = 0.0, relative_gap = 0.0;
  int32_t outer_iterations = 0, inner_iterations = 0, columns = 0;
  double time_total = 0.0, time_rmp = 0.0, time_oracle = 0.0;  ///< seconds of wall-clock
};

/**
 * One master problem from set-up to release: makes the environment, hands the library an oracle,
 * prints the table while the library's own text is kept away, steers the tolerance.
 *
 *   MasterRun run(rows, oracle, options);
 *   QUARN_set_change_bounds(&run.env(), 2);     // any other setter, where an example needs it
 *   const MasterResult result = run.solve();
 */
class MasterRun {
 public:
  /// `oracle` and `options` have to outlive the run. With `warm_duals` (one value for each row, the
  /// cost row excepted) the oracle is called with these before the first restricted master problem.
  /// Throws std::invalid_argument when they are not one for each row, std::bad_alloc
  /// when the environment cannot be made.
  MasterRun(const MasterRows &rows, Oracle &oracle, const Options &options,
            const std::vector<double> &warm_duals = {});
  MasterRun(const MasterRun &) = delete;
  MasterRun &operator=(const MasterRun &) = delete;

  QUARN_env &env() { return *env_; }

  /// Column generation to the tolerance. Rethrows what the oracle threw; throws OutputError when
  /// the table could not be written.
  MasterResult solve();

  /// The same, then the rounding heuristic, then column generation from a cold start. An integer
  /// solution, where one was found, is in the environment: see integer_solution().
  MasterResult solve_integer();

 private:
  struct Release {
    void operator()(QUARN_env *env) const;
  };

  static int16_t oracle_callback(double *ub_term, double *lb_term, QUARN_env *env, void *user_data);
  Answer ask(QUARN_env &env);
  void report_iteration(int32_t iteration, double upper_bound);
  template <typename Driver>
  MasterResult run(const Driver &driver);
  MasterResult result(int32_t status, double seconds) const;

  std::unique_ptr<QUARN_env, Release> env_;
  Oracle &oracle_;
  const Options &options_;
  quarn::detail::ToleranceDial dial_;
  ProgressTable *table_ = nullptr;  ///< while the library runs
  int32_t reported_ = 0;            ///< outer iterations that are in the table
  std::exception_ptr failure_;      ///< what the oracle threw
};

/// An entry of a column; rows count from 0.
struct Entry {
  int32_t row;
  double value;
};

/// A generated column together with its value in a solution.
struct MasterColumn {
  double value;
  double cost;
  int32_t tag;
  std::vector<Entry> entries;  ///< without the cost
};

/// The generated columns whose value in the last restricted master problem is above `least`.
std::vector<MasterColumn> master_solution(QUARN_env &env, double least);

/// The columns of the integer solution that the rounding heuristic found; empty when it found none.
std::vector<MasterColumn> integer_solution(QUARN_env &env);

}  // namespace examples

#endif

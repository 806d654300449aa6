/**
 * A linear program in plain arrays, the nine operations of the solver as values with owners, and
 * measures of a solution that rest on the program's own data and on nothing the solver says.
 *
 *   minimise c'x + k   subject to   r_i <= a_i'x <= s_i,   l_j <= x_j <= h_j                    (1)
 */
#ifndef BENCHMARKS_LINEAR_PROGRAM_H
#define BENCHMARKS_LINEAR_PROGRAM_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "interior_point/interior_point.h"

namespace benchmarks {

/// Magnitudes from here on stand for "no bound" and "no range".
constexpr double kNoBound = 1e30;

enum RowType : int32_t { kEqual = 1, kGreaterEqual = 2, kLessEqual = 3 };

struct LinearProgram {
  std::string name;
  double objective_constant = 0.0;  ///< k in (1)
  std::vector<int32_t> start = {
      0};                     ///< columns + 1; column j holds positions start[j] to start[j+1]
  std::vector<int32_t> row;   ///< per entry, from 0; the costs are not among the entries
  std::vector<double> value;  ///< per entry
  std::vector<double> cost, lower, upper;  ///< per column
  std::vector<int32_t> row_type;           ///< per row
  std::vector<double> rhs;                 ///< per row
  std::vector<double> row_range;           ///< per row: r as row_bounds reads it, 1e30 for none

  int32_t rows() const { return static_cast<int32_t>(rhs.size()); }
  int32_t columns() const { return static_cast<int32_t>(cost.size()); }
  int32_t entries() const { return static_cast<int32_t>(value.size()); }

  void add_row(int32_t type, double right_hand_side, double range = kNoBound);
  void add_column(double column_cost, double lower_bound, double upper_bound,
                  const std::vector<std::pair<int32_t, double>> &column_entries);
  /// The same program with the listed columns only, in that order.
  LinearProgram with_columns(const std::vector<int32_t> &kept) const;
};

struct Interval {
  double lower, upper;  ///< infinite where there is no bound
};

/**
 * The interval [r_i, s_i] of row i: b for =, [b, inf) for >=, (-inf, b] for <=; and with a range r
 * [b, b + |r|] for >=, [b - |r|, b] for <=, and from b to b + r, whichever is larger, for =.
 */
Interval row_bounds(const LinearProgram &program, int32_t i);

/**
 * How good a pair (x, y) is for (1), in the units of the program.
 *
 *   primal_infeasibility  the largest violation of a row by v / (1 + max|b| + 0.01 max_j |a_ij
 * x_j|) or of a column's bound by v / (1 + |bound|) dual_infeasibility    the largest part of a
 * reduced cost d_j = c_j - a_j'y that no bound of x_j can take up, by v / (1 + |c_j| + 0.01 max_i
 * |a_ij y_i|), or of y_i with the wrong sign for its row, by v / (1 + |y_i|) dual_objective sum
 * over rows of y_i times the end of [r_i, s_i] that its sign points to, the same with d_j over the
 * columns, and k gap                   |objective - dual_objective| / |objective|
 *
 * The terms with 0.01 are backward errors: they forgive what the rounding of one product costs.
 */
struct Measures {
  double objective, dual_objective, primal_infeasibility, dual_infeasibility, gap;
};
Measures measure(const LinearProgram &program, const std::vector<double> &x,
                 const std::vector<double> &y);

/// A save record with an owner.
class SavedPoint {
 public:
  SavedPoint() = default;
  ~SavedPoint() { release(); }
  SavedPoint(const SavedPoint &) = delete;
  SavedPoint &operator=(const SavedPoint &) = delete;

  IP_save_record *get() { return &record_; }
  bool holds_point() const { return record_.holds_point != 0; }
  void release();

 private:
  IP_save_record record_ = {};
};

/// What solve_Pb and acpdm_Pb report through their arguments, and the time they took.
struct SolveReport {
  int32_t code;
  double tolerance;  ///< as the solver left it
  int32_t option;    ///< as the solver left it
  double primal, bounds, dual, asmall, alarge;
  int32_t iterations;
  double seconds;
};

/// The matrix as load_Pb takes it: positions and rows from 1, the cost row last.
struct LoadArrays {
  explicit LoadArrays(const LinearProgram &program);
  IP_problem *load(int32_t blas_threads) const;

  int32_t m, n, nz;
  std::vector<int32_t> row_type, col_start, rw;
  std::vector<double> elt, rhs, row_range, lower, upper;
};

/// A loaded and preprocessed problem with an owner. The arrays it was loaded from are gone when the
/// constructor ends.
class LoadedProblem {
 public:
  explicit LoadedProblem(const LinearProgram &program, int32_t blas_threads = 1);
  ~LoadedProblem();
  LoadedProblem(const LoadedProblem &) = delete;
  LoadedProblem &operator=(const LoadedProblem &) = delete;

  IP_problem *get() { return problem_; }
  double load_seconds() const { return load_seconds_; }

  /// solve_Pb from `saved` (an empty record when null) in the given start mode.
  SolveReport solve(double tolerance, int32_t start_mode = 0, SavedPoint *saved = nullptr,
                    int32_t option = 0);
  /// acpdm_Pb likewise.
  SolveReport centre(double tolerance, int32_t start_mode = 0, SavedPoint *saved = nullptr,
                     int32_t option = 1);
  void save(SavedPoint *saved);

  std::vector<double> x();       ///< per column
  std::vector<double> slacks();  ///< per column: c_j - a_j'y as the solver has it
  std::vector<double> duals();   ///< per row, without the cost row's entry
  double objective();            ///< the cost row's entry, without k

 private:
  IP_problem *problem_;
  int32_t rows_, columns_;
  double load_seconds_;
};

/// Seconds of processor time that this thread has used: on a shared machine they say more than the
/// time that passed. All that is measured runs on one thread; the BLAS' own, which it never uses,
/// spin for a tenth of a second after they are made.
double processor_seconds();

}  // namespace benchmarks

#endif

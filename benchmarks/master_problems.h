/**
 * Master problems of the examples' generated instances, with the plainest exact oracles, and runs
 * of column generation on them whose restricted master problems (RMPs) are kept for measuring.
 *
 * Cutting stock   min sum_p x_p, sum_p a_ip x_p >= d_i for each size i; a column is a pattern with
 *                 sum_i s_i a_i <= C and a_i <= d_i. With duals u the pricing is the bounded
 *                 knapsack z = max u'a, and d'u / max(1, z) is a lower bound of the master: u
 *                 divided by max(1, z) is feasible for its dual.
 * Assignment      min sum_p c_p x_p, every task covered, one column per agent; a column is a set of
 *                 tasks that fits the agent's capacity. With duals u of the tasks and v of the
 *                 agents the pricing is a knapsack per agent, r_k = min_p c_p - u'a_p - v_k, and
 *                 1'u + 1'v + sum_k r_k is the Lagrangian bound.
 */
#ifndef BENCHMARKS_MASTER_PROBLEMS_H
#define BENCHMARKS_MASTER_PROBLEMS_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/linear_program.h"

namespace benchmarks {

/// Columns as they are priced, rows from 0, the cost apart.
struct PricedColumn {
  double cost;
  std::vector<std::pair<int32_t, double>> entries;
};

class MasterProblem {
 public:
  virtual ~MasterProblem() = default;

  /// Exact pricing at the duals u, one per row. Appends what is worth adding and returns the lower
  /// bound of the master that the answer proves.
  virtual double price(const double *u, std::vector<PricedColumn> *columns) = 0;

  std::string name;
  int32_t linking_rows = 0;                    ///< the first rows
  int32_t convexity_rows = 0;                  ///< the rows behind them
  std::vector<double> rhs;                     ///< per row
  std::vector<int16_t> row_type;               ///< per row
  std::vector<double> dual_lower, dual_upper;  ///< per linking row: the box that theory gives
  double known_value = 0.0;                    ///< the master's optimum, 0 where nobody computed it
};

/// The generated instance of the example; up to `per_call` columns an answer.
std::unique_ptr<MasterProblem> cutting_stock(int32_t types, int32_t seed, int32_t per_call);

/// The generated instance of the example of class 'C', 'D' or 'E', one column per agent and answer.
std::unique_ptr<MasterProblem> assignment(char problem_class, int32_t tasks, int32_t agents,
                                          int32_t seed);

/// Two RMPs that followed one another in a run.
struct RmpPair {
  int32_t outer_iteration;  ///< that of `before`
  LinearProgram before, after;
  double tolerance_before, tolerance_after;  ///< to which the run solved them
};

struct RunOptions {
  double box = 0.0;  ///< dual box [-box, box], or the problem's own box when 0
  double degree_of_optimality = 3.0;
  double delta = 1e-6;
  double seconds_limit = 900.0;
  int32_t iteration_limit = 5000;
};

struct RunReport {
  int32_t status, outer, inner, columns;
  int32_t fallbacks;  ///< warm-started solves that ended in the standard strategy
  double lower, upper, seconds_rmp, seconds_oracle;
};

/// Runs column generation without initial columns. When `pairs` is given, appends the pairs that
/// begin at outer iterations 4, 8, 16, ... and the last one. Prints nothing.
RunReport run(MasterProblem *problem, const RunOptions &options, std::vector<RmpPair> *pairs);

/// An RMP of cutting stock without a run: the dual box columns and random maximal patterns.
LinearProgram random_rmp(int32_t types, int32_t columns, int32_t seed);

}  // namespace benchmarks

#endif

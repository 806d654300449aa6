/**
 * Cutting stock. The master problem says how often each pattern p is cut; a_ip pieces of type i
 * come out of one roll, d_i are wanted:
 *
 *   minimise    sum_p x_p
 *   subject to  sum_p a_ip x_p >= d_i    for every type i, dual u_i >= 0                      (1)
 *               x >= 0
 *
 * Reduced cost of a pattern: 1 - sum_i u_i a_ip; pricing is a bounded knapsack problem with at most
 * d_i copies of type i, whose optimal value z is exact or replaced by a bound from above
 * (pattern_pricing.h, bounded_knapsack.h).
 *
 * Lower bound. Let u+ = max(u, 0) and z its knapsack's value. u+ / z is worth at most 1 in every
 * pattern, so it is feasible for the dual of (1), and
 *
 *   sum_i d_i u+_i / z                                                                        (2)
 *
 * is a lower bound whatever u is: every call counts.
 *
 * Dual box. min(d_i, floor(length / size_i)) pieces of type i alone are a pattern, so
 *
 *   0 <= u_i <= 1 / min(d_i, floor(length / size_i))                                          (3)
 *
 * for every feasible dual of (1). (Without the d_i the interval may cut optimal duals off, since
 * the pattern that proves it may not be one.) An optimal dual often lies on the upper limit. The
 * column of the box is then as good as the pattern that proves (3), a centred solution divides the
 * weight between the two, and the run ends with status 5. So the limit gets a margin, which makes
 * the box column dearer than the pattern. It is still in use a little, as every column of a centred
 * solution: together with its cost by about the gap divided by the number of columns, and the
 * library's test for box columns in use is absolute. Instances of more than kManyRolls rolls have
 * the library's wide box instead.
 *
 * Start. The first columns are those of a complete solution that wastes little: the patterns that
 * pricing finds for prices u_i = size_i / length, one after the other for the demands that remain.
 *
 * Integer solutions. The library's rounding heuristic takes a column only if it meets all the rows
 * that it touches, so for it every piece gets a row of its own:
 *
 *   sum_p a_jp x_p = 1    for every piece j, u_j of any sign, a_jp 0 or 1                      (4)
 *
 * With the box of (1) the surplus of covering rows would appear on box columns of cost 0, which the
 * integer driver takes for a sign of infeasibility; equations have none. Patterns stay patterns
 * when pieces are taken away, so the optimum is that of (1), pieces of negative dual are left out
 * of patterns, and (2) holds as before. The problems that the heuristic solves in between have few
 * columns and no claim to (3), so the box is the wide default; and patterns of one piece, there
 * from the start, make all of them feasible.
 *
 * Equations forbid a good pattern as soon as one of its pieces is packed. With --covering the rows
 * are >= 1 and such a pattern still serves for its other pieces; with the wide box surplus on a box
 * column would be dear, so that none appears there.
 */
#ifndef EXAMPLES_CUTTING_STOCK_PATTERN_ORACLE_H
#define EXAMPLES_CUTTING_STOCK_PATTERN_ORACLE_H

#include <cstdint>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/cutting_stock/instance.h"
#include "examples/cutting_stock/pattern_pricing.h"

namespace cutting_stock {

/// Which master problem, and how it is solved.
struct MasterSettings : examples::Options {
  bool default_box = false;  ///< the library's wide box in place of (3)
  bool integer = false;      ///< the rows (4) in place of (1); the instance is piece by piece
  bool covering = false;     ///< with `integer`: >= in (4)
};

/// The rows (1) with the box (3), or (4).
examples::MasterRows make_rows(const Instance &instance, const MasterSettings &settings);

/// Prices patterns.
class PatternOracle : public examples::Oracle {
 public:
  /// `instance` has to outlive the oracle.
  PatternOracle(const Instance &instance, const MasterSettings &settings);

  /// To be called once, before the run: keeps all columns and adds the first ones, those of a
  /// complete solution that wastes little, unless single pieces do that.
  void prepare(QUARN_env &env) const;

  examples::Answer price(QUARN_env &env) override;

  const PatternPricer &pricer() const { return pricer_; }

 private:
  void start(QUARN_env &env) const;
  void add_single_pieces(examples::ColumnBatch &batch);
  double proven_bound(const double *u, double best_value) const;

  const Instance &instance_;
  PatternPricer pricer_;
  int32_t most_;
  bool integer_;
  bool starts_with_pieces_;
};

}  // namespace cutting_stock

#endif

#ifndef EXAMPLES_DANTZIG_WOLFE_BLOCK_PROGRAM_H
#define EXAMPLES_DANTZIG_WOLFE_BLOCK_PROGRAM_H

#include <coin/ClpSimplex.hpp>
#include <coin/CoinPackedMatrix.hpp>
#include <vector>

#include "examples/dantzig_wolfe/blocks.h"

namespace dantzig_wolfe {

/// A bound as Clp writes it: COIN_DBL_MAX for none.
double coin_bound(double value);

/// Appends a row with these entries.
void append_row(const std::vector<Entry> &entries, CoinPackedMatrix &matrix);

/// A block in the arrays that Clp and Cbc load.
struct BlockProgram {
  explicit BlockProgram(const Block &block);

  CoinPackedMatrix matrix;
  std::vector<double> column_lower, column_upper, cost, row_lower, row_upper;
};

/**
 * The cost as the solvers like it: times the power of two that brings its largest magnitude into
 * [64, 128), so that their absolute tolerances mean the same whatever the duals are.
 */
class ScaledCost {
 public:
  explicit ScaledCost(const std::vector<double> &cost);

  const std::vector<double> &values() const { return values_; }
  /// A value of the solver's in the caller's units.
  double unscaled(double value) const { return value / factor_; }

 private:
  double factor_ = 1.0;
  std::vector<double> values_;
};

/**
 * Brings the simplex method to where pricing begins: the optimal basis for the block's own cost, so
 * that the answer depends on the cost of a call alone, not on the calls before it. Where there is
 * none, a basis that satisfies the rows: from another one Clp takes some unbounded programs for
 * infeasible ones.
 */
void go_to_start(ClpSimplex &simplex);

/// Codes of ClpSimplex::status().
enum ClpStatus { kOptimal = 0, kPrimalInfeasible = 1, kDualInfeasible = 2 };

/// From the start. Throws std::runtime_error when Clp fails.
void solve_from_start(ClpSimplex &simplex);

/// The solution that Clp has found, without the traces of rounding errors.
std::vector<double> point_of(const ClpSimplex &simplex);

/// The ray that Clp has found, its largest entry 1 or -1, without the traces of rounding errors.
/// Throws std::runtime_error when there is none.
std::vector<double> unbounded_ray(const ClpSimplex &simplex);

}  // namespace dantzig_wolfe

#endif

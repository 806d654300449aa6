#ifndef EXAMPLES_DANTZIG_WOLFE_RESTRICTED_MASTER_H
#define EXAMPLES_DANTZIG_WOLFE_RESTRICTED_MASTER_H

#include <coin/ClpSimplex.hpp>
#include <string>
#include <unordered_set>
#include <vector>

#include "examples/dantzig_wolfe/reformulation.h"

namespace dantzig_wolfe {

/// The master problem over the columns that are there, for Clp and Cbc. Its objective is minimised
/// and lacks Reformulation::constant().
class RestrictedMaster {
 public:
  /// `reformulation` has to outlive the object.
  explicit RestrictedMaster(const Reformulation &reformulation);

  /// Adds a column; false when it is there.
  bool add(const MasterColumn &column);
  const std::vector<MasterColumn> &columns() const { return columns_; }

  /// Solves the linear program by the primal simplex method, from the last basis. False when it has
  /// no solution.
  bool solve();
  double value() const { return simplex_.objectiveValue(); }
  /// Values of the columns when solve() succeeded last, 0 for later ones.
  const std::vector<double> &values() const { return values_; }
  /// The columns whose reduced cost is at most this when solve() succeeded last: of others none is
  /// in a solution that is worse than the linear program's by no more.
  std::vector<MasterColumn> columns_within(double reduced_cost) const;
  /// By index of the rows of Reformulation::master() and in its sense.
  std::vector<double> master_duals() const;

  /**
   * Values found by Cbc within `seconds` that are whole for points and rays of blocks with integer
   * variables and for integer variables outside of the blocks; empty when it found none. Columns
   * that are not whole in an integer variable are left out.
   */
  std::vector<double> solve_in_integers(double seconds) const;

 private:
  enum class Use { continuous, whole, none };
  Use use_of(const MasterColumn &column) const;
  Coefficients coefficients_of(const MasterColumn &column) const;
  void hand_over_columns();

  const Reformulation &reformulation_;
  ClpSimplex simplex_;  ///< linking rows, then a convexity row for each block
  std::vector<MasterColumn> columns_;
  std::vector<double> values_;
  std::unordered_set<std::string> known_;
  // Columns that the simplex method has not been given yet, the last ones of columns_.
  std::vector<CoinBigIndex> new_starts_ = {0};
  std::vector<int> new_rows_;
  std::vector<double> new_values_, new_costs_, new_uppers_;
};

}  // namespace dantzig_wolfe

#endif

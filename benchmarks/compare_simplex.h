/// A restricted master problem, kept in Clp and solved to optimality.
#ifndef BENCHMARKS_COMPARE_SIMPLEX_H
#define BENCHMARKS_COMPARE_SIMPLEX_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "quarn_cpp/quarn.hpp"

namespace benchmarks {

/// A column of the master: rows by Row::index(), and where Clp has it.
struct SimplexColumn {
  double cost;
  std::vector<std::pair<int32_t, double>> entries;
  int32_t clp;
};

/**
 * The master stays the place where oracles add columns and rows; this follows it. Clp's model lives
 * as long as the object: what is new in the master is appended, and the primal simplex method goes
 * on from the last basis, without presolve.
 *
 * The rows of the first master have columns for what no other satisfies, as the library's records
 * have, at the bounds of the duals or the penalty of the settings. One so dear that it only keeps
 * the first restricted master problems feasible (1e10 by default) would cost simplex its accuracy:
 * none costs more than some times what the first columns pay for a unit of a row. While a column
 * whose cost was reduced so has weight, the value is not an upper bound.
 */
class SimplexMaster {
 public:
  /// Throws std::logic_error in a build without Clp. `master`, of a minimisation without ranges and
  /// bounds of columns, has to outlive the object.
  SimplexMaster(const quarn::Master &master, double penalty);
  ~SimplexMaster();
  SimplexMaster(const SimplexMaster &) = delete;
  SimplexMaster &operator=(const SimplexMaster &) = delete;

  /// Takes in the columns and rows that are new in the master.
  void follow();
  /// Solves. Returns false when Clp found no optimum.
  bool solve();

  /// Those of the master at the last `follow`, in its order.
  const std::vector<quarn::Row> &rows() const { return rows_; }
  const std::vector<SimplexColumn> &columns() const { return columns_; }
  double rhs(size_t row) const;

  double value() const { return value_; }
  /// By Row::index().
  const std::vector<double> &duals() const { return duals_; }
  /// Sum of the columns' values.
  double column_sum() const { return column_sum_; }
  /// Whether a column with a reduced cost has weight.
  bool penalised() const { return penalised_; }
  /// Makes these columns dearer, for the next solve.
  void raise_penalty();

 private:
  struct Clp;  ///< the model
  /// A column that stands in for others in one row.
  struct Relief {
    int32_t clp;
    double cost;
  };

  void set_penalty();
  void append_rows(const std::vector<quarn::Row> &rows);
  void append_columns(const std::vector<quarn::Column> &columns);
  void append_reliefs();
  void read_solution();

  const quarn::Master &master_;
  double widest_;  ///< cost of a relief in a row without bounds of its dual
  std::unique_ptr<Clp> clp_;
  std::vector<quarn::Row> rows_;
  std::vector<quarn::Column> handles_;
  std::vector<SimplexColumn> columns_;
  std::vector<Relief> reliefs_;
  double penalty_ = 0.0;  ///< 0: not set yet
  std::vector<double> duals_;
  double value_ = 0.0, column_sum_ = 0.0;
  bool penalised_ = false;
};

/// Whether this build has Clp.
bool simplex_available();

}  // namespace benchmarks

#endif

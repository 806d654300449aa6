/// The restricted master problem of a record, kept in Clp and solved to optimality.
#ifndef BENCHMARKS_COMPARE_SIMPLEX_H
#define BENCHMARKS_COMPARE_SIMPLEX_H

#include <cstdint>
#include <memory>
#include <vector>

#include "quarn/quarn.h"

namespace benchmarks {

/**
 * The record stays the place where oracles add columns and rows, through the library's own calls;
 * this follows it. Clp's model lives as long as the object: what is new in the record is appended,
 * and the primal simplex method goes on from the last basis, without presolve.
 *
 * The columns of the dual box come along with two changes. Those that a slack of an inequality does
 * the work of are left out. And a box so wide that it only keeps the first restricted master
 * problems feasible (1e10 on either side by default) would cost simplex its accuracy: no such
 * column costs more than a penalty, some times what the first columns pay for a unit of a row.
 * While a column whose cost was reduced so has weight, the value is not an upper bound.
 */
class SimplexMaster {
 public:
  /// Throws std::logic_error in a build without Clp. `env` has to outlive the object.
  explicit SimplexMaster(QUARN_env &env);
  ~SimplexMaster();
  SimplexMaster(const SimplexMaster &) = delete;
  SimplexMaster &operator=(const SimplexMaster &) = delete;

  /// Appends what is new and solves. Returns false when Clp found no optimum.
  bool solve();

  double value() const { return value_; }
  /// Of the record's rows, without the cost row.
  const std::vector<double> &duals() const { return duals_; }
  /// Sum of the generated columns' values.
  double column_sum() const { return column_sum_; }
  /// Whether a column with a reduced cost has weight.
  bool penalised() const { return penalised_; }
  /// Makes these columns dearer, for the next solve.
  void raise_penalty();

 private:
  struct Clp;  ///< the model

  void set_penalty();
  void append_rows();
  void append_columns();
  bool is_needless(int32_t j) const;
  double cost(int32_t j) const;
  void read_solution();

  QUARN_env &env_;
  std::unique_ptr<Clp> clp_;
  std::vector<int32_t> clp_row_;     ///< of each row of the record
  std::vector<int32_t> clp_column_;  ///< of each column of the record that is there; -1: left out
  int32_t linking_rows_ = 0;         ///< of the record, those that are there
  double penalty_ = 0.0;             ///< 0: not set yet
  std::vector<double> duals_;
  double value_ = 0.0, column_sum_ = 0.0;
  bool penalised_ = false;
};

/// Whether this build has Clp.
bool simplex_available();

}  // namespace benchmarks

#endif

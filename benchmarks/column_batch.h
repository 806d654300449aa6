#ifndef BENCHMARKS_COLUMN_BATCH_H
#define BENCHMARKS_COLUMN_BATCH_H

#include <cstdint>
#include <vector>

#include "quarn/quarn.h"

namespace benchmarks {

/**
 * Gathers the columns of an oracle's answer and hands them to the library as one sparse batch.
 *
 *   ColumnBatch batch(*env.G);
 *   batch.start_column(cost, tag);
 *   batch.add_entry(row, coefficient);   // rows from 0: linking rows first, then the further rows
 *   ...
 *   batch.send(env);
 *
 * The record counts rows and positions from 1 and has the costs in its last row; all of that stays
 * in here.
 */
class ColumnBatch {
 public:
  /// For columns of the master problem whose matrix is `G`, the cost row included.
  explicit ColumnBatch(const QUARN_SMatrix_CW &G) : rows_(G.m) {}

  /// Begins the next column; the tag stays with the column for as long as it is in the matrix.
  void start_column(double cost, int32_t tag = -1);

  /// Adds a coefficient to the column begun last. A row named twice means the sum.
  void add_entry(int32_t row, double coefficient);

  /// Number of columns gathered.
  int32_t size() const { return static_cast<int32_t>(tags_.size()); }

  /// Adds the columns to the restricted master problem and empties the batch. Returns how many
  /// were accepted: the library turns duplicates away where column elimination is on. Throws
  /// std::bad_alloc when memory is short, std::invalid_argument when a value is not finite.
  int32_t send(QUARN_env &env);

 private:
  int32_t rows_;
  std::vector<double> elements_;
  std::vector<int32_t> row_indices_;
  std::vector<int32_t> starts_;
  std::vector<int32_t> tags_;
};

}  // namespace benchmarks

#endif

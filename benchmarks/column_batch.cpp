#include "benchmarks/column_batch.h"

#include <cmath>
#include <new>
#include <stdexcept>

namespace benchmarks {

void ColumnBatch::start_column(double cost, int32_t tag) {
  starts_.push_back(static_cast<int32_t>(elements_.size()) + 1);
  tags_.push_back(tag);
  add_entry(rows_ - 1, cost);
}

void ColumnBatch::add_entry(int32_t row, double coefficient) {
  // The library refuses the whole batch, with the same result as for lack of memory.
  if (!std::isfinite(coefficient)) throw std::invalid_argument("a column's entry is not finite");
  row_indices_.push_back(row + 1);
  elements_.push_back(coefficient);
}

int32_t ColumnBatch::send(QUARN_env &env) {
  starts_.push_back(static_cast<int32_t>(elements_.size()) + 1);
  QUARN_SMatrix_CW batch = {};
  batch.m = batch.max_m = rows_;
  batch.n = batch.max_n = size();
  batch.nz = batch.max_nz = static_cast<int32_t>(elements_.size());
  batch.elt = elements_.data();
  batch.rw = row_indices_.data();
  batch.col_start = starts_.data();
  const int32_t accepted = QUARN_add_columns(&env, &batch, tags_.data());
  elements_.clear();
  row_indices_.clear();
  starts_.clear();
  tags_.clear();
  if (accepted < 0) throw std::bad_alloc();
  return accepted;
}

}  // namespace benchmarks

#include "examples/common/row_batch.h"

#include <new>

namespace examples {

void RowBatch::add_row(RowType type, double rhs) { rows_.push_back({type, rhs, {}, {}}); }

void RowBatch::add_entry(int32_t row, int32_t column, double coefficient) {
  rows_[static_cast<size_t>(row)].columns.push_back(column + 1);
  rows_[static_cast<size_t>(row)].elements.push_back(coefficient);
}

void RowBatch::send(QUARN_env &env) const {
  if (rows_.empty()) return;
  std::vector<double> elements, rhs;
  std::vector<int32_t> columns, types, starts = {1};
  for (const Row &row : rows_) {
    elements.insert(elements.end(), row.elements.begin(), row.elements.end());
    columns.insert(columns.end(), row.columns.begin(), row.columns.end());
    starts.push_back(static_cast<int32_t>(elements.size()) + 1);
    rhs.push_back(row.rhs);
    types.push_back(row.type);
  }
  const auto entries = static_cast<int32_t>(elements.size());
  // A row without entries still needs arrays to point to.
  elements.resize(elements.size() + 1);
  columns.resize(columns.size() + 1);
  const std::vector<double> lower(rows_.size(), -MasterRows::kWideBox);
  const std::vector<double> upper(rows_.size(), MasterRows::kWideBox);
  QUARN_SMatrix_RW record = {};
  record.m = record.max_m = static_cast<int32_t>(rows_.size());
  record.n = record.max_n = env.G->n - env.ncols_aux;
  record.nz = record.max_nz = entries;
  record.elt = elements.data();
  record.row_start = starts.data();
  record.cl = columns.data();
  if (QUARN_add_rows(&env, &record, rhs.data(), types.data(), lower.data(), upper.data(),
                     nullptr) != 1) {
    throw std::bad_alloc();
  }
}

}  // namespace examples

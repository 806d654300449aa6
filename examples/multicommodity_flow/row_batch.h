#ifndef EXAMPLES_MULTICOMMODITY_FLOW_ROW_BATCH_H
#define EXAMPLES_MULTICOMMODITY_FLOW_ROW_BATCH_H

#include <cstdint>
#include <vector>

#include "quarn/quarn.h"

namespace multicommodity_flow {

/// Gathers new linking rows, with their entries in the generated columns, and hands them to the
/// library as one sparse batch.
class RowBatch {
 public:
  /// Begins another row, of one of the examples' row types.
  void add_row(int32_t type, double rhs);

  /// A coefficient of row `row` of the batch in generated column `column`, both from 0.
  void add_entry(int32_t row, int32_t column, double coefficient);

  /// Adds the rows behind the linking rows that are there; nothing happens without rows. Throws
  /// std::bad_alloc when memory is short.
  void send(QUARN_env &env) const;

 private:
  struct Row {
    int32_t type;
    double rhs;
    std::vector<int32_t> columns;  ///< from 1, as the record counts them
    std::vector<double> elements;
  };
  std::vector<Row> rows_;
};

}  // namespace multicommodity_flow

#endif

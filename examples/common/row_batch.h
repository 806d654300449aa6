#ifndef EXAMPLES_COMMON_ROW_BATCH_H
#define EXAMPLES_COMMON_ROW_BATCH_H

#include <cstdint>
#include <vector>

#include "examples/common/master_run.h"
#include "quarn/quarn.h"

namespace examples {

/**
 * Gathers new linking rows, with their entries in the generated columns, and hands them to the
 * library as one sparse batch.
 *
 * New rows have no columns of the dual box. Columns sent afterwards may have entries in them.
 */
class RowBatch {
 public:
  /// Begins another row.
  void add_row(RowType type, double rhs);

  /// A coefficient of row `row` of the batch in generated column `column`, both from 0. Columns of
  /// a row in any order.
  void add_entry(int32_t row, int32_t column, double coefficient);

  /// Adds the rows behind the linking rows that are there; nothing happens without rows. Throws
  /// std::bad_alloc when memory is short.
  void send(QUARN_env &env) const;

 private:
  struct Row {
    RowType type;
    double rhs;
    std::vector<int32_t> columns;  ///< from 1, as the record counts them
    std::vector<double> elements;
  };
  std::vector<Row> rows_;
};

}  // namespace examples

#endif

#ifndef EXAMPLES_COMMON_PROGRESS_TABLE_H
#define EXAMPLES_COMMON_PROGRESS_TABLE_H

#include <cstdint>
#include <cstdio>

namespace examples {

/// One outer iteration, as it stands after the oracle's answer. A bound of absolute value 1e30 or
/// more is one that is not known yet.
struct ProgressRow {
  int32_t iteration;
  double lower_bound;
  double upper_bound;
  double gap;       ///< relative to the upper bound
  int32_t columns;  ///< generated so far
  double seconds;   ///< since the start
};

/// The compact table that every example prints while it runs: one line for each outer iteration.
class ProgressTable {
 public:
  /// Writes to `stream`, which has to outlive the table.
  explicit ProgressTable(FILE *stream) : stream_(stream) {}

  /// Writes a row, before the first one the heading, and flushes.
  void add(const ProgressRow &row);

 private:
  FILE *stream_;
  bool has_heading_ = false;
};

}  // namespace examples

#endif

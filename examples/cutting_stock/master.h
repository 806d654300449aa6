// Cutting stock by patterns: formulation, pricing, bound. The page of the example, README.md beside
// this file, derives the master problem (1), its pricing, the lower bound (2), the dual box (3) and
// the rows (4) of the rounding heuristic; numbers in the comments are those of its equations.
#ifndef EXAMPLES_CUTTING_STOCK_MASTER_H
#define EXAMPLES_CUTTING_STOCK_MASTER_H

#include <cstdint>
#include <vector>

#include "examples/common/options.h"
#include "examples/cutting_stock/instance.h"
#include "examples/cutting_stock/pattern_pricing.h"
#include "quarn_cpp/quarn.hpp"

namespace cutting_stock {

/// Which master problem, and how it is solved.
struct MasterSettings : examples::Options {
  bool default_box = false;  ///< the library's wide box in place of (3)
  bool integer = false;      ///< the rows (4) in place of (1); the instance is piece by piece
  bool covering = false;     ///< with `integer`: >= in (4)
};

/// The rows (1) with the box (3) and the patterns of a complete solution that wastes little; or the
/// rows (4), equations with patterns of one piece, which can meet them whatever pieces remain.
quarn::Master make_master(const Instance &instance, const PatternPricer &pricer,
                          const MasterSettings &settings);

/// Prices patterns. Row i of the master is type i.
class Oracle {
 public:
  /// `instance` and `pricer` have to outlive the oracle; `columns_per_call` as in the options.
  Oracle(const Instance &instance, PatternPricer &pricer, const quarn::Master &master,
         int32_t columns_per_call)
      : instance_(instance), pricer_(pricer), rows_(master.rows()), most_(columns_per_call) {}

  quarn::Answer operator()(const quarn::Duals &duals, quarn::Columns &columns) const;

 private:
  double proven_bound(const std::vector<double> &u, double best_value) const;

  const Instance &instance_;
  PatternPricer &pricer_;
  std::vector<quarn::Row> rows_;
  int32_t most_;
};

/// The entries of a pattern's column; row i is type i.
std::vector<quarn::Entry> entries_of(const Pattern &pattern, const std::vector<quarn::Row> &rows);

/// The pattern of a column.
Pattern pattern_of(const quarn::Master &master, const quarn::Column &column);

}  // namespace cutting_stock

#endif

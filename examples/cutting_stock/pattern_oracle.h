// Cutting stock by patterns. The page of the example, README.md beside this file, derives the
// master problem (1), its pricing, the lower bound (2), the dual box (3) and the rows (4) of the
// rounding heuristic; numbers in the comments are those of its equations.
#ifndef EXAMPLES_CUTTING_STOCK_PATTERN_ORACLE_H
#define EXAMPLES_CUTTING_STOCK_PATTERN_ORACLE_H

#include <cstdint>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/cutting_stock/instance.h"
#include "examples/cutting_stock/master.h"
#include "examples/cutting_stock/pattern_pricing.h"

namespace cutting_stock {

/// The rows (1) with the box (3), or (4).
examples::MasterRows make_rows(const Instance &instance, const MasterSettings &settings);

/// Prices patterns.
class PatternOracle : public examples::Oracle {
 public:
  /// `instance` has to outlive the oracle.
  PatternOracle(const Instance &instance, const MasterSettings &settings);

  /// To be called once, before the run: keeps all columns and adds the first ones, those of a
  /// complete solution that wastes little, unless single pieces do that.
  void prepare(QUARN_env &env) const;

  examples::Answer price(QUARN_env &env) override;

  const PatternPricer &pricer() const { return pricer_; }

 private:
  void start(QUARN_env &env) const;
  void add_single_pieces(examples::ColumnBatch &batch);
  double proven_bound(const double *u, double best_value) const;

  const Instance &instance_;
  PatternPricer pricer_;
  int32_t most_;
  bool integer_;
  bool starts_with_pieces_;
};

}  // namespace cutting_stock

#endif

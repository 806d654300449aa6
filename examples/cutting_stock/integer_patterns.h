// Cutting stock to the integer optimum: branching on pairs of types, (5) to (7) of README.md.
#ifndef EXAMPLES_CUTTING_STOCK_INTEGER_PATTERNS_H
#define EXAMPLES_CUTTING_STOCK_INTEGER_PATTERNS_H

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "branch_and_price/branch_and_price.hpp"
#include "examples/cutting_stock/instance.h"
#include "examples/cutting_stock/node_types.h"
#include "examples/cutting_stock/pattern_pricing.h"
#include "examples/cutting_stock/rounding.h"

namespace cutting_stock {

/// The rows (1) with a dual box that holds in every node, and the patterns of a complete solution.
quarn::Master make_integer_master(const Instance &instance, const PatternPricer &pricer);

class IntegerPatterns : public quarn::branch_and_price::Problem {
 public:
  /// `instance` and `pricer` have to outlive the problem.
  IntegerPatterns(const Instance &instance, PatternPricer &pricer, const quarn::Master &master)
      : instance_(instance), pricer_(pricer), rows_(master.rows()) {}

  quarn::Answer price(const quarn::branch_and_price::Subproblem &at, const quarn::Duals &duals,
                      quarn::Columns &columns) override;
  bool allows(const quarn::branch_and_price::Decision &decision, const quarn::Column &column,
              const std::vector<quarn::Entry> &entries) const override;
  double coefficient(const quarn::branch_and_price::Decision &decision, const quarn::Column &column,
                     const std::vector<quarn::Entry> &entries) const override;
  std::vector<quarn::branch_and_price::Branching> branch(
      const quarn::branch_and_price::Relaxation &relaxation) override;
  double granularity() const override { return 1.0; }
  std::optional<quarn::branch_and_price::Solution> heuristic(
      const quarn::branch_and_price::Relaxation &relaxation) override;
  bool fits(const quarn::branch_and_price::Subproblem &at, const quarn::Column &column,
            const std::vector<quarn::Entry> &entries) const override;

  /// The plan that a solution stands for.
  static CuttingPlan plan_of(const quarn::branch_and_price::Solution &solution);

 private:
  using Pair = std::pair<size_t, size_t>;

  std::map<Pair, double> pair_sums(const NodeTypes &types,
                                   const quarn::branch_and_price::Relaxation &relaxation) const;
  std::vector<quarn::Row> node_rows(const quarn::branch_and_price::Subproblem &at) const;
  double price_plain(const std::vector<double> &prices, const std::vector<int64_t> &demand,
                     quarn::Columns &columns);
  double price_pairs(const NodeTypes &types, const std::vector<quarn::Row> &rows,
                     const std::vector<double> &prices, const std::vector<int64_t> &demand,
                     quarn::Columns &columns) const;

  const Instance &instance_;
  PatternPricer &pricer_;
  std::vector<quarn::Row> rows_;
};

}  // namespace cutting_stock

#endif

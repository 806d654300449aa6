#ifndef EXAMPLES_CUTTING_STOCK_PATTERN_PRICING_H
#define EXAMPLES_CUTTING_STOCK_PATTERN_PRICING_H

#include <cstdint>
#include <vector>

#include "examples/cutting_stock/bounded_knapsack.h"
#include "examples/cutting_stock/instance.h"

namespace cutting_stock {

/// The outcome of pricing.
struct Pricing {
  double best_value = 0.0;  ///< no pattern is worth more than this; tight unless lengths are huge
  std::vector<Pattern> patterns;
};

/**
 * Finds good and different patterns for given prices of the pieces.
 *
 * With u_i the price of a piece of type i, the best pattern solves a bounded knapsack problem
 *
 *     z = max  sum_i u_i a_i   subject to  sum_i size_i a_i <= length,  0 <= a_i <= r_i,        (1)
 *
 * with r_i the demand. One pattern a round makes slow progress, and the next best ones are mostly
 * small variations of the best: they compete for the same demand, and a master problem with all of
 * them is hardly better off than with the first. So a round goes on as if its pattern was cut: it
 * is taken as often as what remains of the demands allows, r := r - k a, and (1) is solved again
 * for the same prices and the smaller r. Each pattern uses up at least one type, so the sequence
 * ends, at the latest when every type is used up, usually when what remains has no pattern that is
 * worth more than asked for. What comes out is a set of patterns that fit together into a solution
 * of the whole problem.
 *
 * Where few pieces of each type are wanted, as in bin packing, the sequence is short and leaves
 * most types without a pattern. Then comes the cover: for every type that no pattern of the round
 * holds yet, the best pattern for the full demands among those that do hold it.
 *
 * All problems of a round differ in r alone, which only falls: they share one set of tables (see
 * BoundedKnapsack). Only the first one must be solved to optimality, for the bound that it proves.
 */
class PatternPricer {
 public:
  /// `instance` has to outlive the pricer.
  explicit PatternPricer(const Instance &instance);

  /// Patterns of value above `worth` for the prices u (one for each type; a type whose price is
  /// not positive is left out), the best one first, at most `most` of them; 0: as many as there
  /// are.
  Pricing price(const double *u, double worth, int32_t most);
  /// The same for demands other than the instance's.
  Pricing price(const double *u, double worth, int32_t most, const std::vector<int64_t> &demand);

  /// The same without the bound and for demands other than the instance's: a complete greedy
  /// solution for `demand`, every pattern with the number of rolls to cut, as long as there is a
  /// pattern at all. Uses `demand` up, save for types whose price is not positive.
  std::vector<Cut> fill(const double *u, std::vector<int64_t> &demand) const;

 private:
  std::vector<int64_t> demands() const;

  const Instance &instance_;
  int64_t unit_;                ///< greatest common divisor of the sizes
  std::vector<int64_t> sizes_;  ///< in this unit
  BoundedKnapsack knapsack_;    ///< of the length in this unit, rounded down; keeps its memory
};

}  // namespace cutting_stock

#endif

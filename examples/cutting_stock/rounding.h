#ifndef EXAMPLES_CUTTING_STOCK_ROUNDING_H
#define EXAMPLES_CUTTING_STOCK_ROUNDING_H

#include <cstdint>
#include <vector>

#include "examples/cutting_stock/instance.h"
#include "examples/cutting_stock/pattern_pricing.h"

namespace cutting_stock {

/// A pattern and how often a solution of the linear program uses it.
struct PatternUse {
  Pattern pattern;
  double rolls;
};

/// A complete solution: what is cut, with more pieces of a type than wanted where that happens.
using CuttingPlan = std::vector<Cut>;

/// Rolls that a plan uses.
int64_t rolls(const CuttingPlan &plan);

/**
 * An integer solution near a solution x of the linear program. Every pattern is cut floor(x_p)
 * times, those used most first, and never so often that a roll holds nothing that is still wanted.
 * What is then left of the demands is covered by first-fit decreasing and, a second time, by the
 * patterns that waste least, one after the other; the plan with fewer rolls is returned.
 */
CuttingPlan round_up(const Instance &instance, const PatternPricer &pricer,
                     std::vector<PatternUse> solution);

/// First-fit decreasing for `demand` pieces of each type: every piece goes into the first roll with
/// room for it. Pieces of a type are placed all at once, so that time and memory depend on the
/// number of types and not on the demands.
CuttingPlan first_fit_decreasing(const Instance &instance, const std::vector<int64_t> &demand);

/// The plan with equal patterns put together, those cut most first. Types of equal size, which have
/// to be neighbours, count as one: the patterns name the first of them.
CuttingPlan merged(const Instance &instance, const CuttingPlan &plan);

/// Throws std::logic_error unless every pattern fits in the length and every demand is covered;
/// with `exactly`, nothing may be cut that is not wanted.
void verify(const Instance &instance, const CuttingPlan &plan, bool exactly);

}  // namespace cutting_stock

#endif

#ifndef EXAMPLES_DANTZIG_WOLFE_POINT_SETS_H
#define EXAMPLES_DANTZIG_WOLFE_POINT_SETS_H

#include <functional>
#include <vector>

#include "examples/dantzig_wolfe/block_pricer.h"
#include "examples/dantzig_wolfe/master_column.h"

namespace dantzig_wolfe {

/// Of a variable or a value.
struct Range {
  double lower, upper;
};

/// A bound of an integer variable that a point of its block meets or misses, a whole number.
struct Condition {
  int32_t variable;
  bool at_least;  ///< or at most
  double bound;

  bool holds(double value) const { return at_least ? value >= bound : value <= bound; }
  Condition opposite() const { return {variable, !at_least, at_least ? bound - 1.0 : bound + 1.0}; }
};

/// The points of a block that meet all of these.
using PointSet = std::vector<Condition>;

/// The entry of a block's variable, 0 when there is none.
double value_of(const MasterColumn &column, int32_t variable);
bool contains(const PointSet &set, const MasterColumn &point);

/// What the points of a set cost beside their own; infinite: they are forbidden.
struct PricedSet {
  PointSet set;
  double cost;
};

/**
 * Minimises  cost'x + sum of what the sets cost that x is in,  over a block whose variables `range`
 * bounds, by branch and bound: with sets left undecided the block costs at least what its pricer
 * says and the negative costs of these sets. Where the pricer's point pays otherwise for a set, it
 * is decided: x in it, or missing its first, second, ... condition. Each is a matter of bounds, so
 * any pricer does, and those sets alone count that matter at the optimum.
 */
BlockSolution price_with_sets(BlockPricer &pricer, const std::vector<Range> &range,
                              const std::vector<double> &cost, const std::vector<PricedSet> &sets,
                              int32_t most_points);

}  // namespace dantzig_wolfe

#endif

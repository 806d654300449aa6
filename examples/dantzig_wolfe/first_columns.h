#ifndef EXAMPLES_DANTZIG_WOLFE_FIRST_COLUMNS_H
#define EXAMPLES_DANTZIG_WOLFE_FIRST_COLUMNS_H

#include <vector>

#include "examples/dantzig_wolfe/block_pricing.h"

namespace dantzig_wolfe {

/**
 * Points of blocks that go some way to satisfy the linking rows together, for the first restricted
 * master. Blocks are priced one after the other, each copy of a block at prices of its own: `u`,
 * plus `push` where a row still lacks something and minus `push` where it is full. A point is
 * used as often as copies and rows allow.
 */
std::vector<MasterColumn> first_columns(const Reformulation &reformulation, BlockPricing &pricing,
                                        std::vector<double> u, double push);

}  // namespace dantzig_wolfe

#endif

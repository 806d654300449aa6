// The items as blocks, which threads and other processes can price.
#ifndef EXAMPLES_LOT_SIZING_PLAN_BLOCKS_H
#define EXAMPLES_LOT_SIZING_PLAN_BLOCKS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "block_pricing/block_pricer.hpp"
#include "examples/lot_sizing/instance.h"
#include "examples/lot_sizing/plan_pricing.h"
#include "examples/lot_sizing/plan_search.h"

namespace lot_sizing {

/// A block for each item: at the prices g, which come in place of the duals, its least cost as a
/// term, and its plan as the bytes of a column without entries.
class PlanBlocks : public quarn::BlockOracle {
 public:
  /// `instance` has to outlive the blocks.
  explicit PlanBlocks(const Instance &instance);

  size_t blocks() const override { return pricers_.size(); }
  std::string name(size_t block) const override { return "item " + std::to_string(block + 1); }
  quarn::BlockAnswer price(size_t block, const quarn::BlockDuals &duals,
                           quarn::BlockColumns &columns) override;

 private:
  std::vector<PlanPricer> pricers_;
};

/// Prices the items by these blocks. `out_of_time` is looked at between them.
PriceItems by_blocks(quarn::BlockPricer &pricer, std::function<bool()> out_of_time);

}  // namespace lot_sizing

#endif

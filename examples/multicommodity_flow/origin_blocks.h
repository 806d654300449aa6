// The origins as blocks, which threads and other processes can price.
#ifndef EXAMPLES_MULTICOMMODITY_FLOW_ORIGIN_BLOCKS_H
#define EXAMPLES_MULTICOMMODITY_FLOW_ORIGIN_BLOCKS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "block_pricing/block_pricer.hpp"
#include "examples/common/free_list.h"
#include "examples/multicommodity_flow/flow_router.h"
#include "examples/multicommodity_flow/network.h"

namespace multicommodity_flow {

/// A block for each origin: for arc lengths, which come in place of the duals, the columns of its
/// blocks in the master as bytes of columns without entries. Not for Grouping::kAll, whose one
/// block has all origins.
class OriginBlocks : public quarn::BlockOracle {
 public:
  /// `network` has to outlive the blocks.
  OriginBlocks(const Network &network, Grouping grouping);

  size_t blocks() const override { return origins_.size(); }
  std::string name(size_t block) const override;
  quarn::BlockAnswer price(size_t block, const quarn::BlockDuals &duals,
                           quarn::BlockColumns &columns) override;

 private:
  std::vector<size_t> origins_;
  examples::FreeList<FlowRouter> routers_;
};

/// The cheapest column of every block, by increasing block; empty when the time was over before.
std::vector<RoutedBlock> route_by_blocks(quarn::BlockPricer &pricer,
                                         const std::vector<double> &lengths,
                                         const std::function<bool()> &out_of_time);

}  // namespace multicommodity_flow

#endif

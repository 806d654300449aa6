// The agents as blocks, which threads and other processes can price.
#ifndef EXAMPLES_GENERALIZED_ASSIGNMENT_AGENT_BLOCKS_H
#define EXAMPLES_GENERALIZED_ASSIGNMENT_AGENT_BLOCKS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "block_pricing/block_pricer.hpp"
#include "examples/common/free_list.h"
#include "examples/generalized_assignment/bundle_search.h"
#include "examples/generalized_assignment/instance.h"
#include "examples/generalized_assignment/knapsack.h"

namespace generalized_assignment {

/// A block for each group of agents that are alike: for each of its agents a column without
/// entries, whose cost is what the best tasks are worth at the duals, and whose bytes are the
/// tasks.
class AgentBlocks : public quarn::BlockOracle {
 public:
  /// `instance` has to outlive the blocks.
  explicit AgentBlocks(const Instance &instance);

  size_t blocks() const override { return alike_.size(); }
  std::string name(size_t block) const override;
  quarn::BlockAnswer price(size_t block, const quarn::BlockDuals &duals,
                           quarn::BlockColumns &columns) override;

 private:
  const Instance &instance_;
  std::vector<std::vector<size_t>> alike_;
  examples::FreeList<Knapsack> tables_;
};

/// Prices the agents by these blocks. `out_of_time` is looked at between them.
PriceAgents by_blocks(const Instance &instance, quarn::BlockPricer &pricer,
                      std::function<bool()> out_of_time);

}  // namespace generalized_assignment

#endif

#include "examples/generalized_assignment/agent_blocks.h"

#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace generalized_assignment {

AgentBlocks::AgentBlocks(const Instance &instance)
    : instance_(instance),
      alike_(alike_agents(instance)),
      tables_([] { return std::make_unique<Knapsack>(); }) {}

std::string AgentBlocks::name(size_t block) const {
  return "agent " + std::to_string(alike_[block].front() + 1);
}

quarn::BlockAnswer AgentBlocks::price(size_t block, const quarn::BlockDuals &duals,
                                      quarn::BlockColumns &columns) {
  std::vector<double> worth(instance_.agents.size());
  std::vector<std::vector<int32_t>> chosen(worth.size());
  tables_.borrow([&](Knapsack &table) {
    price_group(instance_, alike_[block], duals.values, table, worth, chosen);
  });
  double sum = 0.0;
  for (const size_t i : alike_[block]) {
    columns.add(worth[i], {},
                std::string_view(reinterpret_cast<const char *>(chosen[i].data()),
                                 chosen[i].size() * sizeof(int32_t)));
    sum -= worth[i];
  }
  return quarn::BlockAnswer::term(sum);
}

PriceAgents by_blocks(const Instance &instance, quarn::BlockPricer &pricer,
                      std::function<bool()> out_of_time) {
  return [alike = alike_agents(instance), &pricer, out_of_time = std::move(out_of_time)](
             const std::vector<double> &u, std::vector<double> &worth,
             std::vector<std::vector<int32_t>> &chosen) {
    quarn::BlockDuals duals;
    duals.values = u;
    const quarn::BlockRound round = pricer.price(duals, out_of_time);
    if (!round.complete) return false;
    size_t column = 0;
    for (const std::vector<size_t> &group : alike) {
      for (const size_t i : group) {
        const quarn::BlockColumn found = round.columns[column++];
        worth[i] = found.cost;
        chosen[i].resize(found.data.size() / sizeof(int32_t));
        std::memcpy(chosen[i].data(), found.data.data(), found.data.size());
      }
    }
    return true;
  };
}

}  // namespace generalized_assignment

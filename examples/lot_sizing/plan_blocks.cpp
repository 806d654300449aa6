#include "examples/lot_sizing/plan_blocks.h"

#include <cstring>
#include <string_view>
#include <utility>

namespace lot_sizing {

PlanBlocks::PlanBlocks(const Instance &instance) {
  for (const Item &item : instance.items) pricers_.emplace_back(item);
}

quarn::BlockAnswer PlanBlocks::price(size_t block, const quarn::BlockDuals &duals,
                                     quarn::BlockColumns &columns) {
  Plan plan;
  const double cost = pricers_[block].cheapest(duals.values, plan);
  columns.add(
      cost, {},
      std::string_view(reinterpret_cast<const char *>(plan.data()), plan.size() * sizeof(double)));
  return quarn::BlockAnswer::term(cost);
}

PriceItems by_blocks(quarn::BlockPricer &pricer, std::function<bool()> out_of_time) {
  return [&pricer, out_of_time = std::move(out_of_time)](
             const std::vector<double> &g, std::vector<double> &costs, std::vector<Plan> &plans) {
    quarn::BlockDuals duals;
    duals.values = g;
    const quarn::BlockRound round = pricer.price(duals, out_of_time);
    if (!round.complete) return false;
    for (size_t i = 0; i < plans.size(); ++i) {
      costs[i] = round.answers[i].value;
      plans[i].resize(g.size());
      std::memcpy(plans[i].data(), round.columns[i].data.data(), g.size() * sizeof(double));
    }
    return true;
  };
}

}  // namespace lot_sizing

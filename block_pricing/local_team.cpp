#include "block_pricing/assignment.hpp"
#include "block_pricing/block_team.hpp"
#include "block_pricing/round.hpp"

namespace quarn {
inline namespace v1 {

BlockTeam::~BlockTeam() = default;

bool BlockTeam::serve(BlockOracle &) { return true; }

LocalTeam::LocalTeam(int threads) : threads_(threads), runner_(detail::make_runner(threads)) {}

LocalTeam::~LocalTeam() = default;

void LocalTeam::price(const detail::RoundTask &task, detail::RoundReport *report) {
  detail::Watch watch(task.out_of_time, task.enough_columns);
  const std::vector<uint32_t> order =
      detail::starting_order(task.costs, task.last_priced, task.enough_columns > 0);
  runner_->run(task.oracle, watch.watched(task.duals), order, watch, report);
  watch.rethrow();
}

}  // namespace v1
}  // namespace quarn

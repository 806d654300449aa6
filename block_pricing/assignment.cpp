#include "block_pricing/assignment.hpp"

#include <algorithm>
#include <limits>
#include <numeric>
#include <queue>
#include <utility>

namespace quarn {
inline namespace v1 {
namespace detail {

std::vector<uint32_t> starting_order(const std::vector<double> &costs,
                                     const std::vector<int32_t> &last_priced, bool oldest_first) {
  std::vector<uint32_t> order(costs.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
    if (oldest_first && last_priced[a] != last_priced[b]) return last_priced[a] < last_priced[b];
    return costs[a] > costs[b];
  });
  return order;
}

/// Seconds per block of those that were never priced: as long as the others in the mean, so that
/// they are spread evenly.
static double usual_cost(const std::vector<double> &costs) {
  double sum = 0.0;
  size_t known = 0;
  for (const double cost : costs) {
    sum += cost;
    if (cost > 0.0) ++known;
  }
  return known > 0 ? sum / static_cast<double>(known) : 1.0;
}

void Assignment::assign(const std::vector<uint32_t> &order, const std::vector<double> &costs,
                        const std::vector<WorkerLoad> &workers) {
  lists_.assign(workers.size(), {});
  if (workers.size() == 1) {
    lists_[0] = order;
    return;
  }
  const double usual = usual_cost(costs);
  using Free = std::pair<double, size_t>;  // when, which worker
  std::priority_queue<Free, std::vector<Free>, std::greater<>> next;
  for (size_t w = 0; w < workers.size(); ++w) next.push({workers[w].busy, w});
  for (const uint32_t block : order) {
    const auto [when, w] = next.top();
    next.pop();
    lists_[w].push_back(block);
    next.push({when + (costs[block] > 0.0 ? costs[block] : usual) / workers[w].speed, w});
  }
}

double Assignment::excess(const std::vector<double> &costs,
                          const std::vector<WorkerLoad> &workers) const {
  if (lists_.size() != workers.size()) return std::numeric_limits<double>::infinity();
  double work = 0.0, speed = 0.0, last = 0.0, longest = 0.0;
  for (size_t w = 0; w < workers.size(); ++w) {
    double load = 0.0;
    for (const uint32_t block : lists_[w]) {
      load += costs[block];
      longest = std::max(longest, costs[block]);
    }
    work += load + workers[w].busy * workers[w].speed;
    speed += workers[w].speed;
    last = std::max(last, workers[w].busy + load / workers[w].speed);
  }
  const double least = std::max(longest, work / speed);
  return least > 0.0 ? last / least - 1.0 : 0.0;
}

}  // namespace detail
}  // namespace v1
}  // namespace quarn

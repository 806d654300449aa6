#include "examples/generalized_assignment/annealing.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

namespace generalized_assignment {

// Temperatures, times the mean cost of a task.
constexpr double kHottest = 0.1, kColdest = 0.002;
// The price of overload and the temperature change after so many moves.
constexpr int64_t kPeriod = 500;
constexpr double kPriceStep = 1.05;
// Where all costs are 0 the temperature is not.
constexpr double kLeastMagnitude = 1e-6;

namespace {

class Annealing {
 public:
  Annealing(const Instance &instance, std::vector<size_t> start, uint32_t seed)
      : instance_(instance), assignment_(std::move(start)), random_(seed) {
    for (const Agent &agent : instance.agents) room_.push_back(agent.capacity);
    double weights = 0.0, magnitude = kLeastMagnitude;
    for (size_t j = 0; j < assignment_.size(); ++j) {
      cost_ += cost(assignment_[j], j);
      magnitude += std::fabs(cost(assignment_[j], j));
      room_[assignment_[j]] -= weight(assignment_[j], j);
      weights += static_cast<double>(weight(assignment_[j], j));
    }
    for (const int64_t room : room_) overload_ += std::max<int64_t>(0, -room);
    mean_ = magnitude / static_cast<double>(assignment_.size());
    price_ = magnitude / std::max(1.0, weights);
    note();
  }

  std::optional<std::vector<size_t>> run(int64_t moves) {
    const auto periods = static_cast<double>(std::max<int64_t>(1, moves / kPeriod));
    const double cooling = std::pow(kColdest / kHottest, 1.0 / periods);
    temperature_ = kHottest * mean_;
    for (int64_t move = 1; move <= moves; ++move) {
      const size_t j = below(assignment_.size());
      if ((random_() & 1U) != 0) {
        try_changes({{j, below(room_.size())}, {j, assignment_[j]}}, 1);
      } else {
        const size_t k = below(assignment_.size());
        try_changes({{j, assignment_[k]}, {k, assignment_[j]}}, 2);
      }
      if (move % kPeriod != 0) continue;
      temperature_ *= cooling;
      price_ *= overload_ > 0 ? kPriceStep : 1.0 / kPriceStep;
    }
    return std::move(best_);
  }

 private:
  struct Change {
    size_t task, agent;
  };

  int64_t weight(size_t i, size_t j) const { return instance_.agents[i].weight[j]; }
  double cost(size_t i, size_t j) const { return instance_.agents[i].cost[j]; }
  size_t below(size_t count) { return static_cast<size_t>(random_()) % count; }

  void load(size_t agent, int64_t weight) {
    overload_ -= std::max<int64_t>(0, -room_[agent]);
    room_[agent] -= weight;
    overload_ += std::max<int64_t>(0, -room_[agent]);
  }

  void put(const Change &change) {
    const size_t old = assignment_[change.task];
    load(old, -weight(old, change.task));
    load(change.agent, weight(change.agent, change.task));
    cost_ += cost(change.agent, change.task) - cost(old, change.task);
    assignment_[change.task] = change.agent;
  }

  void try_changes(const Change (&changes)[2], int count) {
    const size_t old[2] = {assignment_[changes[0].task], assignment_[changes[1].task]};
    if (old[0] == changes[0].agent) return;
    const double before = cost_ + price_ * static_cast<double>(overload_);
    for (int k = 0; k < count; ++k) put(changes[k]);
    const double worse = cost_ + price_ * static_cast<double>(overload_) - before;
    const double chance = static_cast<double>(random_()) / static_cast<double>(random_.max());
    if (worse <= 0.0 || chance < std::exp(-worse / temperature_)) {
      note();
    } else {
      for (int k = count; k-- > 0;) put({changes[k].task, old[k]});
    }
  }

  void note() {
    constexpr double kBetter = 1e-9;
    if (overload_ > 0 || (best_ && cost_ >= best_cost_ - kBetter * std::fabs(best_cost_))) return;
    best_ = assignment_;
    best_cost_ = cost_;
  }

  const Instance &instance_;
  std::vector<size_t> assignment_;
  std::mt19937 random_;
  std::vector<int64_t> room_;  ///< of each agent, negative when it is overloaded
  int64_t overload_ = 0;
  double cost_ = 0.0, mean_ = 0.0, price_ = 0.0, temperature_ = 0.0;
  std::optional<std::vector<size_t>> best_;
  double best_cost_ = 0.0;
};

}  // namespace

std::optional<std::vector<size_t>> anneal(const Instance &instance, std::vector<size_t> start,
                                          int64_t moves, uint32_t seed) {
  if (start.empty()) return start;
  return Annealing(instance, std::move(start), seed).run(moves);
}

}  // namespace generalized_assignment

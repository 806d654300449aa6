#include "examples/generalized_assignment/knapsack.h"

#include <algorithm>

namespace generalized_assignment {

void Knapsack::add_task(size_t weight, double profit, unsigned char *taken) {
  const size_t states = best_.size();
  const double *without = best_.data();
  double *next = next_.data();
  std::copy(without, without + weight, next);
  std::fill(taken, taken + weight, static_cast<unsigned char>(0));
  // Separate arrays, so that the compiler may work on several capacities at once.
  for (size_t w = weight; w < states; ++w) {
    const double with = without[w - weight] + profit;
    taken[w] = with > without[w];
    next[w] = with > without[w] ? with : without[w];
  }
  best_.swap(next_);
}

void Knapsack::solve(const std::vector<int64_t> &weight, const std::vector<double> &profit,
                     int64_t capacity) {
  considered_.clear();
  weight_.clear();
  int64_t total = 0;
  for (size_t j = 0; j < weight.size(); ++j) {
    if (profit[j] <= 0.0 || weight[j] > capacity) continue;
    considered_.push_back(static_cast<int32_t>(j));
    weight_.push_back(static_cast<size_t>(weight[j]));
    total += weight[j];
  }
  const auto states = static_cast<size_t>(std::min(capacity, total)) + 1;
  best_.assign(states, 0.0);
  next_.resize(states);
  taken_.resize(std::max(taken_.size(), states * considered_.size()));
  for (size_t k = 0; k < considered_.size(); ++k) {
    const double worth = profit[static_cast<size_t>(considered_[k])];
    add_task(weight_[k], worth, taken_.data() + k * states);
  }
}

size_t Knapsack::state(int64_t capacity) const {
  return std::min(static_cast<size_t>(capacity), best_.size() - 1);
}

std::vector<int32_t> Knapsack::tasks(int64_t capacity) const {
  const size_t states = best_.size();
  size_t w = state(capacity);
  std::vector<int32_t> chosen;
  for (size_t k = considered_.size(); k-- > 0;) {
    if (taken_[k * states + w] == 0) continue;
    chosen.push_back(considered_[k]);
    w -= weight_[k];
  }
  std::reverse(chosen.begin(), chosen.end());
  return chosen;
}

}  // namespace generalized_assignment

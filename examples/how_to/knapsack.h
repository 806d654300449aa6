#ifndef EXAMPLES_HOW_TO_KNAPSACK_H
#define EXAMPLES_HOW_TO_KNAPSACK_H

#include <vector>

/// What is cut from one roll: pieces of each size, and what they are worth together.
struct Pattern {
  double worth = 0.0;
  std::vector<int> pieces;
};

/// The pattern that is worth most when a piece of size i is worth worths[i]: the unbounded knapsack
/// problem, by the best worth of every length up to `length`.
inline Pattern best_pattern(int length, const std::vector<int> &sizes,
                            const std::vector<double> &worths) {
  const auto at = [](int index) { return static_cast<size_t>(index); };
  std::vector<double> best(at(length) + 1, 0.0);
  std::vector<int> last(at(length) + 1, -1);  // the piece cut last, -1: waste
  for (int used = 1; used <= length; ++used) {
    best[at(used)] = best[at(used - 1)];
    for (int i = 0; i < static_cast<int>(sizes.size()); ++i) {
      if (sizes[at(i)] > used) continue;
      const double worth = best[at(used - sizes[at(i)])] + worths[at(i)];
      if (worth > best[at(used)]) best[at(used)] = worth, last[at(used)] = i;
    }
  }
  Pattern pattern = {best[at(length)], std::vector<int>(sizes.size(), 0)};
  for (int left = length; left > 0;) {
    const int i = last[at(left)];
    left -= i < 0 ? 1 : sizes[at(i)];
    if (i >= 0) ++pattern.pieces[at(i)];
  }
  return pattern;
}

#endif

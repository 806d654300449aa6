#ifndef EXAMPLES_GENERALIZED_ASSIGNMENT_KNAPSACK_H
#define EXAMPLES_GENERALIZED_ASSIGNMENT_KNAPSACK_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace generalized_assignment {

/**
 * The 0/1 knapsack problem for all capacities up to one, by dynamic programming.
 *
 * With f_k(w) the largest profit of tasks among the first k that weigh at most w together,
 *
 *     f_k(w) = max { f_{k-1}(w),  f_{k-1}(w - weight_k) + profit_k }.
 *
 * Source: R. Bellman, Notes on the theory of dynamic programming IV: maximization over discrete
 * sets, Naval Research Logistics Quarterly 3 (1956). One pass over n (capacity + 1) values, from
 * which the solution for every smaller capacity can be read as well.
 */
class Knapsack {
 public:
  /// Solves for the tasks of positive profit that fit at all.
  void solve(const std::vector<int64_t> &weight, const std::vector<double> &profit,
             int64_t capacity);

  /// Largest profit within `capacity`, which is at most the one given to solve().
  double value(int64_t capacity) const { return best_[state(capacity)]; }

  /// The tasks that attain it, in increasing order.
  std::vector<int32_t> tasks(int64_t capacity) const;

 private:
  size_t state(int64_t capacity) const;
  void add_task(size_t weight, double profit, unsigned char *taken);

  std::vector<double> best_, next_;   ///< f_k and f_{k+1}, up to the weight of all tasks
  std::vector<int32_t> considered_;   ///< the task of each k
  std::vector<size_t> weight_;        ///< its weight
  std::vector<unsigned char> taken_;  ///< for each k and w whether the second term is the larger
};

}  // namespace generalized_assignment

#endif

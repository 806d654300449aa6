#ifndef EXAMPLES_GENERALIZED_ASSIGNMENT_BUNDLE_SEARCH_H
#define EXAMPLES_GENERALIZED_ASSIGNMENT_BUNDLE_SEARCH_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "examples/generalized_assignment/instance.h"
#include "examples/generalized_assignment/knapsack.h"

namespace generalized_assignment {

/// Tasks for one agent, within its capacity: a column of the master problem.
struct Bundle {
  size_t agent;
  double cost;
  double reduced_cost;
  std::vector<int32_t> tasks;
};

/// What a search found.
struct Findings {
  double lower_bound = 0.0;  ///< of the master problem, from any search so far
  std::vector<Bundle> bundles;
};

/// The signs that the duals of the tasks can have.
struct DualRange {
  double least, most;
};

/// At most 0 where tasks may stay out. At least 0 where dropping a task never costs, since then a
/// task may as well be done more than once. Anything otherwise.
DualRange dual_range(const Instance &instance);

/// Agents with the same costs and weights, in groups.
std::vector<std::vector<size_t>> alike_agents(const Instance &instance);

/// The best tasks of the agents of a group at the duals u, and what they are worth, by agent.
void price_group(const Instance &instance, const std::vector<size_t> &group,
                 const std::vector<double> &u, Knapsack &knapsack, std::vector<double> &worth,
                 std::vector<std::vector<int32_t>> &chosen);

/// Prices all agents at the duals u: what the best tasks of each are worth, and these. False when
/// the time was over before all were priced.
using PriceAgents = std::function<bool(const std::vector<double> &u, std::vector<double> &worth,
                                       std::vector<std::vector<int32_t>> &chosen)>;

/**
 * Prices a round: the best bundle of every agent at the master's duals and at duals nearby.
 *
 * For any duals u of the tasks, within their range, the Lagrangian function
 *
 *     L(u) = sum_j u_j - sum_i max { sum_j (u_j - c_ij) y_j : sum_j w_ij y_j <= capacity_i }    (1)
 *
 * is a lower bound, and 1 - (number of best bundles with task j) is a subgradient. The first duals
 * are the master's own; the next ones are each a step further along the subgradient, whose length
 * the distance to an upper bound gives (see polyak_step.h). Tasks that nobody takes become dearer,
 * tasks that many take cheaper: the bundles of a round come to fit together. A bundle is of use
 * when its reduced cost at the master's duals is negative.
 *
 * Agents with the same costs and weights share a table, since it has the best bundles for all
 * smaller capacities in it.
 */
class BundleSearch {
 public:
  /// `instance` has to outlive the search; `dual_vectors` counts the master's own, too.
  BundleSearch(const Instance &instance, int32_t dual_vectors);

  /// Searches at the duals of the master: u_j for each task, then v_i for each agent. With
  /// `every_bundle` reduced costs do not matter. `others` price in place of this thread.
  Findings search(const double *u, double upper_bound, bool every_bundle,
                  const PriceAgents &others = nullptr);

 private:
  bool price_agents(const std::vector<double> &u);
  double evaluate(const std::vector<double> &u);
  void collect(const std::vector<double> &u, const double *v, bool every_bundle,
               std::vector<Bundle> &bundles) const;

  const Instance &instance_;
  int32_t dual_vectors_;
  DualRange range_;
  std::vector<std::vector<size_t>> alike_;    ///< agents with the same costs and weights
  std::vector<double> worth_;                 ///< of the best tasks, by agent
  std::vector<std::vector<int32_t>> chosen_;  ///< best tasks of every agent at the last duals
  std::vector<double> subgradient_;           ///< there
  Knapsack knapsack_;
  double lower_bound_;
};

/// The largest cost of a task in absolute value.
double largest_cost(const Instance &instance);

/// Keeps the `most` bundles of least reduced cost; 0 keeps all.
void keep_best(std::vector<Bundle> &bundles, int32_t most);

}  // namespace generalized_assignment

#endif

// Generalized assignment to the integer optimum: branching on "task to agent".
#ifndef EXAMPLES_GENERALIZED_ASSIGNMENT_INTEGER_ASSIGNMENT_H
#define EXAMPLES_GENERALIZED_ASSIGNMENT_INTEGER_ASSIGNMENT_H

#include <list>
#include <memory>
#include <optional>
#include <vector>

#include "branch_and_price/branch_and_price.hpp"
#include "examples/generalized_assignment/bundle_search.h"
#include "examples/generalized_assignment/instance.h"

namespace generalized_assignment {

/// The agent of each task, from 0.
using Assignment = std::vector<size_t>;

/// An assignment near shares of the tasks that the agents have, [agent][task]: task by task to the
/// largest share for which there is room, those with the clearest share first, then improved by
/// moving tasks and exchanging pairs. Nothing when a task finds no room.
std::optional<Assignment> assign_near(const Instance &instance,
                                      const std::vector<std::vector<double>> &shares);

double cost_of(const Instance &instance, const Assignment &assignment);

/**
 * Decisions are on an agent i and a task j: `with` takes the task from all other agents, `without`
 * from this one. Neither needs a row, and pricing is that of an instance in which some tasks do not
 * fit some agents.
 */
class IntegerAssignment : public quarn::branch_and_price::Problem {
 public:
  /// `instance`, in which every task has to be done, has to outlive the problem.
  IntegerAssignment(const Instance &instance, const quarn::Master &master, int32_t dual_vectors);

  quarn::Answer price(const quarn::branch_and_price::Subproblem &at, const quarn::Duals &duals,
                      quarn::Columns &columns) override;
  bool allows(const quarn::branch_and_price::Decision &decision, const quarn::Column &column,
              const std::vector<quarn::Entry> &entries) const override;
  std::vector<quarn::branch_and_price::Branching> branch(
      const quarn::branch_and_price::Relaxation &relaxation) override;
  double granularity() const override { return granularity_; }
  std::optional<quarn::branch_and_price::Solution> heuristic(
      const quarn::branch_and_price::Relaxation &relaxation) override;

  /// The assignment that a solution stands for; a task that is in two bundles is done in the first.
  Assignment assignment_of(const quarn::branch_and_price::Solution &solution) const;

 private:
  /// The instance of a node, with what pricing keeps between its rounds.
  struct Node {
    std::vector<quarn::branch_and_price::Decision> decisions;
    Instance instance;
    std::unique_ptr<BundleSearch> search;
  };

  Node &node_of(const std::vector<quarn::branch_and_price::Decision> &decisions);
  Instance restricted(const std::vector<quarn::branch_and_price::Decision> &decisions) const;
  quarn::Answer price_rest(const quarn::branch_and_price::Subproblem &at, const quarn::Duals &duals,
                           quarn::Columns &columns);
  void add(const std::vector<Bundle> &bundles, quarn::Columns &columns) const;
  std::vector<std::vector<double>> shares(
      const quarn::branch_and_price::Relaxation &relaxation) const;
  size_t agent_of(const std::vector<quarn::Entry> &entries) const;

  const Instance &instance_;
  std::vector<quarn::Row> rows_;
  int32_t dual_vectors_;
  double granularity_;
  double worst_cost_ = 0.0;
  uint32_t calls_ = 0;     ///< of the heuristic
  std::list<Node> nodes_;  ///< the last ones, which must not move
};

}  // namespace generalized_assignment

#endif

#ifndef EXAMPLES_GENERALIZED_ASSIGNMENT_INSTANCE_H
#define EXAMPLES_GENERALIZED_ASSIGNMENT_INSTANCE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace generalized_assignment {

/// One agent: what each task costs it, what each takes of its capacity.
struct Agent {
  int64_t capacity = 0;
  std::vector<double> cost;     ///< one for each task
  std::vector<int64_t> weight;  ///< one for each task, 0 or more
};

/// A generalized assignment problem: every task goes to one agent, at least cost.
struct Instance {
  std::vector<Agent> agents;
  /// Tasks may stay out; costs are then negative profits (multiple knapsack).
  bool optional = false;

  size_t tasks() const { return agents.front().cost.size(); }
};

/// Reads the format of the published classes: numbers of agents and of tasks, then the costs, agent
/// by agent, the weights likewise, the capacities; line breaks anywhere. Anything else becomes an
/// examples::InputError with file and line.
Instance read_instance(const std::string &path);

/**
 * A random instance of a published class; `kind` is
 *
 *   C   weights from 5 to 25, costs from 10 to 50
 *   D   weights w from 1 to 100, costs 111 - w + draw in [-10, 10]: what is cheap is heavy
 *   E   weights w = floor(1 - 10 ln x), costs floor(1000 / w - 10 y), at least 1, x and y uniform
 *       in (0, 1]
 *   K   multiple knapsack: tasks with weights from 10 to 1000 and profits within 100 of the weight,
 *       both the same for all agents, capacities of about half of all weights together
 *
 * and the capacities of C, D, E are 0.8 times the agent's sum of weights over the number of agents.
 * Sources: P. C. Chu, J. E. Beasley, A genetic algorithm for the generalised assignment problem,
 * Computers & Operations Research 24 (1997), for C and D; M. Laguna, J. P. Kelly, J. L.
 * Gonzalez-Velarde, F. Glover, Tabu search for the multilevel generalized assignment problem,
 * European Journal of Operational Research 82 (1995), for E.
 */
Instance generate_instance(char kind, int32_t tasks, int32_t agents, int64_t seed);

}  // namespace generalized_assignment

#endif

#ifndef EXAMPLES_GENERALIZED_ASSIGNMENT_ANNEALING_H
#define EXAMPLES_GENERALIZED_ASSIGNMENT_ANNEALING_H

#include <cstdint>
#include <optional>
#include <vector>

#include "examples/generalized_assignment/instance.h"

namespace generalized_assignment {

/**
 * Simulated annealing from an assignment [task], the agent of each, whose agents may be overloaded:
 * tasks change agents, or two exchange theirs. Overload has a price, which rises while there is
 * some and falls while there is none, so that the search stays near the border where good
 * assignments are. Returns the cheapest one without overload that it met; nothing when it met none.
 * The same for the same seed. Source: S. Kirkpatrick, C. D. Gelatt, M. P. Vecchi, Optimization by
 * simulated annealing, Science 220 (1983).
 */
std::optional<std::vector<size_t>> anneal(const Instance &instance, std::vector<size_t> start,
                                          int64_t moves, uint32_t seed);

}  // namespace generalized_assignment

#endif

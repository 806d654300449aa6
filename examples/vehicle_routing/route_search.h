#ifndef EXAMPLES_VEHICLE_ROUTING_ROUTE_SEARCH_H
#define EXAMPLES_VEHICLE_ROUTING_ROUTE_SEARCH_H

#include <cstdint>
#include <limits>
#include <vector>

#include "examples/common/lehmer.h"
#include "examples/vehicle_routing/instance.h"

namespace vehicle_routing {

/**
 * Good routes, without a bound: parts of neighbouring routes are torn out, their customers put back
 * one by one where they cost least, and the outcome is kept as simulated annealing decides. Source:
 * J. Christiaens, G. Vanden Berghe, Slack induction by string removals for vehicle routing
 * problems, Transportation Science 54 (2020).
 */
class RouteSearch {
 public:
  /// `instance` has to outlive the search.
  explicit RouteSearch(const Instance &instance);

  /// Cools down once, in so many steps, from routes that serve every customer once. Returns the
  /// best routes of all runs.
  const std::vector<Route> &run(const std::vector<Route> &start, int32_t steps);
  /// Length of the best routes.
  int64_t length() const { return best_length_; }

 private:
  /// A route with the times that decide whether a customer can be put in.
  struct Tour {
    Route visits;
    std::vector<int32_t> earliest;  ///< [visits] start of service
    std::vector<int32_t> latest;    ///< [visits] so that the rest is in time
    int32_t load = 0;
  };
  struct Plan {
    std::vector<Tour> tours;
    int64_t length = 0;
  };
  struct Place {
    size_t tour, position;
    int32_t longer;  ///< than before
  };

  Plan plan_of(const std::vector<Route> &routes) const;
  void set_times(Tour *tour) const;
  void tear(Plan *plan);
  void tear_string(Tour *tour, size_t at, size_t length);
  void put_back(Plan *plan);
  void sort_loose();
  Place best_place(const Plan &plan, int32_t customer);
  void look_at(const Plan &plan, size_t tour, int32_t customer, Place *best);
  int64_t length_of(const Plan &plan) const;
  void take(const Plan &plan);

  const Node &node(int32_t i) const { return instance_.nodes[static_cast<size_t>(i)]; }
  int32_t between(int32_t i, int32_t j) const {
    return distance_[static_cast<size_t>(i) * instance_.nodes.size() + static_cast<size_t>(j)];
  }
  /// From 0 to below 1.
  double chance() { return static_cast<double>(random_.draw(0, 999999)) / 1e6; }

  const Instance &instance_;
  examples::Lehmer random_{1};
  std::vector<int32_t> distance_;
  std::vector<std::vector<int32_t>> near_;  ///< of each customer: all, the nearest first
  std::vector<int32_t> loose_;              ///< customers torn out
  std::vector<Route> best_;
  int64_t best_length_ = std::numeric_limits<int64_t>::max();
};

}  // namespace vehicle_routing

#endif

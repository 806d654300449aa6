// Vehicle routing with time windows: formulation, pricing, bound. The page of the example,
// README.md beside this file, derives the master problem (1), its pricing over ng-routes
// (network.h, label_setting.h, route_pricing.h), the lower bound (2) and the dual box.
#ifndef EXAMPLES_VEHICLE_ROUTING_MASTER_H
#define EXAMPLES_VEHICLE_ROUTING_MASTER_H

#include <cstdint>
#include <string>
#include <vector>

#include "examples/common/master_solve.h"
#include "examples/vehicle_routing/instance.h"
#include "examples/vehicle_routing/network.h"
#include "examples/vehicle_routing/route_pricing.h"
#include "quarn_cpp/quarn.hpp"

namespace vehicle_routing {

constexpr double kUnit = 0.1;  // lengths are in tenths
// Above so many columns those with large reduced costs are removed.
constexpr int32_t kMostColumns = 10000;

/// How the master problem is solved.
struct MasterSettings : examples::Options {
  MasterSettings();

  int32_t ng_size = 8;  ///< customers in a neighbourhood
};

/// The rows (1) with their box, and a route to each customer alone. Rounding may cover a customer
/// twice and drop the second visit, so with `integer` the rows are covering ones.
quarn::Master make_master(const Instance &instance, bool integer);

/// The customers, for a file.
std::string text_of(const Route &route);
/// The columns' objects are their Routes.
examples::ColumnText column_text();

/// Entries of a route; an ng-route may come to a customer more than once.
std::vector<quarn::Entry> entries_of(Route route, const std::vector<quarn::Row> &rows);

double cost_of(const Instance &instance, const Route &route);

/// Prices routes.
class Oracle {
 public:
  /// `instance` has to outlive the oracle.
  Oracle(const Instance &instance, const quarn::Master &master, const MasterSettings &settings);

  quarn::Answer operator()(const quarn::Duals &duals, quarn::Columns &columns);

 private:
  const Instance &instance_;
  std::vector<quarn::Row> rows_;
  Network network_;
  RoutePricer pricer_;
  int32_t most_;
};

}  // namespace vehicle_routing

#endif

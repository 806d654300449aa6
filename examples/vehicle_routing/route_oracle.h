// Vehicle routing with time windows. The page of the example, README.md beside this file, derives
// the master problem (1), its pricing over ng-routes (network.h, label_setting.h, route_pricing.h),
// the lower bound (2) and the dual box.
#ifndef EXAMPLES_VEHICLE_ROUTING_ROUTE_ORACLE_H
#define EXAMPLES_VEHICLE_ROUTING_ROUTE_ORACLE_H

#include <cstdint>
#include <vector>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/vehicle_routing/instance.h"
#include "examples/vehicle_routing/master.h"
#include "examples/vehicle_routing/network.h"
#include "examples/vehicle_routing/route_pricing.h"

namespace vehicle_routing {

/// The rows (1) with their box. Rounding may cover a customer twice and drop the second visit, so
/// with `integer` the rows are covering ones. Their duals are at least 0 anyway; the box is wider,
/// as one column of it at no cost would serve as a second surplus, and carry weight.
examples::MasterRows make_rows(const Instance &instance, bool integer);

/// Prices routes; column tags are positions in its list of all routes.
class RouteOracle : public examples::Oracle {
 public:
  /// `instance` has to outlive the oracle.
  RouteOracle(const Instance &instance, const MasterSettings &settings);

  examples::Answer price(QUARN_env &env) override;

  const Route &route(int32_t tag) const { return routes_[static_cast<size_t>(tag)]; }

 private:
  void add(examples::ColumnBatch &batch, const Route &route);

  const Instance &instance_;
  Network network_;
  RoutePricer pricer_;
  int32_t most_;
  std::vector<Route> routes_;
};

}  // namespace vehicle_routing

#endif

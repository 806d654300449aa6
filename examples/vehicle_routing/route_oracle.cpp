#include "examples/vehicle_routing/route_oracle.h"

namespace vehicle_routing {

constexpr double kLeastDual = -1.0;
// Upper end of the box, in lengths of the route to the customer alone.
constexpr double kBoxShare = 1.5;
RouteOracle::RouteOracle(const Instance &instance, const MasterSettings &settings)
    : instance_(instance),
      network_(instance, settings.ng_size),
      pricer_(network_),
      most_(settings.columns_per_call) {}

void RouteOracle::add(examples::ColumnBatch &batch, const Route &route) {
  batch.start_column(kUnit * static_cast<double>(route_length(instance_, route)),
                     static_cast<int32_t>(routes_.size()));
  for (const int32_t i : route) batch.add_entry(i - 1, 1.0);
  routes_.push_back(route);
}

examples::Answer RouteOracle::price(QUARN_env &env) {
  examples::ColumnBatch batch(*env.G);
  if (routes_.empty()) {
    for (int32_t i = 1; i <= instance_.customers(); ++i) add(batch, {i});
  }
  const double open_gap = env.u[env.G->m - 1] - examples::rmp_dual_value(env);
  const Pricing pricing = pricer_.price(env.u, open_gap, most_);
  for (const Route &route : pricing.routes) add(batch, route);
  batch.send(env);
  return {static_cast<int16_t>(pricing.exact ? 1 : 0), pricing.shortfall};
}

examples::MasterRows make_rows(const Instance &instance, bool integer) {
  examples::MasterRows rows;
  for (int32_t i = 1; i <= instance.customers(); ++i) {
    const double there_and_back = kUnit * static_cast<double>(route_length(instance, {i}));
    rows.add_linking_row(integer ? examples::kAtLeast : examples::kEqual, 1.0, kLeastDual,
                         kBoxShare * there_and_back + 1.0);
  }
  return rows;
}

}  // namespace vehicle_routing

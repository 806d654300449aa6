/**
 * Vehicle routing with time windows. The master problem chooses among routes r of length d_r that
 * visit customer i a_ir times:
 *
 *   minimise    sum_r d_r x_r
 *   subject to  sum_r a_ir x_r = 1    for every customer i, dual u_i (1)
 *               x >= 0
 *
 * Reduced cost of a route: d_r - sum_i a_ir u_i; the pricing problem is a shortest path with
 * limited load and time over ng-routes (network.h, label_setting.h, route_pricing.h). They may
 * visit a customer more than once, so the optimum of (1) is at most the one over elementary routes.
 *
 * Lower bound. For any u and any feasible x of (1)
 *
 *   sum_r d_r x_r = sum_i u_i + sum_r (d_r - sum_i a_ir u_i) x_r >= sum_i u_i + sum_i m_i, (2)
 *
 * where every route is assigned to one of its customers and m_i <= 0 bounds the reduced costs of
 * the routes assigned to i, whose x sum to at most 1 by row i. No limit on the number of routes is
 * needed. (With at most K routes, K times the least reduced cost would do as well; but K is not
 * known beyond the number of customers, and most m_i are 0.)
 *
 * Dual box. Leaving out one visit makes an elementary route at most one tenth longer: the triangle
 * inequality holds up to the truncation of lengths. So duals need not be below -0.1, and a box from
 * -1 on excludes nothing, yet spares the rounds in which duals of rows not yet understood are far
 * below zero. The route to customer i alone, d_0i and back, keeps u_i at or below its length; an
 * upper end beyond that is never reached either, and the first duals are not so large that pricing
 * them finds nearly every route worth while.
 */
#ifndef EXAMPLES_VEHICLE_ROUTING_ROUTE_ORACLE_H
#define EXAMPLES_VEHICLE_ROUTING_ROUTE_ORACLE_H

#include <cstdint>
#include <vector>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/vehicle_routing/instance.h"
#include "examples/vehicle_routing/network.h"
#include "examples/vehicle_routing/route_pricing.h"

namespace vehicle_routing {

constexpr double kUnit = 0.1;  // lengths are in tenths

/// How the master problem is solved.
struct MasterSettings : examples::Options {
  MasterSettings();

  int32_t ng_size = 8;  ///< customers in a neighbourhood
};

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

// Vehicle routing with time windows. The master problem chooses among routes r of length d_r that
// visit customer i a_ir times:
//
//   minimise    sum_r d_r x_r
//   subject to  sum_r a_ir x_r = 1    for every customer i, dual u_i (1)
//               x >= 0
//
// Reduced cost of a route: d_r - sum_i a_ir u_i; the pricing problem is a shortest path with
// limited load and time over ng-routes (network.h, label_setting.h, route_pricing.h). They may
// visit a customer more than once, so the optimum of (1) is at most the one over elementary routes.
//
// Lower bound. For any u and any feasible x of (1)
//
//   sum_r d_r x_r = sum_i u_i + sum_r (d_r - sum_i a_ir u_i) x_r >= sum_i u_i + sum_i m_i, (2)
//
// where every route is assigned to one of its customers and m_i <= 0 bounds the reduced costs of
// the routes assigned to i, whose x sum to at most 1 by row i. No limit on the number of routes is
// needed. (With at most K routes, K times the least reduced cost would do as well; but K is not
// known beyond the number of customers, and most m_i are 0.)
//
// Dual box. Leaving out one visit makes an elementary route at most one tenth longer: the triangle
// inequality holds up to the truncation of lengths. So duals need not be below -0.1, and a box from
// -1 on excludes nothing, yet spares the rounds in which duals of rows not yet understood are far
// below zero. The route to customer i alone, d_0i and back, keeps u_i at or below its length; an
// upper end beyond that is never reached either, and the first duals are not so large that pricing
// them finds nearly every route worth while.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/common/column_batch.h"
#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/common/run_report.h"
#include "examples/common/text_reader.h"
#include "examples/vehicle_routing/instance.h"
#include "examples/vehicle_routing/network.h"
#include "examples/vehicle_routing/route_pricing.h"

namespace vehicle_routing {

constexpr double kUnit = 0.1;  // lengths are in tenths
constexpr double kLeastDual = -1.0;
// Upper end of the box, in lengths of the route to the customer alone.
constexpr double kBoxShare = 1.5;

struct Settings {
  examples::Options shared;
  int32_t customers = 0, ng_size = 8, generate = 0;
  int64_t seed = 1;
  bool write = false, integer = false;
};

/// Prices routes; column tags are positions in its list of all routes.
class RouteOracle : public examples::Oracle {
 public:
  RouteOracle(const Instance &instance, const Settings &settings)
      : instance_(instance),
        network_(instance, settings.ng_size),
        pricer_(network_),
        most_(settings.shared.columns_per_call) {}

  examples::Answer price(QUARN_env &env) override {
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

  const Route &route(int32_t tag) const { return routes_[static_cast<size_t>(tag)]; }

 private:
  void add(examples::ColumnBatch &batch, const Route &route) {
    batch.start_column(kUnit * static_cast<double>(route_length(instance_, route)),
                       static_cast<int32_t>(routes_.size()));
    for (const int32_t i : route) batch.add_entry(i - 1, 1.0);
    routes_.push_back(route);
  }

  const Instance &instance_;
  Network network_;
  RoutePricer pricer_;
  int32_t most_;
  std::vector<Route> routes_;
};

/// Routes of the integer solution; a customer that was visited before is passed by.
static std::vector<Route> integer_routes(QUARN_env &env, const RouteOracle &oracle) {
  std::vector<bool> visited(static_cast<size_t>(env.m) + 1, false);
  std::vector<Route> routes;
  for (const examples::MasterColumn &column : examples::integer_solution(env)) {
    Route route;
    for (const int32_t i : oracle.route(column.tag)) {
      if (!visited[static_cast<size_t>(i)]) route.push_back(i);
      visited[static_cast<size_t>(i)] = true;
    }
    if (!route.empty()) routes.push_back(route);
  }
  return routes;
}

static void verify(const Instance &instance, const std::vector<Route> &routes) {
  size_t visits = 0;
  for (const Route &route : routes) {
    visits += route.size();
    if (!is_feasible(instance, route))
      throw std::logic_error("a route breaks a window or the load");
  }
  if (visits != static_cast<size_t>(instance.customers())) {
    throw std::logic_error("the routes do not visit every customer");
  }
}

static double print_routes(const Instance &instance, const std::vector<Route> &routes) {
  int64_t total = 0;
  for (size_t k = 0; k < routes.size(); ++k) {
    const int64_t length = route_length(instance, routes[k]);
    std::printf("route %3zu %9.1f :", k + 1, kUnit * static_cast<double>(length));
    for (const int32_t i : routes[k]) std::printf(" %d", static_cast<int>(i));
    std::printf("\n");
    total += length;
  }
  const double value = kUnit * static_cast<double>(total);
  std::printf("integer value   %.1f with %zu routes (%d vehicles)\n", value, routes.size(),
              static_cast<int>(instance.vehicles));
  return value;
}

static std::optional<double> report_routes(const Instance &instance, QUARN_env &env,
                                           const RouteOracle &oracle) {
  const std::vector<Route> routes = integer_routes(env, oracle);
  if (routes.empty()) {
    std::puts("integer value   none found");
    return std::nullopt;
  }
  verify(instance, routes);
  return print_routes(instance, routes);
}

/// Rounding may cover a customer twice and drop the second visit, so it gets covering rows. Their
/// duals are at least 0 anyway; the box is wider, as one column of it at no cost would serve as a
/// second surplus, and carry weight.
static examples::MasterRows make_rows(const Instance &instance, bool integer) {
  examples::MasterRows rows;
  for (int32_t i = 1; i <= instance.customers(); ++i) {
    const double there_and_back = kUnit * static_cast<double>(route_length(instance, {i}));
    rows.add_linking_row(integer ? examples::kAtLeast : examples::kEqual, 1.0, kLeastDual,
                         kBoxShare * there_and_back + 1.0);
  }
  return rows;
}

static Instance make_instance(const Settings &settings) {
  if (settings.generate > 0) return generate_instance(settings.generate, settings.seed);
  if (settings.shared.file.empty()) {
    throw examples::InputError("command line", 0, "give a FILE or --generate");
  }
  return read_instance(settings.shared.file, settings.customers);
}

static int solve(const Settings &settings) {
  const Instance instance = make_instance(settings);
  if (settings.write) {
    write_instance(instance, stdout);
    return examples::kSolved;
  }
  RouteOracle oracle(instance, settings);
  examples::MasterRun run(make_rows(instance, settings.integer), oracle, settings.shared);
  const examples::MasterResult result = settings.integer ? run.solve_integer() : run.solve();
  examples::print_summary(stdout, result);
  std::optional<double> value;
  if (settings.integer) value = report_routes(instance, run.env(), oracle);
  examples::write_json({instance.name, result, value}, settings.shared.json_file);
  return examples::exit_status(result);
}

}  // namespace vehicle_routing

int main(int argc, char **argv) {
  CLI::App app("Vehicle routing with time windows by column generation", "vehicle_routing");
  vehicle_routing::Settings settings;
  // Looser restricted master problems than this cost complete searches, tighter ones rounds.
  settings.shared.divisor = 3.0;
  examples::add_options(app, settings.shared);
  app.add_option("--customers", settings.customers, "take the first so many customers; 0: all")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--ng-size", settings.ng_size, "customers in a neighbourhood")
      ->check(CLI::Range(1, vehicle_routing::kLargestNeighbourhood))
      ->capture_default_str();
  app.add_flag("--integer", settings.integer, "run the rounding heuristic and print its routes");
  app.add_option("--generate", settings.generate, "generate so many customers instead of a FILE")
      ->check(CLI::Range(0, 1000));
  app.add_option("--seed", settings.seed, "of the generator")
      ->check(CLI::Range(1, 2147483646))
      ->capture_default_str();
  app.add_flag("--write", settings.write, "write the instance to standard output, do not solve it");
  if (const auto status = examples::parse(app, argc, argv)) return *status;
  return examples::run_guarded([&] { return vehicle_routing::solve(settings); });
}

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/common/integer_search.h"
#include "examples/common/master_solve.h"
#include "examples/common/options.h"
#include "examples/common/report.h"
#include "examples/common/text_reader.h"
#include "examples/vehicle_routing/instance.h"
#include "examples/vehicle_routing/integer_routes.h"
#include "examples/vehicle_routing/master.h"
#include "examples/vehicle_routing/network.h"

namespace vehicle_routing {

// The master problem, its pricing and its bound are derived in README.md.

struct Settings : MasterSettings {
  int32_t customers = 0, generate = 0;
  int64_t seed = 1;
  bool write = false, integer = false;
  examples::SearchOptions search;
};

namespace bp = quarn::branch_and_price;

/// Routes of the integer solution; a customer that was visited before is passed by.
static std::vector<Route> integer_routes(const Instance &instance, const quarn::Result &result) {
  std::vector<bool> visited(static_cast<size_t>(instance.customers()) + 1, false);
  std::vector<Route> routes;
  for (const auto &[column, value] : result.integer_values) {
    Route route;
    for (const int32_t i : column.get<Route>()) {
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

static std::optional<double> report_routes(const Instance &instance, const quarn::Result &result) {
  const std::vector<Route> routes = integer_routes(instance, result);
  if (routes.empty()) {
    std::puts("integer value   none found");
    return std::nullopt;
  }
  verify(instance, routes);
  return print_routes(instance, routes);
}

static Instance make_instance(const Settings &settings) {
  if (settings.generate > 0) return generate_instance(settings.generate, settings.seed);
  if (settings.file.empty()) {
    throw examples::InputError("command line", 0, "give a FILE or --generate");
  }
  return read_instance(settings.file, settings.customers);
}

/// To the integer optimum.
static int search(const Settings &settings, const Instance &instance) {
  const quarn::Master master = make_master(instance, false);
  IntegerRoutes problem(instance, master, settings);
  bp::Search tree(problem, master);
  tree.offer(problem.first_solution());
  bp::Settings how;
  how.dive_every = 0;  // the search for routes is as good, and takes a tenth of the time
  how.save_data = [](const std::any &data) { return text_of(std::any_cast<Route>(data)); };
  how = examples::search_settings(settings, settings.search, how);
  const bp::Outcome outcome = examples::run_search(tree, settings, how, column_text().read);
  examples::print_summary(outcome);
  if (outcome.has_solution) {
    std::vector<Route> routes;
    for (const bp::SolutionColumn &column : outcome.solution) {
      routes.push_back(std::any_cast<Route>(column.data));
    }
    verify(instance, routes);
    print_routes(instance, routes);
  }
  examples::write_json(instance.name, outcome, settings.json_file);
  return examples::exit_status(outcome);
}

static int solve(const Settings &settings) {
  const Instance instance = make_instance(settings);
  if (settings.write) {
    write_instance(instance, stdout);
    return examples::kSolved;
  }
  if (settings.search.optimal) return search(settings, instance);
  quarn::Master master =
      examples::resumed(make_master(instance, settings.integer), settings, column_text());
  Oracle oracle(instance, master, settings);
  quarn::Settings how = examples::settings_of(settings);
  how.max_columns = kMostColumns;
  how.rounding = settings.integer;
  const quarn::Result result =
      examples::solve(master, std::ref(oracle), settings, how, column_text());
  examples::print_summary(result);
  std::optional<double> value;
  if (settings.integer) value = report_routes(instance, result);
  examples::write_json({instance.name, result, value}, settings.json_file);
  return examples::exit_status(result);
}

}  // namespace vehicle_routing

int main(int argc, char **argv) {
  CLI::App app("Vehicle routing with time windows by column generation", "vehicle_routing");
  vehicle_routing::Settings settings;
  examples::add_options(app, settings);
  app.add_option("--customers", settings.customers, "take the first so many customers; 0: all")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--ng-size", settings.ng_size, "customers in a neighbourhood")
      ->check(CLI::Range(1, vehicle_routing::kLargestNeighbourhood))
      ->capture_default_str();
  app.add_flag("--integer", settings.integer, "run the rounding heuristic and print its routes");
  examples::add_search_options(app, settings.search);
  app.add_option("--generate", settings.generate, "generate so many customers instead of a FILE")
      ->check(CLI::Range(0, 1000));
  app.add_option("--seed", settings.seed, "of the generator")
      ->check(CLI::Range(1, 2147483646))
      ->capture_default_str();
  app.add_flag("--write", settings.write, "write the instance to standard output, do not solve it");
  if (const auto status = examples::parse(app, argc, argv)) return *status;
  return examples::run_guarded([&] { return vehicle_routing::solve(settings); });
}

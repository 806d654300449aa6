#include "examples/vehicle_routing/master.h"

#include <algorithm>
#include <sstream>
#include <string>

namespace vehicle_routing {

constexpr double kLeastDual = -1.0;
// Upper end of the box, in lengths of the route to the customer alone.
constexpr double kBoxShare = 1.5;
// Looser restricted master problems than this cost complete searches, tighter ones rounds.
constexpr double kDivisor = 3.0;

MasterSettings::MasterSettings() { divisor = kDivisor; }

double cost_of(const Instance &instance, const Route &route) {
  return kUnit * static_cast<double>(route_length(instance, route));
}

// Formulation

quarn::Master make_master(const Instance &instance, bool integer) {
  quarn::Master master;
  for (int32_t i = 1; i <= instance.customers(); ++i) {
    quarn::RowOptions options;
    options.name = "customer " + std::to_string(i);
    options.dual_bounds = {integer ? 0.0 : kLeastDual, kBoxShare * cost_of(instance, {i}) + 1.0};
    const quarn::Row row =
        master.add_row(integer ? quarn::RowSense::at_least : quarn::RowSense::equal, 1.0, options);
    master.add_column(cost_of(instance, {i}), {{row, 1.0}}, Route{i});
  }
  return master;
}

std::string text_of(const Route &route) {
  std::ostringstream text;
  for (const int32_t i : route) text << i << ' ';
  return text.str();
}

examples::ColumnText column_text() {
  const auto write = [](const quarn::Column &column) { return text_of(column.get<Route>()); };
  const auto read = [](const std::string &text) {
    Route route;
    std::istringstream words(text);
    for (int32_t i = 0; words >> i;) route.push_back(i);
    return std::any(route);
  };
  return {write, read};
}

// Pricing and bound

std::vector<quarn::Entry> entries_of(Route route, const std::vector<quarn::Row> &rows) {
  std::sort(route.begin(), route.end());
  std::vector<quarn::Entry> entries;
  for (const int32_t i : route) {
    const quarn::Row &row = rows[static_cast<size_t>(i - 1)];
    if (entries.empty() || entries.back().first != row) entries.push_back({row, 0.0});
    entries.back().second += 1.0;
  }
  return entries;
}

Oracle::Oracle(const Instance &instance, const quarn::Master &master,
               const MasterSettings &settings)
    : instance_(instance),
      rows_(master.rows()),
      network_(instance, settings.ng_size),
      pricer_(network_),
      most_(settings.columns_per_call) {}

quarn::Answer Oracle::operator()(const quarn::Duals &duals, quarn::Columns &columns) {
  const std::vector<double> &u = duals.values();
  double dual_value = 0.0;
  for (const double dual : u) dual_value += dual;
  const Pricing pricing = pricer_.price(u.data(), CutPrices(instance_.nodes.size()),
                                        duals.objective() - dual_value, most_);
  for (const Route &route : pricing.routes) {
    columns.add(cost_of(instance_, route), entries_of(route, rows_), route);
  }
  if (!pricing.exact) return quarn::Answer::heuristic();
  return quarn::Answer::bound(dual_value + pricing.shortfall);
}

}  // namespace vehicle_routing

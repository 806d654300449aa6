#include "examples/vehicle_routing/integer_routes.h"

#include <algorithm>

namespace vehicle_routing {

namespace bp = quarn::branch_and_price;

constexpr size_t kMostCandidates = 16;
// Strong branching comes back to a node's children: their networks are kept for as many.
constexpr size_t kKeptNodes = 4;
constexpr const char *kCut = "cut";
constexpr size_t kCutsOfARound = 12;
// More cuts make pricing harder; no more of them are added above so many labels.
constexpr size_t kMostLabels = 300000;
// Routes found without a complete search that lower the bound by more than this share are enough.
constexpr double kWildShare = 0.01;
// Steps of the search for routes for each customer: before the first node, and at nodes.
constexpr int32_t kFirstSteps = 500;
constexpr int32_t kSteps = 100;
constexpr int32_t kSearchEvery = 10;

IntegerRoutes::IntegerRoutes(const Instance &instance, const quarn::Master &master,
                             const MasterSettings &settings)
    : instance_(instance),
      rows_(master.rows()),
      ng_size_(settings.ng_size),
      most_(settings.columns_per_call),
      search_(instance) {}

static RouteCut cut_of(const bp::Decision &decision) {
  RouteCut cut = {};
  for (size_t k = 0; k < decision.numbers.size(); ++k) {
    const auto customer = static_cast<int32_t>(decision.numbers[k]);
    if (k < cut.customers.size()) {
      cut.customers[k] = customer;
    } else {
      cut.memory.push_back(customer);
    }
  }
  return cut;
}

/// Whether the decision forbids the arc (i, j).
static bool forbids(const bp::Decision &decision, int32_t i, int32_t j) {
  if (decision.kind == kCut) return false;
  const int64_t from = decision.numbers[0], to = decision.numbers[1];
  if (decision.kind == bp::kWithout) return i == from && j == to;
  const bool leaves = from > 0 && i == from && j != to;
  const bool enters = to > 0 && j == to && i != from;
  return leaves || enters;
}

void IntegerRoutes::forbid(const bp::Decision &decision, Network &network) const {
  for (int32_t i = 0; i < network.nodes(); ++i) {
    for (int32_t j = 0; j < network.nodes(); ++j) {
      if (i != j && forbids(decision, i, j)) network.forbid(i, j);
    }
  }
}

IntegerRoutes::Node &IntegerRoutes::node_of(const bp::Subproblem &at) {
  std::vector<int32_t> served;
  for (size_t k = 0; k < rows_.size(); ++k) {
    if (at.master.range(rows_[k]).upper < 0.5) served.push_back(static_cast<int32_t>(k) + 1);
  }
  for (Node &node : nodes_) {
    if (node.decisions == at.decisions && node.served == served) return node;
  }
  if (nodes_.size() == kKeptNodes) nodes_.pop_front();
  Node &node = nodes_.emplace_back(instance_, ng_size_);
  node.decisions = at.decisions;
  node.served = served;
  for (const bp::Decision &decision : at.decisions) forbid(decision, node.network);
  for (const int32_t customer : served) {
    for (int32_t i = 0; i < node.network.nodes(); ++i) {
      if (i == customer) continue;
      node.network.forbid(i, customer);
      node.network.forbid(customer, i);
    }
  }
  node.pricer = std::make_unique<RoutePricer>(node.network);
  return node;
}

/// The lower bound (2), for the customers that are left.
quarn::Answer IntegerRoutes::price(const bp::Subproblem &at, const quarn::Duals &duals,
                                   quarn::Columns &columns) {
  Node &node = node_of(at);
  double dual_value = 0.0;
  for (const quarn::Row &row : rows_) dual_value += duals[row] * at.master.range(row).upper;
  CutPrices prices(instance_.nodes.size());
  std::vector<std::pair<RouteCut, quarn::Row>> cuts;
  for (size_t k = 0; k < at.decisions.size(); ++k) {
    if (at.decisions[k].kind != kCut) continue;
    cuts.push_back({cut_of(at.decisions[k]), at.rows[k]});
    // An interior point may leave the dual slightly above 0; then it counts as 0, as it may.
    const double price = -duals[at.rows[k]];
    if (price <= 0.0) continue;
    prices.add(cuts.back().first, price);
    dual_value -= price * at.master.range(at.rows[k]).upper;
  }
  // What an infeasible restricted master has left open is no tolerance.
  const double open_gap = std::min(duals.objective() - dual_value, kWildShare * dual_value);
  const Pricing pricing = node.pricer->price(duals.values().data(), prices, open_gap, most_);
  if (pricing.exact) labels_ = pricing.labels;
  for (const Route &route : pricing.routes) {
    std::vector<quarn::Entry> entries = entries_of(route, rows_);
    for (const auto &[cut, row] : cuts) {
      const int32_t times = vehicle_routing::coefficient(cut, route);
      if (times > 0) entries.push_back({row, static_cast<double>(times)});
    }
    columns.add(cost_of(instance_, route), entries, route);
  }
  if (!pricing.exact) return quarn::Answer::heuristic();
  return quarn::Answer::bound(dual_value + pricing.shortfall);
}

double IntegerRoutes::coefficient(const bp::Decision &decision, const quarn::Column &column,
                                  const std::vector<quarn::Entry> &) const {
  return vehicle_routing::coefficient(cut_of(decision), column.get<Route>());
}

std::vector<bp::Decision> IntegerRoutes::cuts(const bp::Relaxation &relaxation) {
  const auto known = static_cast<size_t>(
      std::count_if(relaxation.at.decisions.begin(), relaxation.at.decisions.end(),
                    [](const bp::Decision &decision) { return decision.kind == kCut; }));
  if (known >= kMostCuts || labels_ > kMostLabels) return {};
  std::vector<std::pair<Route, double>> routes;
  for (const auto &[column, value] : relaxation.values) {
    routes.push_back({column.get<Route>(), value});
  }
  std::vector<bp::Decision> decisions;
  for (const RouteCut &cut :
       separate(routes, instance_.customers(), std::min(kCutsOfARound, kMostCuts - known))) {
    bp::Decision decision = {kCut, {}, bp::DecisionRow{quarn::RowSense::at_most, 1.0}};
    decision.numbers.assign(cut.customers.begin(), cut.customers.end());
    decision.numbers.insert(decision.numbers.end(), cut.memory.begin(), cut.memory.end());
    decisions.push_back(std::move(decision));
  }
  return decisions;
}

// Finding solutions

bp::Solution IntegerRoutes::solution_of(const std::vector<Route> &routes) const {
  bp::Solution solution;
  for (const Route &route : routes) {
    solution.push_back({cost_of(instance_, route), entries_of(route, rows_), route, 1.0});
  }
  return solution;
}

bp::Solution IntegerRoutes::first_solution() {
  std::vector<Route> alone;
  for (int32_t i = 1; i <= instance_.customers(); ++i) alone.push_back({i});
  return solution_of(search_.run(alone, kFirstSteps * instance_.customers()));
}

std::optional<bp::Solution> IntegerRoutes::heuristic(const bp::Relaxation &relaxation) {
  if (searched_++ % kSearchEvery != 0) return std::nullopt;
  std::vector<quarn::ColumnValue> values = relaxation.values;
  std::stable_sort(values.begin(), values.end(),
                   [](const auto &a, const auto &b) { return a.value > b.value; });
  std::vector<char> visited(instance_.nodes.size(), 0);
  std::vector<Route> start;
  for (const auto &[column, value] : values) {
    Route route;
    for (const int32_t i : column.get<Route>()) {
      if (visited[static_cast<size_t>(i)] == 0) route.push_back(i);
      visited[static_cast<size_t>(i)] = 1;
    }
    if (!route.empty()) start.push_back(std::move(route));
  }
  return solution_of(search_.run(start, kSteps * instance_.customers()));
}

bool IntegerRoutes::allows(const bp::Decision &decision, const quarn::Column &column,
                           const std::vector<quarn::Entry> &) const {
  int32_t before = 0;
  for (const int32_t customer : column.get<Route>()) {
    if (forbids(decision, before, customer)) return false;
    before = customer;
  }
  return !forbids(decision, before, 0);
}

std::vector<bp::Branching> IntegerRoutes::branch(const bp::Relaxation &relaxation) {
  const auto arcs_of = [](const quarn::Column &column) {
    std::vector<bp::Feature> arcs;
    int64_t before = 0;
    for (const int32_t customer : column.get<Route>()) {
      arcs.push_back({{before, customer}, 1.0});
      before = customer;
    }
    arcs.push_back({{before, 0}, 1.0});
    return arcs;
  };
  std::vector<bp::Branching> candidates =
      bp::branch_on_features(relaxation, arcs_of, kMostCandidates);
  for (bp::Branching &branching : candidates) {
    for (bp::Branch &branch : branching) branch.front().row.reset();
  }
  return candidates;
}

}  // namespace vehicle_routing

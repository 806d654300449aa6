#include "examples/vehicle_routing/integer_routes.h"

#include <algorithm>
#include <limits>

namespace vehicle_routing {

namespace bp = quarn::branch_and_price;

constexpr size_t kMostCandidates = 16;
// Strong branching comes back to a node's children: their networks are kept for as many.
constexpr size_t kKeptNodes = 4;
constexpr const char *kCut = "cut";
constexpr const char *kMemory = "memory";
// Cycles are taken away up to so many in a round, where no neighbourhood gets larger than that.
constexpr size_t kCyclesOfARound = 10;
constexpr size_t kMostRemembered = 20;
// Cuts wait until a round of longer memories closes less than this share of the gap.
constexpr double kMemoryProgress = 0.05;
constexpr size_t kCutsOfARound = 12;
constexpr double kUsed = 0.01;  // routes of less do not count
// More cuts make pricing harder; no more of them are added above so many labels.
constexpr size_t kManyLabels = 300000;
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

static Remembered remembered_of(const bp::Decision &decision) {
  Remembered pairs;
  for (size_t k = 0; k < decision.numbers.size(); k += 2) {
    pairs.push_back(
        {static_cast<int32_t>(decision.numbers[k]), static_cast<int32_t>(decision.numbers[k + 1])});
  }
  return pairs;
}

static Remembered remembered_at(const std::vector<bp::Decision> &decisions) {
  Remembered pairs;
  for (const bp::Decision &decision : decisions) {
    if (decision.kind == kMemory) pairs = remembered_of(decision);
  }
  return pairs;
}

/// Whether the decision forbids the arc (i, j).
static bool forbids(const bp::Decision &decision, int32_t i, int32_t j) {
  if (decision.kind == kCut || decision.kind == kMemory) return false;
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
  std::vector<bp::Decision> arcs;
  for (const bp::Decision &decision : at.decisions) {
    if (decision.kind != kCut) arcs.push_back(decision);
  }
  for (Node &node : nodes_) {
    if (node.decisions == arcs && node.served == served) return node;
  }
  if (nodes_.size() == kKeptNodes) nodes_.pop_front();
  Node &node = nodes_.emplace_back(instance_, ng_size_, remembered_at(arcs));
  node.decisions = arcs;
  node.served = served;
  for (const bp::Decision &decision : arcs) forbid(decision, node.network);
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

/// The cuts of a node, and what their duals mean for its bound.
struct IntegerRoutes::Cuts {
  Cuts(const bp::Subproblem &at, const quarn::Duals &duals, size_t nodes) : prices(nodes) {
    for (size_t k = 0; k < at.decisions.size(); ++k) {
      if (at.decisions[k].kind != kCut) continue;
      rows.push_back({cut_of(at.decisions[k]), at.rows[k]});
      // An interior point may leave the dual slightly above 0; then it counts as 0, as it may.
      const double price = -duals[at.rows[k]];
      if (price <= 0.0) continue;
      prices.add(rows.back().first, price);
      dual_value -= price * at.master.range(at.rows[k]).upper;
    }
  }

  std::vector<std::pair<RouteCut, quarn::Row>> rows;
  CutPrices prices;
  double dual_value = 0.0;
};

/// The lower bound (2), for the customers that are left.
quarn::Answer IntegerRoutes::price(const bp::Subproblem &at, const quarn::Duals &duals,
                                   quarn::Columns &columns) {
  RoutePricer &pricer = *node_of(at).pricer;
  const Cuts cuts(at, duals, instance_.nodes.size());
  const double *u = duals.values().data();
  double dual_value = 0.0;
  for (const quarn::Row &row : rows_) dual_value += duals[row] * at.master.range(row).upper;
  const double with_cuts = dual_value + cuts.dual_value;
  // What an infeasible restricted master has left open is no tolerance.
  const double open_gap = std::min(duals.objective() - with_cuts, kWildShare * with_cuts);
  const Pricing pricing = pricer.price(u, cuts.prices, open_gap, most_);
  if (pricing.exact) labels_ = pricing.labels;
  for (const Route &route : pricing.routes) add_column(route, cuts, columns);
  if (pricing.exact) return quarn::Answer::bound(with_cuts + pricing.shortfall);
  if (!pricing.routes.empty()) return quarn::Answer::heuristic();
  // Too many labels: without the cuts' prices the duals prove less, but something.
  labels_ = std::numeric_limits<size_t>::max();
  const double open = std::numeric_limits<double>::infinity();
  const Pricing plain = pricer.price(u, CutPrices(instance_.nodes.size()), open, most_);
  for (const Route &route : plain.routes) add_column(route, cuts, columns);
  return quarn::Answer::bound(dual_value + plain.shortfall);
}

void IntegerRoutes::add_column(const Route &route, const Cuts &cuts,
                               quarn::Columns &columns) const {
  std::vector<quarn::Entry> entries = entries_of(route, rows_);
  for (const auto &[cut, row] : cuts.rows) {
    const int32_t times = vehicle_routing::coefficient(cut, route);
    if (times > 0) entries.push_back({row, static_cast<double>(times)});
  }
  columns.add(cost_of(instance_, route), entries, route);
}

double IntegerRoutes::coefficient(const bp::Decision &decision, const quarn::Column &column,
                                  const std::vector<quarn::Entry> &) const {
  return vehicle_routing::coefficient(cut_of(decision), column.get<Route>());
}

namespace {

/// The way from one visit of a customer to the next.
struct Cycle {
  int32_t customer;
  Route between;
};

}  // namespace

static std::vector<Cycle> cycles_of(const bp::Relaxation &relaxation) {
  std::vector<Cycle> cycles;
  for (const auto &[column, value] : relaxation.values) {
    const auto &route = column.get<Route>();
    for (auto first = route.begin(); value > kUsed && first != route.end(); ++first) {
      const auto next = std::find(first + 1, route.end(), *first);
      if (next != route.end()) cycles.push_back({*first, Route(first + 1, next)});
    }
  }
  std::stable_sort(cycles.begin(), cycles.end(), [](const Cycle &a, const Cycle &b) {
    return a.between.size() < b.between.size();
  });
  return cycles;
}

/// Neighbourhoods that forbid the shortest cycles of the routes in use. Source: R. Roberti,
/// A. Mingozzi, Dynamic ng-path relaxation for the delivery man problem, Transportation Science 48
/// (2014).
std::vector<bp::Decision> IntegerRoutes::longer_memory(const bp::Relaxation &relaxation) const {
  Remembered pairs = remembered_at(relaxation.at.decisions);
  std::vector<size_t> sizes(instance_.nodes.size(), static_cast<size_t>(ng_size_));
  for (const auto &pair : pairs) ++sizes[static_cast<size_t>(pair.second)];
  const Network network(instance_, ng_size_, pairs);
  size_t forbidden = 0;
  for (const auto &[customer, between] : cycles_of(relaxation)) {
    Remembered more;
    bool fits = true;
    for (const int32_t j : between) {
      const std::pair<int32_t, int32_t> pair = {customer, j};
      if (network.bit(customer, j) >= 0 || std::count(pairs.begin(), pairs.end(), pair) > 0 ||
          std::count(more.begin(), more.end(), pair) > 0) {
        continue;
      }
      more.push_back(pair);
      fits = fits && sizes[static_cast<size_t>(j)] < kMostRemembered;
    }
    if (!fits) continue;
    for (const auto &pair : more) ++sizes[static_cast<size_t>(pair.second)];
    pairs.insert(pairs.end(), more.begin(), more.end());
    if (++forbidden == kCyclesOfARound) break;
  }
  if (forbidden == 0) return {};
  bp::Decision decision = {kMemory, {}};
  for (const auto &[i, j] : pairs) decision.numbers.insert(decision.numbers.end(), {i, j});
  return {decision};
}

const Network &IntegerRoutes::remembering(const bp::Decision &decision) const {
  if (remembering_ == nullptr || remembered_ != decision.numbers) {
    remembered_ = decision.numbers;
    remembering_ = std::make_unique<Network>(instance_, ng_size_, remembered_of(decision));
  }
  return *remembering_;
}

std::vector<bp::Decision> IntegerRoutes::cuts(const bp::Relaxation &relaxation) {
  if (labels_ > kManyLabels) return {};
  std::vector<bp::Decision> decisions = longer_memory(relaxation);
  const double distance = kUnit * static_cast<double>(search_.length()) - last_bound_;
  const bool is_idle = !relaxation.at.decisions.empty() &&
                       relaxation.at.decisions.back().kind == kMemory &&
                       relaxation.bound - last_bound_ < kMemoryProgress * distance;
  last_bound_ = relaxation.bound;
  if (!decisions.empty() && !is_idle) return decisions;
  const auto known = static_cast<size_t>(
      std::count_if(relaxation.at.decisions.begin(), relaxation.at.decisions.end(),
                    [](const bp::Decision &decision) { return decision.kind == kCut; }));
  if (known >= kMostCuts) return decisions;
  std::vector<std::pair<Route, double>> routes;
  for (const auto &[column, value] : relaxation.values) {
    routes.push_back({column.get<Route>(), value});
  }
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
  if (decision.kind == kMemory) return remembering(decision).is_allowed(column.get<Route>());
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

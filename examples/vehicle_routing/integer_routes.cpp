#include "examples/vehicle_routing/integer_routes.h"

#include <algorithm>

namespace vehicle_routing {

namespace bp = quarn::branch_and_price;

constexpr size_t kMostCandidates = 16;
// Strong branching comes back to a node's children: their networks are kept for as many.
constexpr size_t kKeptNodes = 4;

IntegerRoutes::IntegerRoutes(const Instance &instance, const quarn::Master &master,
                             const MasterSettings &settings)
    : instance_(instance),
      rows_(master.rows()),
      ng_size_(settings.ng_size),
      most_(settings.columns_per_call) {}

/// Whether the decision forbids the arc (i, j).
static bool forbids(const bp::Decision &decision, int32_t i, int32_t j) {
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
  const Pricing pricing =
      node.pricer->price(duals.values().data(), duals.objective() - dual_value, most_);
  for (const Route &route : pricing.routes) {
    columns.add(cost_of(instance_, route), entries_of(route, rows_), route);
  }
  if (!pricing.exact) return quarn::Answer::heuristic();
  return quarn::Answer::bound(dual_value + pricing.shortfall);
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

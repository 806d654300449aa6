#include "examples/multicommodity_flow/flow_router.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

namespace multicommodity_flow {

// Prices of negotiate(), in units of the mean arc cost: per pass and unit of relative overload, and
// at once above the share of the capacity from which an arc counts as full. Of steps from 0.3 to 3
// and crowding prices from 3 to 100 these took the fewest rounds over the five benchmark networks
// with 8 passes, 19 against 21 to 26; kFull was not varied.
constexpr double kPriceStep = 3.0;
constexpr double kCrowdingPrice = 10.0;
constexpr double kFull = 0.9;

/// Sorts by arc, and adds what is on the same one.
static void merge(std::vector<ArcFlow> &flow) {
  std::sort(flow.begin(), flow.end(),
            [](const ArcFlow &x, const ArcFlow &y) { return x.arc < y.arc; });
  size_t count = 0;
  for (const ArcFlow &next : flow) {
    if (count > 0 && flow[count - 1].arc == next.arc) {
      flow[count - 1].amount += next.amount;
    } else {
      flow[count++] = next;
    }
  }
  flow.resize(count);
}

FlowRouter::FlowRouter(const Network &network, Grouping grouping)
    : network_(network),
      paths_(network),
      from_(static_cast<size_t>(network.nodes)),
      targets_(static_cast<size_t>(network.nodes)) {
  std::vector<int32_t> block_from(static_cast<size_t>(network.nodes), -1);
  for (const Commodity &commodity : network.commodities) {
    const auto origin = static_cast<size_t>(commodity.origin);
    const auto k = static_cast<int32_t>(block_of_.size());
    from_[origin].push_back(k);
    targets_[origin].push_back(commodity.destination);
    int32_t block = grouping == Grouping::kCommodity ? k : 0;
    if (grouping == Grouping::kOrigin) {
      if (block_from[origin] < 0) block_from[origin] = blocks_;
      block = block_from[origin];
    }
    block_of_.push_back(block);
    blocks_ = std::max(blocks_, block + 1);
  }
}

std::vector<double> FlowRouter::arc_costs() const {
  std::vector<double> costs;
  for (const Arc &arc : network_.arcs) costs.push_back(static_cast<double>(arc.cost));
  return costs;
}

std::vector<RoutedBlock> FlowRouter::empty_routing() const {
  std::vector<RoutedBlock> routed;
  for (int32_t b = 0; b < blocks_; ++b) routed.push_back({{b, 0.0, {}}, 0.0});
  return routed;
}

/// The place of block b in a list of all.
static auto place_in(std::vector<RoutedBlock> &routed) {
  return [&routed](int32_t b) -> RoutedBlock & { return routed[static_cast<size_t>(b)]; };
}

/// Adds the commodities of one origin to their blocks, which are where `block_of` says for their
/// number, and what they put on the arcs to `sent`.
template <typename BlockOf>
void FlowRouter::route_origin(size_t origin, const std::vector<double> &lengths,
                              const BlockOf &block_of, std::vector<ArcFlow> *sent) {
  paths_.grow(static_cast<int32_t>(origin), targets_[origin], lengths);
  const auto unserved = static_cast<double>(network_.unserved_cost);
  for (const int32_t k : from_[origin]) {
    const Commodity &commodity = network_.commodities[static_cast<size_t>(k)];
    const auto demand = static_cast<double>(commodity.demand);
    RoutedBlock &block = block_of(block_of_[static_cast<size_t>(k)]);
    const double distance = paths_.distance(commodity.destination);
    if (unserved > 0.0 && distance >= unserved) {
      block.column.cost += demand * unserved;
      block.length += demand * unserved;
      continue;
    }
    if (std::isinf(distance)) {
      throw std::runtime_error("there is no path from node " + std::to_string(origin + 1) +
                               " to node " + std::to_string(commodity.destination + 1));
    }
    block.length += demand * distance;
    paths_.for_each_arc(commodity.destination, [&](int32_t arc) {
      block.column.cost +=
          demand * static_cast<double>(network_.arcs[static_cast<size_t>(arc)].cost);
      block.column.flow.push_back({arc, demand});
      if (sent != nullptr) sent->push_back({arc, demand});
    });
  }
}

std::vector<RoutedBlock> FlowRouter::route(const std::vector<double> &lengths) {
  std::vector<RoutedBlock> routed = empty_routing();
  for (size_t origin = 0; origin < from_.size(); ++origin) {
    if (!from_[origin].empty()) route_origin(origin, lengths, place_in(routed), nullptr);
  }
  for (RoutedBlock &block : routed) merge(block.column.flow);
  return routed;
}

std::vector<size_t> FlowRouter::origins() const {
  std::vector<size_t> origins;
  for (size_t origin = 0; origin < from_.size(); ++origin) {
    if (!from_[origin].empty()) origins.push_back(origin);
  }
  return origins;
}

std::vector<RoutedBlock> FlowRouter::route_from(size_t origin, const std::vector<double> &lengths) {
  std::vector<RoutedBlock> routed;
  // The commodities of an origin come by increasing block.
  const auto last_or_next = [&routed](int32_t b) -> RoutedBlock & {
    if (routed.empty() || routed.back().column.block != b) routed.push_back({{b, 0.0, {}}, 0.0});
    return routed.back();
  };
  route_origin(origin, lengths, last_or_next, nullptr);
  for (RoutedBlock &block : routed) merge(block.column.flow);
  return routed;
}

std::vector<FlowColumn> FlowRouter::unserved() const {
  if (network_.unserved_cost == 0) return {};
  std::vector<FlowColumn> columns;
  for (int32_t b = 0; b < blocks_; ++b) columns.push_back({b, 0.0, {}});
  for (size_t k = 0; k < network_.commodities.size(); ++k) {
    columns[static_cast<size_t>(block_of_[k])].cost +=
        static_cast<double>(network_.unserved_cost) *
        static_cast<double>(network_.commodities[k].demand);
  }
  return columns;
}

void FlowRouter::negotiate(int32_t passes, const std::function<void(FlowColumn)> &take) {
  const size_t arcs = network_.arcs.size();
  const std::vector<double> costs = arc_costs();
  double unit = 0.0;
  for (const double cost : costs) unit += cost / static_cast<double>(arcs);
  std::vector<double> use(arcs, 0.0), price(arcs, 0.0), lengths(arcs);
  std::vector<std::vector<ArcFlow>> sent(from_.size());
  // Use is flow in units of the capacity.
  const auto change_use = [&](const std::vector<ArcFlow> &flows, double sign) {
    for (const ArcFlow &flow : flows) {
      const auto a = static_cast<size_t>(flow.arc);
      use[a] += sign * flow.amount / std::max(1.0, static_cast<double>(network_.arcs[a].capacity));
    }
  };
  for (int32_t pass = 0; pass < passes; ++pass) {
    std::vector<RoutedBlock> routed = empty_routing();
    for (size_t origin = 0; origin < from_.size(); ++origin) {
      if (from_[origin].empty()) continue;
      change_use(sent[origin], -1.0);
      for (size_t a = 0; a < arcs; ++a) {
        lengths[a] = costs[a] + price[a] + kCrowdingPrice * unit * std::max(0.0, use[a] - kFull);
      }
      sent[origin].clear();
      route_origin(origin, lengths, place_in(routed), &sent[origin]);
      change_use(sent[origin], 1.0);
    }
    for (RoutedBlock &block : routed) {
      merge(block.column.flow);
      take(std::move(block.column));
    }
    for (size_t a = 0; a < arcs; ++a) {
      price[a] = std::max(0.0, price[a] + kPriceStep * unit * (use[a] - 1.0));
    }
  }
}

}  // namespace multicommodity_flow

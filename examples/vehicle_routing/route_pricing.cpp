#include "examples/vehicle_routing/route_pricing.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <set>
#include <utility>

namespace vehicle_routing {

constexpr double kUnit = 0.1;  // lengths are in tenths, duals and costs in units
// Above this a reduced cost is rounding.
constexpr double kWorthIt = -1e-7;
// Sets of disjoint routes in an answer, and joints that are looked at for them. With fewer sets
// more rounds are needed, with more of them the restricted master problems cost more than is won.
constexpr size_t kLayers = 10;
constexpr size_t kMostJoints = 5000;
// Labels of the two halves may differ by this factor; a step is this part of the depot's window.
constexpr double kImbalance = 1.3;
constexpr int32_t kHalfTimeSteps = 20;
// Labels of a half: where the first attempt is given up, and the last where there are cuts.
constexpr size_t kFewLabels = 30000;
constexpr size_t kMostLabels = 2000000;
constexpr size_t kAllArcs = std::numeric_limits<size_t>::max();

struct Level {
  Dominance dominance;
  size_t arcs;  ///< cheapest arcs out of every customer
};

static const Level kLevels[] = {{Dominance::kTimeCost, 10},
                                {Dominance::kTimeLoadCost, kAllArcs},
                                {Dominance::kMemory, kAllArcs},
                                {Dominance::kExact, kAllArcs}};

RoutePricer::RoutePricer(const Network &network)
    : network_(network),
      forward_(network, network.forward()),
      backward_(network, network.backward()),
      from_front_(network, network.forward(), network.backward()),
      from_back_(network, network.backward(), network.forward()),
      half_time_((network.forward().ready[0] + network.horizon()) / 2) {}

void RoutePricer::set_costs(const double *u) {
  const int32_t nodes = network_.nodes();
  cost_.resize(static_cast<size_t>(nodes) * static_cast<size_t>(nodes));
  for (int32_t i = 0; i < nodes; ++i) {
    for (int32_t j = 0; j < nodes; ++j) {
      cost_[network_.arc(i, j)] = kUnit * network_.length(i, j) - (j > 0 ? u[j - 1] : 0.0);
    }
  }
}

void RoutePricer::set_prices(const double *u, const CutPrices &cuts) {
  cuts_ = &cuts;
  set_costs(u);
  from_front_.update(cost_);
  from_back_.update(cost_);
  find_useful_arcs(u);
  forward_.set_prices(cost_, useful_, cuts, from_front_);
  backward_.set_prices(cost_, useful_back_, cuts, from_back_);
}

/// Arcs between customers for which the bounds leave a route of negative reduced cost.
void RoutePricer::find_useful_arcs(const double *u) {
  const Network::Direction &front = network_.forward(), &back = network_.backward();
  const auto first_time = [this](const Network::Direction &side, int32_t i, int32_t j) {
    return std::max(side.ready[static_cast<size_t>(i)] + side.step[network_.arc(i, j)],
                    side.ready[static_cast<size_t>(j)]);
  };
  useful_.assign(cost_.size(), 1);
  useful_back_.assign(cost_.size(), 1);
  for (int32_t i = 1; i < network_.nodes(); ++i) {
    for (const int32_t j : front.successors[static_cast<size_t>(i)]) {
      const double least = from_back_(i, first_time(back, j, i), j) - u[i - 1] +
                           cost_[network_.arc(i, j)] + from_front_(j, first_time(front, i, j), i);
      useful_[network_.arc(i, j)] = useful_back_[network_.arc(j, i)] = least < 0.0;
    }
  }
}

Pricing RoutePricer::price(const double *u, const CutPrices &cuts, double open_gap, int32_t most) {
  set_prices(u, cuts);
  Pricing pricing;
  joints_.clear();
  for (const Level &level : kLevels) {
    if (level.dominance == Dominance::kMemory && cuts.empty()) continue;
    // The labels of these joints go with the next search, which may be given up.
    if (level.dominance >= Dominance::kMemory) pricing.routes = choose_routes(most);
    if (!search(level.dominance, level.arcs)) return pricing;
    pricing.exact = level.dominance == Dominance::kExact;
    pricing.shortfall = std::accumulate(least_.begin(), least_.end(), 0.0);
    const bool found = !joints_.empty() && joints_.front().reduced_cost < kWorthIt;
    if (found && -pricing.shortfall > open_gap) break;
  }
  pricing.labels = forward_.created() + backward_.created();
  if (pricing.exact) move_half_time();
  pricing.routes = choose_routes(most);
  return pricing;
}

/// False when there are too many labels.
bool RoutePricer::search(Dominance dominance, size_t arcs) {
  if (!set_labels(dominance, arcs)) return false;
  join();
  return true;
}

/// Gives up a half that turns out far larger than the other may be, and moves H away from it.
bool RoutePricer::set_labels(Dominance dominance, size_t arcs) {
  const size_t enough = cuts_->empty() ? kAllArcs : kMostLabels;
  for (size_t most = kFewLabels; most <= enough / 2; most *= 2) {
    if (!forward_.run(dominance, half_time_, arcs, most)) {
      shift_half_time(-1);
    } else if (!backward_.run(dominance, network_.horizon() - half_time_ - 1, arcs, most)) {
      shift_half_time(1);
    } else {
      return true;
    }
  }
  return false;
}

/// The side with more labels gets less of the time in the next round.
void RoutePricer::move_half_time() {
  const double front = static_cast<double>(forward_.created());
  const double back = static_cast<double>(backward_.created());
  if (front > kImbalance * back) shift_half_time(-1);
  if (back > kImbalance * front) shift_half_time(1);
}

void RoutePricer::shift_half_time(int32_t steps) {
  const int32_t opening = network_.forward().ready[0];
  const int32_t step = (network_.horizon() - opening) / kHalfTimeSteps;
  half_time_ = std::clamp(half_time_ + steps * step, opening + step, network_.horizon() - step);
}

/// Of the backward labels at every node, cheapest first, what the condition (1) looks at.
void RoutePricer::list_halves() {
  halves_.resize(static_cast<size_t>(network_.nodes()));
  for (int32_t j = 0; j < network_.nodes(); ++j) {
    auto &list = halves_[static_cast<size_t>(j)];
    list.clear();
    for (const int32_t k : backward_.settled(j)) {
      const Label &back = backward_.label(k);
      list.push_back({back.cost, back.memory, back.open, network_.capacity() - back.load,
                      network_.horizon() - back.time, back.last, k});
    }
  }
}

/// Improves best_ of the forward labels at node i by the routes that go on from there to `to`.
void RoutePricer::join_arc(int32_t i, int32_t to) {
  const auto &halves = halves_[static_cast<size_t>(to)];
  if (to == i || halves.empty() || network_.is_forbidden(i, to)) return;
  if (useful_[network_.arc(i, to)] == 0) return;
  const size_t arc = network_.arc(i, to);
  const double length = kUnit * network_.length(i, to);
  const auto &fronts = forward_.settled(i);
  for (size_t f = 0; f < fronts.size(); ++f) {
    const Label &front = forward_.label(fronts[f]);
    const double cost = front.cost + length;
    if (cost + halves.front().cost >= 0.0) return;  // and so for those that follow
    if (to == front.last) continue;
    Joint &best = best_[f];
    const int32_t time = front.time + network_.forward().step[arc];
    const Memory carried = network_.carry(front.memory, i, to);
    for (const Half &half : halves) {
      if (cost + half.cost >= best.reduced_cost) break;
      if ((carried & half.memory) != 0 || front.load > half.most_load || time > half.most_time ||
          half.last == i) {
        continue;
      }
      const double reduced_cost = cost + half.cost + cuts_->price(front.open & half.open);
      if (reduced_cost < best.reduced_cost) best = {reduced_cost, fronts[f], half.label};
    }
  }
}

void RoutePricer::join() {
  joints_.clear();
  least_.assign(static_cast<size_t>(network_.nodes()), 0.0);
  list_halves();
  best_.assign(forward_.settled(0).size(), {});
  for (int32_t to = 1; to < network_.nodes(); ++to) {
    std::fill(best_.begin(), best_.end(), Joint());
    join_arc(0, to);
    for (const Joint &joint : best_) keep(joint, to);
  }
  for (int32_t i = 1; i < network_.nodes(); ++i) {
    best_.assign(forward_.settled(i).size(), {});
    for (int32_t to = 0; to < network_.nodes(); ++to) join_arc(i, to);
    for (const Joint &joint : best_) keep(joint, i);
  }
  std::sort(joints_.begin(), joints_.end(),
            [](const Joint &a, const Joint &b) { return a.reduced_cost < b.reduced_cost; });
}

void RoutePricer::keep(const Joint &joint, int32_t customer) {
  if (joint.forward < 0) return;
  double &least = least_[static_cast<size_t>(customer)];
  least = std::min(least, joint.reduced_cost);
  joints_.push_back(joint);
}

Route RoutePricer::route(const Joint &joint) const {
  Route route = forward_.path(joint.forward);
  const Route rest = backward_.path(joint.backward);
  route.insert(route.end(), rest.rbegin(), rest.rend());
  return route;
}

/// Puts the route into the first layer whose routes visit none of its customers.
static bool enter(const Route &route, std::vector<std::vector<char>> &layers) {
  for (std::vector<char> &visited : layers) {
    const auto is_visited = [&visited](int32_t i) { return visited[static_cast<size_t>(i)] != 0; };
    if (std::any_of(route.begin(), route.end(), is_visited)) continue;
    for (const int32_t i : route) visited[static_cast<size_t>(i)] = 1;
    return true;
  }
  return false;
}

std::vector<Route> RoutePricer::choose_routes(int32_t most) const {
  const size_t limit = most > 0 ? static_cast<size_t>(most) : kMostJoints;
  std::vector<std::vector<char>> layers(
      kLayers, std::vector<char>(static_cast<size_t>(network_.nodes()), 0));
  std::vector<Route> routes;
  std::set<Route> seen;
  for (size_t k = 0; k < std::min(joints_.size(), kMostJoints) && routes.size() < limit; ++k) {
    if (joints_[k].reduced_cost > kWorthIt) break;
    Route candidate = route(joints_[k]);
    if (!seen.insert(candidate).second || !enter(candidate, layers)) continue;
    routes.push_back(std::move(candidate));
  }
  return routes;
}

}  // namespace vehicle_routing

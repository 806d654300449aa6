#include "examples/vehicle_routing/route_search.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace vehicle_routing {

// Parameters of the cited work: customers torn out on average, the longest string, how often a
// string is split and by how much more, how often a place is overlooked.
constexpr double kTornOut = 15.0;
constexpr double kLongestString = 10.0;
constexpr double kSplit = 0.5;
constexpr double kLonger = 0.5;
constexpr double kOverlooked = 0.01;
// Temperatures at the start and at the end, in lengths of the best routes for each customer.
constexpr double kHot = 0.25;
constexpr double kCold = 0.025;

RouteSearch::RouteSearch(const Instance &instance) : instance_(instance) {
  const auto nodes = static_cast<int32_t>(instance.nodes.size());
  for (int32_t i = 0; i < nodes; ++i) {
    for (int32_t j = 0; j < nodes; ++j) distance_.push_back(distance(instance, i, j));
  }
  near_.resize(instance.nodes.size());
  for (int32_t i = 1; i < nodes; ++i) {
    auto &list = near_[static_cast<size_t>(i)];
    list.resize(static_cast<size_t>(nodes) - 1);
    std::iota(list.begin(), list.end(), 1);
    std::stable_sort(list.begin(), list.end(), [this, i](int32_t a, int32_t b) {
      return (a == i ? -1 : between(i, a)) < (b == i ? -1 : between(i, b));
    });
  }
}

int64_t RouteSearch::length_of(const Plan &plan) const {
  int64_t length = 0;
  for (const Tour &tour : plan.tours) {
    int32_t last = 0;
    for (const int32_t i : tour.visits) {
      length += between(last, i);
      last = i;
    }
    length += between(last, 0);
  }
  return length;
}

RouteSearch::Plan RouteSearch::plan_of(const std::vector<Route> &routes) const {
  Plan plan;
  for (const Route &route : routes) {
    plan.tours.push_back({route, {}, {}, 0});
    set_times(&plan.tours.back());
  }
  plan.length = length_of(plan);
  return plan;
}

void RouteSearch::set_times(Tour *tour) const {
  const size_t count = tour->visits.size();
  tour->earliest.resize(count);
  tour->latest.resize(count);
  tour->load = 0;
  int32_t last = 0, time = node(0).ready;
  for (size_t k = 0; k < count; ++k) {
    const int32_t i = tour->visits[k];
    time = std::max(node(i).ready, time + node(last).service + between(last, i));
    tour->earliest[k] = time;
    tour->load += node(i).demand;
    last = i;
  }
  int32_t next = 0;
  time = node(0).due;
  for (size_t k = count; k-- > 0;) {
    const int32_t i = tour->visits[k];
    time = std::min(node(i).due, time - between(i, next) - node(i).service);
    tour->latest[k] = time;
    next = i;
  }
}

const std::vector<Route> &RouteSearch::run(const std::vector<Route> &start, int32_t steps) {
  Plan current = plan_of(start);
  if (current.length < best_length_) take(current);
  const double cooling = std::pow(kCold / kHot, 1.0 / std::max(1, steps));
  double heat = kHot / static_cast<double>(instance_.customers());
  for (int32_t step = 0; step < steps; ++step, heat *= cooling) {
    const double temperature = heat * static_cast<double>(best_length_);
    Plan next = current;
    tear(&next);
    put_back(&next);
    next.length = length_of(next);
    const double allowed = -temperature * std::log(1.0 - chance());
    if (static_cast<double>(next.length - current.length) >= allowed) continue;
    current = std::move(next);
    if (current.length < best_length_) take(current);
  }
  return best_;
}

void RouteSearch::take(const Plan &plan) {
  best_length_ = plan.length;
  best_.clear();
  for (const Tour &tour : plan.tours) best_.push_back(tour.visits);
}

/// Takes strings of customers out of routes that come near a customer drawn at random.
void RouteSearch::tear(Plan *plan) {
  loose_.clear();
  const auto customers = static_cast<double>(instance_.customers());
  const double mean = customers / static_cast<double>(plan->tours.size());
  const double longest = std::min(kLongestString, mean);
  const double most_strings = 4.0 * kTornOut / (1.0 + longest) - 1.0;
  auto strings = static_cast<int32_t>(1.0 + chance() * most_strings);
  std::vector<char> is_torn(plan->tours.size(), 0);
  const auto seed = static_cast<size_t>(random_.draw(1, instance_.customers()));
  for (const int32_t i : near_[seed]) {
    if (strings == 0) break;
    for (size_t t = 0; t < plan->tours.size(); ++t) {
      Tour &tour = plan->tours[t];
      const auto found = std::find(tour.visits.begin(), tour.visits.end(), i);
      if (found == tour.visits.end()) continue;
      if (is_torn[t] != 0) break;
      const double most = std::min(static_cast<double>(tour.visits.size()), longest);
      const auto length = static_cast<size_t>(1.0 + chance() * most);
      tear_string(&tour, static_cast<size_t>(found - tour.visits.begin()),
                  std::min(length, tour.visits.size()));
      is_torn[t] = 1;
      --strings;
      break;
    }
  }
  for (Tour &tour : plan->tours) set_times(&tour);
  plan->tours.erase(std::remove_if(plan->tours.begin(), plan->tours.end(),
                                   [](const Tour &tour) { return tour.visits.empty(); }),
                    plan->tours.end());
}

/// Takes out so many customers in a row, one of them at `at`; maybe some in their midst stay.
void RouteSearch::tear_string(Tour *tour, size_t at, size_t length) {
  const size_t count = tour->visits.size();
  size_t kept = 0;
  if (length > 1 && chance() < kSplit) {
    while (length + kept < count && chance() < kLonger) ++kept;
  }
  const size_t whole = length + kept;
  const size_t least = at + 1 > whole ? at + 1 - whole : 0;
  const size_t most = std::min(at, count - whole);
  const auto first =
      static_cast<size_t>(random_.draw(static_cast<int64_t>(least), static_cast<int64_t>(most)));
  const size_t kept_first =
      first + 1 +
      static_cast<size_t>(kept > 0 ? random_.draw(0, static_cast<int64_t>(length) - 2) : 0);
  Route rest;
  for (size_t k = 0; k < count; ++k) {
    const bool in_string = k >= first && k < first + whole;
    const bool stays = kept > 0 && k >= kept_first && k < kept_first + kept;
    (in_string && !stays ? loose_ : rest).push_back(tour->visits[k]);
  }
  tour->visits = std::move(rest);
}

/// At random, or those first that are hard to place.
void RouteSearch::sort_loose() {
  for (size_t k = loose_.size(); k > 1; --k) {
    std::swap(loose_[k - 1],
              loose_[static_cast<size_t>(random_.draw(0, static_cast<int64_t>(k) - 1))]);
  }
  const auto by = [this](const auto &key) {
    std::stable_sort(loose_.begin(), loose_.end(),
                     [&key](int32_t a, int32_t b) { return key(a) < key(b); });
  };
  const int64_t order = random_.draw(0, 16);
  if (order < 4) return;
  if (order < 8) return by([this](int32_t i) { return -node(i).demand; });
  if (order < 10) return by([this](int32_t i) { return -between(0, i); });
  if (order < 11) return by([this](int32_t i) { return between(0, i); });
  if (order < 13) return by([this](int32_t i) { return node(i).due - node(i).ready; });
  if (order < 15) return by([this](int32_t i) { return node(i).ready; });
  by([this](int32_t i) { return -node(i).due; });
}

void RouteSearch::put_back(Plan *plan) {
  sort_loose();
  for (const int32_t i : loose_) {
    const Place place = best_place(*plan, i);
    if (place.tour == plan->tours.size()) plan->tours.emplace_back();
    Tour &tour = plan->tours[place.tour];
    tour.visits.insert(tour.visits.begin() + static_cast<std::ptrdiff_t>(place.position), i);
    set_times(&tour);
  }
}

/// The place where the customer makes its route least longer; behind the last tour: a new one.
RouteSearch::Place RouteSearch::best_place(const Plan &plan, int32_t customer) {
  Place best = {plan.tours.size(), 0, between(0, customer) + between(customer, 0)};
  for (size_t t = 0; t < plan.tours.size(); ++t) {
    if (plan.tours[t].load + node(customer).demand <= instance_.capacity) {
      look_at(plan, t, customer, &best);
    }
  }
  return best;
}

void RouteSearch::look_at(const Plan &plan, size_t t, int32_t customer, Place *best) {
  const Tour &tour = plan.tours[t];
  const Node &at = node(customer);
  for (size_t p = 0; p <= tour.visits.size(); ++p) {
    const int32_t before = p > 0 ? tour.visits[p - 1] : 0;
    const int32_t after = p < tour.visits.size() ? tour.visits[p] : 0;
    const int32_t left = p > 0 ? tour.earliest[p - 1] : node(0).ready;
    const int32_t time =
        std::max(at.ready, left + node(before).service + between(before, customer));
    if (time > at.due) return;  // and later places are later still
    const int32_t latest = p < tour.visits.size() ? tour.latest[p] : node(0).due;
    const int32_t longer =
        between(before, customer) + between(customer, after) - between(before, after);
    if (longer >= best->longer || time + at.service + between(customer, after) > latest) continue;
    if (chance() < kOverlooked) continue;
    *best = {t, p, longer};
  }
}

}  // namespace vehicle_routing

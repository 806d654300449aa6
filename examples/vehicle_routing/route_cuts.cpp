#include "examples/vehicle_routing/route_cuts.h"

#include <algorithm>

namespace vehicle_routing {

// Restricted masters are solved loosely: a smaller violation may not be one.
constexpr double kLeastViolation = 0.02;
// Cuts of one round that share a customer; more of them say the same.
constexpr int32_t kMostOfCustomer = 4;

static bool is_in(const std::vector<int32_t> &set, int32_t customer) {
  return std::binary_search(set.begin(), set.end(), customer);
}

static bool is_in(const std::array<int32_t, 3> &set, int32_t customer) {
  return std::find(set.begin(), set.end(), customer) != set.end();
}

int32_t coefficient(const RouteCut &cut, const Route &route) {
  int32_t sum = 0;
  bool open = false;
  for (const int32_t i : route) {
    if (!is_in(cut.memory, i)) {
      open = false;
    } else if (is_in(cut.customers, i)) {
      sum += open ? 1 : 0;
      open = !open;
    }
  }
  return sum;
}

void CutPrices::add(const RouteCut &cut, double price) {
  for (const int32_t i : cut.memory) kept_[static_cast<size_t>(i)].add(prices_.size());
  for (const int32_t i : cut.customers) turned_[static_cast<size_t>(i)].add(prices_.size());
  prices_.push_back(price);
}

// Separation

namespace {

/// How often each route comes to each customer.
class Visits {
 public:
  Visits(const std::vector<std::pair<Route, double>> &routes, int32_t customers)
      : routes_(routes), counts_(static_cast<size_t>(customers) + 1) {
    for (auto &of_customer : counts_) of_customer.resize(routes.size());
    for (size_t r = 0; r < routes.size(); ++r) {
      for (const int32_t i : routes[r].first) ++counts_[static_cast<size_t>(i)][r];
    }
  }

  /// Left-hand side of (1) with all customers as memory.
  double left(int32_t i, int32_t j, int32_t k) const {
    const auto &a = counts_[static_cast<size_t>(i)], &b = counts_[static_cast<size_t>(j)],
               &c = counts_[static_cast<size_t>(k)];
    double sum = 0.0;
    for (size_t r = 0; r < routes_.size(); ++r) {
      const int32_t pairs = (a[r] + b[r] + c[r]) / 2;
      sum += pairs * routes_[r].second;
    }
    return sum;
  }

 private:
  const std::vector<std::pair<Route, double>> &routes_;
  std::vector<std::vector<int8_t>> counts_;
};

}  // namespace

/// Customers on the way between two visits of each pair, so that the coefficient of the route is
/// what it is with all customers as memory. With an odd number of visits one stays alone: the first
/// or the last, whichever needs fewer.
static std::vector<int32_t> needed(const std::array<int32_t, 3> &set, const Route &route) {
  std::vector<size_t> at;
  for (size_t p = 0; p < route.size(); ++p) {
    if (is_in(set, route[p])) at.push_back(p);
  }
  std::vector<int32_t> best;
  for (size_t first = 0; first <= at.size() % 2; ++first) {
    std::vector<int32_t> between;
    for (size_t v = first; v + 1 < at.size(); v += 2) {
      for (size_t p = at[v] + 1; p < at[v + 1]; ++p) between.push_back(route[p]);
    }
    if (first == 0 || between.size() < best.size()) best = std::move(between);
  }
  return best;
}

static RouteCut with_memory(const std::array<int32_t, 3> &set,
                            const std::vector<std::pair<Route, double>> &routes) {
  RouteCut cut = {set, {set.begin(), set.end()}};
  for (const auto &[route, value] : routes) {
    const std::vector<int32_t> more = needed(set, route);
    cut.memory.insert(cut.memory.end(), more.begin(), more.end());
  }
  std::sort(cut.memory.begin(), cut.memory.end());
  cut.memory.erase(std::unique(cut.memory.begin(), cut.memory.end()), cut.memory.end());
  return cut;
}

std::vector<RouteCut> separate(const std::vector<std::pair<Route, double>> &routes,
                               int32_t customers, size_t most) {
  const Visits visits(routes, customers);
  std::vector<std::pair<double, std::array<int32_t, 3>>> violated;
  for (int32_t i = 1; i <= customers; ++i) {
    for (int32_t j = i + 1; j <= customers; ++j) {
      for (int32_t k = j + 1; k <= customers; ++k) {
        const double left = visits.left(i, j, k);
        if (left > 1.0 + kLeastViolation) violated.push_back({-left, {i, j, k}});
      }
    }
  }
  std::sort(violated.begin(), violated.end());
  std::vector<int32_t> uses(static_cast<size_t>(customers) + 1, 0);
  std::vector<RouteCut> cuts;
  for (const auto &[left, set] : violated) {
    if (cuts.size() == most) break;
    const bool often = std::any_of(set.begin(), set.end(), [&uses](int32_t i) {
      return uses[static_cast<size_t>(i)] >= kMostOfCustomer;
    });
    if (often) continue;
    for (const int32_t i : set) ++uses[static_cast<size_t>(i)];
    cuts.push_back(with_memory(set, routes));
  }
  return cuts;
}

}  // namespace vehicle_routing

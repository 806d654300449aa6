#include "branch_and_price/branching.hpp"

#include <algorithm>
#include <cmath>
#include <map>

namespace quarn {
namespace branch_and_price {

// A sum this close to a whole number is one.
constexpr double kWhole = 1e-5;

/// The candidates of the quantities nearest to one half, in a fixed order.
template <typename Key, typename Make>
static std::vector<Branching> nearest_to_half(const std::map<Key, double> &sums, size_t most,
                                              const Make &make) {
  std::vector<std::pair<double, const std::pair<const Key, double> *>> order;
  for (const auto &sum : sums) {
    const double part = sum.second - std::floor(sum.second);
    if (part < kWhole || part > 1.0 - kWhole) continue;
    // Rounded, so that ties are not decided by a solver's last digits.
    order.push_back({std::round(std::fabs(part - 0.5) * 1e4), &sum});
  }
  std::stable_sort(order.begin(), order.end(),
                   [](const auto &a, const auto &b) { return a.first < b.first; });
  if (order.size() > most) order.resize(most);
  std::vector<Branching> candidates;
  candidates.reserve(order.size());
  for (const auto &[distance, sum] : order) candidates.push_back(make(sum->first, sum->second));
  return candidates;
}

std::vector<Branching> branch_on_pairs(const Relaxation &relaxation, const std::vector<Row> &rows,
                                       size_t most) {
  std::map<int32_t, bool> wanted;
  for (const Row &row : rows) wanted[row.index()] = true;
  std::map<std::pair<int32_t, int32_t>, double> sums;
  for (const auto &[column, value] : relaxation.values) {
    std::vector<int32_t> served;
    for (const auto &[row, entry] : relaxation.at.master.entries(column)) {
      if (entry != 0.0 && wanted.count(row.index()) != 0) served.push_back(row.index());
    }
    std::sort(served.begin(), served.end());
    for (size_t a = 0; a < served.size(); ++a) {
      for (size_t b = a + 1; b < served.size(); ++b) sums[{served[a], served[b]}] += value;
    }
  }
  return nearest_to_half(sums, most, [](const std::pair<int32_t, int32_t> &pair, double) {
    const std::vector<int64_t> numbers = {pair.first, pair.second};
    return Branching{{{kTogether, numbers}}, {{kApart, numbers}}};
  });
}

bool pair_allows(const Decision &decision, const std::vector<Entry> &entries) {
  const bool together = decision.kind == kTogether;
  if (!together && decision.kind != kApart) return true;
  int served = 0;
  for (const auto &[row, entry] : entries) {
    if (entry == 0.0) continue;
    for (const int64_t number : decision.numbers) served += number == row.index() ? 1 : 0;
  }
  return together ? served != 1 : served < 2;
}

std::vector<Branching> branch_on_features(const Relaxation &relaxation, const Features &features,
                                          size_t most) {
  std::map<std::vector<int64_t>, double> sums;
  for (const auto &[column, value] : relaxation.values) {
    for (const auto &[feature, times] : features(column)) sums[feature] += times * value;
  }
  return nearest_to_half(sums, most, [](const std::vector<int64_t> &feature, double sum) {
    const double below = std::floor(sum);
    Decision without = {kWithout, feature};
    if (below > 0.0) without.row = DecisionRow{RowSense::at_most, below};
    const Decision with = {kWith, feature, DecisionRow{RowSense::at_least, below + 1.0}};
    return Branching{{with}, {without}};
  });
}

std::vector<Branching> branch_on_number(const Relaxation &relaxation) {
  std::map<int, double> sum;
  for (const auto &use : relaxation.values) sum[0] += use.value;
  return nearest_to_half(sum, 1, [](int, double number) {
    const double below = std::floor(number);
    const Decision more = {kNumber, {}, DecisionRow{RowSense::at_least, below + 1.0}};
    const Decision fewer = {kNumber, {}, DecisionRow{RowSense::at_most, below}};
    return Branching{{more}, {fewer}};
  });
}

}  // namespace branch_and_price
}  // namespace quarn

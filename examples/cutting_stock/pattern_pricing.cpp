#include "examples/cutting_stock/pattern_pricing.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace cutting_stock {

// Looks at a part until a search gives up. The first search of a round has to be complete, for the
// sake of its bound. Where coarse tables do not prove it, its limit is the time that fine ones
// take, divided by kTableShare: with 200 types and a length of 100000 all of 1000 searches end
// below that, and take with their tables a seventh of the time that fine tables do. Then fine
// tables are made, and where these alone prove nothing the limit is some seconds. The other
// searches only look for columns, and where one fails the tables are renewed: its limit is the time
// that takes, divided by kTableShare, but not below kQuickSearch and not above kLongSearch.
constexpr int64_t kCompleteSearch = 50000000;
constexpr int64_t kQuickSearch = 10000;
constexpr int64_t kLongSearch = 500000;
constexpr int64_t kTableShare = 8;
// Of each search of the cover, looks at every part, below the limit of the others: about what a
// first packing takes. There may be a search for every type, and a type left out is no loss. With
// 5000 types a cover takes a quarter of the time that it would with quick searches, and finds 96 %
// of the patterns; with 1000 it finds them all.
constexpr int64_t kCoverLooks = 8;
// Tables are renewed, too, when the searches since have taken this many times as long as tables
// do. On instances with 200 to 1000 types the total hardly changes from 1/5 to 1.
constexpr double kWorthRenewing = 0.5;
// A search for columns is content with this share of the best excess less. With 0 rounds are as
// many and searches longer, with 0.3 there are up to a third more rounds.
constexpr double kSlack = 0.05;
// A sequence of fewer patterns than this share of the types is followed by the cover. Over the 120
// published instances that takes the rounds from 11.7 to 8.9 on average, with a share of 1/2 to
// 8.4; but instances with 1000 types then have nearly twice as many columns.
constexpr double kPlenty = 0.25;

/// The sequence of packings for falling demands; `demand` is lowered by what is cut. The knapsack,
/// of the roll's length, is loaded with the pieces.
class Sequence {
 public:
  Sequence(BoundedKnapsack &knapsack, const std::vector<int64_t> &sizes, const double *u,
           std::vector<int64_t> &demand)
      : demand_(demand), types_(priced_types(u, demand)), knapsack_(knapsack) {
    knapsack_.reset(items(sizes, u), BoundedKnapsack::kCoarse);
  }

  /// The best packing, before any is cut. Coarse tables mostly suffice to prove it.
  Packing first() {
    if (!knapsack_.is_exact()) {
      const int64_t fine = knapsack_.table_effort(BoundedKnapsack::kFine);
      const Packing packing = knapsack_.solve(0.0, 0.0, fine / kTableShare);
      if (packing.proven) return packing;
      knapsack_.renew(BoundedKnapsack::kFine);
    }
    return knapsack_.solve(0.0, 0.0, kCompleteSearch);
  }

  /// The best packing for what remains, or one with a little less, renewing the tables as needed.
  Packing next(double worth, double slack) {
    if (static_cast<double>(spent_) > kWorthRenewing * static_cast<double>(table_effort())) renew();
    Packing packing = search(worth, slack);
    if (!packing.proven && !knapsack_.is_fresh()) {
      renew();
      packing = search(worth, slack);
    }
    return packing;
  }

  /// A pattern for each type that none of `patterns` holds, as far as there is one worth it.
  void cover(double worth, size_t limit, std::vector<Pattern> &patterns) {
    std::vector<bool> covered(demand_.size(), false);
    for (const Pattern &pattern : patterns) {
      for (const Piece &piece : pattern) covered[static_cast<size_t>(piece.type)] = true;
    }
    for (size_t k = 0; k < types_.size() && patterns.size() < limit; ++k) {
      if (covered[static_cast<size_t>(types_[k])]) continue;
      const Packing packing =
          knapsack_.solve_with(static_cast<int32_t>(k), worth, kSlack, cover_effort());
      if (packing.items.empty()) continue;
      patterns.push_back(pattern_of(packing));
      for (const Piece &piece : patterns.back()) covered[static_cast<size_t>(piece.type)] = true;
    }
  }

  /// Cuts the packing as often as the remaining demands allow.
  Cut cut(const Packing &packing) {
    Cut cut = {pattern_of(packing), std::numeric_limits<int64_t>::max()};
    for (const Piece &piece : cut.pattern) {
      cut.rolls = std::min(cut.rolls, demand_[static_cast<size_t>(piece.type)] / piece.copies);
    }
    for (const PackedItem &packed : packing.items) {
      int64_t &left = demand_[static_cast<size_t>(types_[static_cast<size_t>(packed.item)])];
      left -= cut.rolls * packed.copies;
      knapsack_.lower_limit(packed.item, left);
    }
    return cut;
  }

 private:
  static std::vector<int32_t> priced_types(const double *u, const std::vector<int64_t> &demand) {
    std::vector<int32_t> types;
    for (size_t i = 0; i < demand.size(); ++i) {
      if (u[i] > 0.0 && demand[i] > 0) types.push_back(static_cast<int32_t>(i));
    }
    return types;
  }

  std::vector<KnapsackItem> items(const std::vector<int64_t> &sizes, const double *u) const {
    std::vector<KnapsackItem> items;
    for (const int32_t type : types_) {
      const auto i = static_cast<size_t>(type);
      items.push_back({sizes[i], u[i], demand_[i]});
    }
    return items;
  }

  Pattern pattern_of(const Packing &packing) const {
    Pattern pattern;
    for (const PackedItem &packed : packing.items) {
      pattern.push_back({types_[static_cast<size_t>(packed.item)], packed.copies});
    }
    return pattern;
  }

  int64_t table_effort() const { return knapsack_.table_effort(); }
  int64_t quick_effort() const {
    return std::clamp(table_effort() / kTableShare, kQuickSearch, kLongSearch);
  }
  int64_t cover_effort() const {
    return std::min(quick_effort(), std::max(kQuickSearch, kCoverLooks * knapsack_.parts()));
  }

  Packing search(double worth, double slack) {
    const Packing packing = knapsack_.solve(worth, slack, quick_effort());
    spent_ += packing.effort;
    return packing;
  }

  void renew() {
    knapsack_.renew(BoundedKnapsack::kCoarse);
    spent_ = 0;
  }

  std::vector<int64_t> &demand_;
  std::vector<int32_t> types_;  ///< the type of each item of the knapsack
  BoundedKnapsack &knapsack_;
  int64_t spent_ = 0;  ///< effort of the searches since the tables were made
};

static int64_t common_unit(const Instance &instance) {
  int64_t unit = 0;
  for (const ItemType &type : instance.types) unit = std::gcd(unit, type.size);
  return unit;
}

PatternPricer::PatternPricer(const Instance &instance)
    : instance_(instance), unit_(common_unit(instance)), knapsack_(instance.length / unit_) {
  for (const ItemType &type : instance.types) sizes_.push_back(type.size / unit_);
}

std::vector<int64_t> PatternPricer::demands() const {
  std::vector<int64_t> demands;
  for (const ItemType &type : instance_.types) demands.push_back(type.demand);
  return demands;
}

Pricing PatternPricer::price(const double *u, double worth, int32_t most) {
  return price(u, worth, most, demands());
}

Pricing PatternPricer::price(const double *u, double worth, int32_t most,
                             const std::vector<int64_t> &demand) {
  const size_t limit = most > 0 ? static_cast<size_t>(most) : std::numeric_limits<size_t>::max();
  std::vector<int64_t> remaining = demand;
  Sequence sequence(knapsack_, sizes_, u, remaining);
  Packing packing = sequence.first();
  Pricing pricing;
  pricing.best_value = packing.bound;
  while (!packing.items.empty() && packing.value > worth) {
    pricing.patterns.push_back(sequence.cut(packing).pattern);
    if (pricing.patterns.size() == limit) return pricing;
    packing = sequence.next(worth, worth > 0.0 ? kSlack : 0.0);
  }
  const double plenty = kPlenty * static_cast<double>(instance_.size());
  if (worth > 0.0 && static_cast<double>(pricing.patterns.size()) < plenty) {
    remaining = demand;
    Sequence(knapsack_, sizes_, u, remaining).cover(worth, limit, pricing.patterns);
  }
  return pricing;
}

std::vector<Cut> PatternPricer::fill(const double *u, std::vector<int64_t> &demand) const {
  BoundedKnapsack knapsack(instance_.length / unit_);
  Sequence sequence(knapsack, sizes_, u, demand);
  std::vector<Cut> cuts;
  for (Packing packing = sequence.next(0.0, 0.0); !packing.items.empty();) {
    cuts.push_back(sequence.cut(packing));
    packing = sequence.next(0.0, 0.0);
  }
  return cuts;
}

}  // namespace cutting_stock

// Cutting stock to the integer optimum: the knapsack with conflicts against enumeration, whole
// searches against dynamic programming, with every outcome recomputed.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <random>

#include "examples/cutting_stock/integer_patterns.h"

namespace cutting_stock {

namespace bp = quarn::branch_and_price;

TEST(ConflictKnapsack, FindsTheBestPackingAndTheBestWithEachItem) {
  for (uint32_t seed = 1; seed <= 400; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto whole = [&](int64_t low, int64_t high) {
      return low + static_cast<int64_t>(random() % static_cast<uint64_t>(high - low + 1));
    };
    const int64_t unit = seed % 3 == 0 ? 40000 : 1;  // with coarse tables
    const int64_t capacity = unit * whole(5, 30);
    std::vector<ConflictItem> items;
    for (int64_t k = whole(1, 7); k > 0; --k) {
      items.push_back(
          {unit * whole(1, 12), 0.1 * static_cast<double>(whole(1, 50)), whole(0, 3), {}});
    }
    for (size_t a = 0; a < items.size(); ++a) {
      for (size_t b = a; b < items.size(); ++b) {
        if (whole(0, 3) > 0) continue;
        items[a].conflicts.push_back(b);
        if (a != b) items[b].conflicts.push_back(a);
      }
    }
    std::vector<double> best(items.size() + 1, 0.0);  // with each item; the last: at all
    std::vector<int64_t> copies(items.size(), 0);
    const std::function<void(size_t, int64_t, double)> enumerate = [&](size_t t, int64_t room,
                                                                       double value) {
      if (t == items.size()) {
        best.back() = std::max(best.back(), value);
        for (size_t k = 0; k < t; ++k) {
          if (copies[k] > 0) best[k] = std::max(best[k], value);
        }
        return;
      }
      for (int64_t n = 0; n <= items[t].limit && n * items[t].size <= room; ++n) {
        const auto &conflicts = items[t].conflicts;
        const bool allowed = std::none_of(conflicts.begin(), conflicts.end(), [&](size_t other) {
          return other == t ? n > 1 : n > 0 && other < t && copies[other] > 0;
        });
        if (!allowed) break;
        copies[t] = n;
        enumerate(t + 1, room - n * items[t].size, value + static_cast<double>(n) * items[t].value);
      }
      copies[t] = 0;
    };
    enumerate(0, capacity, 0.0);
    ConflictKnapsack knapsack(capacity, items);
    EXPECT_NEAR(knapsack.best(0.0).value, best.back(), 1e-8);
    EXPECT_NEAR(knapsack.bound(), best.back(), 1e-6);
    for (size_t t = 0; t < items.size(); ++t) {
      EXPECT_NEAR(knapsack.best_with(t, 0.0, 0.0).value, best[t], 1e-8);
    }
  }
}

/// Fewest rolls, by trying for the first piece left all patterns that hold it.
static int64_t fewest_rolls(const Instance &instance, const std::vector<int64_t> &left,
                            std::map<std::vector<int64_t>, int64_t> &known) {
  const auto first = std::find_if(left.begin(), left.end(), [](int64_t n) { return n > 0; });
  if (first == left.end()) return 0;
  const auto found = known.find(left);
  if (found != known.end()) return found->second;
  int64_t best = instance.pieces();
  std::vector<int64_t> rest = left;
  const auto t = static_cast<size_t>(first - left.begin());
  const std::function<void(size_t, int64_t)> fill = [&](size_t k, int64_t room) {
    if (k == rest.size()) {
      best = std::min(best, 1 + fewest_rolls(instance, rest, known));
      return;
    }
    const int64_t before = rest[k];
    for (int64_t n = 0; n <= before && n * instance.types[k].size <= room; ++n) {
      rest[k] = before - n;
      fill(k + 1, room - n * instance.types[k].size);
    }
    rest[k] = before;
  };
  --rest[t];
  fill(t, instance.length - instance.types[t].size);
  return known[left] = best;
}

static Instance random_instance(uint32_t seed) {
  std::mt19937 random(seed);
  Instance instance;
  instance.length = 60 + static_cast<int64_t>(random() % 40);
  std::map<int64_t, int64_t, std::greater<>> demand;
  for (int pieces = 8 + static_cast<int>(random() % 4); pieces > 0; --pieces) {
    ++demand[instance.length / 6 +
             static_cast<int64_t>(random() % static_cast<uint64_t>(instance.length * 2 / 5))];
  }
  for (const auto &[size, count] : demand) instance.types.push_back({size, count});
  return instance;
}

TEST(IntegerPatterns, EndAtTheFewestRollsAlsoWithoutHeuristics) {
  int64_t nodes = 0;
  for (uint32_t seed = 1; seed <= 250; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Instance instance = random_instance(seed);
    PatternPricer pricer(instance);
    const quarn::Master master = make_integer_master(instance, pricer);
    IntegerPatterns problem(instance, pricer, master);
    bp::Search search(problem, master);
    bp::Settings settings;
    settings.own_heuristic = settings.branch_early = seed % 2 == 0;
    settings.dive_every = seed % 4 == 1 ? 1 : 0;
    settings.candidates = seed % 3 == 0 ? 4 : 1;
    settings.start = seed % 5 == 0 ? bp::Start::pool : bp::Start::parent;
    const bp::Outcome outcome = search.run(settings);
    nodes += outcome.nodes;
    ASSERT_EQ(outcome.status, bp::Status::optimal) << outcome.message;
    const CuttingPlan plan = IntegerPatterns::plan_of(outcome.solution);
    EXPECT_NO_THROW(verify(instance, plan, false));
    EXPECT_EQ(rolls(plan), std::llround(outcome.value));
    EXPECT_NEAR(outcome.bound, outcome.value, 1e-6 * outcome.value);
    std::vector<int64_t> demand;
    for (const ItemType &type : instance.types) demand.push_back(type.demand);
    std::map<std::vector<int64_t>, int64_t> known;
    EXPECT_EQ(rolls(plan), fewest_rolls(instance, demand, known));
  }
  EXPECT_GT(nodes, 400);
}

}  // namespace cutting_stock

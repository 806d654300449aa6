// The parts of the cutting stock example that have an exact answer: its knapsack against trying
// every packing, first-fit decreasing against placing piece by piece, the reader's complaints.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "examples/common/text_reader.h"
#include "examples/cutting_stock/bounded_knapsack.h"
#include "examples/cutting_stock/instance.h"
#include "examples/cutting_stock/pattern_pricing.h"
#include "examples/cutting_stock/rounding.h"

namespace cutting_stock {
namespace {

using Random = std::mt19937;

int64_t draw(Random &random, int64_t least, int64_t most) {
  return std::uniform_int_distribution<int64_t>(least, most)(random);
}

/// The best value by trying every packing; `least` copies of item `forced` are taken at least.
double best_value(const std::vector<KnapsackItem> &items, size_t k, int64_t room, size_t forced,
                  int64_t least) {
  if (k == items.size()) return 0.0;
  double best = -1e30;
  for (int64_t a = k == forced ? least : 0; a <= items[k].limit && a * items[k].size <= room; ++a) {
    best = std::max(best, static_cast<double>(a) * items[k].value +
                              best_value(items, k + 1, room - a * items[k].size, forced, least));
  }
  return best;
}

/// The packing keeps to length and limits and has the value it claims.
void expect_sound(const Packing &packing, const std::vector<KnapsackItem> &items,
                  int64_t capacity) {
  int64_t used = 0;
  double value = 0.0;
  for (const PackedItem &packed : packing.items) {
    const KnapsackItem &item = items[static_cast<size_t>(packed.item)];
    EXPECT_GE(packed.copies, 1);
    EXPECT_LE(packed.copies, item.limit);
    used += packed.copies * item.size;
    value += static_cast<double>(packed.copies) * item.value;
  }
  EXPECT_LE(used, capacity);
  EXPECT_NEAR(value, packing.value, 1e-9);
}

TEST(CuttingStock, KnapsackIsExactWhileLimitsFall) {
  Random random(7);
  constexpr int64_t kEffort = 10000000;
  for (int round = 0; round < 150; ++round) {
    // Every tenth length is too large for a cell for each unit.
    const int64_t unit = round % 10 == 0 ? 1000003 : 1;
    const int64_t capacity = unit * draw(random, 10, 60);
    std::vector<KnapsackItem> items;
    for (int64_t k = draw(random, 1, 6); k > 0; --k) {
      const double value = static_cast<double>(draw(random, 1, 1000)) / 1000.0;
      items.push_back({draw(random, 3 * unit, capacity), value, draw(random, 1, 4)});
    }
    const auto tables = round % 2 == 0 ? BoundedKnapsack::kFine : BoundedKnapsack::kCoarse;
    BoundedKnapsack knapsack(capacity, items, tables);
    for (int change = 0; change < 4; ++change) {
      SCOPED_TRACE(testing::Message() << "round " << round << ", change " << change);
      const double best = best_value(items, 0, capacity, items.size(), 0);
      const Packing packing = knapsack.solve(0.0, 0.0, kEffort);
      expect_sound(packing, items, capacity);
      EXPECT_NEAR(packing.value, std::max(best, 0.0), 1e-9);
      EXPECT_GE(packing.bound, best - 1e-9);
      const auto k = static_cast<size_t>(draw(random, 0, static_cast<int64_t>(items.size()) - 1));
      const double with_k = best_value(items, 0, capacity, k, 1);
      const Packing holding = knapsack.solve_with(static_cast<int32_t>(k), 0.0, 0.0, kEffort);
      expect_sound(holding, items, capacity);
      EXPECT_NEAR(holding.value, std::max(with_k, 0.0), 1e-9);
      items[k].limit = draw(random, 0, items[k].limit);
      knapsack.lower_limit(static_cast<int32_t>(k), items[k].limit);
      if (change == 2) knapsack.renew(tables);
    }
  }
}

/// The best value by a table with a cell for each unit, copy by copy.
double best_value_by_table(const std::vector<KnapsackItem> &items, int64_t capacity) {
  std::vector<double> best(static_cast<size_t>(capacity) + 1, 0.0);
  for (const KnapsackItem &item : items) {
    const auto size = static_cast<size_t>(item.size);
    for (int64_t copy = 0; copy < item.limit; ++copy) {
      for (size_t c = best.size(); c-- > size;) {
        best[c] = std::max(best[c], best[c - size] + item.value);
      }
    }
  }
  return best.back();
}

TEST(CuttingStock, KnapsackOfManyPartsIsExactInUsedMemory) {
  Random random(8);
  constexpr int64_t kCapacity = 1000;
  BoundedKnapsack knapsack(kCapacity);
  for (int round = 0; round < 60; ++round) {
    // From a few long pieces in a roll to many short ones.
    const int64_t shortest = draw(random, 1, kCapacity / 3);
    std::vector<KnapsackItem> items;
    for (int64_t k = draw(random, 1, 150); k > 0; --k) {
      const int64_t size = draw(random, shortest, 3 * shortest);
      const double value = static_cast<double>(size * draw(random, 900, 1100)) * 1e-6;
      items.push_back({size, value, draw(random, 1, 9)});
    }
    knapsack.reset(items, BoundedKnapsack::kFine);
    for (int change = 0; change < 2; ++change) {
      const double best = best_value_by_table(items, kCapacity);
      const Packing packing = knapsack.solve(0.0, 0.0, 200000);
      expect_sound(packing, items, kCapacity);
      EXPECT_GE(packing.bound, best - 1e-9);
      EXPECT_TRUE(packing.proven || change > 0);
      if (packing.proven) {
        EXPECT_NEAR(packing.value, best, 1e-9);
      }
      for (const PackedItem &packed : packing.items) {
        KnapsackItem &item = items[static_cast<size_t>(packed.item)];
        item.limit -= packed.copies;
        knapsack.lower_limit(packed.item, item.limit);
      }
    }
  }
}

/// Coarse tables prove the best pattern of a long roll, or fine ones do.
TEST(CuttingStock, PricingIsExactWhereCoarseTablesRoundLengths) {
  Random random(9);
  for (int round = 0; round < 12; ++round) {
    Instance instance;
    instance.length = draw(random, 30000, 100000);
    std::vector<KnapsackItem> items;
    std::vector<double> u;
    // Prices nearly in proportion, as they are at the end of a run. Every third round in
    // proportion, of even sizes for an odd length: then coarse tables promise what no packing
    // reaches.
    const bool is_even = round % 3 == 2;
    if (is_even) instance.length |= 1;
    for (int64_t size = instance.length / 3; size > instance.length / (round % 2 == 0 ? 6 : 12);) {
      size -= draw(random, 1, 400);
      if (is_even) size &= ~int64_t{1};
      u.push_back(static_cast<double>(size + (is_even ? 0 : draw(random, 0, 30))) * 1e-5);
      instance.types.push_back({size, draw(random, 1, 3)});
      items.push_back({size, u.back(), instance.types.back().demand});
    }
    u.push_back(1e-12);  // no common divisor
    instance.types.push_back({3, 1});
    PatternPricer pricer(instance);
    const double best = best_value_by_table(items, instance.length);
    for (const int32_t most : {1, 0}) {
      const Pricing pricing = pricer.price(u.data(), 0.0, most);
      ASSERT_FALSE(pricing.patterns.empty());
      double value = 0.0;
      for (const Piece &piece : pricing.patterns.front()) {
        value += static_cast<double>(piece.copies) * u[static_cast<size_t>(piece.type)];
      }
      EXPECT_NEAR(value, best, 1e-9);
      EXPECT_NEAR(pricing.best_value, best, 1e-9);
    }
  }
}

/// Rolls that first-fit decreasing opens, one piece after the other.
int64_t rolls_piece_by_piece(const Instance &instance) {
  std::vector<int64_t> rooms;
  for (const ItemType &type : piece_by_piece(instance).types) {
    auto room =
        std::find_if(rooms.begin(), rooms.end(), [&](int64_t left) { return left >= type.size; });
    if (room == rooms.end()) room = rooms.insert(room, instance.length);
    *room -= type.size;
  }
  return static_cast<int64_t>(rooms.size());
}

TEST(CuttingStock, FirstFitDecreasingAndRoundingCoverEveryDemand) {
  for (int64_t seed = 1; seed <= 50; ++seed) {
    const Instance instance = generate_instance(static_cast<int32_t>(10 + seed), seed);
    std::vector<int64_t> demand;
    for (const ItemType &type : instance.types) demand.push_back(type.demand);
    const CuttingPlan plan = first_fit_decreasing(instance, demand);
    EXPECT_NO_THROW(verify(instance, plan, true));
    EXPECT_EQ(rolls(plan), rolls_piece_by_piece(instance)) << "seed " << seed;
    const CuttingPlan rounded =
        round_up(instance, PatternPricer(instance), {{plan.front().pattern, 1.5}});
    EXPECT_NO_THROW(verify(instance, merged(instance, rounded), false));
  }
}

std::string complaint(const std::string &text) {
  const std::string path = testing::TempDir() + "cutting_stock_instance.txt";
  std::ofstream(path) << text;
  std::string message = "none";
  try {
    read_instance(path);
  } catch (const examples::InputError &error) {
    message = std::string(error.what()).substr(path.size());
  }
  std::remove(path.c_str());
  return message;
}

TEST(CuttingStock, ReaderNamesTheLineOfAMistake) {
  EXPECT_EQ(complaint("2\n100\n45 3\n36 2\n"), "none");
  EXPECT_EQ(complaint("2\n100\n45 3\n").substr(0, 4), ":4: ");             // too few types
  EXPECT_EQ(complaint("1\n100\n45 3\n36 2\n").substr(0, 4), ":4: ");       // too many
  EXPECT_EQ(complaint("2\n100\n145 3\n36 2\n").substr(0, 4), ":3: ");      // too long
  EXPECT_EQ(complaint("2\n100\n45 3\n36 -2\n").substr(0, 4), ":4: ");      // negative
  EXPECT_EQ(complaint("2\n100\n45 0\n36 2\n").substr(0, 4), ":3: ");       // zero
  EXPECT_EQ(complaint("2\nlong\n45 3\n36 2\n").substr(0, 4), ":2: ");      // a word
  EXPECT_EQ(complaint("2\n100\n45 3\n45 2\n").substr(0, 4), ":4: ");       // equal sizes
  EXPECT_EQ(complaint("2\n100\n45 3 1\n36 2\n").substr(0, 4), ":3: ");     // one field too many
  EXPECT_EQ(complaint("2\n100\n45 3\n36 2\nend\n").substr(0, 4), ":5: ");  // something behind
  EXPECT_EQ(complaint("").substr(0, 4), ":1: ");
  EXPECT_THROW(read_instance(testing::TempDir() + "no_such_file"), examples::InputError);
}

}  // namespace
}  // namespace cutting_stock

#include "examples/lot_sizing/instance.h"

#include <algorithm>
#include <cmath>

#include "examples/common/lehmer.h"
#include "examples/common/text_reader.h"

namespace lot_sizing {

constexpr int64_t kMostItems = 100000;
constexpr int64_t kMostPeriods = 10000;
// Plans add up to T (T + 1) / 2 demands times cost and capacity; far from overflow and exact
// enough.
constexpr double kLargestNumber = 1e9;

static Item read_item(examples::TextReader &reader, int64_t i) {
  const examples::Line line = reader.next(
      "capacity per unit, holding cost, setup time and setup "
      "cost of item " +
          std::to_string(i),
      4);
  Item item;
  item.unit_use = line.number(0, "the capacity per unit", 0.0, kLargestNumber);
  if (item.unit_use <= 0.0) line.fail("the capacity per unit must be above 0");
  item.holding_cost = line.number(1, "the holding cost", 0.0, kLargestNumber);
  item.setup_use = line.number(2, "the setup time", 0.0, kLargestNumber);
  item.setup_cost = line.number(3, "the setup cost", 0.0, kLargestNumber);
  return item;
}

Instance read_instance(const std::string &path) {
  examples::TextReader reader(path);
  Instance instance;
  const examples::Line head = reader.next("the numbers of items and of periods", 2);
  const int64_t items = head.integer(0, "the number of items", 1, kMostItems);
  instance.periods =
      static_cast<int32_t>(head.integer(1, "the number of periods", 1, kMostPeriods));
  reader.next("the unit production cost", 1)
      .number(0, "the unit production cost", -kLargestNumber, kLargestNumber);
  instance.capacity = reader.next("the capacity", 1).number(0, "the capacity", 0.0, kLargestNumber);
  for (int64_t i = 1; i <= items; ++i) instance.items.push_back(read_item(reader, i));
  for (int32_t t = 1; t <= instance.periods; ++t) {
    const examples::Line line =
        reader.next("the demands of period " + std::to_string(t), instance.items.size());
    for (size_t i = 0; i < instance.items.size(); ++i) {
      instance.items[i].demand.push_back(line.number(i, "the demand", 0.0, kLargestNumber));
    }
  }
  reader.expect_end();
  return instance;
}

bool is_class(const Levels &levels) {
  const auto between = [](int level, int least, int most) {
    return level >= least && level <= most;
  };
  return between(levels.demand_variation, 1, 2) && between(levels.time_between_orders, 1, 4) &&
         levels.time_between_orders != 3 && between(levels.setup_time, 1, 2) &&
         between(levels.tightness, 7, 9);
}

/// One of 0.5, 0.75, 1, 1.25, 1.5: how items differ within a class.
static double draw_factor(examples::Lehmer &random) {
  return 0.25 * static_cast<double>(random.draw(2, 6));
}

static Item draw_item(examples::Lehmer &random, const Levels &levels, int32_t periods) {
  const double setup_time = levels.setup_time == 1 ? 11.0 : 43.0;
  const double orders = levels.time_between_orders;
  Item item;
  item.unit_use = 1.0;
  item.holding_cost = 0.1 * static_cast<double>(random.draw(8, 12));
  item.setup_use = std::floor(setup_time * draw_factor(random));
  item.setup_cost = std::floor(50.0 * orders * orders * draw_factor(random));
  for (int32_t t = 0; t < periods; ++t) {
    // Half of the items begin with a stock that lasts for a fifth of the horizon at the most.
    const bool in_stock = t < periods / 5 && random.draw(0, 1) == 0;
    const int64_t demand =
        levels.demand_variation == 1 ? random.draw(75, 125) : random.draw(1, 199);
    item.demand.push_back(in_stock ? 0.0 : static_cast<double>(demand));
  }
  return item;
}

/// Use of the machine per period when every item is made at its own economic interval.
static double mean_use(const Instance &instance) {
  double use = 0.0;
  for (const Item &item : instance.items) {
    double demand = 0.0;
    for (const double d : item.demand) demand += d / instance.periods;
    const double interval = std::sqrt(2.0 * item.setup_cost / (item.holding_cost * 100.0));
    use += item.unit_use * demand + item.setup_use / std::max(1.0, interval);
  }
  return use;
}

Instance generate_instance(const Levels &levels, int32_t items, int32_t periods, int64_t seed) {
  examples::Lehmer random(seed);
  Instance instance;
  instance.periods = periods;
  for (int32_t i = 0; i < items; ++i) {
    instance.items.push_back(draw_item(random, levels, periods));
  }
  const double share = 0.1 * levels.tightness + 0.05;
  instance.capacity = std::ceil(mean_use(instance) / share);
  return instance;
}

}  // namespace lot_sizing

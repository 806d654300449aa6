#include "examples/subset_row_cuts/groups.h"

#include <cmath>
#include <stdexcept>

#include "examples/common/lehmer.h"
#include "examples/common/text_reader.h"

namespace subset_row_cuts {

constexpr int64_t kMostCoordinate = 1000000;
constexpr size_t kMostGroups = 1000000;
// Of any group: the value of the master problem stays away from 0, where no relative gap closes.
constexpr double kGroupCost = 1.0;

Instance read_instance(const std::string &path) {
  examples::TextReader reader(path);
  const examples::Line head = reader.next("the numbers of items and groups and the capacity", 3);
  const int64_t items = head.integer(0, "the number of items", 3, kMostItems);
  Instance instance;
  instance.groups = static_cast<int32_t>(head.integer(1, "the number of groups", 1, items));
  instance.capacity = head.integer(2, "the capacity", 1, 1000000000);
  for (int64_t i = 1; i <= items; ++i) {
    const examples::Line line = reader.next("item " + std::to_string(i), 3);
    const int64_t x = line.integer(0, "x", 0, kMostCoordinate);
    const int64_t y = line.integer(1, "y", 0, kMostCoordinate);
    const int64_t weight = line.integer(2, "the weight", 1, instance.capacity);
    instance.items.push_back(
        {static_cast<int32_t>(x), static_cast<int32_t>(y), static_cast<int32_t>(weight)});
  }
  reader.expect_end();
  return instance;
}

Instance generate_instance(int32_t items, int64_t seed) {
  examples::Lehmer random(seed);
  Instance instance;
  instance.capacity = 120;
  for (int32_t i = 0; i < items; ++i) {
    const auto x = static_cast<int32_t>(random.draw(0, 1000));
    const auto y = static_cast<int32_t>(random.draw(0, 1000));
    instance.items.push_back({x, y, static_cast<int32_t>(random.draw(20, 40))});
  }
  instance.groups = (items + 2) / 3;  // any three items fit
  return instance;
}

int64_t distance(const Item &a, const Item &b) {
  return std::llround(std::hypot(a.x - b.x, a.y - b.y));
}

/// Lists the group's supersets that have further items from `next` on only.
static void extend(const Instance &instance, Group group, int64_t room, size_t next,
                   std::vector<Group> &groups) {
  for (size_t i = next; i < instance.items.size(); ++i) {
    const Item &item = instance.items[i];
    if (item.weight > room) continue;
    Group larger = {group.items | ItemSet{1} << i, group.cost};
    for (size_t k = 0; k < i; ++k) {
      if ((group.items >> k & 1U) != 0) {
        larger.cost += static_cast<double>(distance(item, instance.items[k]));
      }
    }
    if (groups.size() == kMostGroups) throw std::length_error("too many groups fit the capacity");
    groups.push_back(larger);
    extend(instance, larger, room - item.weight, i + 1, groups);
  }
}

std::vector<Group> list_groups(const Instance &instance) {
  std::vector<Group> groups;
  extend(instance, {0, kGroupCost}, instance.capacity, 0, groups);
  return groups;
}

}  // namespace subset_row_cuts

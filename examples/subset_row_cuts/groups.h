#ifndef EXAMPLES_SUBSET_ROW_CUTS_GROUPS_H
#define EXAMPLES_SUBSET_ROW_CUTS_GROUPS_H

#include <cstdint>
#include <string>
#include <vector>

namespace subset_row_cuts {

/// A set of items: bit i stands for item i, from 0.
using ItemSet = uint32_t;

/// All groups are listed, so there cannot be many items.
constexpr int32_t kMostItems = 24;

/// A customer to be served: where it is, and what it takes of a group's capacity.
struct Item {
  int32_t x, y;
  int32_t weight;
};

/// Items to be partitioned into at most `groups` groups within the capacity.
struct Instance {
  int64_t capacity = 0;
  int32_t groups = 0;
  std::vector<Item> items;
};

/**
 * Reads a file: the numbers of items and groups and the capacity on the first line, then `x y
 * weight` for each item, a line each. Anything else becomes an examples::InputError.
 */
Instance read_instance(const std::string &path);

/// Random points of [0, 1000] x [0, 1000], weights from 20 to 40, capacity 120, a group
/// for every three items.
Instance generate_instance(int32_t items, int64_t seed);

/// Distance of two items, rounded to a whole number.
int64_t distance(const Item &a, const Item &b);

/// A set of items within the capacity; it costs 1 and the distances of all its pairs.
struct Group {
  ItemSet items;
  double cost;
};

/// All groups of at least one item. Throws std::length_error when there are too many.
std::vector<Group> list_groups(const Instance &instance);

}  // namespace subset_row_cuts

#endif

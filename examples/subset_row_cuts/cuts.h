#ifndef EXAMPLES_SUBSET_ROW_CUTS_CUTS_H
#define EXAMPLES_SUBSET_ROW_CUTS_CUTS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "examples/subset_row_cuts/groups.h"
#include "quarn_cpp/quarn.hpp"

namespace subset_row_cuts {

/// Coefficient of a group in the cut over the three items of `triple`: half of their number in the
/// group, rounded down.
inline bool cuts_across(ItemSet group, ItemSet triple) {
  const ItemSet common = group & triple;
  return (common & (common - 1)) != 0;  // two bits or more
}

/// The cuts that a solution violates most, at most `most` of them. The columns' objects are their
/// ItemSets.
std::vector<ItemSet> separate(const std::vector<quarn::ColumnValue> &solution, int32_t items,
                              size_t most);

/// Adds a cut as a row, with its entries in all columns of the master. Its name lists the items.
quarn::Row add_cut(quarn::Master &master, ItemSet triple);

/// The items of a cut's row.
ItemSet triple_of(const quarn::Row &cut);

}  // namespace subset_row_cuts

#endif

#ifndef EXAMPLES_SUBSET_ROW_CUTS_CUTS_H
#define EXAMPLES_SUBSET_ROW_CUTS_CUTS_H

#include <vector>

#include "examples/subset_row_cuts/groups.h"
#include "quarn/quarn.h"

namespace subset_row_cuts {

/// Coefficient of a group in the cut over the three items of `triple`: half of their number in the
/// group, rounded down.
inline bool cuts_across(ItemSet group, ItemSet triple) {
  const ItemSet common = group & triple;
  return (common & (common - 1)) != 0;  // two bits or more
}

/// The cuts that the restricted master problem solved last violates most, at most `most` of them.
/// Generated columns have the index of their group as tag.
std::vector<ItemSet> separate(QUARN_env &env, const std::vector<Group> &groups, int32_t items,
                              size_t most);

/// Adds the cuts as rows, with their entries in all generated columns. Throws std::bad_alloc when
/// memory is short.
void add_cut_rows(QUARN_env &env, const std::vector<Group> &groups,
                  const std::vector<ItemSet> &cuts);

}  // namespace subset_row_cuts

#endif

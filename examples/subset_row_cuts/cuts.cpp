#include "examples/subset_row_cuts/cuts.h"

#include <algorithm>
#include <utility>

#include "examples/common/row_batch.h"

namespace subset_row_cuts {

// Solutions are known to the gap of the run only: a smaller violation may not be one.
constexpr double kLeastViolation = 0.01;
constexpr double kLeastShare = 1e-9;

static const Group &group_of(const QUARN_env &env, const std::vector<Group> &groups, int32_t k) {
  return groups[static_cast<size_t>(env.col_tag[k])];
}

std::vector<ItemSet> separate(QUARN_env &env, const std::vector<Group> &groups, int32_t items,
                              size_t most) {
  double *x = nullptr;
  int32_t count = 0;
  QUARN_get_pointer_to_master_solution(&env, &x, &count);
  std::vector<std::pair<double, ItemSet>> violated;
  for (int32_t i = 0; i < items; ++i) {
    for (int32_t j = i + 1; j < items; ++j) {
      for (int32_t k = j + 1; k < items; ++k) {
        const ItemSet triple = ItemSet{1} << i | ItemSet{1} << j | ItemSet{1} << k;
        double left = 0.0;
        for (int32_t t = 0; t < count; ++t) {
          if (x[t] > kLeastShare && cuts_across(group_of(env, groups, t).items, triple)) {
            left += x[t];
          }
        }
        if (left > 1.0 + kLeastViolation) violated.push_back({-left, triple});
      }
    }
  }
  std::sort(violated.begin(), violated.end());
  std::vector<ItemSet> cuts;
  for (size_t c = 0; c < std::min(most, violated.size()); ++c) cuts.push_back(violated[c].second);
  return cuts;
}

void add_cut_rows(QUARN_env &env, const std::vector<Group> &groups,
                  const std::vector<ItemSet> &cuts) {
  examples::RowBatch rows;
  for (size_t c = 0; c < cuts.size(); ++c) {
    rows.add_row(examples::kAtMost, 1.0);
    for (int32_t k = 0; k < env.G->n - env.ncols_aux; ++k) {
      if (!cuts_across(group_of(env, groups, k).items, cuts[c])) continue;
      rows.add_entry(static_cast<int32_t>(c), k, 1.0);
    }
  }
  rows.send(env);
}

}  // namespace subset_row_cuts

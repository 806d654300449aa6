#include "examples/subset_row_cuts/cuts.h"

#include <algorithm>
#include <new>
#include <utility>

#include "examples/common/master_run.h"

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
  const int32_t columns = env.G->n - env.ncols_aux;
  std::vector<int32_t> starts = {1}, indices;
  for (const ItemSet triple : cuts) {
    for (int32_t k = 0; k < columns; ++k) {
      if (cuts_across(group_of(env, groups, k).items, triple)) indices.push_back(k + 1);
    }
    starts.push_back(static_cast<int32_t>(indices.size()) + 1);
  }
  std::vector<double> ones(indices.size(), 1.0);
  const std::vector<double> rhs(cuts.size(), 1.0), least(cuts.size(), -1e30), most(cuts.size());
  const std::vector<int32_t> types(cuts.size(), examples::kAtMost);
  QUARN_SMatrix_RW rows = {};
  rows.m = rows.max_m = static_cast<int32_t>(cuts.size());
  rows.n = rows.max_n = columns;
  rows.nz = rows.max_nz = static_cast<int32_t>(indices.size());
  rows.elt = ones.data();
  rows.row_start = starts.data();
  rows.cl = indices.data();
  if (QUARN_add_rows(&env, &rows, rhs.data(), types.data(), least.data(), most.data(), nullptr) !=
      1) {
    throw std::bad_alloc();
  }
}

}  // namespace subset_row_cuts

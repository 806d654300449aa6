#include "examples/cutting_stock/conflict_knapsack.h"

#include <algorithm>
#include <numeric>

namespace cutting_stock {

constexpr int64_t kMostCells = 1 << 14;
constexpr double kAccuracy = 1e-10;
// Steps until a search gives up; its bound is that of the tables then.
constexpr int64_t kCompleteSearch = 20000000;
constexpr int64_t kQuickSearch = 20000;

ConflictKnapsack::ConflictKnapsack(int64_t capacity, std::vector<ConflictItem> items)
    : capacity_(capacity), given_(items.size()), position_(items.size()) {
  std::iota(given_.begin(), given_.end(), size_t{0});
  std::stable_sort(given_.begin(), given_.end(),
                   [&](size_t a, size_t b) { return items[a].size > items[b].size; });
  for (size_t t = 0; t < given_.size(); ++t) position_[given_[t]] = t;
  for (const size_t item : given_) items_.push_back(std::move(items[item]));
  for (ConflictItem &item : items_) {
    for (size_t &conflict : item.conflicts) conflict = position_[conflict];
  }
  taken_.assign(items_.size(), 0);
  blocked_.assign(items_.size(), 0);
  make_tables();
}

/// tables_[t] is V_t; the last one is of no type at all.
void ConflictKnapsack::make_tables() {
  while (capacity_ >> shift_ >= kMostCells) ++shift_;
  const auto cells = static_cast<size_t>(capacity_ >> shift_) + 1;
  tables_.assign(items_.size() + 1, std::vector<double>(cells, 0.0));
  for (size_t t = items_.size(); t-- > 0;) {
    tables_[t] = tables_[t + 1];
    int64_t left = std::min(items_[t].limit, capacity_ / items_[t].size);
    for (int64_t copies = 1; left > 0; copies *= 2) {
      copies = std::min(copies, left);
      left -= copies;
      const auto shift = static_cast<size_t>(copies * items_[t].size >> shift_);
      const double value = static_cast<double>(copies) * items_[t].value;
      for (size_t c = cells; c-- > shift;) {
        tables_[t][c] = std::max(tables_[t][c], tables_[t][c - shift] + value);
      }
    }
  }
}

bool ConflictKnapsack::can_take(size_t t, int64_t room) const {
  return items_[t].size <= room && taken_[t] < items_[t].limit && blocked_[t] == 0;
}

void ConflictKnapsack::take(size_t t) {
  if (taken_[t]++ > 0) return;
  for (const size_t other : items_[t].conflicts) ++blocked_[other];
}

void ConflictKnapsack::put_back(size_t t) {
  if (--taken_[t] > 0) return;
  for (const size_t other : items_[t].conflicts) --blocked_[other];
}

void ConflictKnapsack::keep_if_best(double value) {
  if (value <= target_) return;
  best_.value = value;
  best_.items.clear();
  for (size_t t = 0; t < taken_.size(); ++t) {
    if (taken_[t] > 0) best_.items.push_back({given_[t], taken_[t]});
  }
  target_ = value + std::max(kAccuracy * value, slack_ * (value - more_than_));
}

void ConflictKnapsack::search(size_t t, int64_t room, double value) {
  keep_if_best(value);
  for (; t < items_.size() && effort_left_ > 0; ++t) {
    if (value + rest(t, room) <= target_) return;
    --effort_left_;
    if (!can_take(t, room)) continue;
    take(t);
    search(t, room - items_[t].size, value + items_[t].value);
    put_back(t);
  }
}

ConflictPacking ConflictKnapsack::best(double more_than, double slack) {
  best_ = {};
  target_ = more_than_ = more_than;
  slack_ = slack;
  effort_left_ = kCompleteSearch;
  search(0, capacity_, 0.0);
  const double relaxed = rest(0, capacity_);
  bound_ = effort_left_ > 0 ? std::min(relaxed, target_) : relaxed;
  return best_;
}

ConflictPacking ConflictKnapsack::best_with(size_t item, double more_than, double slack) {
  const size_t t = position_[item];
  best_ = {};
  if (!can_take(t, capacity_)) return best_;
  target_ = more_than_ = more_than;
  slack_ = slack;
  effort_left_ = kQuickSearch;
  take(t);
  search(0, capacity_ - items_[t].size, items_[t].value);
  put_back(t);
  return best_;
}

}  // namespace cutting_stock

#include "examples/cutting_stock/bounded_knapsack.h"

#include <algorithm>
#include <cmath>

namespace cutting_stock {

// More blocks make the bound inside a block sharper and the tables slower to reach. From 8 to 64
// the time for instances with 200 to 1000 types hardly changes; with 200 it is larger.
constexpr size_t kBlocks = 16;
// A look at a part takes about as long as this many cells of a table.
constexpr int64_t kCellsPerLook = 8;
// Cells of fine tables: what makes the work of making them, in cells times parts, kTableWork, but
// not below or above these numbers. A million cells take 8 MB for each block.
constexpr double kTableWork = 1e8;
constexpr double kLeastCells = 1 << 17;
constexpr double kMostCells = 1 << 20;
// Of coarse tables. They fit into the caches: for lengths of 100000 to 10^9 searches with these
// take a tenth to nine tenths of the time that they take with 2^17, and find as good patterns.
constexpr double kCoarseCells = 1 << 14;
constexpr double kAccuracy = 1e-10;

BoundedKnapsack::BoundedKnapsack(int64_t capacity, const std::vector<KnapsackItem> &items,
                                 Tables tables)
    : capacity_(capacity), items_(items), used_(items.size(), 0) {
  make_parts();
  make_tables(tables);
}

void BoundedKnapsack::lower_limit(int32_t item, int64_t limit) {
  KnapsackItem &changed = items_[static_cast<size_t>(item)];
  if (limit == changed.limit) return;
  changed.limit = limit;
  fresh_ = false;
}

void BoundedKnapsack::renew() {
  make_parts();
  make_tables(kCoarse);
}

void BoundedKnapsack::make_parts() {
  parts_.clear();
  for (size_t k = 0; k < items_.size(); ++k) {
    const KnapsackItem &item = items_[k];
    int64_t left = std::min(item.limit, capacity_ / item.size);
    for (int64_t copies = 1; left > 0; copies *= 2) {
      copies = std::min(copies, left);
      parts_.push_back({copies * item.size, static_cast<double>(copies) * item.value, copies,
                        static_cast<int32_t>(k), 0});
      left -= copies;
    }
  }
  std::sort(parts_.begin(), parts_.end(),
            [](const Part &a, const Part &b) { return a.size > b.size; });
}

void BoundedKnapsack::add_part(const Part &part, const Table &before, Table &after) const {
  const size_t shift = std::min(cell(part.size), before.size());
  const double value = part.value;
  std::copy_n(before.begin(), shift, after.begin());
  for (size_t c = shift; c < before.size(); ++c) {
    const double with = before[c - shift] + value;
    after[c] = with > before[c] ? with : before[c];
  }
}

void BoundedKnapsack::make_tables(Tables tables) {
  const size_t parts = parts_.size();
  const double affordable = kTableWork / static_cast<double>(parts + 1);
  const double most_cells =
      tables == kCoarse ? kCoarseCells : std::clamp(affordable, kLeastCells, kMostCells);
  for (shift_ = 0; static_cast<double>(capacity_ >> shift_) >= most_cells;) ++shift_;
  const size_t blocks = std::max<size_t>(1, std::min(kBlocks, parts));
  Table before(cell(capacity_) + 1, 0.0), after(before.size());
  tables_.assign(blocks, before);
  block_end_.assign(blocks, parts);
  efficiency_.assign(blocks, 0.0);
  double best_efficiency = 0.0;
  size_t k = parts;
  for (size_t b = blocks; b-- > 0;) {
    for (; k > b * parts / blocks; --k) {
      Part &part = parts_[k - 1];
      part.block = static_cast<int32_t>(b);
      add_part(part, before, after);
      best_efficiency = std::max(best_efficiency, part.value / static_cast<double>(part.size));
      before.swap(after);
    }
    tables_[b] = before;
    efficiency_[b] = best_efficiency;
    if (b > 0) block_end_[b - 1] = k;
  }
  fresh_ = true;
}

int64_t BoundedKnapsack::table_effort() const {
  return static_cast<int64_t>(parts_.size() * tables_.front().size()) / kCellsPerLook;
}

bool BoundedKnapsack::fits(const Part &part) const {
  const auto item = static_cast<size_t>(part.item);
  return part.size <= room_ && used_[item] + part.copies <= items_[item].limit;
}

/// The first part that is not too long for the room left: parts are sorted.
size_t BoundedKnapsack::first_fitting() const {
  const auto first = std::partition_point(parts_.begin(), parts_.end(),
                                          [this](const Part &p) { return p.size > room_; });
  return static_cast<size_t>(first - parts_.begin());
}

void BoundedKnapsack::take(size_t k) {
  const Part &part = parts_[k];
  used_[static_cast<size_t>(part.item)] += part.copies;
  room_ -= part.size;
  taken_.push_back({k, value_});
  value_ += part.value;
}

/// Undoes the latest take() and returns its part.
size_t BoundedKnapsack::put_back() {
  const Step step = taken_.back();
  const Part &part = parts_[step.part];
  used_[static_cast<size_t>(part.item)] -= part.copies;
  room_ += part.size;
  value_ = step.value_before;
  taken_.pop_back();
  return step.part;
}

void BoundedKnapsack::keep_if_best() {
  if (value_ <= target_) return;
  best_ = taken_;
  best_value_ = value_;
  target_ = value_ + std::max(kAccuracy * value_, slack_ * (value_ - more_than_));
}

void BoundedKnapsack::trace_back() {
  const Table nothing(tables_.front().size(), 0.0);
  for (size_t b = 0; b < tables_.size(); ++b) {
    const Table &rest = b + 1 < tables_.size() ? tables_[b + 1] : nothing;
    if (tables_[b][cell(room_)] > rest[cell(room_)]) trace_back_block(b, rest);
  }
  keep_if_best();
  while (!taken_.empty()) put_back();
}

/// Takes the parts of block b that V_b(room) stands for; `rest` is the table of the next block.
void BoundedKnapsack::trace_back_block(size_t b, const Table &rest) {
  const size_t begin = block_begin(b);
  const size_t parts = block_end_[b] - begin;
  std::vector<Table> &stages = stages_;
  // stages[t] covers the parts of the block from t on, and all later blocks.
  if (stages.size() <= parts) stages.resize(parts + 1);
  for (Table &stage : stages) stage.resize(cell(room_) + 1);
  std::copy_n(rest.begin(), stages[parts].size(), stages[parts].begin());
  for (size_t t = parts; t-- > 0;) add_part(parts_[begin + t], stages[t + 1], stages[t]);
  for (size_t t = 0; t < parts; ++t) {
    if (stages[t][cell(room_)] > stages[t + 1][cell(room_)]) take(begin + t);
  }
}

/// A first packing: always the part with the largest bound (3), over all blocks.
void BoundedKnapsack::fill_greedily() {
  const size_t given = taken_.size();
  std::vector<bool> has(parts_.size(), false);
  while (effort_left_ > 0) {
    size_t best = parts_.size();
    double best_bound = -1.0;
    const size_t first = first_fitting();
    for (size_t k = first; k < parts_.size(); ++k) {
      const Part &part = parts_[k];
      if (has[k] || !fits(part)) continue;
      const double bound = part.value + rest_bound(0, room_ - part.size);
      if (bound > best_bound) {
        best_bound = bound;
        best = k;
      }
    }
    effort_left_ -= static_cast<int64_t>(parts_.size() - first + 1);
    if (best == parts_.size()) break;
    has[best] = true;
    take(best);
  }
  keep_if_best();
  while (taken_.size() > given) put_back();
}

/// The first part from k on that fits and whose bound (3) is above the target; the number of parts
/// when there is none or the effort is spent.
size_t BoundedKnapsack::next_promising(size_t k) {
  k = std::max(k, first_fitting());
  while (k < parts_.size() && effort_left_ > 0) {
    const auto block = static_cast<size_t>(parts_[k].block);
    if (value_ + rest_bound(block, room_) <= target_) break;
    const size_t first = k;
    for (; k < block_end_[block]; ++k) {
      const Part &part = parts_[k];
      if (fits(part) && value_ + part.value + rest_bound(block, room_ - part.size) > target_) {
        effort_left_ -= static_cast<int64_t>(k - first + 1);
        return k;
      }
    }
    effort_left_ -= static_cast<int64_t>(k - first);
  }
  return parts_.size();
}

void BoundedKnapsack::search() {
  const size_t given = taken_.size();
  size_t k = 0;
  for (;;) {
    k = next_promising(k);
    if (k < parts_.size()) {
      take(k);
      keep_if_best();
    } else if (taken_.size() > given) {
      k = put_back();
    } else {
      return;
    }
    ++k;
  }
}

std::vector<PackedItem> BoundedKnapsack::best_items() const {
  std::vector<PackedItem> items;
  for (const Step &step : best_) {
    items.push_back({parts_[step.part].item, parts_[step.part].copies});
  }
  std::sort(items.begin(), items.end(),
            [](const PackedItem &a, const PackedItem &b) { return a.item < b.item; });
  size_t last = 0;
  for (size_t t = 1; t < items.size(); ++t) {
    if (items[t].item == items[last].item) {
      items[last].copies += items[t].copies;
    } else {
      items[++last] = items[t];
    }
  }
  if (!items.empty()) items.resize(last + 1);
  return items;
}

void BoundedKnapsack::start(double more_than, double slack, int64_t effort) {
  best_.clear();
  best_value_ = 0.0;
  target_ = more_than_ = more_than;
  slack_ = slack;
  effort_left_ = effort;
  room_ = capacity_;
  value_ = 0.0;
}

Packing BoundedKnapsack::outcome(double relaxed, int64_t effort) const {
  Packing packing;
  packing.value = best_value_;
  packing.items = best_items();
  packing.proven = effort_left_ > 0;
  packing.effort = effort - effort_left_;
  packing.bound = packing.proven ? std::min(relaxed, target_) : relaxed;
  return packing;
}

Packing BoundedKnapsack::solve(double more_than, double slack, int64_t effort) {
  start(more_than, slack, effort);
  const double relaxed = rest_bound(0, room_);
  if (relaxed > target_ && is_exact()) {
    trace_back();
  } else if (relaxed > target_) {
    fill_greedily();
    search();
  }
  return outcome(relaxed, effort);
}

Packing BoundedKnapsack::solve_with(int32_t item, double more_than, double slack, int64_t effort) {
  start(more_than, slack, effort);
  const auto single = static_cast<size_t>(
      std::find_if(parts_.begin(), parts_.end(),
                   [item](const Part &part) { return part.item == item && part.copies == 1; }) -
      parts_.begin());
  if (single == parts_.size() || !fits(parts_[single])) return outcome(0.0, effort);
  take(single);
  const double relaxed = value_ + rest_bound(0, room_);
  if (relaxed > target_) {
    fill_greedily();
    search();
  }
  put_back();
  return outcome(relaxed, effort);
}

}  // namespace cutting_stock

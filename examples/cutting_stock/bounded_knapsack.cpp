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

void BoundedKnapsack::reset(const std::vector<KnapsackItem> &items, Tables tables) {
  items_ = items;
  used_.assign(items.size(), 0);
  make_parts();
  make_tables(tables);
}

void BoundedKnapsack::lower_limit(int32_t item, int64_t limit) {
  KnapsackItem &changed = items_[static_cast<size_t>(item)];
  if (limit == changed.limit) return;
  changed.limit = limit;
  fresh_ = false;
}

void BoundedKnapsack::renew(Tables tables) {
  make_parts();
  make_tables(tables);
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

/// to[c] := max { to[c], from[c] + value } for `cells` cells; the two do not overlap.
static void improve(const double *__restrict from, double value, size_t cells,
                    double *__restrict to) {
  for (size_t c = 0; c < cells; ++c) {
    const double with = from[c] + value;
    to[c] = with > to[c] ? with : to[c];
  }
}

/// In the last cell and in those up to `reach`, long lengths first: the shorter ones are read.
void BoundedKnapsack::add_part(const Part &part, size_t reach, Table &table) const {
  const size_t shift = cell(part.size);
  improve(&table[table.size() - 1 - shift], part.value, 1, &table.back());
  if (shift == 0) {
    for (size_t c = 0; c <= reach; ++c) table[c] += part.value;
    return;
  }
  for (size_t end = reach + 1; end > shift;) {
    const size_t begin = std::max(shift, end - std::min(end, shift));
    improve(&table[begin - shift], part.value, end - begin, &table[begin]);
    end = begin;
  }
}

/// h.
int BoundedKnapsack::shift_of(Tables tables) const {
  const double affordable = kTableWork / static_cast<double>(parts_.size() + 1);
  const double most_cells =
      tables == kCoarse ? kCoarseCells : std::clamp(affordable, kLeastCells, kMostCells);
  int shift = 0;
  while (static_cast<double>(capacity_ >> shift) >= most_cells) ++shift;
  return shift;
}

void BoundedKnapsack::make_blocks() {
  const size_t parts = parts_.size();
  const size_t blocks = std::max<size_t>(1, std::min(kBlocks, parts));
  const size_t last = cell(capacity_);
  block_end_.resize(blocks);
  reach_.assign(blocks, last);
  for (size_t b = 0; b < blocks; ++b) {
    block_end_[b] = (b + 1) * parts / blocks;
    if (parts > 0) reach_[b] = last - cell(parts_[block_end_[b] - 1].size);
  }
}

/// From the next block's table.
void BoundedKnapsack::make_table(size_t b) {
  Table &table = tables_[b];
  table.resize(cell(capacity_) + 1);
  if (b + 1 < tables_.size()) {
    const Table &next = tables_[b + 1];
    std::copy_n(next.begin(), reach_[b] + 1, table.begin());
    table.back() = next.back();
    efficiency_[b] = efficiency_[b + 1];
  } else {
    std::fill_n(table.begin(), reach_[b] + 1, 0.0);
    table.back() = 0.0;
    efficiency_[b] = 0.0;
  }
  for (size_t k = block_end_[b]; k-- > block_begin(b);) {
    Part &part = parts_[k];
    part.block = static_cast<int32_t>(b);
    add_part(part, reach_[b], table);
    efficiency_[b] = std::max(efficiency_[b], part.value / static_cast<double>(part.size));
  }
}

void BoundedKnapsack::make_tables(Tables tables) {
  shift_ = shift_of(tables);
  make_blocks();
  tables_.resize(block_end_.size());
  efficiency_.resize(block_end_.size());
  for (size_t b = tables_.size(); b-- > 0;) make_table(b);
  fresh_ = true;
}

int64_t BoundedKnapsack::table_effort() const {
  return static_cast<int64_t>(parts_.size() * tables_.front().size()) / kCellsPerLook;
}

int64_t BoundedKnapsack::table_effort(Tables tables) const {
  const int64_t cells = (capacity_ >> shift_of(tables)) + 1;
  return static_cast<int64_t>(parts_.size()) * cells / kCellsPerLook;
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
  for (size_t b = 0; b < tables_.size(); ++b) {
    const double rest = b + 1 < tables_.size() ? tables_[b + 1][cell(room_)] : 0.0;
    if (tables_[b][cell(room_)] > rest) trace_back_block(b);
  }
  keep_if_best();
  while (!taken_.empty()) put_back();
}

/// Cells that parts of block b may lead to: these are about as long as each other, so a narrow band
/// for each number of them, until the bands touch.
void BoundedKnapsack::make_bands(size_t b) {
  const size_t longest = cell(parts_[block_begin(b)].size);
  const size_t shortest = cell(parts_[block_end_[b] - 1].size);
  Band next = {cell(room_), cell(room_)};
  bands_.assign(1, next);
  for (size_t k = block_begin(b); k < block_end_[b] && next.last >= shortest; ++k) {
    next = {next.first - std::min(next.first, longest), next.last - shortest};
    if (next.last + 1 < bands_.back().first) {
      bands_.push_back(next);
    } else {
      bands_.back().first = next.first;
    }
  }
}

/// stages_[t] covers the parts of the block from t on, and all later blocks.
void BoundedKnapsack::make_stages(size_t b) {
  const size_t begin = block_begin(b);
  const size_t parts = block_end_[b] - begin;
  if (stages_.size() <= parts) stages_.resize(parts + 1);
  for (Table &stage : stages_) stage.resize(tables_.front().size());
  for (const Band band : bands_) {
    for (size_t c = band.first; c <= band.last; ++c) {
      stages_[parts][c] = b + 1 < tables_.size() ? tables_[b + 1][c] : 0.0;
    }
  }
  for (size_t t = parts; t-- > 0;) {
    const Part &part = parts_[begin + t];
    const size_t shift = cell(part.size);
    const Table &before = stages_[t + 1];
    for (const Band band : bands_) {
      for (size_t c = band.first; c <= band.last; ++c) {
        const double with = c < shift ? 0.0 : before[c - shift] + part.value;
        stages_[t][c] = with > before[c] ? with : before[c];
      }
    }
  }
}

/// Takes the parts of block b that V_b(room) stands for.
void BoundedKnapsack::trace_back_block(size_t b) {
  make_bands(b);
  make_stages(b);
  const size_t begin = block_begin(b);
  for (size_t t = 0; begin + t < block_end_[b]; ++t) {
    if (stages_[t][cell(room_)] > stages_[t + 1][cell(room_)]) take(begin + t);
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
      const double bound =
          part.value + rest_bound(static_cast<size_t>(part.block), room_ - part.size);
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

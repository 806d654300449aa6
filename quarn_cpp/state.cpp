#include "quarn_cpp/state.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace quarn {
inline namespace v1 {
namespace detail {

// A batch ends here, so that a handle keeps no more than this much alive.
constexpr size_t kLargestBatch = 65536;

static size_t at(int32_t index) { return static_cast<size_t>(index); }

std::string to_text(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.8g", value);
  return text;
}

double clamped(double value) { return std::clamp(value, -kInfinity, kInfinity); }

Bounds checked_bounds(Bounds bounds, const std::string &what) {
  if (std::isnan(bounds.lower) || std::isnan(bounds.upper)) {
    throw Mistake(what + ": a bound is not a number");
  }
  if (bounds.lower > bounds.upper || bounds.lower >= kInfinity || bounds.upper <= -kInfinity) {
    throw Mistake(what + ": nothing lies between the bounds " + to_text(bounds.lower) + " and " +
                  to_text(bounds.upper));
  }
  return {clamped(bounds.lower), clamped(bounds.upper)};
}

/// The copy starts batches of its own, and so does the original from now on.
State::State(const State &other)
    : sense(other.sense),
      rows(other.rows),
      late_rows(other.late_rows),
      columns(other.columns),
      batches(other.batches),
      names(other.names),
      present(other.present),
      lower(other.lower),
      upper(other.upper),
      duals(other.duals),
      settings(other.settings),
      known_(other.known_),
      reindex_(other.reindex_),
      table_(other.table_) {
  if (!batches.empty()) batches.back()->shared = true;
}

// Handles

Column State::column_handle(int32_t slot) const {
  const ColumnSlot &column = columns[at(slot)];
  return Column(batches[at(column.batch)], column.position);
}

std::string State::row_name(int32_t slot) const { return "row '" + row_handle(slot).name() + "'"; }

int32_t State::row_slot(const Row &row, const std::string &what) const {
  if (!row) throw Mistake(what + ": the handle is of no row");
  const int32_t slot = row.index();
  if (at(slot) >= rows.size() || rows[at(slot)].identity != row.identity_) {
    throw Mistake(what + ": row '" + row.name() + "' is of another master");
  }
  if (rows[at(slot)].removed) throw Mistake(what + ": row '" + row.name() + "' was removed");
  return slot;
}

int32_t State::column_slot(const Column &column, const std::string &what) const {
  if (!column) throw Mistake(what + ": the handle is of no column");
  const int32_t slot = column.index();
  if (at(slot) >= columns.size() || batches[at(columns[at(slot)].batch)] != column.batch_) {
    throw Mistake(what + ": column " + std::to_string(slot) + " is of another master");
  }
  return slot;
}

std::shared_ptr<const RowTable> State::row_table() {
  if (table_ == nullptr) {
    auto table = std::make_shared<RowTable>();
    for (const RowSlot &row : rows) table->push_back(row.removed ? nullptr : row.identity);
    table_ = table;
  }
  return table_;
}

void State::note(Edit what, bool forget_lower, bool forget_upper) {
  edit = std::max(edit, what);
  if (forget_lower) lower = -kInfinity;
  if (forget_upper) upper = kInfinity;
}

// Rows

static void check_block(const std::string &what, Bounds sides, const Bounds &dual_bounds) {
  if (sides.upper < 0.0 || (sides.lower < 0.0 && sides.lower > -kInfinity)) {
    throw Mistake(what + ": a block cannot be used a negative number of times");
  }
  if (dual_bounds.lower > -kInfinity || dual_bounds.upper < kInfinity) {
    throw Mistake(what + ": dual bounds are for linking rows, not for a block row");
  }
}

Row State::add_row(Bounds sides, const RowOptions &options) {
  const auto slot = static_cast<int32_t>(rows.size());
  const std::string what =
      options.name.empty() ? "new row " + std::to_string(slot) : "new row '" + options.name + "'";
  RowSlot row;
  row.sides = checked_bounds(sides, what);
  if (!row.has_lower() && !row.has_upper()) throw Mistake(what + ": its sides are infinite");
  row.dual_bounds = checked_bounds(options.dual_bounds, what + ", bounds of the dual");
  if (options.block) check_block(what, row.sides, row.dual_bounds);
  if (!options.name.empty() && names.count(options.name) != 0) {
    throw Mistake(what + ": there is a row of this name already");
  }
  for (const auto &[column, value] : options.entries) {
    const int32_t column_of_entry = column_slot(column, what);
    if (!std::isfinite(value)) {
      throw Mistake(what + ": the entry in column " + std::to_string(column_of_entry) + " is " +
                    to_text(value));
    }
    if (value != 0.0) row.late.push_back({column_of_entry, value});
  }
  std::sort(row.late.begin(), row.late.end());
  for (size_t k = 1; k < row.late.size(); ++k) {
    if (row.late[k].first == row.late[k - 1].first) {
      throw Mistake(what + ": column " + std::to_string(row.late[k].first) + " is named twice");
    }
  }
  const std::string name = options.name.empty() ? "row " + std::to_string(slot) : options.name;
  row.identity = std::make_shared<const RowIdentity>(RowIdentity{name, slot, options.block});
  if (!options.name.empty()) names.emplace(options.name, slot);
  for (const auto &entry : row.late) columns[at(entry.first)].has_late = true;
  if (!row.late.empty()) late_rows.push_back(slot);
  reindex_ = reindex_ || !row.late.empty();
  rows.push_back(std::move(row));
  stamp_.resize(rows.size(), 0);
  table_ = nullptr;
  note(Edit::rows_added, false, true);
  return row_handle(slot);
}

void State::set_sides(const Row &row, Bounds sides, bool keep_kind) {
  const std::string what = "new sides";
  const int32_t slot = row_slot(row, what);
  RowSlot &target = rows[at(slot)];
  const std::string named = what + " of " + row_name(slot);
  if (keep_kind) {
    if (target.is_range()) throw Mistake(named + ": the row has a range, not a right-hand side");
    if (!target.has_lower()) sides.lower = -kInfinity;
    if (!target.has_upper()) sides.upper = kInfinity;
  }
  sides = checked_bounds(sides, named);
  if (sides.lower <= -kInfinity && sides.upper >= kInfinity) {
    throw Mistake(named + ": both are infinite");
  }
  if (target.identity->block) check_block(named, sides, target.dual_bounds);
  target.sides = sides;
  note(Edit::changed, true, true);
}

void State::remove_row(const Row &row) {
  const int32_t slot = row_slot(row, "a row to remove");
  RowSlot &target = rows[at(slot)];
  target.removed = true;
  target.late.clear();
  names.erase(target.identity->name);
  if (at(slot) < duals.size()) duals[at(slot)] = 0.0;
  table_ = nullptr;
  reindex_ = true;
  note(Edit::changed, true, false);
}

// Columns

ColumnData State::column(int32_t slot) const {
  const ColumnSlot &column = columns[at(slot)];
  const Batch &batch = *batches[at(column.batch)];
  const int64_t first = batch.starts[at(column.position)];
  const int64_t end = batch.starts[at(column.position) + 1];
  return {batch.costs[at(column.position)], batch.rows.data() + first, batch.values.data() + first,
          static_cast<int32_t>(end - first)};
}

void State::gather(int32_t slot, std::vector<std::pair<int32_t, double>> *entries) const {
  entries->clear();
  const ColumnData data = column(slot);
  for (int32_t t = 0; t < data.length; ++t) {
    if (!rows[at(data.rows[t])].removed) entries->push_back({data.rows[t], data.values[t]});
  }
  if (!columns[at(slot)].has_late) return;
  for (const int32_t row : late_rows) {
    const auto &late = rows[at(row)].late;
    const auto found = std::lower_bound(late.begin(), late.end(), std::make_pair(slot, -HUGE_VAL));
    if (found != late.end() && found->first == slot) entries->push_back({row, found->second});
  }
}

void State::check_column(ColumnName name, double cost, const int32_t *slots, const double *values,
                         int64_t length) {
  const auto fail = [&](const std::string &wrong) { throw Mistake(name.text() + ": " + wrong); };
  if (!std::isfinite(cost)) fail("the cost is " + to_text(cost));
  stamp_.resize(rows.size(), 0);
  ++checked_;
  for (int64_t t = 0; t < length; ++t) {
    const int32_t slot = slots[t];
    if (slot < 0 || at(slot) >= rows.size()) fail("there is no row " + std::to_string(slot));
    if (rows[at(slot)].removed) fail(row_name(slot) + " was removed");
    if (!std::isfinite(values[t])) {
      fail("the entry in " + row_name(slot) + " is " + to_text(values[t]));
    }
    if (stamp_[at(slot)] == checked_) fail(row_name(slot) + " comes twice");
    stamp_[at(slot)] = checked_;
  }
}

static uint64_t column_hash(double cost, const int32_t *slots, const double *values,
                            int64_t length) {
  uint64_t hash = entry_hash(-1, cost);
  for (int64_t t = 0; t < length; ++t) {
    if (values[t] != 0.0) hash += entry_hash(slots[t], values[t]);
  }
  return hash;
}

int32_t State::find_equal(double cost, const int32_t *slots, const double *values, int64_t length,
                          uint64_t *hash) {
  if (reindex_) index_columns();
  *hash = column_hash(cost, slots, values, length);
  std::vector<std::pair<int32_t, double>> there, wanted;
  return known_.find(*hash, [&](int32_t slot) {
    if (columns[at(slot)].removed || column(slot).cost != cost) return false;
    gather(slot, &there);
    if (wanted.empty()) {
      for (int64_t t = 0; t < length; ++t) {
        if (values[t] != 0.0) wanted.push_back({slots[t], values[t]});
      }
      std::sort(wanted.begin(), wanted.end());
    }
    std::sort(there.begin(), there.end());
    return there == wanted;
  });
}

Batch &State::open_batch() {
  if (batches.empty() || batches.back()->shared || batches.back()->rows.size() > kLargestBatch) {
    batches.push_back(std::make_shared<Batch>());
    batches.back()->first_slot = static_cast<int32_t>(columns.size());
  }
  return *batches.back();
}

void State::expect(size_t count, size_t entries) {
  // By doubling, so that a run's many batches copy each column a few times only.
  const auto make_room = [](auto &values, size_t more) {
    const size_t wanted = values.size() + more;
    if (wanted > values.capacity()) values.reserve(std::max(wanted, 2 * values.capacity()));
  };
  Batch &batch = open_batch();
  make_room(batch.rows, entries);
  make_room(batch.values, entries);
  make_room(batch.starts, count);
  make_room(batch.costs, count);
  make_room(columns, count);
  known_.expect(count);
}

int32_t State::append(double cost, const int32_t *slots, const double *values, int64_t length,
                      Bounds bounds, std::any data, uint64_t hash) {
  Batch &batch = open_batch();
  const auto slot = static_cast<int32_t>(columns.size());
  const auto position = static_cast<int32_t>(batch.costs.size());
  for (int64_t t = 0; t < length; ++t) {
    if (values[t] == 0.0) continue;
    batch.rows.push_back(slots[t]);
    batch.values.push_back(values[t]);
  }
  batch.starts.push_back(static_cast<int64_t>(batch.rows.size()));
  batch.costs.push_back(cost);
  if (data.has_value()) {
    batch.data.resize(at(position) + 1);
    batch.data.back() = std::move(data);
  }
  ColumnSlot column{};
  column.batch = static_cast<int32_t>(batches.size()) - 1;
  column.position = position;
  column.bounds = bounds;
  columns.push_back(column);
  known_.insert(hash, slot);
  ++present;
  return slot;
}

void State::remove_column(int32_t slot) {
  ColumnSlot &column = columns[at(slot)];
  if (column.removed) {
    throw Mistake("a column to remove: column " + std::to_string(slot) + " was removed already");
  }
  column.removed = true;
  --present;
  note(Edit::changed, false, true);
}

void State::index_columns() {
  known_.clear();
  reindex_ = false;
  std::vector<std::pair<int32_t, double>> entries;
  for (size_t j = 0; j < columns.size(); ++j) {
    if (columns[j].removed) continue;
    const auto slot = static_cast<int32_t>(j);
    gather(slot, &entries);
    uint64_t hash = entry_hash(-1, column(slot).cost);
    for (const auto &[row, value] : entries) hash += entry_hash(row, value);
    known_.insert(hash, slot);
  }
}

}  // namespace detail

// Handles

std::string Row::name() const { return identity_ != nullptr ? identity_->name : "no row"; }
int32_t Row::index() const { return identity_ != nullptr ? identity_->slot : -1; }
bool Row::is_block() const { return identity_ != nullptr && identity_->block; }

int32_t Column::index() const { return batch_ != nullptr ? batch_->first_slot + position_ : -1; }

double Column::cost() const {
  if (batch_ == nullptr) throw Mistake("the cost of a column: the handle is of no column");
  return batch_->costs[static_cast<size_t>(position_)];
}

const std::any &Column::data() const {
  if (batch_ == nullptr) throw Mistake("the object of a column: the handle is of no column");
  static const std::any nothing;
  const auto position = static_cast<size_t>(position_);
  return position < batch_->data.size() ? batch_->data[position] : nothing;
}

}  // namespace v1
}  // namespace quarn

#include "block_pricing/block_oracle.hpp"

#include <cmath>

#include "block_pricing/round.hpp"

namespace quarn {
inline namespace v1 {

// BlockDuals

BlockDuals::BlockDuals(const Duals &duals, std::string text)
    : values(duals.values()),
      objective(duals.objective()),
      lower_bound(duals.lower_bound()),
      upper_bound(duals.upper_bound()),
      gap(duals.gap()),
      iteration(duals.iteration()),
      note(std::move(text)) {}

bool BlockDuals::should_stop() const { return watch_ != nullptr && watch_->ended(); }

// BlockColumns

void BlockColumns::add(double cost, const std::vector<BlockEntry> &entries, std::string_view data) {
  for (const auto &[row, value] : entries) {
    rows_.push_back(row);
    values_.push_back(value);
  }
  close(cost, data);
}

void BlockColumns::add(double cost, size_t length, const int32_t *rows, const double *values,
                       std::string_view data) {
  rows_.insert(rows_.end(), rows, rows + length);
  values_.insert(values_.end(), values, values + length);
  close(cost, data);
}

/// Makes a column of the entries at the end that are not one yet.
void BlockColumns::close(double cost, std::string_view data) {
  try {
    check_last(cost);
  } catch (...) {
    undo_last();
    throw;
  }
  costs_.push_back(cost);
  starts_.push_back(static_cast<int64_t>(rows_.size()));
  data_.append(data);
  data_starts_.push_back(static_cast<int64_t>(data_.size()));
}

void BlockColumns::check_last(double cost) const {
  if (!std::isfinite(cost)) throw Mistake("a column's cost is " + std::to_string(cost));
  for (auto t = static_cast<size_t>(starts_.back()); t < rows_.size(); ++t) {
    if (rows_[t] < 0) throw Mistake("a column names row " + std::to_string(rows_[t]));
    if (!std::isfinite(values_[t])) {
      throw Mistake("a column's entry in row " + std::to_string(rows_[t]) + " is " +
                    std::to_string(values_[t]));
    }
  }
}

void BlockColumns::undo_last() {
  rows_.resize(static_cast<size_t>(starts_.back()));
  values_.resize(static_cast<size_t>(starts_.back()));
}

BlockColumn BlockColumns::operator[](size_t j) const {
  const auto first = static_cast<size_t>(starts_[j]);
  const auto bytes = static_cast<size_t>(data_starts_[j]);
  BlockColumn column;
  column.cost = costs_[j];
  column.length = static_cast<size_t>(starts_[j + 1]) - first;
  column.rows = rows_.data() + first;
  column.values = values_.data() + first;
  column.data =
      std::string_view(data_.data() + bytes, static_cast<size_t>(data_starts_[j + 1]) - bytes);
  return column;
}

void BlockColumns::append(const BlockColumns &other, size_t first, size_t end) {
  if (first == end) return;
  const int64_t entry = other.starts_[first], entry_end = other.starts_[end];
  const int64_t byte = other.data_starts_[first], byte_end = other.data_starts_[end];
  const int64_t shift = static_cast<int64_t>(rows_.size()) - entry;
  const int64_t data_shift = static_cast<int64_t>(data_.size()) - byte;
  costs_.insert(costs_.end(), &other.costs_[first], &other.costs_[first] + (end - first));
  rows_.insert(rows_.end(), other.rows_.data() + entry, other.rows_.data() + entry_end);
  values_.insert(values_.end(), other.values_.data() + entry, other.values_.data() + entry_end);
  data_.append(other.data_, static_cast<size_t>(byte), static_cast<size_t>(byte_end - byte));
  for (size_t j = first + 1; j <= end; ++j) {
    starts_.push_back(other.starts_[j] + shift);
    data_starts_.push_back(other.data_starts_[j] + data_shift);
  }
}

void BlockColumns::clear() {
  costs_.clear();
  starts_.assign(1, 0);
  rows_.clear();
  values_.clear();
  data_starts_.assign(1, 0);
  data_.clear();
}

void BlockColumns::reserve(size_t columns, size_t entries, size_t bytes) {
  costs_.reserve(columns);
  starts_.reserve(columns + 1);
  rows_.reserve(entries);
  values_.reserve(entries);
  data_starts_.reserve(columns + 1);
  data_.reserve(bytes);
}

// BlockOracle

BlockOracle::~BlockOracle() = default;

std::string BlockOracle::name(size_t block) const { return "block " + std::to_string(block); }

std::any BlockOracle::column_data(size_t, std::string_view bytes) const {
  return bytes.empty() ? std::any() : std::any(std::string(bytes));
}

}  // namespace v1
}  // namespace quarn

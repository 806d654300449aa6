#include "quarn_cpp/pricing.hpp"

#include <algorithm>

#include "quarn_cpp/run.hpp"
#include "quarn_cpp/state.hpp"

namespace quarn {
inline namespace v1 {

// Duals

Duals::Duals() : priced_(std::make_shared<detail::Priced>()) {}

double Duals::operator[](const Row &row) const {
  const auto slot = static_cast<size_t>(row.index());
  const detail::RowTable *table = priced_->table.get();
  if (!row || table == nullptr || slot >= table->size() || (*table)[slot] != row.identity_) {
    throw Mistake("a dual: row '" + row.name() +
                  "' is of another master, or not in this one yet "
                  "or any more");
  }
  return priced_->values[slot];
}

const std::vector<double> &Duals::values() const { return priced_->values; }

double Duals::reduced_cost(double cost, const std::vector<Entry> &entries) const {
  for (const auto &[row, value] : entries) cost -= (*this)[row] * value;
  return cost;
}

double Duals::objective() const { return priced_->objective; }
double Duals::lower_bound() const { return priced_->lower; }
double Duals::upper_bound() const { return priced_->upper; }
double Duals::gap() const { return priced_->gap; }
int32_t Duals::iteration() const { return priced_->iteration; }
bool Duals::out_of_time() const { return priced_->run != nullptr && priced_->run->out_of_time(); }

std::vector<ColumnValue> Duals::solution() const {
  return priced_->run != nullptr ? priced_->run->column_values() : priced_->solution;
}

// Columns

Column Columns::add(double cost, const std::vector<Entry> &entries, std::any data) {
  return add(cost, entries, Bounds{}, std::move(data));
}

Column Columns::add(double cost, const std::vector<Entry> &entries, Bounds bounds, std::any data) {
  const detail::ColumnName name = {state_.columns.size()};
  const std::string what = name.text();
  std::vector<int32_t> slots;
  std::vector<double> values;
  for (const auto &[row, value] : entries) {
    slots.push_back(state_.row_slot(row, what));
    values.push_back(value);
  }
  const auto length = static_cast<int64_t>(slots.size());
  state_.check_column(name, cost, slots.data(), values.data(), length);
  bounds = detail::checked_bounds(bounds, what);
  uint64_t hash = 0;
  const int32_t known = state_.find_equal(cost, slots.data(), values.data(), length, &hash);
  if (known >= 0) return state_.column_handle(known);
  ++added_;
  // What was feasible may not be any more, and the record has to be made to tell.
  if (bounds.lower > 0.0) state_.note(detail::Edit::rows_added, false, true);
  return state_.column_handle(
      state_.append(cost, slots.data(), values.data(), length, bounds, std::move(data), hash));
}

int32_t Columns::add_many(size_t count, const double *costs, const int64_t *starts,
                          const int32_t *rows, const double *values, std::vector<std::any> data) {
  if (!data.empty() && data.size() != count) {
    throw Mistake("a batch of " + std::to_string(count) + " columns has " +
                  std::to_string(data.size()) + " objects");
  }
  if (count > 0 && starts[0] != 0) throw Mistake("a batch of columns: the first start is not 0");
  for (size_t j = 0; j < count; ++j) {
    if (starts[j + 1] >= starts[j]) continue;
    throw Mistake(detail::ColumnName{j, true}.text() + " ends before it starts");
  }
  for (size_t j = 0; j < count; ++j) {
    state_.check_column({j, true}, costs[j], rows + starts[j], values + starts[j],
                        starts[j + 1] - starts[j]);
  }
  const int32_t before = added_;
  if (count > 0) state_.expect(count, static_cast<size_t>(starts[count]));
  for (size_t j = 0; j < count; ++j) {
    const int64_t length = starts[j + 1] - starts[j];
    const int32_t *slots = rows + starts[j];
    uint64_t hash = 0;
    if (state_.find_equal(costs[j], slots, values + starts[j], length, &hash) >= 0) continue;
    state_.append(costs[j], slots, values + starts[j], length, Bounds{},
                  data.empty() ? std::any() : std::move(data[j]), hash);
    ++added_;
  }
  return added_ - before;
}

int32_t Columns::add_many(const std::vector<double> &costs, const std::vector<int64_t> &starts,
                          const std::vector<int32_t> &rows, const std::vector<double> &values,
                          std::vector<std::any> data) {
  if (starts.size() != costs.size() + 1) {
    throw Mistake("a batch of " + std::to_string(costs.size()) + " columns has " +
                  std::to_string(starts.size()) + " starts instead of one more");
  }
  if (rows.size() != values.size() || starts.back() != static_cast<int64_t>(rows.size())) {
    throw Mistake(
        "a batch of columns: the last start, the number of rows and that of values differ");
  }
  return add_many(costs.size(), costs.data(), starts.data(), rows.data(), values.data(),
                  std::move(data));
}

// Answer

Answer Answer::bound(double value) {
  Answer answer;
  answer.kind_ = Kind::bound;
  answer.bound_ = value;
  return answer;
}

Answer Answer::best_reduced_costs(std::vector<std::pair<Row, double>> values) {
  Answer answer;
  answer.kind_ = Kind::blocks;
  answer.blocks_ = std::move(values);
  return answer;
}

Answer Answer::heuristic() { return Answer(); }

}  // namespace v1
}  // namespace quarn

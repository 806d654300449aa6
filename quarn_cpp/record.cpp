#include "quarn_cpp/record.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace quarn {
inline namespace v1 {
namespace detail {

// A row missed by less than this, relative to its right-hand side, is met.
constexpr double kUnmet = 1e-6;
// By less than this, it is met to the last digits that the solver gives.
constexpr double kRounding = 1e-9;
constexpr int32_t kNoLimit = std::numeric_limits<int32_t>::max();

static size_t at(int32_t index) { return static_cast<size_t>(index); }

/// A batch for the C interface: columns with rows of the record, from 0, and costs.
class RecordBatch {
 public:
  explicit RecordBatch(int32_t rows) : rows_(rows) {}

  void start_column(double cost, int32_t tag = -1) {
    starts_.push_back(static_cast<int32_t>(values_.size()) + 1);
    tags_.push_back(tag);
    add(rows_ - 1, cost);
  }
  void add(int32_t row, double value) {
    indices_.push_back(row + 1);
    values_.push_back(value);
  }
  int32_t size() const { return static_cast<int32_t>(tags_.size()); }
  const int32_t *tags() const { return tags_.data(); }

  QUARN_SMatrix_CW finish() {
    // The C interface counts in 32 bits.
    if (values_.size() >= at(kNoLimit)) throw std::bad_alloc();
    starts_.push_back(static_cast<int32_t>(values_.size()) + 1);
    QUARN_SMatrix_CW batch = {};
    batch.m = batch.max_m = rows_;
    batch.n = batch.max_n = size();
    batch.nz = batch.max_nz = static_cast<int32_t>(values_.size());
    batch.elt = values_.data();
    batch.rw = indices_.data();
    batch.col_start = starts_.data();
    return batch;
  }

 private:
  int32_t rows_;
  std::vector<double> values_;
  std::vector<int32_t> indices_, starts_, tags_;
};

Record::Record(State &state, const Penalty &penalty, const std::vector<double> &first_duals,
               void *user_data)
    : state_(state), penalty_(penalty) {
  find_rows_to_relieve();
  order_rows();
  make(penalty, first_duals, user_data);
  add_auxiliary_columns(penalty);
  QUARN_set_column_elimination(env_.get(), 0);  // the state recognises columns itself
  send_first_columns();
}

/// Linking rows, those with box columns first, then block rows.
void Record::order_rows() {
  row_slots_.clear();
  row_of_.assign(state_.rows.size(), -1);
  const auto append = [this](bool block, bool boxed) {
    for (size_t i = 0; i < state_.rows.size(); ++i) {
      const RowSlot &row = state_.rows[i];
      if (row.removed || row.identity->block != block) continue;
      if (!block && relieved_[i] != boxed) continue;
      row_of_[i] = static_cast<int32_t>(row_slots_.size());
      row_slots_.push_back(static_cast<int32_t>(i));
    }
  };
  append(false, true);
  append(false, false);
  append(true, true);
}

/// Bounds of the dual of a linking row, as one that minimises.
Bounds Record::box(const RowSlot &row, const Penalty &penalty) const {
  Bounds box = {-penalty.cost, penalty.cost};
  Bounds given = row.dual_bounds;
  if (state_.sense == Sense::maximize) given = {-given.upper, -given.lower};
  if (!penalty.opens_boxes && given.lower > -kInfinity) box.lower = given.lower;
  if (!penalty.opens_boxes && given.upper < kInfinity) box.upper = given.upper;
  if (penalty.guards_slacks && !row.has_upper()) box.lower = std::min(box.lower, -penalty.cost);
  if (penalty.guards_slacks && !row.has_lower()) box.upper = std::max(box.upper, penalty.cost);
  return box;
}

static int16_t type_of(const RowSlot &row) {
  if (row.is_equal() || row.is_range()) return static_cast<int16_t>(RowSense::equal);
  return static_cast<int16_t>(row.has_lower() ? RowSense::at_least : RowSense::at_most);
}

void Record::make(const Penalty &penalty, const std::vector<double> &first_duals, void *user_data) {
  std::vector<double> rhs, lower, upper, duals;
  std::vector<int16_t> types;
  std::vector<int32_t> unboxed;
  for (const int32_t slot : row_slots_) {
    const RowSlot &row = state_.rows[at(slot)];
    if (!row.identity->block && !relieved_[at(slot)]) {
      unboxed.push_back(slot);
      continue;
    }
    rhs.push_back(row.has_lower() ? row.sides.lower : row.sides.upper);
    types.push_back(type_of(row));
    if (row.identity->block) continue;
    const Bounds bounds = box(row, penalty);
    lower.push_back(bounds.lower);
    upper.push_back(bounds.upper);
  }
  rhs.push_back(0.0);  // the cost row
  types.push_back(1);
  duals.resize(rhs.size(), 0.0);
  const auto rows = static_cast<int32_t>(rhs.size());
  const auto linking = static_cast<int32_t>(lower.size());
  env_.reset(QUARN_set_data(linking, rows - 1 - linking, rows, 0, kNoLimit,
                            first_duals.empty() ? nullptr : duals.data(), rhs.data(), types.data(),
                            lower.data(), upper.data(), user_data));
  if (env_ == nullptr) throw std::bad_alloc();
  QUARN_set_log(env_.get(), QUARN_log_nothing, nullptr);
  QUARN_set_max_cputime(env_.get(), std::numeric_limits<double>::max());
  note_reliefs(lower, upper);
  if (!unboxed.empty()) send_rows(unboxed);
  if (first_duals.empty()) return;
  for (size_t i = 0; i < row_slots_.size(); ++i) {
    env_->u[i] = state_.sign() * first_duals[at(row_slots_[i])];
  }
}

/// Of the box columns those that take a violation: +1 in a row that wants more, -1 in one that
/// wants less. The others stand in for the slack of an inequality, unless they are paid for it.
void Record::note_reliefs(const std::vector<double> &lower, const std::vector<double> &upper) {
  for (size_t i = 0; i < lower.size(); ++i) {
    const int32_t slot = row_slots_[i];
    const int16_t type = type_of(state_.rows[at(slot)]);
    const auto row = static_cast<int32_t>(i);
    if (type != 2 || lower[i] > 0.0) reliefs_.push_back({slot, row, -lower[i]});
    if (type != 3 || upper[i] < 0.0) reliefs_.push_back({slot, env_->m + row, upper[i]});
  }
}

/// Whether a linking row can do without box columns where all columns have the value 0.
static bool holds_at_zero(const RowSlot &row) {
  const Bounds &dual = row.dual_bounds;
  if (row.is_equal() || row.is_range() || dual.lower > -kInfinity || dual.upper < kInfinity) {
    return false;
  }
  return row.sides.lower <= 0.0 && row.sides.upper >= 0.0;
}

/// Rows without columns of the record's own are those that the caller's columns satisfy together:
/// auxiliary columns take their part of a restricted master's gap, and the duals would be less
/// central.
void Record::find_rows_to_relieve() {
  relieved_.assign(state_.rows.size(), true);
  const bool served = find_reliefs_of_blocks();
  if (served && !penalty_.boxes_all && !penalty_.opens_boxes) find_reliefs_of_linking_rows();
}

/// The block rows that the caller's columns may leave unmet. The others, at any value of a column
/// that has to be used nowhere, can be met while the boxes take what linking rows miss. True when
/// the caller's columns meet all.
bool Record::find_reliefs_of_blocks() {
  std::vector<bool> relieved(state_.rows.size());
  for (size_t i = 0; i < relieved.size(); ++i) relieved[i] = state_.rows[i].has_lower();
  std::vector<std::pair<int32_t, double>> entries;
  for (size_t j = 0; j < state_.columns.size(); ++j) {
    const ColumnSlot &column = state_.columns[j];
    if (column.removed) continue;
    if (column.bounds.lower != 0.0) return false;
    if (!column.given || column.is_bounded()) continue;
    state_.gather(static_cast<int32_t>(j), &entries);
    for (const auto &[row, value] : entries) {
      if (value > 0.0) relieved[at(row)] = false;
    }
  }
  bool served = true;
  for (size_t i = 0; i < relieved.size(); ++i) {
    const RowSlot &row = state_.rows[i];
    if (row.removed || !row.identity->block) continue;
    relieved_[i] = relieved[i];
    served = served && !relieved[i];
  }
  return served;
}

/// The linking rows that may be missed at 0, or when the caller's columns serve the blocks.
void Record::find_reliefs_of_linking_rows() {
  for (size_t i = 0; i < state_.rows.size(); ++i) {
    const RowSlot &row = state_.rows[i];
    if (!row.removed && !row.identity->block) relieved_[i] = !holds_at_zero(row);
  }
  std::vector<std::pair<int32_t, double>> entries;
  for (size_t j = 0; j < state_.columns.size(); ++j) {
    const ColumnSlot &column = state_.columns[j];
    if (column.removed || !column.given) continue;
    state_.gather(static_cast<int32_t>(j), &entries);
    for (const auto &[slot, value] : entries) {
      const RowSlot &row = state_.rows[at(slot)];
      if (row.identity->block || relieved_[at(slot)]) continue;
      relieved_[at(slot)] = row.has_upper() ? value > 0.0 : value < 0.0;
    }
  }
}

void Record::add_auxiliary_columns(const Penalty &penalty) {
  RecordBatch batch(env_->G->m);
  std::vector<double> widths;
  for (const int32_t slot : row_slots_) {
    const RowSlot &row = state_.rows[at(slot)];
    if (row.is_range()) {
      batch.start_column(0.0);
      batch.add(row_of_[at(slot)], -1.0);
      widths.push_back(row.sides.upper - row.sides.lower);
    }
  }
  const int32_t first = env_->G->n;
  for (const int32_t slot : row_slots_) {
    const RowSlot &row = state_.rows[at(slot)];
    if (!row.identity->block || !relieved_[at(slot)]) continue;
    for (const double unit : {1.0, -1.0}) {
      if (unit > 0.0 ? !row.has_lower() : !row.has_upper()) continue;
      reliefs_.push_back({slot, first + batch.size(), penalty.cost});
      batch.start_column(penalty.cost);
      batch.add(row_of_[at(slot)], unit);
    }
  }
  if (batch.size() == 0) return;
  const QUARN_SMatrix_CW columns = batch.finish();
  if (QUARN_add_auxiliary_columns(env_.get(), &columns) < 0) throw std::bad_alloc();
  for (size_t k = 0; k < widths.size(); ++k) env_->col_ub[at(first) + k] = widths[k];
}

/// Those that the caller has given come first: the library may take out the others alone.
void Record::send_first_columns() {
  std::vector<int32_t> slots;
  for (const bool given : {true, false}) {
    for (size_t j = 0; j < state_.columns.size(); ++j) {
      const ColumnSlot &column = state_.columns[j];
      if (column.removed || column.given != given) continue;
      slots.push_back(static_cast<int32_t>(j));
    }
    if (given) env_->reduce_mode = static_cast<int32_t>(slots.size());
  }
  sent_ = state_.columns.size();
  if (!slots.empty()) send(slots);
}

bool Record::can_take_rows(size_t first) const {
  if (penalty_.boxes_all || penalty_.opens_boxes) return false;
  return std::all_of(state_.rows.begin() + static_cast<std::ptrdiff_t>(first), state_.rows.end(),
                     [](const RowSlot &row) {
                       const Bounds &dual = row.dual_bounds;
                       return !row.identity->block && !row.is_range() && dual.lower <= -kInfinity &&
                              dual.upper >= kInfinity;
                     });
}

void Record::add_rows(size_t first) {
  relieved_.resize(state_.rows.size(), false);
  order_rows();
  std::vector<int32_t> slots;
  for (size_t i = first; i < state_.rows.size(); ++i) slots.push_back(static_cast<int32_t>(i));
  send_rows(slots);
}

/// Linking rows with their entries in the columns that were sent.
void Record::send_rows(const std::vector<int32_t> &slots) {
  std::vector<int32_t> position(state_.columns.size(), 0);  // from 1; 0 for columns not sent yet
  for (int32_t k = 0; k < generated(); ++k) position[at(slot_of(k))] = k + 1;
  std::vector<double> values, rhs, lower, upper;
  std::vector<int32_t> columns, starts = {1}, types;
  for (const int32_t slot : slots) {
    const RowSlot &row = state_.rows[at(slot)];
    for (const auto &[column, value] : row.late) {
      if (position[at(column)] == 0) continue;
      columns.push_back(position[at(column)]);
      values.push_back(value);
    }
    starts.push_back(static_cast<int32_t>(values.size()) + 1);
    rhs.push_back(row.has_lower() ? row.sides.lower : row.sides.upper);
    types.push_back(type_of(row));
    const Bounds bounds = box(row, penalty_);
    lower.push_back(bounds.lower);
    upper.push_back(bounds.upper);
  }
  // The C interface counts in 32 bits.
  if (values.size() >= at(kNoLimit)) throw std::bad_alloc();
  QUARN_SMatrix_RW batch = {};
  batch.m = batch.max_m = static_cast<int32_t>(slots.size());
  batch.n = batch.max_n = generated();
  batch.nz = batch.max_nz = static_cast<int32_t>(values.size());
  batch.elt = values.data();
  batch.cl = columns.data();
  batch.row_start = starts.data();
  if (QUARN_add_rows(env_.get(), &batch, rhs.data(), types.data(), lower.data(), upper.data(),
                     nullptr) < 0) {
    throw std::bad_alloc();
  }
}

void Record::send_new_columns() {
  std::vector<int32_t> slots;
  for (; sent_ < state_.columns.size(); ++sent_) {
    if (!state_.columns[sent_].removed) slots.push_back(static_cast<int32_t>(sent_));
  }
  if (!slots.empty()) send(slots);
}

void Record::send(const std::vector<int32_t> &slots) {
  RecordBatch batch(env_->G->m);
  std::vector<std::pair<int32_t, double>> entries;
  const double sign = state_.sign();
  for (const int32_t slot : slots) {
    state_.gather(slot, &entries);
    batch.start_column(sign * state_.column(slot).cost, slot);
    for (const auto &[row, value] : entries) batch.add(row_of_[at(row)], value);
  }
  const int32_t before = env_->G->n;
  const QUARN_SMatrix_CW columns = batch.finish();
  if (QUARN_add_columns(env_.get(), &columns, batch.tags()) < 0) throw std::bad_alloc();
  for (size_t k = 0; k < slots.size(); ++k) {
    const ColumnSlot &column = state_.columns[at(slots[k])];
    if (!column.is_bounded()) continue;
    env_->col_lb[at(before) + k] = column.bounds.lower;
    env_->col_ub[at(before) + k] = column.bounds.upper;
    bounded_.push_back(slots[k]);
  }
}

// Reading

std::vector<double> Record::duals() const {
  std::vector<double> duals(state_.rows.size(), 0.0);
  for (size_t i = 0; i < row_slots_.size(); ++i) {
    const RowSlot &row = state_.rows[at(row_slots_[i])];
    double u = env_->u[i];
    if (!row.has_upper()) u = std::max(u, 0.0);
    if (!row.has_lower()) u = std::min(u, 0.0);
    duals[at(row_slots_[i])] = state_.sign() * u;
  }
  return duals;
}

double Record::dual_value(const std::vector<double> &duals) const {
  return detail::dual_value(state_, duals, bounded_);
}

/// Calls `visit` with each term of the value of the duals.
template <typename Visit>
static void for_each_dual_term(const State &state, const std::vector<double> &duals,
                               const std::vector<int32_t> &bounded, const Visit &visit) {
  for (size_t i = 0; i < state.rows.size(); ++i) {
    const RowSlot &row = state.rows[i];
    const double u = state.sign() * duals[i];
    if (!row.removed && u != 0.0) visit(u * (u > 0.0 ? row.sides.lower : row.sides.upper));
  }
  std::vector<std::pair<int32_t, double>> entries;
  for (const int32_t slot : bounded) {
    const Bounds &bounds = state.columns[at(slot)].bounds;
    state.gather(slot, &entries);
    double reduced = state.column(slot).cost;
    for (const auto &[row, entry] : entries) reduced -= duals[at(row)] * entry;
    reduced *= state.sign();
    const double best = reduced > 0.0 ? bounds.lower : bounds.upper;
    // Without a bound on this side the reduced cost is 0 but for the tolerance, or priced.
    if (std::fabs(best) < kInfinity) {
      visit(reduced * best);
    } else if (bounds.lower > -kInfinity) {
      visit(reduced * bounds.lower);
    }
  }
}

double dual_value(const State &state, const std::vector<double> &duals,
                  const std::vector<int32_t> &bounded) {
  double value = 0.0;
  for_each_dual_term(state, duals, bounded, [&value](double term) { value += term; });
  return value;
}

double Record::base_of_term(bool linking_only) const {
  const int32_t rows = linking_only ? env_->m : env_->G->m - 1;
  double value = 0.0;
  for (int32_t i = 0; i < rows; ++i) value += env_->RHS[i] * env_->u[i];
  return value;
}

Solution Record::solution(const std::vector<double> &duals) {
  double *x = nullptr;
  int32_t count = 0;
  QUARN_get_pointer_to_full_master_solution(env_.get(), &x, &count);
  Solution solution;
  if (x == nullptr) return solution;
  solution.values.assign(x + env_->ncols_aux, x + count);
  for (size_t k = 0; k < solution.values.size(); ++k) {
    const double cost = state_.column(slot_of(static_cast<int32_t>(k))).cost;
    solution.cost += state_.sign() * cost * solution.values[k];
    solution.magnitude += std::fabs(cost * solution.values[k]);
  }
  // Columns that cancel one another may have any values at no cost: what the duals add up to
  // counts, where that is less.
  double dual_magnitude = 0.0;
  for_each_dual_term(state_, duals, bounded_,
                     [&](double term) { dual_magnitude += std::fabs(term); });
  solution.magnitude = std::min(solution.magnitude, dual_magnitude);
  for (const Relief &relief : reliefs_) {
    const double missed = x[relief.column];
    const RowSlot &row = state_.rows[at(relief.slot)];
    const double size = 1.0 + std::fabs(row.has_lower() ? row.sides.lower : row.sides.upper);
    if (missed > kRounding * size) {
      solution.repair += std::fabs(duals[at(relief.slot)] * missed);
    }
    if (!(missed > kUnmet * size)) continue;
    solution.relief_cost += std::fabs(relief.cost) * missed;
    auto &unmet = solution.unmet;
    if (!unmet.empty() && unmet.back().first == relief.slot) {
      unmet.back().second = std::max(unmet.back().second, missed);
    } else {
      unmet.push_back({relief.slot, missed});
    }
  }
  return solution;
}

std::vector<int32_t> Record::unbounded_columns() {
  constexpr double kTrace = 1e-6;  // of the largest entry: what a solver's tolerance leaves
  double *x = nullptr;
  int32_t count = 0;
  QUARN_get_pointer_to_full_master_solution(env_.get(), &x, &count);
  if (x == nullptr) return {};
  const double *ray = x + env_->ncols_aux;
  const double largest = *std::max_element(x, x + count);
  if (!(largest > 0.0)) return {};
  std::vector<int32_t> slots;
  std::vector<double> sums(state_.rows.size(), 0.0), sizes = sums;
  std::vector<std::pair<int32_t, double>> entries;
  double cost = 0.0, cost_size = 0.0;
  for (int32_t k = 0; k < count - env_->ncols_aux; ++k) {
    if (!(std::fabs(ray[k]) > kTrace * largest)) continue;
    const int32_t slot = slot_of(k);
    if (ray[k] < 0.0 || state_.columns[at(slot)].bounds.upper < kInfinity) return {};
    slots.push_back(slot);
    cost += state_.sign() * state_.column(slot).cost * ray[k];
    cost_size += std::fabs(state_.column(slot).cost * ray[k]);
    state_.gather(slot, &entries);
    for (const auto &[row, value] : entries) {
      sums[at(row)] += value * ray[k];
      sizes[at(row)] += std::fabs(value * ray[k]);
    }
  }
  for (const int32_t row : row_slots_) {
    const double trace = kTrace * sizes[at(row)];
    if (state_.rows[at(row)].has_lower() && sums[at(row)] < -trace) return {};
    if (state_.rows[at(row)].has_upper() && sums[at(row)] > trace) return {};
  }
  return cost < -kTrace * cost_size ? slots : std::vector<int32_t>();
}

void Record::note_eliminated_columns() {
  if (generated() == state_.present) return;
  std::vector<bool> kept(state_.columns.size(), false);
  for (int32_t k = 0; k < generated(); ++k) kept[at(slot_of(k))] = true;
  for (size_t j = 0; j < sent_; ++j) {
    if (kept[j] || state_.columns[j].removed) continue;
    state_.columns[j].removed = true;
    --state_.present;
  }
}

}  // namespace detail
}  // namespace v1
}  // namespace quarn

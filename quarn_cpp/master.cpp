#include "quarn_cpp/master.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "quarn_cpp/file.hpp"
#include "quarn_cpp/run.hpp"
#include "quarn_cpp/state.hpp"

namespace quarn {
inline namespace v1 {

static size_t at(int32_t index) { return static_cast<size_t>(index); }

Master::Master(Sense sense) : state_(std::make_unique<detail::State>(sense)) {}
Master::Master(const Master &other) : state_(std::make_unique<detail::State>(*other.state_)) {}
Master::Master(Master &&other) noexcept = default;
Master &Master::operator=(const Master &other) {
  if (this != &other) *this = Master(other);
  return *this;
}
Master &Master::operator=(Master &&other) noexcept = default;
Master::~Master() = default;

Sense Master::sense() const { return state_->sense; }

// Rows

static Bounds sides_of(RowSense sense, double rhs, const std::string &what) {
  if (!std::isfinite(rhs) || std::fabs(rhs) >= kInfinity) {
    throw Mistake(what + ": the right-hand side is " + detail::to_text(rhs));
  }
  return {sense == RowSense::at_most ? -kInfinity : rhs,
          sense == RowSense::at_least ? kInfinity : rhs};
}

Row Master::add_row(RowSense sense, double rhs, const RowOptions &options) {
  const std::string what = "new row '" + options.name + "'";
  return state_->add_row(sides_of(sense, rhs, what), options);
}

Row Master::add_range(double lower, double upper, const RowOptions &options) {
  return state_->add_row({lower, upper}, options);
}

Row Master::add_block(RowSense sense, double times, std::string name) {
  RowOptions options;
  options.name = std::move(name);
  options.block = true;
  return add_row(sense, times, options);
}

void Master::remove_row(const Row &row) { state_->remove_row(row); }

void Master::set_rhs(const Row &row, double rhs) {
  const int32_t slot = state_->row_slot(row, "new right-hand side");
  const Bounds sides = sides_of(RowSense::equal, rhs, state_->row_name(slot));
  state_->set_sides(row, sides, true);
}

void Master::set_range(const Row &row, double lower, double upper) {
  state_->set_sides(row, {lower, upper}, false);
}

Bounds Master::range(const Row &row) const {
  return state_->rows[at(state_->row_slot(row, "the range of a row"))].sides;
}

Bounds Master::dual_bounds(const Row &row) const {
  return state_->rows[at(state_->row_slot(row, "the dual bounds of a row"))].dual_bounds;
}

std::vector<Row> Master::rows() const {
  std::vector<Row> rows;
  for (size_t i = 0; i < state_->rows.size(); ++i) {
    if (!state_->rows[i].removed) rows.push_back(state_->row_handle(static_cast<int32_t>(i)));
  }
  return rows;
}

Row Master::row(const std::string &name) const {
  const auto found = state_->names.find(name);
  if (found == state_->names.end()) throw Mistake("there is no row '" + name + "'");
  return state_->row_handle(found->second);
}

// Columns

Column Master::add_column(double cost, const std::vector<Entry> &entries, std::any data) {
  return add_column(cost, entries, Bounds{}, std::move(data));
}

Column Master::add_column(double cost, const std::vector<Entry> &entries, Bounds bounds,
                          std::any data) {
  Columns columns(*state_);
  Column column = columns.add(cost, entries, bounds, std::move(data));
  if (columns.added() == 0) {
    throw Mistake("new column " + std::to_string(state_->columns.size()) +
                  " is the same as column " + std::to_string(column.index()) + ", of cost " +
                  detail::to_text(cost) + ", which is there already");
  }
  state_->columns[at(column.index())].given = true;
  if (!state_->running) state_->note(detail::Edit::none, true, false);
  return column;
}

int32_t Master::add_columns(const std::vector<double> &costs, const std::vector<int64_t> &starts,
                            const std::vector<int32_t> &rows, const std::vector<double> &values,
                            std::vector<std::any> data) {
  Columns columns(*state_);
  const size_t before = state_->columns.size();
  const int32_t added = columns.add_many(costs, starts, rows, values, std::move(data));
  for (size_t j = before; j < state_->columns.size(); ++j) state_->columns[j].given = true;
  if (added > 0 && !state_->running) state_->note(detail::Edit::none, true, false);
  return added;
}

void Master::remove_column(const Column &column) {
  state_->remove_column(state_->column_slot(column, "a column to remove"));
}

int32_t Master::remove_columns(const std::function<bool(const Column &)> &predicate) {
  std::vector<int32_t> slots;
  for (const Column &column : columns()) {
    if (predicate(column)) slots.push_back(column.index());
  }
  for (const int32_t slot : slots) state_->remove_column(slot);
  return static_cast<int32_t>(slots.size());
}

void Master::set_bounds(const Column &column, Bounds bounds) {
  const int32_t slot = state_->column_slot(column, "new bounds");
  state_->columns[at(slot)].bounds =
      detail::checked_bounds(bounds, "new bounds of column " + std::to_string(slot));
  state_->note(detail::Edit::changed, true, true);
}

Bounds Master::bounds(const Column &column) const {
  return state_->columns[at(state_->column_slot(column, "the bounds of a column"))].bounds;
}

std::vector<Entry> Master::entries(const Column &column) const {
  std::vector<std::pair<int32_t, double>> there;
  state_->gather(state_->column_slot(column, "the entries of a column"), &there);
  std::vector<Entry> entries;
  entries.reserve(there.size());
  for (const auto &[slot, value] : there) entries.push_back({state_->row_handle(slot), value});
  return entries;
}

bool Master::contains(const Column &column) const {
  return !state_->columns[at(state_->column_slot(column, "a column to look for"))].removed;
}

std::vector<Column> Master::columns() const {
  std::vector<Column> columns;
  columns.reserve(at(state_->present));
  for (size_t j = 0; j < state_->columns.size(); ++j) {
    if (state_->columns[j].removed) continue;
    columns.push_back(state_->column_handle(static_cast<int32_t>(j)));
  }
  return columns;
}

int32_t Master::number_of_columns() const { return state_->present; }

// Solving

namespace {

/// Marks a master as one that is being solved.
class Running {
 public:
  explicit Running(detail::State &state) : state_(state) {
    if (state.running) throw Mistake("the master is being solved already");
    state.running = true;
  }
  ~Running() { state_.running = false; }
  Running(const Running &) = delete;
  Running &operator=(const Running &) = delete;

 private:
  detail::State &state_;
};

}  // namespace

Result Master::solve(const Oracle &oracle, const Settings &settings) {
  detail::Run run(*state_, oracle, settings);
  const Running running(*state_);
  return run.solve();
}

double Master::price(const Oracle &oracle, const std::vector<double> &duals, double objective) {
  const Settings settings;
  detail::Run run(*state_, oracle, settings);
  const Running running(*state_);
  return run.price(duals, objective);
}

const Settings &Master::settings() const { return state_->settings; }

double Master::lower_bound() const {
  return state_->sense == Sense::minimize ? state_->lower : -state_->upper;
}

double Master::upper_bound() const {
  return state_->sense == Sense::minimize ? state_->upper : -state_->lower;
}

void Master::forget_bounds() { state_->note(detail::Edit::changed, true, true); }

const char *to_string(Status status) {
  switch (status) {
    case Status::optimal:
      return "optimal";
    case Status::time_limit:
      return "time_limit";
    case Status::iteration_limit:
      return "iteration_limit";
    case Status::infeasible:
      return "infeasible";
    case Status::stopped:
      return "stopped";
    default:
      return "failed";
  }
}

}  // namespace v1
}  // namespace quarn

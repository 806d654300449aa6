#include "quarn_cpp/run.hpp"

#include <algorithm>
#include <cmath>
#include <new>

#include "quarn_cpp/file.hpp"
#include "quarn_cpp/progress.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

constexpr double kWidestGap = 10.0;     // what the library reports for any wider one
constexpr double kAbsoluteGap = 1e-9;   // below it two values are equal, whatever their size
constexpr double kUsed = 1e-9;          // of a column in a solution
constexpr double kWidePenalty = 1e10;   // half the width of the library's own dual boxes
constexpr int32_t kMostIdleRounds = 3;  // of sharp restricted masters that change nothing

static size_t at(int32_t index) { return static_cast<size_t>(index); }

static double elapsed(std::chrono::steady_clock::time_point from,
                      std::chrono::steady_clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

void check_settings(const State &state, const Settings &settings) {
  const auto check = [](bool meant, const std::string &name, double value, const char *rule) {
    if (!meant) throw Mistake(name + " is " + to_text(value) + ", it has to be " + rule);
  };
  const double tolerance = settings.tolerance, penalty = settings.penalty;
  check(tolerance > 0.0 && tolerance < 1.0, "tolerance", tolerance, "between 0 and 1");
  check(settings.time_limit >= 0.0, "time_limit", settings.time_limit, "0 or more");
  check(settings.max_iterations >= 0, "max_iterations", settings.max_iterations, "0 or more");
  check(settings.max_columns > 0, "max_columns", settings.max_columns, "1 or more");
  check(settings.degree_of_optimality > 0.0, "degree_of_optimality", settings.degree_of_optimality,
        "above 0");
  check(penalty > 0.0 && penalty < kInfinity, "penalty", penalty, "above 0 and below 1e30");
  check(settings.blas_threads > 0, "blas_threads", settings.blas_threads, "1 or more");
  check(settings.save_every >= 0.0, "save_every", settings.save_every, "0 or more");
  const auto duals = static_cast<double>(settings.first_duals.size());
  check(settings.first_duals.empty() || settings.first_duals.size() == state.rows.size(),
        "the number of first_duals", duals, "that of the rows");
  for (size_t i = 0; i < settings.first_duals.size(); ++i) {
    check(std::isfinite(settings.first_duals[i]), "first_duals[" + std::to_string(i) + "]",
          settings.first_duals[i], "finite");
  }
}

Run::Run(State &state, const Oracle &oracle, const Settings &settings)
    : state_(state), oracle_(oracle), settings_(settings) {
  if (!oracle) throw Mistake("the oracle is empty");
  check_settings(state, settings);
  const bool has_rows = std::any_of(state.rows.begin(), state.rows.end(),
                                    [](const RowSlot &row) { return !row.removed; });
  if (!has_rows) throw Mistake("the master has no row");
}

// Time

double Run::seconds() const { return elapsed(start_, Clock::now()); }

double Run::lap() {
  const Clock::time_point now = Clock::now();
  const double seconds = elapsed(lap_, now);
  lap_ = now;
  return seconds;
}

bool Run::interrupted() {
  if (!interrupted_ && settings_.interrupt) interrupted_ = settings_.interrupt();
  return interrupted_;
}

bool Run::out_of_time() { return interrupted() || seconds() >= settings_.time_limit; }

// Bounds

double Run::gap() const { return gap_below(state_.upper); }

double Run::gap_below(double upper) const {
  if (state_.lower <= -kInfinity || upper >= kInfinity) return kWidestGap;
  const double gap = (upper - state_.lower) / (std::fabs(upper) + 1e-10);
  return std::clamp(gap, 0.0, kWidestGap);
}

/// Whether the restricted master satisfies all rows by the master's own columns, up to what the
/// tolerance lets pass.
bool Run::is_clean() const {
  return solution_.unmet.empty() ||
         solution_.relief_cost <= settings_.tolerance * std::fabs(value_);
}

/// The relative gap, or where costs cancel the gap relative to what is added up. While rows are
/// unmet it is the value of the restricted master, penalties included, that the bound has to reach.
bool Run::is_closed() const {
  if (!solved_ || state_.lower <= -kInfinity) return false;
  const double upper = is_clean() ? state_.upper : value_;
  if (upper >= kInfinity) return false;
  const double scale = std::max(std::fabs(upper), is_clean() ? solution_.magnitude : 0.0);
  return upper - state_.lower <= std::max(settings_.tolerance * scale, kAbsoluteGap);
}

// Records

void Run::open_record(bool opens_boxes, bool first) {
  const Penalty penalty = {
      opens_boxes ? std::max(settings_.penalty, kWidePenalty) : settings_.penalty, opens_boxes,
      boxes_all_rows_ || settings_.rounding, settings_.rounding};
  record_.reset();
  record_ = std::make_unique<Record>(state_, penalty,
                                     first ? settings_.first_duals : std::vector<double>(), this);
  QUARN_env &env = record_->env();
  QUARN_set_delta(&env, settings_.tolerance);
  QUARN_set_max_number_columns(&env, settings_.max_columns);
  QUARN_set_WS_strategy(&env, static_cast<int16_t>(settings_.strategy));
  QUARN_set_degree_of_optimality(
      &env, settings_.tolerance_dial ? dial_.divisor() : settings_.degree_of_optimality);
  QUARN_set_rel_gap(&env, std::max(last_gap_, 10.0 * settings_.tolerance));
  QUARN_set_verbosity(&env, settings_.verbosity);
  QUARN_set_BLAS_threads(&env, settings_.blas_threads);
  if (settings_.log) {
    const auto write = [](const char *text, void *settings) {
      static_cast<const Settings *>(settings)->log(text);
    };
    QUARN_set_log(&env, write, const_cast<Settings *>(&settings_));
  }
  if (settings_.configure) settings_.configure(env);
  inner_before_ = 0;
  guide_ = kInfinity;
  solved_ = false;
}

Run::End Run::run_record() {
  end_ = End::none;
  lap();
  library_status_ = QUARN_solve_MP_core(&record_->env(), callback);
  if (failure_) std::rethrow_exception(failure_);
  if (library_status_ == 2 && end_ == End::none) throw std::bad_alloc();
  record_->note_eliminated_columns();
  // The library closes gaps by the same figures, a little earlier when bounds cross.
  if (end_ == End::none && library_status_ == 0) end_ = End::closed;
  return end_;
}

bool Run::boxes_can_open() const {
  if (settings_.penalty < kWidePenalty) return true;
  return std::any_of(state_.rows.begin(), state_.rows.end(), [](const RowSlot &row) {
    return !row.removed &&
           (row.dual_bounds.lower > -kInfinity || row.dual_bounds.upper < kInfinity);
  });
}

/// The numbers alone: what callbacks hold on to may not live as long as the master.
static Settings numbers_of(const Settings &settings) {
  Settings numbers;
  numbers.tolerance = settings.tolerance;
  numbers.time_limit = settings.time_limit;
  numbers.max_iterations = settings.max_iterations;
  numbers.max_columns = settings.max_columns;
  numbers.strategy = settings.strategy;
  numbers.tolerance_dial = settings.tolerance_dial;
  numbers.degree_of_optimality = settings.degree_of_optimality;
  numbers.penalty = settings.penalty;
  numbers.rounding = settings.rounding;
  numbers.verbosity = settings.verbosity;
  numbers.blas_threads = settings.blas_threads;
  numbers.save_every = settings.save_every;
  return numbers;
}

Result Run::solve() {
  state_.settings = numbers_of(settings_);
  bool opens_boxes = false;
  bool first = true;
  for (;; first = false) {
    open_record(opens_boxes, first);
    End end = run_record();
    if (end == End::edited) continue;
    if (end == End::none && record_->lacks_boxes()) {
      // The rows cannot be to blame for a second failure.
      boxes_all_rows_ = true;
      continue;
    }
    const bool finished = end == End::closed || end == End::exhausted;
    if (finished && !is_clean() && !opens_boxes && boxes_can_open()) {
      opens_boxes = true;
      continue;
    }
    if (end == End::closed && is_clean()) {
      // It may be a false bound of an earlier answer that has closed the gap.
      if (polish()) check_bound(state_.lower);
    }
    return result(end);
  }
}

/// Whether value and duals of the restricted master solved last agree with the bounds.
bool Run::is_sharp() const {
  const double scale = std::max(std::fabs(state_.upper), solution_.magnitude);
  const double allowed = std::max(10.0 * settings_.tolerance * scale, kAbsoluteGap);
  return value_ - state_.upper <= allowed && value_ - dual_value_ <= allowed;
}

/// The gap may be closed by a bound or a solution from before, and the last restricted master be
/// solved loosely: solves it once more, sharply. False when that fails.
bool Run::polish() {
  if (is_sharp()) return true;
  QUARN_env &env = record_->env();
  QUARN_set_rel_gap(&env, 2.0 * settings_.tolerance);
  QUARN_set_degree_of_optimality(&env, ToleranceDial::kMostDivisor);
  env.max_outer_iterations = env.outer_iterations + 1;
  if (QUARN_solve_MP_core(&env, nullptr) != 0) return false;
  read_restricted_master();
  return true;
}

// One call of the oracle

int16_t Run::callback(double *ub_term, double *lb_term, QUARN_env *, void *run) noexcept {
  Run &self = *static_cast<Run *>(run);
  try {
    return self.ask(ub_term, lb_term);
  } catch (...) {
    self.failure_ = std::current_exception();
    self.end_ = End::thrown;
    return -1;
  }
}

void Run::read_restricted_master() {
  const QUARN_env &env = record_->env();
  record_->note_eliminated_columns();
  duals_ = record_->duals();
  solution_ = record_->solution(duals_);
  value_ = env.u[env.G->m - 1];
  guide_ = std::min(guide_, value_);
  // Traces of columns at the penalty would hide a value near 0.
  if (solution_.unmet.empty()) value_ = std::min(value_, solution_.cost + solution_.repair);
  dual_value_ = record_->dual_value(duals_);
  state_.duals = duals_;
  solved_ = true;
  if (is_clean()) state_.upper = std::min(state_.upper, value_);
}

std::shared_ptr<Priced> Run::price_list() {
  auto priced = std::make_shared<Priced>();
  const double sign = state_.sign();
  priced->values = duals_;
  priced->values.resize(state_.rows.size(), 0.0);  // rows of the last answer change nothing
  priced->table = state_.row_table();
  priced->objective = solved_ ? sign * value_ : 0.0;
  priced->lower = sign > 0.0 ? state_.lower : -state_.upper;
  priced->upper =
      sign > 0.0 ? std::max(state_.upper, state_.lower) : std::max(-state_.lower, -state_.upper);
  priced->gap = gap();
  priced->iteration = iterations_;
  return priced;
}

std::vector<ColumnValue> Run::column_values() {
  std::vector<ColumnValue> values;
  for (size_t k = 0; k < solution_.values.size(); ++k) {
    if (solution_.values[k] <= kUsed) continue;
    const int32_t slot = record_->slot_of(static_cast<int32_t>(k));
    values.push_back({state_.column_handle(slot), solution_.values[k]});
  }
  return values;
}

/// The price list may outlive the call, the run may not.
Answer Run::call_oracle(Columns *columns) {
  const std::shared_ptr<Priced> priced = price_list();
  priced->run = this;
  Duals duals;
  duals.priced_ = priced;
  state_.edit = Edit::none;
  try {
    Answer answer = oracle_(duals, *columns);
    priced->run = nullptr;
    return answer;
  } catch (...) {
    priced->run = nullptr;
    throw;
  }
}

int16_t Run::ask(double *ub_term, double *lb_term) {
  QUARN_env &env = record_->env();
  const bool first = env.outer_iterations == 0;
  if (first) {
    duals_ = record_->duals();
    dual_value_ = record_->dual_value(duals_);
  } else {
    ++iterations_;
    read_restricted_master();
  }
  if (interrupted()) {
    end_ = End::stopped;
    return -1;
  }
  const double rmp_seconds = lap();
  const size_t rows_before = state_.rows.size();
  const double upper_before = state_.upper;
  Columns columns(state_);
  const Answer answer = call_oracle(&columns);
  const double oracle_seconds = lap();
  const double lower_before = state_.lower;
  counted_apart_ = record_->has_bounded_columns();
  const double bound = proved(answer);
  if (state_.edit != Edit::changed) take_bound(bound);
  if (state_.edit == Edit::rows_added) take_rows(rows_before);
  if (state_.edit == Edit::none) {
    record_->send_new_columns();
    note_progress(columns, lower_before);
    steer(bound);
  } else if (state_.edit == Edit::rows_added) {
    // The next record goes on about as closely as this one would have.
    steer(bound);
    last_gap_ = gap_below(std::min(state_.upper, upper_before));
  }
  rmp_seconds_ += rmp_seconds;
  oracle_seconds_ += oracle_seconds;
  if (!first) add_line(rmp_seconds, oracle_seconds);
  end_ = decide();
  return end_ == End::none ? reply(bound, first, ub_term, lb_term) : int16_t{-1};
}

/// The same without a record, at duals that are not of a restricted master here.
double Run::price(const std::vector<double> &duals, double objective) {
  set_duals(duals);
  solved_ = objective < kInfinity;
  value_ = state_.sign() * objective;
  iterations_ = solved_ ? 1 : 0;
  std::vector<int32_t> bounded;
  for (size_t j = 0; j < state_.columns.size(); ++j) {
    const ColumnSlot &column = state_.columns[j];
    if (!column.removed && column.is_bounded()) bounded.push_back(static_cast<int32_t>(j));
  }
  counted_apart_ = !bounded.empty();
  dual_value_ = dual_value(state_, duals_, bounded);
  Columns columns(state_);
  const double bound = proved(call_oracle(&columns));
  if (state_.edit != Edit::changed) state_.lower = std::max(state_.lower, bound);
  return state_.sign() * bound;
}

/// Those of inequalities are clipped to their sign.
void Run::set_duals(const std::vector<double> &duals) {
  if (duals.size() != state_.rows.size()) {
    throw Mistake("the number of duals is " + std::to_string(duals.size()) +
                  ", it has to be that of the rows");
  }
  duals_.assign(duals.size(), 0.0);
  for (size_t i = 0; i < duals.size(); ++i) {
    const RowSlot &row = state_.rows[i];
    if (!std::isfinite(duals[i])) throw Mistake("duals[" + std::to_string(i) + "] is not finite");
    double u = state_.sign() * duals[i];
    if (!row.has_upper()) u = std::max(u, 0.0);
    if (!row.has_lower()) u = std::min(u, 0.0);
    if (!row.removed) duals_[i] = state_.sign() * u;
  }
}

// What an answer proves

double Run::proved(const Answer &answer) const {
  if (answer.kind_ == Answer::Kind::nothing) return -kInfinity;
  if (answer.kind_ == Answer::Kind::bound) {
    if (std::isnan(answer.bound_)) {
      throw Mistake("iteration " + std::to_string(iterations_) +
                    ": the oracle's bound is not a number");
    }
    return clamped(state_.sign() * answer.bound_);
  }
  const double blocks = blocks_part(answer);
  return blocks <= -kInfinity ? -kInfinity : dual_value_ + blocks;
}

/// What a block adds to the value of the duals when its best reduced cost is `reduced`. One that
/// has to be used adds a positive reduced cost, too, unless columns counted apart may serve it.
static double block_part(const RowSlot &row, double reduced, bool counted_apart) {
  if (reduced < 0.0) return row.has_upper() ? reduced * row.sides.upper : -kInfinity;
  return row.has_lower() && !counted_apart ? reduced * row.sides.lower : 0.0;
}

double Run::blocks_part(const Answer &answer) const {
  std::vector<char> named(state_.rows.size(), 0);
  double part = 0.0;
  for (const auto &[row, value] : answer.blocks_) {
    const std::string what = "the oracle's best reduced costs";
    const int32_t slot = state_.row_slot(row, what);
    if (!row.is_block()) throw Mistake(what + ": " + state_.row_name(slot) + " is no block row");
    if (std::isnan(value)) throw Mistake(what + ": that of " + state_.row_name(slot) + " is nan");
    if (named[at(slot)]++ != 0) {
      throw Mistake(what + ": " + state_.row_name(slot) + " comes twice");
    }
    const double block =
        block_part(state_.rows[at(slot)], clamped(state_.sign() * value), counted_apart_);
    part = block <= -kInfinity || part <= -kInfinity ? -kInfinity : part + block;
  }
  for (size_t i = 0; i < state_.rows.size(); ++i) {
    const RowSlot &row = state_.rows[i];
    if (row.removed || !row.identity->block || named[i] != 0) continue;
    throw Mistake("the oracle's best reduced costs lack " +
                  state_.row_name(static_cast<int32_t>(i)));
  }
  return part;
}

/// A bound above the value of a sharply solved restricted master cannot be one.
void Run::check_bound(double lower) {
  const double scale = std::max(std::fabs(state_.upper), solution_.magnitude);
  const double allowed = std::max(settings_.tolerance * scale, kAbsoluteGap);
  if (!(lower > value_ + 1e-6 * scale + 10.0 * allowed)) return;
  const double sign = state_.sign();
  state_.lower = -kInfinity;  // whichever answer it came from, a further run starts afresh
  throw Mistake("iteration " + std::to_string(iterations_) + ": the oracle's bound " +
                to_text(sign * lower) + " contradicts the value " + to_text(sign * value_) +
                " that the columns reach");
}

/// Above the value of a loosely solved restricted master a bound tells that the value was not
/// reached.
void Run::take_bound(double lower) {
  const double upper = state_.upper;
  const double scale = std::max(std::fabs(upper), solution_.magnitude);
  const double allowed = std::max(settings_.tolerance * scale, kAbsoluteGap);
  if (solved_ && upper < kInfinity && lower > upper + allowed) {
    const bool sharp = record_->env().opt_tol <= settings_.tolerance && is_clean();
    if (sharp) check_bound(lower);
    state_.upper = is_clean() && sharp ? value_ : kInfinity;
    tighten_ = true;
  }
  state_.lower = std::max(state_.lower, lower);
}

/// Of rows that were added: whether the solution at hand satisfies them. New columns are not in it,
/// and a new one that has to be used is as a row that it misses.
bool Run::satisfies_rows(size_t first) const {
  for (size_t j = record_->sent(); j < state_.columns.size(); ++j) {
    if (state_.columns[j].bounds.lower > 0.0) return false;
  }
  std::vector<double> x(state_.columns.size(), 0.0);
  for (size_t k = 0; k < solution_.values.size(); ++k) {
    x[at(record_->slot_of(static_cast<int32_t>(k)))] = solution_.values[k];
  }
  for (size_t i = first; i < state_.rows.size(); ++i) {
    const RowSlot &row = state_.rows[i];
    double sum = 0.0, size = 1.0;
    for (const auto &[column, value] : row.late) {
      sum += value * x[at(column)];
      size = std::max(size, std::fabs(value * x[at(column)]));
    }
    const double missed = std::max(row.sides.lower - sum, sum - row.sides.upper);
    if (missed > kAbsoluteGap * size) return false;
  }
  return true;
}

/// New rows make the upper bound void, unless the solution at hand satisfies them. Then the record
/// can take them, too: its restricted master has a solution without columns that relieve them.
void Run::take_rows(size_t rows_before) {
  if (!solved_ || !is_clean() || !satisfies_rows(rows_before)) return;
  state_.upper = std::min(state_.upper, value_);
  if (is_closed() || !record_->can_take_rows(rows_before)) return;
  record_->add_rows(rows_before);
  state_.edit = Edit::none;
}

void Run::note_progress(const Columns &columns, double lower_before) {
  const double open = (is_clean() ? state_.upper : value_) - state_.lower;
  const bool moved = columns.added() > 0 || lower_before <= -kInfinity
                         ? columns.added() > 0 || state_.lower > -kInfinity
                         : state_.lower - lower_before > 0.01 * open;
  const bool sharp = solved_ && record_->env().opt_tol <= settings_.tolerance;
  if (moved) {
    idle_rounds_ = 0;
  } else if (sharp) {
    ++idle_rounds_;
  }
  tighten_ = tighten_ || !moved;
}

/// Also without the dial: the last restricted master may have been an exception, solved sharply.
void Run::steer(double proved_bound) {
  double divisor = settings_.degree_of_optimality;
  if (settings_.tolerance_dial) {
    if (proved_bound > -kInfinity) dial_.note_bounds(value_, state_.lower);
    divisor = proved_bound > -kInfinity ? dial_.update(dual_value_ - proved_bound)
                                        : dial_.update_without_bound();
  }
  QUARN_set_degree_of_optimality(&record_->env(), divisor);
}

/// The upper bound that sets the tolerance of the next restricted master. Values as they come, with
/// what rows not quite met cost at the penalty, leave the gap wider than the best bound does, and
/// the duals the more central. They may not end the run.
double Run::guiding_upper() const {
  if (!is_clean() || state_.upper >= kInfinity) return value_;
  const bool is_open = guide_ - state_.lower > settings_.tolerance * std::fabs(guide_);
  return is_open ? guide_ : state_.upper;
}

/// Puts the bounds into the record and makes the answer to the library.
int16_t Run::reply(double proved_bound, bool first, double *ub_term, double *lb_term) {
  QUARN_env &env = record_->env();
  const double upper = guiding_upper();
  *ub_term = 0.0;
  // What this answer proves, not the best so far: the library sees by it how the gap moves.
  const double lower = proved_bound > -kInfinity ? proved_bound : state_.lower;
  *lb_term = lower - record_->base_of_term(first);
  QUARN_set_upperBnd(&env, solved_ ? upper : kInfinity);
  QUARN_set_lowerBnd(&env, std::min(state_.lower, upper));
  last_gap_ = gap();
  if (!tighten_) return static_cast<int16_t>(proved_bound > -kInfinity ? 1 : 0);
  tighten_ = false;
  if (!solved_) return 0;
  // A small gap between them asks for a sharp solution, at the divisor for one.
  const double scale = std::max(std::fabs(value_), 1.0);
  QUARN_set_upperBnd(&env, value_);
  QUARN_set_lowerBnd(&env, value_ - 10.0 * settings_.tolerance * scale);
  QUARN_set_degree_of_optimality(&env, ToleranceDial::kMostDivisor);
  return 0;
}

Run::End Run::decide() {
  const bool edited = state_.edit != Edit::none;
  if (is_closed() && (!edited || is_sharp())) return End::closed;
  if (interrupted()) return End::stopped;
  if (seconds() >= settings_.time_limit) return End::time;
  if (iterations_ >= settings_.max_iterations) return End::iterations;
  if (edited) return End::edited;
  return idle_rounds_ >= kMostIdleRounds ? End::exhausted : End::none;
}

void Run::add_line(double rmp_seconds, double oracle_seconds) {
  const QUARN_env &env = record_->env();
  const double sign = state_.sign();
  const double upper = std::max(state_.upper, state_.lower);
  Iteration line;
  line.iteration = iterations_;
  line.lower_bound = sign > 0.0 ? state_.lower : -upper;
  line.upper_bound = sign > 0.0 ? upper : -state_.lower;
  line.gap = gap();
  line.columns = state_.present;
  line.inner_iterations = env.inner_iterations - inner_before_;
  line.tolerance = env.opt_tol;
  line.rmp_seconds = rmp_seconds;
  line.oracle_seconds = oracle_seconds;
  inner_before_ = env.inner_iterations;
  inner_iterations_ += line.inner_iterations;
  history_.push_back(line);
  if (settings_.progress != nullptr) print_line(*settings_.progress, line, seconds());
  if (settings_.on_iteration) settings_.on_iteration(line);
  if (!settings_.save_file.empty() && elapsed(saved_, Clock::now()) >= settings_.save_every) {
    save_state(state_, settings_.save_file, settings_.save_data);
    saved_ = Clock::now();
  }
}

// The result

Result Run::result(End end) {
  Result result;
  const double sign = state_.sign();
  const double lower = std::min(state_.lower, state_.upper);
  result.lower_bound = sign > 0.0 ? lower : -state_.upper;
  result.upper_bound = sign > 0.0 ? state_.upper : -lower;
  result.gap = gap();
  if (solved_) {
    const std::shared_ptr<Priced> priced = price_list();
    priced->solution = column_values();
    result.values = priced->solution;
    result.duals.priced_ = priced;
  }
  result.history = std::move(history_);
  result.columns = state_.present;
  result.inner_iterations = inner_iterations_;
  result.seconds = seconds();
  result.rmp_seconds = rmp_seconds_;
  result.oracle_seconds = oracle_seconds_;
  describe(&result, end);
  if (settings_.rounding && result.status == Status::optimal) round(&result);
  if (!settings_.save_file.empty()) save_state(state_, settings_.save_file, settings_.save_data);
  return result;
}

void Run::round(Result *result) {
  constexpr double kThreshold = 0.9;  // what the library's own driver rounds with
  QUARN_env &env = record_->env();
  const double left = settings_.time_limit - seconds();
  QUARN_set_max_cputime(&env, env.cputime + std::clamp(left, 0.0, 1e9));
  if (IQUARN_residual_rounding(&env, callback, kThreshold, 1) != 1) return;
  for (int32_t k = 0; k < env.IP_ncols; ++k) {
    const Column column = state_.column_handle(record_->slot_of(env.IP_cols[k]));
    result->integer_values.push_back({column, env.IP_lambda[k]});
    result->integer_value += column.cost() * env.IP_lambda[k];
  }
}

std::string Run::figures(double gap) const {
  char text[80];
  std::snprintf(text, sizeof text, "after %d iterations, the gap is %.2e",
                static_cast<int>(iterations_), gap);
  return text;
}

void Run::describe(Result *result, End end) const {
  const bool finished = end == End::closed || end == End::exhausted;
  const std::string state = figures(result->gap);
  if (finished && solved_ && !is_clean()) {
    describe_infeasible(result);
  } else if (end == End::closed) {
    result->status = Status::optimal;
    result->message = "optimal: " + state;
  } else if (end == End::exhausted) {
    result->message =
        "the oracle finds no further column, but what it proves leaves the gap open: " + state;
  } else if (end == End::time) {
    result->status = Status::time_limit;
    result->message = "the time limit is over: " + state;
  } else if (end == End::iterations) {
    result->status = Status::iteration_limit;
    result->message = "the limit of iterations is reached: " + state;
  } else if (end == End::stopped) {
    result->status = Status::stopped;
    result->message = "interrupted: " + state;
  } else {
    result->message = failure() + ": " + state;
  }
}

/// Why a restricted master was not solved.
std::string Run::failure() const {
  constexpr size_t kMostNamed = 5;
  const std::vector<int32_t> slots = record_->unbounded_columns();
  if (slots.empty()) {
    return "a restricted master could not be solved; its columns may be badly scaled";
  }
  std::string text = "the restricted master is unbounded along ";
  text += slots.size() == 1 ? "column" : "columns";
  for (size_t k = 0; k < slots.size() && k < kMostNamed; ++k) {
    text += (k == 0 ? " " : ", ") + std::to_string(slots[k]);
  }
  return slots.size() > kMostNamed ? text + " and others" : text;
}

void Run::describe_infeasible(Result *result) const {
  constexpr size_t kMostNamed = 5;
  // Beside a row that is missed by much, this share of it is what a loose solve leaves in others.
  constexpr double kTrace = 1e-3;
  double most = 0.0;
  for (const auto &[slot, missed] : solution_.unmet) most = std::max(most, missed);
  result->status = Status::infeasible;
  result->message = "infeasible: no columns satisfy ";
  for (const auto &[slot, missed] : solution_.unmet) {
    if (missed < kTrace * most) continue;
    const size_t k = result->unmet_rows.size();
    result->unmet_rows.push_back({state_.row_handle(slot), missed});
    if (k > kMostNamed) continue;
    if (k > 0) result->message += ", ";
    result->message += k < kMostNamed ? state_.row_name(slot) : "and others";
  }
  result->certificate = certificate();
}

/// The duals, scaled: y with y'a <= 0 for every column and y'b > 0, up to rounding.
std::vector<double> Run::certificate() const {
  double largest = 0.0;
  for (const double dual : duals_) largest = std::max(largest, std::fabs(dual));
  if (!(largest > 0.0)) return {};
  std::vector<double> y;
  for (const double dual : duals_) y.push_back(state_.sign() * dual / largest);
  double value = 0.0;
  for (size_t i = 0; i < y.size(); ++i) {
    const RowSlot &row = state_.rows[i];
    if (!row.removed && y[i] != 0.0)
      value += y[i] * (y[i] > 0.0 ? row.sides.lower : row.sides.upper);
  }
  std::vector<std::pair<int32_t, double>> entries;
  for (size_t j = 0; j < state_.columns.size(); ++j) {
    const ColumnSlot &column = state_.columns[j];
    if (column.removed) continue;
    state_.gather(static_cast<int32_t>(j), &entries);
    double product = 0.0, size = 0.0;
    for (const auto &[row, entry] : entries) {
      product += y[at(row)] * entry;
      size = std::max(size, std::fabs(entry));
    }
    const double bound = product > 0.0 ? column.bounds.upper : column.bounds.lower;
    if (std::fabs(bound) < kInfinity) {
      value -= product * bound;
    } else if (std::fabs(product) > 1e-6 * size) {
      return {};
    }
  }
  return value > 0.0 ? y : std::vector<double>();
}

}  // namespace detail
}  // namespace v1
}  // namespace quarn

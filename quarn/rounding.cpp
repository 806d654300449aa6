// Residual rounding: an integer solution of the master problem from its fractional one.
//
// From the fractional solution x of the restricted master, columns are fixed one by one at the next
// integer above their value, and the right-hand side b of the linking rows is reduced by each:
//
//   value     X_j = ceil(x_j - 1e-10)                                                          (1)
//   order     key_j = (X_j - x_j) + r / 10^5 ascending,  r random from 0 .. 99                 (2)
//   residual  b <- b - A_j X_j                                                                 (3)
//
// Column j is refused when (3) would leave a linking row that it touches unmet or exceeded by more
// than 1e-6, or when the cost reached is not below objective_UB. Once every linking row is met, the
// fixed columns are an integer solution. While some are open the restricted master is solved again
// at the residual right-hand side, and its solution is rounded in the next pass: columns that fit
// what is left, not those that fitted the whole.
//
// A column that touches no open row fits always. Ranked first, it fills the share of a pass and the
// residual problem stays what it was: the same solution would be rounded for ever. So behind the
// first pass that leaves every open row as it was, candidates that change no open row are passed
// over, which lets the pass reach others, and a pass that still changes none ends the heuristic. Up
// to then nothing differs. There are at most 2 m + 2 passes: a fixed column closes every open row
// that it changes, unless it leaves a residual of exactly 1e-6, which can happen to a row only
// once.
//
// Symbol  Code                    Meaning
// x       Rounding::x             values of the generated columns in the last solution
// X       FixedColumns::value     values at which columns were fixed
// b       env->RHS                right-hand side; the residual one during a call
// A_j     column(view, j)         generated column j
// -       env->IP_lambda, ...     best integer solution found so far

#include "quarn/rounding.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "quarn/clock.h"
#include "quarn/dual_box.h"
#include "quarn/environment.h"
#include "quarn/internal.h"
#include "quarn/messages.h"
#include "quarn/ranking_queue.h"

namespace quarn {

constexpr double kRowTolerance = 1e-6;
constexpr double kSmallestValue = 1e-4;      // below, a value is noise of the solver
constexpr double kIntegerTolerance = 1e-10;  // how far above an integer a value may lie
constexpr double kCostTolerance = 1e-10;
constexpr int32_t kDraws = 100;
constexpr double kTieBreak = 1e-5;  // ranks values within 0.001 at random

constexpr int32_t kEquality = 1;
constexpr int32_t kGreaterOrEqual = 2;
constexpr int32_t kLessOrEqual = 3;

// Rules

bool row_is_violated(int32_t row_type, double residual) {
  switch (row_type) {
    case kEquality:
      return std::fabs(residual) > kRowTolerance;
    case kGreaterOrEqual:
      return residual > kRowTolerance;
    case kLessOrEqual:
      return residual < -kRowTolerance;
    default:
      return false;
  }
}

bool row_becomes_satisfied(int32_t row_type, double residual) {
  switch (row_type) {
    case kEquality:
      return std::fabs(residual) < kRowTolerance;
    case kGreaterOrEqual:
      return residual < kRowTolerance;
    case kLessOrEqual:
      return residual > -kRowTolerance;
    default:
      return false;
  }
}

double rounded_up(double value) { return std::ceil(value - kIntegerTolerance); }

double rounding_key(double value, int32_t draw) {
  return (rounded_up(value) - value) + draw * kTieBreak;
}

bool replaces_stored(double cost, double stored_cost) {
  return !(cost - stored_cost >= cost * kCostTolerance);
}

// Working data of a call

/// The columns fixed so far, in the order of fixing. The lists grow: a column can be fixed again in
/// a later pass, and one that touches no linking row is never held back by them.
class FixedColumns {
 public:
  explicit FixedColumns(int32_t capacity)
      : capacity_(capacity),
        value_(allocate<double>(capacity)),
        index_(allocate<int32_t>(capacity)) {}
  ~FixedColumns() {
    std::free(value_);
    std::free(index_);
  }
  FixedColumns(const FixedColumns &) = delete;
  FixedColumns &operator=(const FixedColumns &) = delete;

  explicit operator bool() const { return value_ != nullptr && index_ != nullptr; }
  int32_t count() const { return count_; }
  const double *values() const { return value_; }
  const int32_t *indices() const { return index_; }

  /// Makes room for one more column; false when memory ran out, the lists are then as before.
  bool reserve();

  /// Appends a column; reserve must have made room.
  void append(int32_t j, double value) {
    index_[count_] = j;
    value_[count_++] = value;
  }

  /// Hands the lists over to the record as its integer solution.
  void move_to(QUARN_env *env);

 private:
  int32_t count_ = 0;
  int32_t capacity_;
  double *value_;
  int32_t *index_;
};

bool FixedColumns::reserve() {
  if (count_ < capacity_) return true;
  const int64_t wanted = std::min<int64_t>(2 * static_cast<int64_t>(capacity_) + 1, INT32_MAX);
  if (wanted <= capacity_ || !resize(&value_, wanted) || !resize(&index_, wanted)) return false;
  capacity_ = static_cast<int32_t>(wanted);
  return true;
}

void FixedColumns::move_to(QUARN_env *env) {
  std::free(env->IP_cols);
  std::free(env->IP_lambda);
  env->IP_lambda = value_;
  env->IP_cols = index_;
  env->IP_ncols = count_;
  env->IP_size = capacity_;
  value_ = nullptr;
  index_ = nullptr;
}

/// What a call changes in the record and puts back at its end.
class SavedMaster {
 public:
  explicit SavedMaster(const QUARN_env &env);
  explicit operator bool() const { return rhs_ && row_type_; }
  void restore_rows(QUARN_env *env) const;
  void restore_bounds(QUARN_env *env) const;
  int16_t WS_strategy() const { return WS_strategy_; }

 private:
  int32_t rows_;
  Scratch<double> rhs_;
  Scratch<int32_t> row_type_;
  double lowerBnd_;
  double upperBnd_;
  int16_t WS_strategy_;
};

SavedMaster::SavedMaster(const QUARN_env &env)
    : rows_(env.G->m),
      rhs_(rows_),
      row_type_(rows_),
      lowerBnd_(env.lowerBnd),
      upperBnd_(env.upperBnd),
      WS_strategy_(env.WS_strategy) {
  if (!*this) return;
  std::copy_n(env.RHS, rows_, rhs_.get());
  std::copy_n(env.row_type, rows_, row_type_.get());
}

void SavedMaster::restore_rows(QUARN_env *env) const {
  for (int32_t i = 0; i < rows_; ++i) {
    env->RHS[i] = rhs_[i];
    env->row_type[i] = row_type_[i];
  }
}

void SavedMaster::restore_bounds(QUARN_env *env) const {
  env->lowerBnd = lowerBnd_;
  env->upperBnd = upperBnd_;
}

/// The solution of the restricted master that a pass rounds, with its columns in place.
struct Solution {
  double *x = nullptr;
  int32_t n = 0;
  QUARN_SMatrix_CW view{};

  explicit Solution(QUARN_env *env) { read(env); }
  void read(QUARN_env *env) {
    QUARN_get_pointer_to_master_solution(env, &x, &n);
    QUARN_get_pointer_to_master_columns(env, &view);
  }
};

/// What a call was asked for.
struct Choice {
  double threshold;
  int32_t min_fix;
};

/// Everything that carries over from pass to pass.
struct Rounding {
  QUARN_env *env;
  Choice choice;
  Solution *solution;
  RankingQueue *queue;
  Scratch<int16_t> satisfied;  // by linking row: 1 once it is met
  Scratch<double> residual;    // by linking row: what was missing at the beginning of the pass
  Scratch<double> effect;      // by linking row: entries of one column; zero between columns
  FixedColumns fixed;
  int32_t open_rows = 0;
  double cost = 0.0;
  bool open_rows_only = false;  // columns that change no open row are passed over
  double max_seconds;           // of the whole call
  timeval start = read_clock();

  Rounding(QUARN_env *env_, const Choice &choice_, Solution *solution_, RankingQueue *queue_)
      : env(env_),
        choice(choice_),
        solution(solution_),
        queue(queue_),
        satisfied(env_->m),
        residual(env_->m),
        effect(env_->m),
        fixed(env_->m),
        max_seconds(env_->max_cputime - env_->cputime) {}
  explicit operator bool() const { return satisfied && residual && effect && fixed; }
  bool time_is_up() const { return seconds_between(start, read_clock()) >= max_seconds; }
};

static void mark_rows(Rounding *rounding) {
  const QUARN_env &env = *rounding->env;
  for (int32_t i = 0; i < env.m; ++i) {
    const bool open = row_is_violated(env.row_type[i], env.RHS[i]);
    rounding->satisfied[i] = open ? 0 : 1;
    if (open) ++rounding->open_rows;
  }
}

// One pass

/// Ranks the columns of the current solution by (2).
static void fill_queue(Rounding *rounding) {
  const Solution &solution = *rounding->solution;
  rounding->queue->clear();
  for (int32_t j = solution.n - 1; j >= 0; --j) {
    if (!(solution.x[j] > kSmallestValue)) continue;
    rounding->queue->insert(rounding_key(solution.x[j], std::rand() % kDraws), j);
  }
}

/// The entries of one column by linking row; a row that it names more than once has their sum.
class ColumnEffect {
 public:
  ColumnEffect(Rounding *rounding, const ColumnView &col) : rounding_(rounding), col_(col) {
    for (int32_t t = 0; t < col.length; ++t) {
      if (is_linking(t)) rounding_->effect[row(t)] += col.elt[t];
    }
  }
  ~ColumnEffect() {
    for (int32_t t = 0; t < col_.length; ++t) {
      if (is_linking(t)) rounding_->effect[row(t)] = 0.0;
    }
  }
  ColumnEffect(const ColumnEffect &) = delete;
  ColumnEffect &operator=(const ColumnEffect &) = delete;

  /// Whether every linking row that the column touches is met once it is fixed at this value.
  bool fits(double value) const {
    const QUARN_env &env = *rounding_->env;
    for (int32_t t = 0; t < col_.length; ++t) {
      if (!is_linking(t)) continue;
      const int32_t i = row(t);
      const double residual = env.RHS[i] - rounding_->effect[i] * value;
      if (row_is_violated(env.row_type[i], residual)) return false;
    }
    return true;
  }

  bool changes_open_row() const {
    for (int32_t t = 0; t < col_.length; ++t) {
      if (!is_linking(t) || rounding_->satisfied[row(t)] != 0) continue;
      if (rounding_->effect[row(t)] != 0.0) return true;
    }
    return false;
  }

 private:
  int32_t row(int32_t t) const { return col_.rw[t] - 1; }
  bool is_linking(int32_t t) const { return row(t) < rounding_->env->m; }

  Rounding *rounding_;
  ColumnView col_;
};

/// Cost of one unit of the column: its last entry in the cost row.
static double unit_cost(const QUARN_env &env, const ColumnView &col) {
  double cost = 0.0;
  for (int32_t t = 0; t < col.length; ++t) {
    if (col.rw[t] == env.m + env.p + 1) cost = col.elt[t];
  }
  return cost;
}

/// Reduces the right-hand side by (3) and closes the rows that are met now.
static void reduce_rows(Rounding *rounding, const ColumnView &col, double value) {
  QUARN_env *env = rounding->env;
  for (int32_t t = 0; t < col.length; ++t) {
    const int32_t i = col.rw[t] - 1;
    if (i >= env->m) continue;
    env->RHS[i] -= col.elt[t] * value;
    if (rounding->satisfied[i] != 0) continue;
    if (row_becomes_satisfied(env->row_type[i], env->RHS[i])) {
      rounding->satisfied[i] = 1;
      --rounding->open_rows;
    }
  }
}

enum class Verdict { kPassedOver, kRefused, kFixed, kOutOfMemory };

/// Whether one candidate is looked at, and if so, fits.
static Verdict judge(Rounding *rounding, const ColumnView &col, double value) {
  const ColumnEffect effect(rounding, col);
  if (rounding->open_rows_only && !effect.changes_open_row()) return Verdict::kPassedOver;
  return effect.fits(value) ? Verdict::kFixed : Verdict::kRefused;
}

/// Fixes one candidate, unless it is passed over, does not fit or costs too much.
static Verdict try_to_fix(Rounding *rounding, int32_t j) {
  const double value = rounded_up(rounding->solution->x[j]);
  const ColumnView col = column(rounding->solution->view, j);
  const Verdict verdict = judge(rounding, col, value);
  if (verdict != Verdict::kFixed) return verdict;
  const double cost = rounding->cost + unit_cost(*rounding->env, col) * value;
  if (cost >= rounding->env->objective_UB - kCostTolerance) return Verdict::kRefused;
  if (!rounding->fixed.reserve()) return Verdict::kOutOfMemory;
  rounding->fixed.append(j, value);
  rounding->cost = cost;
  reduce_rows(rounding, col, value);
  return Verdict::kFixed;
}

/// Takes the candidates in order and returns the verdict on the last one. A pass that has fixed
/// its share leaves values at or below the threshold to the next solution.
static Verdict round_candidates(Rounding *rounding) {
  const Choice &choice = rounding->choice;
  Verdict verdict = Verdict::kPassedOver;
  int32_t fixed_now = 0;
  int32_t j = 0;
  while (verdict != Verdict::kOutOfMemory && rounding->queue->take(&j)) {
    if (fixed_now >= choice.min_fix && rounding->solution->x[j] <= choice.threshold) {
      verdict = Verdict::kPassedOver;
      continue;
    }
    verdict = try_to_fix(rounding, j);
    if (verdict == Verdict::kFixed) ++fixed_now;
  }
  return verdict;
}

/// What the open rows lack, compared after the pass.
static void remember_residuals(Rounding *rounding) {
  const QUARN_env &env = *rounding->env;
  for (int32_t i = 0; i < env.m; ++i) rounding->residual[i] = std::fabs(env.RHS[i]);
}

/// Whether the pass brought no row that was open at its beginning nearer to being met: none was
/// closed, and none is left with another residual. Magnitudes are compared, since at the edge of
/// its tolerance an equality may swing from one side to the other for ever.
static bool open_rows_are_unchanged(const Rounding &rounding, int32_t open_before) {
  if (rounding.open_rows != open_before) return false;
  const QUARN_env &env = *rounding.env;
  for (int32_t i = 0; i < env.m; ++i) {
    if (rounding.satisfied[i] == 0 && std::fabs(env.RHS[i]) != rounding.residual[i]) return false;
  }
  return true;
}

/// Keeps a completed solution when it is better than the stored one.
static void store_solution(Rounding *rounding) {
  QUARN_env *env = rounding->env;
  const double cost = rounding->cost;
  if (env->IP_cols != nullptr && !replaces_stored(cost, env->IP_obj_value)) return;
  env->IP_obj_value = cost;
  rounding->fixed.move_to(env);
  constexpr int32_t kNoSeed = -1;  // rounding starts from no seed solution
  messages::integer_solution_stored(Log(*env), cost, kNoSeed, env->n_seeds);
}

// The residual problem

/// Solves the restricted master of the record's arrays; its two values are not needed.
static bool solve_residual_problem(QUARN_env *env) {
  double dual_value;
  double primal_value;
  env->WS_strategy = 0;
  return IQUARN_solve_RMP(env, env->G, env->RHS, env->row_range, env->row_type, env->col_lb,
                          env->col_ub, &dual_value, &primal_value) == 0;
}

/// Solves at the residual right-hand side and reads the solution for the next pass; false when
/// there is none.
static bool prepare_next_pass(Rounding *rounding) {
  QUARN_env *env = rounding->env;
  messages::residual_solve_begins(Log(*env));
  if (!solve_residual_problem(env) || !refresh_lambda(env)) return false;
  if (box_column_above(*env, kSmallestValue) >= 0) {
    messages::residual_problem_infeasible(Log(*env));
    return false;
  }
  messages::residual_solution_is_read(Log(*env));
  rounding->solution->read(env);
  return true;
}

/// Whether another pass may follow one that changed the open rows or did not; says why not.
static bool may_go_on(Rounding *rounding, bool unchanged) {
  if (unchanged && rounding->open_rows_only) {
    messages::rounding_stands_still(Log(*rounding->env));
    return false;
  }
  if (unchanged) rounding->open_rows_only = true;
  if (!rounding->time_is_up()) return true;
  messages::rounding_time_limit(Log(*rounding->env));
  return false;
}

/// All passes: 1 when an integer solution was completed, 0 otherwise.
static int32_t run_passes(Rounding *rounding) {
  do {
    fill_queue(rounding);
    if (rounding->queue->empty()) {
      messages::all_values_zero(Log(*rounding->env));
      return 0;
    }
    const int32_t open_before = rounding->open_rows;
    remember_residuals(rounding);
    const Verdict verdict = round_candidates(rounding);
    if (verdict == Verdict::kOutOfMemory) return 0;
    messages::fixed_columns(Log(*rounding->env), rounding->cost, rounding->fixed.count(),
                            rounding->fixed.indices(), rounding->fixed.values(),
                            rounding->solution->x);
    if (rounding->open_rows == 0) {
      store_solution(rounding);
      return 1;
    }
    if (verdict == Verdict::kRefused) return 0;
    if (!may_go_on(rounding, open_rows_are_unchanged(*rounding, open_before))) return 0;
  } while (prepare_next_pass(rounding));
  return 0;
}

/// Puts the record back as it was and solves its restricted master, so that the solver and the
/// duals belong to it again.
static void restore_master(QUARN_env *env, const SavedMaster &saved) {
  saved.restore_rows(env);
  saved.restore_bounds(env);
  solve_residual_problem(env);
  env->WS_strategy = saved.WS_strategy();
}

}  // namespace quarn

int32_t IQUARN_residual_rounding(QUARN_env *env, QUARN_oracle, double threshold, int32_t min_fix) {
  quarn::messages::rounding_begins(quarn::Log(*env));
  quarn::Solution solution(env);
  quarn::RankingQueue queue(solution.n);
  if (!queue) return -1;
  const quarn::SavedMaster saved(*env);
  quarn::Rounding rounding(env, {threshold, min_fix}, &solution, &queue);
  if (!saved || !rounding) return -1;
  quarn::messages::rounding_memory_allocated(quarn::Log(*env));

  quarn::mark_rows(&rounding);
  const int32_t result = quarn::run_passes(&rounding);
  quarn::restore_master(env, saved);
  quarn::messages::rounding_ends(quarn::Log(*env), env->IP_obj_value - env->lowerBnd,
                                 env->IP_obj_value, env->lowerBnd);
  return result;
}

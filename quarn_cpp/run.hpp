/**
 * One call of Master::solve: the outer loop of the C library with the caller's oracle, over as many
 * records as it takes.
 *
 * The bounds are kept here, not in the record. All values are those of a master that minimises:
 *
 *   lower bound   the best of the answers
 *   upper bound   the least value of a restricted master that satisfied all rows by itself
 *
 * A record ends when the gap is closed, a limit is met, or the oracle has changed the master; the
 * last is followed by a record of the changed master. When a run ends with rows that only the
 * record's own columns satisfy, another with wider dual boxes tells whether it was these.
 */
#ifndef QUARN_CPP_RUN_HPP
#define QUARN_CPP_RUN_HPP

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "quarn_cpp/record.hpp"
#include "quarn_cpp/state.hpp"
#include "quarn_cpp/tolerance_dial.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

/// What stands behind Duals.
struct Priced {
  std::vector<double> values;
  std::shared_ptr<const RowTable> table;
  double objective = 0.0;
  double lower = -kInfinity, upper = kInfinity, gap = 10.0;
  int32_t iteration = 0;
  Run *run = nullptr;  ///< while its oracle is being called
  std::vector<ColumnValue> solution;
};

class Run {
 public:
  Run(State &state, const Oracle &oracle, const Settings &settings);

  Result solve();
  /// See Master::price.
  double price(const std::vector<double> &duals, double objective);

  bool out_of_time();
  std::vector<ColumnValue> column_values();

 private:
  using Clock = std::chrono::steady_clock;
  enum class End { none, closed, edited, time, iterations, stopped, exhausted, thrown };

  // The outer loop
  static int16_t callback(double *ub_term, double *lb_term, QUARN_env *env, void *run) noexcept;
  int16_t ask(double *ub_term, double *lb_term);
  void open_record(bool opens_boxes, bool first);
  End run_record();
  bool boxes_can_open() const;
  bool is_sharp() const;
  bool polish();

  // One call of the oracle
  void set_duals(const std::vector<double> &duals);
  void read_restricted_master();
  std::shared_ptr<Priced> price_list();
  Answer call_oracle(Columns *columns);
  double proved(const Answer &answer) const;
  double blocks_part(const Answer &answer) const;
  void take_bound(double lower);
  void check_bound(double lower);
  bool satisfies_rows(size_t first) const;
  void take_rows(size_t rows_before);
  void note_progress(const Columns &columns, double lower_before);
  void steer(double proved_bound);
  double guiding_upper() const;
  int16_t reply(double proved_bound, bool first, double *ub_term, double *lb_term);
  End decide();
  void add_line(double rmp_seconds, double oracle_seconds);

  // Bounds, as those of a master that minimises
  double gap() const;
  double gap_below(double upper) const;
  bool is_closed() const;
  bool is_clean() const;

  // The result
  Result result(End end);
  void round(Result *result);
  void describe(Result *result, End end) const;
  void describe_infeasible(Result *result) const;
  std::vector<double> certificate() const;
  std::string failure() const;
  std::string figures(double gap) const;

  double lap();
  bool interrupted();
  double seconds() const;

  State &state_;
  const Oracle &oracle_;
  const Settings &settings_;
  std::unique_ptr<Record> record_;
  ToleranceDial dial_;

  End end_ = End::none;
  int16_t library_status_ = 0;
  std::exception_ptr failure_;
  bool interrupted_ = false;

  Clock::time_point start_ = Clock::now();
  Clock::time_point lap_ = start_;
  Clock::time_point saved_ = start_;
  double rmp_seconds_ = 0.0, oracle_seconds_ = 0.0;

  // Of the restricted master solved last
  bool solved_ = false;
  double value_ = kInfinity;
  double dual_value_ = -kInfinity;
  bool counted_apart_ = false;  ///< bounded columns may serve a block at no reduced cost
  Solution solution_;
  std::vector<double> duals_;

  int32_t iterations_ = 0;
  int32_t inner_before_ = 0, inner_iterations_ = 0;
  bool boxes_all_rows_ = false;
  double last_gap_ = 10.0;
  double guide_ = kInfinity;  ///< least value of this record's restricted masters as they come
  bool tighten_ = false;      ///< nothing moves: the next restricted master is to be solved sharply
  int32_t idle_rounds_ = 0;   ///< in a row that brought neither columns nor a better bound
  std::vector<Iteration> history_;
};

/// Throws Mistake for settings that cannot be meant.
void check_settings(const State &state, const Settings &settings);

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

/**
 * The master as a record of the C interface: made afresh for each run and after a change of the
 * rows, so that nothing of an earlier problem is left in it. Only rows that a solution at hand
 * satisfies can be added to one that is there, see add_rows.
 *
 * The record minimises, has the linking rows first and the block rows behind them, and in front of
 * the master's columns, besides the box columns of the linking rows, auxiliary ones:
 *
 *   slack columns       a x - s = lower, 0 <= s <= upper - lower, for a row with a range
 *   artificial columns  +1 and -1 in a block row, where they help to satisfy it, at the penalty;
 *                       left out of rows that a column given by the caller can satisfy
 *
 * Where the caller's columns satisfy all block rows, linking rows that these cannot violate have no
 * box columns either: each would take its part of the gap that a restricted master is left with.
 */
#ifndef QUARN_CPP_RECORD_HPP
#define QUARN_CPP_RECORD_HPP

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "quarn/quarn.h"
#include "quarn_cpp/state.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

/// What the record's own columns have to pay for a row that nobody satisfies.
struct Penalty {
  double cost;
  bool opens_boxes;  ///< also where the caller's dual bounds are closer
  bool boxes_all;    ///< box columns also for rows that need none
  /// The boxes are wide on the side of an inequality's slack: rounding takes a box column in use
  /// for a sign that the rows cannot be met, and one at no cost shares the slack's value.
  bool guards_slacks;
};

/// Column of the record that takes a part of a row's violation.
struct Relief {
  int32_t slot;    ///< of the row
  int32_t column;  ///< of the record
  double cost;
};

/// What the solution of a restricted master looks like.
struct Solution {
  std::vector<double> values;                     ///< of the generated columns, in order
  std::vector<std::pair<int32_t, double>> unmet;  ///< rows by slot, and by how much
  double relief_cost = 0.0;                       ///< what the columns of `unmet` contribute
  double cost = 0.0;                              ///< of the generated columns
  double repair = 0.0;     ///< what meeting the rows that are not quite met costs by their duals
  double magnitude = 0.0;  ///< sum of |cost| * value, or of the value of the duals if that is less
};

class Record {
 public:
  /// `first_duals` by slot, in the sense of the master, or empty. Throws std::bad_alloc.
  Record(State &state, const Penalty &penalty, const std::vector<double> &first_duals,
         void *user_data);
  Record(const Record &) = delete;
  Record &operator=(const Record &) = delete;

  QUARN_env &env() { return *env_; }
  const QUARN_env &env() const { return *env_; }

  /// Whether the rows from slot `first` on can be added as they are, by add_rows: linking rows with
  /// one side, which need no columns of the record's own.
  bool can_take_rows(size_t first) const;

  /// Adds them. No column of the record relieves them: some solution has to satisfy them.
  void add_rows(size_t first);

  /// Whether there are linking rows without box columns.
  bool lacks_boxes() const { return env_->ncuts > 0; }

  /// The columns' slots from here on were not sent yet.
  size_t sent() const { return sent_; }

  /// Adds the columns that the master has got since the last call.
  void send_new_columns();

  /// Duals by slot, in the sense of the master, those of inequalities clipped to their sign.
  std::vector<double> duals() const;

  /// See dual_value below; of this record's bounded columns.
  double dual_value(const std::vector<double> &duals) const;

  /// RHS'u, to which the library adds the oracle's term; over the linking rows for first duals.
  double base_of_term(bool linking_only) const;

  /// Reads the solution of the restricted master solved last, whose duals by slot are these.
  Solution solution(const std::vector<double> &duals);

  /// Slots of columns that can be used without limit together, at an ever better value: the ray
  /// that the solver leaves when the restricted master is unbounded. Empty when it is no ray.
  std::vector<int32_t> unbounded_columns();

  /// Slot of generated column k of the record.
  int32_t slot_of(int32_t k) const { return env_->col_tag[k]; }
  int32_t generated() const { return env_->G->n - env_->ncols_aux; }

  /// Whether a block has columns with bounds of their own.
  bool has_bounded_columns() const { return !bounded_.empty(); }

  /// Marks as removed what the library has taken out of the matrix.
  void note_eliminated_columns();

 private:
  struct Release {
    void operator()(QUARN_env *env) const { QUARN_destroy(env); }
  };

  void order_rows();
  void send_rows(const std::vector<int32_t> &slots);
  Bounds box(const RowSlot &row, const Penalty &penalty) const;
  void make(const Penalty &penalty, const std::vector<double> &first_duals, void *user_data);
  void add_auxiliary_columns(const Penalty &penalty);
  void find_rows_to_relieve();
  bool find_reliefs_of_blocks();
  void find_reliefs_of_linking_rows();
  void note_reliefs(const std::vector<double> &lower, const std::vector<double> &upper);
  void send_first_columns();
  void send(const std::vector<int32_t> &slots);

  State &state_;
  const Penalty penalty_;
  std::unique_ptr<QUARN_env, Release> env_;
  std::vector<int32_t> row_slots_;  ///< slot of each row of the record
  std::vector<int32_t> row_of_;     ///< row of the record of each slot, -1 for none
  std::vector<bool> relieved_;      ///< by slot: rows for which the record has columns of its own
  std::vector<Relief> reliefs_;
  std::vector<int32_t> bounded_;  ///< slots of columns that are not just >= 0
  size_t sent_ = 0;
};

/// Value of the duals, by slot in the sense of the master: what the rows and the `bounded` columns,
/// by slot, contribute to a lower bound, to which the blocks' part is added. As one that minimises.
double dual_value(const State &state, const std::vector<double> &duals,
                  const std::vector<int32_t> &bounded);

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

/**
 * What a master consists of, inside the library: rows and columns in slots that keep their number,
 * the bounds, and the checks on what callers hand in.
 *
 * A handle is recognised by the object that it holds: rows by their identity, columns by the batch
 * that they were made in. Copies of a master share both, so handles serve the copies; a row or a
 * batch that is made afterwards belongs to one of them alone.
 */
#ifndef QUARN_CPP_STATE_HPP
#define QUARN_CPP_STATE_HPP

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "quarn_cpp/duplicate_table.hpp"
#include "quarn_cpp/master.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

struct RowIdentity {
  std::string name;
  int32_t slot;
  bool block;
};

using RowTable = std::vector<std::shared_ptr<const RowIdentity>>;

struct RowSlot {
  std::shared_ptr<const RowIdentity> identity;
  Bounds sides;        ///< of the left side; equal for an equality
  Bounds dual_bounds;  ///< in the sense of the master
  bool removed = false;
  /// Entries of columns that were there before the row, by column.
  std::vector<std::pair<int32_t, double>> late;

  bool is_equal() const { return sides.lower == sides.upper; }
  bool has_lower() const { return sides.lower > -kInfinity; }
  bool has_upper() const { return sides.upper < kInfinity; }
  bool is_range() const { return !is_equal() && has_lower() && has_upper(); }
};

/// Columns that were added together. Never changed once another master shares it.
struct Batch {
  int32_t first_slot = 0;
  std::vector<double> costs;
  std::vector<int64_t> starts = {0};
  std::vector<int32_t> rows;
  std::vector<double> values;
  std::vector<std::any> data;  ///< as long as it has to be
  std::atomic<bool> shared{false};
};

struct ColumnSlot {
  int32_t batch;
  int32_t position;
  Bounds bounds;
  bool removed = false;
  bool has_late = false;
  bool given = false;  ///< by the caller, not by an oracle that could find it again

  bool is_bounded() const { return bounds.lower != 0.0 || bounds.upper < kInfinity; }
};

/// A column as messages name it; the text is made for them alone.
struct ColumnName {
  size_t number;
  bool of_batch = false;
  std::string text() const {
    const std::string name = "column " + std::to_string(number);
    return of_batch ? name + " of the batch" : "new " + name;
  }
};

/// The entries of a column as it was added.
struct ColumnData {
  double cost;
  const int32_t *rows;
  const double *values;
  int32_t length;
};

/// What has happened to the master since a run asked. A column that has to be used is as a row.
enum class Edit { none, rows_added, changed };

struct State {
  explicit State(Sense the_sense) : sense(the_sense) {}
  State(const State &other);

  /// 1 when minimising, -1 when maximising: times a cost or a value, it is one to minimise.
  double sign() const { return sense == Sense::minimize ? 1.0 : -1.0; }

  // Handles
  Row row_handle(int32_t slot) const { return Row(rows[static_cast<size_t>(slot)].identity); }
  Column column_handle(int32_t slot) const;
  /// Slot of a row that is there; throws Mistake with `what` in front otherwise.
  int32_t row_slot(const Row &row, const std::string &what) const;
  int32_t column_slot(const Column &column, const std::string &what) const;
  std::string row_name(int32_t slot) const;
  /// By slot, null where the row was removed; made when first asked for after a change.
  std::shared_ptr<const RowTable> row_table();

  // Rows
  Row add_row(Bounds sides, const RowOptions &options);
  void set_sides(const Row &row, Bounds sides, bool keep_kind);
  void remove_row(const Row &row);

  // Columns
  ColumnData column(int32_t slot) const;
  /// All entries in the rows that are there, by slot; `late` for columns that have late ones.
  void gather(int32_t slot, std::vector<std::pair<int32_t, double>> *entries) const;
  /// Throws Mistake unless the numbers are finite and the rows, by slot, there and named once.
  void check_column(ColumnName name, double cost, const int32_t *slots, const double *values,
                    int64_t length);
  /// Slot of the column with these entries; -1 when there is none. Sets `hash`.
  int32_t find_equal(double cost, const int32_t *slots, const double *values, int64_t length,
                     uint64_t *hash);
  /// Makes room for that many columns with that many entries.
  void expect(size_t count, size_t entries);
  /// Appends a column that was checked and is not there.
  int32_t append(double cost, const int32_t *slots, const double *values, int64_t length,
                 Bounds bounds, std::any data, uint64_t hash);
  void remove_column(int32_t slot);
  void note(Edit what, bool forget_lower, bool forget_upper);

  Sense sense;
  std::vector<RowSlot> rows;
  std::vector<int32_t> late_rows;  ///< slots of rows that came with entries
  std::vector<ColumnSlot> columns;
  std::vector<std::shared_ptr<Batch>> batches;
  std::unordered_map<std::string, int32_t> names;
  int32_t present = 0;  ///< columns that were not removed

  // As one that minimises: bounds of the value, -kInfinity and kInfinity for none.
  double lower = -kInfinity;
  double upper = kInfinity;
  std::vector<double> duals;  ///< last ones, by slot of the row, in the sense of the master

  Settings settings;  ///< numbers of the last run's

  bool running = false;
  Edit edit = Edit::none;

 private:
  Batch &open_batch();
  void index_columns();

  DuplicateTable known_;
  bool reindex_ = false;  ///< entries have come or gone: the hashes are others
  std::shared_ptr<const RowTable> table_;
  std::vector<int64_t> stamp_;  ///< by slot of the row: the last column checked that names it
  int64_t checked_ = 0;
};

/// A number in a message.
std::string to_text(double value);

/// A bound that callers may give as any infinite or huge number.
double clamped(double value);

/// Throws Mistake unless lower <= upper and both are numbers; returns them clamped.
Bounds checked_bounds(Bounds bounds, const std::string &what);

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

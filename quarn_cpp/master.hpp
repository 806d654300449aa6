#ifndef QUARN_CPP_MASTER_HPP
#define QUARN_CPP_MASTER_HPP

#include <any>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "quarn_cpp/handles.hpp"
#include "quarn_cpp/pricing.hpp"
#include "quarn_cpp/result.hpp"
#include "quarn_cpp/settings.hpp"

namespace quarn {
inline namespace v1 {

/// What may be said of a row beyond its sense and right-hand side.
struct RowOptions {
  std::string name = {};  ///< for messages and files; may be empty, must not be used twice
  bool block = false;     ///< a convexity row, or another of a single block
  /// A linking row's: bounds that some optimal dual keeps to. Good ones save iterations; a margin
  /// of 1 % or more keeps the solution clear of them. When they turn out to be too narrow they are
  /// opened.
  Bounds dual_bounds = {-kInfinity, kInfinity};
  /// Entries of columns that are there already, for rows added later (cuts).
  std::vector<std::pair<Column, double>> entries = {};
};

/**
 * A master problem: rows, columns, what is known of the solution. It can be solved, changed and
 * solved again, copied (for branching; handles of the original serve the copy), saved and read.
 *
 *   quarn::Master master(quarn::Sense::minimize);
 *   const quarn::Row row = master.add_row(quarn::RowSense::at_least, 20.0, {"length 3"});
 *   const quarn::Result result = master.solve(oracle);
 *
 * Rows that no column can satisfy yet need no care: the library has columns of its own for them
 * that cost Settings::penalty.
 *
 * The oracle may change the master that it prices for: what it does takes effect when it returns.
 * Rows that it adds leave the bound proved so far valid; after other changes the bounds start
 * afresh, as they do when the master is changed between two runs.
 *
 * A master is used by one thread at a time; distinct ones, copies included, by distinct threads.
 */
class QUARN_CPP_PUBLIC Master {
 public:
  explicit Master(Sense sense = Sense::minimize);
  Master(const Master &other);
  Master(Master &&other) noexcept;
  Master &operator=(const Master &other);
  Master &operator=(Master &&other) noexcept;
  ~Master();

  Sense sense() const;

  // Rows

  /// Adds a row  sum (sense) rhs. Throws Mistake for numbers that are not finite, a name that is
  /// taken, dual bounds that cross or belong to a block row, entries that are no columns of this
  /// master or name one twice, a block row with a negative right-hand side.
  Row add_row(RowSense sense, double rhs, const RowOptions &options = {});
  /// Adds a row  lower <= sum <= upper. An infinite side counts as none.
  Row add_range(double lower, double upper, const RowOptions &options = {});
  /// Adds a block row, which says how often the columns of a block are used: (sense) times.
  Row add_block(RowSense sense = RowSense::equal, double times = 1.0, std::string name = {});

  /// Removes a row, with its entries in all columns.
  void remove_row(const Row &row);
  /// New right-hand side of a row that has no range.
  void set_rhs(const Row &row, double rhs);
  /// New sides of a row; it becomes one with a range.
  void set_range(const Row &row, double lower, double upper);
  /// Sides of a row, -kInfinity or kInfinity where it has none.
  Bounds range(const Row &row) const;
  /// The bounds of a linking row's dual that it was added with.
  Bounds dual_bounds(const Row &row) const;

  /// The rows that are there, in the order added.
  std::vector<Row> rows() const;
  /// The row of this name. Throws Mistake when there is none.
  Row row(const std::string &name) const;

  // Columns

  /// Adds a column before a run, or outside of the oracle. Throws Mistake as Columns::add, and for
  /// a column that is there already.
  Column add_column(double cost, const std::vector<Entry> &entries, std::any data = {});
  Column add_column(double cost, const std::vector<Entry> &entries, Bounds bounds,
                    std::any data = {});
  /// Adds many columns at once, see Columns::add_many; those that are there already are left out.
  int32_t add_columns(const std::vector<double> &costs, const std::vector<int64_t> &starts,
                      const std::vector<int32_t> &rows, const std::vector<double> &values,
                      std::vector<std::any> data = {});
  /// Takes a column out. The handle stays; the oracle may add the column again.
  void remove_column(const Column &column);
  /// Takes out every column for which `predicate` holds; returns how many.
  int32_t remove_columns(const std::function<bool(const Column &)> &predicate);
  /// Bounds of a column's value; equal ones fix it, [0, 0] forbids it.
  void set_bounds(const Column &column, Bounds bounds);
  Bounds bounds(const Column &column) const;
  /// Entries of a column in the rows that are there.
  std::vector<Entry> entries(const Column &column) const;
  /// Whether the column is in the restricted master.
  bool contains(const Column &column) const;

  /// The columns in the restricted master, in the order added.
  std::vector<Column> columns() const;
  /// Their number.
  int32_t number_of_columns() const;

  // Solving

  /**
   * Generates columns until the gap is closed or a limit is met. Goes on from the columns and
   * bounds that are there. What oracle and callbacks throw comes out unchanged; the columns that
   * were added stay. Throws Mistake for settings that cannot be meant, for answers that contradict
   * what the columns reach or name rows wrongly, and for a master that is being solved already.
   */
  Result solve(const Oracle &oracle, const Settings &settings = {});

  /**
   * Asks the oracle once, at duals of the caller's own, and solves nothing: for other ways to find
   * duals, and to try an oracle out. What it adds is added.
   *
   *   duals      by Row::index(); of inequalities, those of the wrong sign count as 0.
   *   objective  value of the restricted master that the duals are of, Duals::objective(). Without,
   *              the call is one before the first iteration: Duals::iteration() is 0, else 1.
   *
   * Returns the bound that the answer proves, -kInfinity (kInfinity when maximising) when it proves
   * none; the bounds of the master take it in. Throws as `solve`, and Mistake for duals that are
   * not one for each row, or not finite.
   */
  double price(const Oracle &oracle, const std::vector<double> &duals,
               double objective = kInfinity);

  /// Bounds proved so far for the master as it is, -kInfinity and kInfinity when there are none.
  double lower_bound() const;
  double upper_bound() const;
  /// Forgets them, for pricing that has changed without a change of the master.
  void forget_bounds();

  /// The numbers among the settings of the last run, for a master that was loaded those of the run
  /// that wrote it. Callbacks, streams and paths are not kept.
  const Settings &settings() const;

  // Files

  /// Writes rows, columns, bounds, duals and objects to a file, atomically: under another name
  /// first. `data` turns the objects of columns into text; without it they are left out. Throws
  /// FileError.
  void save(const std::string &path,
            const std::function<std::string(const Column &)> &data = nullptr) const;
  /// Reads a master from a file of `save`. `data` makes the objects from their text. Throws
  /// FileError for a file that cannot be read, is damaged or is none of this kind.
  static Master load(const std::string &path,
                     const std::function<std::any(const std::string &)> &data = nullptr);
  /// Writes the restricted master as a linear program in free MPS format, for other programs to
  /// look at. A master that maximises is written with its costs negated.
  void write_mps(std::ostream &stream) const;

 private:
  std::unique_ptr<detail::State> state_;
};

}  // namespace v1
}  // namespace quarn

#endif

#ifndef BLOCK_PRICING_BLOCK_ORACLE_HPP
#define BLOCK_PRICING_BLOCK_ORACLE_HPP

#include <any>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quarn_cpp/pricing.hpp"
#include "quarn_cpp/visibility.hpp"

namespace quarn {
inline namespace v1 {

namespace detail {
class Watch;
}  // namespace detail

/**
 * What the blocks of a round are priced with: plain numbers, which can be sent to a process that
 * has no master. Made from the Duals of a call, and free to be changed before a round: prices near
 * the master's own are another BlockDuals.
 */
struct QUARN_CPP_PUBLIC BlockDuals {
  BlockDuals() = default;
  /// The numbers of `duals`, with `text` for a note.
  explicit BlockDuals(const Duals &duals, std::string text = {});

  std::vector<double> values;  ///< by Row::index(); 0 for removed rows
  double objective = 0.0;      ///< the others as in Duals
  double lower_bound = -kInfinity;
  double upper_bound = kInfinity;
  double gap = 10.0;
  int32_t iteration = 0;
  /// Bytes of the caller's that every block gets along: cuts, branching decisions, a phase.
  std::string note;

  /// Whether the block should end early: the time is over, the run was interrupted, another block
  /// failed, or the round has enough columns. For blocks that take long; one that ends early
  /// answers with what it has proved until then, or BlockAnswer::nothing(). Safe in any thread
  /// within BlockOracle::price.
  bool should_stop() const;

 private:
  friend class detail::Watch;
  detail::Watch *watch_ = nullptr;  // while a round is priced
};

/// An entry of a block's column: Row::index() of its row, and a value.
using BlockEntry = std::pair<int32_t, double>;

/// A column as a block has recorded it. Views, valid until the next column is added.
struct BlockColumn {
  double cost = 0.0;
  size_t length = 0;              ///< entries
  const int32_t *rows = nullptr;  ///< [length] by Row::index()
  const double *values = nullptr;
  std::string_view data;  ///< the caller's bytes
};

/**
 * Columns as plain arrays, which can be sent. Rows are named by Row::index(): from 0 in the order
 * in which they were added to the master. Entries of value 0 may be there, a row twice in a column
 * is a Mistake that comes out when the columns are merged into the master.
 */
class QUARN_CPP_PUBLIC BlockColumns {
 public:
  /// Adds a column; `data` are bytes of the caller's, which become the column's object by
  /// BlockOracle::column_data. Throws Mistake when a number is not finite or a row negative.
  void add(double cost, const std::vector<BlockEntry> &entries, std::string_view data = {});
  /// The same with the entries in two arrays.
  void add(double cost, size_t length, const int32_t *rows, const double *values,
           std::string_view data = {});

  size_t size() const { return costs_.size(); }
  /// Column j, from 0.
  BlockColumn operator[](size_t j) const;

  // The arrays: columns, where their entries begin (one more than columns), entries, bytes.
  const std::vector<double> &costs() const { return costs_; }
  const std::vector<int64_t> &starts() const { return starts_; }
  const std::vector<int32_t> &rows() const { return rows_; }
  const std::vector<double> &values() const { return values_; }

  /// Appends columns `first` to `end - 1` of others; these were checked when they were added.
  void append(const BlockColumns &other, size_t first, size_t end);
  void clear();
  void reserve(size_t columns, size_t entries, size_t bytes);

 private:
  void close(double cost, std::string_view data);
  void check_last(double cost) const;
  void undo_last();

  std::vector<double> costs_;
  std::vector<int64_t> starts_ = {0};
  std::vector<int32_t> rows_;
  std::vector<double> values_;
  std::vector<int64_t> data_starts_ = {0};
  std::string data_;

  friend struct BlockMessages;
};

/// What pricing a block has proved.
struct BlockAnswer {
  enum class Kind : uint8_t { nothing, best_reduced_cost, term, unbounded };
  Kind kind = Kind::nothing;
  double value = 0.0;

  /// The best reduced cost of a column of the block, its convexity dual included: the least when
  /// minimising, the largest when maximising, or a proven bound of it (of a search that met a
  /// limit, say).
  static BlockAnswer best_reduced_cost(double value) { return {Kind::best_reduced_cost, value}; }
  /// A number that the caller's own bound is made of, see BlockPricer::oracle.
  static BlockAnswer term(double value) { return {Kind::term, value}; }
  /// The block has a ray that improves without limit; it should be among the columns.
  static BlockAnswer unbounded() { return {Kind::unbounded, 0.0}; }
  /// Nothing is proved: a heuristic, or a search that met a limit without a bound.
  static BlockAnswer nothing() { return {}; }
};

/**
 * Pricing that falls into blocks, each of which can be priced by itself.
 *
 * `price` is called for distinct blocks at the same time when the team has threads, and on any rank
 * of an MPI job, on another one from round to round. So that a run is the same whoever prices, its
 * answer must depend on the block and the duals alone, not on which blocks the process priced
 * before; what it keeps for the next round may only save time.
 */
class QUARN_CPP_PUBLIC BlockOracle {
 public:
  virtual ~BlockOracle();

  /// Number of blocks; the same on every rank and in every round.
  virtual size_t blocks() const = 0;
  /// What messages call the block; "block 7" by default.
  virtual std::string name(size_t block) const;

  /// Prices a block, from 0: records columns, says what is proved. What it throws ends the round on
  /// all ranks, and comes out of the run as a BlockError.
  virtual BlockAnswer price(size_t block, const BlockDuals &duals, BlockColumns &columns) = 0;

  /// The object of a column in the master, made of the column's bytes on the rank of the master. A
  /// std::string of them by default, nothing when there are none.
  virtual std::any column_data(size_t block, std::string_view bytes) const;
};

/// A block could not be priced: what() is "<name of the block>: <what was thrown>".
class QUARN_CPP_PUBLIC BlockError : public std::runtime_error {
 public:
  BlockError(size_t block, const std::string &text) : std::runtime_error(text), block_(block) {}
  size_t block() const { return block_; }

 private:
  size_t block_;
};

}  // namespace v1
}  // namespace quarn

#endif

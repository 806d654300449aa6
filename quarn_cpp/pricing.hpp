#ifndef QUARN_CPP_PRICING_HPP
#define QUARN_CPP_PRICING_HPP

#include <any>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

#include "quarn_cpp/handles.hpp"

namespace quarn {
inline namespace v1 {

namespace detail {
struct Priced;
class Run;
}  // namespace detail

/**
 * The dual solution that an oracle prices, or that a run ended with. The reduced cost of a column
 * is  cost - sum over its entries of duals[row] * value,  in either sense: columns with a negative
 * one improve a master that minimises, with a positive one a master that maximises. When minimising
 * the duals of >= rows are at least 0 and those of <= rows at most 0, when maximising the other way
 * round.
 */
class QUARN_CPP_PUBLIC Duals {
 public:
  Duals();

  /// Dual of a row. Throws Mistake when the row is of another master or was removed.
  double operator[](const Row &row) const;
  /// All duals, by Row::index(); 0 for removed rows.
  const std::vector<double> &values() const;
  /// The reduced cost of a column with these entries.
  double reduced_cost(double cost, const std::vector<Entry> &entries) const;

  /// Value of the restricted master problem.
  double objective() const;
  /// Bounds proved so far, -kInfinity and kInfinity while there are none.
  double lower_bound() const;
  double upper_bound() const;
  /// Relative gap of the two, at most 10.
  double gap() const;
  /// Number of the iteration within the run, from 1; 0 in a call before the first.
  int32_t iteration() const;
  /// Whether the run should end: the time is over or it was interrupted. For oracles that take long
  /// to look at between the blocks; one that stops early answers Answer::heuristic().
  bool out_of_time() const;
  /// The columns with a value above 1e-9 in the restricted master problem: what cuts are
  /// separated from. Empty in a call before the first iteration.
  std::vector<ColumnValue> solution() const;

 private:
  friend class detail::Run;
  std::shared_ptr<const detail::Priced> priced_;
};

/**
 * The columns of the master, as an oracle adds to them. Columns that the master has already, entry
 * by entry and with the same cost, are not added again. A column may lack an entry in its block
 * row: it then is a ray, and can be used without limit.
 */
class QUARN_CPP_PUBLIC Columns {
 public:
  /// Adds a column and returns it; the one that is there already when it is known. Throws Mistake
  /// when a row is of another master, removed or named twice, or a number is not finite.
  Column add(double cost, const std::vector<Entry> &entries, std::any data = {});
  /// The same with bounds on the column's value.
  Column add(double cost, const std::vector<Entry> &entries, Bounds bounds, std::any data = {});

  /**
   * Adds `count` columns at once.
   *
   *   costs         [count].
   *   starts        [count+1] first entry of each column, from 0; starts[count] is their number.
   *   rows, values  [starts[count]] entries; rows by Row::index().
   *   data          empty, or one object for each column.
   *
   * Returns how many were new. All are checked before the first is added.
   */
  int32_t add_many(size_t count, const double *costs, const int64_t *starts, const int32_t *rows,
                   const double *values, std::vector<std::any> data = {});
  /// The same from vectors; their lengths are checked, too.
  int32_t add_many(const std::vector<double> &costs, const std::vector<int64_t> &starts,
                   const std::vector<int32_t> &rows, const std::vector<double> &values,
                   std::vector<std::any> data = {});

  /// Number of columns added in this call of the oracle.
  int32_t added() const { return added_; }

 private:
  friend class detail::Run;
  friend class Master;
  explicit Columns(detail::State &state) : state_(state) {}

  detail::State &state_;
  int32_t added_ = 0;
};

/// What pricing proved.
class QUARN_CPP_PUBLIC Answer {
 public:
  /// A bound of the whole master's value: from below when minimising, from above when maximising.
  /// An infinite one proves nothing.
  static Answer bound(double value);

  /**
   * The best reduced cost of a column of each block, the block's own dual included: the least when
   * minimising, the largest when maximising, or a bound of it. Every block row is to be named. The
   * right-hand side of the row says how often the block's columns are used. Infinite when the block
   * has a ray that improves without limit; the answer then proves nothing.
   */
  static Answer best_reduced_costs(std::vector<std::pair<Row, double>> values);

  /// Nothing is proved.
  static Answer heuristic();

 private:
  friend class detail::Run;
  enum class Kind { bound, blocks, nothing };
  Answer() = default;
  Kind kind_ = Kind::nothing;
  double bound_ = 0.0;
  std::vector<std::pair<Row, double>> blocks_;
};

/// The pricing routine of the caller: looks at the duals, adds columns, says what it proved.
using Oracle = std::function<Answer(const Duals &, Columns &)>;

}  // namespace v1
}  // namespace quarn

#endif

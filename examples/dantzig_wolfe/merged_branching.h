#ifndef EXAMPLES_DANTZIG_WOLFE_MERGED_BRANCHING_H
#define EXAMPLES_DANTZIG_WOLFE_MERGED_BRANCHING_H

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "branch_and_price/branch_and_price.hpp"
#include "examples/dantzig_wolfe/block_pricing.h"
#include "examples/dantzig_wolfe/reformulation.h"

namespace dantzig_wolfe {

/// A column with its value in a restricted master.
using ValuedColumn = std::pair<std::shared_ptr<const MasterColumn>, double>;

/**
 * Branching where equal blocks are one. Its n_k copies cannot be told apart, so decisions are about
 * what all of them have together:
 *
 *     total k j          the sum of variable j over the copies is at most, or at least, a whole
 *                        number: a row, whose dual is a cost of the variable
 *     set k j s b ...    of so many copies the point is in a set, that is, variable j at least
 *                        (s = 1) or at most (s = 0) b, and so on: a row, whose dual is a price of
 *                        the set
 *     together i j       linking rows i and j are served by one block,
 *     apart i j          or by two
 *
 * The last two are those of D. M. Ryan and B. A. Foster, see branching.hpp, for partitioning rows;
 * they hold for all blocks, and need no row. Where neither rows nor totals are fractional, sets
 * are: any point of fractional value is the only one in some. Source: F. Vanderbeck, Branching in
 * branch and price: a generic scheme, Mathematical Programming 130 (2011).
 */
class MergedBranching {
 public:
  /// `reformulation` has to outlive the object.
  explicit MergedBranching(const Reformulation &reformulation);

  /// Whether there is a block with copies.
  bool has_merged() const { return has_merged_; }
  bool is_mine(const quarn::branch_and_price::Decision &decision) const;

  /// Children for what is fractional, none where no merged block is.
  std::vector<quarn::branch_and_price::Branching> candidates(
      const std::vector<ValuedColumn> &columns) const;

  bool allows(const quarn::branch_and_price::Decision &decision, const MasterColumn &column) const;
  double coefficient(const quarn::branch_and_price::Decision &decision,
                     const MasterColumn &column) const;
  /// Tells pricing of a decision; `dual` of its row in the program that minimises, with its sign.
  void price(const quarn::branch_and_price::Decision &decision, double dual,
             BlockPricing::NodePrices *prices) const;

 private:
  struct Sum {
    quarn::branch_and_price::Branching children;
    double distance;  ///< of the sum from one half
  };

  void find_partitioning_rows();
  bool is_partitioning(size_t row) const;
  void add_totals(size_t block, const std::vector<ValuedColumn> &points,
                  std::vector<Sum> *sums) const;
  void add_sets(size_t block, const std::vector<ValuedColumn> &points, const PointSet &set,
                std::vector<Sum> *sums) const;
  void add_pairs(const std::vector<ValuedColumn> &columns, std::vector<Sum> *sums) const;
  std::vector<PointSet> forbidden(const quarn::branch_and_price::Decision &decision,
                                  size_t block) const;

  const Reformulation &reformulation_;
  bool has_merged_ = false;
  /// [linking rows][blocks] the variable that serves a partitioning row, -1 for none; empty for
  /// other rows.
  std::vector<std::vector<int32_t>> serving_;
};

}  // namespace dantzig_wolfe

#endif

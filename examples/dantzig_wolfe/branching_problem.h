#ifndef EXAMPLES_DANTZIG_WOLFE_BRANCHING_PROBLEM_H
#define EXAMPLES_DANTZIG_WOLFE_BRANCHING_PROBLEM_H

#include <any>
#include <memory>
#include <optional>
#include <quarn_cpp/quarn.hpp>
#include <string>
#include <vector>

#include "branch_and_price/branch_and_price.hpp"
#include "examples/dantzig_wolfe/block_pricing.h"
#include "examples/dantzig_wolfe/file_solution.h"
#include "examples/dantzig_wolfe/merged_branching.h"
#include "examples/dantzig_wolfe/reformulation.h"

namespace dantzig_wolfe {

/**
 * The reformulation with its integer meaning: branching is on the integer variables of the file.
 *
 * With x_p the values of the columns p of a block, its variable j is  sum_p x_p p_j.  Where that is
 * fractional for an integer variable, one child has it at most, the other at least the next whole
 * number. This is a bound within the block, so pricing keeps to it, and columns that miss it go:
 *
 *     at_most k j b    points of block k with p_j <= b, rays with p_j <= 0
 *     at_least k j b   points with p_j >= b, rays with p_j >= 0
 *
 * The children's bounds are thus those of smaller convex hulls. A column of variables outside of
 * the blocks gets a row:
 *
 *     outside k        its value is at most, or at least, a whole number
 *
 * whose dual the bound need not know: with the column's value within these bounds the last sum of
 * (2), see Reformulation, is at its least. Equal blocks stay one, see MergedBranching for the
 * decisions on them; where there are rays they have to be kept apart.
 */
class BranchingProblem : public quarn::branch_and_price::Problem {
 public:
  /// No block of `reformulation` with copies has rays. All have to outlive the object; `pricer` is
  /// that of `pricing`, in this process.
  BranchingProblem(const Reformulation &reformulation, BlockPricing &pricing,
                   quarn::BlockPricer &pricer);

  quarn::Answer price(const quarn::branch_and_price::Subproblem &at, const quarn::Duals &duals,
                      quarn::Columns &columns) override;
  bool allows(const quarn::branch_and_price::Decision &decision, const quarn::Column &column,
              const std::vector<quarn::Entry> &entries) const override;
  double coefficient(const quarn::branch_and_price::Decision &decision, const quarn::Column &column,
                     const std::vector<quarn::Entry> &entries) const override;
  std::vector<quarn::branch_and_price::Branching> branch(
      const quarn::branch_and_price::Relaxation &relaxation) override;
  double granularity() const override { return granularity_; }
  std::optional<quarn::branch_and_price::Solution> integer_solution(
      const quarn::branch_and_price::Relaxation &relaxation) const override;
  /// The relaxation rounded where that is nearly whole; every now and then by Cbc over the node's
  /// columns.
  std::optional<quarn::branch_and_price::Solution> heuristic(
      const quarn::branch_and_price::Relaxation &relaxation) override;
  /// All columns are points and rays of their blocks; in a dive they have to fit what is left.
  bool fits(const quarn::branch_and_price::Subproblem &at, const quarn::Column &column,
            const std::vector<quarn::Entry> &entries) const override {
    return !at.dive || Problem::fits(at, column, entries);
  }
  /// Whether columns can be fixed one after the other: there are points with integer variables
  /// alone, which never give back to a row what others take from it.
  bool can_dive() const;

  /// Columns of the root, as the search takes them; of points with the same cost and entries, which
  /// the master takes for one column, the first.
  void add_columns(const std::vector<MasterColumn> &found, quarn::Master &master) const;
  /// The object of a column as text, for a saved search, and back.
  static std::string data_to_text(const std::any &data);
  static std::any data_from_text(const std::string &text);
  /// A solution of the file as columns: a point for each block.
  quarn::branch_and_price::Solution solution_of(const std::vector<double> &x) const;
  /// Variables of the file.
  std::vector<double> file_solution(const quarn::branch_and_price::Solution &solution) const;

 private:
  using Content = std::shared_ptr<const MasterColumn>;

  static Content content(const quarn::Column &column);
  std::vector<quarn::Entry> handles(const std::vector<Entry> &entries) const;
  void set_bounds(const quarn::branch_and_price::Subproblem &node);
  void bound_by_what_is_left(const quarn::Master &master);
  double set_prices(const quarn::branch_and_price::Subproblem &node, const quarn::Duals &duals);
  void add_columns(const quarn::branch_and_price::Subproblem &node, const quarn::BlockRound &round,
                   quarn::Columns &columns) const;
  quarn::Answer answer_in_dive(const quarn::Duals &duals, const quarn::BlockRound &round) const;
  double entry_of(const quarn::branch_and_price::Decision &decision,
                  const MasterColumn &column) const;
  void bound_by(const quarn::branch_and_price::Decision &decision);
  std::vector<double> file_solution(const quarn::branch_and_price::Relaxation &relaxation) const;
  std::optional<quarn::branch_and_price::Solution> completed(const std::vector<double> &x) const;
  std::vector<quarn::branch_and_price::Branching> fractional(
      const quarn::branch_and_price::Relaxation &relaxation) const;
  bool excludes(const quarn::branch_and_price::Relaxation &relaxation,
                const quarn::branch_and_price::Branch &child) const;
  bool is_whole_outside(const OutsideColumn &column) const;

  const Reformulation &reformulation_;
  const MergedBranching merged_;
  BlockPricing &pricing_;
  quarn::BlockPricer &pricer_;
  std::vector<quarn::Row> rows_;
  double granularity_ = 0.0;
  /// Applied to the pricing; none in a dive.
  std::optional<std::vector<quarn::branch_and_price::Decision>> applied_;
  int64_t calls_ = 0;       ///< of the heuristic
  int64_t next_heuristic_;  ///< call at which Cbc is next
};

/// Whether points of the blocks may be without bounds.
bool has_rays(const std::vector<Block> &blocks);

/// Every copy of a block as a block of its own.
std::vector<Block> kept_apart(const std::vector<Block> &blocks);

}  // namespace dantzig_wolfe

#endif

#ifndef BRANCH_AND_PRICE_PROBLEM_HPP
#define BRANCH_AND_PRICE_PROBLEM_HPP

#include <any>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "quarn_cpp/quarn.hpp"

namespace quarn {
namespace branch_and_price {

/// A row that a decision brings:  sum of Problem::coefficient * value  (sense)  rhs.
struct DecisionRow {
  RowSense sense = RowSense::at_least;
  double rhs = 0.0;
};

/**
 * What one branch demands. Plain numbers, so that it can be printed, compared and saved; what they
 * mean is the problem's: which columns it forbids (Problem::allows), what its row counts
 * (Problem::coefficient), how it changes pricing.
 */
struct Decision {
  std::string kind;              ///< one word, for instance "together"
  std::vector<int64_t> numbers;  ///< what it is about: rows, arcs, ...
  std::optional<DecisionRow> row = std::nullopt;

  friend bool operator==(const Decision &a, const Decision &b) {
    return a.kind == b.kind && a.numbers == b.numbers && a.row.has_value() == b.row.has_value() &&
           (!a.row || (a.row->sense == b.row->sense && a.row->rhs == b.row->rhs));
  }
};

/// "together 3 7", with its row "at most 2 3 >= 4".
QUARN_CPP_PUBLIC std::string to_string(const Decision &decision);

/// The decisions of one child.
using Branch = std::vector<Decision>;
/// The children of a node: together they have to keep an optimal integer solution, and each has to
/// exclude the fractional one.
using Branching = std::vector<Branch>;

/// The master of one node, as pricing sees it. Valid during the call that it is handed to.
struct Subproblem {
  /// Rows of the root with the right-hand sides that hold here (a dive lowers them by what it has
  /// fixed), rows of decisions, columns.
  const Master &master;
  const std::vector<Decision> &decisions;  ///< from the root on
  const std::vector<Row> &rows;            ///< of each decision; a handle of no row without one
  bool dive;  ///< part of a heuristic: a bound is not needed, some columns are fixed
};

/// The solution of a node's restricted master.
struct Relaxation {
  const Subproblem &at;
  const std::vector<ColumnValue> &values;  ///< above 1e-9
  const Duals &duals;
  double bound;  ///< proved for the node, in the sense of the master
  double value;  ///< what the columns reach
};

/// A column of a solution, which the master need not have.
struct SolutionColumn {
  double cost = 0.0;
  std::vector<Entry> entries = {};  ///< in the rows of the root
  std::any data = {};
  double value = 0.0;  ///< how often it is used
};

/// A solution of the master with its integer meaning.
using Solution = std::vector<SolutionColumn>;

/**
 * A master with an integer meaning: what the search asks its caller. Functions may be called any
 * number of times, for any node, in one thread. Exceptions come out of the search unchanged, save
 * quarn::Mistake, which ends it as failed with the message.
 */
class QUARN_CPP_PUBLIC Problem {
 public:
  Problem() = default;
  Problem(const Problem &) = delete;
  Problem &operator=(const Problem &) = delete;
  virtual ~Problem();

  /// The oracle of a node, as quarn::Oracle: adds columns that all of `at.decisions` allow, with
  /// their entries in `at.rows`, and says what it has proved for the node. Where `at.dive` the
  /// right-hand sides are lower than the root's, and the answer should be for these.
  virtual Answer price(const Subproblem &at, const Duals &duals, Columns &columns) = 0;

  /// Whether the decision lets a column be used. Every decision allows every column by default.
  /// `entries` include those in the rows of the decisions before it on the way from the root.
  virtual bool allows(const Decision &decision, const Column &column,
                      const std::vector<Entry> &entries) const;

  /// Coefficient of a column in the decision's row, for decisions that bring one. Called for the
  /// columns that are there; columns of the oracle bring their own.
  virtual double coefficient(const Decision &decision, const Column &column,
                             const std::vector<Entry> &entries) const;

  /// What all integer solutions keep to and this fractional one does not: decisions that bring a
  /// row or forbid columns. They hold for the node and those below it. Asked for when a node's
  /// master has been solved, up to Settings::cut_rounds times; none by default.
  virtual std::vector<Decision> cuts(const Relaxation &relaxation);

  /// How a fractional solution is excluded: candidates, the best first. One of them is taken.
  virtual std::vector<Branching> branch(const Relaxation &relaxation) = 0;

  /// All costs are multiples of this, so that bounds may be rounded up to the next multiple. 0: no.
  virtual double granularity() const;

  /// Whether the relaxation has an integer meaning as it is, and which. By default when every value
  /// is within 1e-4 of an integer; others may find one in fractional values. It is verified.
  virtual std::optional<Solution> integer_solution(const Relaxation &relaxation) const;

  /// A solution by the caller's own heuristic, asked for at every node where
  /// Settings::own_heuristic is set. It is verified.
  virtual std::optional<Solution> heuristic(const Relaxation &relaxation);

  /// Whether a column can be part of a solution, used once: in a dive, whose rows have the
  /// right-hand sides that are left, one that cannot is taken out. By default when no entry alone
  /// exceeds its row, which is right where entries are not negative.
  virtual bool fits(const Subproblem &at, const Column &column,
                    const std::vector<Entry> &entries) const;
};

/// The values rounded, with their columns' entries in the rows of the root; nothing when one is
/// farther than `tolerance` from an integer.
QUARN_CPP_PUBLIC std::optional<Solution> rounded_solution(const Relaxation &relaxation,
                                                          double tolerance = 1e-4);

}  // namespace branch_and_price
}  // namespace quarn

#endif

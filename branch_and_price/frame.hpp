/**
 * What the parts of a search share: the problem, the pool of columns, the incumbent, the clock, and
 * the arithmetic of bounds. All values here are those of a master that minimises.
 */
#ifndef BRANCH_AND_PRICE_FRAME_HPP
#define BRANCH_AND_PRICE_FRAME_HPP

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "branch_and_price/problem.hpp"
#include "branch_and_price/search.hpp"

namespace quarn {
namespace branch_and_price {

/// The bound of what has no solution.
constexpr double kNothing = std::numeric_limits<double>::infinity();

/// When a bound reaches a value.
struct Objective {
  double sign = 1.0;         ///< of the master: times a cost of the caller it is one to minimise
  double granularity = 0.0;  ///< 0: none
  double tolerance = 1e-6;   ///< relative to the larger of 1 and the value

  /// The least value of a solution that the bound allows.
  double rounded_up(double bound) const;
  double allowed(double value) const;
  /// The least bound at which a node cannot improve on `incumbent`.
  double enough(double incumbent) const;
  /// Whether no solution of a node with this bound is better than `incumbent`.
  bool reaches(double bound, double incumbent) const;
};

/// The columns, rows and decisions of a node.
struct NodeMaster {
  Master master;
  std::vector<Decision> decisions;
  std::vector<Row> rows;  ///< of each decision
  double noise;           ///< what rounding errors may have added to the master's bound

  Subproblem subproblem(bool dive) const { return {master, decisions, rows, dive}; }
};

struct Frame {
  using Clock = std::chrono::steady_clock;

  Frame(Problem &the_problem, const Master &root);

  double seconds() const;
  double time_left() const { return settings.time_limit - seconds(); }
  bool must_stop();

  /// The row that the solution violates and by how much, as a sentence; empty when there is none.
  std::string violation(const Solution &solution) const;
  double cost(const Solution &solution) const;
  /// Takes a solution that is better than the incumbent. Throws Mistake when it violates a row or
  /// is better than what the tree's bound allows.
  bool offer(const Solution &solution, const std::string &by);
  bool is_cut_off(double bound) const { return objective.reaches(bound, limit); }

  /// Applies decisions to a node's master, one after the other: forbidden columns go, a row comes.
  void decide(NodeMaster *at, const Branch &decisions) const;
  /// Puts the columns from index `first` on into the pool.
  void keep_columns(const Master &master, int32_t first);
  /// Entries in the rows of the root.
  std::vector<Entry> root_entries(const Master &master, const Column &column) const;
  /// Throws Mistake when a column's cost is no multiple of the granularity.
  void check_cost(double cost, const std::string &what) const;

  HeuristicReport &report(const std::string &name);

  Problem &problem;
  Master pool;
  std::vector<Row> root_rows;
  int32_t first_late_row = 0;     ///< rows of decisions count from here on
  int32_t first_late_column = 0;  ///< columns of the search
  Objective objective;
  Settings settings;
  Clock::time_point start = Clock::now();
  double seconds_before = 0.0;  ///< of earlier runs
  bool stopped = false;

  Solution incumbent;
  bool has_incumbent = false;
  double value = kNothing;  ///< of the incumbent
  double limit = kNothing;  ///< the lesser of it and the caller's cutoff

  double tree_bound = -kInfinity;  ///< kept by the tree
  int64_t iterations = 0;
  std::vector<Find> finds;
  std::vector<HeuristicReport> heuristics;
};

}  // namespace branch_and_price
}  // namespace quarn

#endif

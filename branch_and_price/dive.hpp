/**
 * Diving: the columns nearest to a whole number are fixed, the right-hand sides lowered by what
 * they take, columns that no longer fit go, and the rest is solved again with new columns, until
 * nothing is left. Source of the limited backtracking: R. Sadykov, F. Vanderbeck, A. Pessoa,
 * I. Tahiri, E. Uchoa, Primal heuristics for branch and price: the assets of diving methods,
 * INFORMS Journal on Computing 31 (2019).
 */
#ifndef BRANCH_AND_PRICE_DIVE_HPP
#define BRANCH_AND_PRICE_DIVE_HPP

#include <set>
#include <vector>

#include "branch_and_price/generation.hpp"

namespace quarn {
namespace branch_and_price {

class Dive {
 public:
  /// From a node whose restricted master was solved to `values`.
  Dive(Frame &frame, const NodeMaster &at, double bound);

  /// Dives and offers what it finds; ends when that is as good as the node's bound allows, when the
  /// discrepancies are used up, or at `time_limit` of the search.
  void run(const std::vector<ColumnValue> &values);

  int32_t found() const { return found_; }
  int32_t improved() const { return improved_; }
  double best() const { return best_; }

 private:
  /// What is fixed, and what is left.
  struct Partial {
    NodeMaster at;
    Solution fixed = {};
    double cost = 0.0;
    double bound = -kInfinity;
  };
  struct Choice {
    ColumnValue use;  ///< how often it is fixed
    double distance;  ///< from that
  };

  void explore(Partial partial, std::vector<ColumnValue> values, int32_t depth,
               int32_t discrepancies);
  bool solve(Partial *partial, std::vector<ColumnValue> *values);
  std::vector<Choice> choices(const Partial &partial, const std::vector<ColumnValue> &values,
                              const std::set<int32_t> &passed_over) const;
  double room(const Partial &partial, const Column &column) const;
  int32_t fix(Partial *partial, const std::vector<Choice> &choices) const;
  void fix_one(Partial *partial, const Choice &choice) const;
  void lower_sides(Master *master, const Entry &entry, double times) const;
  void remove_misfits(Partial *partial) const;
  bool try_solution(const Solution &solution);
  bool is_over(double bound);

  Frame &frame_;
  const NodeMaster &root_;
  double bound_;
  int32_t found_ = 0, improved_ = 0;
  double best_ = kNothing;
};

}  // namespace branch_and_price
}  // namespace quarn

#endif

/**
 * Random master problems whose columns are all written down, with an exact optimum and an exact
 * oracle, and the records made of them.
 */
#ifndef TESTS_CAMPAIGN_MASTERS_H
#define TESTS_CAMPAIGN_MASTERS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/records.h"

namespace campaign {

/// min c'x over the linking rows, the blocks' convexity rows, and x >= 0. No coefficient is
/// negative, and every column has one in a linking row unless it is idle.
struct Master {
  int32_t m = 1;                     ///< linking rows
  int32_t p = 0;                     ///< blocks, each with its convexity row
  std::vector<int16_t> types;        ///< [m+p+1]
  std::vector<double> rhs;           ///< [m+p+1]
  support::Columns columns;          ///< the cost, in row m+p+1, last
  std::vector<int32_t> block;        ///< of each column, from 0; p for none
  std::vector<double> units;         ///< [p+1] most units of a block in an optimal vertex
  std::vector<double> lower, upper;  ///< dual box; empty for the library's own
  bool box_binds = false;            ///< it may exclude every optimal dual

  double cost(size_t j) const { return columns[j].back().second; }
};

struct Optimum {
  bool feasible = false;
  double value = 0.0;
  std::vector<double> x, duals;
};

/// By a simplex method in full tableaus, fit for a few rows.
Optimum solve_exactly(const Master &master);

/// Packing, covering, equality or mixed rows, with or without blocks; feasible and bounded, its
/// optimal value well away from 0 since gaps are relative. The box is one of four kinds.
Master draw_master(support::Random &random, Optimum *optimum);

/// Demands that are met by plans of blocks: >= rows, convexity equations, in each block a column
/// that does nothing and costs nothing.
Master draw_decomposition(support::Random &random, Optimum *optimum);

/// The exact oracle: prices the duals over all columns, adds the best of those that the record has
/// not yet (tags are the indices of columns), and proves a lower bound.
class Pricer {
 public:
  /// `most` columns are added in one answer.
  Pricer(const Master &master, int32_t most);
  Pricer(const Pricer &) = delete;
  Pricer &operator=(const Pricer &) = delete;

  support::Oracle *oracle() { return &oracle_; }
  int16_t price(QUARN_env *env, double *lb_term);

  /// QUARN_solve_MP, or IQUARN_solve_MP with rounding. The record, or the one that it is a copy of,
  /// was made for this oracle.
  int32_t solve(QUARN_env *env, bool rounds = false);

  /// Called before each answer.
  std::function<void(const QUARN_env &)> watch;

 private:
  const Master &master_;
  int32_t most_;
  bool starts_warm_ = false;  ///< the next answer is to the duals that the record came with
  support::Oracle oracle_;
};

/// A record of the master, with a first column for each convexity equation. Its oracle is called
/// through support::call_oracle.
support::Environment make_record(const Master &master, support::Oracle *oracle, int16_t strategy,
                                 support::Random &random);

/// What is wrong with a record that QUARN_solve_MP left with this status; empty when nothing is.
/// `continued`: the run began with bounds.
std::string faults_of_run(const Master &master, const Optimum &optimum, QUARN_env *env,
                          int32_t status, bool continued = false);

/// By how much Ax misses the first `rows` rows, at most.
double violation(const Master &master, const std::vector<double> &x, int32_t rows);

}  // namespace campaign

#endif

/**
 * Generalized assignment, decomposed by agents.
 *
 * Every task j goes to one agent i, which costs c_ij and takes w_ij of the agent's capacity. A
 * column is a bundle p of tasks that one agent has the capacity for, c_p its cost, a_jp = 1 where
 * task j is in it. Master problem and duals:
 *
 *     min  sum_p c_p x_p
 *     s.t. sum_p a_jp x_p = 1           for every task j         (u_j, linking rows)
 *          sum_{p of i} x_p <= 1        for every agent i        (v_i <= 0, further rows)
 *          x >= 0
 *
 * The task rows become >= where no cost is negative: a task done twice may be taken out of one of
 * the bundles, which costs nothing, so u_j >= 0 without loss. Where tasks may stay out (multiple
 * knapsack, costs are negative profits) they are <=, and u_j <= 0.
 *
 * The reduced cost of a bundle of agent i is sum_j (c_ij - u_j) a_jp - v_i, so pricing is a
 * knapsack problem for each agent with profits u_j - c_ij. With z_i(u) >= 0 its optimum, (u, -z(u))
 * is a feasible dual solution, so
 *
 *     sum_j u_j - sum_i z_i(u)  <=  the master's value     for every u of the right signs.
 *
 * The bound holds at all duals, not only at the master's: the oracle answers with the best value
 * that it has seen at any (see bundle_search.h).
 */
#ifndef EXAMPLES_GENERALIZED_ASSIGNMENT_BUNDLE_ORACLE_H
#define EXAMPLES_GENERALIZED_ASSIGNMENT_BUNDLE_ORACLE_H

#include <cstdint>
#include <vector>

#include "examples/common/master_run.h"
#include "examples/common/options.h"
#include "examples/generalized_assignment/bundle_search.h"
#include "examples/generalized_assignment/instance.h"

namespace generalized_assignment {

/// How the master problem is solved.
struct MasterSettings : examples::Options {
  int32_t dual_vectors = 15;  ///< at which an answer looks for bundles
};

/// Half the width of the first box of the duals, which nearly always is wide enough.
double first_box(const Instance &instance);

/// The rows; a box column, which leaves a task undone, costs `box`.
examples::MasterRows make_rows(const Instance &instance, double box);

/// Duals for the first call: at the second lowest cost of a task one agent wants it, or few.
std::vector<double> first_duals(const Instance &instance);

/// Prices bundles; the tag of a column is its agent, from 0.
class BundleOracle : public examples::Oracle {
 public:
  /// `instance` has to outlive the oracle.
  BundleOracle(const Instance &instance, const MasterSettings &settings);

  /// To be called once, before the run: keeps all columns.
  void prepare(QUARN_env &env) const;

  examples::Answer price(QUARN_env &env) override;

 private:
  double worst_cost() const;

  const Instance &instance_;
  int32_t most_;
  BundleSearch search_;
};

}  // namespace generalized_assignment

#endif

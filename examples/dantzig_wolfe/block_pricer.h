#ifndef EXAMPLES_DANTZIG_WOLFE_BLOCK_PRICER_H
#define EXAMPLES_DANTZIG_WOLFE_BLOCK_PRICER_H

#include <cstdint>
#include <memory>
#include <vector>

#include "examples/dantzig_wolfe/blocks.h"

namespace dantzig_wolfe {

/// How far one call of a pricer may go.
struct PricingLimits {
  int32_t nodes = 20000;  ///< of a branch-and-bound search
  double seconds = 60.0;  ///< wall-clock of a branch-and-bound search
  int32_t points = 10;    ///< most that are answered
};

/// What a pricer found out about  min { cost'x : x in the block }.
struct BlockSolution {
  enum class Outcome { solved, unbounded, infeasible };
  Outcome outcome = Outcome::solved;
  /// No point of the block has a smaller value, also when a limit ended the search; -kInfinite when
  /// unbounded.
  double bound = -kInfinite;
  /// Points of the block, the best first. The first one is optimal unless a limit was met.
  std::vector<std::vector<double>> points;
  /// When unbounded: a direction of the block with a negative cost, its largest entry 1 or -1.
  std::vector<double> ray;
};

/**
 * Solves one block for one cost vector after the other. A pricer is used by one thread at a time,
 * distinct ones by distinct threads.
 */
class BlockPricer {
 public:
  virtual ~BlockPricer() = default;

  /// Minimises a cost, given by variable of the block. Throws std::runtime_error when the solver
  /// fails.
  virtual BlockSolution price(const std::vector<double> &cost) = 0;

  /// Other bounds of a variable from now on, for branching; within those it began with.
  virtual void set_bounds(int32_t variable, double lower, double upper) = 0;
};

/// By dynamic programming where the block is one knapsack row with few cells, by Clp where it has
/// no integer variable, otherwise by Cbc.
std::unique_ptr<BlockPricer> make_pricer(const Block &block, const PricingLimits &limits);

/// The three of them; the first is null for a block that is no knapsack, or none that pays.
std::unique_ptr<BlockPricer> make_knapsack_pricer(const Block &block, const PricingLimits &limits);
std::unique_ptr<BlockPricer> make_linear_pricer(const Block &block);
std::unique_ptr<BlockPricer> make_integer_pricer(const Block &block, const PricingLimits &limits);

}  // namespace dantzig_wolfe

#endif

#ifndef EXAMPLES_DANTZIG_WOLFE_BLOCK_PRICING_H
#define EXAMPLES_DANTZIG_WOLFE_BLOCK_PRICING_H

#include <block_pricing/block_pricer.hpp>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "examples/dantzig_wolfe/block_pricer.h"
#include "examples/dantzig_wolfe/reformulation.h"

namespace dantzig_wolfe {

/// Thrown where a block has no point: the program is infeasible.
class EmptyBlock : public std::runtime_error {
 public:
  EmptyBlock()
      : std::runtime_error("no point satisfies its rows and bounds, the program is infeasible") {}
};

/// The blocks of a reformulation, to be priced by any team. Each answers with its term n_k z_k(u)
/// of the bound (2), see Reformulation.
class BlockPricing : public quarn::BlockOracle {
 public:
  /// `reformulation` has to outlive the object.
  BlockPricing(const Reformulation &reformulation, const PricingLimits &limits);

  size_t blocks() const override { return pricers_.size(); }
  std::string name(size_t block) const override { return reformulation_.blocks()[block].name; }
  quarn::BlockAnswer price(size_t block, const quarn::BlockDuals &duals,
                           quarn::BlockColumns &columns) override;

  /// A block's solution at the cost that it has with u, by linking row. Throws EmptyBlock when
  /// it has no point.
  BlockSolution solve(size_t block, const std::vector<double> &u);

  /// The bound (2) of the program that minimises, from a round that all blocks have answered;
  /// -kInfinite when there is none. `duals` by index of the master's rows.
  double bound(const std::vector<double> &duals, const quarn::BlockRound &round) const;

  /// Narrower bounds from now on, for branching: of a block's variable, of the value of a column of
  /// variables outside; infinite ones change nothing.
  void tighten(size_t block, int32_t variable, double lower, double upper);
  void tighten_outside(size_t column, double lower, double upper);
  /// Undoes what has been tightened.
  void loosen();

  /// The same as an answer to the master, in its sense.
  quarn::Answer answer(const quarn::Duals &duals, const quarn::BlockRound &round) const;

 private:
  const Reformulation &reformulation_;
  std::vector<std::unique_ptr<BlockPricer>> pricers_;
  std::map<std::pair<size_t, int32_t>, Range> tightened_;  ///< by block and variable
  std::map<size_t, Range> outside_;                        ///< tightened, by column
};

}  // namespace dantzig_wolfe

#endif

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
  /// Of the block with this name, or one that the caller names.
  explicit EmptyBlock(const std::string &block = "")
      : std::runtime_error((block.empty() ? "" : block + ": ") +
                           "no point satisfies its rows and bounds, the program is infeasible") {}
};

/// The blocks of a reformulation, to be priced by any team. Each answers with its term n_k z_k(u)
/// of the bound (2), see Reformulation.
class BlockPricing : public quarn::BlockOracle {
 public:
  /// Limits with the share of each block in so many points a round, between 1 and `limits.points`:
  /// many blocks with many points each would make the restricted masters large, and few of the
  /// points are used.
  static PricingLimits for_all_blocks(PricingLimits limits, int32_t points, size_t blocks);

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

  /// What a node of a search has beside bounds.
  struct NodePrices {
    std::map<std::pair<size_t, int32_t>, double> costs;  ///< more, by block and variable
    std::vector<std::vector<PricedSet>> sets;            ///< [blocks]
    std::vector<char> closed;                            ///< [blocks] not priced, its term is 0
  };
  /// From now on. A block without a point then answers with nothing, see found_empty_block.
  void set_node(NodePrices prices);
  /// Whether one had no point since then.
  bool found_empty_block() const;

  /// The same as an answer to the master, in its sense.
  quarn::Answer answer(const quarn::Duals &duals, const quarn::BlockRound &round) const;

 private:
  BlockSolution minimise(size_t block, const std::vector<double> &u);
  double extra_cost(const MasterColumn &column) const;

  const Reformulation &reformulation_;
  std::vector<std::unique_ptr<BlockPricer>> pricers_;
  std::map<std::pair<size_t, int32_t>, Range> tightened_;  ///< by block and variable
  std::map<size_t, Range> outside_;                        ///< tightened, by column
  int32_t most_points_;
  bool in_node_ = false;
  NodePrices node_;
  std::vector<char> empty_;  ///< [blocks], each written by the thread that prices the block
};

}  // namespace dantzig_wolfe

#endif

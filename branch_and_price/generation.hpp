/// Column generation at one node, with its early stops.
#ifndef BRANCH_AND_PRICE_GENERATION_HPP
#define BRANCH_AND_PRICE_GENERATION_HPP

#include "branch_and_price/frame.hpp"

namespace quarn {
namespace branch_and_price {

/// How a column generation ended.
enum class End {
  finished,    ///< to the tolerance asked for
  cut_off,     ///< the bound reaches the incumbent
  settled,     ///< what is done next would not change
  infeasible,  ///< proved
  iterations,  ///< the limit of them
  interrupted,
  failed
};

struct GenerationOptions {
  double bound = -kInfinity;  ///< known before, the offset included
  double offset = 0.0;        ///< cost of what is fixed
  double tolerance = 1e-6;
  int32_t iterations = std::numeric_limits<int32_t>::max();
  bool dive = false;
  bool may_settle = true;
  bool rounding = false;
};

/// Values are those of a master that minimises, the offset included.
struct Generation {
  End end = End::failed;
  Result result;
  double bound = -kInfinity;
  double value = kNothing;
  bool early = false;  ///< ended before the gap was closed
};

/// Runs column generation for a node. Throws Mistake for columns that a decision forbids, or whose
/// cost has not the granularity.
Generation generate(Frame &frame, NodeMaster &at, const GenerationOptions &options);

}  // namespace branch_and_price
}  // namespace quarn

#endif

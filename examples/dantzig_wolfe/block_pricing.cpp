#include "examples/dantzig_wolfe/block_pricing.h"

#include <algorithm>

namespace dantzig_wolfe {

PricingLimits BlockPricing::for_all_blocks(PricingLimits limits, int32_t points, size_t blocks) {
  const auto share =
      static_cast<int32_t>(static_cast<size_t>(points) / std::max<size_t>(1, blocks));
  limits.points = std::clamp(share, 1, std::max(1, limits.points));
  return limits;
}

BlockPricing::BlockPricing(const Reformulation &reformulation, const PricingLimits &limits)
    : reformulation_(reformulation), most_points_(limits.points) {
  for (const Block &block : reformulation.blocks()) pricers_.push_back(make_pricer(block, limits));
}

BlockSolution BlockPricing::solve(size_t block, const std::vector<double> &u) {
  BlockSolution solution = minimise(block, u);
  if (solution.outcome != BlockSolution::Outcome::infeasible) return solution;
  throw EmptyBlock();
}

/// The costs of a node included.
BlockSolution BlockPricing::minimise(size_t block, const std::vector<double> &u) {
  const std::vector<BlockVariable> &variables = reformulation_.blocks()[block].variables;
  std::vector<double> cost;
  for (const BlockVariable &variable : variables) {
    double reduced = variable.cost;
    for (const Entry &entry : variable.linking) {
      reduced -= u[static_cast<size_t>(entry.index)] * entry.value;
    }
    cost.push_back(reduced);
  }
  if (!in_node_) return pricers_[block]->price(cost);
  for (const auto &[place, more] : node_.costs) {
    if (place.first == block) cost[static_cast<size_t>(place.second)] += more;
  }
  if (node_.sets[block].empty()) return pricers_[block]->price(cost);
  std::vector<Range> ranges;
  for (const BlockVariable &variable : variables)
    ranges.push_back({variable.lower, variable.upper});
  for (const auto &[place, range] : tightened_) {
    if (place.first == block) ranges[static_cast<size_t>(place.second)] = range;
  }
  return price_with_sets(*pricers_[block], ranges, cost, node_.sets[block], most_points_);
}

/// What a node adds to the reduced cost of a point.
double BlockPricing::extra_cost(const MasterColumn &column) const {
  double sum = 0.0;
  if (!in_node_) return sum;
  for (const auto &[place, more] : node_.costs) {
    if (place.first == column.owner) sum += more * value_of(column, place.second);
  }
  for (const PricedSet &set : node_.sets[column.owner]) {
    if (contains(set.set, column)) sum += set.cost;
  }
  return sum;
}

void BlockPricing::set_node(NodePrices prices) {
  in_node_ = true;
  node_ = std::move(prices);
  empty_.assign(blocks(), 0);
}

bool BlockPricing::found_empty_block() const {
  return std::find(empty_.begin(), empty_.end(), 1) != empty_.end();
}

/// Columns that do not improve the restricted master are left out, save before the first one, when
/// there is no dual of the convexity row.
quarn::BlockAnswer BlockPricing::price(size_t block, const quarn::BlockDuals &duals,
                                       quarn::BlockColumns &columns) {
  std::vector<double> u(reformulation_.rows().size());
  for (size_t i = 0; i < u.size(); ++i) u[i] = reformulation_.valid_dual(i, duals.values);
  if (in_node_ && node_.closed[block] != 0) return quarn::BlockAnswer::term(0.0);
  const BlockSolution solution = in_node_ ? minimise(block, u) : solve(block, u);
  if (solution.outcome == BlockSolution::Outcome::infeasible) {
    empty_[block] = 1;
    return quarn::BlockAnswer::nothing();
  }
  const auto offer = [&](const std::vector<double> &x, MasterColumn::Kind kind) {
    const MasterColumn column = block_column(block, x, kind);
    const Coefficients found = reformulation_.master_coefficients(column);
    double reduced = found.cost;
    std::vector<quarn::BlockEntry> entries;
    for (const Entry &entry : found.entries) {
      reduced -= duals.values[static_cast<size_t>(entry.index)] * entry.value;
      entries.push_back({entry.index, entry.value});
    }
    const bool improves = reformulation_.model().sign() * reduced + extra_cost(column) < 0.0;
    if (improves || duals.iteration == 0) columns.add(found.cost, entries, to_text(column));
  };
  if (!solution.ray.empty()) offer(solution.ray, MasterColumn::Kind::ray);
  for (const std::vector<double> &point : solution.points) offer(point, MasterColumn::Kind::point);
  if (solution.bound <= -kInfinite) return quarn::BlockAnswer::unbounded();
  return quarn::BlockAnswer::term(reformulation_.blocks()[block].times() * solution.bound);
}

void BlockPricing::tighten(size_t block, int32_t variable, double lower, double upper) {
  const BlockVariable &own =
      reformulation_.blocks()[block].variables[static_cast<size_t>(variable)];
  Range &range =
      tightened_.try_emplace({block, variable}, Range{own.lower, own.upper}).first->second;
  range = {std::max(range.lower, lower), std::min(range.upper, upper)};
  pricers_[block]->set_bounds(variable, range.lower, range.upper);
}

void BlockPricing::tighten_outside(size_t column, double lower, double upper) {
  const Range own = {0.0, reformulation_.outside()[column].upper};
  Range &range = outside_.try_emplace(column, own).first->second;
  range = {std::max(range.lower, lower), std::min(range.upper, upper)};
}

void BlockPricing::loosen() {
  for (const auto &[place, range] : tightened_) {
    const auto &[block, variable] = place;
    const BlockVariable &own =
        reformulation_.blocks()[block].variables[static_cast<size_t>(variable)];
    pricers_[block]->set_bounds(variable, own.lower, own.upper);
  }
  tightened_.clear();
  outside_.clear();
}

double BlockPricing::bound(const std::vector<double> &duals, const quarn::BlockRound &round) const {
  double value = reformulation_.outside_bound(duals, outside_);
  for (const quarn::BlockAnswer &answer : round.answers) value += answer.value;
  return value;
}

quarn::Answer BlockPricing::answer(const quarn::Duals &duals,
                                   const quarn::BlockRound &round) const {
  const double value = bound(duals.values(), round);
  if (value <= -kInfinite) return quarn::Answer::heuristic();
  return quarn::Answer::bound(reformulation_.model().sign() * value);
}

}  // namespace dantzig_wolfe

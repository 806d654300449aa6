#include "examples/dantzig_wolfe/block_pricing.h"

#include <algorithm>

namespace dantzig_wolfe {

BlockPricing::BlockPricing(const Reformulation &reformulation, const PricingLimits &limits)
    : reformulation_(reformulation) {
  for (const Block &block : reformulation.blocks()) pricers_.push_back(make_pricer(block, limits));
}

BlockSolution BlockPricing::solve(size_t block, const std::vector<double> &u) {
  std::vector<double> cost;
  for (const BlockVariable &variable : reformulation_.blocks()[block].variables) {
    double reduced = variable.cost;
    for (const Entry &entry : variable.linking) {
      reduced -= u[static_cast<size_t>(entry.index)] * entry.value;
    }
    cost.push_back(reduced);
  }
  BlockSolution solution = pricers_[block]->price(cost);
  if (solution.outcome != BlockSolution::Outcome::infeasible) return solution;
  throw EmptyBlock();
}

/// Columns that do not improve the restricted master are left out, save before the first one, when
/// there is no dual of the convexity row.
quarn::BlockAnswer BlockPricing::price(size_t block, const quarn::BlockDuals &duals,
                                       quarn::BlockColumns &columns) {
  std::vector<double> u(reformulation_.rows().size());
  for (size_t i = 0; i < u.size(); ++i) u[i] = reformulation_.valid_dual(i, duals.values);
  const BlockSolution solution = solve(block, u);
  const auto offer = [&](const std::vector<double> &x, MasterColumn::Kind kind) {
    const MasterColumn column = block_column(block, x, kind);
    const Coefficients found = reformulation_.master_coefficients(column);
    double reduced = found.cost;
    std::vector<quarn::BlockEntry> entries;
    for (const Entry &entry : found.entries) {
      reduced -= duals.values[static_cast<size_t>(entry.index)] * entry.value;
      entries.push_back({entry.index, entry.value});
    }
    const bool improves = reformulation_.model().sign() * reduced < 0.0;
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

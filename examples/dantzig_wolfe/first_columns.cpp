#include "examples/dantzig_wolfe/first_columns.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace dantzig_wolfe {

namespace {

/// What the rows still ask for.
class Rest {
 public:
  explicit Rest(const Reformulation &reformulation) {
    for (const LinkingRow &row : reformulation.rows()) rows_.push_back({row.lower, row.upper});
  }

  /// 1 where a row lacks something, -1 where it is full, else 0.
  double direction(size_t i) const {
    constexpr double kMet = 1e-9;
    if (rows_[i].lower > kMet) return 1.0;
    return rows_[i].upper < kMet ? -1.0 : 0.0;
  }

  /// How often the entries fit before a side is reached, from 1 to `most`.
  double times(const std::vector<Entry> &entries, double most) const {
    for (const Entry &entry : entries) {
      const Sides &row = rows_[static_cast<size_t>(entry.index)];
      for (const double side : {row.lower, row.upper}) {
        const double ratio = side / entry.value;
        if (ratio > 0.0) most = std::min(most, std::floor(ratio + 1e-9));
      }
    }
    return std::max(most, 1.0);
  }

  void take(const std::vector<Entry> &entries, double times) {
    for (const Entry &entry : entries) {
      rows_[static_cast<size_t>(entry.index)].lower -= entry.value * times;
      rows_[static_cast<size_t>(entry.index)].upper -= entry.value * times;
    }
  }

 private:
  struct Sides {
    double lower, upper;
  };
  std::vector<Sides> rows_;
};

}  // namespace

/// A block's solution; mistakes with its name, as in a round.
static BlockSolution solve(BlockPricing &pricing, size_t block, const std::vector<double> &u) {
  try {
    return pricing.solve(block, u);
  } catch (const EmptyBlock &) {
    throw EmptyBlock(pricing.name(block));
  } catch (const std::runtime_error &error) {
    throw quarn::BlockError(block, pricing.name(block) + ": " + error.what());
  }
}

std::vector<MasterColumn> first_columns(const Reformulation &reformulation, BlockPricing &pricing,
                                        std::vector<double> u, double push) {
  constexpr size_t kMostOfABlock = 100;  // different points, of many equal blocks
  Rest rest(reformulation);
  std::vector<MasterColumn> columns;
  for (size_t k = 0; k < reformulation.blocks().size(); ++k) {
    const Block &block = reformulation.blocks()[k];
    double left = block.times();
    for (size_t count = 0; left > 0.0 && count < kMostOfABlock; ++count) {
      std::vector<double> prices = u;
      for (size_t i = 0; i < prices.size(); ++i) prices[i] += push * rest.direction(i);
      const BlockSolution solution = solve(pricing, k, prices);
      if (solution.points.empty()) break;
      columns.push_back(block_column(k, solution.points[0], MasterColumn::Kind::point));
      const std::vector<Entry> entries = coefficients(block, columns.back()).entries;
      const double times = rest.times(entries, left);
      rest.take(entries, times);
      left -= times;
    }
  }
  return columns;
}

}  // namespace dantzig_wolfe

/**
 * Blocks of a single row with whole coefficients over bounded integer variables.
 *
 * With x_j = l_j + t_j where a_j > 0 and x_j = u_j - t_j where a_j < 0 the row becomes
 *
 *     L <= sum_j w_j t_j <= C,   0 <= t_j <= b_j,   w_j = |a_j| > 0. (1)
 *
 * Each t_j is split into parts of 1, 2, 4, ... copies and a remainder, each taken once or not. With
 * f_k(w) the least cost of the first k parts with the weight w exactly, infinite when there is
 * none,
 *
 *     f_k(w) = min { f_{k-1}(w),  f_{k-1}(w - weight_k) + cost_k }, (2)
 *
 * and the optimum is the least f(w) over L <= w <= C; other points are those of other weights.
 * Source: R. Bellman, Notes on the theory of dynamic programming IV: maximization over discrete
 * sets, Naval Research Logistics Quarterly 3 (1956).
 */
#include <algorithm>
#include <cmath>
#include <numeric>

#include "examples/dantzig_wolfe/block_pricer.h"

namespace dantzig_wolfe {

// Parts times weights: some 50 ms and 20 MB, where a search by branch and bound takes about as
// long.
constexpr double kMostCells = 2e7;
constexpr double kMostDecimals = 1e6;  // coefficients with up to six decimals are made whole

namespace {

/// The row in whole numbers.
struct WholeRow {
  std::vector<int64_t> coefficients;
  double lower, upper;
};

class KnapsackPricer : public BlockPricer {
 public:
  KnapsackPricer(const Block &block, WholeRow row, const PricingLimits &limits)
      : row_(std::move(row)), most_points_(static_cast<size_t>(limits.points)) {
    for (const BlockVariable &variable : block.variables) {
      lower_.push_back(variable.lower);
      upper_.push_back(variable.upper);
    }
  }

  BlockSolution price(const std::vector<double> &cost) override;

  void set_bounds(int32_t variable, double lower, double upper) override {
    lower_[static_cast<size_t>(variable)] = lower;
    upper_[static_cast<size_t>(variable)] = upper;
  }

  /// Parts times weights, infinite when (1) has no t = 0 or no end.
  double cells();

 private:
  struct Part {
    size_t variable;
    int64_t copies, weight;
    double cost;
  };

  bool normalise(const std::vector<double> &cost);
  void split(size_t j, double cost);
  void fill();
  std::vector<double> trace_back(size_t weight) const;

  const WholeRow row_;
  const size_t most_points_;
  std::vector<double> lower_, upper_;

  std::vector<double> base_;  ///< x where all t are 0
  double base_cost_ = 0.0;
  int64_t least_ = 0, most_ = 0;  ///< L and C
  std::vector<Part> parts_;
  std::vector<double> value_;         ///< f
  std::vector<unsigned char> taken_;  ///< for each part and weight, whether (2) takes it
};

}  // namespace

/// Makes (1); false when no x is within the bounds.
bool KnapsackPricer::normalise(const std::vector<double> &cost) {
  base_.clear();
  base_cost_ = 0.0;
  parts_.clear();
  double used = 0.0;
  for (size_t j = 0; j < lower_.size(); ++j) {
    if (lower_[j] > upper_[j]) return false;
    base_.push_back(row_.coefficients[j] > 0 ? lower_[j] : upper_[j]);
    base_cost_ += cost[j] * base_[j];
    used += static_cast<double>(row_.coefficients[j]) * base_[j];
  }
  double all = 0.0;
  for (size_t j = 0; j < lower_.size(); ++j) {
    all += std::fabs(static_cast<double>(row_.coefficients[j])) * (upper_[j] - lower_[j]);
  }
  if (row_.upper < used || used + all < row_.lower) return false;
  most_ = static_cast<int64_t>(std::min(row_.upper - used, all));
  least_ = static_cast<int64_t>(std::max(row_.lower - used, 0.0));
  for (size_t j = 0; j < lower_.size(); ++j) split(j, cost[j]);
  return true;
}

void KnapsackPricer::split(size_t j, double cost) {
  const int64_t weight = std::abs(row_.coefficients[j]);
  const double unit_cost = row_.coefficients[j] > 0 ? cost : -cost;
  if (unit_cost >= 0.0 && least_ == 0) return;  // nothing asks for it
  const auto fits = static_cast<double>(most_ / weight);
  auto left = static_cast<int64_t>(std::min(upper_[j] - lower_[j], fits));
  for (int64_t copies = 1; left > 0; copies *= 2) {
    const int64_t part = std::min(copies, left);
    parts_.push_back({j, part, part * weight, unit_cost * static_cast<double>(part)});
    left -= part;
  }
}

double KnapsackPricer::cells() {
  // A cost at which every part is worth something.
  std::vector<double> cost;
  for (const int64_t coefficient : row_.coefficients) cost.push_back(coefficient > 0 ? -1.0 : 1.0);
  bool bounded = true;  // x at t = 0, and the room for t
  for (size_t j = 0; j < lower_.size(); ++j) {
    const bool rises = row_.coefficients[j] > 0;
    bounded = bounded && std::isfinite(rises ? lower_[j] : upper_[j]) &&
              (row_.upper < kInfinite || std::isfinite(rises ? upper_[j] : lower_[j]));
  }
  if (!bounded) return kInfinite;
  if (!normalise(cost)) return 0.0;
  return static_cast<double>(parts_.size()) * static_cast<double>(most_ + 1);
}

void KnapsackPricer::fill() {
  const auto weights = static_cast<size_t>(most_) + 1;
  value_.assign(weights, kInfinite);
  value_[0] = base_cost_;
  taken_.assign(parts_.size() * weights, 0);
  size_t reached = 0;  // no larger weight has been
  for (size_t k = 0; k < parts_.size(); ++k) {
    const auto weight = static_cast<size_t>(parts_[k].weight);
    unsigned char *const taken = &taken_[k * weights];
    reached = std::min(reached + weight, weights - 1);
    for (size_t w = reached; w >= weight; --w) {
      const double with = value_[w - weight] + parts_[k].cost;
      taken[w] = with < value_[w] ? 1 : 0;
      value_[w] = std::min(value_[w], with);
    }
  }
}

std::vector<double> KnapsackPricer::trace_back(size_t weight) const {
  const auto weights = static_cast<size_t>(most_) + 1;
  std::vector<double> x = base_;
  for (size_t k = parts_.size(); k-- > 0;) {
    if (taken_[k * weights + weight] == 0) continue;
    const Part &part = parts_[k];
    const auto copies = static_cast<double>(part.copies);
    x[part.variable] += row_.coefficients[part.variable] > 0 ? copies : -copies;
    weight -= static_cast<size_t>(part.weight);
  }
  return x;
}

BlockSolution KnapsackPricer::price(const std::vector<double> &cost) {
  BlockSolution solution;
  solution.outcome = BlockSolution::Outcome::infeasible;
  if (!normalise(cost)) return solution;
  fill();
  std::vector<size_t> ends;
  for (auto w = static_cast<size_t>(least_); w < value_.size(); ++w) {
    if (value_[w] < kInfinite) ends.push_back(w);
  }
  if (ends.empty()) return solution;
  const size_t count = std::min(most_points_, ends.size());
  std::partial_sort(ends.begin(), ends.begin() + static_cast<std::ptrdiff_t>(count), ends.end(),
                    [this](size_t a, size_t b) {
                      return value_[a] < value_[b] || (value_[a] == value_[b] && a < b);
                    });
  solution.outcome = BlockSolution::Outcome::solved;
  solution.bound = value_[ends[0]];
  for (size_t k = 0; k < count; ++k) solution.points.push_back(trace_back(ends[k]));
  return solution;
}

static bool is_whole(double value) {
  return std::fabs(value - std::round(value)) <= 1e-9 * std::max(1.0, std::fabs(value));
}

/// The row times the least power of ten that makes its coefficients whole, over their greatest
/// common divisor; empty when there is none.
static WholeRow whole_row(const BlockRow &row, size_t variables) {
  WholeRow whole = {};
  for (double factor = 1.0; factor <= kMostDecimals; factor *= 10.0) {
    const bool fits = std::all_of(row.entries.begin(), row.entries.end(), [&](const Entry &entry) {
      return is_whole(entry.value * factor) && std::fabs(entry.value * factor) < 1e12;
    });
    if (!fits) continue;
    int64_t divisor = 0;
    whole.coefficients.assign(variables, 0);
    for (const Entry &entry : row.entries) {
      const int64_t value = std::llround(entry.value * factor);
      whole.coefficients[static_cast<size_t>(entry.index)] = value;
      divisor = std::gcd(divisor, value);
    }
    for (int64_t &value : whole.coefficients) value /= divisor;
    const double side = factor / static_cast<double>(divisor);
    whole.lower = std::ceil(row.lower * side - 1e-9 * std::max(1.0, std::fabs(row.lower * side)));
    whole.upper = std::floor(row.upper * side + 1e-9 * std::max(1.0, std::fabs(row.upper * side)));
    return whole;
  }
  return whole;
}

std::unique_ptr<BlockPricer> make_knapsack_pricer(const Block &block, const PricingLimits &limits) {
  const bool integer = std::all_of(block.variables.begin(), block.variables.end(),
                                   [](const BlockVariable &variable) { return variable.integer; });
  if (!integer || block.rows.size() != 1) return nullptr;
  WholeRow row = whole_row(block.rows[0], block.variables.size());
  if (row.coefficients.empty()) return nullptr;
  auto pricer = std::make_unique<KnapsackPricer>(block, std::move(row), limits);
  if (pricer->cells() > kMostCells) return nullptr;
  return pricer;
}

}  // namespace dantzig_wolfe

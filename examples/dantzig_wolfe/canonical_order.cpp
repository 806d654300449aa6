#include "examples/dantzig_wolfe/canonical_order.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>
#include <vector>

namespace dantzig_wolfe {

static size_t at(int32_t index) { return static_cast<size_t>(index); }

/// A number that hardly two pairs share. Source of the constants: splitmix64 of G. L. Steele,
/// D. Lea, C. H. Flood, Fast splittable pseudorandom number generators, OOPSLA 2014.
static uint64_t mix(uint64_t a, uint64_t b) {
  uint64_t z = a * 0x9e3779b97f4a7c15u + b + 0x9e3779b97f4a7c15u;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

static uint64_t bits(double value) {
  if (value == 0.0) value = 0.0;  // minus zero
  uint64_t result = 0;
  std::memcpy(&result, &value, sizeof result);
  return result;
}

namespace {

class Colours {
 public:
  explicit Colours(const Block &block) : block_(block), columns_(block.variables.size()) {
    for (const BlockVariable &variable : block.variables) {
      uint64_t colour = mix(bits(variable.cost), variable.integer ? 1 : 0);
      colour = mix(mix(colour, bits(variable.lower)), bits(variable.upper));
      for (const Entry &entry : variable.linking) {
        colour = mix(mix(colour, static_cast<uint64_t>(entry.index)), bits(entry.value));
      }
      variables_.push_back(colour);
    }
    for (size_t i = 0; i < block.rows.size(); ++i) {
      rows_.push_back(mix(bits(block.rows[i].lower), bits(block.rows[i].upper)));
      for (const Entry &entry : block.rows[i].entries) {
        columns_[at(entry.index)].push_back({static_cast<int32_t>(i), entry.value});
      }
    }
  }

  /// Until the number of colours does not grow any more.
  void refine() {
    size_t before = 0;
    for (size_t now = number(); now > before; now = number()) {
      before = now;
      for (size_t i = 0; i < rows_.size(); ++i) {
        rows_[i] = mix(rows_[i], neighbours(block_.rows[i].entries, variables_));
      }
      for (size_t j = 0; j < variables_.size(); ++j) {
        variables_[j] = mix(variables_[j], neighbours(columns_[j], rows_));
      }
    }
  }

  /// Gives one of the variables that look alike a colour of its own; false when there are none.
  bool tell_one_apart() {
    std::vector<int32_t> order = variable_order();
    for (size_t k = 1; k < order.size(); ++k) {
      uint64_t &colour = variables_[at(order[k])];
      if (colour != variables_[at(order[k - 1])]) continue;
      colour = mix(colour, 1);
      return true;
    }
    return false;
  }

  std::vector<int32_t> variable_order() const { return order_of(variables_); }
  std::vector<int32_t> row_order() const { return order_of(rows_); }

  /// The same for blocks that are equal up to the order.
  uint64_t sum() const {
    return std::accumulate(variables_.begin(), variables_.end(), uint64_t{rows_.size()});
  }

 private:
  static uint64_t neighbours(const std::vector<Entry> &entries,
                             const std::vector<uint64_t> &colours) {
    uint64_t sum = 0;
    for (const Entry &entry : entries) sum += mix(bits(entry.value), colours[at(entry.index)]);
    return sum;
  }

  static std::vector<int32_t> order_of(const std::vector<uint64_t> &colours) {
    std::vector<int32_t> order(colours.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](int32_t a, int32_t b) { return colours[at(a)] < colours[at(b)]; });
    return order;
  }

  size_t number() const {
    std::vector<uint64_t> colours = variables_;
    std::sort(colours.begin(), colours.end());
    return static_cast<size_t>(std::unique(colours.begin(), colours.end()) - colours.begin());
  }

  const Block &block_;
  std::vector<std::vector<Entry>> columns_;
  std::vector<uint64_t> variables_, rows_;
};

}  // namespace

static void reorder(Block &block, const std::vector<int32_t> &variables,
                    const std::vector<int32_t> &rows) {
  std::vector<int32_t> place(variables.size());
  std::vector<int32_t> copy;
  std::vector<BlockVariable> in_order;
  for (size_t k = 0; k < variables.size(); ++k) {
    place[at(variables[k])] = static_cast<int32_t>(k);
    copy.push_back(block.copies[0][at(variables[k])]);
    in_order.push_back(std::move(block.variables[at(variables[k])]));
  }
  block.copies[0] = std::move(copy);
  block.variables = std::move(in_order);
  std::vector<BlockRow> rows_in_order;
  for (const int32_t i : rows) {
    BlockRow &row = rows_in_order.emplace_back(std::move(block.rows[at(i)]));
    for (Entry &entry : row.entries) entry.index = place[at(entry.index)];
    std::sort(row.entries.begin(), row.entries.end(),
              [](const Entry &a, const Entry &b) { return a.index < b.index; });
  }
  block.rows = std::move(rows_in_order);
}

uint64_t put_in_canonical_order(Block &block) {
  constexpr int kMostTellings = 200;  // each takes as long as the refinement itself
  Colours colours(block);
  colours.refine();
  const uint64_t key = colours.sum();
  for (int k = 0; k < kMostTellings && colours.tell_one_apart(); ++k) colours.refine();
  reorder(block, colours.variable_order(), colours.row_order());
  return key;
}

}  // namespace dantzig_wolfe

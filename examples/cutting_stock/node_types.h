// What decisions on pairs of types make of an instance; equations (5) to (7) of README.md.
#ifndef EXAMPLES_CUTTING_STOCK_NODE_TYPES_H
#define EXAMPLES_CUTTING_STOCK_NODE_TYPES_H

#include <cstdint>
#include <vector>

#include "branch_and_price/branch_and_price.hpp"
#include "examples/cutting_stock/conflict_knapsack.h"
#include "examples/cutting_stock/instance.h"

namespace cutting_stock {

/// Numbers of both: the two types, how many joined types contain free pieces of the first and
/// these, the same of the second.
constexpr const char *kJoin = "join";  ///< a roll holds the two: a joined type, with a row
constexpr const char *kPart = "part";  ///< no roll holds both

/**
 * The types of a node: those of the instance, and behind them one for each pair joined on the way,
 * in that order; type t is served by row t of the node's master. A joined type stands for one
 * designated piece of each of its two; all other pieces of these are free.
 */
class NodeTypes {
 public:
  NodeTypes(const Instance &instance, const std::vector<quarn::branch_and_price::Decision> &path);

  size_t size() const { return types_.size(); }
  int64_t length(size_t t) const { return types_[t].size; }
  bool has_decisions() const { return has_decisions_; }

  /// Free pieces of each type, given those of each type with the ones in joined types.
  std::vector<int64_t> free_pieces(std::vector<int64_t> pieces) const;
  /// The other way round.
  std::vector<int64_t> all_pieces(std::vector<int64_t> free) const;

  /// Items to pack: size, value at the prices of the rows, free pieces that are left, conflicts.
  std::vector<ConflictItem> items(const std::vector<double> &prices,
                                  const std::vector<int64_t> &left) const;

  /// The decisions {join}, {part} on free pieces of two types.
  quarn::branch_and_price::Branching branching(size_t a, size_t b) const;

 private:
  struct Type {
    int64_t size;
    std::vector<size_t> parts = {};   ///< two for a joined type, else none
    std::vector<size_t> joined = {};  ///< joined types that contain it, twice when both parts are
    std::vector<size_t> conflicts = {};
  };

  void join(size_t a, size_t b);
  void part(size_t a, size_t b);
  static bool contains(const std::vector<size_t> &list, size_t t);

  std::vector<Type> types_;
  bool has_decisions_;
};

/// Free pieces of the two types of a decision when it was made, in a column with these entries.
struct PairCount {
  double first, second;
  bool same;  ///< one type, twice

  bool holds_pair() const { return same ? first > 1.5 : first > 0.5 && second > 0.5; }
};
PairCount pair_count(const quarn::branch_and_price::Decision &decision,
                     const std::vector<quarn::Entry> &entries);

}  // namespace cutting_stock

#endif

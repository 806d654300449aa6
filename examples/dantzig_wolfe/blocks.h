#ifndef EXAMPLES_DANTZIG_WOLFE_BLOCKS_H
#define EXAMPLES_DANTZIG_WOLFE_BLOCKS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "examples/dantzig_wolfe/decomposition.h"
#include "examples/dantzig_wolfe/model.h"

namespace dantzig_wolfe {

/// A variable of a block.
struct BlockVariable {
  double cost;  ///< of a program that minimises: the file's, negated where that maximises
  double lower, upper;
  bool integer;
  std::vector<Entry> linking;  ///< in linking rows, by their position in Decomposition::linking
};

/// A row of a block:  lower <= sum of entries <= upper,  over the block's own variables.
struct BlockRow {
  double lower, upper;
  std::vector<Entry> entries;  ///< by increasing index
};

/// One block, or several that are equal up to the order of variables and rows.
struct Block {
  std::string name;  ///< of the first, for messages: its number, from 1, and its first row
  std::vector<BlockVariable> variables;
  std::vector<BlockRow> rows;
  /// For each of the equal blocks: the variable of the file that each variable stands for.
  std::vector<std::vector<int32_t>> copies;

  double times() const { return static_cast<double>(copies.size()); }
};

/// Two blocks with the same variables and rows in the same order.
bool same_program(const Block &a, const Block &b);

/// The blocks of a decomposition. Equal ones become one with several copies when `merge` is set, at
/// the place of the first.
std::vector<Block> make_blocks(const Model &model, const Decomposition &decomposition, bool merge);

/// The variables that stand in no row of a block.
std::vector<int32_t> free_of_blocks(const Model &model, const std::vector<Block> &blocks);

}  // namespace dantzig_wolfe

#endif

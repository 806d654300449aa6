#ifndef EXAMPLES_DANTZIG_WOLFE_MASTER_COLUMN_H
#define EXAMPLES_DANTZIG_WOLFE_MASTER_COLUMN_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "examples/dantzig_wolfe/blocks.h"

namespace dantzig_wolfe {

/// What a column of the master is: a point or a ray of a block, or a variable outside of them.
struct MasterColumn {
  enum class Kind : char { point = 'p', ray = 'r', outside = 'o' };
  Kind kind = Kind::point;
  /// Of the block, from 0; of an outside variable its place in Reformulation::outside().
  size_t owner = 0;
  /// The block's variables that are not 0.
  std::vector<Entry> values;
};

/// The point or ray x of a block, without its zeros.
MasterColumn block_column(size_t block, const std::vector<double> &x, MasterColumn::Kind kind);

/// Text that a column carries in the master, in messages to it and in saved masters, and back.
/// Numbers come back exactly.
std::string to_text(const MasterColumn &column);
MasterColumn from_text(const std::string &text);

/// Cost and entries of a block's column, of the program that minimises; entries in linking rows, by
/// position in Decomposition::linking.
struct Coefficients {
  double cost = 0.0;
  std::vector<Entry> entries;
};
Coefficients coefficients(const Block &block, const MasterColumn &column);

}  // namespace dantzig_wolfe

#endif

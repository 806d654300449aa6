#ifndef EXAMPLES_CUTTING_STOCK_INSTANCE_H
#define EXAMPLES_CUTTING_STOCK_INSTANCE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace cutting_stock {

/// `demand` pieces of length `size` are wanted.
struct ItemType {
  int64_t size;    ///< from 1 to the roll's length
  int64_t demand;  ///< 1 or more
};

/// A cutting stock problem: rolls of one length, from which pieces of several lengths are cut.
struct Instance {
  int64_t length = 0;
  std::vector<ItemType> types;  ///< sizes decreasing

  int32_t size() const { return static_cast<int32_t>(types.size()); }
  /// Most pieces of type i in one roll: what fits, and no more than what is wanted.
  int64_t most_copies(int32_t i) const;
  /// Pieces wanted altogether.
  int64_t pieces() const;
};

/// `copies` pieces of type `type`, counted from 0.
struct Piece {
  int32_t type;
  int64_t copies;
};

/// The pieces cut from one roll, types in increasing order.
using Pattern = std::vector<Piece>;

/// A pattern that is cut `rolls` times.
struct Cut {
  Pattern pattern;
  int64_t rolls;
};

/// Reads a file: the number of types, the length, then `size demand` for each type, a line each,
/// sizes strictly decreasing.
/// Anything else becomes an examples::InputError with file and line.
Instance read_instance(const std::string &path);

/// The same problem with a type for every piece: `demand` neighbours of equal size and demand 1.
Instance piece_by_piece(const Instance &instance);

/// As many as there are different sizes.
constexpr int32_t kMostGeneratedTypes = 6901;

/// Writes that format.
void write_instance(const Instance &instance, FILE *stream);

/// The random instance `m<types>_s<seed>`: length 10000, different sizes from 100 to 7000, demands
/// from 1 to 100, drawn type by type and then sorted; at most kMostGeneratedTypes types.
Instance generate_instance(int32_t types, int64_t seed);

}  // namespace cutting_stock

#endif

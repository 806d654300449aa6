#ifndef QUARN_CPP_DUPLICATE_TABLE_HPP
#define QUARN_CPP_DUPLICATE_TABLE_HPP

#include <cstdint>
#include <cstring>
#include <vector>

namespace quarn {
inline namespace v1 {
namespace detail {

/// Spreads the bits of a word: the finaliser of splitmix64 (G. L. Steele, D. Lea, C. H. Flood,
/// OOPSLA 2014).
inline uint64_t mixed(uint64_t word) {
  word = (word ^ (word >> 30)) * 0xbf58476d1ce4e5b9ULL;
  word = (word ^ (word >> 27)) * 0x94d049bb133111ebULL;
  return word ^ (word >> 31);
}

inline uint64_t bits(double value) {
  const double unsigned_zero = value == 0.0 ? 0.0 : value;
  uint64_t word = 0;
  std::memcpy(&word, &unsigned_zero, sizeof word);
  return word;
}

/// Hash of an entry. That of a column is the sum over its entries and the hash of its cost as that
/// of row -1, so the order of the entries does not count.
inline uint64_t entry_hash(int32_t row, double value) {
  return mixed(bits(value) + mixed(0x9e3779b97f4a7c15ULL * (static_cast<uint64_t>(row) + 2)));
}

/// Columns by hash, in one flat array: open addressing, nothing is ever taken out.
class DuplicateTable {
 public:
  /// The first column with this hash for which `equal` holds, -1 when there is none.
  template <typename Equal>
  int32_t find(uint64_t hash, const Equal &equal) const {
    if (cells_.empty()) return -1;
    for (size_t at = hash & mask(); cells_[at].column >= 0; at = (at + 1) & mask()) {
      if (cells_[at].hash == hash && equal(cells_[at].column)) return cells_[at].column;
    }
    return -1;
  }

  /// Makes room for that many more.
  void expect(size_t count) {
    if (2 * (used_ + count) > cells_.size()) grow(2 * (used_ + count));
  }

  void insert(uint64_t hash, int32_t column) {
    if (2 * (used_ + 1) > cells_.size()) grow(2 * (used_ + 1));
    place({hash, column});
    ++used_;
  }

  void clear() {
    cells_.clear();
    used_ = 0;
  }

 private:
  struct Cell {
    uint64_t hash = 0;
    int32_t column = -1;
  };

  size_t mask() const { return cells_.size() - 1; }

  void place(Cell cell) {
    size_t at = cell.hash & mask();
    while (cells_[at].column >= 0) at = (at + 1) & mask();
    cells_[at] = cell;
  }

  void grow(size_t least) {
    size_t size = 64;
    while (size < least) size *= 2;
    std::vector<Cell> old(size);
    old.swap(cells_);
    for (const Cell &cell : old) {
      if (cell.column >= 0) place(cell);
    }
  }

  std::vector<Cell> cells_;
  size_t used_ = 0;
};

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

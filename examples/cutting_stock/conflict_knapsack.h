#ifndef EXAMPLES_CUTTING_STOCK_CONFLICT_KNAPSACK_H
#define EXAMPLES_CUTTING_STOCK_CONFLICT_KNAPSACK_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace cutting_stock {

/// Up to `limit` copies of a type; no packing holds the type together with one of `conflicts`, and
/// with itself among them no two copies.
struct ConflictItem {
  int64_t size;
  double value;
  int64_t limit;
  std::vector<size_t> conflicts;
};

/// A packing: items by their position, and copies of each.
struct ConflictPacking {
  double value = 0.0;
  std::vector<std::pair<size_t, int64_t>> items;  ///< empty when none is good enough
};

/**
 * The bounded knapsack with conflicts between types,
 *
 *     max  sum_t v_t a_t   subject to  sum_t s_t a_t <= C,  0 <= a_t <= limit_t,
 *                                      a_t = 0 or a_r = 0 for every conflict {t, r}.
 *
 * A depth-first search takes types in the order of decreasing size. Without conflicts the rest is
 * worth at most
 *
 *     V_t(c) = largest value that types t, t+1, ... reach in length c,
 *
 * by dynamic programming once for all searches; with few conflicts that is nearly sharp. Cells of
 * the table stand for 2^h units of length where C is large, lengths rounded down.
 */
class ConflictKnapsack {
 public:
  ConflictKnapsack(int64_t capacity, std::vector<ConflictItem> items);

  /// The best packing among those worth more than `more_than`; a search is content with the share
  /// `slack` of the excess less. Afterwards bound() is valid.
  ConflictPacking best(double more_than, double slack = 0.0);
  /// The same among packings that hold `item`.
  ConflictPacking best_with(size_t item, double more_than, double slack);

  /// No packing is worth more, as proved by best().
  double bound() const { return bound_; }

 private:
  void make_tables();
  double rest(size_t t, int64_t room) const {
    return tables_[t][static_cast<size_t>(room >> shift_)];
  }
  void search(size_t t, int64_t room, double value);
  bool can_take(size_t t, int64_t room) const;
  void take(size_t t);
  void put_back(size_t t);
  void keep_if_best(double value);

  int64_t capacity_;
  std::vector<ConflictItem> items_;  ///< by decreasing size
  std::vector<size_t> given_;        ///< position of each as given
  std::vector<size_t> position_;     ///< the other way round
  std::vector<std::vector<double>> tables_;
  int shift_ = 0;

  std::vector<int64_t> taken_;
  std::vector<int32_t> blocked_;  ///< by how many conflicts
  ConflictPacking best_;
  double target_ = 0.0, more_than_ = 0.0, slack_ = 0.0;
  double bound_ = 0.0;
  int64_t effort_left_ = 0;
};

}  // namespace cutting_stock

#endif

#ifndef EXAMPLES_CUTTING_STOCK_BOUNDED_KNAPSACK_H
#define EXAMPLES_CUTTING_STOCK_BOUNDED_KNAPSACK_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace cutting_stock {

/// Up to `limit` copies of an item of length `size` (positive) and value `value` (positive).
struct KnapsackItem {
  int64_t size;
  double value;
  int64_t limit;
};

/// `copies` of item `item`, counted from 0 in the order in which the items were given.
struct PackedItem {
  int32_t item;
  int64_t copies;
};

/// The outcome of a search.
struct Packing {
  double value = 0.0;             ///< of the packing found
  std::vector<PackedItem> items;  ///< by increasing item; empty when none is good enough
  double bound = 0.0;             ///< no packing has a larger value (or more than was asked for)
  bool proven = false;            ///< the search was complete
  int64_t effort = 0;             ///< looks at a part that it took
};

/**
 * The bounded knapsack problem, solved many times over while the limits fall:
 *
 *     z = max  sum_k v_k a_k   subject to  sum_k s_k a_k <= C,  0 <= a_k <= limit_k, integer.   (1)
 *
 * Each item is split into parts of 1, 2, 4, ... copies and a remainder, so that every number of
 * copies up to the limit is a sum of parts, each taken once or not at all. Parts are sorted by
 * decreasing length and divided into a few blocks. Dynamic programming from the last block to the
 * first yields for each block b the table
 *
 *     V_b(c) = largest value that parts of the blocks b, b+1, ... reach in length c.            (2)
 *
 * Who takes parts in their order comes to block b with the length C, or with one less by a part
 * that is at least as long as those of the block: V_b is made for c = C and c <= C - s with s the
 * shortest part of block b, the reach of the block.
 *
 * With fresh tables z = V_0(C), and an optimal packing is traced back block by block: where V_b(c)
 * and V_b+1(c) differ, the tables inside block b are made once more, this time kept.
 *
 * Otherwise a depth-first search takes parts in their order. With length c left and the value p
 * taken, no continuation with parts from block b on is worth more than
 *
 *     p + V_b(c),                                                                               (3)
 *
 * and what cannot beat the best packing so far is skipped. (3) stays valid, and nearly sharp, in
 * two cases in which the tables are not exact:
 *   - Limits have fallen since the tables were made. V_b then counts copies that are used up. So a
 *     whole sequence of problems with falling limits shares one set of tables, which is renewed
 *     when too much has changed.
 *   - The length is too large for a table with a cell for each unit. Cells then stand for 2^h units
 *     and lengths are rounded down, of parts as of the room left: what fits still fits.
 *
 * Sources: P. C. Gilmore, R. E. Gomory, The theory and computation of knapsack functions,
 * Operations Research 14 (1966), for (2); the use of the table of a relaxation as the bound of a
 * search follows the state space relaxation of N. Christofides, A. Mingozzi, P. Toth, Networks 11
 * (1981).
 */
class BoundedKnapsack {
 public:
  /// kFine: a cell for each unit as long as that is at all affordable, for a bound that is z or
  /// close to it. kCoarse: at most some thousand cells, for finding good packings quickly.
  enum Tables { kFine, kCoarse };

  /// Without items, until reset().
  explicit BoundedKnapsack(int64_t capacity) : capacity_(capacity) {}

  BoundedKnapsack(int64_t capacity, const std::vector<KnapsackItem> &items, Tables tables)
      : capacity_(capacity) {
    reset(items, tables);
  }

  /// Other items, in the memory of those before: for problems that follow each other this saves
  /// the system's time for giving and taking megabytes. Makes the tables, in time proportional to
  /// the number of parts times the number of cells.
  void reset(const std::vector<KnapsackItem> &items, Tables tables);

  /// Sets an item's limit to `limit`, which is not above the present one. Costs nothing; the
  /// tables stay valid as bounds.
  void lower_limit(int32_t item, int64_t limit);

  /// Makes the tables anew for the present limits; items used up no longer cost time.
  void renew(Tables tables);

  /// True while no limit has fallen since the tables were made.
  bool is_fresh() const { return fresh_; }

  /// True when solve() answers by tracing back, exactly and without a search.
  bool is_exact() const { return fresh_ && shift_ == 0; }

  /// Parts that the items were split into.
  int64_t parts() const { return static_cast<int64_t>(parts_.size()); }

  /// Time that it took to make the tables, in the unit of the effort of solve().
  int64_t table_effort() const;
  /// The same for tables that may still have to be made.
  int64_t table_effort(Tables tables) const;

  /// Looks for the best packing among those worth more than `more_than`; a search is content with
  /// one whose excess over `more_than` is within the share `slack` of the best, and in any case to
  /// a relative accuracy of 1e-10. It gives up after `effort` (positive) looks at a part; then
  /// `proven` is false, the packing is the best one seen, and `bound` that of the tables.
  Packing solve(double more_than, double slack, int64_t effort);

  /// The same among the packings that hold at least one copy of `item`; always by a search.
  Packing solve_with(int32_t item, double more_than, double slack, int64_t effort);

 private:
  struct Part {
    int64_t size;
    double value;
    int64_t copies;
    int32_t item;
    int32_t block;
  };
  struct Step {
    size_t part;
    double value_before;  ///< kept rather than recomputed: differences would drift
  };
  using Table = std::vector<double>;

  void make_parts();
  void make_tables(Tables tables);
  void make_blocks();
  void make_table(size_t b);
  int shift_of(Tables tables) const;
  void add_part(const Part &part, size_t reach, Table &table) const;
  size_t block_begin(size_t b) const { return b == 0 ? 0 : block_end_[b - 1]; }
  size_t cell(int64_t room) const { return static_cast<size_t>(room >> shift_); }
  /// What parts from block b on can add in `room`: the smaller of V_b and the room filled entirely
  /// with the most valuable of them.
  double rest_bound(size_t b, int64_t room) const {
    const size_t c = cell(room);
    const double value = c <= reach_[b] ? tables_[b][c] : tables_[b].back();
    return std::min(value, efficiency_[b] * static_cast<double>(room));
  }
  bool fits(const Part &part) const;
  size_t first_fitting() const;
  void take(size_t k);
  size_t put_back();
  void start(double more_than, double slack, int64_t effort);
  Packing outcome(double relaxed, int64_t effort) const;
  void trace_back();
  void trace_back_block(size_t b);
  void make_bands(size_t b);
  void make_stages(size_t b);
  void fill_greedily();
  void search();
  size_t next_promising(size_t k);
  void keep_if_best();
  std::vector<PackedItem> best_items() const;

  int64_t capacity_;
  std::vector<KnapsackItem> items_;  ///< with the present limits
  std::vector<Part> parts_;          ///< by decreasing length
  std::vector<size_t> block_end_;    ///< first part behind each block
  std::vector<size_t> reach_;        ///< cells of each block's table, but for C the last one
  std::vector<double> efficiency_;   ///< largest value per length from each block on
  std::vector<Table> tables_;        ///< V_b, one for each block
  int shift_ = 0;                    ///< h: a cell stands for 2^h units of length
  bool fresh_ = false;

  /// Cells from `first` to `last`.
  struct Band {
    size_t first, last;
  };
  std::vector<Table> stages_;  ///< room to trace back in
  std::vector<Band> bands_;    ///< cells that tracing back through a block may come to

  // The search: what is taken, and what is known.
  std::vector<int64_t> used_;  ///< copies taken of each item
  std::vector<Step> taken_;    ///< the parts taken, in order
  int64_t room_ = 0;           ///< length left
  double value_ = 0.0;         ///< of the parts taken
  double target_ = 0.0;        ///< only values above this are of interest
  double more_than_ = 0.0;
  double slack_ = 0.0;
  std::vector<Step> best_;  ///< the parts of the best packing
  double best_value_ = 0.0;
  int64_t effort_left_ = 0;
};

}  // namespace cutting_stock

#endif

#ifndef BENCHMARKS_SYNTHETIC_BLOCKS_H
#define BENCHMARKS_SYNTHETIC_BLOCKS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "block_pricing/block_pricer.hpp"
#include "quarn_cpp/quarn.hpp"

namespace benchmarks {

/// What synthetic pricing looks like.
struct SyntheticShape {
  size_t blocks = 100;
  size_t rows = 100;     ///< linking
  size_t entries = 8;    ///< most of a column
  double seconds = 0.0;  ///< of a block in the mean
  double spread = 0.0;   ///< the longest block takes this much longer than the mean, 1 for twice
  bool sleeps = false;   ///< instead of working for as long
};

/**
 * Covers each row once at the least cost, where block b serves up to `entries` rows out of a few
 * dozen that it reaches, at a cost c_bi that a hash gives, and is used at most once:
 *
 *     min sum c_bi x_bi + penalty,   pricing of b:  min over S of sum_{i in S} (c_bi - u_i) - v_b.
 *
 * The block takes the `entries` best rows, exactly, and then the time that it is said to take.
 */
class SyntheticBlocks : public quarn::BlockOracle {
 public:
  explicit SyntheticBlocks(const SyntheticShape &shape) : shape_(shape) {}

  size_t blocks() const override { return shape_.blocks; }
  quarn::BlockAnswer price(size_t block, const quarn::BlockDuals &duals,
                           quarn::BlockColumns &columns) override;
  double seconds_of(size_t block) const;

  /// A master with a first column for each row, and its block rows.
  quarn::Master make_master(std::vector<quarn::Row> *rows) const;

 private:
  SyntheticShape shape_;
};

}  // namespace benchmarks

#endif

/// The random programs of tests/cpp as block oracles: a block for each block row, and one for the
/// rays.
#ifndef TESTS_BLOCKS_PROGRAM_BLOCKS_H
#define TESTS_BLOCKS_PROGRAM_BLOCKS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "block_pricing/block_pricer.hpp"
#include "tests/cpp/random_masters.h"

namespace blocks_test {

class ProgramBlocks : public quarn::BlockOracle {
 public:
  /// `program` has to outlive the oracle.
  explicit ProgramBlocks(const masters::Program &program);

  size_t blocks() const override { return columns_of_.size(); }
  std::string name(size_t block) const override { return "part " + std::to_string(block); }
  quarn::BlockAnswer price(size_t block, const quarn::BlockDuals &duals,
                           quarn::BlockColumns &columns) override;
  /// The number of the column in the program.
  std::any column_data(size_t block, std::string_view bytes) const override;

  /// Of the blocks in `master`; the rays have none.
  std::vector<quarn::Row> rows(const masters::ProgramMaster &master) const;

  /// Called before a block is priced.
  std::function<void(size_t block, const quarn::BlockDuals &duals)> before;

 private:
  const masters::Program &program_;
  std::vector<std::vector<size_t>> columns_of_;  ///< columns of each block
};

/// Every bit of a run: bounds and columns of each iteration, duals, the columns with their objects.
std::string fingerprint(const quarn::Result &result, const quarn::Master &master);

}  // namespace blocks_test

#endif

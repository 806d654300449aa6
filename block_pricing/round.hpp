/**
 * One round as the teams see it: the task that the pricer gives, the shares that processes return,
 * and the runners that price a list of blocks within a process.
 */
#ifndef BLOCK_PRICING_ROUND_HPP
#define BLOCK_PRICING_ROUND_HPP

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "block_pricing/block_oracle.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

/// A round to be priced.
struct RoundTask {
  BlockOracle &oracle;
  const BlockDuals &duals;
  const std::vector<double> &costs;         ///< by block, seconds; 0: not known
  const std::vector<int32_t> &last_priced;  ///< by block, a round; earlier ones first when partial
  size_t enough_columns;                    ///< 0: all blocks
  const std::function<bool()> &out_of_time;
};

/// A block that was priced.
struct Outcome {
  uint32_t block = 0;
  uint32_t first_column = 0;  ///< in the columns of its batch
  uint32_t columns = 0;
  BlockAnswer answer;
  double seconds = 0.0;
};

/// What one thread, or one rank, priced in a round.
struct Batch {
  std::vector<Outcome> outcomes;
  BlockColumns columns;
};

struct Failure {
  size_t block = 0;
  std::string text;  ///< with the block's name
};

struct RoundReport {
  std::vector<Batch> batches;
  std::optional<Failure> failure;
  int64_t bytes_sent = 0, bytes_received = 0;
  double announcing_seconds = 0.0, receiving_seconds = 0.0, waiting_seconds = 0.0;
  bool reassigned = false;
};

/**
 * Tells the threads of a process when a round should end. One thread owns the watch: it alone asks
 * the clock, the interrupt and other ranks, by `look`.
 */
class QUARN_CPP_PUBLIC Watch {
 public:
  /// `look` is called by the thread that makes the watch; true ends the round, and so does what it
  /// throws. `enough_columns` as in RoundTask.
  Watch(const std::function<bool()> &look, size_t enough_columns)
      : look_(look), enough_(enough_columns), owner_(std::this_thread::get_id()) {}

  /// Duals whose should_stop() asks this watch.
  BlockDuals watched(BlockDuals duals) {
    duals.watch_ = this;
    return duals;
  }

  void stop() { stop_.store(true, std::memory_order_relaxed); }
  /// Whether the round should end; the owner looks first, unless it did so just before.
  bool ended();
  /// Throws what looking threw. By the owner, once no block is being priced any more.
  void rethrow() const {
    if (thrown_) std::rethrow_exception(thrown_);
  }
  void count(size_t columns);
  size_t columns() const { return columns_.load(std::memory_order_relaxed); }

 private:
  const std::function<bool()> &look_;
  size_t enough_;
  std::thread::id owner_;
  std::chrono::steady_clock::time_point looked_{};
  std::exception_ptr thrown_;
  std::atomic<bool> stop_{false};
  std::atomic<size_t> columns_{0};
};

/// Prices lists of blocks within this process.
class Runner {
 public:
  virtual ~Runner() = default;
  /// Prices the blocks in this order until the watch ends it; a block that has begun is ended.
  /// Appends to the batches of the report, and sets its failure when a block threw.
  virtual void run(BlockOracle &oracle, const BlockDuals &duals,
                   const std::vector<uint32_t> &blocks, Watch &watch, RoundReport *report) = 0;
};

/// The caller's thread alone for 1, else a pool. Throws Mistake as LocalTeam.
QUARN_CPP_PUBLIC std::unique_ptr<Runner> make_runner(int threads);
/// A pool of threads; only where this was built with oneTBB.
std::unique_ptr<Runner> make_pool(int threads);

/// Prices one block into the batch; a failure is what it threw.
std::optional<Failure> price_block(BlockOracle &oracle, size_t block, const BlockDuals &duals,
                                   Watch &watch, Batch *batch);

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

// A pool of oneTBB's threads.
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>

#include <chrono>
#include <condition_variable>
#include <optional>

#include "block_pricing/block_team.hpp"
#include "block_pricing/round.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

namespace {

// How often the caller looks at time and interrupt while it waits.
constexpr std::chrono::milliseconds kLookEvery(1);

/// A list of blocks that threads take one after the other.
class SharedList {
 public:
  SharedList(BlockOracle &oracle, const BlockDuals &duals, const std::vector<uint32_t> &blocks,
             Watch &watch)
      : oracle_(oracle), duals_(duals), blocks_(blocks), watch_(watch) {}

  void begin() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++working_;
  }

  /// What a thread does; nothing of it comes out.
  void work(Batch *batch) {
    std::optional<Failure> failure;
    {
      // Orders what the caller did before after what it hands over, whatever the pool does.
      const std::lock_guard<std::mutex> lock(mutex_);
    }
    while (!failure && !watch_.ended()) {
      const size_t next = next_.fetch_add(1, std::memory_order_relaxed);
      if (next >= blocks_.size()) break;
      failure = price_block(oracle_, blocks_[next], duals_, watch_, batch);
    }
    end(failure);
  }

  void end(const std::optional<Failure> &failure) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure) {
      watch_.stop();
      if (!failure_ || failure->block < failure_->block) failure_ = failure;
    }
    if (--working_ == 0) done_.notify_all();
  }

  /// Until no thread is at work.
  std::optional<Failure> wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (working_ > 0) {
      done_.wait_for(lock, kLookEvery);
      lock.unlock();
      watch_.ended();
      lock.lock();
    }
    return failure_;
  }

 private:
  BlockOracle &oracle_;
  const BlockDuals &duals_;
  const std::vector<uint32_t> &blocks_;
  Watch &watch_;
  std::atomic<size_t> next_{0};
  std::mutex mutex_;
  std::condition_variable done_;
  int working_ = 0;
  std::optional<Failure> failure_;
};

class Pool : public Runner {
 public:
  // The pool would else have a thread less than the machine has processors.
  explicit Pool(int threads)
      : threads_(static_cast<size_t>(threads)),
        control_(tbb::global_control::max_allowed_parallelism, threads_ + 1),
        arena_(threads, 0) {}

  void run(BlockOracle &oracle, const BlockDuals &duals, const std::vector<uint32_t> &blocks,
           Watch &watch, RoundReport *report) override {
    const size_t first = report->batches.size();
    report->batches.resize(first + threads_);
    SharedList list(oracle, duals, blocks, watch);
    for (size_t k = 0; k < threads_; ++k) {
      Batch *batch = &report->batches[first + k];
      list.begin();
      try {
        arena_.enqueue([&list, batch] { list.work(batch); });
      } catch (...) {
        list.end(std::nullopt);
        watch.stop();
        list.wait();
        throw;
      }
    }
    report->failure = list.wait();
  }

 private:
  size_t threads_;
  tbb::global_control control_;
  tbb::task_arena arena_;
};

}  // namespace

std::unique_ptr<Runner> make_pool(int threads) { return std::make_unique<Pool>(threads); }

}  // namespace detail

bool has_block_threads() { return true; }

}  // namespace v1
}  // namespace quarn

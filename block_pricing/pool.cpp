// A pool of oneTBB's threads.
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

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

#if defined(__SANITIZE_THREAD__)

/// Fresh threads, where races are looked for: what orders memory within oneTBB is not seen there.
class Threads {
 public:
  explicit Threads(int) {}

  template <typename Work>
  void start(Work work) {
    threads_.emplace_back(work);
  }
  void finish() {
    for (std::thread &thread : threads_) thread.join();
    threads_.clear();
  }

 private:
  std::vector<std::thread> threads_;
};

#else

class Threads {
 public:
  // The pool would else have a thread less than the machine has processors.
  explicit Threads(int threads)
      : control_(tbb::global_control::max_allowed_parallelism, static_cast<size_t>(threads) + 1),
        arena_(threads, 0) {}

  template <typename Work>
  void start(Work work) {
    arena_.enqueue(work);
  }
  void finish() {}

 private:
  tbb::global_control control_;
  tbb::task_arena arena_;
};

#endif

class Pool : public Runner {
 public:
  explicit Pool(int threads) : count_(static_cast<size_t>(threads)), threads_(threads) {}

  void run(BlockOracle &oracle, const BlockDuals &duals, const std::vector<uint32_t> &blocks,
           Watch &watch, RoundReport *report) override {
    const size_t first = report->batches.size();
    report->batches.resize(first + count_);
    SharedList list(oracle, duals, blocks, watch);
    for (size_t k = 0; k < count_; ++k) {
      Batch *batch = &report->batches[first + k];
      list.begin();
      try {
        threads_.start([&list, batch] { list.work(batch); });
      } catch (...) {
        list.end(std::nullopt);
        watch.stop();
        finish(&list);
        throw;
      }
    }
    report->failure = finish(&list);
  }

 private:
  std::optional<Failure> finish(SharedList *list) {
    std::optional<Failure> failure = list->wait();
    threads_.finish();
    return failure;
  }

  size_t count_;
  Threads threads_;
};

}  // namespace

std::unique_ptr<Runner> make_pool(int threads) { return std::make_unique<Pool>(threads); }

}  // namespace detail

bool has_block_threads() { return true; }

}  // namespace v1
}  // namespace quarn

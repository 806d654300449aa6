#include "block_pricing/round.hpp"

#include <chrono>
#include <exception>

namespace quarn {
inline namespace v1 {
namespace detail {

// Looking asks the network, which would take as long as a small block.
constexpr std::chrono::microseconds kLookEvery(50);

bool Watch::ended() {
  if (stop_.load(std::memory_order_relaxed)) return true;
  if (std::this_thread::get_id() != owner_ || !look_) return false;
  const auto now = std::chrono::steady_clock::now();
  if (now - looked_ < kLookEvery) return false;
  looked_ = now;
  try {
    if (!look_()) return false;
  } catch (...) {
    thrown_ = std::current_exception();
  }
  stop();
  return true;
}

void Watch::count(size_t columns) {
  const size_t all = columns_.fetch_add(columns, std::memory_order_relaxed) + columns;
  if (enough_ > 0 && all >= enough_) stop();
}

static std::string text_of_current_exception() {
  try {
    throw;
  } catch (const std::exception &error) {
    return error.what();
  } catch (...) {
    return "something that is no std::exception";
  }
}

std::optional<Failure> price_block(BlockOracle &oracle, size_t block, const BlockDuals &duals,
                                   Watch &watch, Batch *batch) {
  using Clock = std::chrono::steady_clock;
  try {
    const Clock::time_point start = Clock::now();
    Outcome outcome;
    outcome.block = static_cast<uint32_t>(block);
    outcome.first_column = static_cast<uint32_t>(batch->columns.size());
    outcome.answer = oracle.price(block, duals, batch->columns);
    outcome.columns = static_cast<uint32_t>(batch->columns.size()) - outcome.first_column;
    outcome.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    batch->outcomes.push_back(outcome);
    watch.count(outcome.columns);
    return std::nullopt;
  } catch (...) {
    return Failure{block, oracle.name(block) + ": " + text_of_current_exception()};
  }
}

namespace {

/// The caller's thread.
class SerialRunner : public Runner {
 public:
  void run(BlockOracle &oracle, const BlockDuals &duals, const std::vector<uint32_t> &blocks,
           Watch &watch, RoundReport *report) override {
    report->batches.emplace_back();
    for (const uint32_t block : blocks) {
      if (watch.ended()) return;
      report->failure = price_block(oracle, block, duals, watch, &report->batches.back());
      if (report->failure) return watch.stop();
    }
  }
};

}  // namespace

std::unique_ptr<Runner> make_runner(int threads) {
  if (threads < 1) throw Mistake("pricing by " + std::to_string(threads) + " threads");
  if (threads == 1) return std::make_unique<SerialRunner>();
  return make_pool(threads);
}

}  // namespace detail
}  // namespace v1
}  // namespace quarn

// What stands in for the pool in a build without oneTBB.
#include "block_pricing/block_team.hpp"
#include "block_pricing/round.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

std::unique_ptr<Runner> make_pool(int threads) {
  throw Mistake("pricing by " + std::to_string(threads) +
                " threads: the library was built without oneTBB");
}

}  // namespace detail

bool has_block_threads() { return false; }

}  // namespace v1
}  // namespace quarn

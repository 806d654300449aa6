/**
 * Who prices which block. Blocks go to workers longest first, each to the worker that is done
 * first: the last one ends within 4/3 of the least time possible (R. L. Graham, Bounds on
 * multiprocessing timing anomalies, SIAM Journal on Applied Mathematics 17 (1969)).
 */
#ifndef BLOCK_PRICING_ASSIGNMENT_HPP
#define BLOCK_PRICING_ASSIGNMENT_HPP

#include <cstddef>
#include <cstdint>
#include <vector>

#include "quarn_cpp/visibility.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

/// A worker: a rank with its threads.
struct WorkerLoad {
  double speed = 1.0;  ///< blocks at a time
  double busy = 0.0;   ///< seconds that it has other things to do
};

/// The blocks in the order in which they should begin: those priced longest ago first when
/// `oldest_first`, then longest first, then by number.
QUARN_CPP_PUBLIC std::vector<uint32_t> starting_order(const std::vector<double> &costs,
                                                      const std::vector<int32_t> &last_priced,
                                                      bool oldest_first);

class QUARN_CPP_PUBLIC Assignment {
 public:
  /// Blocks of each worker, in the order in which they are to begin.
  const std::vector<std::vector<uint32_t>> &lists() const { return lists_; }

  /// Hands the blocks of `order` out afresh.
  void assign(const std::vector<uint32_t> &order, const std::vector<double> &costs,
              const std::vector<WorkerLoad> &workers);

  /// How much longer the round takes than if all workers were done at once, were it priced as
  /// assigned: 0.25 for a quarter. Infinite when nothing is assigned.
  double excess(const std::vector<double> &costs, const std::vector<WorkerLoad> &workers) const;

 private:
  std::vector<std::vector<uint32_t>> lists_;
};

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

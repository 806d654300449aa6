/**
 * What the outer loop, the two master drivers and the rounding heuristic share.
 */
#ifndef QUARN_DRIVER_H
#define QUARN_DRIVER_H

#include <cstdint>

#include "priority_queue/priority_queue.h"
#include "quarn/internal.h"

namespace quarn {

/// What the outer loop and the drivers return, by cause.
enum Status : int16_t {
  kGoOn = -1,            ///< within the outer loop only: no reason to stop
  kSolved = 0,           ///< gap closed, or a limit of time or iterations reached
  kOracleOrMemory = 2,   ///< the oracle reported an error, or memory was short
  kRmpFailed = 3,        ///< no strategy solved the restricted master
  kMayBeInfeasible = 5,  ///< a box column carries weight in the final solution
  kIterationLimit = 6,   ///< stopped by the limit of outer iterations
  kBoundConflict = 7     ///< a bound contradicts the objective bounds of the user
};

/// Linking row, counted from 0 and below m, that column j (from 0) of the dual-box columns bounds,
/// or -1 when the column has lost its form: edits of the rows leave the box columns of removed rows
/// with their cost alone.
int32_t box_column_row(const QUARN_SMatrix_CW &G, int32_t j, int32_t m);

/// Dual of row i (from 0); 0 when the duals were released, which the oracle may do to make the next
/// run start cold.
inline double dual_of_row(const QUARN_env &env, int32_t i) {
  return env.u != nullptr ? env.u[i] : 0.0;
}

/// The heading of the summary and the four reports.
void print_summary(const QUARN_env &env);

/// Fits the capacities of G to its sizes; a failure leaves more room than is needed.
void trim_matrix(QUARN_env *env);

/// A priority queue that releases its storage; false when the storage could not be made.
class RankingQueue {
 public:
  explicit RankingQueue(int64_t capacity)
      : ready_(PriorityQueue_allocate(
                   &queue_, capacity > INT32_MAX ? -1 : static_cast<int32_t>(capacity)) != -1) {}
  ~RankingQueue() {
    if (ready_) PriorityQueue_free(&queue_);
  }
  RankingQueue(const RankingQueue &) = delete;
  RankingQueue &operator=(const RankingQueue &) = delete;

  explicit operator bool() const { return ready_; }
  bool empty() const { return queue_.size <= 0; }
  void clear() { queue_.size = 0; }
  void insert(double key, int32_t payload) { PriorityQueue_insert(&queue_, key, payload); }

  /// Takes the pair with the smallest key and tells its payload; false when no pair is left.
  bool take(int32_t *payload) {
    double key;
    return PriorityQueue_getNext(&queue_, &key, payload) != 0;
  }

 private:
  PriorityQueue queue_{};
  bool ready_;
};

}  // namespace quarn

#endif

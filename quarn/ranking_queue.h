/**
 * A priority queue for one scope.
 */
#ifndef QUARN_RANKING_QUEUE_H
#define QUARN_RANKING_QUEUE_H

#include <cstdint>

#include "priority_queue/priority_queue.h"

namespace quarn {

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

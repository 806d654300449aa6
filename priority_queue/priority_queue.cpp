#include "priority_queue/priority_queue.h"

#include <cstddef>
#include <cstdlib>

// The heap lies in pairs[0 .. size-1]: the children of position k are 2k+1 and 2k+2, and no child
// has a smaller key than its parent, so that the smallest key stands at position 0. Positions are
// 64 bits wide: 2k+2 passes the range of 32 bits before the capacity does.

namespace {

/// Moves the hole at `hole` up to where a pair with this key may stand.
int64_t sift_up(PriorityQueuePair *pairs, int64_t hole, double key) {
  while (hole > 0) {
    const int64_t parent = (hole - 1) / 2;
    if (!(key < pairs[parent].key)) break;
    pairs[hole] = pairs[parent];
    hole = parent;
  }
  return hole;
}

/// Moves the hole at the top down, among the first `size` pairs, to where this key may stand.
int64_t sift_down(PriorityQueuePair *pairs, int64_t size, double key) {
  int64_t hole = 0;
  for (int64_t child = 1; child < size; child = 2 * hole + 1) {
    if (child + 1 < size && pairs[child + 1].key < pairs[child].key) ++child;
    if (!(pairs[child].key < key)) break;
    pairs[hole] = pairs[child];
    hole = child;
  }
  return hole;
}

}  // namespace

int32_t PriorityQueue_allocate(PriorityQueue *queue, int32_t capacity) {
  *queue = PriorityQueue{nullptr, 0, 0};
  if (capacity < 0) return -1;
  const size_t length = capacity > 0 ? static_cast<size_t>(capacity) : 1;
  queue->pairs = static_cast<PriorityQueuePair *>(std::calloc(length, sizeof(PriorityQueuePair)));
  if (queue->pairs == nullptr) return -1;
  queue->capacity = capacity;
  return 0;
}

int32_t PriorityQueue_insert(PriorityQueue *queue, double key, int32_t payload) {
  if (queue->size >= queue->capacity) return 0;
  const int64_t position = sift_up(queue->pairs, queue->size, key);
  queue->pairs[position] = PriorityQueuePair{key, payload};
  ++queue->size;
  return 1;
}

int32_t PriorityQueue_getNext(PriorityQueue *queue, double *key, int32_t *payload) {
  if (queue->size <= 0) return 0;
  *key = queue->pairs[0].key;
  *payload = queue->pairs[0].payload;
  --queue->size;
  if (queue->size > 0) {
    const PriorityQueuePair last = queue->pairs[queue->size];
    queue->pairs[sift_down(queue->pairs, queue->size, last.key)] = last;
  }
  return 1;
}

void PriorityQueue_free(PriorityQueue *queue) {
  if (queue == nullptr) return;
  std::free(queue->pairs);
  *queue = PriorityQueue{nullptr, 0, 0};
}

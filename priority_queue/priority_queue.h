/**
 * A queue of (key, payload) pairs that hands back the pair with the smallest key first.
 *
 * The caller supplies the record's own storage, names once the most pairs that it will hold at any
 * one time, and may fill and empty the queue as often as it likes without a further allocation:
 *
 *   PriorityQueue queue;
 *   if (PriorityQueue_allocate(&queue, 100) == -1) return out_of_memory();
 *   PriorityQueue_insert(&queue, 2.5, 7);
 *   while (PriorityQueue_getNext(&queue, &key, &payload)) use(key, payload);
 *   queue.size = 0;                        // empties the queue, pairs left inside are forgotten
 *   PriorityQueue_free(&queue);
 *
 * The structure is an implicit binary heap (Williams, Algorithm 232: Heapsort, Communications of
 * the ACM 7, 1964): inserting and taking cost O(log size) each, emptying costs nothing.
 */
#ifndef PRIORITY_QUEUE_PRIORITY_QUEUE_H
#define PRIORITY_QUEUE_PRIORITY_QUEUE_H

#include <stdint.h>

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** One element of a queue: a key and the number that travels with it. */
typedef struct PriorityQueuePair {
  double key;      /**< pairs come out by increasing key */
  int32_t payload; /**< never interpreted by the queue */
} PriorityQueuePair;

/** The queue's record. The caller owns it; PriorityQueue_allocate makes what hangs from it. */
typedef struct PriorityQueue {
  PriorityQueuePair *pairs; /**< owned, `capacity` pairs, the first `size` of them in heap order */
  int32_t size;             /**< pairs held; a caller may read it, and may set it to 0 to empty */
  int32_t capacity;         /**< the most pairs that fit, as given to PriorityQueue_allocate */
} PriorityQueue;

/**
 * Prepares an empty queue for at most `capacity` pairs. This is the queue's only allocation.
 *
 *   queue     out  what the record holds is not looked at: release a queue before making it anew.
 *   capacity  in   0 or more; a queue of capacity 0 is ready and stays empty.
 *
 * Returns 0 when the queue is ready, -1 when memory is short or the capacity is negative; after -1
 * the record is an empty queue of capacity 0, which PriorityQueue_free accepts.
 */
int32_t PriorityQueue_allocate(PriorityQueue *queue, int32_t capacity);

/**
 * Adds one pair; pairs with equal keys may be added and come out in an unspecified order. A key
 * that is not a number is kept, but then nothing is promised about the order.
 *
 *   queue    in/out  a queue made by PriorityQueue_allocate.
 *   key      in      the pair's rank.
 *   payload  in      what PriorityQueue_getNext hands back with it.
 *
 * Returns 1 when the pair was added (`size` has grown by one), 0 when the queue is full and was
 * left as it was.
 */
int32_t PriorityQueue_insert(PriorityQueue *queue, double key, int32_t payload);

/**
 * Takes the pair with the smallest key out of the queue.
 *
 *   queue    in/out  a queue made by PriorityQueue_allocate.
 *   key      out     the pair's key.
 *   payload  out     the pair's payload.
 *
 * Returns 1 when a pair was taken (`size` has shrunk by one), 0 when the queue is empty; key and
 * payload are then left alone.
 */
int32_t PriorityQueue_getNext(PriorityQueue *queue, double *key, int32_t *payload);

/**
 * Releases what PriorityQueue_allocate made; the record itself stays the caller's. The record is
 * left as an empty queue of capacity 0, so that a second release does no harm. Null is ignored.
 */
void PriorityQueue_free(PriorityQueue *queue);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>

#include "priority_queue/priority_queue.h"
#include "tests/support/allocation.h"
#include "tests/support/records.h"

namespace {

/// Takes the smallest pair from both and compares; equal keys may come out in any order.
void take_one(PriorityQueue *queue, std::multimap<double, int32_t> *reference) {
  double key = NAN;
  int32_t payload = -1;
  const int32_t found = PriorityQueue_getNext(queue, &key, &payload);
  if (reference->empty()) {
    EXPECT_EQ(found, 0);
    return;
  }
  ASSERT_NE(found, 0);
  EXPECT_EQ(key, reference->begin()->first);
  const auto ties = reference->equal_range(key);
  auto match = ties.first;
  while (match != ties.second && match->second != payload) ++match;
  ASSERT_NE(match, ties.second) << "payload " << payload << " was not held with this key";
  reference->erase(match);
}

TEST(PriorityQueue, AgreesWithASortedReferenceUnderRandomOperations) {
  support::Random random(11);
  for (const int32_t capacity : {1, 2, 7, 64, 1000}) {
    SCOPED_TRACE(capacity);
    PriorityQueue queue;
    ASSERT_NE(PriorityQueue_allocate(&queue, capacity), -1);
    std::multimap<double, int32_t> reference;
    for (int step = 0; step < 20 * capacity + 50; ++step) {
      const bool full = static_cast<int32_t>(reference.size()) == capacity;
      if (random.chance(0.01)) {  // emptied by the caller, as between two fillings
        queue.size = 0;
        reference.clear();
      } else if (!full && random.chance(step % 100 < 50 ? 0.8 : 0.3)) {
        // Few distinct keys, both signs, so that ties are common.
        const double key = random.integer(-6, 6) + (random.chance(0.5) ? 0.0 : random.real(0, 1));
        PriorityQueue_insert(&queue, key, step);
        reference.emplace(key, step);
      } else {
        take_one(&queue, &reference);
      }
      ASSERT_EQ(queue.size, static_cast<int32_t>(reference.size()));
    }
    while (!reference.empty()) take_one(&queue, &reference);
    take_one(&queue, &reference);
    PriorityQueue_free(&queue);
  }
}

TEST(PriorityQueue, CapacityZeroIsReadyAndEmpty) {
  PriorityQueue queue;
  ASSERT_NE(PriorityQueue_allocate(&queue, 0), -1);
  EXPECT_EQ(queue.size, 0);
  double key;
  int32_t payload;
  EXPECT_EQ(PriorityQueue_getNext(&queue, &key, &payload), 0);
  PriorityQueue_free(&queue);
}

TEST(PriorityQueue, InfiniteKeysSortAtTheEnds) {
  PriorityQueue queue;
  ASSERT_NE(PriorityQueue_allocate(&queue, 3), -1);
  std::multimap<double, int32_t> reference{{HUGE_VAL, 1}, {-HUGE_VAL, 2}, {0.0, 3}};
  for (const auto &pair : reference) PriorityQueue_insert(&queue, pair.first, pair.second);
  while (!reference.empty()) take_one(&queue, &reference);
  PriorityQueue_free(&queue);
}

TEST(PriorityQueue, EveryFailingAllocationIsReportedAndLeavesNothing) {
  for (int64_t k = 1;; ++k) {
    PriorityQueue queue = {};
    support::fail_allocation(k);
    const int32_t made = PriorityQueue_allocate(&queue, 10);
    const bool failed = support::allocation_failed();
    support::fail_allocation(0);
    EXPECT_EQ(made == -1, failed) << "k = " << k;
    if (made != -1) PriorityQueue_free(&queue);
    if (!failed) break;
  }
}

}  // namespace

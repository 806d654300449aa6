// Uses the parent's own priority_queue and the one of quarn in one program.
#include <cstdio>

#include "priority_queue/priority_queue.h"

int own_queue_length();

int main() {
  PriorityQueue queue;
  if (PriorityQueue_allocate(&queue, own_queue_length()) != 0) return 1;
  int added = 0;
  while (PriorityQueue_insert(&queue, -added, added) == 1) ++added;
  double key = 0.0;
  int32_t payload = 0;
  const bool taken = PriorityQueue_getNext(&queue, &key, &payload) == 1;
  PriorityQueue_free(&queue);
  std::printf("%d added, the first one out is %d\n", added, payload);
  return taken && added == own_queue_length() && payload == added - 1 ? 0 : 1;
}

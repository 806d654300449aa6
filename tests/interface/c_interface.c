/* The three public headers in one C11 translation unit, and a round of calls through C linkage. */
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "interior_point/interior_point.h"
#include "priority_queue/priority_queue.h"
#include "quarn/quarn.h"

_Static_assert(offsetof(QUARN_env, user_data) == 0, "the record begins with the user's pointer");
_Static_assert(sizeof(((QUARN_env *)0)->verbosity) == sizeof(int16_t), "flags are 16 bits wide");
_Static_assert(offsetof(PriorityQueue, size) > 0, "the queue's own field comes before its size");

static int environment_round_trip(void) {
  const double rhs[4] = {1.0, 2.0, 3.0, 0.0};
  const int16_t row_types[4] = {2, 3, 1, 1};
  QUARN_env *env = QUARN_set_data(2, 1, 4, 0, 10, NULL, rhs, row_types, NULL, NULL, NULL);
  int ok;
  if (env == NULL) return 0;
  QUARN_set_delta(env, 1e-4);
  QUARN_set_WS_strategy(env, -2);
  ok = env->G->n == 4 && env->delta == 1e-4 && env->WS_strategy == -2 &&
       QUARN_get_dual_solution(env) == NULL;
  QUARN_free(env);
  free(env);
  return ok;
}

static int queue_round_trip(void) {
  PriorityQueue queue;
  double key = 0.0;
  int32_t payload = 0;
  int ok;
  if (PriorityQueue_allocate(&queue, 2) == -1) return 0;
  PriorityQueue_insert(&queue, 1.5, 7);
  PriorityQueue_insert(&queue, -2.5, 8);
  ok = PriorityQueue_getNext(&queue, &key, &payload) != 0 && key == -2.5 && payload == 8 &&
       queue.size == 1;
  PriorityQueue_free(&queue);
  return ok;
}

int main(void) { return environment_round_trip() && queue_round_trip() ? 0 : 1; }

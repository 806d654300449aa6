/* The three public headers in one C11 translation unit, and a round of calls through C linkage. */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

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

static void keep_text(const char *text, void *data) {
  char *kept = data;
  const size_t length = strlen(kept);
  if (length + strlen(text) < 1000) memcpy(kept + length, text, strlen(text) + 1);
}

/* One row, one column, and a cost of 3 in the row behind. */
static int reading_round_trip(void) {
  const double rhs[2] = {1.0, 0.0};
  const int16_t row_types[2] = {2, 1};
  const double column[2] = {2.0, 3.0};
  const int32_t tag = 9;
  char version[32], text[1000] = "";
  int32_t row = 0;
  double value = 0.0;
  QUARN_env *env = QUARN_set_data(1, 0, 2, 0, 10, NULL, rhs, row_types, NULL, NULL, NULL);
  QUARN_env copy = {0};
  int ok;
  if (env == NULL) return 0;
  QUARN_set_log(env, keep_text, text);
  ok = QUARN_add_dense_columns(env, column, &tag, 2, 1) == 1 &&
       QUARN_get_number_of_columns(env) == 1 && QUARN_get_column_tag(env, 0) == 9 &&
       QUARN_get_column_tag(env, 1) == -1 && QUARN_get_column_cost(env, 0) == 3.0 &&
       QUARN_get_column_entries(env, 0, 0, NULL, NULL) == 1 &&
       QUARN_get_column_entries(env, 0, 1, &row, &value) == 1 && row == 1 && value == 2.0 &&
       QUARN_get_column_entries(env, -1, 1, &row, &value) == -1;
  QUARN_set_lowerBnd(env, 5.0);
  QUARN_set_upperBnd(env, 6.0);
  QUARN_set_rel_gap(env, 0.5);
  ok = ok && QUARN_get_lower_bound(env) == 5.0 && QUARN_get_upper_bound(env) == 6.0 &&
       QUARN_get_relative_gap(env) == 0.5;
  QUARN_forget_bounds(env);
  ok = ok && env->lowerBnd == -1e30 && env->upperBnd == 1e30 && env->rel_gap == 10.0;
  ok = ok && QUARN_copy_environment(env, &copy) == 1;
  QUARN_print_gap_quarn(&copy);
  ok = ok && strcmp(text, "> duality gap: 1.00000000e+01\n") == 0;
  QUARN_set_log(&copy, QUARN_log_nothing, NULL);
  QUARN_print_gap_quarn(&copy);
  ok = ok && strcmp(text, "> duality gap: 1.00000000e+01\n") == 0;
  QUARN_free(&copy);
  QUARN_destroy(env);
  QUARN_destroy(NULL);
  sprintf(version, "%d.%d.%d", QUARN_VERSION_MAJOR, QUARN_VERSION_MINOR, QUARN_VERSION_PATCH);
  return ok && strcmp(version, QUARN_version()) == 0 &&
         strcmp(QUARN_status_text(3), "a restricted master problem could not be solved") == 0;
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

int main(void) {
  return environment_round_trip() && reading_round_trip() && queue_round_trip() ? 0 : 1;
}

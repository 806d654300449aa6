/* Covers three units of demand with one kind of column, of cost 2: the value is 6. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "quarn/quarn.h"

static const double kDemand = 3.0;
static const double kCost = 2.0;

/* The dual bound is demand * min(u, cost), the master's dual value demand * u. */
static int16_t price(double *ub_term, double *lb_term, QUARN_env *env, void *user_data) {
  const double reduced_cost = kCost - env->u[0];
  *ub_term = 0.0;
  *lb_term = kDemand * (reduced_cost < 0.0 ? reduced_cost : 0.0);
  if (reduced_cost < 0.0) {
    const double column[2] = {1.0, kCost};
    if (QUARN_add_dense_columns(env, column, NULL, 2, 1) < 0) return -1;
  }
  ++*(int *)user_data;
  return 1;
}

int main(void) {
  const double rhs[2] = {kDemand, 0.0};
  const int16_t row_types[2] = {2, 1};
  const double dual_lower[1] = {0.0};
  const double dual_upper[1] = {10.0};
  int calls = 0;
  QUARN_env *env =
      QUARN_set_data(1, 0, 2, 0, 50, NULL, rhs, row_types, dual_lower, dual_upper, &calls);
  int16_t status;
  double lower, upper;
  if (env == NULL) return 1;
  status = QUARN_solve_MP(env, price);
  lower = env->lowerBnd;
  upper = env->upperBnd;
  QUARN_free(env);
  free(env);
  printf("status %d, %d oracle calls, value in [%.9f, %.9f]\n", status, calls, lower, upper);
  return status == 0 && calls > 0 && fabs(lower - 6.0) < 1e-4 && fabs(upper - 6.0) < 1e-4 ? 0 : 1;
}

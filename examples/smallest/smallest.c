/*
 * The smallest use of the library: cutting stock with three sizes, priced by trying every pattern.
 *
 * Rolls of length 100 are cut into pieces of 45, 36 and 31; 97, 610 and 395 pieces are wanted. A
 * column of the master problem is a pattern a (pieces of each size cut from one roll):
 *
 *     minimise   sum_p x_p                      rolls used
 *     such that  sum_p a_ip x_p >= d_i          for each size i, with dual u_i >= 0
 *                x_p >= 0.
 *
 * The reduced cost of a pattern is 1 - u'a, so pricing looks for the pattern with the largest u'a
 * =: z. With z known, u / max(1, z) is feasible for the dual (no pattern is then worth more than
 * its roll), and its value d'u / max(1, z) is a lower bound of the master problem.
 */
#include <stdio.h>
#include <stdlib.h>

#include "quarn/quarn.h"

enum { kSizes = 3, kCostRow = kSizes };

static const int32_t kLength = 100;
static const int32_t kSize[kSizes] = {45, 36, 31};
static const double kDemand[kSizes + 1] = {97.0, 610.0, 395.0, 0.0}; /* the cost row stands last */

/* The most valuable pattern at the duals u; writes it and returns its value. */
static double best_pattern(const double *u, int32_t *best) {
  double best_value = 0.0;
  int32_t a[kSizes];
  for (a[0] = 0; a[0] * kSize[0] <= kLength; ++a[0]) {
    for (a[1] = 0; a[0] * kSize[0] + a[1] * kSize[1] <= kLength; ++a[1]) {
      a[2] = (kLength - a[0] * kSize[0] - a[1] * kSize[1]) / kSize[2];
      double value = u[0] * a[0] + u[1] * a[1] + u[2] * a[2];
      if (value > best_value) {
        best_value = value;
        for (int32_t i = 0; i < kSizes; ++i) best[i] = a[i];
      }
    }
  }
  return best_value;
}

/*
 * The oracle: prices the duals in env->u, adds the columns it finds, and says what the duals prove.
 * The library adds *lb_term to the value sum_i d_i u_i to get a lower bound. 1 means: the terms are
 * valid.
 */
static int16_t oracle(double *ub_term, double *lb_term, QUARN_env *env, void *user_data) {
  (void)user_data;
  const double *u = QUARN_get_dual_solution(env);
  int32_t pattern[kSizes] = {0};
  const double z = best_pattern(u, pattern);

  double value = 0.0;
  for (int32_t i = 0; i < kSizes; ++i) value += kDemand[i] * u[i];
  *ub_term = 0.0;
  *lb_term = z > 1.0 ? value / z - value : 0.0;
  if (z <= 1.0) return 1; /* nothing has a negative reduced cost */

  double column[kSizes + 1];
  for (int32_t i = 0; i < kSizes; ++i) column[i] = pattern[i];
  column[kCostRow] = 1.0;
  return QUARN_add_dense_columns(env, column, NULL, kSizes + 1, 1) < 0 ? -1 : 1;
}

static void print_solution(QUARN_env *env) {
  double *x = NULL;
  int32_t count = 0;
  QUARN_get_pointer_to_master_solution(env, &x, &count);
  QUARN_SMatrix_CW columns = {0};
  QUARN_get_pointer_to_master_columns(env, &columns);
  printf("\nrolls of the master problem: %.4f (at least %.4f)\n", env->upperBnd, env->lowerBnd);
  for (int32_t j = 0; j < count; ++j) {
    if (x[j] < 1e-3) continue;
    printf("%9.3f x", x[j]);
    for (int32_t k = columns.col_start[j] - 1; k < columns.col_start[j + 1] - 1; ++k) {
      const int32_t row = columns.rw[k]; /* rows count from 1 */
      if (row <= kSizes) printf("  %.0f of %d", columns.elt[k], (int)kSize[row - 1]);
    }
    printf("\n");
  }
}

/* The exit status, or 2 when something printed did not arrive, such as on a full disk. */
static int checked_output(int status) {
  if (fflush(stdout) == 0 && !ferror(stdout)) return status;
  fputs("standard output: cannot be written\n", stderr);
  return 2;
}

int main(void) {
  const int16_t at_least[kSizes + 1] = {2, 2, 2, 1};
  /* Three linking rows, no further rows, and at most 100 rounds of pricing. */
  QUARN_env *env =
      QUARN_set_data(kSizes, 0, kSizes + 1, 0, 100, NULL, kDemand, at_least, NULL, NULL, NULL);
  if (env == NULL) return EXIT_FAILURE;
  const int16_t status = QUARN_solve_MP(env, oracle);
  if (status == 0) print_solution(env);
  printf("status %d after %d rounds\n", status, (int)env->outer_iterations);
  QUARN_free(env);
  free(env);
  return checked_output(status == 0 ? EXIT_SUCCESS : EXIT_FAILURE);
}

// Reading a record without its layout, and the calls that a binding to another language needs: text
// sink, version, release in one call.

#include <cstdlib>

#include "quarn/internal.h"

#define QUARN_TEXT_OF(value) #value
#define QUARN_VERSION_TEXT(major, minor, patch) \
  QUARN_TEXT_OF(major) "." QUARN_TEXT_OF(minor) "." QUARN_TEXT_OF(patch)

namespace quarn {

static bool is_generated(const QUARN_env &env, int32_t k) {
  return k >= 0 && k < env.G->n - env.ncols_aux;
}

static ColumnView generated_column(const QUARN_env &env, int32_t k) {
  return column(*env.G, env.ncols_aux + k);
}

}  // namespace quarn

const char *QUARN_version(void) {
  return QUARN_VERSION_TEXT(QUARN_VERSION_MAJOR, QUARN_VERSION_MINOR, QUARN_VERSION_PATCH);
}

void QUARN_destroy(QUARN_env *env) {
  QUARN_free(env);
  std::free(env);
}

void QUARN_set_log(QUARN_env *env, QUARN_log function, void *data) {
  env->log_sink = function;
  env->log_data = data;
}

void QUARN_log_nothing(const char *, void *) {}

void QUARN_forget_bounds(QUARN_env *env) {
  env->upperBnd = env->upperBnd_prev = 1e30;
  env->lowerBnd = env->lowerBnd_actual = -1e30;
  env->rel_gap = 10.0;
  env->rel_gap_prev = env->abs_gap = env->abs_gap_prev = env->gap_ratio = 0.0;
}

double QUARN_get_lower_bound(const QUARN_env *env) { return env->lowerBnd; }
double QUARN_get_upper_bound(const QUARN_env *env) { return env->upperBnd; }
double QUARN_get_relative_gap(const QUARN_env *env) { return env->rel_gap; }
int32_t QUARN_get_outer_iterations(const QUARN_env *env) { return env->outer_iterations; }
int32_t QUARN_get_inner_iterations(const QUARN_env *env) { return env->inner_iterations; }
double QUARN_get_seconds(const QUARN_env *env) { return env->cputime; }
double QUARN_get_seconds_oracle(const QUARN_env *env) { return env->cputime_oracle; }
double QUARN_get_seconds_RMP(const QUARN_env *env) { return env->cputime_RMP; }

int32_t QUARN_get_number_of_columns(const QUARN_env *env) { return env->G->n - env->ncols_aux; }

int32_t QUARN_get_column_tag(const QUARN_env *env, int32_t k) {
  return quarn::is_generated(*env, k) && env->col_tag != nullptr ? env->col_tag[k] : -1;
}

double QUARN_get_column_cost(const QUARN_env *env, int32_t k) {
  double cost = 0.0;
  if (!quarn::is_generated(*env, k)) return cost;
  const quarn::ColumnView column = quarn::generated_column(*env, k);
  for (int32_t t = 0; t < column.length; ++t) {
    if (column.rw[t] == env->G->m) cost += column.elt[t];
  }
  return cost;
}

int32_t QUARN_get_column_entries(const QUARN_env *env, int32_t k, int32_t capacity, int32_t *rows,
                                 double *values) {
  if (!quarn::is_generated(*env, k)) return -1;
  const quarn::ColumnView column = quarn::generated_column(*env, k);
  int32_t count = 0;
  for (int32_t t = 0; t < column.length; ++t) {
    if (column.rw[t] == env->G->m) continue;
    if (count < capacity) {
      rows[count] = column.rw[t];
      values[count] = column.elt[t];
    }
    ++count;
  }
  return count;
}

const char *QUARN_status_text(int32_t status) {
  switch (status) {
    case 0:
      return "ended normally: the gap is closed or a limit is reached";
    case 2:
      return "the oracle reported an error, or memory is short";
    case 3:
      return "a restricted master problem could not be solved";
    case 5:
      return "the problem may be infeasible, or the dual box too tight";
    case 6:
      return "the limit of outer iterations is reached";
    case 7:
      return "a bound contradicts the bounds set on the objective";
    default:
      return "unknown status";
  }
}

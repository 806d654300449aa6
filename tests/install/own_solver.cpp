// A master problem with another solver behind the library: one that refuses every problem. The run
// must end with status 3, after the fresh load that follows a failed strategy.
#include <cstdio>
#include <cstdlib>

#include "interior_point/interior_point.h"
#include "quarn/quarn.h"

namespace {
IP_problem the_problem = {0};
int loads = 0;
}  // namespace

extern "C" {
IP_problem *load_Pb(void *, void *, const int32_t *, const int32_t *, const int32_t *,
                    const double *, const double *, const double *, const double *, const double *,
                    int32_t, int32_t n, int32_t, int32_t, int32_t, double, int32_t, int32_t,
                    int32_t, int32_t, int32_t, int32_t, int32_t, double, int32_t) {
  ++loads;
  the_problem.ncols = n;
  return &the_problem;
}
int32_t preproc_Pb(IP_problem *) { return 0; }
int32_t solve_Pb(IP_problem *, int32_t, IP_save_record *, double *, int32_t *, double *, double *,
                 double *, double *, double *, int32_t *) {
  return 2;
}
int32_t acpdm_Pb(IP_problem *, int32_t, IP_save_record *, double *, int32_t *, double *, double *,
                 double *, double *, double *, int32_t *, int32_t *) {
  return 2;
}
int32_t save_Pb(IP_problem *, IP_save_record *) { return 0; }
void free_Pb(IP_problem *) {}
void free_Pb_save(IP_save_record *) {}
int32_t get_opt_solution(IP_problem *, double *, double *, double *, double *, double *, double *) {
  return 0;
}
int32_t get_dual_solution(IP_problem *, double *) { return 0; }
}

int main() {
  const double rhs[2] = {1.0, 0.0};
  const int16_t row_types[2] = {2, 1};
  QUARN_env *env =
      QUARN_set_data(1, 0, 2, 0, 10, nullptr, rhs, row_types, nullptr, nullptr, nullptr);
  if (env == nullptr) return EXIT_FAILURE;
  const int16_t status = QUARN_solve_MP(env, nullptr);
  QUARN_free(env);
  std::free(env);
  std::printf("status %d after %d loads\n", status, loads);
  return status == 3 && loads == 2 ? EXIT_SUCCESS : EXIT_FAILURE;
}

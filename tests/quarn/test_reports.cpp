#include <gtest/gtest.h>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"

namespace {

using support::flushed_output;

void print_all(const QUARN_env *env) {
  QUARN_print_gap_quarn(env);
  QUARN_print_bnd_quarn(env);
  QUARN_print_iterations(env);
  QUARN_print_cputime(env);
}

TEST(Reports, ShowTheRecordsFieldsAndFlush) {
  support::Environment env;
  EXPECT_EQ(flushed_output([&] { print_all(env.get()); }),
            "> duality gap: 1.00000000e+01\n"
            "> lower bound: -1.00000000e+30\n"
            "> upper bound: 1.00000000e+30\n"
            "> outer iterations: 0\n"
            "> inner iterations: 0 (0)\n"
            "> CPU time: 0.00s (0.00s, 0.00s)\n");
  env->rel_gap = 1.0 / 3.0;
  env->lowerBnd = -12.5;
  env->upperBnd = 0.0;
  env->outer_iterations = 12;
  env->inner_iterations = 345;
  env->inner_iterations_ws = 67;
  env->cputime = 9.876;
  env->cputime_RMP = 5.432;
  env->cputime_oracle = 1.999;
  EXPECT_EQ(flushed_output([&] { print_all(env.get()); }),
            "> duality gap: 3.33333333e-01\n"
            "> lower bound: -1.25000000e+01\n"
            "> upper bound: 0.00000000e+00\n"
            "> outer iterations: 12\n"
            "> inner iterations: 345 (67)\n"
            "> CPU time: 9.88s (5.43s, 2.00s)\n");
}

TEST(Reports, EachFlushesOnItsOwnAndIgnoresANullRecord) {
  support::Environment env;
  for (const auto print : {QUARN_print_gap_quarn, QUARN_print_bnd_quarn, QUARN_print_iterations,
                           QUARN_print_cputime}) {
    EXPECT_EQ(flushed_output([&] { print(env.get()); }).substr(0, 2), "> ");
    EXPECT_EQ(flushed_output([&] { print(nullptr); }), "");
  }
}

}  // namespace

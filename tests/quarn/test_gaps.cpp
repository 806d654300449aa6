#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Gaps, HandCases) {
  const struct {
    const char *what;
    double lower, upper, lb, ub;
    int32_t k;
    double rel, ratio;
    const char *text;
  } rows[] = {
      {"crossed bounds are replaced by the candidates", 5, 3, 4, 6, 2, 2 / (6 + 1e-10), 2,
       "\n[RESET UB] 3.000000 --> 6.000000 \n[RESET LB] 5.000000 --> 4.000000 "},
      {"candidates that cross too leave a negative gap", 5, 3, 6, 4, 2, -2 / (4 + 1e-10), -2,
       "\n[RESET UB] 3.000000 --> 4.000000 \n[RESET LB] 5.000000 --> 6.000000 "},
      {"no bounds yet", -1e30, 1e30, 1, 3, 2, 2, 2, ""},
      {"capped", 0, 1e-12, 1, 3, 2, 1e-12 / (1e-12 + 1e-10), 2, ""},
      {"a huge ratio is capped", -500, 1, 1, 3, 2, 10, 2, ""},
      {"first of a run compares with itself", 1, 2, 1, 3, 1, 1 / (2 + 1e-10), 1, ""},
      {"a first gap of zero has no ratio", 1, 2, 3, 3, 1, 1 / (2 + 1e-10), kNaN, ""},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    support::Environment env;
    env->abs_gap = 1.0;
    double lower = row.lower, upper = row.upper;
    int32_t result = -1;
    EXPECT_EQ(support::flushed_output([&] {
                result = QUARN_calculate_gaps(env.get(), &lower, &upper, row.lb, row.ub, row.k);
              }),
              row.text);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(env->rel_gap_prev, 10.0);
    EXPECT_EQ(env->rel_gap, row.rel);
    if (std::isnan(row.ratio)) {
      EXPECT_TRUE(std::isnan(env->gap_ratio));
    } else {
      EXPECT_EQ(env->gap_ratio, row.ratio);
    }
    EXPECT_EQ(env->abs_gap, row.ub - row.lb);
    EXPECT_EQ(env->abs_gap_prev, row.k == 1 ? row.ub - row.lb : 1.0);
    EXPECT_EQ(env->lowerBnd, -1e30) << "the pointers, not the fields, are the bounds";
  }
}

}  // namespace

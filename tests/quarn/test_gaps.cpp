#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Equal, or both not a number.
void expect_same(const char *what, double actual, double expected) {
  if (std::isnan(expected)) {
    EXPECT_TRUE(std::isnan(actual)) << what << " is " << actual;
  } else {
    EXPECT_EQ(actual, expected) << what;
  }
}

struct Gaps {
  double lower, upper, rel, rel_prev, abs, abs_prev, ratio;

  void update(double lb_candidate, double ub_candidate, int32_t k, std::string *text) {
    const double difference = ub_candidate - lb_candidate;
    if (lower > upper) {
      char line[1024];
      std::snprintf(line, sizeof line, "\n[RESET UB] %lf --> %lf \n[RESET LB] %lf --> %lf ", upper,
                    ub_candidate, lower, lb_candidate);
      *text += line;
      lower = lb_candidate;
      upper = ub_candidate;
    }
    rel_prev = rel;
    rel = (upper - lower) / (std::fabs(upper) + 1e-10);
    if (rel > 10.0) rel = 10.0;
    abs_prev = k == 1 ? difference : abs;
    abs = difference;
    ratio = abs / abs_prev;
  }
};

TEST(Gaps, FollowTheModelOverRandomSequences) {
  support::Random random(31);
  for (int run = 0; run < 50; ++run) {
    support::Environment env;
    Gaps model = {env->lowerBnd, env->upperBnd,     env->rel_gap,  env->rel_gap_prev,
                  env->abs_gap,  env->abs_gap_prev, env->gap_ratio};
    for (int32_t k = 1; k <= 40; ++k) {
      const int32_t iteration = random.chance(0.1) ? 1 : k;
      if (random.chance(0.8)) model.lower = env->lowerBnd = random.real(-100, 100);
      if (random.chance(0.8)) model.upper = env->upperBnd = random.real(-100, 100);
      if (random.chance(0.05)) model.upper = env->upperBnd = kNaN;
      const double lb = random.integer(-5, 5), ub = random.integer(-5, 5);
      std::string expected;
      model.update(lb, ub, iteration, &expected);
      const std::string text = support::flushed_output([&] {
        QUARN_calculate_gaps(env.get(), &env->lowerBnd, &env->upperBnd, lb, ub, iteration);
      });
      ASSERT_EQ(text, expected);
      expect_same("lowerBnd", env->lowerBnd, model.lower);
      expect_same("upperBnd", env->upperBnd, model.upper);
      expect_same("rel_gap", env->rel_gap, model.rel);
      expect_same("rel_gap_prev", env->rel_gap_prev, model.rel_prev);
      expect_same("abs_gap", env->abs_gap, model.abs);
      expect_same("abs_gap_prev", env->abs_gap_prev, model.abs_prev);
      expect_same("gap_ratio", env->gap_ratio, model.ratio);
      if (HasFailure()) return;
    }
  }
}

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
    expect_same("gap_ratio", env->gap_ratio, row.ratio);
    EXPECT_EQ(env->lowerBnd, -1e30) << "the pointers, not the fields, are the bounds";
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/support/records.h"

namespace {

using support::Environment;
using support::ProblemData;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// The rules on plain numbers. A side of the box is seen as an upper bound: `sign` -1 mirrors the
/// lower one, which the rules treat symmetrically.
struct Side {
  double bound, limit, cost;  // times sign: bound <= limit, cost = bound once written
};

struct BoxModel {
  std::vector<Side> upper, lower;  // lower: all values negated
  double upper_bound = 7.0, lower_bound = -3.0;
  int32_t exp_BD = 0;

  void open_to_limits() {
    exp_BD = 1;
    for (auto *sides : {&upper, &lower}) {
      for (Side &side : *sides) {
        if (!(side.limit > side.cost)) continue;
        side.cost = side.bound = side.limit;
        upper_bound = 1e30;
        lower_bound = -1e30;
      }
    }
  }

  void widen(Side *side, double dual, const double *factors) {
    if (!(side->bound > -1e-10) || !(side->limit > side->bound)) return;
    double next = side->limit;
    bool moved_on = true;
    const double shares[] = {0.8, 0.5, 0.3};
    for (int s = 0; s < 3; ++s) {
      if (!(dual > shares[s] * side->bound)) continue;
      next = side->bound * factors[s];
      if (next > side->limit) {
        next = side->limit;
        moved_on = false;
      }
      break;
    }
    if (moved_on) exp_BD = 0;
    side->bound = side->cost = next;
    upper_bound = 1e30;
  }

  void expand(double rel_gap, int32_t iterations, int32_t ncols_last, const double *u) {
    if (rel_gap < 0.1) return open_to_limits();
    if (iterations <= 3) return;
    exp_BD = 1;
    const double many[] = {1.1, 1.5, 2.0}, few[] = {1.01, 1.1, 1.5};
    const double *factors = ncols_last >= 100 ? many : few;
    for (size_t i = 0; i < upper.size(); ++i) {
      widen(&upper[i], u[i], factors);
      widen(&lower[i], -u[i], factors);
    }
  }
};

void expect_model(const QUARN_env &env, const BoxModel &model) {
  EXPECT_EQ(env.exp_BD, model.exp_BD);
  EXPECT_EQ(env.upperBnd, model.upper_bound);
  EXPECT_EQ(env.lowerBnd, model.lower_bound);
  const support::Columns columns = support::columns_of(*env.G);
  const auto m = model.upper.size();
  for (size_t i = 0; i < m; ++i) {
    const auto row = static_cast<int32_t>(i) + 1;
    EXPECT_EQ(env.u_UB[i], model.upper[i].bound) << "row " << i;
    EXPECT_EQ(env.u_LB[i], -model.lower[i].bound) << "row " << i;
    EXPECT_EQ(columns[i], (support::Column{{row, -1}, {env.G->m, model.lower[i].cost}}));
    EXPECT_EQ(columns[m + i], (support::Column{{row, 1}, {env.G->m, model.upper[i].cost}}));
  }
}

TEST(DualBox, ExpansionFollowsTheModelOverRandomRuns) {
  support::Random random(41);
  for (int run = 0; run < 300; ++run) {
    ProblemData setup;
    setup.m = random.integer(1, 4);
    const auto m = static_cast<size_t>(setup.m);
    for (size_t i = 0; i < m; ++i) {
      setup.dual_lower.push_back(random.one_of<double>({-1e10, -40, -2, 0, 3}));
      setup.dual_upper.push_back(random.one_of<double>({1e10, 40, 5, 0, -1}));
    }
    Environment env(setup);
    BoxModel model;
    for (size_t i = 0; i < m; ++i) {
      model.upper.push_back({setup.dual_upper[i], setup.dual_upper[i], setup.dual_upper[i]});
      model.lower.push_back({-setup.dual_lower[i], -setup.dual_lower[i], -setup.dual_lower[i]});
    }
    const double half = random.one_of<double>({1, 10, 0});
    if (random.chance(0.9)) {
      QUARN_set_dual_box(env.get(), -half, half);
      for (size_t i = 0; i < m; ++i) {
        model.upper[i].bound = env->u_UB[i];  // set_dual_box has a test of its own
        model.lower[i].bound = -env->u_LB[i];
      }
    }
    env->upperBnd = model.upper_bound;
    env->lowerBnd = model.lower_bound;
    model.exp_BD = env->exp_BD;
    for (int step = 0; step < 8; ++step) {
      env->rel_gap = random.one_of<double>({0.5, 0.5, 0.5, 0.1, 0.0999, kNaN});
      env->outer_iterations = random.integer(2, 8);
      env->ncols_last = random.one_of<int32_t>({0, 99, 100});
      std::vector<double> u;
      for (size_t i = 0; i < m; ++i) {
        const double share = random.one_of<double>({-1, -0.9, -0.6, -0.4, 0, 0.3, 0.5, 0.7, 0.95});
        u.push_back(share * (share > 0 ? env->u_UB[i] : -env->u_LB[i]));
      }
      QUARN_expand_bounds(env.get(), env->G, env->m, u.data());
      model.expand(env->rel_gap, env->outer_iterations, env->ncols_last, u.data());
      expect_model(*env.get(), model);
      if (HasFailure()) return;
    }
  }
}

TEST(DualBox, OneStepByHand) {
  const struct {
    const char *what;
    int32_t ncols_last, iterations;
    double dual, upper;
    int16_t exp_BD;
  } rows[] = {
      {"near the bound: a short step", 100, 4, 9, 11, 0},
      {"further inside: capped at the limit", 100, 4, 6, 12, 1},
      {"near zero: straight to the limit", 100, 4, 2, 12, 0},
      {"few columns: shorter steps", 99, 4, 9, 10.1, 0},
      {"the third iteration comes too early", 100, 3, 9, 10, 0},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    ProblemData setup;
    setup.m = 1;
    setup.dual_lower = {-10};
    setup.dual_upper = {12};
    Environment env(setup);
    QUARN_set_dual_box(env.get(), -10, 10);
    env->ncols_last = row.ncols_last;
    env->outer_iterations = row.iterations;
    QUARN_expand_bounds(env.get(), env->G, 1, &row.dual);
    EXPECT_DOUBLE_EQ(env->u_UB[0], row.upper);
    EXPECT_EQ(env->exp_BD, row.exp_BD);
    EXPECT_EQ(env->u_LB[0], -10);
  }
}

TEST(DualBox, NarrowingRespectsTheLimitsAndLeavesTheCosts) {
  const struct {
    double limit_low, limit_high, low, high, expected_low, expected_high;
  } rows[] = {{-1e10, 1e10, -5, 5, -5, 5}, {-2, 3, -5, 5, -2, 3}, {3, -3, -5, 5, 0, 0},
              {0, 0, -5, 5, 0, 0},         {-2, 2, 1, -1, 1, -1}, {kNaN, kNaN, -5, 5, 0, 0},
              {3, -3, 4, -4, 4, -4}};
  for (const auto &row : rows) {
    SCOPED_TRACE(testing::Message() << row.limit_low << " " << row.limit_high);
    ProblemData setup;
    setup.m = 1;
    Environment env(setup);
    env->u_LB_user[0] = row.limit_low;  // set-up refuses what is not a number
    env->u_UB_user[0] = row.limit_high;
    const std::string matrix = support::to_text({env->G->elt, env->G->elt + env->G->nz});
    QUARN_set_dual_box(env.get(), row.low, row.high);
    EXPECT_EQ(env->u_LB[0], row.expected_low);
    EXPECT_EQ(env->u_UB[0], row.expected_high);
    EXPECT_EQ(env->exp_BD, 0);
    EXPECT_EQ(support::to_text({env->G->elt, env->G->elt + env->G->nz}), matrix);
  }
}

/// Rows that came or went after set-up shift the rows under the box columns.
TEST(DualBox, RowsWithoutBoxColumnsAreNotExpanded) {
  for (const double rel_gap : {0.5, 0.01}) {
    ProblemData setup;
    setup.dual_lower = {-40, -40};
    setup.dual_upper = {40, 40};
    Environment env(setup);
    support::add_columns(env.get(), {{{1, 1}, {3, 9}}, {{2, 1}, {3, 8}}});
    const double rhs = 1, low = -30, high = 30;
    const int32_t type = 2;
    const support::RowBatch cut(2, {{{1, 5}, {2, 6}}});
    ASSERT_EQ(QUARN_add_rows(env.get(), cut.get(), &rhs, &type, &low, &high, nullptr), 1);
    const support::Columns before = support::columns_of(*env->G);
    QUARN_set_dual_box(env.get(), -1, 1);
    env->rel_gap = rel_gap;
    env->outer_iterations = 9;
    // Costs below the limits, as a widening leaves them, so that opening has work to do.
    for (int32_t j = 0; j < 4; ++j) env->G->elt[2 * j + 1] = 2.0;
    const double u[] = {0, 0, 0, 0};
    QUARN_expand_bounds(env.get(), env->G, env->m, u);
    EXPECT_EQ(support::columns_of(*env->G), before) << "every box cost is back at its limit of 40";

    ASSERT_EQ(support::remove_rows(env.get(), {1, 3}, 1, 0), 1);  // one original row is left
    const support::Columns kept = support::columns_of(*env->G);
    QUARN_set_dual_box(env.get(), -1, 1);
    QUARN_expand_bounds(env.get(), env->G, env->m, u);
    const support::Columns now = support::columns_of(*env->G);
    for (size_t j = 4; j < now.size(); ++j) EXPECT_EQ(now[j], kept[j]) << "column " << j;
    for (size_t j = 0; j < 4; ++j) EXPECT_EQ(now[j].size(), kept[j].size());
    EXPECT_EQ(support::broken_invariants(*env.get()), "");
  }
}

}  // namespace

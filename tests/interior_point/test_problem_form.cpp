/// The form that is solved against the caller's problem: the same problem in other variables,
/// scaled by powers of two, and measured in the caller's units.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "interior_point/form/huge_bounds.h"
#include "interior_point/method/iterate.h"
#include "tests/interior_point/forms.h"

namespace {

using benchmarks::Interval;
using benchmarks::kEqual;
using benchmarks::kNoBound;
using benchmarks::LinearProgram;
using interior_point::Measures;
using interior_point::Point;
using interior_point::ProblemForm;
using interior_point::Residuals;
using random_programs::Random;
using random_programs::Traits;

/// A value for each of the caller's columns, within its bounds or beyond one of them, never near an
/// end; what the form took out has the value that it gave.
std::vector<double> draw_x(const LinearProgram &program, const ProblemForm &form, Random *random) {
  std::vector<double> x;
  for (size_t j = 0; j < program.cost.size(); ++j) {
    const double from = std::max(program.lower[j], -10.0);
    const double to = std::max(std::min(program.upper[j], 10.0), from + 1e-3);
    x.push_back(random->real(from - 0.3 * (to - from), to + 0.3 * (to - from)));
  }
  for (size_t k = 0; k < form.removed_user.size(); ++k) {
    x[static_cast<size_t>(form.removed_user[k])] = form.removed_value[k];
  }
  return x;
}

struct Activity {
  double value = 0.0, size = 1.0;
};

std::vector<Activity> activities(const LinearProgram &program, const std::vector<double> &x) {
  std::vector<Activity> result(program.rhs.size());
  for (size_t j = 0; j < x.size(); ++j) {
    for (auto t = static_cast<size_t>(program.start[j]);
         t < static_cast<size_t>(program.start[j + 1]); ++t) {
      Activity &a = result[static_cast<size_t>(program.row[t])];
      a.value += program.value[t] * x[j];
      a.size += std::fabs(program.value[t] * x[j]);
    }
  }
  return result;
}

bool is_within(double value, double width) { return value >= 0.0 && value <= width; }

/// The columns of the form say of x what the bounds do.
void expect_same_bounds(const LinearProgram &program, const ProblemForm &form,
                        const std::vector<double> &x, Point *point) {
  for (int32_t j = 0; j < form.structurals; ++j) {
    const auto user = static_cast<size_t>(form.user_column[j]);
    point->x[j] = (x[user] - form.shift[j]) * form.sign[j] * form.column_unit[j];
    const bool expected = program.lower[user] <= x[user] && x[user] <= program.upper[user];
    EXPECT_EQ(form.is_free[j] || is_within(point->x[j], form.width[j]), expected) << user;
  }
}

/// With the slacks set to what makes A x = b, or the residual where a row has none, the rows do.
void expect_same_rows(const LinearProgram &program, const ProblemForm &form,
                      const std::vector<double> &x, double error, Point *point) {
  const std::vector<Activity> activity = activities(program, x);
  interior_point::Vector<double> rest = form.b;
  for (int32_t j = 0; j < form.structurals; ++j) {
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      rest[form.A.row[t]] -= form.A.value[t] * point->x[j];
    }
  }
  std::vector<bool> has_slack(static_cast<size_t>(form.rows()), false);
  for (int32_t j = form.structurals; j < form.columns(); ++j) {
    const int32_t i = form.slack_row[j - form.structurals];
    const Activity &own = activity[static_cast<size_t>(form.user_row[i])];
    const Interval bounds = row_bounds(program, form.user_row[i]);
    has_slack[static_cast<size_t>(i)] = true;
    point->x[j] = rest[i] / form.A.value[form.A.start[j]];
    const double near =
        std::min(std::fabs(own.value - bounds.lower), std::fabs(own.value - bounds.upper));
    if (near < 100.0 * error *
                   (own.size + std::fabs(program.rhs[static_cast<size_t>(form.user_row[i])]))) {
      continue;
    }
    EXPECT_EQ(is_within(point->x[j], form.width[j]),
              bounds.lower <= own.value && own.value <= bounds.upper);
  }
  for (int32_t i = 0; i < form.rows(); ++i) {
    if (has_slack[static_cast<size_t>(i)]) continue;
    const auto user = static_cast<size_t>(form.user_row[i]);
    EXPECT_NEAR(rest[i] * form.row_unit[i], program.rhs[user] - activity[user].value,
                error * (activity[user].size + std::fabs(program.rhs[user])));
  }
}

/// `error` is the relative one of sums; shifts by huge bounds cost digits.
void expect_same_problem(const LinearProgram &program, const ProblemForm &form, Random *random,
                         double error = 1e-11) {
  const std::vector<double> x = draw_x(program, form, random);
  Point point;
  point.resize(form);
  expect_same_bounds(program, form, x, &point);
  expect_same_rows(program, form, x, error, &point);
  double objective = 0.0, size = 1e-300, own = form.objective_constant;
  for (size_t j = 0; j < x.size(); ++j) objective += program.cost[j] * x[j];
  for (int32_t j = 0; j < form.columns(); ++j) {
    own += form.c[j] * point.x[j];
    size += std::fabs(form.c[j] * point.x[j]);
  }
  size += std::fabs(form.objective_constant) + std::fabs(objective);
  EXPECT_NEAR(own, objective, error * size);
  const std::vector<double> back = forms::caller_x(form, point);
  for (size_t j = 0; j < x.size(); ++j) EXPECT_NEAR(back[j], x[j], error * (1.0 + std::fabs(x[j])));
}

bool is_power_of_two(double value) {
  int exponent = 0;
  return std::frexp(value, &exponent) == 0.5;
}

double largest_in_column(const ProblemForm &form, int32_t j) {
  double most = 0.0;
  for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
    most = std::max(most, std::fabs(form.A.value[t]));
  }
  return most;
}

/// Exact factors; slacks in the unit of their row; entries of at most about 1; and, beside no
/// penalties, costs and right-hand sides of one size.
void expect_scaled(const ProblemForm &form, bool are_costs_alike) {
  for (int32_t i = 0; i < form.rows(); ++i) {
    ASSERT_TRUE(is_power_of_two(form.row_scale[i]));
    ASSERT_EQ(form.row_scale[i] * form.row_unit[i], 1.0);
  }
  double cost = 0.0, least = HUGE_VAL, rhs = 0.0;
  for (int32_t j = 0; j < form.columns(); ++j) {
    ASSERT_TRUE(is_power_of_two(form.column_scale[j]));
    ASSERT_EQ(form.column_scale[j] * form.column_unit[j], 1.0);
    const double largest = largest_in_column(form, j);
    cost = std::max(cost, std::fabs(form.c[j]));
    if (form.c[j] != 0.0) least = std::min(least, std::fabs(form.c[j]));
    if (j >= form.structurals) {
      EXPECT_EQ(largest, 1.0);
    } else if (!form.has_penalties) {
      EXPECT_GT(largest, 0.7);
      EXPECT_LT(largest, 1.42);
    }
  }
  if (cost > 0.0 && !form.has_penalties) {
    EXPECT_TRUE(least <= form.reference_cost && form.reference_cost <= cost);
  }
  for (const double b : form.b) rhs = std::max(rhs, std::fabs(b));
  if (!are_costs_alike || form.has_penalties || cost == 0.0 || rhs == 0.0) return;
  EXPECT_LT(std::fabs(std::log2(cost / rhs)), 1.01);
}

class FormOf : public testing::TestWithParam<Traits> {};

TEST_P(FormOf, IsTheCallersProblemInOtherVariables) {
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed + 1000);
    const LinearProgram program = random_programs::draw_known(GetParam(), seed).program;
    const ProblemForm form = forms::form_of(program);
    EXPECT_EQ(form.verdict, interior_point::Verdict::kOpen);
    for (int repeat = 0; repeat < 3; ++repeat) expect_same_problem(program, form, &random);
    expect_scaled(form, GetParam().cost_decades[1] <= 1);
  }
}

INSTANTIATE_TEST_SUITE_P(Families, FormOf, testing::ValuesIn(random_programs::families()),
                         [](const auto &family) { return family.param.name; });

/// Costs far above the others, on columns of one entry or of several.
TEST(Scaling, BringsPenaltiesDownToTheOtherCosts) {
  for (const double penalty : {1e2, 1e5, 1e10}) {
    // Few columns or many: the reference is their cost, not that of the penalties.
    for (const int32_t columns : {8, 100}) {
      const ProblemForm form =
          forms::form_of(random_programs::draw_rmp(20, 0, columns, penalty, 1));
      EXPECT_EQ(form.has_penalties, penalty > 1e4);
      for (int32_t j = 0; j < form.structurals; ++j) {
        ASSERT_TRUE(is_power_of_two(form.column_scale[j]));
        EXPECT_LE(std::fabs(form.c[j]), 1.5e3 * form.reference_cost);
        if (form.c[j] * form.column_unit[j] < 1e8) continue;
        EXPECT_NEAR(std::log2(std::fabs(form.c[j]) / form.reference_cost), 0.0, 0.6);
      }
      EXPECT_EQ(form.least_cost, 1.0);
    }
  }
}

TEST(Scaling, TakesRowsInUnitsOfPowersOfTwoForTheSame) {
  Traits traits;
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    Random random(seed);
    LinearProgram program = random_programs::draw_known(traits, seed).program;
    const ProblemForm form = forms::form_of(program);
    std::vector<double> unit;
    for (double &b : program.rhs) {
      unit.push_back(std::ldexp(1.0, random.integer(-9, 9)));
      b *= unit.back();
    }
    for (size_t i = 0; i < unit.size(); ++i) {
      if (program.row_range[i] < kNoBound) program.row_range[i] *= unit[i];
    }
    for (size_t t = 0; t < program.row.size(); ++t) {
      program.value[t] *= unit[static_cast<size_t>(program.row[t])];
    }
    const ProblemForm other = forms::form_of(program);
    EXPECT_EQ(form.A.value, other.A.value);
    EXPECT_EQ(form.b, other.b);
    EXPECT_EQ(form.c, other.c);
    EXPECT_EQ(form.width, other.width);
  }
}

/// A column between huge bounds is free, and the same problem once they are imposed.
TEST(HugeBounds, AreLeftOutTriedAgainstAndImposed) {
  Traits traits;
  traits.bounded = 1.0;
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    LinearProgram program = random_programs::draw_known(traits, seed).program;
    for (size_t j = 0; j < program.cost.size(); ++j) {
      if (random.chance(0.4)) {
        program.lower[j] = random.chance(0.2) ? -kNoBound : -2e6 * random.real(1.0, 9.0);
        program.upper[j] = random.chance(0.2) ? kNoBound : 2e6 * random.real(1.0, 9.0);
      }
    }
    const ProblemForm form = forms::form_of(program);
    expect_same_problem(program, form, &random, 1e-8);
    Point point;
    point.resize(form);
    EXPECT_TRUE(keeps_to_huge_bounds(form, point.x));
    for (const auto &bounds : form.huge_bounds) {
      const int32_t j = bounds.column;
      const auto user = static_cast<size_t>(form.user_column[j]);
      EXPECT_TRUE(form.is_free[j]);
      for (const double end : {program.lower[user], program.upper[user]}) {
        if (std::fabs(end) >= kNoBound) continue;
        point.x[j] = 0.999 * end * form.column_unit[j];
        EXPECT_TRUE(keeps_to_huge_bounds(form, point.x));
        point.x[j] = 1.001 * end * form.column_unit[j];
        EXPECT_FALSE(keeps_to_huge_bounds(form, point.x));
      }
      point.x[j] = 0.0;
    }
    const ProblemForm imposed = with_huge_bounds(form);
    expect_same_problem(program, imposed, &random, 1e-8);
    for (const auto &bounds : form.huge_bounds) {
      EXPECT_FALSE(imposed.is_free[bounds.column]);
      EXPECT_NE(imposed.fingerprint[bounds.column], form.fingerprint[bounds.column]);
    }
  }
}

/// A column that is measured from its other bound is another one, its entries being the same.
TEST(ProblemForm, TellsReflectedColumnsFromOthers) {
  LinearProgram program;
  program.add_row(kEqual, 1.0);
  for (int k = 0; k < 2; ++k) program.add_column(1.0, 0.0, kNoBound, {{0, 1.0}});
  program.add_column(1.0, -kNoBound, 0.0, {{0, 1.0}});
  const ProblemForm form = forms::form_of(program);
  EXPECT_EQ(form.fingerprint[0], form.fingerprint[1]);
  EXPECT_NE(form.fingerprint[0], form.fingerprint[2]);
}

TEST(ProblemForm, TellsContradictionsWithoutAnIteration) {
  using interior_point::Verdict;
  const auto verdict = [](const LinearProgram &program) { return forms::form_of(program).verdict; };
  struct Case {
    int32_t type;
    double rhs, range;
    bool holds;  ///< whether 0 is in the row
  };
  for (const Case &c : {Case{1, 0.0, kNoBound, true},
                        {1, 1.0, kNoBound, false},
                        {1, 1.0, -2.0, true},
                        {1, 1.0, 2.0, false},
                        {2, -1.0, kNoBound, true},
                        {2, 1.0, kNoBound, false},
                        {2, -2.0, 1.0, false},
                        {2, -2.0, 3.0, true},
                        {3, 1.0, kNoBound, true},
                        {3, -1.0, kNoBound, false},
                        {3, 2.0, 1.0, false},
                        {3, 2.0, 3.0, true}}) {
    LinearProgram program;
    program.add_row(c.type, c.rhs, c.range);
    EXPECT_EQ(verdict(program), c.holds ? Verdict::kOpen : Verdict::kInfeasible)
        << c.type << " " << c.rhs << " " << c.range;
  }
  for (const double cost : {-1.0, 0.0, 1.0}) {
    LinearProgram program;
    program.add_column(cost, 0.0, kNoBound, {});
    EXPECT_EQ(verdict(program), cost < 0.0 ? Verdict::kUnbounded : Verdict::kOpen);
    program.add_column(0.0, 1.0, 0.5, {});
    EXPECT_EQ(verdict(program), Verdict::kInfeasible);
  }
}

/// The measures (7) by their definition, from everything in the caller's units.
Measures measures_by_definition(const ProblemForm &form, const Point &point, bool with_backward) {
  Measures m;
  const auto m_rows = static_cast<size_t>(form.rows());
  std::vector<double> r(m_rows), row_term(m_rows, 0.0);
  double largest_b = 0.0, dual_objective = 0.0, sum = 0.0;
  for (size_t i = 0; i < m_rows; ++i) {
    r[i] = form.b[i] / form.row_scale[i];
    largest_b = std::max(largest_b, std::fabs(r[i]));
    dual_objective += form.b[i] * point.y[i];
  }
  std::vector<double> product, v(static_cast<size_t>(form.columns()), 0.0);
  m.dual = m.primal = m.bound = m.objective = 0.0;
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    const int32_t j = form.boxed[k];
    const double h = form.width[j] * form.column_scale[j];
    v[static_cast<size_t>(j)] = point.v[k];
    dual_objective -= form.width[j] * point.v[k];
    product.push_back(point.w[k] * point.v[k]);
    m.bound = std::max(m.bound,
                       std::fabs(h - (point.x[j] + point.w[k]) * form.column_scale[j]) / (1.0 + h));
  }
  for (int32_t j = 0; j < form.columns(); ++j) {
    const double x = point.x[j] * form.column_scale[j];
    double d = form.c[j] - point.z[j] + v[static_cast<size_t>(j)], term = 0.0;
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      const auto i = static_cast<size_t>(form.A.row[t]);
      const double a = form.A.value[t] / (form.row_scale[i] * form.column_scale[j]);
      r[i] -= a * x;
      row_term[i] = std::max(row_term[i], std::fabs(a * x));
      d -= form.A.value[t] * point.y[i];
      term = std::max(term, std::fabs(a * point.y[i] * form.row_scale[i]));
    }
    m.dual = std::max(m.dual, std::fabs(d) / form.column_scale[j] /
                                  (1.0 + std::fabs(form.c[j] / form.column_scale[j]) +
                                   (with_backward ? 0.01 * term : 0.0)));
    m.objective += form.c[j] * point.x[j];
    if (!form.is_free[j]) product.push_back(point.x[j] * point.z[j]);
  }
  for (size_t i = 0; i < m_rows; ++i) {
    m.primal = std::max(
        m.primal, std::fabs(r[i]) / (1.0 + largest_b + (with_backward ? 0.01 * row_term[i] : 0.0)));
  }
  m.objective += form.objective_constant;
  m.dual_objective = dual_objective + form.objective_constant;
  m.gap = std::fabs(m.objective - m.dual_objective) / std::fabs(m.objective);
  for (const double p : product) sum += p;
  m.mu = sum / static_cast<double>(product.size());
  m.asmall = *std::min_element(product.begin(), product.end()) / m.mu;
  m.alarge = *std::max_element(product.begin(), product.end()) / m.mu;
  return m;
}

TEST(Measures, AreThoseOfTheDefinitionInTheCallersUnits) {
  Traits traits;
  traits.scale_decades = 2.0, traits.bounded = 0.7, traits.ranges = 0.3;
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const ProblemForm form = forms::form_of(random_programs::draw_known(traits, seed).program);
    if (form.pairs == 0) continue;
    const Point point = forms::random_interior_point(form, &random);
    Residuals residuals;
    residuals.resize(form);
    compute_residuals(form, point, &residuals);
    for (const bool strict : {true, false}) {
      const Measures m = measure(form, point, residuals, strict ? 0.0 : HUGE_VAL);
      const Measures own = measures_by_definition(form, point, strict);
      const double pairs[][2] = {{m.primal, own.primal},
                                 {m.dual, own.dual},
                                 {m.bound, own.bound},
                                 {m.gap, own.gap},
                                 {m.mu, own.mu},
                                 {m.asmall, own.asmall},
                                 {m.objective, own.objective},
                                 {m.alarge, own.alarge},
                                 {m.dual_objective, own.dual_objective}};
      for (const auto &[stated, defined] : pairs) {
        EXPECT_NEAR(stated, defined, 1e-10 * std::fabs(defined));
      }
    }
  }
}

/// minimise x - y subject to x + y = 2e6: p and d may be any numbers beside terms of 1e6.
TEST(Measures, ForgiveTheRoundingOfTheirSumsAndNoMoreThanAShareOfTheObjective) {
  LinearProgram program;
  program.add_row(kEqual, 2e6);
  program.add_column(1e5, 0.0, kNoBound, {{0, 1.0}});
  program.add_column(-1e5, 0.0, kNoBound, {{0, 1.0}});
  const ProblemForm form = forms::form_of(program);
  Point point;
  point.resize(form);
  Residuals residuals;
  residuals.resize(form);
  const auto gap = [&](double p, double d) {
    point.x = {(1e6 + 0.5e-5 * p) * form.column_unit[0], (1e6 - 0.5e-5 * p) * form.column_unit[1]};
    point.z = {1.0, 1.0};
    point.y = {d / 2e6 * form.row_unit[0]};
    compute_residuals(form, point, &residuals);
    return measure(form, point, residuals, 0.0).gap;
  };
  // Sums of terms of 2e11 are exact to about 4e-4.
  EXPECT_EQ(gap(1e6, 1e6 + 1e-4), 0.0);
  EXPECT_NEAR(gap(1e6, 1e6 + 1.0), 1e-6, 1e-9);
  // An objective of 10 may not have 4e-4 of it forgiven, but 1e-6.
  EXPECT_NEAR(gap(10.0, 10.0 + 1e-4), 1e-5, 5e-6);
}

}  // namespace

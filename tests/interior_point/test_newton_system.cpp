/// One step of the method against its definition: the Newton system (8) by both of its reductions,
/// the lengths of the steps, and the starting point, on random forms with columns of every kind.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "interior_point/form/huge_bounds.h"
#include "interior_point/linear_algebra/sparse_factorisation.h"
#include "interior_point/method/starting_point.h"
#include "interior_point/method/step.h"
#include "tests/interior_point/forms.h"

namespace {

using benchmarks::LinearProgram;
using interior_point::Direction;
using interior_point::Factorisation;
using interior_point::NewtonSystem;
using interior_point::Point;
using interior_point::ProblemForm;
using interior_point::Products;
using interior_point::Residuals;
using interior_point::Shares;
using interior_point::SolveAccuracy;
using interior_point::SparseColumns;
using interior_point::StepLengths;
using interior_point::Vector;
using random_programs::Random;
using random_programs::Traits;
using Matrix = Eigen::MatrixXd;
using Numbers = Eigen::VectorXd;

/// A form with boxed, free and one-sided columns, slacks and equalities, of independent rows.
ProblemForm draw_form(uint64_t seed) {
  Traits traits;
  traits.bounded = 0.7, traits.ranges = 0.3, traits.density = 0.5;
  traits.most_rows = 12;
  return forms::form_of(random_programs::draw_known(traits, seed).program);
}

/// Every third column that is not free, without those that a row cannot do without: what is left of
/// it in (14) needs a diagonal.
Vector<int32_t> some_columns(const ProblemForm &form) {
  Vector<uint8_t> taken(static_cast<size_t>(form.columns()), 0);
  Vector<int32_t> others(static_cast<size_t>(form.rows()), 0);
  for (int32_t j = 0; j < form.columns(); ++j) {
    taken[j] = j % 3 == 0 && !form.is_free[j];
    for (int32_t t = form.A.start[j]; !taken[j] && t < form.A.start[j + 1]; ++t) {
      ++others[form.A.row[t]];
    }
  }
  Vector<int32_t> columns;
  for (int32_t j = 0; j < form.columns(); ++j) {
    const int32_t *first = form.A.row.data() + form.A.start[j];
    const auto has_others = [&](int32_t i) { return others[i] > 0; };
    if (taken[j] && std::all_of(first, first + form.A.length(j), has_others)) columns.push_back(j);
  }
  return columns;
}

/// A stand-in that prescribes the factorisation: of the augmented system of these columns.
class Prescription : public Factorisation {
 public:
  explicit Prescription(const Vector<int32_t> &augmented) { augmented_columns_ = augmented; }
  bool compute(const double *, const double *) override { return false; }
  void solve(double *) const override {}
  void quadratic_forms(const SparseColumns &, double *) const override {}
  std::unique_ptr<Factorisation> sibling() const override { return nullptr; }
  double work() const override { return 0.0; }
  std::unique_ptr<Factorisation> adapted(const SparseColumns &A) const override {
    return make_sparse_factorisation(A, augmented_columns_, HUGE_VAL);
  }
};

/// Right-hand sides of (8), of which r_p is A times something: rows may depend on each other.
struct RightHandSides {
  Residuals residuals;
  Products products;

  RightHandSides(const ProblemForm &form, Random *random) {
    residuals.resize(form);
    products.resize(form);
    for (auto *part : {&residuals.width, &residuals.dual, &products.xz, &products.wv}) {
      for (double &e : *part) e = random->entry();
    }
    Vector<double> x(static_cast<size_t>(form.columns()));
    for (double &e : x) e = random->entry();
    add_product(form.A, x.data(), residuals.primal.data());
    for (int32_t j = 0; j < form.columns(); ++j) {
      if (form.is_free[j]) products.xz[j] = 0.0;
    }
  }
};

/// The five rows of (8), with A'dy - dx / theta = r_d for a free column.
void expect_solution(const ProblemForm &form, const Point &point, const Residuals *residuals,
                     const Products &products, const Vector<double> &theta, const Direction &d) {
  // The proximal terms leave delta dy of the rows, delta up to 1e-8, and rho dx of the columns.
  const double error = 1e-7, primal_error = 1e-5;
  Vector<double> rest(static_cast<size_t>(form.rows()), 0.0), v(theta.size(), 0.0);
  add_product(form.A, d.x.data(), rest.data());
  for (int32_t i = 0; i < form.rows(); ++i) {
    EXPECT_NEAR(rest[i], residuals ? residuals->primal[i] : 0.0, primal_error);
  }
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    const int32_t j = form.boxed[k];
    v[j] = d.v[k];
    EXPECT_NEAR(d.x[j] + d.w[k], residuals ? residuals->width[k] : 0.0, error);
    EXPECT_NEAR(point.v[k] * d.w[k] + point.w[k] * d.v[k], products.wv[k], error);
  }
  for (int32_t j = 0; j < form.columns(); ++j) {
    const double product = column_product(form.A, j, d.y.data());
    const double slack = form.is_free[j] ? -d.x[j] / theta[j] : d.z[j] - v[j];
    EXPECT_NEAR(product + slack, residuals ? residuals->dual[j] : 0.0,
                error * (1.0 + std::fabs(product)));
    EXPECT_NEAR(point.z[j] * d.x[j] + point.x[j] * d.z[j], products.xz[j],
                error * (1.0 + std::fabs(d.x[j])));
  }
}

TEST(NewtonSystem, IsSolvedByEitherReduction) {
  int augmented_systems = 0;
  for (uint64_t seed = 1; seed <= 80; ++seed) {
    const ProblemForm form = draw_form(seed);
    Random random(seed);
    const Point point = forms::random_interior_point(form, &random);
    // Every second program without refinement, which would put a wrong right-hand side right.
    const double accuracy = seed % 2 ? 1e-10 : HUGE_VAL;
    for (const bool augmented : {false, true}) {
      SCOPED_TRACE(std::to_string(seed) + (augmented ? " augmented" : " normal equations"));
      NewtonSystem newton(form);
      const Prescription prescription(augmented ? some_columns(form) : Vector<int32_t>());
      if (form.rows() > 0) newton.analyse(&prescription);
      ASSERT_TRUE(newton.prepare(point, 1.0));
      newton.set_accuracy({accuracy, HUGE_VAL, accuracy});
      if (form.rows() > 0)
        augmented_systems += !newton.factorisation()->augmented_columns().empty();
      Direction direction;
      direction.resize(form);
      // The first solution is refined, the next is taken as it comes.
      for (int repeat = 0; repeat < 2; ++repeat) {
        const RightHandSides rhs(form, &random);
        newton.solve(point, &rhs.residuals, rhs.products, &direction);
        expect_solution(form, point, &rhs.residuals, rhs.products, newton.theta(), direction);
        newton.solve(point, nullptr, rhs.products, &direction);
        expect_solution(form, point, nullptr, rhs.products, newton.theta(), direction);
      }
    }
  }
  EXPECT_GE(augmented_systems, 60);
}

/// Theta of free columns is x^2 / mu within its limits, which these x reach on both sides.
TEST(NewtonSystem, GivesFreeColumnsAThetaOfTheirSize) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    const ProblemForm form = draw_form(seed);
    Random random(seed);
    Point point = forms::random_interior_point(form, &random);
    for (int32_t j = 0; j < form.columns(); ++j) {
      if (form.is_free[j]) point.x[j] = random.power_of_ten(-2.0, 4.0);
    }
    NewtonSystem newton(form);
    ASSERT_TRUE(newton.prepare(point, 1e-4));
    for (int32_t j = 0; j < form.columns(); ++j) {
      if (!form.is_free[j]) continue;
      const double theta = std::clamp(point.x[j] * point.x[j] / 1e-4, 1e4, 1e10);
      EXPECT_NEAR(newton.theta()[j], theta, 1e-9 * theta);
    }
  }
}

/// Columns near their bounds, where one of the product and dual rows is the exact one.
TEST(NewtonSystem, KeepsProductsOfBasicColumnsAndDualRowsOfTheOthers) {
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    const ProblemForm form = draw_form(seed);
    Random random(seed);
    Point point = forms::random_interior_point(form, &random);
    for (int32_t j = 0; j < form.columns(); ++j) {
      if (!form.is_free[j]) (random.chance(0.5) ? point.x : point.z)[j] *= 1e-6;
    }
    NewtonSystem newton(form);
    ASSERT_TRUE(newton.prepare(point, 1e-6));
    newton.set_accuracy({1e-10, HUGE_VAL, 1e-10});
    const RightHandSides rhs(form, &random);
    Direction d;
    d.resize(form);
    newton.solve(point, &rhs.residuals, rhs.products, &d);
    Vector<double> v(static_cast<size_t>(form.columns()), 0.0);
    Vector<uint8_t> is_boxed(v.size(), 0);
    for (size_t k = 0; k < form.boxed.size(); ++k) {
      const int32_t j = form.boxed[k];
      v[j] = d.v[k];
      is_boxed[j] = 1;
      EXPECT_NEAR(d.x[j] + d.w[k], rhs.residuals.width[k], 1e-9 * (1.0 + std::fabs(d.x[j])));
    }
    for (int32_t j = 0; j < form.columns(); ++j) {
      if (form.is_free[j]) continue;
      const double left = point.z[j] * d.x[j], right = point.x[j] * d.z[j];
      if (!is_boxed[j] || point.z[j] < point.x[j]) {
        EXPECT_NEAR(left + right, rhs.products.xz[j], 1e-7 * (std::fabs(left) + 1.0));
      }
    }
  }
}

/// Rows in units 2^20 times as large: with 2^20 times the accuracy the same bits. Neither is
/// reached without a correction.
TEST(NewtonSystem, IsRefinedToAnAccuracyInTheCallersUnits) {
  constexpr double kUnit = 1 << 20, kAccuracy = 1e-14;
  int corrected = 0;
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    const ProblemForm form = draw_form(seed);
    ProblemForm in_large_units = form;
    for (double &e : in_large_units.row_unit) e *= kUnit;
    for (double &e : in_large_units.row_scale) e /= kUnit;
    Random random(seed);
    Point point = forms::random_interior_point(form, &random);
    for (int32_t j = 0; j < form.columns(); ++j) {
      if (!form.is_free[j]) (random.chance(0.5) ? point.x : point.z)[j] *= 1e-3;
    }
    const RightHandSides rhs(form, &random);
    const auto solution = [&](const ProblemForm &of, const SolveAccuracy &accuracy) {
      NewtonSystem newton(of);
      EXPECT_TRUE(newton.prepare(point, 1e-3));
      newton.set_accuracy(accuracy);
      Direction direction;
      direction.resize(of);
      newton.solve(point, &rhs.residuals, rhs.products, &direction);
      return direction;
    };
    const Direction refined = solution(form, {kAccuracy, HUGE_VAL, kAccuracy});
    const Direction of_large_units =
        solution(in_large_units, {kUnit * kAccuracy, HUGE_VAL, kUnit * kAccuracy});
    EXPECT_EQ(of_large_units.x, refined.x);
    EXPECT_EQ(of_large_units.y, refined.y);
    const Direction plain = solution(form, {HUGE_VAL, HUGE_VAL, 0.0});
    corrected += refined.y != plain.y;
    // A defect counts where there are duals to make one.
    EXPECT_EQ(solution(form, {HUGE_VAL, 0.0, kAccuracy}).y, refined.y);
    std::fill(point.y.begin(), point.y.end(), 0.0);
    EXPECT_EQ(solution(form, {HUGE_VAL, 0.0, kAccuracy}).y, plain.y);
  }
  EXPECT_GE(corrected, 20);
}

/// The largest residual of (9) in the caller's units: what is left of r_p beside delta dy, with the
/// delta that explains most of it.
double residual_beside_delta(const ProblemForm &form, const Residuals &residuals,
                             const Direction &d) {
  Numbers left(form.rows()), dy(form.rows());
  Vector<double> image(d.y.size(), 0.0);
  add_product(form.A, d.x.data(), image.data());
  for (int32_t i = 0; i < form.rows(); ++i) {
    left(i) = residuals.primal[i] - image[i];
    dy(i) = d.y[i];
  }
  left -= left.dot(dy) / dy.squaredNorm() * dy;
  double most = 0.0;
  for (int32_t i = 0; i < form.rows(); ++i) {
    most = std::max(most, std::fabs(left(i)) * form.row_unit[i]);
  }
  return most;
}

/// The few directions of a correction do for many rows of all units only where each is the inverse
/// image of a residual in the rows' own.
TEST(NewtonSystem, IsRefinedInRowsOfManyUnits) {
  Traits traits;
  traits.most_rows = 60, traits.most_columns = 120;
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    ProblemForm form = forms::form_of(random_programs::draw_known(traits, seed).program);
    Random random(seed);
    for (int32_t i = 0; i < form.rows(); ++i) {
      const double unit = std::ldexp(1.0, random.integer(-15, 15));
      form.row_unit[i] *= unit;
      form.row_scale[i] /= unit;
    }
    Point point = forms::random_interior_point(form, &random);
    for (int32_t j = 0; j < form.columns(); ++j) {
      if (!form.is_free[j]) (random.chance(0.5) ? point.x : point.z)[j] *= 1e-3;
    }
    const RightHandSides rhs(form, &random);
    NewtonSystem newton(form);
    Direction direction;
    direction.resize(form);
    double error[2] = {HUGE_VAL, 1e-9};  // what is allowed, then what is left
    for (double &e : error) {
      ASSERT_TRUE(newton.prepare(point, 1e-3));
      newton.set_accuracy({e, HUGE_VAL, e});
      newton.solve(point, &rhs.residuals, rhs.products, &direction);
      e = residual_beside_delta(form, rhs.residuals, direction);
    }
    EXPECT_LT(error[1], 1e-2 * error[0]) << seed;
  }
}

/// Rows that live on penalty columns have diagonal entries smaller than those of rows with ordinary
/// columns by many orders of magnitude. Where the others are more, delta must still be felt by
/// none.
TEST(NewtonSystem, RegularisesRowsThatLiveOnPenaltiesByTheirOwnSize) {
  constexpr int32_t kRows = 9, kOnPenalties = 3;
  constexpr double kMu = 1e7, kPenalty = 1e10;
  LinearProgram program;
  for (int32_t i = 0; i < kRows; ++i) {
    program.add_row(benchmarks::kGreaterEqual, 1.0);
    program.add_column(kPenalty, 0.0, benchmarks::kNoBound, {{i, 1.0}});
  }
  for (int32_t i = kOnPenalties; i < kRows; ++i) {
    program.add_column(1.0, 0.0, benchmarks::kNoBound, {{i, 1.0}, {(i + 1) % kRows, 1e-3}});
  }
  const ProblemForm form = forms::form_of(program);
  Point point;
  point.resize(form);
  const auto size = [&](int32_t j) {  // of x on the central path
    const int32_t i = j < form.structurals ? j : form.slack_row[j - form.structurals];
    if (j < kRows) return i < kOnPenalties ? 1.0 : kMu / kPenalty;
    return i < kOnPenalties ? kMu / kPenalty : kMu;
  };
  for (int32_t j = 0; j < form.columns(); ++j) {
    point.x[j] = size(j) / form.column_scale[j];
    point.z[j] = kMu / point.x[j];
  }
  Residuals residuals;
  residuals.resize(form);
  for (int32_t i = 0; i < kRows; ++i) residuals.primal[i] = 1.0 / form.row_unit[i];
  Products products;
  products.resize(form);
  Direction direction;
  direction.resize(form);
  NewtonSystem newton(form);
  ASSERT_TRUE(newton.prepare(point, kMu));
  newton.solve(point, &residuals, products, &direction);
  Vector<double> left = residuals.primal;
  for (double &e : direction.x) e = -e;
  add_product(form.A, direction.x.data(), left.data());
  for (int32_t i = 0; i < kRows; ++i) EXPECT_NEAR(left[i] * form.row_unit[i], 0.0, 1e-6) << i;
}

/// rho of a column goes down where it held the column back, and theta of free columns up.
TEST(NewtonSystem, LowersRegularisationWhereItHoldsAResidualUp) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    const ProblemForm form = draw_form(seed);
    Random random(seed);
    const Point point = forms::random_interior_point(form, &random);
    NewtonSystem newton(form);
    ASSERT_TRUE(newton.prepare(point, 1.0));
    const Vector<double> before = newton.theta();
    Direction direction;
    direction.resize(form);
    std::fill(direction.x.begin(), direction.x.end(), 1.0);
    newton.raise_free_theta(point, direction, {1e-6, HUGE_VAL});
    ASSERT_TRUE(newton.prepare(point, 1.0));
    for (int32_t j = 0; j < form.columns(); ++j) {
      EXPECT_NEAR(newton.theta()[j] / before[j], form.is_free[j] ? 10.0 : 1.0, 1e-9);
    }
    newton.reset_regularisation();
    ASSERT_TRUE(newton.prepare(point, 1.0));
    EXPECT_EQ(newton.theta(), before);
    // Where z / x is nothing beside rho; a residual of 1 is held up by rho dx of 10, not by less.
    Point flat = point;
    for (int32_t j = 0; j < form.columns(); ++j) flat.z[j] = form.is_free[j] ? 0.0 : 1e-16;
    for (double &v : flat.v) v = 1e-16;
    ASSERT_TRUE(newton.prepare(flat, 1.0));
    const Vector<double> bounded = newton.theta();
    Residuals residuals;
    residuals.resize(form);
    std::fill(residuals.dual.begin(), residuals.dual.end(), 1.0);
    for (int32_t j = 0; j < form.columns(); ++j) direction.x[j] = j % 2 ? 10.0 * bounded[j] : 1.0;
    newton.lower_primal_regularisation(residuals, flat, direction, {1.0, HUGE_VAL});
    ASSERT_TRUE(newton.prepare(flat, 1.0));
    for (int32_t j = 0; j < form.columns(); ++j) {
      const bool lowered = j % 2 && !form.is_free[j];
      EXPECT_NEAR(newton.theta()[j] / bounded[j], lowered ? 100.0 : 1.0, 1.0);
    }
  }
}

double ratio_test(const Vector<double> &value, const Vector<double> &change,
                  const Vector<uint8_t> *skip, double cap) {
  for (size_t j = 0; j < value.size(); ++j) {
    if (change[j] < 0.0 && !(skip && (*skip)[j])) cap = std::min(cap, -value[j] / change[j]);
  }
  return cap;
}

TEST(Step, LengthsAreThoseOfTheRatioTest) {
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Traits traits;
    traits.bounded = 0.8, traits.most_columns = 70;
    const ProblemForm form = forms::form_of(random_programs::draw_known(traits, seed).program);
    const Point point = forms::random_interior_point(form, &random);
    Direction direction = forms::random_interior_point(form, &random);
    // Few entries that shorten the step, or many.
    const double negative = random.chance(0.5) ? 0.03 : 0.5;
    for (auto *part : {&direction.x, &direction.w, &direction.z, &direction.v}) {
      for (double &e : *part) e = random.chance(negative) ? -10.0 * e : 0.1 * e;
    }
    for (const double cap : {1.0, 1.0 / 0.9}) {
      const StepLengths steps = steps_to_boundary(form, point, direction, cap);
      const double primal = ratio_test(point.x, direction.x, &form.is_free, cap);
      const double dual = ratio_test(point.z, direction.z, &form.is_free, cap);
      EXPECT_DOUBLE_EQ(steps.primal, ratio_test(point.w, direction.w, nullptr, primal));
      EXPECT_DOUBLE_EQ(steps.dual, ratio_test(point.v, direction.v, nullptr, dual));
    }
  }
}

/// The direction with a share of the correction in all parts.
Direction corrected(Direction direction, const Direction &correction, double share) {
  add_scaled(share, correction, &direction);
  return direction;
}

TEST(Step, SharesOfACorrectionLeadFurthest) {
  int32_t apart = 0;
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const ProblemForm form = draw_form(seed);
    const Point point = forms::random_interior_point(form, &random);
    Direction direction = forms::random_interior_point(form, &random);
    Direction correction = direction;
    for (Direction *d : {&direction, &correction}) {
      for (auto *part : {&d->x, &d->w, &d->z, &d->v}) {
        for (double &e : *part) e *= random.real(-1.0, 1.0);
      }
    }
    const double least = random.real(0.0, 1.0);
    const Shares shares = best_shares(form, point, direction, correction, least);
    EXPECT_GE(std::min(shares.primal, shares.dual), least - 1e-12);
    EXPECT_LE(std::max(shares.primal, shares.dual), 1.0);
    apart += shares.primal != shares.dual;
    Direction taken = direction;
    add_shares(shares, correction, &taken);
    const StepLengths steps = steps_to_boundary(form, point, taken);
    for (int32_t k = 0; k <= 8; ++k) {
      const double share = 1.0 - (1.0 - least) * k / 8;
      const StepLengths other =
          steps_to_boundary(form, point, corrected(direction, correction, share));
      EXPECT_GE(steps.primal, other.primal * (1.0 - 1e-12));
      EXPECT_GE(steps.dual, other.dual * (1.0 - 1e-12));
      // Of equals it is the largest.
      EXPECT_TRUE(share <= shares.primal || other.primal < steps.primal);
      EXPECT_TRUE(share <= shares.dual || other.dual < steps.dual);
    }
  }
  EXPECT_GT(apart, 20);
}

TEST(Step, AddsDirectionsPartByPart) {
  const ProblemForm form = draw_form(3);
  Random random(3);
  const Direction a = forms::random_interior_point(form, &random);
  const Direction b = forms::random_interior_point(form, &random);
  Direction scaled = a, sum = a;
  add_scaled(0.25, b, &scaled);
  set_sum(a, b, &sum);
  for (const auto part :
       {&Direction::x, &Direction::z, &Direction::w, &Direction::v, &Direction::y}) {
    ASSERT_FALSE((a.*part).empty());
    for (size_t k = 0; k < (a.*part).size(); ++k) {
      EXPECT_EQ((scaled.*part)[k], (a.*part)[k] + 0.25 * (b.*part)[k]);
      EXPECT_EQ((sum.*part)[k], (a.*part)[k] + (b.*part)[k]);
    }
  }
}

TEST(Step, AimsEachProductWhereItBelongs) {
  for (uint64_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const ProblemForm form = draw_form(seed);
    if (form.pairs == 0) continue;
    const Point point = forms::random_interior_point(form, &random);
    Direction direction = forms::random_interior_point(form, &random);
    for (int32_t j = 0; j < form.columns(); ++j) direction.z[j] *= !form.is_free[j];
    StepLengths steps;
    steps.primal = 0.5, steps.dual = 0.25;
    Point after = point;
    take_step(steps, direction, &after);
    Products aimed, second, corrected;
    for (Products *p : {&aimed, &second, &corrected}) p->resize(form);
    aim_at(form, point, 0.3, &aimed);
    aim_at_second_order(form, direction, &second);
    aim_at_neighbourhood(form, point, direction, steps, 1.0, 5.0, &corrected);
    double sum = 0.0;
    const auto check = [&](double x, double z, double dx, double dz, double next, double of_aimed,
                           double of_second, double of_corrected) {
      sum += next;
      EXPECT_NEAR(of_aimed, 0.3 - x * z, 1e-12 * (1.0 + x * z));
      EXPECT_NEAR(of_second, -dx * dz, 1e-12 * dx * dz);
      const double expected = next < 1.0   ? 1.0 - next
                              : next > 5.0 ? std::max(5.0 - next, -5.0)
                                           : 0.0;
      EXPECT_NEAR(of_corrected, expected, 1e-9);
    };
    for (int32_t j = 0; j < form.columns(); ++j) {
      if (form.is_free[j]) {
        EXPECT_EQ(std::fabs(aimed.xz[j]) + std::fabs(second.xz[j]) + std::fabs(corrected.xz[j]),
                  0.0);
      } else {
        check(point.x[j], point.z[j], direction.x[j], direction.z[j], after.x[j] * after.z[j],
              aimed.xz[j], second.xz[j], corrected.xz[j]);
      }
    }
    for (size_t k = 0; k < form.boxed.size(); ++k) {
      check(point.w[k], point.v[k], direction.w[k], direction.v[k], after.w[k] * after.v[k],
            aimed.wv[k], second.wv[k], corrected.wv[k]);
    }
    EXPECT_NEAR(mean_product_after(form, point, direction, steps), sum / form.pairs, 1e-9);
    for (int32_t i = 0; i < form.rows(); ++i) {
      EXPECT_DOUBLE_EQ(after.y[i], point.y[i] + 0.25 * direction.y[i]);
    }
  }
}

/// (10) by dense orthogonal decompositions: with theta = 1/2 for boxes, 1 for others, y solves
/// A Theta A'y = A c.
struct LeastSquares {
  Numbers xw, y, slack;

  explicit LeastSquares(const ProblemForm &form) {
    const Eigen::Index m = form.rows(), n = form.columns();
    const auto boxes = static_cast<Eigen::Index>(form.boxed.size());
    Matrix A = Matrix::Zero(m, n), both = Matrix::Zero(m + boxes, n + boxes);
    Numbers right(m + boxes);
    for (int32_t j = 0; j < n; ++j) {
      for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
        A(form.A.row[t], j) = form.A.value[t];
      }
    }
    both.topLeftCorner(m, n) = A;
    for (int32_t i = 0; i < m; ++i) right(i) = form.b[i];
    Numbers c(n), root = Numbers::Ones(n);
    for (int32_t j = 0; j < n; ++j) c(j) = form.c[j];
    for (Eigen::Index k = 0; k < boxes; ++k) {
      const int32_t j = form.boxed[k];
      both(m + k, j) = both(m + k, n + k) = 1.0;
      right(m + k) = form.width[j];
      root(j) = std::sqrt(0.5);
    }
    xw = both.completeOrthogonalDecomposition().solve(right);
    y = (root.asDiagonal() * A.transpose())
            .completeOrthogonalDecomposition()
            .solve(Numbers(c.cwiseQuotient(root)));
    slack = c - A.transpose() * y;
  }
};

/// Mehrotra's shifts of a pair of sides: first to be positive, then by the mean products.
TEST(StartingPoint, IsTheLeastSquaresOneShiftedIntoTheInterior) {
  int tried = 0;
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    const ProblemForm form = draw_form(seed);
    const LeastSquares reference(form);
    NewtonSystem newton(form);
    Point point;
    ASSERT_TRUE(make_starting_point(form, &newton, &point));
    EXPECT_EQ(newton.factorisation(), nullptr) << "its theta is that of no point";
    std::vector<double> x, z, own_x, own_z;
    for (int32_t j = 0; j < form.columns(); ++j) {
      const double s = reference.slack(j);
      if (form.is_free[j]) {
        EXPECT_NEAR(point.x[j], reference.xw(j), 1e-6 * (1.0 + std::fabs(reference.xw(j))));
        EXPECT_EQ(point.z[j], 0.0);
        continue;
      }
      x.push_back(reference.xw(j));
      z.push_back(std::isfinite(form.width[j]) ? 0.5 * s : s);
      own_x.push_back(point.x[j]);
      own_z.push_back(point.z[j]);
    }
    for (size_t k = 0; k < form.boxed.size(); ++k) {
      x.push_back(reference.xw(form.columns() + static_cast<Eigen::Index>(k)));
      z.push_back(-0.5 * reference.slack(form.boxed[k]));
      own_x.push_back(point.w[k]);
      own_z.push_back(point.v[k]);
    }
    if (x.empty()) continue;
    ++tried;
    const auto shift = [](std::vector<double> *values, double by) {
      for (double &e : *values) e += by;
    };
    const auto to_positive = [](const std::vector<double> &values) {
      return std::max(-1.5 * *std::min_element(values.begin(), values.end()), 1e-3);
    };
    shift(&x, to_positive(x));
    shift(&z, to_positive(z));
    const double products = std::inner_product(x.begin(), x.end(), z.begin(), 0.0);
    const double sum_x = std::accumulate(x.begin(), x.end(), 0.0);
    const double sum_z = std::accumulate(z.begin(), z.end(), 0.0);
    shift(&x, 0.5 * products / sum_z);
    shift(&z, 0.5 * products / sum_x);
    for (size_t k = 0; k < x.size(); ++k) {
      EXPECT_NEAR(own_x[k], x[k], 1e-6 * (1.0 + std::fabs(x[k])));
      EXPECT_NEAR(own_z[k], z[k], 1e-6 * (1.0 + std::fabs(z[k])));
    }
  }
  EXPECT_GE(tried, 50);
}

/// A huge box has no part in the shifts: w is what x leaves of it, its product the others' mean.
TEST(StartingPoint, LeavesHugeBoxesOutAndCompletesTheirPairs) {
  Traits traits;
  traits.most_rows = 12;
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    const ProblemForm form = forms::form_of(
        random_programs::in_huge_boxes(random_programs::draw_known(traits, seed).program, 1e9));
    const Vector<uint8_t> huge = huge_boxes(form);
    NewtonSystem newton(form);
    Point point;
    ASSERT_TRUE(make_starting_point(form, &newton, &point));
    double products = 0.0, pairs = 0.0;
    for (int32_t j = 0; j < form.columns(); ++j) {
      products += point.x[j] * point.z[j];
      pairs += !form.is_free[j];
    }
    for (size_t k = 0; k < huge.size(); ++k) {
      if (huge[k]) continue;
      products += point.w[k] * point.v[k];
      ++pairs;
    }
    for (size_t k = 0; k < huge.size(); ++k) {
      if (!huge[k]) continue;
      const double width = form.width[form.boxed[k]];
      EXPECT_NEAR(point.w[k] + point.x[form.boxed[k]], width, 1e-9 * width);
      EXPECT_NEAR(point.w[k] * point.v[k], products / pairs, 1e-6 * products / pairs);
    }
  }
}

/// Where only penalty columns make the rows feasible: x_j alone meets the largest right-hand side,
/// or is half its width, and all products are one mu.
TEST(StartingPoint, OfPenaltiesIsCentredAtTheirEndOfThePath) {
  LinearProgram program = random_programs::draw_rmp(20, 5, 60, 1e8, 1);
  for (size_t j = 0; j < program.upper.size(); j += 3) program.upper[j] = 2.0;
  const ProblemForm form = forms::form_of(program);
  Point point;
  make_penalty_point(form, &point);
  double rhs = 1.0;
  for (const double b : form.b) rhs = std::max(rhs, std::fabs(b));
  const double mu = point.x[0] * point.z[0];
  EXPECT_GT(mu, rhs * form.reference_cost);
  for (int32_t j = 0; j < form.columns(); ++j) {
    double largest = 0.0;
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      largest = std::max(largest, std::fabs(form.A.value[t]));
    }
    EXPECT_NEAR(point.x[j], std::min(rhs / largest, 0.5 * form.width[j]), 1e-9 * point.x[j]);
    EXPECT_NEAR(point.x[j] * point.z[j], mu, 1e-9 * mu);
  }
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    EXPECT_EQ(point.w[k], form.width[form.boxed[k]] - point.x[form.boxed[k]]);
    EXPECT_NEAR(point.w[k] * point.v[k], mu, 1e-9 * mu);
  }
  for (const double y : point.y) EXPECT_EQ(y, 0.0);
}

}  // namespace

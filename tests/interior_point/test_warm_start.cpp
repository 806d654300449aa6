/// A saved point placed into the next problem: columns found by their contents whatever became of
/// their order, new ones and raised costs by the formulas of the method.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

#include "interior_point/linear_algebra/factorisation_choice.h"
#include "interior_point/method/approach.h"
#include "interior_point/method/block_centring.h"
#include "interior_point/method/solver.h"
#include "tests/interior_point/forms.h"

namespace {

using benchmarks::LinearProgram;
using interior_point::Code;
using interior_point::Point;
using interior_point::ProblemForm;
using interior_point::Request;
using interior_point::SavedPoint;
using interior_point::Solver;
using interior_point::Start;
using random_programs::Random;
using random_programs::Traits;
using Matrix = Eigen::MatrixXd;
using Numbers = Eigen::VectorXd;

constexpr double kMu = 0.7;                 // of the point
constexpr double kFactorisationMu = 500.0;  // with it the ellipsoid is wide: new cuts are shallow

/// A program, an interior point of its form, and the record of both.
struct Earlier {
  LinearProgram program;
  ProblemForm form;
  Point point;
  SavedPoint saved;
  Matrix M;  ///< A Theta A' of its factorisation, in the form's units

  Earlier(LinearProgram given, Random *random)
      : program(std::move(given)),
        form(forms::form_of(program)),
        point(forms::random_interior_point(form, random)) {}

  void save(Random *random) {
    interior_point::Vector<double> theta(static_cast<size_t>(form.columns()));
    interior_point::Vector<double> added(static_cast<size_t>(form.rows()), 0.5);
    for (double &e : theta) e = random->power_of_ten(-1.0, 1.0);
    std::shared_ptr<interior_point::Factorisation> f = make_factorisation(form.A);
    ASSERT_TRUE(f->compute(theta.data(), added.data()));
    Matrix A = Matrix::Zero(form.rows(), form.columns());
    for (int32_t j = 0; j < form.columns(); ++j) {
      for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
        A(form.A.row[t], j) = form.A.value[t];
      }
    }
    const Numbers diagonal = Eigen::Map<Numbers>(theta.data(), form.columns());
    M = A * diagonal.asDiagonal() * A.transpose() +
        0.5 * Matrix::Identity(form.rows(), form.rows());
    saved = save_point(form, point, kMu, {f, form.row_scale, kFactorisationMu});
  }
};

LinearProgram draw_program(uint64_t seed, int32_t least_columns) {
  Traits traits;
  traits.bounded = 0.5, traits.ranges = 0.3, traits.density = 0.7, traits.most_rows = 8;
  for (uint64_t k = 0;; ++k) {
    LinearProgram program = random_programs::draw_known(traits, seed + 1000 * k).program;
    if (program.columns() >= least_columns && program.rows() > 2) return program;
  }
}

/// The pairs of a column or slack in the caller's units; w and v are 0 where it has no width.
struct Pairs {
  double x, z, w, v;
};
bool operator==(const Pairs &a, const Pairs &b) {
  const auto same = [](double p, double q) { return std::fabs(p - q) <= 1e-12 * std::fabs(p); };
  return same(a.x, b.x) && same(a.z, b.z) && same(a.w, b.w) && same(a.v, b.v);
}

Pairs pairs_of(const ProblemForm &form, const Point &point, int32_t j) {
  const double scale = form.column_scale[j];
  Pairs result = {point.x[j] * scale, point.z[j] / scale, 0.0, 0.0};
  const auto at = std::lower_bound(form.boxed.begin(), form.boxed.end(), j);
  if (at == form.boxed.end() || *at != j) return result;
  result.w = point.w[at - form.boxed.begin()] * scale;
  result.v = point.v[at - form.boxed.begin()] / scale;
  return result;
}

void expect_same_rows(const Earlier &earlier, const ProblemForm &form, const Point &point) {
  EXPECT_EQ(forms::caller_y(form, point), forms::caller_y(earlier.form, earlier.point));
  ASSERT_EQ(form.slack_row, earlier.form.slack_row);
  for (size_t k = 0; k < form.slack_row.size(); ++k) {
    const auto at = static_cast<int32_t>(k);
    EXPECT_EQ(pairs_of(form, point, form.structurals + at),
              pairs_of(earlier.form, earlier.point, earlier.form.structurals + at));
  }
}

TEST(WarmStart, FindsColumnsByTheirContents) {
  int tried = 0;
  for (uint64_t seed = 1; seed <= 80; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const LinearProgram drawn = draw_program(seed, 10);
    // Some columns twice: of equal ones the first is the first.
    std::vector<int32_t> list(static_cast<size_t>(drawn.columns()));
    std::iota(list.begin(), list.end(), 0);
    for (int32_t j = 0; j < 3; ++j) list.push_back(j);
    Earlier earlier(drawn.with_columns(list), &random);
    std::vector<int32_t> next(list.size());
    std::iota(next.begin(), next.end(), 0);
    if (seed % 3 > 0) std::shuffle(next.begin() + 2, next.end(), random.engine());
    // What is taken out must not have carried anything.
    for (const int32_t j : {3, 7}) {
      next.erase(std::find(next.begin(), next.end(), j));
      for (int32_t k = 0; k < earlier.form.structurals; ++k) {
        if (earlier.form.user_column[k] == j) earlier.point.x[k] = 1e-6;
      }
    }
    earlier.save(&random);
    const ProblemForm form = forms::form_of(earlier.program.with_columns(next));
    if (form.user_row != earlier.form.user_row) continue;
    ++tried;
    Point point;
    ASSERT_TRUE(restore_point(earlier.saved, form, &point));
    std::map<int32_t, std::vector<Pairs>> expected, own;  // by the column that was drawn
    for (int32_t j = 0; j < earlier.form.structurals; ++j) {
      const int32_t user = earlier.form.user_column[j];
      if (user == 3 || user == 7) continue;
      expected[list[static_cast<size_t>(user)]].push_back(pairs_of(earlier.form, earlier.point, j));
    }
    for (int32_t j = 0; j < form.structurals; ++j) {
      const int32_t user = next[static_cast<size_t>(form.user_column[j])];
      own[list[static_cast<size_t>(user)]].push_back(pairs_of(form, point, j));
    }
    EXPECT_EQ(own, expected);
    expect_same_rows(earlier, form, point);
  }
  EXPECT_GE(tried, 60);
}

/// (11) with t_j by a dense solve: the mu of the factorisation makes the ellipsoid, that of the
/// point the products.
TEST(WarmStart, PlacesNewColumnsByTheEllipsoid) {
  int tried = 0, pulled_back = 0;
  for (uint64_t seed = 1; seed <= 80; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const LinearProgram program = draw_program(seed, 12);
    std::vector<int32_t> fewer(static_cast<size_t>(program.columns()) - 4);
    std::iota(fewer.begin(), fewer.end(), 0);
    Earlier earlier(program.with_columns(fewer), &random);
    earlier.save(&random);
    const ProblemForm form = forms::form_of(program);
    Point point;
    if (form.user_row != earlier.form.user_row || !restore_point(earlier.saved, form, &point)) {
      continue;
    }
    ++tried;
    const std::vector<double> y = forms::caller_y(form, point);
    std::map<int32_t, std::pair<double, double>> cut;  // per new column: rc_j, sqrt(mu t_j)
    double depth = 1.0;
    for (int32_t j = 0; j < form.structurals; ++j) {
      if (form.user_column[j] < earlier.program.columns()) continue;
      Numbers a = Numbers::Zero(form.rows());
      double reduced = form.c[j] * form.column_unit[j];
      for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
        const int32_t i = form.A.row[t];
        const double value = form.A.value[t] * form.row_unit[i] * form.column_unit[j];
        reduced -= value * y[static_cast<size_t>(form.user_row[i])];
        a(i) = value * earlier.form.row_scale[i];
      }
      const double half_width = std::sqrt(kFactorisationMu * a.dot(earlier.M.ldlt().solve(a)));
      cut[j] = {reduced, half_width};
      if (!form.is_free[j]) depth = std::max(depth, -reduced / half_width);
    }
    pulled_back += depth > 1.0;
    for (const auto &[j, of] : cut) {
      if (form.is_free[j]) continue;
      const Pairs own = pairs_of(form, point, j);
      const double z = std::max(of.first, of.second * std::sqrt(depth));
      const double width = form.width[j] * form.column_scale[j];
      EXPECT_NEAR(own.z, z, 1e-6 * z);
      EXPECT_NEAR(own.x, std::min(kMu * depth / z, 0.5 * width), 1e-6 * own.x);
      if (std::isinf(width)) continue;
      EXPECT_NEAR(own.w * own.v, kMu, 1e-9);
      EXPECT_NEAR(own.w + own.x, width, 1e-9 * width);
    }
    expect_same_rows(earlier, form, point);
  }
  EXPECT_GE(tried, 50);
  EXPECT_GE(pulled_back, 10);
}

/// A slack moves with the cost of its column, which keeps at least half of mu as its product.
TEST(WarmStart, MovesSlacksWithRaisedCosts) {
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Earlier earlier(draw_program(seed, 5), &random);
    earlier.save(&random);
    LinearProgram raised = earlier.program;
    for (double &c : raised.cost) c += random.real(0.0, 20.0);
    const ProblemForm form = forms::form_of(raised);
    Point point;
    ASSERT_TRUE(restore_point(earlier.saved, form, &point));
    for (int32_t j = 0; j < form.structurals; ++j) {
      const Pairs before = pairs_of(earlier.form, earlier.point, j), now = pairs_of(form, point, j);
      const auto user = static_cast<size_t>(form.user_column[j]);
      const double raise = form.sign[j] * (raised.cost[user] - earlier.program.cost[user]);
      if (form.is_free[j]) {
        EXPECT_NEAR(now.x, before.x, 1e-12 * std::fabs(before.x));
      } else if (before.z + raise > 0.0) {
        EXPECT_NEAR(now.z, before.z + raise, 1e-9 * (before.z + std::fabs(raise)));
        EXPECT_NEAR(now.x * now.z, std::max(before.x * before.z, 0.5 * kMu), 1e-8);
      }
    }
  }
}

TEST(WarmStart, RefusesOtherRowsAndPointsThatMissWhatCarriedThem) {
  Random random(1);
  Earlier earlier(draw_program(1, 10), &random);
  earlier.save(&random);
  Point point;
  EXPECT_TRUE(restore_point(earlier.saved, earlier.form, &point));
  EXPECT_EQ(point.x, earlier.point.x);
  EXPECT_EQ(point.v, earlier.point.v);
  LinearProgram other = earlier.program;
  other.add_row(benchmarks::kEqual, 1.0);
  other.add_column(1.0, 0.0, 1.0, {{other.rows() - 1, 1.0}});
  EXPECT_FALSE(restore_point(earlier.saved, forms::form_of(other), &point));
  for (const double carried : {1e-9, 1e9}) {
    Earlier without(earlier.program, &random);
    const int32_t gone = without.form.user_column[0];
    without.point.x[0] = carried;
    without.save(&random);
    std::vector<int32_t> rest;
    for (int32_t j = 0; j < without.program.columns(); ++j) {
      if (j != gone) rest.push_back(j);
    }
    const ProblemForm form = forms::form_of(without.program.with_columns(rest));
    ASSERT_EQ(form.user_row, without.form.user_row);
    EXPECT_EQ(restore_point(without.saved, form, &point), carried < 1.0);
  }
}

/// A cut deeper than 60 half-widths, or many whose squared depths sum up to more than 400^2, makes
/// the point worthless, unless its duals are those of an active box.
TEST(WarmStart, RefusesDeepCutsAndManyLessDeepOnesUnlessTheBoxIsActive) {
  struct Case {
    double depth;
    int copies;
    bool taken;
  };
  for (const auto &[depth, copies, taken] :
       {Case{59.0, 1, true}, Case{61.0, 1, false}, Case{50.0, 60, true}, Case{50.0, 68, false},
        Case{20.0, 380, true}, Case{20.0, 420, false}}) {
    for (const double share_of_cost : {0.4, 0.6}) {
      Random random(7);
      LinearProgram program;
      for (int i = 0; i < 3; ++i) program.add_row(benchmarks::kEqual, random.entry());
      const auto dense = [&] {
        return std::vector<std::pair<int32_t, double>>{
            {0, random.entry()}, {1, random.entry()}, {2, random.entry()}};
      };
      program.add_column(2.0, 0.0, benchmarks::kNoBound, {{0, 1.0}});
      for (int j = 0; j < 4; ++j) program.add_column(1.0, 0.0, benchmarks::kNoBound, dense());
      Earlier earlier(program, &random);
      earlier.point.z[0] = share_of_cost * earlier.form.c[0];
      earlier.save(&random);
      const std::vector<double> y = forms::caller_y(earlier.form, earlier.point);
      const auto entries = dense();
      double product = 0.0;
      Numbers a(3);
      for (const auto &[i, value] : entries) {
        product += value * y[static_cast<size_t>(i)];
        a(i) = value * earlier.form.row_scale[i];
      }
      const double half_width = std::sqrt(kFactorisationMu * a.dot(earlier.M.ldlt().solve(a)));
      for (int k = 0; k < copies; ++k) {
        program.add_column(product - depth * half_width, 0.0, benchmarks::kNoBound, entries);
      }
      Point point;
      EXPECT_EQ(restore_point(earlier.saved, forms::form_of(program), &point),
                taken || share_of_cost < 0.5)
          << copies << " cuts of depth " << depth;
    }
  }
}

/// Rows that lived on penalty columns: a column of ordinary cost is put where the path will have
/// it, and the slacks of its rows take it up. The rows stay as feasible as they were, the penalties
/// are out of their duals, and little is left to do.
TEST(WarmStart, LetsSlacksTakeUpColumnsThatRelieveThePenalties) {
  int iterations = 0;
  for (uint64_t seed = 1; seed <= 10; ++seed) {
    const LinearProgram full = random_programs::draw_rmp(30, 0, 300, 1e10, seed);
    std::vector<int32_t> box(60);
    std::iota(box.begin(), box.end(), 0);
    interior_point::Solver solver(
        std::make_shared<const ProblemForm>(forms::form_of(full.with_columns(box))));
    interior_point::Request request;
    request.tolerance = 0.1;
    request.keep_centred = request.must_be_centred = true;
    ASSERT_EQ(solver.solve(request, interior_point::Start::kCold, nullptr),
              interior_point::Code::kSolved);
    // The later half of the rows goes on living on its penalties.
    std::vector<int32_t> list = box;
    for (int32_t j = 60; j < full.columns(); ++j) {
      const auto end = static_cast<size_t>(full.start[static_cast<size_t>(j) + 1]);
      if (full.row[end - 1] < 15) list.push_back(j);
    }
    const ProblemForm form = forms::form_of(full.with_columns(list));
    Point point;
    const SavedPoint saved = solver.save();
    EXPECT_NE(saved.factorisation.mu, saved.mu) << "the factorisation is that of the point before";
    ASSERT_TRUE(restore_point(saved, form, &point));
    interior_point::Residuals residuals;
    residuals.resize(form);
    compute_residuals(form, point, &residuals);
    double largest = 0.0, relieving = 0.0, dual = 0.0;
    for (int32_t j = 0; j < form.columns(); ++j) {
      largest = std::max(largest, std::fabs(point.x[j]));
      if (j >= 60 && j < form.structurals) relieving = std::max(relieving, point.x[j]);
      dual = std::max(dual, std::fabs(residuals.dual[j]) * form.column_unit[j]);
      EXPECT_NEAR(std::log10(point.x[j] * point.z[j] / saved.mu), 0.0, 1.0);
    }
    EXPECT_GT(relieving, 1e3);
    for (const double r : residuals.primal) EXPECT_LE(std::fabs(r), 1e-6 * largest);
    EXPECT_LE(dual, 1e-3 * 1e10);
    interior_point::Solver next(std::make_shared<const ProblemForm>(form));
    ASSERT_EQ(next.solve(request, Start::kSaved, &saved), Code::kSolved);
    EXPECT_FALSE(next.started_cold());
    iterations += next.iterations();
  }
  EXPECT_LE(iterations, 50);
}

/// A master with `blocks` rows of convexity under its linking rows, without a box.
LinearProgram draw_blocks(int32_t linking, int32_t blocks, int32_t columns, Random *random) {
  LinearProgram program;
  for (int32_t i = 0; i < linking; ++i) program.add_row(benchmarks::kLessEqual, 0.6 * blocks);
  for (int32_t k = 0; k < blocks; ++k) program.add_row(benchmarks::kEqual, k % 3 ? 1.0 : -2.0);
  for (int32_t j = 0; j < columns; ++j) {
    const int32_t k = j % blocks;
    std::vector<std::pair<int32_t, double>> entries = {{linking + k, k % 3 ? 1.0 : -0.5}};
    for (int32_t i = 0; i < linking; ++i) {
      if (random->chance(0.3)) entries.push_back({i, j < blocks ? 0.1 : random->real(0.5, 1.5)});
    }
    const double length = static_cast<double>(entries.size());
    const double cost = j < blocks ? 100.0 : random->real(20.0, 40.0) - length;
    program.add_column(cost, 0.0, benchmarks::kNoBound, entries);
  }
  return program;
}

TEST(BlockCentring, IsDualFeasibleCentredAndMeetsTheRowsOfBlocks) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const LinearProgram program = draw_blocks(4, 12, 200, &random);
    const ProblemForm form = forms::form_of(program);
    Point start = forms::random_interior_point(form, &random), point;
    const interior_point::BlockCentring blocks(form, start);
    ASSERT_TRUE(blocks.applies());
    double last = interior_point::kInfinity;
    for (const double mu : {1e-3, 1.0, 1e3}) {
      const double defect = blocks.centre(mu, &point);
      interior_point::Residuals residuals;
      residuals.resize(form);
      compute_residuals(form, point, &residuals);
      double sum = 0.0;
      for (int32_t i = 0; i < form.rows(); ++i) {
        if (form.user_row[i] >= 4) {
          EXPECT_LE(std::fabs(residuals.primal[i]), 1e-8 * std::fabs(form.b[i]));
        } else {
          EXPECT_EQ(point.y[i], start.y[i]);
          sum += std::fabs(point.y[i] * residuals.primal[i]);
        }
      }
      for (int32_t j = 0; j < form.columns(); ++j) {
        EXPECT_GT(point.z[j], 0.0);
        EXPECT_NEAR(point.x[j] * point.z[j], mu, 1e-12 * mu);
        const double dual = j < form.structurals ? residuals.dual[j] : 0.0;
        EXPECT_NEAR(dual, 0.0, 1e-9 * (1.0 + point.z[j]));
      }
      EXPECT_NEAR(defect, sum / (mu * form.pairs), 1e-6 * defect);
      EXPECT_LE(defect, last);
      last = defect;
    }
    start.z[form.structurals] = 0.0;
    EXPECT_FALSE(interior_point::BlockCentring(form, start).applies());
    LinearProgram other = program;
    other.add_column(50.0, 0.0, seed % 2 ? 1.0 : benchmarks::kNoBound,
                     {{0, 1.0}, {1, 1.0}, {5, seed % 2 ? 1.0 : -1.0}});
    const ProblemForm no_blocks = forms::form_of(other);
    const Point there = forms::random_interior_point(no_blocks, &random);
    EXPECT_FALSE(interior_point::BlockCentring(no_blocks, there).applies());
  }
}

/// Rounds that add the best columns at the last duals, all of which cut deep.
TEST(WarmStart, PaysBehindDeepCutsInBlocks) {
  int warm = 0, cold = 0, kept = 0, rounds = 0;
  for (uint64_t seed = 1; seed <= 5; ++seed) {
    Random random(seed);
    const LinearProgram full = draw_blocks(20, 40, 4000, &random);
    std::vector<int32_t> list(80);
    std::iota(list.begin(), list.end(), 0);
    Request request;
    request.tolerance = 1e-2;
    request.keep_centred = request.must_be_centred = true;
    std::unique_ptr<SavedPoint> saved;
    for (int round = 0; round < 6; ++round) {
      const auto form =
          std::make_shared<const ProblemForm>(forms::form_of(full.with_columns(list)));
      Solver solver(form), afresh(form);
      ASSERT_EQ(solver.solve(request, saved ? Start::kSaved : Start::kCold, saved.get()),
                Code::kSolved);
      ASSERT_EQ(afresh.solve(request, Start::kCold, nullptr), Code::kSolved);
      if (saved) {
        ++rounds;
        kept += !solver.started_cold();
        warm += solver.iterations();
        cold += afresh.iterations();
      }
      saved = std::make_unique<SavedPoint>(solver.save());
      const std::vector<double> y = forms::caller_y(*form, solver.point());
      std::vector<std::pair<double, int32_t>> order;
      for (int32_t j = 0; j < full.columns(); ++j) {
        double reduced = full.cost[static_cast<size_t>(j)];
        for (int32_t t = full.start[static_cast<size_t>(j)];
             t < full.start[static_cast<size_t>(j) + 1]; ++t) {
          reduced -= full.value[static_cast<size_t>(t)] *
                     y[static_cast<size_t>(full.row[static_cast<size_t>(t)])];
        }
        if (std::find(list.begin(), list.end(), j) == list.end()) order.push_back({reduced, j});
      }
      std::sort(order.begin(), order.end());
      for (size_t k = 0; k < 200; ++k) list.push_back(order[k].second);
    }
  }
  EXPECT_GE(kept, rounds - 5) << "by the ellipsoid alone 15 of 25";
  EXPECT_LT(warm, cold);
}

/// Patterns of rolls: so many alike make a long way along the path.
LinearProgram draw_patterns(int32_t rows, int32_t columns, Random *random) {
  LinearProgram program;
  std::vector<double> size;
  for (int32_t i = 0; i < rows; ++i) {
    program.add_row(benchmarks::kGreaterEqual, random->integer(1, 100));
    size.push_back(random->real(0.01, 0.7));
  }
  for (int32_t j = 0; j < columns; ++j) {
    std::map<int32_t, double> pattern;
    double room = 1.0;
    for (int tries = 0; tries < 10; ++tries) {
      const int32_t i = j < rows ? j : random->integer(0, rows - 1);
      if (size[static_cast<size_t>(i)] > room) continue;
      room -= size[static_cast<size_t>(i)];
      pattern[i] += 1.0;
    }
    program.add_column(1.0, 0.0, benchmarks::kNoBound, {pattern.begin(), pattern.end()});
  }
  return program;
}

/// Twice the columns, and a way along the path that is as long from anywhere.
TEST(WarmStart, IsKeptOnceItIsFeasible) {
  for (uint64_t seed = 1; seed <= 2; ++seed) {
    Random random(seed);
    const LinearProgram full = draw_patterns(50, 4000, &random);
    std::vector<int32_t> half(2000);
    std::iota(half.begin(), half.end(), 0);
    Solver solver(std::make_shared<const ProblemForm>(forms::form_of(full.with_columns(half))));
    Request request;
    request.tolerance = 0.1;
    request.keep_centred = request.must_be_centred = true;
    ASSERT_EQ(solver.solve(request, Start::kCold, nullptr), Code::kSolved);
    const SavedPoint saved = solver.save();
    Solver next(std::make_shared<const ProblemForm>(forms::form_of(full)));
    request.tolerance = 1e-3;
    EXPECT_EQ(next.solve(request, Start::kSaved, &saved), Code::kSolved);
    EXPECT_FALSE(next.started_cold());
  }
}

/// A few columns a round, each round centred from the last centre and then solved, as in column
/// generation: with a record that keeps the solutions and with one that is asked for centres alone.
/// Every third round moves the right-hand sides, every third one a cost.
TEST(WarmStart, GoesTowardsAnEarlierSolution) {
  int32_t towards = 0;
  int32_t without = 0;
  for (uint64_t seed = 1; seed <= 4; ++seed) {
    Random random(seed);
    LinearProgram full = draw_patterns(30, 220, &random);
    benchmarks::SavedPoint keeps, forgets;
    for (int32_t columns = 160; columns <= 220; columns += 4) {
      std::vector<int32_t> some(static_cast<size_t>(columns));
      std::iota(some.begin(), some.end(), 0);
      std::swap(some[0], some[static_cast<size_t>(random.integer(0, columns - 1))]);
      if (columns % 12 == 0) full.rhs[0] *= 1.01;
      if (columns % 12 == 8) full.cost[5] *= 1.001;
      const LinearProgram program = full.with_columns(some);
      const auto solve = [&](benchmarks::SavedPoint *saved, bool keep) {
        benchmarks::LoadedProblem problem(program);
        EXPECT_EQ(problem.centre(1e-3, 1, saved).code, 0);
        problem.save(saved);
        const benchmarks::SolveReport report = problem.centre(1e-6, 2, keep ? saved : nullptr, 0);
        EXPECT_EQ(report.code, 0);
        EXPECT_EQ(random_programs::optimality_faults(program, &problem, HUGE_VAL, 1e-6), "");
        return report.iterations;
      };
      towards += solve(&keeps, true);
      without += solve(&forgets, false);
    }
  }
  EXPECT_LT(towards, 0.75 * without) << without;
}

TEST(WarmStart, ApproachesASolutionAsFarAsProductsStayInTheMiddle) {
  int32_t moved = 0;
  for (uint64_t seed = 1; seed <= 300; ++seed) {
    Random random(seed);
    const ProblemForm form = forms::form_of(draw_program(seed, 4));
    const Point centre = forms::random_interior_point(form, &random);
    Point solution = forms::random_interior_point(form, &random);
    for (int32_t j = 0; j < form.columns(); ++j) {
      if (form.is_free[j]) continue;
      (random.chance(0.5) ? solution.x : solution.z)[j] = random.chance(0.03) ? -0.01 : 0.0;
    }
    for (double &v : solution.v) v = 0.0;
    Point point = centre;
    const double least_mu = random.power_of_ten(-3.0, 0.0);
    const bool is_closer = interior_point::approach(form, solution, least_mu, &point);
    moved += is_closer;
    const size_t at = static_cast<size_t>(std::find(form.is_free.begin(), form.is_free.end(), 0) -
                                          form.is_free.begin());
    const double lambda = (point.x[at] - solution.x[at]) / (centre.x[at] - solution.x[at]);
    double least = HUGE_VAL;
    double sum = 0.0;
    const auto look = [&](const auto &a, const auto &b, const uint8_t *skip, auto pair) {
      for (size_t j = 0; j < a.size(); ++j) {
        const double from = (solution.*pair)[j];
        EXPECT_NEAR(a[j], from + lambda * ((centre.*pair)[j] - from), 1e-9);
        if (skip && skip[j]) continue;
        EXPECT_GT(a[j], 0.0);
        least = std::min(least, a[j] * b[j]);
        sum += a[j] * b[j];
      }
    };
    look(point.x, point.z, form.is_free.data(), &Point::x);
    look(point.w, point.v, nullptr, &Point::w);
    const double mu = sum / form.pairs;
    if (is_closer) {
      EXPECT_LT(lambda, 0.81);
      EXPECT_GE(least, 0.0499 * mu);
      EXPECT_GE(mu, 0.999 * least_mu);
    } else {
      EXPECT_EQ(lambda, 1.0);
    }
  }
  EXPECT_GT(moved, 10);
  EXPECT_LT(moved, 300);
}

/// The two rows say the same, so that only the sum of their duals counts.
TEST(WarmStart, IsGivenUpWhereTheGapIsLostToRounding) {
  LinearProgram program;
  for (int i = 0; i < 2; ++i) program.add_row(benchmarks::kEqual, 3.7);
  for (const double cost : {1.1, 1.3, 2.3}) {
    program.add_column(cost, 0.0, benchmarks::kNoBound, {{0, 0.7 * cost}, {1, 0.7 * cost}});
  }
  Solver solver(std::make_shared<const ProblemForm>(forms::form_of(program)));
  Request request;
  request.tolerance = 1e-5;
  ASSERT_EQ(solver.solve(request, Start::kCold, nullptr), Code::kSolved);
  SavedPoint saved = solver.save();
  saved.y[0] += 6e9;
  saved.y[1] -= 6e9;
  EXPECT_EQ(solver.solve(request, Start::kSaved, &saved), Code::kSolved);
  EXPECT_LE(std::fabs(solver.point().y[0]) + std::fabs(solver.point().y[1]), 100.0);
}

}  // namespace

/// Penalty columns in restricted masters whose rows force columns to 0: their cost, however large,
/// must not count where they carry nothing. Clearing columns, and solves by way of smaller
/// penalties.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "interior_point/method/capped_penalties.h"
#include "tests/interior_point/forms.h"

namespace {

using benchmarks::LinearProgram;
using benchmarks::LoadedProblem;
using interior_point::Code;
using interior_point::Point;
using interior_point::ProblemForm;
using interior_point::Request;
using interior_point::Solver;
using interior_point::Start;
using random_programs::Random;

/// Set partitioning: the box columns, two for each row, then columns over a few neighbouring rows.
/// With few of them there hardly is a solution, and its rows force the others to 0.
LinearProgram partitioning(int32_t rows, int32_t columns, double box, uint64_t seed) {
  Random random(seed);
  LinearProgram program;
  for (int32_t i = 0; i < rows; ++i) program.add_row(benchmarks::kEqual, 1.0);
  for (const double sign : {-1.0, 1.0}) {
    for (int32_t i = 0; i < rows; ++i)
      program.add_column(box, 0.0, benchmarks::kNoBound, {{i, sign}});
  }
  for (int32_t j = 0; j < columns; ++j) {
    const int32_t length = random.integer(2, 6);
    const int32_t first = random.integer(1 - length, rows - 1);
    std::vector<std::pair<int32_t, double>> entries;
    for (int32_t i = std::max(0, first); i < std::min(rows, first + length); ++i) {
      entries.emplace_back(i, 1.0);
    }
    program.add_column(random.integer(300, 700), 0.0, benchmarks::kNoBound, entries);
  }
  return program;
}

/// What column generation over a program's columns after the box comes to.
struct Effort {
  int iterations = 0, rounds = 0;
  double value = 0.0;  ///< at the end, to 1e-8
};

/// Five columns of least reduced cost a round, from well-centred points, each from the last one.
Effort generate_columns(const LinearProgram &all, int32_t box_columns) {
  Effort run;
  std::vector<int32_t> list(static_cast<size_t>(box_columns));
  std::iota(list.begin(), list.end(), 0);
  benchmarks::SavedPoint saved;
  for (bool grows = true; grows;) {
    const LinearProgram program = all.with_columns(list);
    LoadedProblem problem(program);
    const auto report = problem.centre(0.05, saved.holds_point() ? 1 : 0, &saved);
    EXPECT_EQ(report.code, 0) << run.rounds;
    EXPECT_EQ(random_programs::optimality_faults(program, &problem, 0.05, 1e-5), "");
    problem.save(&saved);
    run.iterations += report.iterations;
    ++run.rounds;
    const std::vector<double> y = problem.duals();
    std::vector<std::pair<double, int32_t>> found;
    for (int32_t j = box_columns; j < all.columns(); ++j) {
      if (std::find(list.begin(), list.end(), j) != list.end()) continue;
      double reduced = all.cost[static_cast<size_t>(j)];
      for (int32_t t = all.start[static_cast<size_t>(j)]; t < all.start[static_cast<size_t>(j) + 1];
           ++t) {
        reduced -= all.value[static_cast<size_t>(t)] *
                   y[static_cast<size_t>(all.row[static_cast<size_t>(t)])];
      }
      if (reduced < -1e-3) found.emplace_back(reduced, j);
    }
    std::sort(found.begin(), found.end());
    grows = !found.empty();
    for (size_t k = 0; k < std::min<size_t>(5, found.size()); ++k) list.push_back(found[k].second);
    if (!grows) {
      EXPECT_EQ(problem.solve(1e-8, 2).code, 0);
      run.value = problem.objective();
    }
  }
  return run;
}

TEST(CappedPenalties, AWideBoxTakesAboutAsManyIterationsAsANarrowOne) {
  int narrow = 0, wide = 0;
  for (uint64_t seed = 1; seed <= 4; ++seed) {
    const Effort a = generate_columns(partitioning(40, 300, 1e4, seed), 80);
    const Effort b = generate_columns(partitioning(40, 300, 1e10, seed), 80);
    EXPECT_NEAR(a.value, b.value, 2e-2 * a.value);
    narrow += a.iterations;
    wide += b.iterations;
  }
  EXPECT_LE(wide, 1.3 * narrow);
}

/// Columns with an entry in every row: of the duals only the sum is held to their cost, and from a
/// start at the box they stay of its size. What x'r_d then keeps of rounding errors is more than a
/// tight tolerance.
TEST(CappedPenalties, HelpWhereDualsOfTheirSizeHaveCostTheDigits) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    Random random(seed);
    const int32_t rows = random.integer(4, 8);
    LinearProgram program;
    std::vector<std::pair<int32_t, double>> all_rows;
    for (int32_t i = 0; i < rows; ++i) {
      program.add_row(i == 0 ? benchmarks::kEqual : benchmarks::kGreaterEqual, 1.0);
      program.add_column(1e10, 0.0, benchmarks::kNoBound, {{i, 1.0}});
      all_rows.emplace_back(i, 1.0);
    }
    program.add_column(1e10, 0.0, benchmarks::kNoBound, {{0, -1.0}});
    benchmarks::SavedPoint saved;
    const double least = random.real(0.01, 1.0);
    for (const double tolerance : {0.5, 0.1, 0.01, 1e-4, 1e-6, 1e-7, 1e-8}) {
      LoadedProblem problem(program);
      EXPECT_EQ(problem.centre(std::max(tolerance, 1e-3), 1, &saved).code, 0) << seed;
      problem.save(&saved);
      EXPECT_EQ(problem.centre(tolerance, 2, nullptr, 0).code, 0) << seed << ", " << tolerance;
      if (program.columns() > rows + 1) {
        EXPECT_NEAR(problem.objective(), least, 1.1 * tolerance * least);
        continue;
      }
      for (const double factor : {1.0, 1.2, 1.4}) {
        program.add_column(least * factor, 0.0, benchmarks::kNoBound, all_rows);
      }
    }
  }
}

/// They are no way to a certificate.
TEST(CappedPenalties, AreNotTriedWhereThereIsNoOptimum) {
  int iterations = 0;
  for (uint64_t seed = 1; seed <= 4; ++seed) {
    LinearProgram program = partitioning(30, 200, 1e8, seed);
    std::vector<std::pair<int32_t, double>> ray;
    for (int32_t i = 0; i < 30; ++i) ray.emplace_back(i, i % 2 == 0 ? 1.0 : -1.0);
    program.add_column(-4e9, 0.0, benchmarks::kNoBound, ray);
    LoadedProblem problem(program);
    const auto report = problem.centre(0.1, 0);
    EXPECT_EQ(report.code, 5);
    iterations += report.iterations;
  }
  EXPECT_LE(iterations, 350);
}

/// On the way down from the box |y'r_p| falls no faster than p. That is no reason to go further
/// than a loose tolerance asks: the point would be no start for the next problem.
TEST(CappedPenalties, ALooseSolveFromScratchStopsWhereItsToleranceLies) {
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    Random random(seed);
    LinearProgram program;
    for (int32_t i = 0; i < 36; ++i) program.add_row(benchmarks::kEqual, 1.0);
    for (const double sign : {-1.0, 1.0}) {
      for (int32_t i = 0; i < 36; ++i)
        program.add_column(1e10, 0.0, benchmarks::kNoBound, {{i, sign}});
    }
    for (int32_t j = 0; j < 108; ++j) {
      const double density = random.integer(2, 8) / 36.0;
      std::vector<std::pair<int32_t, double>> entries;
      for (int32_t i = 0; i < 36; ++i) {
        if (random.chance(density)) entries.emplace_back(i, 1.0);
      }
      if (entries.empty()) entries.emplace_back(0, 1.0);
      program.add_column(random.integer(500, 9000), 0.0, benchmarks::kNoBound, entries);
    }
    LoadedProblem problem(program);
    EXPECT_EQ(problem.centre(0.3).code, 0) << seed;
    EXPECT_GE(measure(program, problem.x(), problem.duals()).gap, 0.01) << seed;
  }
}

/// The form whose penalties are capped, solved, and what is handed to a solver of the form.
struct Capped {
  std::shared_ptr<const ProblemForm> form;
  Solver solver;
  interior_point::CappedPenalties capped;
  Request request;
  int iterations = 0;

  explicit Capped(const LinearProgram &program)
      : form(std::make_shared<const ProblemForm>(forms::form_of(program))),
        solver(form),
        capped(form) {
    request.tolerance = 0.1;
    request.keep_centred = request.must_be_centred = true;
  }

  Code solve(Start start, const interior_point::SavedPoint *saved) {
    return capped.solve(request, start, saved, &solver, &iterations);
  }
};

/// The point is exactly feasible without the penalty columns, and a good start with them.
TEST(CappedPenalties, HandOverAPointWithoutPenalties) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    Capped first(partitioning(20, 100, 1e10, seed));
    ASSERT_EQ(first.solve(Start::kCold, nullptr), Code::kSolved);
    const std::vector<double> x = forms::caller_x(*first.form, first.solver.point());
    EXPECT_TRUE(std::all_of(x.begin(), x.begin() + 40, [](double e) { return e == 0.0; }));
    EXPECT_TRUE(std::all_of(x.begin() + 40, x.end(), [](double e) { return e >= 0.0; }));
    const auto &m = first.solver.measures();
    EXPECT_LE(m.primal, 1e-6);
    EXPECT_LE(m.defect, 1e-8 * m.objective);
    EXPECT_GE(m.objective, m.dual_objective * (1.0 - 1e-9));
    EXPECT_GE(m.asmall, 0.1);
    Capped next(partitioning(20, 110, 1e10, seed));
    const interior_point::SavedPoint saved = first.capped.save();
    EXPECT_TRUE(saved.capped);
    ASSERT_EQ(next.solve(Start::kSaved, &saved), Code::kSolved);
  }
}

/// One row has nothing but a column that costs a hundred times what others do, its dual is above
/// the cap: the penalty rises. Without that column this way leads nowhere.
TEST(CappedPenalties, RiseWhereDualsAreLargeAndGiveUpWhereTheyAreNeeded) {
  LinearProgram program = partitioning(20, 100, 1e10, 1);
  program.add_row(benchmarks::kEqual, 1.0);
  program.add_column(1e10, 0.0, benchmarks::kNoBound, {{20, 1.0}});
  Capped needed(program);
  EXPECT_NE(needed.solve(Start::kCold, nullptr), Code::kSolved);
  EXPECT_FALSE(needed.solver.has_point());
  program.add_column(50000.0, 0.0, benchmarks::kNoBound, {{20, 1.0}});
  Capped large(program);
  ASSERT_EQ(large.solve(Start::kCold, nullptr), Code::kSolved);
  EXPECT_NEAR(forms::caller_y(*large.form, large.solver.point())[20], 50000.0, 5000.0);
}

}  // namespace

/// What code 0 means at every tolerance, and what no other code may claim: on random programs whose
/// optimum is known, on programs without interior, with an optimum of 0 or without any.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/interior_point/random_programs.h"

namespace {

using benchmarks::kEqual;
using benchmarks::kNoBound;
using benchmarks::LinearProgram;
using benchmarks::LoadedProblem;
using benchmarks::SolveReport;
using random_programs::KnownProgram;
using random_programs::Random;

constexpr double kTolerances[] = {5.0, 1.0, 0.1, 1e-3, 1e-5, 1e-8};

/// What a partitioning program has more of than one column per part.
struct Partitioning {
  const char *name;
  bool duplicates;  ///< columns twice, some a little dearer
  bool dependent;   ///< rows that are sums of others
  bool bounded;     ///< x <= 1, which no row lets a column pass, or x <= 1e9
  bool zero;        ///< an optimum of 0 for duals that cancel
};

/// Each item in one set: a partition is planted, and a dual solution that makes it optimal.
KnownProgram draw_partitioning(const Partitioning &kind, uint64_t seed) {
  Random random(seed);
  KnownProgram known;
  LinearProgram &program = known.program;
  program.name = std::string(kind.name) + ", seed " + std::to_string(seed);
  const int32_t items = random.integer(8, 40);
  std::vector<double> y;
  for (int32_t i = 0; i < items; ++i) y.push_back(random.integer(-2, 9));
  if (kind.zero) {
    y[0] = 0.0;
    for (int32_t i = 1; i < items; ++i) y[0] -= y[static_cast<size_t>(i)];
  }
  std::vector<std::vector<int32_t>> sums;  // the dependent rows
  for (int32_t k = 0; kind.dependent && k < items / 4; ++k) {
    sums.emplace_back();
    for (int32_t i = 0; i < items; ++i) {
      if (random.chance(0.2)) sums.back().push_back(i);
    }
  }
  for (int32_t i = 0; i < items; ++i) program.add_row(kEqual, 1.0);
  for (const auto &sum : sums) program.add_row(kEqual, static_cast<double>(sum.size()));
  const auto add = [&](std::vector<int32_t> set, double reduced_cost) {
    std::sort(set.begin(), set.end());
    set.erase(std::unique(set.begin(), set.end()), set.end());
    std::vector<std::pair<int32_t, double>> entries;
    double cost = reduced_cost;
    for (const int32_t i : set) {
      cost += y[static_cast<size_t>(i)];
      entries.emplace_back(i, 1.0);
    }
    for (size_t k = 0; k < sums.size(); ++k) {
      double both = 0.0;
      for (const int32_t i : sums[k]) both += std::binary_search(set.begin(), set.end(), i);
      if (both > 0.0) entries.emplace_back(items + static_cast<int32_t>(k), both);
    }
    const double upper = kind.bounded ? (random.chance(0.5) ? 1.0 : 1e9) : kNoBound;
    program.add_column(cost, 0.0, upper, entries);
    if (kind.duplicates && random.chance(0.3)) {
      program.add_column(cost + random.integer(0, 1), 0.0, upper, entries);
    }
  };
  for (int32_t i = 0; i < items;) {
    std::vector<int32_t> set;
    for (int32_t k = random.integer(1, 4); k > 0 && i < items; --k) set.push_back(i++);
    add(set, 0.0);
  }
  for (int32_t j = random.integer(2, 8) * items; j > 0; --j) {
    std::vector<int32_t> set;
    for (int32_t k = random.integer(1, 5); k > 0; --k) set.push_back(random.integer(0, items - 1));
    add(set, random.chance(0.3) ? 0.0 : random.integer(1, 6));
  }
  known.optimum = 0.0;
  for (int32_t i = 0; i < items; ++i) known.optimum += y[static_cast<size_t>(i)];
  known.slack = 2e-8 * std::fabs(known.optimum) + 1e-9 * items;
  return known;
}

std::vector<KnownProgram> programs_without_interior() {
  std::vector<KnownProgram> programs;
  for (uint64_t seed = 1; seed <= 12; ++seed) {
    programs.push_back(draw_partitioning({"plain", false, false, false, false}, seed));
    programs.push_back(draw_partitioning({"duplicates", true, false, true, false}, seed));
    programs.push_back(draw_partitioning({"dependent rows", false, true, false, false}, seed));
    programs.push_back(draw_partitioning({"all of it", true, true, true, false}, seed));
  }
  return programs;
}

/// p and d of one point on both sides of the optimum, but for what the infeasibilities may be
/// worth.
void expect_bracket(const KnownProgram &known, double tolerance, LoadedProblem *problem,
                    const SolveReport &report) {
  SCOPED_TRACE(known.program.name + ", tolerance " + std::to_string(tolerance));
  ASSERT_EQ(report.code, 0);
  double p = 0.0, d = 0.0;
  get_opt_solution(problem->get(), &p, &d, nullptr, nullptr, nullptr, nullptr);
  const double feasibility = std::max(1e-9, std::min(1e-6, tolerance / 1000.0));
  const double slack = known.slack * feasibility / 1e-9;
  EXPECT_GE(p, known.optimum - known.slack - 1e-8 * std::fabs(p));
  EXPECT_LE(d, known.optimum + slack);
  EXPECT_LE(p - d, 1.0001 * std::min(tolerance, 1.0) * std::fabs(p) + 1e-9);
  EXPECT_LE(report.dual, feasibility);
  EXPECT_LE(report.primal, std::max(1e-9, std::min(1e-6, tolerance / 10.0)));
}

TEST(CodeZero, BracketsTheOptimumAtEveryTolerance) {
  random_programs::Traits wide = {};
  wide.name = "wide", wide.bounded = 0.8, wide.dependent = 0.1, wide.cost_decades[1] = 3.0;
  std::vector<KnownProgram> programs = programs_without_interior();
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    programs.push_back(random_programs::draw_known({}, seed));
    programs.push_back(random_programs::draw_known(wide, seed));
    programs.push_back(random_programs::draw_known(random_programs::reducible(), seed));
  }
  for (const KnownProgram &known : programs) {
    for (const double tolerance : kTolerances) {
      LoadedProblem problem(known.program);
      expect_bracket(known, tolerance, &problem, problem.solve(tolerance));
      LoadedProblem centred(known.program);
      expect_bracket(known, tolerance, &centred, centred.solve(tolerance, 0, nullptr, 1));
    }
  }
}

/// No relative gap closes there; the digits that are left are asked for.
TEST(CodeZero, IsReachedWhereTheOptimumIsZero) {
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    for (const bool dependent : {false, true}) {
      const KnownProgram known =
          draw_partitioning({"zero", true, dependent, dependent, true}, seed);
      SCOPED_TRACE(known.program.name);
      for (const double tolerance : {1.0, 1e-3, 1e-8}) {
        LoadedProblem problem(known.program);
        EXPECT_EQ(problem.solve(tolerance).code, 0);
        EXPECT_NEAR(problem.objective(), 0.0, std::max(1e-4 * tolerance, 1e-8));
      }
    }
  }
}

/// Programs beside whose degenerate vertices a first start stalls, and a second one with more
/// regularisation, or with a tolerance of 1e-8 in view, does not.
TEST(CodeZero, IsReachedByASecondStart) {
  const struct {
    const char *family;
    uint64_t seed;
    double tolerance;
  } cases[] = {{"wide_costs", 12, 1.0},    {"reducible", 33, 1.0}, {"badly_scaled", 25, 1.0},
               {"badly_scaled", 99, 1e-3}, {"wide_costs", 6, 1.0}, {"wide_costs", 20, 1e-3},
               {"wide_costs", 92, 1.0}};
  const std::vector<random_programs::Traits> families = random_programs::families();
  for (const auto &[family, seed, tolerance] : cases) {
    random_programs::Traits traits =
        *std::find_if(families.begin(), families.end(),
                      [name = family](const auto &t) { return t.name == name; });
    traits.degenerate = 0.6, traits.dependent = 0.2;
    const KnownProgram known = random_programs::draw_known(traits, seed);
    for (const int32_t option : {0, 1}) {
      LoadedProblem problem(known.program);
      EXPECT_EQ(problem.solve(tolerance, 0, nullptr, option).code, 0) << known.program.name;
    }
  }
}

/// Feasible programs and a pair of columns that cancel in all rows but cost less than nothing.
TEST(CodeStalled, IsNotGivenToAnUnboundedProgram) {
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    const bool plain = seed % 2 == 0;
    LinearProgram program = plain ? random_programs::draw_known({}, seed).program
                                  : draw_partitioning({"", true, true, false, false}, seed).program;
    Random random(seed);
    std::vector<std::pair<int32_t, double>> there, back;
    for (int32_t i = 0; i < program.rows(); ++i) {
      if (!random.chance(0.4)) continue;
      const double entry = random.entry();
      there.emplace_back(i, entry);
      back.emplace_back(i, -0.5 * entry);
    }
    program.add_column(3.0, 0.0, kNoBound, there);
    program.add_column(-2.0, 0.0, kNoBound, back);
    for (const double tolerance : kTolerances) {
      SCOPED_TRACE(program.name + ", tolerance " + std::to_string(tolerance));
      for (const int32_t option : {0, 1}) {
        const int32_t code = LoadedProblem(program).solve(tolerance, 0, nullptr, option).code;
        EXPECT_NE(code, 0);
        EXPECT_NE(code, -1);
      }
    }
  }
}

}  // namespace

/// What the callers of the nine operations rely on beyond the optimum: warm starts from saved
/// points, well-centred points, honest reports, and handles and records that can be used freely.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <thread>

#include "tests/interior_point/random_programs.h"

namespace {

using benchmarks::LinearProgram;
using benchmarks::LoadedProblem;
using benchmarks::SavedPoint;
using benchmarks::SolveReport;

constexpr double kTight = 1e-8;

std::vector<int32_t> all_columns(const LinearProgram &program) {
  std::vector<int32_t> result(static_cast<size_t>(program.columns()));
  std::iota(result.begin(), result.end(), 0);
  return result;
}

/// Everything a solve hands out, for comparison bit by bit.
struct Outcome {
  int32_t code, iterations;
  std::vector<double> values;

  bool operator==(const Outcome &other) const {
    return code == other.code && iterations == other.iterations && values == other.values;
  }
};

Outcome outcome(LoadedProblem *problem, const SolveReport &r) {
  Outcome result = {r.code, r.iterations, {r.primal, r.bounds, r.dual, r.asmall, r.alarge}};
  for (const auto &part : {problem->x(), problem->slacks(), problem->duals()}) {
    result.values.insert(result.values.end(), part.begin(), part.end());
  }
  result.values.push_back(problem->objective());
  return result;
}

/// Saves a mu-centre of `program`, made at `tolerance`.
void save_centre(const LinearProgram &program, double tolerance, SavedPoint *saved) {
  LoadedProblem problem(program);
  ASSERT_EQ(problem.centre(tolerance).code, 0);
  problem.save(saved);
  ASSERT_TRUE(saved->holds_point());
}

/// An RMP and what the outer loop may make of it. The first 80 columns are those of the dual box.
struct Successor {
  const char *how;
  LinearProgram before, after;
};

std::vector<Successor> successors(uint64_t seed) {
  const LinearProgram full = random_programs::draw_rmp(40, 0, 420, 1e3, seed);
  std::vector<int32_t> fewer = all_columns(full);
  fewer.resize(fewer.size() - 20);
  const LinearProgram before = full.with_columns(fewer);
  std::vector<int32_t> shuffled = all_columns(full), thinned;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937_64(seed));
  for (const int32_t j : all_columns(full)) {
    if (j < 80 || j % 3 != 0) thinned.push_back(j);
  }
  LinearProgram wider = full;
  for (size_t j = 0; j < 80; ++j) wider.cost[j] *= 10.0;
  return {{"columns added", before, full},
          {"columns added and reordered", before, full.with_columns(shuffled)},
          {"columns removed, basic ones too", full, full.with_columns(thinned)},
          {"box widened and columns added", before, wider}};
}

TEST(WarmStart, ReachesTheOptimumOfTheNextProblem) {
  for (uint64_t seed = 1; seed <= 5; ++seed) {
    for (const Successor &next : successors(seed)) {
      for (const double tolerance : {0.1, 1e-3}) {
        SCOPED_TRACE(next.how + std::string(", seed ") + std::to_string(seed));
        SavedPoint saved;
        save_centre(next.before, tolerance, &saved);
        LoadedProblem warm(next.after), cold(next.after);
        const SolveReport from_saved = warm.centre(tolerance, 1, &saved);
        const SolveReport from_scratch = cold.centre(tolerance);
        EXPECT_EQ(from_saved.code, 0);
        EXPECT_EQ(from_scratch.code, 0);
        EXPECT_LE(from_saved.primal, 1e-5);
        // One that does not pay turns into a cold one after a while.
        EXPECT_LE(from_saved.iterations, 2 * from_scratch.iterations + 10);
        // Both values exceed the optimum by at most the gap.
        EXPECT_NEAR(warm.objective(), cold.objective(), tolerance * cold.objective());
        EXPECT_EQ(warm.centre(kTight, 1, &saved, 0).code, 0);
        EXPECT_EQ(random_programs::optimality_faults(next.after, &warm, 1e-7, 1e-8), "");
      }
    }
  }
}

/// The columns of `pool` that are not in use and whose reduced costs at y are the lowest, up to
/// ten.
std::vector<int32_t> priced(const LinearProgram &pool, const std::vector<double> &y,
                            const std::vector<int32_t> &in_use) {
  std::vector<std::pair<double, int32_t>> candidates;
  for (const int32_t j : all_columns(pool)) {
    if (std::find(in_use.begin(), in_use.end(), j) != in_use.end()) continue;
    double reduced = pool.cost[static_cast<size_t>(j)];
    for (int32_t t = pool.start[static_cast<size_t>(j)]; t < pool.start[static_cast<size_t>(j) + 1];
         ++t) {
      const auto p = static_cast<size_t>(t);
      reduced -= pool.value[p] * y[static_cast<size_t>(pool.row[p])];
    }
    if (reduced < 0.0) candidates.emplace_back(reduced, j);
  }
  std::sort(candidates.begin(), candidates.end());
  std::vector<int32_t> result;
  for (size_t k = 0; k < std::min<size_t>(candidates.size(), 10); ++k) {
    result.push_back(candidates[k].second);
  }
  return result;
}

TEST(WarmStart, SavesIterationsInAColumnGenerationRun) {
  int32_t warm_sum = 0, cold_sum = 0;
  for (uint64_t seed = 1; seed <= 3; ++seed) {
    const LinearProgram pool = random_programs::draw_rmp(40, 0, 2000, 10.0, seed);
    std::vector<int32_t> in_use = all_columns(pool);
    in_use.resize(120);
    SavedPoint saved;
    for (double tolerance = 0.5; tolerance > 1e-4; tolerance *= 0.7) {
      SCOPED_TRACE(std::to_string(seed) + ", tolerance " + std::to_string(tolerance));
      const LinearProgram rmp = pool.with_columns(in_use);
      LoadedProblem warm(rmp), cold(rmp);
      const SolveReport from_saved = warm.centre(tolerance, 1, &saved);
      EXPECT_EQ(from_saved.code, 0);
      warm_sum += from_saved.iterations;
      cold_sum += cold.centre(tolerance).iterations;
      warm.save(&saved);
      const std::vector<int32_t> added = priced(pool, warm.duals(), in_use);
      in_use.insert(in_use.end(), added.begin(), added.end());
    }
  }
  EXPECT_LT(warm_sum, cold_sum / 2);
}

TEST(WarmStart, GoesOnFromThePointSavedFromTheSameProblem) {
  const LinearProgram rmp = random_programs::draw_rmp(40, 0, 400, 1e3, 1);
  LoadedProblem problem(rmp), fresh(rmp);
  SavedPoint saved;
  ASSERT_EQ(problem.centre(1e-3).code, 0);
  problem.save(&saved);
  const SolveReport again = problem.centre(1e-3, 2, &saved);
  EXPECT_EQ(again.code, 0);
  EXPECT_LE(again.iterations, 1);
  const SolveReport onwards = problem.centre(kTight, 2, &saved, 0);
  EXPECT_EQ(onwards.code, 0);
  EXPECT_LT(onwards.iterations, fresh.solve(kTight).iterations);
  EXPECT_EQ(random_programs::optimality_faults(rmp, &problem, 1e-7, 1e-8), "");
}

TEST(WarmStart, IsAsGoodFromAPointThatTookNoIteration) {
  for (uint64_t seed = 1; seed <= 3; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const LinearProgram full = random_programs::draw_rmp(40, 0, 400, 1e3, seed);
    std::vector<int32_t> fewer = all_columns(full);
    fewer.resize(fewer.size() - 3);
    SavedPoint first, second;
    save_centre(full.with_columns(fewer), 0.1, &first);
    LoadedProblem untouched(full.with_columns(fewer));
    ASSERT_EQ(untouched.centre(0.1, 1, &first).iterations, 0);
    untouched.save(&second);
    LoadedProblem from_first(full), from_second(full);
    const int32_t expected = from_first.centre(0.1, 1, &first).iterations;
    const SolveReport report = from_second.centre(0.1, 1, &second);
    EXPECT_EQ(report.code, 0);
    EXPECT_EQ(report.iterations, expected);
  }
}

TEST(WarmStart, FromRowsThatDifferOrAnEmptyRecordIsAColdStart) {
  const LinearProgram rmp = random_programs::draw_rmp(20, 3, 200, 1e3, 1);
  LinearProgram other_types = rmp, other_rows = random_programs::draw_rmp(25, 0, 200, 1e3, 1);
  for (int32_t &type : other_types.row_type) type = benchmarks::kGreaterEqual;
  LoadedProblem cold(rmp);
  const Outcome expected = outcome(&cold, cold.centre(1e-3));
  for (const LinearProgram &other : {other_types, other_rows}) {
    SavedPoint saved;
    save_centre(other, 1e-3, &saved);
    LoadedProblem problem(rmp);
    EXPECT_EQ(outcome(&problem, problem.centre(1e-3, 1, &saved)), expected);
    EXPECT_TRUE(saved.holds_point());
  }
  for (const int32_t mode : {1, 2}) {
    SavedPoint empty;
    LoadedProblem problem(rmp);
    EXPECT_EQ(outcome(&problem, problem.centre(1e-3, mode, &empty)), expected);
  }
}

TEST(WarmStart, FromAPointFarAwayStillEndsAtTheOptimum) {
  // The saved point knows nothing but the box; most of the master is new and priced far below it.
  for (uint64_t seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    const LinearProgram full = random_programs::draw_rmp(30, 0, 300, 1e10, seed);
    std::vector<int32_t> box = all_columns(full);
    box.resize(62);
    SavedPoint saved;
    save_centre(full.with_columns(box), 0.1, &saved);
    LoadedProblem problem(full);
    EXPECT_EQ(problem.solve(kTight, 1, &saved).code, 0);
    EXPECT_EQ(random_programs::optimality_faults(full, &problem, 1e-7, 1e-8), "");
  }
}

/// The program with columns that change nothing: doubles of unbounded columns, and columns that do
/// not pay at the duals y.
LinearProgram with_idle_columns(LinearProgram program, const std::vector<double> &y) {
  for (const int32_t j : all_columns(program)) {
    const auto at = static_cast<size_t>(j);
    if (program.lower[at] != 0.0 || program.upper[at] < benchmarks::kNoBound) continue;
    std::vector<std::pair<int32_t, double>> doubled, idle;
    double price = 0.0;
    for (int32_t t = program.start[at]; t < program.start[at + 1]; ++t) {
      const auto [i, a] =
          std::pair(program.row[static_cast<size_t>(t)], program.value[static_cast<size_t>(t)]);
      doubled.emplace_back(i, 2.0 * a);
      idle.emplace_back(i, -a);
      price -= a * y[static_cast<size_t>(i)];
    }
    if (j % 2 == 0) program.add_column(2.0 * program.cost[at], 0.0, benchmarks::kNoBound, doubled);
    if (j % 3 == 0) program.add_column(price + 1.0, 0.0, benchmarks::kNoBound, idle);
  }
  return program;
}

/// A plain cold solve may go by way of a smaller problem and end on the boundary of this one.
TEST(WarmStart, GoesOnFromThePlainSolveOfAReducibleProgram) {
  random_programs::Traits traits = random_programs::reducible();
  traits.most_rows = 40, traits.most_columns = 80;
  for (uint64_t seed = 1; seed <= 150; ++seed) {
    const random_programs::KnownProgram known = random_programs::draw_known(traits, seed);
    const LinearProgram &program = known.program;
    SCOPED_TRACE(program.name);
    const auto expect_optimum = [&known](const LinearProgram &of, LoadedProblem *problem,
                                         const SolveReport &report) {
      EXPECT_EQ(report.code, 0);
      EXPECT_EQ(random_programs::non_finite_outputs(problem, report), "");
      EXPECT_EQ(random_programs::optimality_faults(of, problem, HUGE_VAL, 1e-8), "");
      EXPECT_NEAR(problem->objective(), known.optimum, known.slack);
    };
    LoadedProblem first(program);
    expect_optimum(program, &first, first.solve(kTight));
    SavedPoint saved;
    first.save(&saved);
    ASSERT_TRUE(saved.holds_point());
    const LinearProgram more = with_idle_columns(program, first.duals());
    // Rows that fix their columns may leave no interior, and then there is no centre to be found.
    const int32_t centre_code = LoadedProblem(more).centre(1e-3).code;
    for (const int32_t option : {0, 1}) {
      expect_optimum(program, &first, first.solve(kTight, 2, &saved, option));
      expect_optimum(program, &first, first.solve(kTight, 1, &saved, option));
      LoadedProblem again(program), next(more);
      expect_optimum(program, &again, again.solve(kTight, 1, &saved, option));
      expect_optimum(more, &next, next.solve(kTight, 1, &saved, option));
      EXPECT_EQ(next.centre(1e-3, 1, &saved).code, centre_code);
      EXPECT_EQ(next.centre(1e-3, 2, &saved).code, centre_code);
    }
  }
}

/// A sparse RMP with a band of three rows a column, and a dual box.
LinearProgram banded_rmp(int32_t rows, int32_t columns) {
  LinearProgram program;
  std::mt19937 draw(1);
  for (int32_t i = 0; i < rows; ++i) program.add_row(benchmarks::kGreaterEqual, 10.0);
  for (int32_t i = 0; i < rows; ++i) {
    program.add_column(100.0, 0.0, benchmarks::kNoBound, {{i, 1.0}});
  }
  for (int32_t j = 0; j < columns; ++j) {
    std::vector<std::pair<int32_t, double>> entries;
    for (int32_t i = j % rows; i < std::min(j % rows + 3, rows); ++i) {
      entries.emplace_back(i, 1.0 + static_cast<double>(draw() % 5));
    }
    program.add_column(20.0 + static_cast<double>(draw() % 10), 0.0, benchmarks::kNoBound, entries);
  }
  return program;
}

TEST(SaveRecord, OfOnePointServesThreadsWithHandlesOfTheirOwn) {
  LoadedProblem before(banded_rmp(400, 1000));
  ASSERT_EQ(before.centre(1e-2).code, 0);
  const LinearProgram after = banded_rmp(400, 1300);
  SavedPoint saved[3];  // they share what the point was made with
  for (SavedPoint &record : saved) before.save(&record);
  LoadedProblem alone(after);
  const SolveReport expected = alone.centre(1e-2, 1, &saved[2]);
  ASSERT_EQ(expected.code, 0);
  std::vector<int32_t> iterations[2];
  const auto solve = [&](size_t k) {
    for (int repeat = 0; repeat < 25; ++repeat) {
      LoadedProblem own(after);
      iterations[k].push_back(own.centre(1e-2, 1, &saved[k]).iterations);
    }
  };
  std::thread other(solve, 0);
  solve(1);
  other.join();
  for (const auto &list : iterations) {
    EXPECT_EQ(list, std::vector<int32_t>(25, expected.iterations));
  }
}

/// What the record shares with the problem it comes from, further solves of that leave as it is.
TEST(SaveRecord, IsTheSameAfterItsSourceWasSolvedAgain) {
  const LinearProgram dense = random_programs::draw_rmp(40, 0, 420, 1e3, 1);
  std::vector<int32_t> fewer = all_columns(dense);
  fewer.resize(fewer.size() - 20);
  const LinearProgram before[] = {dense.with_columns(fewer), banded_rmp(400, 1000)};
  const LinearProgram after[] = {dense, banded_rmp(400, 1300)};
  for (size_t k = 0; k < 2; ++k) {
    LoadedProblem source(before[k]), first(after[k]), second(after[k]);
    SavedPoint saved;
    ASSERT_EQ(source.centre(0.1).code, 0);
    source.save(&saved);
    const Outcome expected = outcome(&first, first.centre(0.1, 1, &saved));
    ASSERT_EQ(source.solve(kTight, 2, &saved).code, 0);
    ASSERT_EQ(source.centre(1e-3).code, 0);
    EXPECT_EQ(outcome(&second, second.centre(0.1, 1, &saved)), expected);
  }
}

TEST(SaveRecord, CanBeOverwrittenReleasedAndFilledAgain) {
  const LinearProgram small = random_programs::draw_rmp(10, 0, 50, 1e3, 1);
  const LinearProgram large = random_programs::draw_rmp(40, 0, 400, 1e3, 2);
  SavedPoint saved;
  EXPECT_FALSE(saved.holds_point());
  save_centre(small, 1e-3, &saved);
  save_centre(large, 1e-3, &saved);
  LoadedProblem problem(large);
  EXPECT_LE(problem.centre(1e-3, 1, &saved).iterations, 3) << "not the second point";
  saved.release();
  EXPECT_FALSE(saved.holds_point());
  saved.release();
  LoadedProblem(large).save(&saved);  // never solved: whatever it holds now has to be usable
  EXPECT_EQ(problem.solve(kTight, 1, &saved).code, 0);
}

TEST(CentredPoint, LiesInTheNeighbourhoodAndIsNearlyFeasibleAtEveryTolerance) {
  for (uint64_t seed = 1; seed <= 8; ++seed) {
    for (const double box : {1e3, 1e10}) {
      for (const int32_t columns : {0, 20, 300}) {
        const LinearProgram rmp = random_programs::draw_rmp(30, 4, columns, box, seed);
        for (const double tolerance : {5.0, 1.0, 0.5, 0.1, 1e-3, 1e-6}) {
          SCOPED_TRACE(rmp.name + ", " + std::to_string(columns) + " columns, box " +
                       std::to_string(box) + ", tolerance " + std::to_string(tolerance));
          LoadedProblem problem(rmp);
          const SolveReport r = problem.centre(tolerance);
          EXPECT_EQ(r.code, 0);
          EXPECT_GT(r.tolerance, 0.0);
          EXPECT_LE(r.tolerance, tolerance);
          EXPECT_LT(r.primal, 1e-5);
          EXPECT_GE(r.asmall, 0.1);
          EXPECT_LE(r.asmall, 1.0 + 1e-9);
          EXPECT_GE(r.alarge, 1.0 - 1e-9);
          EXPECT_LE(r.alarge, 10.0);
          // The measured infeasibility is that of rows with their slacks, so never above the
          // reported one of rows without.
          EXPECT_EQ(
              random_programs::optimality_faults(rmp, &problem, 1.01 * tolerance,
                                                 std::max({1e-12, 1.01 * r.primal, 1.01 * r.dual})),
              "");
        }
      }
    }
  }
}

TEST(Solver, GivesTheSameBitsForTheSameInput) {
  for (const int32_t blocks : {0, 5}) {
    const LinearProgram rmp = random_programs::draw_rmp(60, blocks, 500, 1e10, 1);
    SavedPoint saved;
    save_centre(rmp, 0.1, &saved);
    LoadedProblem first(rmp), second(rmp);
    EXPECT_EQ(outcome(&first, first.solve(kTight)), outcome(&second, second.solve(kTight)));
    EXPECT_EQ(outcome(&first, first.centre(1e-3, 1, &saved)),
              outcome(&second, second.centre(1e-3, 1, &saved)));
    // A second solve from scratch remembers nothing of the first.
    EXPECT_EQ(outcome(&first, first.solve(kTight)), outcome(&second, second.solve(kTight)));
  }
}

/// What an earlier solve lowered, gave up or accepted is forgotten, whatever it was.
TEST(Solver, StartsEachSolveAfresh) {
  const std::vector<random_programs::Traits> families = random_programs::families();
  for (const size_t family : {1u, 5u, 8u, 9u, 10u}) {
    for (uint64_t seed = 1; seed <= 8; ++seed) {
      const LinearProgram program = random_programs::draw_known(families[family], seed).program;
      SCOPED_TRACE(program.name);
      SavedPoint saved;
      save_centre(program, 0.1, &saved);
      for (const bool warm : {false, true}) {
        LoadedProblem used(program), fresh(program);
        used.solve(kTight);
        used.centre(1.0);
        EXPECT_EQ(outcome(&used, warm ? used.centre(1e-6, 1, &saved) : used.centre(1e-6)),
                  outcome(&fresh, warm ? fresh.centre(1e-6, 1, &saved) : fresh.centre(1e-6)));
      }
    }
  }
}

/// Beside penalties a solve that stalls begins again at their end of the path. Where rows
/// contradict each other by a little that comes to nothing, and what the first one ended with is
/// still there.
TEST(Solver, KeepsAUsablePointWhenItsSecondStartFailsToo) {
  random_programs::Traits traits;
  traits.cost_decades[0] = -6, traits.cost_decades[1] = 10;
  traits.dependent = 0.4, traits.equalities = 0.9;
  int stalled = 0;
  for (uint64_t seed = 1; seed <= 120; ++seed) {
    LinearProgram program = random_programs::draw_known(traits, seed).program;
    for (size_t i = 0; i < program.rhs.size(); ++i) {
      program.rhs[i] *= 1.0 + 1e-7 * static_cast<double>(seed % 7) * static_cast<double>(i % 3);
    }
    LoadedProblem problem(program);
    const SolveReport report = problem.solve(kTight);
    if (report.code != -1) continue;
    ++stalled;
    SCOPED_TRACE(program.name);
    const benchmarks::Measures m = benchmarks::measure(program, problem.x(), problem.duals());
    EXPECT_LE(report.primal, 1e-5);
    EXPECT_LE(m.primal_infeasibility, 1e-5);
    EXPECT_LE(m.dual_infeasibility, 1.01 * report.dual + 1e-12);
    EXPECT_NEAR(m.objective, problem.objective(), 1e-9 * std::fabs(m.objective));
  }
  EXPECT_GT(stalled, 0);
}

TEST(Solver, AnswersBeforeTheFirstSolveWithFiniteNumbers) {
  const LinearProgram rmp = random_programs::draw_rmp(10, 2, 30, 1e10, 1);
  LoadedProblem problem(rmp);
  EXPECT_EQ(problem.get()->ncols, rmp.columns());
  EXPECT_EQ(random_programs::non_finite_outputs(&problem, {}), "");
}

TEST(NullHandle, IsRefusedByEveryOperation) {
  SavedPoint saved;
  double tolerance = 1e-3, m[5] = {1.0, 1.0, 1.0, 1.0, 1.0}, s[2], buffer[1] = {7.0};
  int32_t option = 1, iterations = 0, work[1] = {0};
  preproc_Pb(nullptr);
  EXPECT_NE(solve_Pb(nullptr, 0, saved.get(), &tolerance, &option, &m[0], &m[1], &m[2], &m[3],
                     &m[4], &iterations),
            0);
  EXPECT_NE(acpdm_Pb(nullptr, 0, saved.get(), &tolerance, &option, &m[0], &m[1], &m[2], &m[3],
                     &m[4], &iterations, work),
            0);
  save_Pb(nullptr, saved.get());
  EXPECT_FALSE(saved.holds_point());
  get_opt_solution(nullptr, &s[0], &s[1], buffer, nullptr, nullptr, buffer);
  get_dual_solution(nullptr, buffer);
  EXPECT_EQ(buffer[0], 7.0);
  free_Pb_save(nullptr);
  free_Pb(nullptr);
}

}  // namespace

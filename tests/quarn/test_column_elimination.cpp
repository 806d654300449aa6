#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Columns;
using support::Environment;
using support::solver;

/// A record whose generated column k has tag k and, once solved, the slack slacks[k].
Environment record_with_slacks(int32_t p, const std::vector<double> &slacks,
                               const Columns &columns) {
  support::ProblemData setup;
  setup.m = 1;
  setup.p = p;
  Environment env(setup);
  env->column_elimination = 0;
  std::vector<int32_t> tags(columns.size());
  std::iota(tags.begin(), tags.end(), 0);
  if (!columns.empty()) support::add_columns(env.get(), columns, tags.data());
  solver().slacks = [slacks](const support::LoadedProblem &problem, double *z) {
    std::copy(slacks.begin(), slacks.end(), z + problem.n - static_cast<int32_t>(slacks.size()));
  };
  support::solve_once(env.get());
  return env;
}

struct Outcome {
  int32_t marked = 0;  // counted per ranking, so a column may count twice
  std::vector<bool> keep;
};

/// Marks the `count` candidates with the largest slacks.
void mark_largest(std::vector<int32_t> candidates, int32_t count, const std::vector<double> &slacks,
                  Outcome *outcome) {
  std::sort(candidates.begin(), candidates.end(), [&](int32_t a, int32_t b) {
    return slacks[static_cast<size_t>(a)] > slacks[static_cast<size_t>(b)];
  });
  const auto available = static_cast<int32_t>(candidates.size());
  for (int32_t k = 0; k < std::min(count, available); ++k, ++outcome->marked) {
    outcome->keep[static_cast<size_t>(candidates[static_cast<size_t>(k)])] = false;
  }
}

Outcome reference(int32_t p, double fraction, int32_t first, int32_t last, const Columns &columns,
                  const std::vector<double> &slacks) {
  Outcome outcome;
  outcome.keep.assign(columns.size(), true);
  const auto n = static_cast<int32_t>(columns.size());
  std::vector<std::vector<int32_t>> rankings(static_cast<size_t>(p <= 2 ? 1 : p));
  for (int32_t g = first; g < last; ++g) {
    if (p <= 2) {
      rankings[0].push_back(g);
      continue;
    }
    for (const support::Entry &entry : columns[static_cast<size_t>(g)]) {
      const int32_t further = entry.first - 2;  // one linking row, so row 2 is the first
      if (further < 0 || further >= p) continue;
      std::vector<int32_t> &ranking = rankings[static_cast<size_t>(further)];
      if (ranking.empty() || ranking.back() != g) ranking.push_back(g);  // named twice: ranked once
    }
  }
  const int32_t wanted = n - static_cast<int32_t>(std::ceil(n * fraction));
  for (const auto &ranking : rankings) {
    const int32_t spare = static_cast<int32_t>(ranking.size()) - 3;
    mark_largest(ranking, p <= 2 ? std::max(wanted, 0) : std::max(std::min(5, spare), 0), slacks,
                 &outcome);
  }
  return outcome;
}

TEST(ColumnElimination, RemovesTheLargestSlacksLikeASortedReference) {
  support::Random random(51);
  for (int run = 0; run < 250; ++run) {
    const int32_t p = random.integer(0, 6), n = random.integer(0, 90);
    const auto count = static_cast<size_t>(n);
    std::vector<double> slacks(count);
    std::iota(slacks.begin(), slacks.end(), -20.5);  // distinct, of both signs
    std::shuffle(slacks.begin(), slacks.end(), random.engine());
    Columns columns(count);
    for (support::Column &column : columns) {
      column = {{1, 1.0}};
      for (int32_t i = 2; i <= p + 1; ++i) {
        if (random.chance(0.4)) column.emplace_back(i, 1.0);
      }
      if (random.chance(0.2)) column.emplace_back(column.back());
      if (random.chance(0.2)) column.emplace_back(column[column.size() / 2]);
      column.emplace_back(p + 2, 3.0);
    }
    Environment env = record_with_slacks(p, slacks, columns);
    env->reduce_fraction = random.one_of<double>({0.75, 0.5, 0.1, 0.0, 1.5});
    const int32_t first = random.chance(0.7) ? 0 : random.integer(0, n);
    const int32_t last = random.chance(0.7) ? n - 1 : random.integer(0, n);
    const Outcome expected = reference(p, env->reduce_fraction, first, last, columns, slacks);
    const auto kept =
        static_cast<int32_t>(std::count(expected.keep.begin(), expected.keep.end(), true));

    std::string message;
    if (p > 2 || first < last) {
      message = expected.marked <= 10
                    ? "\n### The matrix was not reduced (t=" + std::to_string(expected.marked) +
                          ") ###\n\n"
                    : "\n### The coefficient matrix was reduced from " + std::to_string(n) +
                          " to " + std::to_string(kept) + " columns ###\n\n";
    }
    SCOPED_TRACE(testing::Message() << "run " << run << " p " << p << " n " << n);
    int32_t result = -9;
    EXPECT_EQ(support::flushed_output(
                  [&] { result = QUARN_reduce_coefficient_matrix(env.get(), first, last); }),
              message);
    const bool reduced = expected.marked > 10;
    EXPECT_EQ(result, reduced ? 1 : 0);
    EXPECT_EQ(env->Pb == nullptr, reduced);
    std::vector<int32_t> tags;
    for (size_t g = 0; g < count; ++g) {
      if (!reduced || expected.keep[g]) tags.push_back(static_cast<int32_t>(g));
    }
    ASSERT_EQ(env->G->n - env->ncols_aux, static_cast<int32_t>(tags.size()));
    EXPECT_EQ(std::vector<int32_t>(env->col_tag, env->col_tag + tags.size()), tags);
    EXPECT_EQ(support::broken_invariants(*env.get()), "");
    if (HasFailure()) return;
  }
}

TEST(ColumnElimination, AFourthOfFortyFourIsTheFirstThatPays) {
  for (const int32_t n : {43, 44}) {
    const auto count = static_cast<size_t>(n);
    Environment env =
        record_with_slacks(0, std::vector<double>(count, 1.0), Columns(count, {{1, 1}, {2, 5}}));
    int32_t result = -9;
    const std::string text = support::flushed_output(
        [&] { result = QUARN_reduce_coefficient_matrix(env.get(), 0, n - 1); });
    EXPECT_EQ(result, n == 44 ? 1 : 0);
    EXPECT_EQ(text, n == 44 ? "\n### The coefficient matrix was reduced from 44 to 33 columns "
                              "###\n\n"
                            : "\n### The matrix was not reduced (t=10) ###\n\n");
    EXPECT_EQ(env->col_tag[env->G->n - env->ncols_aux - 1], n - 1) << "the newest column stays";
  }
}

TEST(ColumnElimination, WithoutALoadedProblemNothingHappens) {
  support::ProblemData setup;
  setup.m = 1;
  Environment env(setup);
  env->column_elimination = 0;
  support::add_columns(env.get(), Columns(60, {{1, 1}}));
  const std::string before = support::dump(*env.get());
  int32_t result = -9;
  EXPECT_EQ(
      support::flushed_output([&] { result = QUARN_reduce_coefficient_matrix(env.get(), 0, 59); }),
      "");
  EXPECT_EQ(result, 0);
  EXPECT_EQ(support::dump(*env.get()), before);
}

}  // namespace

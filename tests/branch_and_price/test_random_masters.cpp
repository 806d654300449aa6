// Thousands of tiny masters against dynamic programming, under settings drawn at random.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "tests/branch_and_price/explicit_master.h"

namespace explicit_master {

constexpr uint32_t kPrograms = 400;  // of each family

static bp::Settings random_settings(uint32_t seed) {
  std::mt19937 random(seed);
  const auto coin = [&] { return (random() & 1U) != 0; };
  bp::Settings settings;
  settings.order = coin() ? bp::Order::depth_first : bp::Order::best_bound_with_dives;
  settings.start = coin() ? bp::Start::parent : bp::Start::pool;
  settings.candidates = coin() ? 1 : 3;
  settings.cut_off_early = coin();
  settings.branch_early = coin();
  settings.share_of_distance = coin() ? 0.0 : 0.05;
  settings.dive_every = coin() ? 0 : 1;
  settings.discrepancies = coin() ? 0 : 2;
  settings.rounding = random() % 4 == 0;
  settings.cut_rounds = coin() ? 0 : 5;
  settings.trim_columns = coin();
  settings.reliable_after = coin() ? 1 : 0;
  return settings;
}

/// Recomputes value and rows from the columns, and looks at the bounds on the way.
static void check(const Program &program, const std::optional<double> &best,
                  const bp::Outcome &outcome) {
  if (!best) {
    EXPECT_EQ(outcome.status, bp::Status::infeasible) << outcome.message;
    return;
  }
  ASSERT_EQ(outcome.status, bp::Status::optimal) << outcome.message;
  const double sign = program.sense == quarn::Sense::minimize ? 1.0 : -1.0;
  const double error = 2e-6 * std::max(1.0, std::fabs(*best));
  double value = 0.0;
  std::vector<double> sums(program.rows.size(), 0.0);
  for (const bp::SolutionColumn &column : outcome.solution) {
    EXPECT_EQ(column.value, std::round(column.value));
    const ExplicitColumn &known = program.columns[std::any_cast<size_t>(column.data)];
    value += known.cost * column.value;
    for (size_t i = 0; i < sums.size(); ++i) sums[i] += known.entries[i] * column.value;
  }
  for (size_t i = 0; i < sums.size(); ++i) {
    const auto &[sense, rhs, block] = program.rows[i];
    EXPECT_TRUE(sense == quarn::RowSense::at_most || sums[i] >= rhs);
    EXPECT_TRUE(sense == quarn::RowSense::at_least || sums[i] <= rhs);
  }
  EXPECT_NEAR(value, *best, error);
  EXPECT_NEAR(outcome.value, *best, error);
  EXPECT_NEAR(outcome.bound, *best, error);
  for (const bp::NodeRecord &record : outcome.history) {
    EXPECT_LE(sign * record.tree_bound, sign * *best + error) << "node " << record.node;
    EXPECT_GE(sign * record.incumbent, sign * *best - error) << "node " << record.node;
  }
}

static void PrintTo(Family family, std::ostream *stream) {
  const char *const names[] = {"BinPacking", "Partitioning", "Covering", "Packing", "Blocks"};
  *stream << names[static_cast<size_t>(family)];
}

class RandomMasters : public testing::TestWithParam<Family> {};

TEST_P(RandomMasters, EndAtTheOptimumWithItsBound) {
  int64_t nodes = 0, cuts = 0;
  for (uint32_t seed = 1; seed <= kPrograms; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Program program = random_program(GetParam(), seed);
    ExplicitProblem problem(program);
    bp::Search search(problem, problem.master());
    const bp::Outcome outcome = search.run(random_settings(seed));
    check(program, best_value(program), outcome);
    nodes += outcome.nodes;
    cuts += outcome.cuts;
    if (HasFailure()) return;
  }
  EXPECT_GT(nodes, kPrograms + kPrograms / 20);              // some have to branch
  EXPECT_TRUE(cuts > 20 || GetParam() == Family::covering);  // whose rows have none
}

TEST_P(RandomMasters, EndAlikeWhenInterruptedSavedAndResumed) {
  const std::string file =
      testing::TempDir() + "branch_and_price_" + testing::PrintToString(GetParam()) + ".tree";
  for (uint32_t seed = 1001; seed <= 1000 + kPrograms / 4; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Program program = random_program(GetParam(), seed);
    bp::Settings settings = random_settings(seed);
    settings.dive_every = 0;
    settings.max_nodes = 1;
    settings.save_file = file;
    settings.save_data = [](const std::any &data) {
      return std::to_string(std::any_cast<size_t>(data));
    };
    std::optional<bp::Outcome> outcome;
    do {
      ExplicitProblem problem(program);
      bp::Search search(problem, problem.master());
      const auto read = [](const std::string &text) { return std::any(size_t{std::stoul(text)}); };
      const int64_t before = outcome ? outcome->nodes : 0;
      if (outcome) search.resume(file, read);
      outcome = search.run(settings);
      ASSERT_LE(outcome->nodes, before + 1);
    } while (outcome->status == bp::Status::node_limit);
    check(program, best_value(program), *outcome);
    if (HasFailure()) break;
  }
  std::remove(file.c_str());
}

INSTANTIATE_TEST_SUITE_P(Families, RandomMasters, testing::ValuesIn(kFamilies),
                         testing::PrintToStringParamName());

}  // namespace explicit_master

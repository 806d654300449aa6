// Problems with one fault each: found, named, and nothing is called optimal.
#include <gtest/gtest.h>

#include <functional>

#include "tests/branch_and_price/explicit_master.h"

namespace explicit_master {

/// Three items of which any two fit into a bin: 1.5 bins by the relaxation, 2 in integers.
static Program three_items() {
  Program program;
  program.pairs = true;
  program.granularity = 1.0;
  program.rows.assign(3, {quarn::RowSense::equal, 1, false});
  for (const std::vector<int> &set : std::vector<std::vector<int>>{
           {1, 1, 0}, {1, 0, 1}, {0, 1, 1}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}) {
    program.columns.push_back({1.0, set});
  }
  return program;
}

/// The problem with parts replaced.
class Faulty : public ExplicitProblem {
 public:
  using ExplicitProblem::ExplicitProblem;

  std::function<std::vector<bp::Branching>(std::vector<bp::Branching>)> rebranch;
  std::function<std::optional<bp::Solution>(const bp::Relaxation &)> claim;
  double unit = 0.0;

  std::vector<bp::Branching> branch(const bp::Relaxation &relaxation) override {
    std::vector<bp::Branching> candidates = ExplicitProblem::branch(relaxation);
    return rebranch ? rebranch(candidates) : candidates;
  }
  std::optional<bp::Solution> heuristic(const bp::Relaxation &relaxation) override {
    return claim ? claim(relaxation) : std::nullopt;
  }
  double granularity() const override { return unit; }
};

static bp::Settings plain() {
  bp::Settings settings;
  settings.dive_every = 0;
  return settings;
}

static void expect_failure(Faulty &problem, const bp::Settings &settings, const std::string &text) {
  bp::Search search(problem, problem.master());
  const bp::Outcome outcome = search.run(settings);
  EXPECT_EQ(outcome.status, bp::Status::failed);
  EXPECT_NE(outcome.message.find(text), std::string::npos) << outcome.message;
  EXPECT_LE(outcome.bound, 2.0);
}

TEST(BranchAndPriceMistakes, WithoutAFaultTheProblemBranchesAndIsSolved) {
  Faulty problem(three_items());
  bp::Search search(problem, problem.master());
  const bp::Outcome outcome = search.run(plain());
  EXPECT_EQ(outcome.status, bp::Status::optimal) << outcome.message;
  EXPECT_NEAR(outcome.value, 2.0, 1e-9);
  EXPECT_GT(outcome.nodes, 1);
}

TEST(BranchAndPriceMistakes, OraclesAndBranchingsAreFoundOut) {
  struct Case {
    const char *text;
    std::function<void(Faulty &)> plant;
  };
  using Candidates = std::vector<bp::Branching>;
  const Case cases[] = {
      {"which the oracle ignores", [](Faulty &p) { p.ignores_decisions = true; }},
      {"is no multiple of 0.700000", [](Faulty &p) { p.unit = 0.7; }},
      {"does not exclude the fractional solution",
       [](Faulty &p) {
         p.rebranch = [](Candidates c) {
           for (bp::Branching &b : c) b.back() = {{"nothing", {}}};
           return c;
         };
       }},
      {"does not exclude the fractional solution",
       [](Faulty &p) {
         p.rebranch = [](Candidates c) {
           for (bp::Branching &b : c) b.back() = {};
           return c;
         };
       }},
      {"is allowed by none of the children",
       [](Faulty &p) {
         p.rebranch = [](Candidates c) {
           for (bp::Branching &b : c) b.resize(1);
           return c;
         };
       }},
      {"has no children",
       [](Faulty &p) { p.rebranch = [](const Candidates &) { return Candidates{{}}; }; }},
      {"no candidate for branching",
       [](Faulty &p) { p.rebranch = [](const Candidates &) { return Candidates{}; }; }},
      {"row 'row 0' is 0.000000 instead of at least 1",
       [](Faulty &p) { p.claim = [](const bp::Relaxation &) { return bp::Solution{}; }; }},
      {"a column is used -1", [](Faulty &p) {
         p.claim = [](const bp::Relaxation &at) {
           bp::Solution solution;
           for (const quarn::Row &row : at.at.master.rows()) {
             solution.push_back({1.0, {{row, -1.0}}, {}, -1.0});
           }
           return solution;
         };
       }}};
  for (const Case &fault : cases) {
    SCOPED_TRACE(fault.text);
    Faulty problem(three_items());
    fault.plant(problem);
    expect_failure(problem, plain(), fault.text);
  }
}

TEST(BranchAndPriceMistakes, ASolutionBetterThanTheBoundMeansThatABoundIsWrong) {
  Faulty problem(three_items());
  problem.claim = [](const bp::Relaxation &at) {
    std::vector<quarn::Entry> entries;  // a pattern that the oracle has not
    for (const quarn::Row &row : at.at.master.rows()) entries.push_back({row, 1.0});
    return bp::Solution{{1.0, entries, {}, 1.0}};
  };
  expect_failure(problem, plain(), "better than the bound of the tree");
}

TEST(BranchAndPriceMistakes, SettingsThatCannotBeMeantAreRefused) {
  const std::function<void(bp::Settings &)> cases[] = {
      [](bp::Settings &s) { s.tolerance = 0.0; }, [](bp::Settings &s) { s.gap_limit = -1.0; },
      [](bp::Settings &s) { s.max_nodes = -1; },  [](bp::Settings &s) { s.time_limit = -1.0; },
      [](bp::Settings &s) { s.candidates = 0; },  [](bp::Settings &s) { s.dive_share = 2.0; }};
  for (const auto &spoil : cases) {
    Faulty problem(three_items());
    bp::Search search(problem, problem.master());
    bp::Settings settings;
    spoil(settings);
    EXPECT_THROW(search.run(settings), quarn::Mistake);
  }
}

}  // namespace explicit_master

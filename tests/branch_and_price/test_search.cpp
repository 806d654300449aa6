// Limits, interrupts, files, logs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "tests/branch_and_price/explicit_master.h"

namespace explicit_master {

/// A program whose tree has at least this many nodes.
static Program branching_program(int64_t nodes) {
  for (uint32_t seed = 1;; ++seed) {
    const Program program = random_program(Family::packing, seed);
    ExplicitProblem problem(program);
    bp::Settings settings;
    settings.dive_every = 0;
    if (bp::Search(problem, problem.master()).run(settings).nodes >= nodes) return program;
  }
}

class BranchAndPriceSearch : public testing::Test {
 protected:
  const Program program_ = branching_program(9);
  const double best_ = *best_value(program_);
  ExplicitProblem problem_{program_};
  bp::Search search_{problem_, problem_.master()};
  bp::Settings settings_ = [] {
    bp::Settings settings;
    settings.dive_every = 0;
    return settings;
  }();
};

TEST_F(BranchAndPriceSearch, GoesOnAfterEachLimitWithARightBound) {
  settings_.time_limit = 0.0;
  EXPECT_EQ(search_.run(settings_).status, bp::Status::time_limit);
  settings_ = {};
  settings_.dive_every = 0;
  settings_.memory_limit = 1.0;
  EXPECT_EQ(search_.run(settings_).status, bp::Status::memory_limit);
  settings_.memory_limit = 1e12;
  int32_t calls = 0;
  settings_.interrupt = [&] { return ++calls > 5; };
  bp::Outcome outcome = search_.run(settings_);
  EXPECT_EQ(outcome.status, bp::Status::stopped);
  EXPECT_GE(outcome.bound, best_ - 1e-6);  // it maximises
  settings_.interrupt = nullptr;
  settings_.max_nodes = 3;
  outcome = search_.run(settings_);
  EXPECT_EQ(outcome.status, bp::Status::node_limit);
  EXPECT_GE(outcome.bound, best_ - 1e-6);
  settings_.max_nodes = 1000000;
  outcome = search_.run(settings_);
  EXPECT_EQ(outcome.status, bp::Status::optimal) << outcome.message;
  EXPECT_NEAR(outcome.value, best_, 1e-5);
}

TEST_F(BranchAndPriceSearch, EndsAtTheGapAskedForOrAtTheCutoff) {
  settings_.gap_limit = 0.9;
  settings_.dive_every = 1;
  EXPECT_EQ(search_.run(settings_).status, bp::Status::gap_limit);
  bp::Search other(problem_, problem_.master());
  settings_.gap_limit = 0.0;
  settings_.cutoff = best_ + 1.0;  // it maximises: nothing is as good
  const bp::Outcome outcome = other.run(settings_);
  EXPECT_EQ(outcome.status, bp::Status::infeasible);
  EXPECT_FALSE(outcome.has_solution);
}

TEST_F(BranchAndPriceSearch, RunsAlikeTwiceAndLogsALineForEachNode) {
  std::ostringstream log;
  settings_.log = &log;
  const bp::Outcome first = search_.run(settings_);
  bp::Search again(problem_, problem_.master());
  const bp::Outcome second = again.run(settings_);
  ASSERT_EQ(first.history.size(), second.history.size());
  for (size_t k = 0; k < first.history.size(); ++k) {
    EXPECT_EQ(first.history[k].bound, second.history[k].bound);
    EXPECT_EQ(first.history[k].decisions, second.history[k].decisions);
    EXPECT_EQ(first.history[k].fate, second.history[k].fate);
  }
  const std::string text = log.str();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2 + 2 * first.nodes);
}

TEST_F(BranchAndPriceSearch, RefusesFilesThatAreDamagedOrOfAnotherMaster) {
  const std::string file = testing::TempDir() + "branch_and_price_search.tree";
  settings_.max_nodes = 3;
  search_.run(settings_);
  search_.save(file);
  std::stringstream text;
  text << std::ifstream(file).rdbuf();
  const std::string whole = text.str();
  const auto refuses = [&](const std::string &content) {
    std::ofstream(file) << content;
    bp::Search fresh(problem_, problem_.master());
    EXPECT_THROW(fresh.resume(file), quarn::FileError);
  };
  for (size_t share = 0; share < 20; ++share) refuses(whole.substr(0, whole.size() * share / 20));
  refuses("something else");
  std::ofstream(file) << whole;
  Program stranger = program_;
  stranger.rows.front().rhs += 1;
  ExplicitProblem other(stranger);
  EXPECT_THROW(bp::Search(other, other.master()).resume(file), quarn::FileError);
  EXPECT_THROW(search_.resume(file), quarn::Mistake);
  EXPECT_THROW(search_.save(testing::TempDir() + "no/such/folder"), quarn::FileError);
  std::remove(file.c_str());
}

TEST_F(BranchAndPriceSearch, TakesAnOfferThatIsASolutionAndNoOther) {
  const bp::Outcome outcome = search_.run(settings_);
  bp::Search fresh(problem_, problem_.master());
  fresh.offer(outcome.solution);
  settings_.max_nodes = 0;
  EXPECT_NEAR(fresh.run(settings_).value, best_, 1e-5);
  bp::Solution spoiled = outcome.solution;
  for (bp::SolutionColumn &column : spoiled) column.value += 100.0;
  EXPECT_THROW(fresh.offer(spoiled), quarn::Mistake);
}

}  // namespace explicit_master

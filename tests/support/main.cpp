#include <gtest/gtest.h>

#include "tests/support/allocation.h"
#include "tests/support/scripted_solver.h"

namespace {

/// After every test: nothing of the library or the solver is left, and the solver's contract held.
class BalanceListener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo &) override {
    support::reset_solver();
    blocks_ = support::live_blocks();
  }
  void OnTestEnd(const testing::TestInfo &) override {
    support::fail_allocation(0);
    EXPECT_EQ(support::live_blocks(), blocks_) << "heap blocks leaked";
    EXPECT_EQ(support::solver().live_problems, 0) << "solver problems leaked";
    EXPECT_EQ(support::solver().live_points, 0) << "saved points leaked";
    EXPECT_EQ(support::solver().faults, std::vector<std::string>());
  }
  int64_t blocks_ = 0;
};

}  // namespace

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new BalanceListener);
  return RUN_ALL_TESTS();
}

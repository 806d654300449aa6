/// The number of threads of an OpenBLAS is a setting of the process: solves must neither change it
/// for the host nor be changed by it.
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "interior_point/linear_algebra/dense_kernel.h"
#include "tests/interior_point/random_programs.h"

#if defined(__GNUC__) && defined(__ELF__)
extern "C" int openblas_get_num_threads(void) __attribute__((weak));
extern "C" void openblas_set_num_threads(int threads) __attribute__((weak));
#else
constexpr int (*openblas_get_num_threads)() = nullptr;
constexpr void (*openblas_set_num_threads)(int) = nullptr;
#endif

namespace {

using interior_point::BlasThreads;

class ThreadsOfBlas : public testing::Test {
 protected:
  void SetUp() override {
    if (!openblas_get_num_threads) GTEST_SKIP() << "needs OpenBLAS";
    before_ = openblas_get_num_threads();
    openblas_set_num_threads(2);
    if (openblas_get_num_threads() != 2) GTEST_SKIP() << "needs an OpenBLAS with threads";
  }
  void TearDown() override {
    if (before_ > 0) openblas_set_num_threads(before_);
  }

 private:
  int before_ = 0;
};

TEST_F(ThreadsOfBlas, AreOneUntilTheLastUserLeavesInWhateverOrder) {
  for (const bool first_leaves_first : {true, false}) {
    auto first = std::make_unique<BlasThreads>();
    auto second = std::make_unique<BlasThreads>();
    (first_leaves_first ? first : second).reset();
    EXPECT_EQ(openblas_get_num_threads(), 1);
    auto third = std::make_unique<BlasThreads>();
    first.reset();
    second.reset();
    EXPECT_EQ(openblas_get_num_threads(), 1);
    third.reset();
    EXPECT_EQ(openblas_get_num_threads(), 2);
  }
}

TEST_F(ThreadsOfBlas, AreThoseOfTheFirstUser) {
  openblas_set_num_threads(1);
  auto first = std::make_unique<BlasThreads>(2);
  const BlasThreads second;
  EXPECT_EQ(openblas_get_num_threads(), 2);
  first.reset();
  EXPECT_EQ(openblas_get_num_threads(), 2);
}

/// Rows enough for dense blocks that OpenBLAS would divide among its threads, with other last bits.
std::vector<double> solution_of(const benchmarks::LinearProgram &program) {
  benchmarks::LoadedProblem problem(program);
  EXPECT_EQ(problem.solve(1e-8).code, 0);
  std::vector<double> result = problem.x();
  const std::vector<double> duals = problem.duals();
  result.insert(result.end(), duals.begin(), duals.end());
  return result;
}

TEST_F(ThreadsOfBlas, OfTheHostNeitherChangeTheBitsOfSolvesAtOnceNorAreChanged) {
  const auto program = random_programs::draw_rmp(600, 0, 1800, 1e3, 1);
  const std::vector<double> alone = solution_of(program);
  // One thread leaves a solve somewhere in the middle of the other's.
  int unlike[2] = {0, 0};
  const auto solve_often = [&](int *count) {
    for (int k = 0; k < 5; ++k) *count += solution_of(program) != alone;
  };
  std::thread other(solve_often, &unlike[1]);
  solve_often(&unlike[0]);
  other.join();
  EXPECT_EQ(unlike[0] + unlike[1], 0);
  EXPECT_EQ(openblas_get_num_threads(), 2);
}

}  // namespace

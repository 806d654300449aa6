/// Every allocation of the solver fails in turn: each call ends in a code, nothing that it hands
/// out is not a number, and nothing is leaked.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <new>
#include <numeric>

#include "tests/interior_point/random_programs.h"

namespace {

int64_t live_blocks = 0;
int64_t countdown = 0;  ///< the allocation that fails, counted from now; 0 for none

/// Whether this allocation is the one to fail.
bool refused() { return countdown > 0 && --countdown == 0; }

void *counted(void *block) {
  if (block != nullptr) ++live_blocks;
  return block;
}

void release(void *block) noexcept {
  if (block != nullptr) --live_blocks;
  std::free(block);
}

}  // namespace

// The solver allocates by operator new alone.
void *operator new(size_t size) {
  void *block = refused() ? nullptr : counted(std::malloc(size > 0 ? size : 1));
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void *operator new[](size_t size) { return operator new(size); }
void *operator new(size_t size, const std::nothrow_t &) noexcept {
  return refused() ? nullptr : counted(std::malloc(size > 0 ? size : 1));
}
void *operator new[](size_t size, const std::nothrow_t &tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void *block) noexcept { release(block); }
void operator delete[](void *block) noexcept { release(block); }
void operator delete(void *block, size_t) noexcept { release(block); }
void operator delete[](void *block, size_t) noexcept { release(block); }

namespace {

using benchmarks::LinearProgram;
using benchmarks::LoadArrays;

/// What a caller holds of one problem, allocated before the failures begin.
struct Caller {
  explicit Caller(const LinearProgram &program)
      : arrays(program),
        x(program.cost.size() + 1, 0.0),
        z(x),
        u(program.rhs.size() + 1, 0.0),
        work(x.size(), 0) {}

  int32_t solve(int32_t start_mode, double tolerance, bool centred) {
    double opt_tol = tolerance;
    int32_t option = centred ? 1 : 0, iterations = 0;
    if (centred) {
      return acpdm_Pb(problem, start_mode, &saved, &opt_tol, &option, &measures[0], &measures[1],
                      &measures[2], &measures[3], &measures[4], &iterations, work.data());
    }
    return solve_Pb(problem, start_mode, &saved, &opt_tol, &option, &measures[0], &measures[1],
                    &measures[2], &measures[3], &measures[4], &iterations);
  }

  bool finite() const {
    const auto all_finite = [](const std::vector<double> &values) {
      for (const double value : values) {
        if (!std::isfinite(value)) return false;
      }
      return true;
    };
    return all_finite(x) && all_finite(z) && all_finite(u) && all_finite(measures);
  }

  LoadArrays arrays;
  std::vector<double> x, z, u;
  std::vector<int32_t> work;
  std::vector<double> measures = std::vector<double>(5, 1.0);
  IP_problem *problem = nullptr;
  IP_save_record saved = {};
};

/// How the first solve of a life is asked for: the outer loop wants a centre, others an optimum.
enum class First { kCentre, kOptimum };

/// Whether the solve succeeded. One that lacked memory does as soon as there is some.
bool solve(Caller *caller, int32_t start_mode, double tolerance, bool centred) {
  if (caller->solve(start_mode, tolerance, centred) == 0) return true;
  if (caller->problem != nullptr) {
    EXPECT_EQ(caller->solve(start_mode, tolerance, centred), 0);
  }
  return false;
}

/// A life of two problems with a saved point between them. Returns whether every solve succeeded.
bool live(First way, Caller *first, Caller *second) {
  first->problem = first->arrays.load(1);
  preproc_Pb(first->problem);
  bool solved = way == First::kCentre ? solve(first, 0, 0.1, true) : solve(first, 0, 1e-8, false);
  save_Pb(first->problem, &first->saved);
  solved &= solve(first, 2, 1e-8, false);
  save_Pb(first->problem, &first->saved);
  second->saved = first->saved;
  first->saved = {};
  second->problem = second->arrays.load(1);
  preproc_Pb(second->problem);
  solved &= solve(second, 1, 1e-3, true);
  double s1 = 0.0, s2 = 0.0;
  for (Caller *caller : {first, second}) {
    get_opt_solution(caller->problem, &s1, &s2, caller->x.data(), nullptr, nullptr,
                     caller->z.data());
    get_dual_solution(caller->problem, caller->u.data());
    free_Pb(caller->problem);
    caller->problem = nullptr;
  }
  if (second->saved.holds_point != 0) free_Pb_save(&second->saved);
  return solved;
}

void sweep(First way, const LinearProgram &fewer, const LinearProgram &program) {
  int64_t k = 0;
  for (bool reached = true; reached;) {
    Caller first(fewer), second(program);
    const int64_t before = live_blocks;
    countdown = ++k;
    const bool solved = live(way, &first, &second);
    reached = countdown == 0;
    countdown = 0;
    ASSERT_EQ(live_blocks, before) << "leaked when allocation " << k << " failed";
    ASSERT_TRUE(first.finite() && second.finite()) << "allocation " << k;
    ASSERT_TRUE(reached || solved) << "without a failure";
    // Where no solve noticed, the values have to be those of a solve that went well.
    if (reached && solved) {
      ASSERT_NE(second.u.back(), 0.0) << "allocation " << k << " failed unnoticed";
    }
  }
  EXPECT_GT(k, 50) << "the sweep did not reach the solver";
}

/// The program before its last columns were priced in.
LinearProgram predecessor(const LinearProgram &program) {
  std::vector<int32_t> all_but_the_last(static_cast<size_t>(program.columns()) - 7);
  std::iota(all_but_the_last.begin(), all_but_the_last.end(), 0);
  return program.with_columns(all_but_the_last);
}

TEST(AllocationFailure, EndsInACodeAndLeaksNothing) {
  const LinearProgram program = random_programs::draw_rmp(4, 2, 12, 1e3, 1);
  sweep(First::kCentre, predecessor(program), program);
}

/// Rows enough for the sparse factorisation, and columns short enough for it to be the cheapest.
TEST(AllocationFailure, InASparseProblemEndsInACodeAndLeaksNothing) {
  const LinearProgram program = random_programs::draw_rmp(64, 16, 30, 1e3, 1);
  sweep(First::kCentre, predecessor(program), program);
}

/// Short and parallel lines: a smaller problem is made, solved and extended.
TEST(AllocationFailure, InAReducibleProblemEndsInACodeAndLeaksNothing) {
  for (const uint64_t seed : {3U, 5U, 8U}) {
    const LinearProgram program =
        random_programs::draw_known(random_programs::reducible(), seed).program;
    sweep(First::kOptimum, program, program);
  }
}

/// Between two huge bounds a column is free at first, but here it runs to one of them: the form is
/// made again with its bounds, and with it all that solves it.
TEST(AllocationFailure, InAProblemWithLooseBoundsEndsInACodeAndLeaksNothing) {
  LinearProgram program = random_programs::draw_rmp(4, 2, 12, 1e3, 1);
  program.add_column(-1.0, -2e7, 1e7, {{0, 1.0}});
  program.add_column(0.0, 0.0, benchmarks::kNoBound, {{0, -1.0}});
  for (const First way : {First::kOptimum, First::kCentre}) sweep(way, program, program);
}

}  // namespace

/// Programs without an optimum are told from failures, by proofs that are handed out; programs with
/// one are never taken for such.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "benchmarks/clp_reference.h"
#include "interior_point/method/certificate_search.h"
#include "interior_point/method/certificates.h"
#include "quarn/quarn.h"
#include "tests/interior_point/forms.h"
#include "tests/interior_point/random_programs.h"

namespace {

using benchmarks::Interval;
using benchmarks::kEqual;
using benchmarks::kGreaterEqual;
using benchmarks::kLessEqual;
using benchmarks::kNoBound;
using benchmarks::LinearProgram;
using benchmarks::LoadedProblem;
using forms::form_of;
using interior_point::ProblemForm;
using interior_point::Verdict;
using random_programs::Random;
using random_programs::Traits;

constexpr int32_t kInfeasible = 4;
constexpr int32_t kUnbounded = 5;

using Entries = std::vector<std::pair<int32_t, double>>;

Entries entries_of(const LinearProgram &p, int32_t j) {
  Entries result;
  for (auto t = static_cast<size_t>(p.start[static_cast<size_t>(j)]);
       t < static_cast<size_t>(p.start[static_cast<size_t>(j) + 1]); ++t) {
    result.emplace_back(p.row[t], p.value[t]);
  }
  return result;
}

/// The program with a last row that asks for less than a combination of the others implies.
LinearProgram made_infeasible(const LinearProgram &p, Random *random) {
  std::vector<double> y(p.rhs.size(), 0.0);
  double implied = 0.0, size = 1.0;
  for (int32_t k = random->integer(1, 6); k > 0; --k) {
    const int32_t i = random->integer(0, p.rows() - 1);
    const Interval ends = benchmarks::row_bounds(p, i);
    if (y[static_cast<size_t>(i)] != 0.0) continue;
    const double sign = std::isfinite(ends.lower) ? 1.0 : -1.0;
    y[static_cast<size_t>(i)] = sign * random->real(0.2, 3.0);
    const double part = y[static_cast<size_t>(i)] * (sign > 0.0 ? ends.lower : ends.upper);
    implied += part;
    size += std::fabs(part);
  }
  LinearProgram result;
  result.name = p.name + " made infeasible";
  result.row_type = p.row_type, result.rhs = p.rhs, result.row_range = p.row_range;
  for (int32_t j = 0; j < p.columns(); ++j) {
    const auto k = static_cast<size_t>(j);
    Entries entries = entries_of(p, j);
    double entry = 0.0;
    for (const auto &[i, a] : entries) entry += a * y[static_cast<size_t>(i)];
    if (p.lower[k] > -kNoBound && random->chance(0.3)) {  // more than implied, and rightly so
      const double more = random->real(0.0, 2.0);
      entry += more;
      implied += more * p.lower[k];
      size += std::fabs(more * p.lower[k]);
    }
    if (entry != 0.0) entries.emplace_back(p.rows(), entry);
    result.add_column(p.cost[k], p.lower[k], p.upper[k], entries);
  }
  result.add_row(random->chance(0.3) ? kEqual : kLessEqual,
                 implied - random->power_of_ten(-4.0, 0.0) * size);
  return result;
}

/// The program with a last column that completes a combination of the others to a ray, and pays.
LinearProgram made_unbounded(const LinearProgram &p, Random *random) {
  std::vector<double> product(p.rhs.size(), 0.0);
  double cost = 0.0, size = 1.0;
  for (int32_t k = random->integer(1, 6); k > 0; --k) {
    const int32_t j = random->integer(0, p.columns() - 1);
    const bool up = p.upper[static_cast<size_t>(j)] >= kNoBound;
    if (!up && p.lower[static_cast<size_t>(j)] > -kNoBound) continue;
    const double d = (up ? 1.0 : -1.0) * random->real(0.2, 3.0);
    for (const auto &[i, a] : entries_of(p, j)) product[static_cast<size_t>(i)] += a * d;
    cost += p.cost[static_cast<size_t>(j)] * d;
    size += std::fabs(p.cost[static_cast<size_t>(j)] * d);
  }
  Entries entries;
  for (int32_t i = 0; i < p.rows(); ++i) {
    const Interval ends = benchmarks::row_bounds(p, i);
    double entry = -product[static_cast<size_t>(i)];
    if (std::isinf(ends.upper) && random->chance(0.3)) entry += random->real(0.0, 2.0);
    if (entry != 0.0) entries.emplace_back(i, entry);
  }
  LinearProgram result = p;
  result.name += " made unbounded";
  result.add_column(-cost - random->power_of_ten(-4.0, 0.0) * size, 0.0, kNoBound, entries);
  return result;
}

/// What is wrong with multipliers u as a proof of infeasibility: for costs of 0 they must be
/// feasible duals of positive value. A reduced cost is rounded as the largest of its terms are.
std::string multiplier_faults(LinearProgram program, const std::vector<double> &u) {
  std::fill(program.cost.begin(), program.cost.end(), 0.0);
  const benchmarks::Measures m =
      benchmarks::measure(program, std::vector<double>(program.cost.size(), 0.0), u);
  std::string faults;
  double largest = 0.0;
  for (const double e : program.value) largest = std::max(largest, std::fabs(e));
  if (!(m.dual_infeasibility <= std::max(1e-7, 1e-11 * largest)))
    faults += " dual " + std::to_string(m.dual_infeasibility);
  const double value = m.dual_objective - program.objective_constant;
  if (!(value > 0.0)) faults += " value " + std::to_string(value);
  return faults;
}

/// What is wrong with x as a ray: for right-hand sides and bounds of 0 it must be feasible and cost
/// less than 0.
std::string ray_faults(LinearProgram program, const std::vector<double> &x) {
  const auto to_zero = [](std::vector<double> *values) {
    for (double &v : *values) v = std::fabs(v) < kNoBound ? 0.0 : v;
  };
  to_zero(&program.rhs), to_zero(&program.row_range);
  to_zero(&program.lower), to_zero(&program.upper);
  const benchmarks::Measures m =
      benchmarks::measure(program, x, std::vector<double>(program.rhs.size(), 0.0));
  double most = 0.0, cost = 0.0;
  for (size_t j = 0; j < x.size(); ++j) {
    most = std::max(most, std::fabs(x[j]));
    cost += program.cost[j] * x[j];
  }
  std::string faults;
  if (!(m.primal_infeasibility <= 1e-7))
    faults += " rows " + std::to_string(m.primal_infeasibility);
  if (!(cost < 0.0)) faults += " cost " + std::to_string(cost);
  if (most != 1.0) faults += " largest " + std::to_string(most);
  return faults;
}

std::vector<Traits> families() {
  std::vector<Traits> result(8);
  result[1].name = "degenerate", result[1].degenerate = 0.7;
  result[2].name = "bounded", result[2].bounded = 1.0;
  result[3].name = "equalities", result[3].equalities = 1.0, result[3].most_columns = 25;
  result[4].name = "ranged", result[4].ranges = 0.9, result[4].dependent = 0.3;
  result[5].name = "badly_scaled", result[5].scale_decades = 3.0;
  result[6].name = "wide_costs", result[6].cost_decades[0] = -4, result[6].cost_decades[1] = 6;
  result[7] = random_programs::reducible();
  return result;
}

class NoOptimum : public testing::TestWithParam<Traits> {};

TEST_P(NoOptimum, IsProvenAtEveryTolerance) {
  int32_t programs = 0, told = 0;
  for (uint64_t seed = 1; seed <= 40; ++seed) {
    const LinearProgram known = random_programs::draw_known(GetParam(), seed).program;
    Random random(seed);
    for (const bool infeasible : {true, false}) {
      const LinearProgram program =
          infeasible ? made_infeasible(known, &random) : made_unbounded(known, &random);
      for (const double tolerance : {1.0, 0.1, 1e-8}) {
        SCOPED_TRACE(program.name + ", tolerance " + std::to_string(tolerance));
        LoadedProblem problem(program);
        const int32_t option = random.integer(0, 1);
        const int32_t code = problem.centre(tolerance, 0, nullptr, option).code;
        EXPECT_NE(code, 0);
        ++programs;
        told += code == kInfeasible || code == kUnbounded;
        const std::string faults = code == kInfeasible ? multiplier_faults(program, problem.duals())
                                   : code == kUnbounded ? ray_faults(program, problem.x())
                                                        : "";
        EXPECT_EQ(faults, "");
      }
    }
  }
  EXPECT_GE(told, 0.99 * programs);
}

TEST_P(NoOptimum, IsNeverClaimedOfAProgramWithOne) {
  for (uint64_t seed = 1; seed <= 100; ++seed) {
    const LinearProgram program = random_programs::draw_known(GetParam(), seed).program;
    SCOPED_TRACE(program.name);
    ProblemForm form = form_of(program);
    find_unbounded_column(&form);
    EXPECT_EQ(form.verdict, Verdict::kOpen);
    int32_t iterations = 0;
    for (const Verdict verdict : {Verdict::kInfeasible, Verdict::kUnbounded}) {
      EXPECT_EQ(find_certificate(form, verdict, &iterations).verdict, Verdict::kOpen);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Families, NoOptimum, testing::ValuesIn(families()),
                         [](const auto &family) { return family.param.name; });

TEST(NoOptimum, IsNeverClaimedOfARestrictedMasterInAWideBox) {
  for (uint64_t seed = 1; seed <= 5; ++seed) {
    for (const int32_t columns : {0, 5, 100}) {
      for (const double box : {10.0, 1e10}) {
        const ProblemForm form =
            form_of(random_programs::draw_rmp(30, seed % 2 ? 5 : 0, columns, box, seed));
        int32_t iterations = 0;
        for (const Verdict verdict : {Verdict::kInfeasible, Verdict::kUnbounded}) {
          EXPECT_EQ(find_certificate(form, verdict, &iterations).verdict, Verdict::kOpen);
        }
      }
    }
  }
}

TEST(NoOptimum, IsToldAsTheSimplexMethodDoes) {
  if (!benchmarks::clp_available()) GTEST_SKIP() << "needs Clp";
  for (uint64_t seed = 1; seed <= 600; ++seed) {
    const LinearProgram program = random_programs::draw_any(seed);
    SCOPED_TRACE(program.name);
    const bool optimal = solve_with_clp(program, benchmarks::ClpMethod::kDual, 1e-9, 10.0).status ==
                         benchmarks::ClpStatus::kOptimal;
    for (const double tolerance : {1.0, 1e-8}) {
      LoadedProblem problem(program);
      const int32_t code = problem.solve(tolerance).code;
      EXPECT_EQ(code == kInfeasible || code == kUnbounded, !optimal) << "code " << code;
    }
  }
}

/// A column of cost -1 between the bounds, with 2 in a row, and another one with 1 in that row.
LinearProgram two_columns(int32_t row_type, double range, double lower, double upper, double cost) {
  LinearProgram program;
  program.add_row(row_type, 3.0, range);
  program.add_column(1.0, 0.0, kNoBound, {{0, 1.0}});
  program.add_column(cost, lower, upper, {{0, 2.0}});
  return program;
}

TEST(UnboundedColumn, IsNamedBeforeTheFirstIteration) {
  const auto named = [](const LinearProgram &program) {
    LoadedProblem problem(program);
    const benchmarks::SolveReport report = problem.solve(1e-8);
    if (report.code != kUnbounded || report.iterations > 0) return std::vector<double>();
    return problem.x();
  };
  const std::vector<double> up = {0.0, 1.0}, down = {0.0, -1.0}, none;
  EXPECT_EQ(named(two_columns(kGreaterEqual, kNoBound, 0.0, kNoBound, -1.0)), up);
  EXPECT_EQ(named(two_columns(kGreaterEqual, kNoBound, -kNoBound, kNoBound, -1.0)), up);
  EXPECT_EQ(named(two_columns(kLessEqual, kNoBound, -kNoBound, kNoBound, 1.0)), down);
  EXPECT_EQ(named(two_columns(kLessEqual, kNoBound, -kNoBound, 5.0, 1.0)), down);
  // Without an entry in a row that counts.
  EXPECT_EQ(named(two_columns(0, kNoBound, 0.0, kNoBound, -1.0)), up);
  EXPECT_EQ(named(two_columns(0, kNoBound, -kNoBound, 0.0, 1.0)), down);
  // An end of the row or of the column, however far, or a cost that may be a rounding error.
  EXPECT_EQ(named(two_columns(kLessEqual, kNoBound, 0.0, kNoBound, -1.0)), none);
  EXPECT_EQ(named(two_columns(kGreaterEqual, 1e9, 0.0, kNoBound, -1.0)), none);
  EXPECT_EQ(named(two_columns(kGreaterEqual, kNoBound, 0.0, 1e12, -1.0)), none);
  EXPECT_EQ(named(two_columns(kGreaterEqual, kNoBound, -1e9, 1e9, -1.0)), none);
  EXPECT_EQ(named(two_columns(kGreaterEqual, kNoBound, 0.0, kNoBound, -1e-16)), none);
}

TEST(Proof, FailsByTheLeastThatMatters) {
  // x >= 1 and x <= 1 - gap for an x from 0 on, or all of it shifted: the multipliers are 1 and -1.
  const auto proves = [](double gap, double first, double second, double upper, double shift = 0) {
    LinearProgram program;
    program.add_row(kGreaterEqual, shift + 1.0);
    program.add_row(kLessEqual, shift + 1.0 - gap);
    program.add_column(1.0, shift, upper, {{0, 1.0}, {1, 1.0}});
    interior_point::Vector<double> y = {first, second};
    return proves_infeasibility(form_of(program), &y);
  };
  EXPECT_TRUE(proves(0.5, 1.0, -1.0, kNoBound));
  EXPECT_TRUE(proves(1e-6, 1.0, -1.0, kNoBound));
  EXPECT_FALSE(proves(1e-9, 1.0, -1.0, kNoBound));
  EXPECT_FALSE(proves(0.5, -1.0, 1.0, kNoBound));
  // A shift leaves its rounding error in the right-hand sides.
  EXPECT_TRUE(proves(1e-5, 1.0, -1.0, kNoBound, 1e8));
  EXPECT_FALSE(proves(5e-7, 1.0, -1.0, kNoBound, 1e8));
  // What is left of the column counts with its bound, or where it has none with a huge x.
  EXPECT_FALSE(proves(0.5, 1.0, -1.0 + 1e-7, kNoBound));
  EXPECT_TRUE(proves(0.5, 1.0, -1.0 + 1e-7, 1e6));
  EXPECT_FALSE(proves(0.5, 1.0, -1.0 + 1e-7, 1e7));

  // minimise -x_1 + (1 - gain) x_2 subject to x_1 - x_2 = 1, the bound as for the multipliers.
  const auto is_ray = [](double gain, double first, double second, double upper,
                         double lower = 0.0) {
    LinearProgram program;
    program.add_row(kEqual, 1.0);
    program.add_column(-1.0, lower, upper, {{0, 1.0}});
    program.add_column(1.0 - gain, 0.0, kNoBound, {{0, -1.0}});
    program.add_column(4.0, 0.0, kNoBound, {{0, 2.0}});
    interior_point::Vector<double> d = {first, second, 0.0};
    return proves_unboundedness(form_of(program), &d);
  };
  EXPECT_TRUE(is_ray(0.5, 1.0, 1.0, kNoBound));
  EXPECT_TRUE(is_ray(1e-6, 1.0, 1.0, kNoBound));
  EXPECT_FALSE(is_ray(1e-9, 1.0, 1.0, kNoBound));
  EXPECT_FALSE(is_ray(0.5, 1.0, 1.0, 1e12));
  EXPECT_TRUE(is_ray(0.5, 1.0, 1.0, kNoBound, -kNoBound));
  EXPECT_FALSE(is_ray(0.5, 1.0, 1.0, 1e9, -1e9)) << "free in the form alone";
  EXPECT_FALSE(is_ray(0.5, 1.0, 0.0, kNoBound));
  EXPECT_FALSE(is_ray(0.5, -1.0, -1.0, kNoBound));
}

/// A row whose dual box excludes 0 leaves its box column behind when it is removed: without an
/// entry, but with a cost below 0.
TEST(RestrictedMaster, NamesTheBoxColumnThatARemovedRowLeft) {
  const double rhs[] = {1.0, 2.0, 0.0}, low[] = {0.5, 0.0}, high[] = {10.0, 10.0};
  const int16_t types[] = {2, 2, 2};
  const double columns[] = {1.0, 0.0, 2.0, 0.0, 1.0, 3.0, 1.0, 1.0, 4.0};
  QUARN_env *env = QUARN_set_data(2, 0, 3, 0, 50, nullptr, rhs, types, low, high, nullptr);
  ASSERT_EQ(QUARN_add_dense_columns(env, columns, nullptr, 3, 3), 3);
  const int32_t kept[] = {1, 2};
  ASSERT_EQ(QUARN_remove_rows(env, kept, 2, 1, 0), 1);
  QUARN_set_verbosity(env, 0);
  const auto oracle = [](double *, double *lower_term, QUARN_env *, void *) -> int16_t {
    *lower_term = 0.0;
    return 1;
  };
  EXPECT_EQ(QUARN_solve_MP(env, oracle), 3);
  double *ray = nullptr;
  int32_t count = 0;
  QUARN_get_pointer_to_full_master_solution(env, &ray, &count);
  ASSERT_EQ(count, env->G->n);
  EXPECT_EQ(std::count(ray, ray + count, 0.0), count - 1);
  EXPECT_EQ(*std::max_element(ray, ray + count), 1.0);
  QUARN_free(env);
  free(env);
}

}  // namespace

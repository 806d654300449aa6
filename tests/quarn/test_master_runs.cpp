/// Whole runs with the solver of this repository: small master problems whose columns are all
/// written down, an exact oracle, an optimum known by construction. Every strategy has to close the
/// gap on every one of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "quarn/quarn.h"
#include "tests/support/captured_output.h"

namespace {

enum class Box { kDefault, kSigns, kNarrow };

struct Master {
  int32_t m = 0, p = 0;
  std::vector<int16_t> types;
  std::vector<double> rhs;
  std::vector<std::vector<double>> columns;  // dense, the cost last
  std::vector<bool> initial;
  double units = 0.0;  // most units of columns in some optimal solution
  double optimum = 0.0;
  std::vector<double> u;  // an optimal dual solution
  size_t most = 1;        // columns the oracle adds at a time
  std::vector<bool> known;
};

double draw(std::mt19937_64 *engine, double from, double to) {
  return std::uniform_real_distribution<double>(from, to)(*engine);
}

int32_t pick(std::mt19937_64 *engine, int32_t from, int32_t to) {
  return std::uniform_int_distribution<int32_t>(from, to)(*engine);
}

/// x and u with complementary patterns; right-hand sides and costs follow. `type` is that of all
/// linking rows, 0 for mixed ones; the further rows are convexity equations.
Master draw_master(int32_t type, uint64_t seed) {
  std::mt19937_64 engine(seed);
  Master master;
  master.m = pick(&engine, 1, 6);
  master.p = pick(&engine, 0, 2) == 0 ? pick(&engine, 1, 3) : 0;
  const size_t rows = static_cast<size_t>(master.m + master.p);
  const size_t n = static_cast<size_t>(pick(&engine, 4, 40));
  master.rhs.assign(rows + 1, 0.0);
  master.types.assign(rows + 1, 1);
  for (size_t i = 0; i < rows; ++i) {
    const bool linking = i < static_cast<size_t>(master.m);
    if (linking) master.types[i] = static_cast<int16_t>(type > 0 ? type : pick(&engine, 1, 3));
    double dual = pick(&engine, 0, 3) == 0 ? 0.0 : draw(&engine, 0.1, 9.0);
    if (master.types[i] == 3 || (master.types[i] == 1 && pick(&engine, 0, 1) == 0)) dual = -dual;
    master.u.push_back(dual);
  }
  for (size_t j = 0; j < n; ++j) {
    std::vector<double> column(rows + 1, 0.0);
    column[static_cast<size_t>(pick(&engine, 0, master.m - 1))] = pick(&engine, 1, 9);
    for (size_t i = 0; i < static_cast<size_t>(master.m); ++i) {
      if (pick(&engine, 0, 2) == 0) column[i] = pick(&engine, 1, 9);
    }
    if (master.p > 0) column[static_cast<size_t>(master.m) + j % static_cast<size_t>(master.p)] = 1;
    const double x = pick(&engine, 0, 2) == 0 ? pick(&engine, 1, 4) : 0.0;
    if (x == 0.0 && pick(&engine, 0, 3) != 0) column[rows] = draw(&engine, 0.1, 9.0);
    for (size_t i = 0; i < rows; ++i) {
      master.rhs[i] += column[i] * x;
      column[rows] += column[i] * master.u[i];
    }
    master.units += x;
    master.columns.push_back(column);
    master.initial.push_back(j < static_cast<size_t>(master.p) || pick(&engine, 0, 9) == 0);
  }
  for (size_t i = 0; i < rows; ++i) {
    master.optimum += master.rhs[i] * master.u[i];
    // Where the dual is 0 the row need not be tight.
    if (master.u[i] != 0.0 || pick(&engine, 0, 1) == 0) continue;
    if (master.types[i] == 2) master.rhs[i] -= 1.0;
    if (master.types[i] == 3) master.rhs[i] += 1.0;
  }
  master.most = static_cast<size_t>(pick(&engine, 1, 4));
  return master;
}

/// Prices all columns, adds the best of those that are missing.
int16_t price(double *, double *lb_term, QUARN_env *env, void *user_data) {
  Master &master = *static_cast<Master *>(user_data);
  const size_t rows = static_cast<size_t>(master.m + master.p);
  double least = 0.0;
  std::vector<std::pair<double, size_t>> missing;
  for (size_t j = 0; j < master.columns.size(); ++j) {
    double reduced = master.columns[j][rows];
    for (size_t i = 0; i < rows; ++i) reduced -= env->u[i] * master.columns[j][i];
    least = std::min(least, reduced);
    if (reduced < 0.0 && !master.known[j]) missing.emplace_back(reduced, j);
  }
  *lb_term = master.units * least;
  std::sort(missing.begin(), missing.end());
  for (size_t k = 0; k < std::min(missing.size(), master.most); ++k) {
    master.known[missing[k].second] = true;
    QUARN_add_dense_columns(env, master.columns[missing[k].second].data(), nullptr,
                            master.m + master.p + 1, 1);
  }
  return 1;
}

QUARN_env *make_record(Master *master, Box box, int16_t strategy) {
  std::vector<double> lower, upper;
  for (size_t i = 0; i < static_cast<size_t>(master->m); ++i) {
    lower.push_back(master->types[i] == 2 ? 0.0 : -1e10);
    upper.push_back(master->types[i] == 3 ? 0.0 : 1e10);
    if (box != Box::kNarrow) continue;
    const double width = 1.0 + std::fabs(master->u[i]);
    lower.back() = std::max(lower.back(), master->u[i] - width);
    upper.back() = std::min(upper.back(), master->u[i] + width);
  }
  const bool own = box != Box::kDefault;
  QUARN_env *env = QUARN_set_data(
      master->m, master->p, master->m + master->p + 1, 0, 200, nullptr, master->rhs.data(),
      master->types.data(), own ? lower.data() : nullptr, own ? upper.data() : nullptr, master);
  QUARN_set_verbosity(env, 0);
  QUARN_set_WS_strategy(env, strategy);
  master->known.assign(master->columns.size(), false);
  for (size_t j = 0; j < master->columns.size(); ++j) {
    if (!master->initial[j]) continue;
    master->known[j] = true;
    QUARN_add_dense_columns(env, master->columns[j].data(), nullptr, master->m + master->p + 1, 1);
  }
  return env;
}

int16_t solve_quietly(QUARN_env *env) {
  const support::CapturedOutput output;
  return QUARN_solve_MP(env, price);
}

void expect_closed_gap(Master master, Box box, const std::string &name) {
  for (int16_t strategy = -2; strategy <= 1; ++strategy) {
    SCOPED_TRACE(name + ", strategy " + std::to_string(strategy));
    QUARN_env *env = make_record(&master, box, strategy);
    ASSERT_NE(env, nullptr);
    EXPECT_EQ(solve_quietly(env), 0);
    const double slack = 1.1e-6 * std::fabs(master.optimum);
    EXPECT_NEAR(env->upperBnd, master.optimum, slack);
    EXPECT_NEAR(env->lowerBnd, master.optimum, slack);
    EXPECT_GE(env->upperBnd, master.optimum - 0.05 * slack);
    // Elsewhere early bounds are differences of numbers around 1e12.
    EXPECT_LE(env->lowerBnd, master.optimum + (box == Box::kNarrow ? 0.05 : 1.0) * slack);
    QUARN_free(env);
    std::free(env);
  }
}

/// Two packing rows and no column to begin with: the first restricted masters have an optimum of 0
/// and nothing but box columns of cost 1e10.
TEST(MasterRun, StartsFromBoxColumnsAlone) {
  Master master;
  master.m = 2;
  master.types = {3, 3, 1};
  master.rhs = {4.0, 4.0, 0.0};
  master.columns = {{1, 0, -3}, {0, 1, -4}, {1, 1, -5}, {2, 1, -6}};
  master.initial.assign(4, false);
  master.units = 10.0;
  master.optimum = -28.0;
  for (const Box box : {Box::kDefault, Box::kSigns}) expect_closed_gap(master, box, "two rows");
}

TEST(MasterRun, ClosesTheGapOnRandomMasters) {
  int32_t runs = 0;
  for (uint64_t seed = 1; seed <= 250; ++seed) {
    for (const int32_t type : {0, 1, 2, 3}) {
      const Master master = draw_master(type, seed);
      if (std::fabs(master.optimum) < 1e-3) continue;  // a relative gap of 0 does not close
      const Box box = static_cast<Box>(seed % 3);
      expect_closed_gap(master, box,
                        "type " + std::to_string(type) + ", seed " + std::to_string(seed));
      ++runs;
    }
  }
  EXPECT_GT(runs, 900);
}

}  // namespace

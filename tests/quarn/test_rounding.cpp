#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Column;
using support::Columns;
using support::Entry;
using support::Environment;
using support::LoadedProblem;
using support::solver;

template <typename... Values>
std::string formatted(const char *format, Values... values) {
  char text[1024];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

bool violated(int32_t type, double residual) {
  return (type == 1 && std::fabs(residual) > 1e-6) || (type == 2 && residual > 1e-6) ||
         (type == 3 && residual < -1e-6);
}

/// The rounding pass on plain lists. The x of the k-th solve comes from the script.
struct Reference {
  int32_t m, cost_row;
  Columns columns;
  std::vector<double> rhs;
  std::vector<int32_t> types;
  std::vector<std::vector<double>> solutions;  // generated part, one per solve
  std::vector<double> box;                     // largest box value, one per solve
  int32_t failing_solve;                       // its RMP cannot be solved
  double cutoff, threshold;
  int32_t min_fix;

  std::string text, trace;
  bool tie = false, completed = false, only_open_rows = false, stood_still = false;
  double cost = 0.0;
  std::vector<double> values;
  std::vector<int32_t> fixed;

  int32_t run() {
    text = "Hello from IQUARN_residual_rounding()\nMemory allocated!\n";
    trace = "get_x";
    std::vector<bool> open;
    for (int32_t i = 0; i < m; ++i) {
      open.push_back(violated(types[static_cast<size_t>(i)], rhs[static_cast<size_t>(i)]));
    }
    for (size_t solve = 0;; ++solve) {
      const std::vector<double> &x = solutions[solve];
      const std::vector<int32_t> order = ranked(x);
      if (order.empty()) {
        text += "\nAll the lambdas are zero!\n";
        return 0;
      }
      const std::vector<bool> open_before = open;
      const bool ends_refused = !pass(order, x, &open);
      text += formatted("\nIP_obj_value: %lf ", cost);
      for (size_t k = 0; k < fixed.size(); ++k) {
        text += formatted("\nIP_lambda[%d] = %lf (%lf)", fixed[k], values[k],
                          x[static_cast<size_t>(fixed[k])]);
      }
      if (std::count(open.begin(), open.end(), true) == 0) {
        completed = true;
        return 1;
      }
      if (ends_refused) return 0;
      if (open == open_before) {
        if (only_open_rows) {
          stood_still = true;
          text += "\n -- The rounding ends: no column that fits changes an open row -- \n";
          return 0;
        }
        only_open_rows = true;
      }
      text += "Going to IQUARN_solve_RMP();";
      const bool fails = static_cast<int32_t>(solve) == failing_solve;
      trace += " free load preproc acpdm(0,0.25,1)";
      trace += fails ? " free load:7 preproc solve(0,0.25,0)" : " duals get_x";
      if (fails) return 0;
      if (std::fabs(box[solve + 1]) > 1e-4) {
        text += "\n -- QUARN has detected that the problem is infeasible -- \n";
        return 0;
      }
      text += "Going to QUARN_get_pointer_to_master_solution();";
      trace += " get_x";
    }
  }

 private:
  static double next_integer(double v) { return std::ceil(v - 1e-10); }

  std::vector<int32_t> ranked(const std::vector<double> &x) {
    std::vector<std::pair<double, int32_t>> keys;
    for (auto j = static_cast<int32_t>(x.size()) - 1; j >= 0; --j) {
      const double v = x[static_cast<size_t>(j)];
      if (v > 1e-4) keys.emplace_back((next_integer(v) - v) + (std::rand() % 100) * 1e-5, j);
    }
    std::sort(keys.begin(), keys.end());
    std::vector<int32_t> order;
    for (size_t k = 0; k < keys.size(); ++k) {
      order.push_back(keys[k].second);
      if (k > 0) tie = tie || keys[k].first - keys[k - 1].first < 1e-12;
    }
    return order;
  }

  /// The sum of a column's entries in each linking row.
  std::vector<double> sums(const Column &column) const {
    std::vector<double> result(static_cast<size_t>(m), 0.0);
    for (const auto &[row, value] : column) {
      if (row <= m) result[static_cast<size_t>(row) - 1] += value;
    }
    return result;
  }

  static bool reaches_open_row(const std::vector<double> &effect, const std::vector<bool> &open) {
    for (size_t i = 0; i < open.size(); ++i) {
      if (open[i] && effect[i] != 0.0) return true;
    }
    return false;
  }

  /// Whether the last candidate was not refused.
  bool pass(const std::vector<int32_t> &order, const std::vector<double> &x,
            std::vector<bool> *open) {
    int32_t fixed_now = 0;
    bool accepted = true;
    for (const int32_t j : order) {
      const double v = x[static_cast<size_t>(j)];
      accepted = true;
      if (fixed_now >= min_fix && v <= threshold) continue;
      const double level = next_integer(v);
      const std::vector<double> effect = sums(columns[static_cast<size_t>(j)]);
      if (only_open_rows && !reaches_open_row(effect, *open)) continue;
      double column_cost = 0.0;
      for (const Entry &entry : columns[static_cast<size_t>(j)]) {
        if (entry.first == cost_row) column_cost = entry.second;
        if (entry.first > m) continue;
        const auto i = static_cast<size_t>(entry.first) - 1;
        if (violated(types[i], rhs[i] - effect[i] * level)) accepted = false;
      }
      if (cost + column_cost * level >= cutoff - 1e-10) accepted = false;
      if (!accepted) continue;
      ++fixed_now;
      cost += column_cost * level;
      values.push_back(level);
      fixed.push_back(j);
      for (const Entry &entry : columns[static_cast<size_t>(j)]) {
        if (entry.first > m) continue;
        const auto i = static_cast<size_t>(entry.first) - 1;
        rhs[i] -= entry.second * level;
        (*open)[i] = false;  // an accepted column leaves no row it touches open
      }
    }
    return accepted;
  }
};

/// Rounds once with the scripted solutions and compares everything that can be seen with the model.
class Rounding {
 public:
  Rounding(Environment *env, Reference model, unsigned seed)
      : env_(env->get()), model_(std::move(model)), seed_(seed) {}

  void compare(double *stored_cost) {
    std::srand(seed_);
    const int32_t expected = model_.run();
    script();
    if (model_.tie) return;  // equal keys may come out in any order
    const bool replaces =
        model_.completed &&
        (env_->IP_cols == nullptr || !(model_.cost - *stored_cost >= model_.cost * 1e-10));
    if (replaces) {
      *stored_cost = model_.cost;
      model_.text += formatted(
          "\nNEW INTEGER SOLUTION STORED ON THE ENVIRONMENT. P->IP_obj_value: %lf, seed: -1, "
          "n_seeds: %d ",
          model_.cost, env_->n_seeds);
    }
    model_.text +=
        formatted("\n%lf %lf %lf \n", *stored_cost - env_->lowerBnd, *stored_cost, env_->lowerBnd);
    const std::string before = support::dump(*env_);
    solver().trace.clear();
    std::srand(seed_);
    int32_t result = -99;
    const std::string text = support::flushed_output([&] {
      result = IQUARN_residual_rounding(env_, nullptr, model_.threshold, model_.min_fix);
    });
    EXPECT_EQ(result, expected);
    EXPECT_EQ(text, model_.text);
    EXPECT_EQ(solver().take_trace(), model_.trace + " free load preproc acpdm(0,0.25,1) duals");
    EXPECT_EQ(env_->IP_obj_value, *stored_cost);
    if (replaces) {
      const auto count = static_cast<int32_t>(model_.fixed.size());
      ASSERT_EQ(env_->IP_ncols, count);
      EXPECT_GE(env_->IP_size, count);
      if (count <= env_->m) {
        EXPECT_EQ(env_->IP_size, env_->m);
      }
      EXPECT_EQ(std::vector<int32_t>(env_->IP_cols, env_->IP_cols + count), model_.fixed);
      EXPECT_EQ(std::vector<double>(env_->IP_lambda, env_->IP_lambda + count), model_.values);
    }
    const std::string changed = "\n" + support::changed_lines(before, support::dump(*env_));
    for (const char *field : {"RHS", "row_type", "lowerBnd", "upperBnd", "WS_strategy", "G."}) {
      EXPECT_EQ(changed.find("\n" + std::string(field)), std::string::npos) << field;
    }
    EXPECT_EQ(support::to_text(solver().loads.back().rhs),
              support::to_text({env_->RHS, env_->RHS + env_->G->m}));
  }

  const Reference &model() const { return model_; }

 private:
  void script() {
    solver().loads.clear();
    const int32_t skipped = env_->ncols_aux;
    solver().primal = [this, skipped](const LoadedProblem &, double *x) {
      const size_t k = std::min(solver().loads.size(), model_.solutions.size() - 1);
      if (k > 0) env_->lowerBnd = env_->upperBnd = 77.0;  // of a residual problem: put back
      std::copy(model_.solutions[k].begin(), model_.solutions[k].end(), x + skipped);
      x[skipped / 2] = model_.box[k];
    };
    solver().replies.clear();
    if (model_.trace.find("load:7") == std::string::npos) return;  // never came to that solve
    solver().replies.resize(static_cast<size_t>(model_.failing_solve));
    support::SolveReply failure;
    failure.code = 3;
    solver().replies.push_back(failure);
    solver().replies.push_back(failure);
  }

  QUARN_env *env_;
  Reference model_;
  unsigned seed_;
};

Environment rounding_record(const Reference &model, int32_t p) {
  support::ProblemData data;
  data.m = model.m;
  data.p = p;
  data.rhs = model.rhs;
  data.rhs.resize(static_cast<size_t>(model.cost_row), 9.0);
  for (const int32_t type : model.types) data.row_types.push_back(static_cast<int16_t>(type));
  data.row_types.resize(static_cast<size_t>(model.cost_row), 1);
  Environment env(data);
  env->column_elimination = 0;
  support::add_columns(env.get(), model.columns);
  support::solve_once(env.get());
  env->objective_UB = model.cutoff;
  env->opt_tol = 0.25;
  env->WS_strategy = 1;
  env->lowerBnd = 1.5;
  env->upperBnd = 8;
  env->outer_iterations = 9;
  return env;
}

Reference random_model(support::Random *random, int32_t m, int32_t p) {
  Reference model = {};
  model.m = m;
  model.cost_row = m + p + 1;
  const int32_t n = random->integer(1, 6);
  for (int32_t j = 0; j < n; ++j) {
    support::Column column;
    for (int32_t i = 1; i < model.cost_row; ++i) {
      for (double often = 0.5; random->chance(often); often = 0.1) {  // seldom twice
        column.emplace_back(i, random->one_of<double>({1, 1, 1, 2, -1}));
      }
    }
    if (random->chance(0.9)) column.emplace_back(model.cost_row, random->integer(-1, 4));
    if (random->chance(0.1)) column.emplace_back(model.cost_row, random->integer(1, 4));
    std::shuffle(column.begin(), column.end(), random->engine());
    model.columns.push_back(column);
  }
  const bool coverings = random->chance(0.4);
  for (int32_t i = 0; i < m; ++i) {
    model.rhs.push_back(random->one_of<double>({0, 1, 1, 2, 1 + 5e-7}));
    model.types.push_back(coverings ? 2 : random->integer(1, 4));
    // A row from above that is open at the beginning.
    if (model.types.back() == 3 && random->chance(0.5)) model.rhs.back() = -model.rhs.back();
  }
  model.cutoff = random->one_of<double>({1e30, 1e30, 4, 1});
  model.threshold = random->one_of<double>({0.9, 0.4});
  model.min_fix = random->integer(0, 2);
  model.failing_solve = random->chance(0.1) ? random->integer(0, 1) : -1;
  return model;
}

void draw_solutions(support::Random *random, Reference *model) {
  for (int solve = 0; solve < 6; ++solve) {
    std::vector<double> x;
    for (size_t j = 0; j < model->columns.size(); ++j) {
      const double fraction = random->real(0, 2);
      x.push_back(solve == 5 ? 0.0
                             : random->one_of<double>(
                                   {0, 5e-5, 1, 2, 1 + 5e-11, fraction, fraction, 0.5 * fraction}));
    }
    model->solutions.push_back(x);
    model->box.push_back(random->one_of<double>({0, 0, 0, 0, 9e-5, -9e-5, 2e-4, -2e-4}));
  }
}

TEST(Rounding, FollowsTheReferenceOnScriptedSolutions) {
  support::Random random(91);
  int completed = 0, several_passes = 0, over_idle_passes = 0, stood_still = 0;
  for (unsigned run = 0; run < 3000; ++run) {
    SCOPED_TRACE(testing::Message() << "run " << run);
    const int32_t m = random.integer(1, 3), p = random.integer(0, 2);
    Reference model = random_model(&random, m, p);
    Environment env = rounding_record(model, p);
    double stored = 1e30;
    for (unsigned again = 0; again < 2; ++again) {  // the second run may beat the first
      model.solutions.clear();
      model.box.clear();
      draw_solutions(&random, &model);
      Rounding rounding(&env, model, run + again);
      rounding.compare(&stored);
      if (rounding.model().tie) break;
      completed += rounding.model().completed ? 1 : 0;
      several_passes += rounding.model().trace.size() > 60 ? 1 : 0;
      over_idle_passes += rounding.model().completed && rounding.model().only_open_rows ? 1 : 0;
      stood_still += rounding.model().stood_still ? 1 : 0;
      if (HasFailure()) return;
    }
    solver().primal = nullptr;
  }
  EXPECT_GT(completed, 500);
  EXPECT_GT(several_passes, 200);
  EXPECT_GT(over_idle_passes, 50);
  EXPECT_GT(stood_still, 50);
}

/// Two equality rows; column 0 covers both at cost 2, columns 1 and 2 one each at cost 1.
Reference two_rows() {
  Reference model = {};
  model.m = 2;
  model.cost_row = 3;
  model.columns = {{{1, 1}, {2, 1}, {3, 2}}, {{1, 1}, {3, 1}}, {{2, 1}, {3, 1}}};
  model.rhs = {1, 1};
  model.types = {1, 1};
  model.solutions = {{0.6, 0.4, 0.4}, {0, 0.45, 0.35}, {0, 0, 0}};
  model.box = {0, 0, 0};
  model.failing_solve = -1;
  model.cutoff = 1e30;
  model.threshold = 0.9;
  model.min_fix = 1;
  return model;
}

TEST(Rounding, HandCases) {
  Environment env = rounding_record(two_rows(), 0);
  double stored = 1e30;
  Rounding(&env, two_rows(), 1).compare(&stored);
  EXPECT_EQ(env->IP_obj_value, 2);
  EXPECT_EQ(env->IP_cols[0], 0);
  EXPECT_EQ(env->IP_lambda[0], 1);

  // The same cost again replaces a positive one: 0 < 2e-10.
  const double *first = env->IP_lambda;
  Rounding(&env, two_rows(), 2).compare(&stored);
  EXPECT_NE(env->IP_lambda, first);

  // A cut-off at the cost refuses column 0; one of the others is fixed, the RMP solved again.
  Reference cut = two_rows();
  cut.cutoff = 2;
  Environment other = rounding_record(cut, 0);
  double none = 1e30;
  Rounding rounding(&other, cut, 3);
  rounding.compare(&none);
  EXPECT_EQ(rounding.model().fixed.size(), 1U);
  EXPECT_EQ(other->IP_cols, nullptr);
  solver().primal = nullptr;
}

TEST(Rounding, AStoredCostOfZeroStays) {
  Reference model = two_rows();
  model.columns[0] = {{1, 1}, {2, 1}};
  Environment env = rounding_record(model, 0);
  double stored = 1e30;
  Rounding(&env, model, 1).compare(&stored);
  const double *first = env->IP_lambda;
  ASSERT_NE(first, nullptr);
  Rounding(&env, model, 2).compare(&stored);
  EXPECT_EQ(env->IP_lambda, first);
  solver().primal = nullptr;
}

TEST(Rounding, TheListsOutgrowTheRows) {
  Reference model = two_rows();
  model.m = 1;
  model.cost_row = 2;
  model.rhs = {1};
  model.types = {1};
  model.columns.assign(9, {{2, 1}});  // touch no linking row at all
  model.columns.push_back({{1, 1}});
  std::vector<double> x(10, 0.0);
  for (size_t j = 0; j < x.size(); ++j) x[j] = 0.91 + 0.008 * static_cast<double>(j);
  model.solutions = {x};
  model.box = {0};
  Environment env = rounding_record(model, 0);
  double stored = 1e30;
  Rounding(&env, model, 1).compare(&stored);
  EXPECT_EQ(env->IP_ncols, 10);
  solver().primal = nullptr;
}

/// One row, a column beside it, and a half of the column in it: the first pass fixes the one
/// beside.
Reference idle_column() {
  Reference model = two_rows();
  model.m = 1;
  model.cost_row = 2;
  model.rhs = {1};
  model.types = {2};
  model.columns = {{{2, 0}}, {{1, 2}, {2, 3}}};
  model.solutions.assign(9, {1.0, 0.5});
  model.box.assign(9, 0.0);
  return model;
}

TEST(Rounding, AColumnInNoOpenRowDoesNotHoldUpTheOthers) {
  Environment env = rounding_record(idle_column(), 0);
  double stored = 1e30;
  Rounding(&env, idle_column(), 1).compare(&stored);
  EXPECT_EQ(env->IP_obj_value, 3);
  EXPECT_EQ(std::vector<int32_t>(env->IP_cols, env->IP_cols + env->IP_ncols),
            (std::vector<int32_t>{0, 1}));

  // Nothing is fixed at all: values at or below the threshold, and a share of 0.
  Reference none = idle_column();
  none.min_fix = 0;
  none.solutions.assign(9, {0.0, 0.5});
  Environment other = rounding_record(none, 0);
  double kept = 1e30;
  Rounding rounding(&other, none, 2);
  rounding.compare(&kept);
  EXPECT_TRUE(rounding.model().stood_still);

  // Behind the idle pass a column whose entry in the open row is 0 is passed over, not refused.
  Reference zero = idle_column();
  zero.columns[1] = {{1, 0}, {2, 3}};
  zero.solutions.assign(9, {1.0, 0.95});
  zero.solutions[0] = {1.0, 0.0};
  Environment third = rounding_record(zero, 0);
  Rounding over_zero(&third, zero, 3);
  over_zero.compare(&kept);
  EXPECT_TRUE(over_zero.model().stood_still);
  solver().primal = nullptr;
}

TEST(Rounding, StopsAtTheTimeLimitBeforeARestrictedMaster) {
  const std::string line = "\n -- The rounding ends at the time limit -- \n";
  for (const bool late : {false, true}) {
    Environment env = rounding_record(idle_column(), 0);
    solver().primal = [&env](const LoadedProblem &, double *x) {
      x[env->ncols_aux] = 1.0;
      x[env->ncols_aux + 1] = 0.5;
    };
    env->cputime = late ? 5.0 : 4.0;
    env->max_cputime = 5.0;
    int32_t result = -99;
    solver().trace.clear();
    const std::string text = support::flushed_output(
        [&] { result = IQUARN_residual_rounding(env.get(), nullptr, 0.9, 1); });
    EXPECT_EQ(result, late ? 0 : 1);
    EXPECT_EQ(text.find(line) != std::string::npos, late);
    const std::string restored = "free load preproc acpdm(0,0.25,1) duals";
    EXPECT_EQ(solver().take_trace(),
              "get_x " + (late ? "" : restored + " get_x get_x ") + restored);
    EXPECT_EQ(env->cputime, late ? 5.0 : 4.0);
  }
  solver().primal = nullptr;
}

TEST(Rounding, WithoutColumnsAllValuesAreZero) {
  Environment env;
  support::solve_once(env.get());
  int32_t result = -99;
  const std::string text = support::flushed_output(
      [&] { result = IQUARN_residual_rounding(env.get(), nullptr, 0.9, 1); });
  EXPECT_EQ(result, 0);
  EXPECT_NE(text.find("\nAll the lambdas are zero!\n"), std::string::npos);
  EXPECT_EQ(env->IP_obj_value, 1e30);
}

}  // namespace

/// Oracles that answer badly, and allocations that fail.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <thread>

#include "tests/campaign/campaign.h"
#include "tests/campaign/masters.h"
#include "tests/support/allocation.h"

namespace campaign {
namespace {

using support::Environment;
using support::Oracle;
using support::Random;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

double hostile_number(Random &random) {
  return random.one_of<double>({kNaN, kInfinity, -kInfinity, 1e300, -1e300, 1e30, -1e30, 1e10,
                                -1e10, 1e-300, 0.0, -0.0, -1.0, 1.0, random.real(-1e3, 1e3)});
}

int32_t hostile_integer(Random &random) {
  return random.one_of<int32_t>({INT32_MIN, -1, 0, 1, 2, 3, 7, 32767, 65536, INT32_MAX});
}

/// An oracle that is right half of the time; what it does otherwise depends on its Random.
class Saboteur {
 public:
  Saboteur(const Master &master, Random &random)
      : random_(random),
        pricer_(master, 3),
        oracle_([this](double *ub, double *lb, QUARN_env *env) { return answer(ub, lb, env); }) {}

  Oracle *oracle() { return &oracle_; }
  const std::string &faults() const { return faults_; }
  int16_t last_status() const { return last_status_; }
  int32_t late_answers() const { return late_answers_; }

  /// Every answer takes two milliseconds from now on, and those are counted that come later than
  /// this after the first. The run's own clock starts before that one.
  void hold_to(double seconds) { seconds_ = seconds; }

 private:
  int16_t answer(double *ub_term, double *lb_term, QUARN_env *env) {
    env->restart = 0;  // as the interface demands
    if (seconds_ > 0.0) {
      const auto now = std::chrono::steady_clock::now();
      if (!asked_) first_answer_ = now;
      asked_ = true;
      if (std::chrono::duration<double>(now - first_answer_).count() > seconds_) ++late_answers_;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    last_status_ = same_rows_ ? pricer_.price(env, lb_term) : int16_t{1};
    if (random_.chance(0.5)) return last_status_;
    using Deed = void (Saboteur::*)(QUARN_env *);
    static constexpr Deed deeds[] = {&Saboteur::add_bad_columns, &Saboteur::add_odd_columns,
                                     &Saboteur::remove_columns,  &Saboteur::add_rows,
                                     &Saboteur::remove_rows,     &Saboteur::set_something,
                                     &Saboteur::solve_another,   &Saboteur::read_solution};
    for (int32_t count = random_.integer(0, 2); count > 0; --count) {
      (this->*deeds[random_.integer(0, 7)])(env);
    }
    if (random_.chance(0.2)) *ub_term = hostile_number(random_);
    if (random_.chance(0.2)) *lb_term = hostile_number(random_);
    if (random_.chance(0.2)) last_status_ = random_.one_of<int16_t>({0, 0, 2, 3, 32767});
    if (random_.chance(0.02)) last_status_ = random_.one_of<int16_t>({-1, -2, -32768});
    if (random_.chance(0.05)) env->restart = 1;
    const std::string broken = support::broken_invariants(*env);
    if (!broken.empty() && faults_.empty()) faults_ = broken;
    return last_status_;
  }

  void expect(bool holds, const char *what) {
    if (!holds) faults_ += std::string(what) + "\n";
  }

  void add_bad_columns(QUARN_env *env) {
    support::Batch good(env->G->m, {{{1, 1.0}, {env->G->m, 1.0}}, {{1, 2.0}}});
    QUARN_SMatrix_CW batch = *good.get();
    switch (random_.integer(0, 4)) {
      case 0:
        batch.elt[0] = random_.one_of<double>({kNaN, kInfinity, -kInfinity});
        break;
      case 1:
        batch.rw[1] = random_.one_of<int32_t>({0, -5, env->G->m + 1, INT32_MAX});
        break;
      case 2:
        batch.col_start[1] = random_.one_of<int32_t>({0, -1, 5, INT32_MAX});
        break;
      case 3:
        batch.nz = random_.one_of<int32_t>({-1, 2, 4, INT32_MAX});
        break;
      default:
        batch.col_start[0] = random_.one_of<int32_t>({0, 2, INT32_MIN});
    }
    const int32_t before = env->G->n;
    expect(QUARN_add_columns(env, &batch, nullptr) == -1, "a bad batch was accepted");
    expect(env->G->n == before, "a bad batch changed the matrix");
    expect(QUARN_add_columns(env, nullptr, nullptr) == -1, "no batch was accepted");
  }

  /// Sound in form: huge or tiny, empty, without a cost, with a row named twice.
  void add_odd_columns(QUARN_env *env) {
    support::Columns batch(static_cast<size_t>(random_.integer(1, 3)));
    for (support::Column &column : batch) {
      for (int32_t k = random_.integer(0, 4); k > 0; --k) {
        column.emplace_back(random_.integer(1, env->G->m),
                            random_.one_of<double>({1e-12, 1.0, -1.0, 3.0, 1e8, 1e15}));
      }
    }
    const std::vector<int32_t> tags(batch.size(), 0);
    QUARN_add_columns(env, support::Batch(env->G->m, batch).get(), tags.data());
  }

  void remove_columns(QUARN_env *env) {
    std::vector<int32_t> keep;
    for (int32_t k = 0; k < env->G->n - env->ncols_aux; ++k) {
      if (random_.chance(0.8)) keep.push_back(k);
    }
    const auto count = static_cast<int32_t>(keep.size());
    expect(QUARN_remove_columns(env, keep.data(), count) == 1, "columns were not removed");
    keep.push_back(env->G->n);
    expect(QUARN_remove_columns(env, keep.data(), count + 1) == -1, "no such column");
  }

  void add_rows(QUARN_env *env) {
    const int32_t generated = env->G->n - env->ncols_aux;
    support::Column row;
    for (int32_t k = 1; k <= generated; ++k) {
      if (random_.chance(0.5)) row.emplace_back(k, random_.integer(1, 3));
    }
    const double rhs = random_.real(0.0, 5.0), lower = -1e10, upper = 1e10;
    const int32_t type = random_.integer(1, 3);
    expect(QUARN_add_rows(env, support::RowBatch(generated, {row}).get(), &rhs, &type, &lower,
                          &upper, nullptr) == 1,
           "a row was not added");
    same_rows_ = false;
  }

  void remove_rows(QUARN_env *env) {
    std::vector<int32_t> keep;
    for (int32_t i = 0; i < env->m; ++i) {
      if (random_.chance(0.8)) keep.push_back(i);
    }
    const auto linking = static_cast<int32_t>(keep.size());
    for (int32_t i = env->m; i < env->m + env->p; ++i) {
      if (random_.chance(0.9)) keep.push_back(i);
    }
    const int32_t further = static_cast<int32_t>(keep.size()) - linking;
    keep.push_back(env->m + env->p);
    const auto count = static_cast<int32_t>(keep.size());
    expect(QUARN_remove_rows(env, keep.data(), count, linking, further) == 1, "rows not removed");
    same_rows_ = false;
  }

  void set_something(QUARN_env *env) {
    const double value = hostile_number(random_);
    const int32_t number = hostile_integer(random_);
    const auto small = static_cast<int16_t>(random_.integer(-3, 3));
    static void (*const setters[])(QUARN_env *, double) = {
        QUARN_set_lambda_LB,   QUARN_set_lambda_UB,    QUARN_set_degree_of_optimality,
        QUARN_set_max_opt_tol, QUARN_set_delta,        QUARN_set_rel_gap,
        QUARN_set_lowerBnd,    QUARN_set_objective_LB, QUARN_set_objective_UB,
        QUARN_set_upperBnd};
    static void (*const options[])(QUARN_env *, int16_t) = {
        QUARN_set_verbosity,       QUARN_set_column_elimination, QUARN_set_change_bounds,
        QUARN_set_reliable_answer, QUARN_set_centrality_value,   QUARN_set_WS_strategy};
    switch (random_.integer(0, 3)) {
      case 0:
        setters[random_.integer(0, 9)](env, value);
        break;
      case 1:
        options[random_.integer(0, 5)](env, small);
        break;
      case 2:
        QUARN_set_max_number_columns(env, number);
        break;
      default:
        QUARN_set_dual_box(env, -random_.real(0.0, 100.0), random_.real(0.0, 100.0));
    }
  }

  /// From within: a record of its own, solved to the end.
  void solve_another(QUARN_env *) {
    Optimum optimum;
    const Master other = draw_master(random_, &optimum);
    Pricer pricer(other, 5);
    const Environment env = make_record(other, pricer.oracle(), -1, random_);
    const int32_t status = pricer.solve(env.get());
    faults_ += faults_of_run(other, optimum, env.get(), status);
  }

  void read_solution(QUARN_env *env) {
    double *values = nullptr;
    int32_t count = 0;
    QUARN_get_pointer_to_full_master_solution(env, &values, &count);
    double sum = 0.0;
    for (int32_t k = 0; k < count; ++k) sum += values[k];
    QUARN_get_pointer_to_dual_slacks(env, &values, &count);
    for (int32_t k = 0; k < count; ++k) sum += values[k];
    last_sum_ = sum;
  }

  Random &random_;
  Pricer pricer_;
  Oracle oracle_;
  std::string faults_;
  bool same_rows_ = true;  ///< rows are those of the master, so that its oracle can price
  int16_t last_status_ = 0;
  double last_sum_ = 0.0;
  double seconds_ = 0.0;
  bool asked_ = false;
  std::chrono::steady_clock::time_point first_answer_;
  int32_t late_answers_ = 0;
};

bool is_known(int32_t status) {
  return status == 0 || status == 2 || status == 3 || (status >= 5 && status <= 7);
}

}  // namespace

void answer_badly(uint32_t seed) {
  constexpr double kLimit = 0.02;
  Random random(seed);
  Optimum optimum;
  const Master master = draw_master(random, &optimum);
  Saboteur saboteur(master, random);
  const int64_t blocks = support::live_blocks();
  {
    const Environment env =
        make_record(master, saboteur.oracle(), static_cast<int16_t>(random.integer(-3, 2)), random);
    env->max_outer_iterations = 40;
    const bool timed = random.chance(0.1);
    if (timed) {
      QUARN_set_max_cputime(env.get(), kLimit);
      saboteur.hold_to(kLimit);
    }
    const bool rounds = random.chance(0.3);
    const int32_t status = rounds ? IQUARN_solve_MP(env.get(), support::call_oracle, 1)
                                  : QUARN_solve_MP(env.get(), support::call_oracle);
    EXPECT_TRUE(is_known(status)) << status;
    if (saboteur.last_status() < 0) {
      EXPECT_EQ(status, 2);
    }
    EXPECT_TRUE(saboteur.faults().empty()) << saboteur.faults();
    EXPECT_EQ(support::broken_invariants(*env.get()), "");
    // One answer may have been asked for within the limit, and a later run begins with one.
    EXPECT_LE(saboteur.late_answers(), rounds ? 2 : 1);
    Environment copy = Environment::zero_filled();
    EXPECT_EQ(QUARN_copy_environment(env.get(), copy.get()), 1);
  }
  EXPECT_EQ(support::live_blocks(), blocks) << "leaked";
}

void fail_allocations(uint32_t seed) {
  Random random(seed);
  Optimum optimum;
  const Master master =
      random.chance(0.5) ? draw_master(random, &optimum) : draw_decomposition(random, &optimum);
  const bool rounds = random.chance(0.3);
  const auto strategy = static_cast<int16_t>(random.integer(-2, 1));
  const int64_t k = 1 + static_cast<int64_t>(std::pow(10.0, random.real(0.0, 4.0)));
  const auto which =
      random.chance(0.7) ? support::Failing::kOnlyThat : support::Failing::kThatAndAllLater;
  Pricer pricer(master, 5);
  const int64_t blocks = support::live_blocks();
  Environment env = make_record(master, pricer.oracle(), strategy, random);
  support::fail_allocation(k, which);
  const int32_t status = pricer.solve(env.get(), rounds);
  const bool failed = support::allocation_failed();
  Environment copy = Environment::zero_filled();
  if (copy.get() != nullptr) QUARN_copy_environment(env.get(), copy.get());
  support::fail_allocation(0);
  EXPECT_TRUE(is_known(status)) << status;
  EXPECT_EQ(support::broken_invariants(*env.get()), "");
  if (failed) {
    // With memory again, the record goes on to the end.
    QUARN_forget_bounds(env.get());
    const int32_t again = pricer.solve(env.get());
    const std::string faults = faults_of_run(master, optimum, env.get(), again);
    EXPECT_TRUE(faults.empty()) << faults << ", after status " << status;
  }
  { const Environment gone = std::move(env), gone_too = std::move(copy); }
  EXPECT_EQ(support::live_blocks(), blocks) << "leaked";
}

}  // namespace campaign

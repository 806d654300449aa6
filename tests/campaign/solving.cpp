/// Masters against their exact optima: alone, with copies made on the way, by rounding, in threads.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "tests/campaign/campaign.h"
#include "tests/campaign/masters.h"

namespace campaign {
namespace {

using support::Environment;
using support::Random;

int16_t strategy_of(uint32_t seed) { return static_cast<int16_t>(static_cast<int>(seed % 4) - 2); }

/// A run with an exact oracle, before one of whose answers the record may be copied, and the copy
/// solved.
class Run {
 public:
  explicit Run(uint32_t seed)
      : random_(seed),
        master_(draw_master(random_, &optimum_)),
        answers_until_copy_(random_.chance(0.3) ? random_.integer(0, 8) : -1),
        pricer_(master_, random_.integer(1, 20)),
        env_(make_record(master_, pricer_.oracle(), strategy_of(seed), random_)) {
    pricer_.watch = [this](const QUARN_env &env) {
      if (answers_until_copy_-- == 0) solve_copy(env);
    };
  }

  std::string solve() {
    const int32_t status = pricer_.solve(env_.get());
    return copy_faults_ + faults_of_run(master_, optimum_, env_.get(), status);
  }

  /// What two solves of one master have to share to the last bit.
  std::vector<double> figures() const {
    return {env_->lowerBnd, env_->upperBnd, double(env_->outer_iterations),
            double(env_->inner_iterations), double(env_->G->n)};
  }

 private:
  void solve_copy(const QUARN_env &env) {
    Environment copy = Environment::zero_filled();
    if (QUARN_copy_environment(&env, copy.get()) != 1) {
      copy_faults_ = "no copy\n";
      return;
    }
    copy_faults_ = faults_of_run(master_, optimum_, copy.get(), pricer_.solve(copy.get()), true);
    if (!copy_faults_.empty()) copy_faults_ += " (a copy)\n";
  }

  Random random_;
  Optimum optimum_;
  Master master_;
  int32_t answers_until_copy_;
  std::string copy_faults_;
  Pricer pricer_;
  Environment env_;
};

/// The stored integer solution: whole numbers that meet the linking rows at the cost it tells.
std::string faults_of_rounding(const Master &master, const QUARN_env &env) {
  if (env.IP_ncols == 0) return env.IP_obj_value == 1e30 ? "" : "a cost without a solution";
  std::vector<double> x(master.columns.size(), 0.0);
  double cost = 0.0;
  for (int32_t k = 0; k < env.IP_ncols; ++k) {
    const auto j = static_cast<size_t>(env.col_tag[env.IP_cols[k]]);
    const double value = env.IP_lambda[k];
    if (value != std::round(value) || value < 0.0) return "a value is not a whole number";
    x[j] += value;
    cost += master.cost(j) * value;
  }
  if (!(std::fabs(cost - env.IP_obj_value) <= 1e-6 * (1.0 + std::fabs(cost)))) return "wrong cost";
  // Rounding gives a row up when it is missed by no more than 1e-6.
  return violation(master, x, master.m) <= 2e-6 ? "" : "the integer solution misses a row";
}

}  // namespace

void solve_masters(uint32_t seed) {
  Run run(seed);
  const std::string faults = run.solve();
  EXPECT_TRUE(faults.empty()) << faults << ", strategy " << strategy_of(seed);
}

void round_decompositions(uint32_t seed) {
  Random random(seed);
  Optimum optimum;
  const Master master = draw_decomposition(random, &optimum);
  Pricer pricer(master, random.integer(1, 20));
  const Environment env = make_record(master, pricer.oracle(), strategy_of(seed), random);
  if (random.chance(0.5)) QUARN_set_lambda_UB(env.get(), 1.0);
  const int32_t status = pricer.solve(env.get(), true);
  std::string faults = faults_of_run(master, optimum, env.get(), status);
  faults += faults_of_rounding(master, *env.get());
  EXPECT_TRUE(faults.empty()) << faults;
  // The duals that are left are those of the solution: they close the gap by themselves.
  const int32_t again = pricer.solve(env.get());
  faults = faults_of_run(master, optimum, env.get(), again, true);
  EXPECT_TRUE(faults.empty()) << faults << ", solved again";
}

void solve_in_threads(uint32_t seed) {
  constexpr uint32_t kThreads = 4;
  std::vector<std::string> faults(kThreads);
  std::vector<std::vector<double>> figures(kThreads);
  const auto solve = [&](uint32_t k) {
    for (uint32_t part = 0; part < 4; ++part) {
      // The first two threads solve the same masters.
      Run run(16 * seed + 4 * part + (k == 1 ? 0 : k));
      faults[k] += run.solve();
      const std::vector<double> last = run.figures();
      figures[k].insert(figures[k].end(), last.begin(), last.end());
    }
  };
  std::vector<std::thread> threads;
  for (uint32_t k = 0; k < kThreads; ++k) threads.emplace_back(solve, k);
  for (std::thread &thread : threads) thread.join();
  for (const std::string &text : faults) EXPECT_TRUE(text.empty()) << text;
  EXPECT_EQ(figures[0], figures[1]);
}

}  // namespace campaign

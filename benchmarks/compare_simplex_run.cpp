#include "benchmarks/compare_simplex_run.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>
#include <utility>

#include "benchmarks/compare_simplex.h"
#include "benchmarks/compare_smoothing.h"
#include "benchmarks/linear_program.h"

namespace benchmarks {

// Reduced costs above this, relative to the column's cost, are rounding.
constexpr double kLeastReducedCost = 1e-9;
constexpr double kUnknown = 1e30;
// Duals of further rows that every column prices out at, in units of the master's value.
constexpr double kGenerous = 10.0;

namespace {

/// Column j of the record priced at u: its cost less the duals of the first `rows` rows.
double price(const QUARN_env &env, int32_t j, const double *u, int32_t rows) {
  const QUARN_SMatrix_CW &G = *env.G;
  double result = 0.0;
  for (int32_t t = G.col_start[j] - 1; t < G.col_start[j + 1] - 1; ++t) {
    if (G.rw[t] == G.m) result += G.elt[t];
    if (G.rw[t] <= rows) result -= u[G.rw[t] - 1] * G.elt[t];
  }
  return result;
}

/// The block of a column, from 0: its further row. A master without further rows is one block.
int32_t block_of(const QUARN_env &env, int32_t j) {
  const QUARN_SMatrix_CW &G = *env.G;
  for (int32_t t = G.col_start[j] - 1; t < G.col_start[j + 1] - 1; ++t) {
    if (G.rw[t] > env.m && G.rw[t] < G.m) return G.rw[t] - env.m - 1;
  }
  return 0;
}

/// One run from the first answer to the last.
class SimplexRun {
 public:
  SimplexRun(const MasterMaker &make, const Overrides &overrides, bool smooth);

  RunResult solve();

 private:
  void restrict_to_optimum();
  void price_round();
  void set_duals(const std::vector<double> &duals);
  void price_trial();
  bool has_useful_column(int32_t from) const;
  std::vector<double> subgradient() const;
  void ask();
  std::vector<double> record_duals() const {
    return std::vector<double>(env_.u, env_.u + env_.G->m - 1);
  }
  void update_gap();
  void end(const std::string &failure);
  RunResult result() const;

  double start_;
  MasterSetup setup_;
  ClockedOracle oracle_;
  double time_limit_;
  examples::MasterRun record_;  ///< makes the record as for the library's runs, and keeps it
  QUARN_env &env_;
  SimplexMaster master_;
  DualSmoothing smoothing_;
  bool found_ = false;  ///< the round has a column that prices out at the master's duals
  bool ended_ = false;
  std::string failure_;
};

SimplexRun::SimplexRun(const MasterMaker &make, const Overrides &overrides, bool smooth)
    : start_(processor_seconds()),
      setup_(make(overrides)),
      oracle_(*setup_.oracle, start_, overrides.time_limit),
      time_limit_(overrides.time_limit),
      record_(setup_.rows, oracle_, setup_.options, setup_.first_duals),
      env_(record_.env()),
      master_(env_),
      smoothing_(smooth) {
  setup_.prepare(env_);
  oracle_.charge(start_);
}

void SimplexRun::end(const std::string &failure) {
  ended_ = true;
  failure_ = failure;
}

void SimplexRun::update_gap() {
  env_.lowerBnd = oracle_.lower_bound();
  env_.rel_gap = relative_gap(env_.lowerBnd, env_.upperBnd);
  if (env_.rel_gap <= env_.delta) end({});
  if (processor_seconds() - start_ > time_limit_) end({});
}

void SimplexRun::ask() {
  const int32_t linking = env_.m;
  oracle_.price(env_);
  smoothing_.insert_rows(linking, env_.m - linking);
}

/// Solves the restricted master problem. Where penalties are paid its value bounds nothing.
void SimplexRun::restrict_to_optimum() {
  if (!master_.solve()) return end("Clp found no optimum");
  if (!master_.penalised()) {
    env_.upperBnd_prev = env_.upperBnd;
    env_.upperBnd = std::min(env_.upperBnd, master_.value());
  }
  update_gap();
}

/// Whether a column from `from` on prices out at the duals of the restricted master problem.
bool SimplexRun::has_useful_column(int32_t from) const {
  const double *out = smoothing_.out().data();
  for (int32_t j = from; j < env_.G->n; ++j) {
    const double cost = price(env_, j, out, 0);
    if (price(env_, j, out, env_.G->m - 1) < -kLeastReducedCost * std::max(1.0, std::fabs(cost))) {
      return true;
    }
  }
  return false;
}

/// Of the Lagrangian function at the duals priced last: what the best column of each block leaves
/// of the right-hand sides of the linking rows. After an answer the record has these columns.
std::vector<double> SimplexRun::subgradient() const {
  const auto blocks = static_cast<size_t>(std::max(env_.p, 1));
  std::vector<double> least(blocks, kUnknown);
  std::vector<int32_t> best(blocks, -1);
  for (int32_t j = env_.ncols_aux; j < env_.G->n; ++j) {
    const double value = price(env_, j, env_.u, env_.m);
    const auto b = static_cast<size_t>(block_of(env_, j));
    if (value >= least[b]) continue;
    least[b] = value;
    best[b] = j;
  }
  std::vector<double> g(env_.RHS, env_.RHS + env_.m);
  for (size_t b = 0; b < blocks; ++b) {
    const int32_t further = env_.m + static_cast<int32_t>(b);
    const bool optional = env_.p == 0 || env_.row_type[further] == examples::kAtMost;
    if (best[b] < 0 || (optional && least[b] >= 0.0)) continue;
    const double units = env_.p == 0 ? master_.column_sum() : env_.RHS[further];
    const QUARN_SMatrix_CW &G = *env_.G;
    for (int32_t t = G.col_start[best[b]] - 1; t < G.col_start[best[b] + 1] - 1; ++t) {
      if (G.rw[t] <= env_.m) g[static_cast<size_t>(G.rw[t] - 1)] -= units * G.elt[t];
    }
  }
  return g;
}

/// Writes the prices of a trial to the record. The basis of an optimum may leave duals of the wrong
/// sign within Clp's tolerance.
///
/// Between the centre and the master's duals the duals of the further rows say little about which
/// columns are of use: the oracle gets such large ones there that it answers with the best columns
/// of all blocks. The bound of the answer does not depend on them.
void SimplexRun::set_duals(const std::vector<double> &duals) {
  const double generous = smoothing_.at_out() ? 0.0 : kGenerous * std::fabs(master_.value());
  for (size_t i = 0; i < duals.size(); ++i) {
    const bool linking = static_cast<int32_t>(i) < env_.m;
    env_.u[i] = linking ? duals[i] : smoothing_.out()[i] + generous;
    if (env_.row_type[i] == examples::kAtLeast) env_.u[i] = std::max(0.0, env_.u[i]);
    if (linking && env_.row_type[i] == examples::kAtMost) env_.u[i] = std::min(0.0, env_.u[i]);
  }
  env_.u[duals.size()] = master_.value();
}

void SimplexRun::price_trial() {
  set_duals(smoothing_.next_trial());
  ++env_.outer_iterations;
  const int32_t known = env_.G->n;
  const double lower = oracle_.lower_bound();
  ask();
  found_ = has_useful_column(known);
  if (smoothing_.is_active()) {
    smoothing_.learn(subgradient(), oracle_.lower_bound() > lower, record_duals());
  }
  update_gap();
}

/// Prices until a column is found for the restricted master problem, at last at its own duals.
/// Where there is none and penalties are paid, these are too low.
void SimplexRun::price_round() {
  smoothing_.begin_round(master_.duals());
  found_ = false;
  do {
    price_trial();
  } while (!ended_ && !found_ && !smoothing_.at_out());
  if (ended_ || found_) return;
  if (!master_.penalised()) return end("no column prices out, and the gap is open");
  master_.raise_penalty();
}

RunResult SimplexRun::solve() {
  if (env_.u == nullptr) {
    // The record's to release, as if a run had begun.
    env_.u = static_cast<double *>(
        std::calloc(static_cast<size_t>(std::max(env_.G->m, env_.G->max_m)), sizeof(double)));
    if (env_.u == nullptr) throw std::bad_alloc();
  } else {
    ask();
    smoothing_.learn({}, true, record_duals());
  }
  while (!ended_) {
    restrict_to_optimum();
    if (!ended_) price_round();
  }
  return result();
}

RunResult SimplexRun::result() const {
  RunResult result;
  result.failure = failure_;
  result.closed = env_.rel_gap <= env_.delta;
  result.rounds = env_.outer_iterations;
  result.columns = env_.G->n - env_.ncols_aux;
  result.lower = oracle_.lower_bound();
  result.upper = env_.upperBnd;
  result.oracle_seconds = oracle_.seconds();
  result.rmp_seconds = processor_seconds() - start_ - oracle_.seconds();
  result.samples = oracle_.samples();
  return result;
}

}  // namespace

RunResult run_simplex(const MasterMaker &make, const Overrides &overrides, bool smooth) {
  return SimplexRun(make, overrides, smooth).solve();
}

}  // namespace benchmarks

#include "benchmarks/compare_simplex_run.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <utility>

#include "benchmarks/compare_simplex.h"
#include "benchmarks/compare_smoothing.h"
#include "benchmarks/linear_program.h"

namespace benchmarks {

// Reduced costs above this, relative to the column's cost, are rounding.
constexpr double kLeastReducedCost = 1e-9;
constexpr double kUnknown = 1e30;
// Duals of block rows that every column prices out at, in units of the master's value.
constexpr double kGenerous = 10.0;

namespace {

/// One run from the first answer to the last.
class SimplexRun {
 public:
  SimplexRun(const MasterMaker &make, const Overrides &overrides, bool smooth);

  RunResult solve();

 private:
  void restrict_to_optimum();
  void price_round();
  void price_trial();
  std::vector<double> trial_duals();
  bool has_useful_column(size_t from) const;
  double price(const SimplexColumn &column, const std::vector<double> &u, bool linking_only) const;
  std::vector<double> subgradient(const std::vector<double> &u) const;
  void ask(const std::vector<double> &duals, double objective);
  void update_gap();
  void end(const std::string &failure);
  RunResult result() const;

  double start_;
  MasterSetup setup_;
  ClockedOracle oracle_;
  double time_limit_;
  SimplexMaster master_;
  DualSmoothing smoothing_;
  bool found_ = false;  ///< the round has a column that prices out at the master's duals
  bool ended_ = false;
  std::string failure_;
  int32_t rounds_ = 0;
  double upper_ = kUnknown;
  std::vector<Sample> samples_;
};

SimplexRun::SimplexRun(const MasterMaker &make, const Overrides &overrides, bool smooth)
    : start_(processor_seconds()),
      setup_(make(overrides)),
      oracle_(setup_.oracle),
      time_limit_(overrides.time_limit),
      master_(*setup_.master, setup_.settings.penalty),
      smoothing_(smooth) {
  oracle_.charge(start_);
}

void SimplexRun::end(const std::string &failure) {
  ended_ = true;
  failure_ = failure;
}

void SimplexRun::update_gap() {
  const double gap = relative_gap(setup_.master->lower_bound(), upper_);
  if (gap <= setup_.settings.tolerance) end({});
  if (processor_seconds() - start_ > time_limit_) end({});
}

void SimplexRun::ask(const std::vector<double> &duals, double objective) {
  const auto rows = static_cast<int32_t>(duals.size());
  setup_.master->price(std::ref(oracle_), duals, objective);
  master_.follow();
  smoothing_.insert_rows(rows, static_cast<int32_t>(master_.rows().size()) - rows);
  samples_.push_back({rounds_, processor_seconds() - start_, setup_.master->lower_bound(), upper_});
}

/// Solves the restricted master problem. Where penalties are paid its value bounds nothing.
void SimplexRun::restrict_to_optimum() {
  if (!master_.solve()) return end("Clp found no optimum");
  if (!master_.penalised()) upper_ = std::min(upper_, master_.value());
  update_gap();
}

/// The cost of a column less the duals of its rows, all of them or the linking ones.
double SimplexRun::price(const SimplexColumn &column, const std::vector<double> &u,
                         bool linking_only) const {
  double result = column.cost;
  for (const auto &[row, value] : column.entries) {
    const auto i = static_cast<size_t>(row);
    if (!linking_only || !master_.rows()[i].is_block()) result -= u[i] * value;
  }
  return result;
}

/// Whether a column from `from` on prices out at the duals of the restricted master problem.
bool SimplexRun::has_useful_column(size_t from) const {
  for (size_t j = from; j < master_.columns().size(); ++j) {
    const SimplexColumn &column = master_.columns()[j];
    const double least = -kLeastReducedCost * std::max(1.0, std::fabs(column.cost));
    if (price(column, smoothing_.out(), false) < least) return true;
  }
  return false;
}

/// Of the Lagrangian function at the duals u: what the best column of each block leaves of the
/// right-hand sides of the linking rows. After an answer the master has these columns. One without
/// block rows is one block.
std::vector<double> SimplexRun::subgradient(const std::vector<double> &u) const {
  const std::vector<quarn::Row> &rows = master_.rows();
  const auto is_block = [&](size_t row) { return rows[row].is_block(); };
  std::vector<double> least(rows.size() + 1, kUnknown);
  std::vector<const SimplexColumn *> best(rows.size() + 1, nullptr);
  for (const SimplexColumn &column : master_.columns()) {
    size_t block = rows.size();
    for (const auto &[row, value] : column.entries) {
      if (is_block(static_cast<size_t>(row))) block = static_cast<size_t>(row);
    }
    const double reduced = price(column, u, true);
    if (reduced >= least[block]) continue;
    least[block] = reduced;
    best[block] = &column;
  }
  std::vector<double> g(rows.size(), 0.0);
  for (size_t i = 0; i < rows.size(); ++i) g[i] = is_block(i) ? 0.0 : master_.rhs(i);
  for (size_t b = 0; b < best.size(); ++b) {
    const bool optional =
        b == rows.size() || setup_.master->range(rows[b]).lower <= -quarn::kInfinity;
    if (best[b] == nullptr || (optional && least[b] >= 0.0)) continue;
    const double units = b == rows.size() ? master_.column_sum() : master_.rhs(b);
    for (const auto &[row, value] : best[b]->entries) {
      const auto i = static_cast<size_t>(row);
      if (!is_block(i)) g[i] -= units * value;
    }
  }
  return g;
}

/// Between the centre and the master's duals those of the block rows say little about which columns
/// are of use: the oracle gets such large ones there that it answers with the best columns of all
/// blocks. The bound of the answer does not depend on them.
std::vector<double> SimplexRun::trial_duals() {
  std::vector<double> u = smoothing_.next_trial();
  const double generous = smoothing_.at_out() ? 0.0 : kGenerous * std::fabs(master_.value());
  for (size_t i = 0; i < u.size(); ++i) {
    if (master_.rows()[i].is_block()) u[i] = smoothing_.out()[i] + generous;
  }
  return u;
}

void SimplexRun::price_trial() {
  const std::vector<double> u = trial_duals();
  ++rounds_;
  const size_t known = master_.columns().size();
  const double lower = setup_.master->lower_bound();
  ask(u, master_.value());
  found_ = has_useful_column(known);
  if (smoothing_.is_active()) {
    std::vector<double> centre = u;
    centre.resize(master_.rows().size(), 0.0);
    smoothing_.learn(subgradient(centre), setup_.master->lower_bound() > lower, centre);
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
  master_.follow();
  if (!setup_.settings.first_duals.empty()) {
    std::vector<double> centre = setup_.settings.first_duals;
    ask(centre, quarn::kInfinity);
    centre.resize(master_.rows().size(), 0.0);
    smoothing_.learn({}, true, centre);
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
  result.lower = setup_.master->lower_bound();
  result.upper = upper_;
  result.closed = relative_gap(result.lower, upper_) <= setup_.settings.tolerance;
  result.rounds = rounds_;
  result.columns = static_cast<int32_t>(master_.columns().size());
  result.oracle_seconds = oracle_.seconds();
  result.rmp_seconds = processor_seconds() - start_ - oracle_.seconds();
  result.samples = samples_;
  return result;
}

}  // namespace

RunResult run_simplex(const MasterMaker &make, const Overrides &overrides, bool smooth) {
  return SimplexRun(make, overrides, smooth).solve();
}

}  // namespace benchmarks

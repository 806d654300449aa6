#include "tests/campaign/masters.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <sstream>

namespace campaign {
namespace {

using support::Column;
using support::Random;

enum RowType : int16_t { kEqual = 1, kAtLeast = 2, kAtMost = 3 };

// The data have a few digits and the tableaus a few rows: rounding stays far below.
constexpr long double kZero = 1e-11L;
// An optimal value this close to 0 has no relative gap worth the name.
constexpr double kLeastValue = 0.1;

/// Full tableau in which every row has an artificial variable. Costs are pairs: the artificial
/// part, which comes first, and the real one. Bland's rule on both sides, so it ends.
class Tableau {
 public:
  explicit Tableau(const Master &master) : rows_(master.m + master.p) {
    const auto n = static_cast<int32_t>(master.columns.size());
    artificial_ = n + rows_;
    width_ = artificial_ + rows_ + 1;
    table_.assign(static_cast<size_t>(rows_ + 2), Line(static_cast<size_t>(width_), 0.0L));
    for (int32_t j = 0; j < n; ++j) {
      for (const support::Entry &entry : master.columns[static_cast<size_t>(j)]) {
        at(entry.first - 1, j) += entry.second;  // the cost row is the first of the two below
      }
    }
    for (int32_t i = 0; i < rows_; ++i) add_row(master, i, n);
  }

  bool solve() {
    for (int32_t q = entering(); q >= 0; q = entering()) {
      const int32_t r = leaving(q);
      if (r < 0) return false;  // unbounded
      pivot(r, q);
    }
    return at(rows_ + 1, width_ - 1) > -1e-8L;
  }

  double value() { return static_cast<double>(-at(rows_, width_ - 1)); }

  std::vector<double> solution(size_t n) {
    std::vector<double> x(n, 0.0);
    for (int32_t i = 0; i < rows_; ++i) {
      const auto j = static_cast<size_t>(basis_[static_cast<size_t>(i)]);
      if (j < n) x[j] = static_cast<double>(at(i, width_ - 1));
    }
    return x;
  }

  std::vector<double> duals() {
    std::vector<double> y;
    for (int32_t i = 0; i < rows_; ++i) {
      y.push_back(static_cast<double>(-at(rows_, artificial_ + i)) * sign_[static_cast<size_t>(i)]);
    }
    return y;
  }

 private:
  using Line = std::vector<long double>;

  long double &at(int32_t i, int32_t j) {
    return table_[static_cast<size_t>(i)][static_cast<size_t>(j)];
  }

  void add_row(const Master &master, int32_t i, int32_t n) {
    const int16_t type = master.types[static_cast<size_t>(i)];
    if (type != kEqual) at(i, n + i) = type == kAtMost ? 1.0L : -1.0L;
    at(i, width_ - 1) = master.rhs[static_cast<size_t>(i)];
    sign_.push_back(at(i, width_ - 1) < 0 ? -1.0 : 1.0);
    for (long double &entry : table_[static_cast<size_t>(i)]) entry *= sign_.back();
    for (int32_t j = 0; j < width_; ++j) at(rows_ + 1, j) -= at(i, j);
    at(i, artificial_ + i) = 1.0L;
    basis_.push_back(artificial_ + i);
  }

  int32_t entering() {
    for (int32_t j = 0; j < artificial_; ++j) {
      const long double first = at(rows_ + 1, j);
      if (first < -kZero || (first <= kZero && at(rows_, j) < -kZero)) return j;
    }
    return -1;
  }

  int32_t leaving(int32_t q) {
    int32_t best = -1;
    for (int32_t i = 0; i < rows_; ++i) {
      if (at(i, q) <= kZero) continue;
      const long double difference =
          best < 0 ? -1.0L : at(i, width_ - 1) / at(i, q) - at(best, width_ - 1) / at(best, q);
      const bool lower =
          best >= 0 && basis_[static_cast<size_t>(i)] < basis_[static_cast<size_t>(best)];
      if (difference < -kZero || (difference <= kZero && lower)) best = i;
    }
    return best;
  }

  void pivot(int32_t r, int32_t q) {
    const long double pivot = at(r, q);
    for (int32_t j = 0; j < width_; ++j) at(r, j) /= pivot;
    for (int32_t i = 0; i < rows_ + 2; ++i) {
      const long double factor = at(i, q);
      if (i == r || factor == 0.0L) continue;
      for (int32_t j = 0; j < width_; ++j) at(i, j) -= factor * at(r, j);
    }
    basis_[static_cast<size_t>(r)] = q;
  }

  int32_t rows_, artificial_ = 0, width_ = 0;
  std::vector<Line> table_;
  std::vector<int32_t> basis_;
  std::vector<double> sign_;
};

/// A x, the cost last.
std::vector<double> activity(const Master &master, const std::vector<double> &x) {
  std::vector<double> sum(static_cast<size_t>(master.m + master.p + 1), 0.0);
  for (size_t j = 0; j < x.size(); ++j) {
    for (const support::Entry &entry : master.columns[j]) {
      sum[static_cast<size_t>(entry.first - 1)] += entry.second * x[j];
    }
  }
  return sum;
}

double some_number(Random &random, int32_t most) {
  return random.chance(0.5) ? random.integer(1, most) : random.real(0.5, most);
}

Column draw_column(const Master &master, int32_t block, double cost, Random &random) {
  Column column;
  for (int32_t i = 1; i <= master.m; ++i) {
    if (random.chance(0.5)) column.emplace_back(i, some_number(random, 4));
  }
  if (column.empty()) column.emplace_back(random.integer(1, master.m), some_number(random, 4));
  if (block < master.p) column.emplace_back(master.m + 1 + block, 1.0);
  column.emplace_back(master.m + master.p + 1, cost);
  return column;
}

/// Some columns' values, which sum to 1 in every block: right-hand sides are made of them.
std::vector<double> draw_solution(const Master &master, Random &random) {
  std::vector<double> x(master.columns.size(), 0.0);
  std::vector<double> sum(static_cast<size_t>(master.p) + 1, 0.0);
  for (size_t j = 0; j < x.size(); ++j) {
    const bool first = sum[static_cast<size_t>(master.block[j])] == 0.0;
    if (first || random.chance(0.2)) x[j] = some_number(random, 3);
    sum[static_cast<size_t>(master.block[j])] += x[j];
  }
  for (size_t j = 0; j < x.size(); ++j) {
    if (master.block[j] < master.p) x[j] /= sum[static_cast<size_t>(master.block[j])];
  }
  return x;
}

/// Types and right-hand sides that x satisfies; type 0 stands for a different one in each row.
void draw_rows(Master *master, const std::vector<double> &x, int16_t kind, Random &random) {
  const std::vector<double> sum = activity(*master, x);
  for (int32_t i = 0; i < master->m; ++i) {
    const double met = sum[static_cast<size_t>(i)];
    int16_t type = kind != 0 ? kind : static_cast<int16_t>(random.integer(1, 3));
    if (met == 0.0) type = kAtMost;
    const bool tight = random.chance(0.5) && met > 0.0;
    master->types.push_back(type);
    master->rhs.push_back(type == kEqual || tight ? met
                          : type == kAtMost       ? met + random.real(0.5, 4.0)
                                                  : met * random.real(0.3, 1.0));
  }
}

void set_units(Master *master) {
  master->units.assign(static_cast<size_t>(master->p) + 1, 1.0);
  // A vertex has at most m positive values, and none is worth more than its largest ratio.
  double ratio = 0.0;
  for (const Column &column : master->columns) {
    for (const support::Entry &entry : column) {
      if (entry.first > master->m) continue;
      ratio = std::max(ratio, master->rhs[static_cast<size_t>(entry.first - 1)] / entry.second);
    }
  }
  master->units.back() = master->m * ratio;
}

/// False where an artificial variable stayed in the basis: the duals then lack its multiplier.
bool are_optimal(const Master &master, const Optimum &optimum) {
  const std::vector<double> &y = optimum.duals;
  double value = 0.0;
  for (size_t i = 0; i < y.size(); ++i) {
    value += y[i] * master.rhs[i];
    if (master.types[i] == kAtLeast && y[i] < -1e-9) return false;
    if (master.types[i] == kAtMost && y[i] > 1e-9) return false;
  }
  for (size_t j = 0; j < master.columns.size(); ++j) {
    double reduced = master.cost(j);
    for (const support::Entry &entry : master.columns[j]) {
      const auto i = static_cast<size_t>(entry.first - 1);
      if (i < y.size()) reduced -= y[i] * entry.second;
    }
    if (reduced < -1e-9) return false;
  }
  return std::fabs(value - optimum.value) < 1e-9 * (1.0 + std::fabs(value));
}

void draw_box(Master *master, const Optimum &optimum, Random &random) {
  const int32_t kind = random.integer(0, 9);
  if (kind < 4 || (kind >= 7 && !are_optimal(*master, optimum))) return;
  double most = 0.0;
  for (int32_t i = 0; i < master->m; ++i) {
    most = std::max(most, std::fabs(optimum.duals[static_cast<size_t>(i)]));
  }
  master->box_binds = kind == 9;
  const double limit = kind < 7 ? 1e10 : kind < 9 ? 2.0 * most + 1.0 : 0.5 * most;
  for (int32_t i = 0; i < master->m; ++i) {
    const int16_t type = master->types[static_cast<size_t>(i)];
    master->lower.push_back(type == kAtLeast ? 0.0 : -limit);
    master->upper.push_back(type == kAtMost ? 0.0 : limit);
  }
}

Master try_master(Random &random) {
  Master master;
  const auto kind = static_cast<int16_t>(random.integer(0, 3));
  const bool packing = kind == kAtMost;
  master.m = random.integer(1, 6);
  master.p = random.chance(0.5) ? 0 : random.integer(1, 3);
  const int32_t n = random.integer(master.m + 2, 40);
  for (int32_t j = 0; j < n; ++j) {
    const double cost = some_number(random, 20) * (packing ? -1.0 : 1.0);
    master.block.push_back(master.p > 0 ? j % master.p : 0);
    master.columns.push_back(draw_column(master, master.block.back(), cost, random));
  }
  draw_rows(&master, draw_solution(master, random), kind, random);
  for (int32_t k = 0; k < master.p; ++k) {
    master.types.push_back(random.chance(0.5) ? kEqual : kAtMost);
    master.rhs.push_back(1.0);
  }
  return master;
}

Master try_decomposition(Random &random) {
  Master master;
  master.m = random.integer(1, 6);
  master.p = random.integer(1, 5);
  for (int32_t k = 0; k < master.p; ++k) {
    master.block.push_back(k);
    master.columns.push_back({{master.m + 1 + k, 1.0}, {master.m + master.p + 1, 0.0}});
    for (int32_t j = random.integer(1, 8); j > 0; --j) {
      master.block.push_back(k);
      master.columns.push_back(draw_column(master, k, some_number(random, 20), random));
    }
  }
  draw_rows(&master, draw_solution(master, random), kAtLeast, random);
  master.types.insert(master.types.end(), static_cast<size_t>(master.p), kEqual);
  master.rhs.insert(master.rhs.end(), static_cast<size_t>(master.p), 1.0);
  return master;
}

Master draw_until_sound(Master (*attempt)(Random &), Random &random, Optimum *optimum) {
  while (true) {
    Master master = attempt(random);
    master.types.push_back(kEqual);
    master.rhs.push_back(0.0);
    set_units(&master);
    *optimum = solve_exactly(master);
    if (optimum->feasible && std::fabs(optimum->value) >= kLeastValue) return master;
  }
}

}  // namespace

Optimum solve_exactly(const Master &master) {
  Tableau tableau(master);
  Optimum optimum;
  optimum.feasible = tableau.solve();
  optimum.value = tableau.value();
  optimum.x = tableau.solution(master.columns.size());
  optimum.duals = tableau.duals();
  return optimum;
}

Master draw_master(Random &random, Optimum *optimum) {
  Master master = draw_until_sound(try_master, random, optimum);
  draw_box(&master, *optimum, random);
  return master;
}

Master draw_decomposition(Random &random, Optimum *optimum) {
  return draw_until_sound(try_decomposition, random, optimum);
}

Pricer::Pricer(const Master &master, int32_t most)
    : master_(master),
      most_(most),
      oracle_([this](double *ub_term, double *lb_term, QUARN_env *env) {
        if (watch) watch(*env);
        *ub_term = 0.0;
        try {
          return price(env, lb_term);
        } catch (const std::bad_alloc &) {
          return int16_t{-1};
        }
      }) {}

int32_t Pricer::solve(QUARN_env *env, bool rounds) {
  starts_warm_ = env->u != nullptr;
  return rounds ? IQUARN_solve_MP(env, support::call_oracle, 1)
                : QUARN_solve_MP(env, support::call_oracle);
}

int16_t Pricer::price(QUARN_env *env, double *lb_term) {
  const Master &master = master_;
  std::vector<bool> present(master.columns.size(), false);
  for (int32_t k = 0; k < env->G->n - env->ncols_aux; ++k) {
    present[static_cast<size_t>(env->col_tag[k])] = true;
  }
  std::vector<double> least(master.units.size(), 0.0);
  std::vector<std::pair<double, size_t>> found;
  for (size_t j = 0; j < master.columns.size(); ++j) {
    double reduced = master.cost(j);
    for (const support::Entry &entry : master.columns[j]) {
      if (entry.first <= master.m + master.p) reduced -= env->u[entry.first - 1] * entry.second;
    }
    double &block_least = least[static_cast<size_t>(master.block[j])];
    block_least = std::min(block_least, reduced);
    if (reduced < 0.0 && !present[j]) found.emplace_back(reduced, j);
  }
  *lb_term = 0.0;
  for (size_t k = 0; k < least.size(); ++k) *lb_term += master.units[k] * least[k];
  // At the start of a run the library adds it to the value of the linking rows alone.
  for (int32_t i = master.m; starts_warm_ && i < master.m + master.p; ++i) {
    *lb_term += env->RHS[i] * env->u[i];
  }
  starts_warm_ = false;
  std::sort(found.begin(), found.end());
  support::Columns batch;
  std::vector<int32_t> tags;
  for (size_t k = 0; k < std::min(found.size(), static_cast<size_t>(most_)); ++k) {
    batch.push_back(master.columns[found[k].second]);
    tags.push_back(static_cast<int32_t>(found[k].second));
  }
  return QUARN_add_columns(env, support::Batch(env->G->m, batch).get(), tags.data()) < 0 ? -1 : 1;
}

support::Environment make_record(const Master &master, support::Oracle *oracle, int16_t strategy,
                                 Random &random) {
  support::ProblemData data;
  data.m = master.m;
  data.p = master.p;
  data.nrows = master.m + master.p + 1;
  data.max_outer_iterations = 1000;
  data.rhs = master.rhs;
  data.row_types = master.types;
  data.dual_lower = master.lower;
  data.dual_upper = master.upper;
  data.user_data = oracle;
  support::Environment env(data);
  if (env.get() == nullptr) return env;
  QUARN_set_WS_strategy(env.get(), strategy);
  QUARN_set_degree_of_optimality(env.get(), random.one_of<double>({2.0, 2.0, 5.0, 10.0}));
  for (int32_t k = 0; k < master.p; ++k) {
    if (master.types[static_cast<size_t>(master.m + k)] != kEqual) continue;
    const auto found = std::find(master.block.begin(), master.block.end(), k);
    const auto j = static_cast<int32_t>(found - master.block.begin());
    QUARN_add_columns(
        env.get(), support::Batch(env->G->m, {master.columns[static_cast<size_t>(j)]}).get(), &j);
  }
  return env;
}

double violation(const Master &master, const std::vector<double> &x, int32_t rows) {
  const std::vector<double> sum = activity(master, x);
  double worst = 0.0;
  for (size_t i = 0; i < static_cast<size_t>(rows); ++i) {
    const double residual = sum[i] - master.rhs[i];
    if (master.types[i] != kAtMost) worst = std::max(worst, -residual);
    if (master.types[i] != kAtLeast) worst = std::max(worst, residual);
  }
  return worst;
}

/// Where the gap closed with the upper bound of an earlier RMP, or is as wide as the weight of a
/// box column, the solution of the last one says no more than its tolerance. It has to be as good
/// as the bound, without weight in the box, when it is solved on.
static bool improves(QUARN_env *env, int32_t status, double slack) {
  const double *value = &env->u[env->m + env->p];
  if (env->Pb == nullptr || (status == 0 && !(*value > env->upperBnd + slack))) return false;
  env->opt_tol = env->delta;
  if (QUARN_solve_RMP_STD(env) != 0) return false;
  double *x = nullptr;
  int32_t count = 0;
  QUARN_get_pointer_to_full_master_solution(env, &x, &count);
  double worth = 0.0;  // the second entry of a box column is its cost
  for (int32_t j = 0; j < env->ncols_box; ++j) worth += std::fabs(x[j] * env->G->elt[2 * j + 1]);
  return worth <= slack;
}

std::string faults_of_run(const Master &master, const Optimum &optimum, QUARN_env *env,
                          int32_t status, bool continued) {
  std::ostringstream faults;
  faults.precision(12);
  // What such a box leaves of the problem may be unbounded, or pass for solved where it is thin.
  if (master.box_binds && (status == 0 || status == 3 || status == 5)) return "";
  // What a closed gap promises of either bound, and what the solver leaves of infeasibility.
  const double slack = (env->delta + 1e-7) * std::fabs(optimum.value);
  const bool improved = (status == 0 || status == 5) && improves(env, status, slack);
  if (status != 0 && !improved) faults << "status " << status << "\n";
  if (env->rel_gap > env->delta) faults << "the gap is open: " << env->rel_gap << "\n";
  if (!(env->lowerBnd <= optimum.value + slack)) faults << "lower bound " << env->lowerBnd << "\n";
  if (!(env->upperBnd >= optimum.value - slack)) faults << "upper bound " << env->upperBnd << "\n";
  if (status == 0 && env->Pb == nullptr) return faults.str();  // closed before the first solve
  double *values = nullptr;
  int32_t count = 0;
  QUARN_get_pointer_to_master_solution(env, &values, &count);
  std::vector<double> x(master.columns.size(), 0.0);
  for (int32_t k = 0; k < count; ++k) x[static_cast<size_t>(env->col_tag[k])] += values[k];
  const double value = activity(master, x).back();
  const double missed = violation(master, x, master.m + master.p);
  // Bounds that came with the record may close the gap before x is as good.
  if (!(value >= optimum.value - 100.0 * slack) ||
      (!continued && !(value <= optimum.value + 100.0 * slack))) {
    faults << "cost of x " << value << "\n";
  }
  if (!(missed <= 1e-4)) faults << "x misses a row by " << missed << "\n";
  if (*std::min_element(x.begin(), x.end()) < -1e-9) faults << "x is negative\n";
  const std::string text = faults.str();
  if (text.empty()) return text;
  faults << "optimum " << optimum.value << ", bounds " << env->lowerBnd << " " << env->upperBnd
         << ", m " << master.m << ", p " << master.p << ", outer " << env->outer_iterations
         << ", box " << (master.lower.empty() ? "default" : support::to_text(master.upper));
  return faults.str();
}

}  // namespace campaign

#include "benchmarks/master_problems.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "quarn/quarn.h"

namespace benchmarks {
namespace {

/// max p'k subject to s'k <= capacity, 0 <= k_i <= copies_i, by dynamic programming over the
/// capacity; copies are split into powers of two.
class Knapsack {
 public:
  explicit Knapsack(int32_t capacity)
      : width_(static_cast<size_t>(capacity) + 1), best_(width_), next_(width_) {}

  double solve(const std::vector<int32_t> &size, const std::vector<int32_t> &copies,
               const std::vector<double> &profit, std::vector<int32_t> *chosen) {
    split(size, copies, profit);
    taken_.resize(std::max(taken_.size(), pieces_.size() * width_));
    std::fill(best_.begin(), best_.end(), 0.0);
    for (size_t k = 0; k < pieces_.size(); ++k) add_piece(k);
    chosen->assign(size.size(), 0);
    size_t c = width_ - 1;
    for (size_t k = pieces_.size(); k-- > 0;) {
      if (taken_[k * width_ + c] == 0) continue;
      (*chosen)[pieces_[k].item] += pieces_[k].copies;
      c -= pieces_[k].size;
    }
    return best_.back();
  }

 private:
  struct Piece {
    size_t item, size;
    int32_t copies;
    double profit;
  };

  void split(const std::vector<int32_t> &size, const std::vector<int32_t> &copies,
             const std::vector<double> &profit) {
    pieces_.clear();
    for (size_t i = 0; i < size.size(); ++i) {
      const auto fit = static_cast<int32_t>((width_ - 1) / static_cast<size_t>(size[i]));
      int32_t left = profit[i] > 0.0 ? std::min(copies[i], fit) : 0;
      for (int32_t block = 1; left > 0; block *= 2) {
        const int32_t now_taken = std::min(block, left);
        left -= now_taken;
        pieces_.push_back({i, static_cast<size_t>(now_taken) * static_cast<size_t>(size[i]),
                           now_taken, now_taken * profit[i]});
      }
    }
  }

  void add_piece(size_t k) {
    const Piece &piece = pieces_[k];
    uint8_t *taken = taken_.data() + k * width_;
    std::copy_n(best_.begin(), piece.size, next_.begin());
    std::fill_n(taken, piece.size, uint8_t{0});
    for (size_t c = piece.size; c < width_; ++c) {
      const double with = best_[c - piece.size] + piece.profit;
      taken[c] = with > best_[c];
      next_[c] = std::max(with, best_[c]);
    }
    best_.swap(next_);
  }

  size_t width_;
  std::vector<double> best_, next_;
  std::vector<Piece> pieces_;
  std::vector<uint8_t> taken_;
};

constexpr int32_t kCapacity = 10000;
// Columns that price out by less than this change neither bound at a gap of 1e-6.
constexpr double kWorthAdding = 1e-9;

struct Sizes {
  std::vector<int32_t> size, demand;
};

Sizes draw_sizes(int32_t types, int32_t seed, int32_t largest) {
  Lehmer random(seed);
  Sizes result;
  std::set<int32_t> seen;
  while (static_cast<int32_t>(result.size.size()) < types) {
    const int32_t size = random.integer(100, largest);
    if (!seen.insert(size).second) continue;
    result.size.push_back(size);
    result.demand.push_back(random.integer(1, 100));
  }
  return result;
}

class CuttingStock : public MasterProblem {
 public:
  CuttingStock(Sizes sizes, int32_t per_call)
      : sizes_(std::move(sizes)), per_call_(per_call), knapsack_(kCapacity) {
    linking_rows = static_cast<int32_t>(sizes_.size.size());
    rhs.assign(sizes_.demand.begin(), sizes_.demand.end());
    row_type.assign(rhs.size(), kGreaterEqual);
    dual_lower.assign(rhs.size(), 0.0);
    // A pattern of one size alone must not price out; a little wider, so that no box column can
    // stand in for that pattern at the optimum.
    for (size_t i = 0; i < rhs.size(); ++i) {
      const int32_t fit = std::min(kCapacity / sizes_.size[i], sizes_.demand[i]);
      dual_upper.push_back(1.001 / fit);
    }
  }

  /// The best pattern first; then, at the same duals, the best of what remains after the pattern
  /// has been cut as often as the demands allow, so that the columns of an answer differ.
  double price(const double *u, std::vector<PricedColumn> *columns) override {
    const std::vector<double> profit(u, u + rhs.size());
    std::vector<int32_t> remaining = sizes_.demand, pattern;
    double best = 0.0;
    for (int32_t k = 0; k < per_call_; ++k) {
      const double z = knapsack_.solve(sizes_.size, remaining, profit, &pattern);
      if (k == 0) best = z;
      if (z <= 1.0 + kWorthAdding) break;
      columns->push_back({1.0, entries_of(pattern)});
      cut(pattern, &remaining);
    }
    double bound = 0.0;
    for (size_t i = 0; i < rhs.size(); ++i) bound += rhs[i] * u[i];
    return bound / std::max(1.0, best);
  }

 private:
  static std::vector<std::pair<int32_t, double>> entries_of(const std::vector<int32_t> &pattern) {
    std::vector<std::pair<int32_t, double>> entries;
    for (size_t i = 0; i < pattern.size(); ++i) {
      if (pattern[i] > 0) entries.emplace_back(static_cast<int32_t>(i), pattern[i]);
    }
    return entries;
  }

  static void cut(const std::vector<int32_t> &pattern, std::vector<int32_t> *remaining) {
    int32_t times = INT32_MAX;
    for (size_t i = 0; i < pattern.size(); ++i) {
      if (pattern[i] > 0) times = std::min(times, (*remaining)[i] / pattern[i]);
    }
    for (size_t i = 0; i < pattern.size(); ++i) (*remaining)[i] -= times * pattern[i];
  }

  Sizes sizes_;
  int32_t per_call_;
  Knapsack knapsack_;
};

class Assignment : public MasterProblem {
 public:
  Assignment(char problem_class, int32_t tasks, int32_t agents, int32_t seed) {
    Lehmer random(seed);
    for (int32_t k = 0; k < agents; ++k) draw_agent(problem_class, tasks, agents, &random);
    linking_rows = tasks;
    convexity_rows = agents;
    rhs.assign(static_cast<size_t>(tasks + agents), 1.0);
    // Covering suffices: a task left out of a column makes it cheaper and keeps it feasible. For
    // the same reason an agent may stay idle, and its empty column costs nothing.
    row_type.assign(static_cast<size_t>(tasks), kGreaterEqual);
    row_type.resize(rhs.size(), kLessEqual);
    double dearest = 0.0;
    for (const Agent &agent : agents_) {
      dearest = std::max(dearest, *std::max_element(agent.cost.begin(), agent.cost.end()));
    }
    // Wide enough never to bind at the optimum, where no task is worth ten times the dearest one.
    dual_lower.assign(static_cast<size_t>(tasks), 0.0);
    dual_upper.assign(static_cast<size_t>(tasks), 10.0 * dearest);
  }

  double price(const double *u, std::vector<PricedColumn> *columns) override {
    const auto tasks = static_cast<size_t>(linking_rows);
    double bound = 0.0;
    for (size_t i = 0; i < tasks; ++i) bound += u[i];
    for (size_t k = 0; k < agents_.size(); ++k) {
      const double v = std::min(u[tasks + k], 0.0);
      const double reduced_cost = price_agent(k, u, v, columns);
      bound += v + std::min(reduced_cost, -v);  // the empty column's reduced cost is -v
    }
    return bound;
  }

 private:
  struct Agent {
    std::vector<int32_t> weight;
    std::vector<double> cost;
    Knapsack knapsack;
  };

  void draw_agent(char problem_class, int32_t tasks, int32_t agents, Lehmer *random) {
    std::vector<int32_t> weight;
    std::vector<double> cost;
    int64_t total = 0;
    for (int32_t j = 0; j < tasks; ++j) {
      if (problem_class == 'D') {
        weight.push_back(random->integer(1, 100));
        cost.push_back(111 - weight.back() + random->integer(-10, 10));
      } else {
        weight.push_back(static_cast<int32_t>(1.0 - 10.0 * std::log(random->real())));
        cost.push_back(std::max(1.0, std::floor(1000.0 / weight.back() - 10.0 * random->real())));
      }
      total += weight.back();
    }
    const auto capacity = static_cast<int32_t>(8 * total / (10 * agents));
    agents_.push_back({std::move(weight), std::move(cost), Knapsack(capacity)});
  }

  double price_agent(size_t k, const double *u, double v, std::vector<PricedColumn> *columns) {
    Agent &agent = agents_[k];
    std::vector<double> profit(agent.cost.size());
    for (size_t j = 0; j < profit.size(); ++j) profit[j] = u[j] - agent.cost[j];
    const std::vector<int32_t> once(profit.size(), 1);
    std::vector<int32_t> chosen;
    const double reduced_cost = -agent.knapsack.solve(agent.weight, once, profit, &chosen) - v;
    if (reduced_cost < -kWorthAdding) {
      PricedColumn column = {0.0, {}};
      for (size_t j = 0; j < chosen.size(); ++j) {
        if (chosen[j] == 0) continue;
        column.cost += agent.cost[j];
        column.entries.emplace_back(static_cast<int32_t>(j), 1.0);
      }
      column.entries.emplace_back(linking_rows + static_cast<int32_t>(k), 1.0);
      columns->push_back(std::move(column));
    }
    return reduced_cost;
  }

  std::vector<Agent> agents_;
};

/// Sends standard output nowhere while it lives: the library reports on it after every answer.
class SilentOutput {
 public:
  SilentOutput() {
    std::fflush(stdout);
    kept_ = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  ~SilentOutput() {
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  SilentOutput(const SilentOutput &) = delete;
  SilentOutput &operator=(const SilentOutput &) = delete;

 private:
  int kept_;
};

struct Environment {
  QUARN_env *env = nullptr;
  ~Environment() {
    if (env == nullptr) return;
    QUARN_free(env);
    std::free(env);
  }
};

struct OracleState {
  MasterProblem *problem = nullptr;
  std::vector<RmpPair> *pairs = nullptr;
  RmpPair latest = {};
  int32_t fallbacks = 0;
  // The library counts whole milliseconds, more than a small RMP takes; between two answers little
  // else happens than the solve.
  double answered_at = 0.0, seconds_between = 0.0, seconds_pricing = 0.0;
};

/// The RMP that the record holds.
LinearProgram rmp_of(const QUARN_env &env) {
  LinearProgram program;
  const QUARN_SMatrix_CW &G = *env.G;
  for (int32_t i = 0; i + 1 < G.m; ++i) {
    program.add_row(env.row_type[i], env.RHS[i], env.row_range[i]);
  }
  for (int32_t j = 0; j < G.n; ++j) {
    double cost = 0.0;
    std::vector<std::pair<int32_t, double>> entries;
    for (int32_t t = G.col_start[j] - 1; t < G.col_start[j + 1] - 1; ++t) {
      if (G.rw[t] == G.m) {
        cost += G.elt[t];
      } else {
        entries.emplace_back(G.rw[t] - 1, G.elt[t]);
      }
    }
    program.add_column(cost, env.col_lb[j], env.col_ub[j], entries);
  }
  return program;
}

bool is_stage(int32_t outer_iteration) {
  return outer_iteration >= 4 && (outer_iteration & (outer_iteration - 1)) == 0;
}

void keep_rmp(const QUARN_env &env, OracleState *state) {
  RmpPair &latest = state->latest;
  latest.before = std::move(latest.after);
  latest.after = rmp_of(env);
  latest.tolerance_before = latest.tolerance_after;
  latest.tolerance_after = env.opt_tol;
  latest.outer_iteration = env.outer_iterations - 1;
  if (is_stage(latest.outer_iteration)) state->pairs->push_back(latest);
}

void add_columns(const std::vector<PricedColumn> &columns, QUARN_env *env) {
  std::vector<double> elt;
  std::vector<int32_t> rw, start = {1};
  for (const PricedColumn &column : columns) {
    for (const auto &[i, a] : column.entries) {
      rw.push_back(i + 1);
      elt.push_back(a);
    }
    rw.push_back(env->G->m);
    elt.push_back(column.cost);
    start.push_back(static_cast<int32_t>(rw.size()) + 1);
  }
  QUARN_SMatrix_CW batch = {};
  batch.m = env->G->m;
  batch.n = static_cast<int32_t>(columns.size());
  batch.nz = static_cast<int32_t>(rw.size());
  batch.elt = elt.data();
  batch.rw = rw.data();
  batch.col_start = start.data();
  QUARN_add_columns(env, &batch, nullptr);
}

int16_t oracle(double *ub_term, double *lb_term, QUARN_env *env, void *user_data) {
  auto *state = static_cast<OracleState *>(user_data);
  const double asked_at = processor_seconds();
  state->seconds_between += asked_at - state->answered_at;
  if (state->pairs != nullptr) keep_rmp(*env, state);
  // The dispatcher clears the flag when a warm-started strategy failed.
  if (env->WS_strategy == 1 && env->WS_point_saved == 0) ++state->fallbacks;
  double rhs_value = 0.0;
  for (size_t i = 0; i < state->problem->rhs.size(); ++i) {
    rhs_value += state->problem->rhs[i] * env->u[i];
  }
  std::vector<PricedColumn> columns;
  const double bound = state->problem->price(env->u, &columns);
  *ub_term = 0.0;
  *lb_term = bound - rhs_value;
  add_columns(columns, env);
  state->answered_at = processor_seconds();
  state->seconds_pricing += state->answered_at - asked_at;
  return 1;
}

void set_up(const MasterProblem &problem, const RunOptions &options, OracleState *state,
            Environment *environment) {
  std::vector<double> rhs = problem.rhs, lower = problem.dual_lower, upper = problem.dual_upper;
  std::vector<int16_t> type = problem.row_type;
  rhs.push_back(0.0);
  type.push_back(kEqual);
  if (options.box > 0.0) {
    std::fill(lower.begin(), lower.end(), -options.box);
    std::fill(upper.begin(), upper.end(), options.box);
  }
  const int32_t rows = problem.linking_rows + problem.convexity_rows + 1;
  QUARN_env *env =
      QUARN_set_data(problem.linking_rows, problem.convexity_rows, rows, 0, options.iteration_limit,
                     nullptr, rhs.data(), type.data(), lower.data(), upper.data(), state);
  environment->env = env;
  if (env == nullptr) return;
  QUARN_set_degree_of_optimality(env, options.degree_of_optimality);
  QUARN_set_delta(env, options.delta);
  QUARN_set_max_cputime(env, options.seconds_limit);
}

}  // namespace

Lehmer::Lehmer(int32_t seed) : x_(int64_t{1000003} * seed % 2147483647) {
  for (int k = 0; k < 10; ++k) step();
}

int64_t Lehmer::step() { return x_ = 16807 * x_ % 2147483647; }

int32_t Lehmer::integer(int32_t from, int32_t to) {
  return from + static_cast<int32_t>(step() * (int64_t{to} - from + 1) / 2147483647);
}

double Lehmer::real() { return static_cast<double>(step()) / 2147483647.0; }

namespace {

/// Optima of the cutting stock masters, computed by simplex column generation with an exact integer
/// knapsack; 0 where there is none.
double known_cutting_stock(int32_t types, int32_t seed) {
  struct Known {
    int32_t types, seed;
    double value;
  };
  for (const Known &known :
       {Known{200, 1, 3668.379686}, Known{200, 2, 3344.447691}, Known{200, 3, 3542.918407},
        Known{500, 1, 8958.121482}, Known{500, 2, 8871.626764}, Known{500, 3, 9168.388933},
        Known{1000, 1, 17885.641277}, Known{1000, 2, 17636.164799}}) {
    if (known.types == types && known.seed == seed) return known.value;
  }
  return 0.0;
}

}  // namespace

std::unique_ptr<MasterProblem> cutting_stock(int32_t types, int32_t seed, int32_t per_call,
                                             int32_t largest) {
  auto problem = std::make_unique<CuttingStock>(draw_sizes(types, seed, largest), per_call);
  problem->name = "cutting_stock_m" + std::to_string(types) + "_s" + std::to_string(seed) + "_k" +
                  std::to_string(per_call);
  if (largest == 7000) {
    problem->known_value = known_cutting_stock(types, seed);
  } else {
    problem->name += "_to" + std::to_string(largest);
  }
  return problem;
}

std::unique_ptr<MasterProblem> assignment(char problem_class, int32_t tasks, int32_t agents,
                                          int32_t seed) {
  auto problem = std::make_unique<Assignment>(problem_class, tasks, agents, seed);
  problem->name = "assignment_" + std::string(1, problem_class) + std::to_string(tasks) + "x" +
                  std::to_string(agents) + "_s" + std::to_string(seed);
  return problem;
}

RunReport run(MasterProblem *problem, const RunOptions &options, std::vector<RmpPair> *pairs) {
  const SilentOutput silent;
  OracleState state;
  state.problem = problem;
  state.pairs = pairs;
  Environment environment;
  set_up(*problem, options, &state, &environment);
  if (environment.env == nullptr) return {2, 0, 0, 0, 0, 0.0, 0.0, 0.0, 0.0};
  QUARN_env &env = *environment.env;
  state.answered_at = processor_seconds();
  const int32_t status = QUARN_solve_MP(&env, oracle);
  const bool last_is_new = pairs != nullptr && !is_stage(state.latest.outer_iteration);
  if (last_is_new && env.outer_iterations > 1) pairs->push_back(std::move(state.latest));
  return {status,
          env.outer_iterations,
          env.inner_iterations,
          env.G->n - env.ncols_aux,
          state.fallbacks,
          env.lowerBnd,
          env.upperBnd,
          state.seconds_between,
          state.seconds_pricing};
}

LinearProgram random_rmp(int32_t types, int32_t columns, int32_t seed) {
  const Sizes sizes = draw_sizes(types, seed, 7000);
  Lehmer random(seed + 1);
  LinearProgram program;
  for (const int32_t demand : sizes.demand) program.add_row(kGreaterEqual, demand);
  for (int32_t i = 0; i < types; ++i) program.add_column(0.0, 0.0, kNoBound, {{i, -1.0}});
  for (int32_t i = 0; i < types; ++i) {
    const int32_t fit = kCapacity / sizes.size[static_cast<size_t>(i)];
    program.add_column(1.0 / fit, 0.0, kNoBound, {{i, 1.0}});
  }
  // A dozen draws fill a roll nearly always; those that do not fit are passed over.
  constexpr int32_t kDraws = 12;
  while (program.columns() < columns) {
    int32_t left = kCapacity;
    std::vector<std::pair<int32_t, double>> pattern;
    for (int32_t draw = 0; draw < kDraws; ++draw) {
      const int32_t i = random.integer(0, types - 1);
      const int32_t fit = left / sizes.size[static_cast<size_t>(i)];
      const auto same = [i](const std::pair<int32_t, double> &entry) { return entry.first == i; };
      if (fit == 0 || std::any_of(pattern.begin(), pattern.end(), same)) continue;
      const int32_t count = random.integer(1, fit);
      pattern.emplace_back(i, count);
      left -= count * sizes.size[static_cast<size_t>(i)];
    }
    std::sort(pattern.begin(), pattern.end());
    program.add_column(1.0, 0.0, kNoBound, pattern);
  }
  return program;
}

}  // namespace benchmarks

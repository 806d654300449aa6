#include "benchmarks/master_problems.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "benchmarks/column_batch.h"
#include "examples/common/lehmer.h"
#include "examples/cutting_stock/bounded_knapsack.h"
#include "examples/cutting_stock/instance.h"
#include "examples/generalized_assignment/instance.h"
#include "examples/generalized_assignment/knapsack.h"
#include "quarn/quarn.h"

namespace benchmarks {
namespace {

// Columns that price out by less than this change neither bound at a gap of 1e-6.
constexpr double kWorthAdding = 1e-9;
// Looks at a part of the knapsack: more than any search of these instances takes.
constexpr int64_t kNoEffortLimit = INT64_MAX / 4;

class CuttingStock : public MasterProblem {
 public:
  CuttingStock(::cutting_stock::Instance instance, int32_t per_call)
      : instance_(std::move(instance)), per_call_(per_call) {
    linking_rows = instance_.size();
    for (int32_t i = 0; i < linking_rows; ++i) {
      rhs.push_back(static_cast<double>(instance_.types[static_cast<size_t>(i)].demand));
      // A pattern of one size alone must not price out; a little wider, so that no box column can
      // stand in for that pattern at the optimum.
      dual_upper.push_back(1.001 / static_cast<double>(instance_.most_copies(i)));
    }
    row_type.assign(rhs.size(), kGreaterEqual);
    dual_lower.assign(rhs.size(), 0.0);
  }

  /// The best pattern first; then, at the same duals, the best of what remains after the pattern
  /// has been cut as often as the demands allow, so that the columns of an answer differ.
  double price(const double *u, std::vector<PricedColumn> *columns) override {
    std::vector<int64_t> remaining;
    for (const ::cutting_stock::ItemType &type : instance_.types) remaining.push_back(type.demand);
    double best = 0.0;
    for (int32_t k = 0; k < per_call_; ++k) {
      PricedColumn column = {1.0, {}};
      const double z = best_pattern(u, remaining, &column.entries);
      if (k == 0) best = z;
      if (z <= 1.0 + kWorthAdding) break;
      cut(column.entries, &remaining);
      columns->push_back(std::move(column));
    }
    double bound = 0.0;
    for (size_t i = 0; i < rhs.size(); ++i) bound += rhs[i] * u[i];
    return bound / std::max(1.0, best);
  }

 private:
  using Entries = std::vector<std::pair<int32_t, double>>;

  /// The value of the best pattern with at most the remaining pieces, and the pattern.
  double best_pattern(const double *u, const std::vector<int64_t> &remaining,
                      Entries *pattern) const {
    std::vector<::cutting_stock::KnapsackItem> items;
    std::vector<int32_t> type_of;
    for (int32_t i = 0; i < linking_rows; ++i) {
      const int64_t left = remaining[static_cast<size_t>(i)];
      if (u[i] <= 0.0 || left == 0) continue;
      items.push_back({instance_.types[static_cast<size_t>(i)].size, u[i], left});
      type_of.push_back(i);
    }
    if (items.empty()) return 0.0;
    using ::cutting_stock::BoundedKnapsack;
    BoundedKnapsack knapsack(instance_.length, items, BoundedKnapsack::kFine);
    const ::cutting_stock::Packing packing = knapsack.solve(0.0, 0.0, kNoEffortLimit);
    for (const ::cutting_stock::PackedItem &packed : packing.items) {
      pattern->emplace_back(type_of[static_cast<size_t>(packed.item)],
                            static_cast<double>(packed.copies));
    }
    return packing.value;
  }

  static void cut(const Entries &pattern, std::vector<int64_t> *remaining) {
    int64_t times = INT64_MAX;
    for (const auto &[i, copies] : pattern) {
      times = std::min(times, (*remaining)[static_cast<size_t>(i)] / static_cast<int64_t>(copies));
    }
    for (const auto &[i, copies] : pattern) {
      (*remaining)[static_cast<size_t>(i)] -= times * static_cast<int64_t>(copies);
    }
  }

  ::cutting_stock::Instance instance_;
  int32_t per_call_;
};

class Assignment : public MasterProblem {
 public:
  explicit Assignment(generalized_assignment::Instance instance) : instance_(std::move(instance)) {
    linking_rows = static_cast<int32_t>(instance_.tasks());
    convexity_rows = static_cast<int32_t>(instance_.agents.size());
    const size_t tasks = instance_.tasks();
    rhs.assign(tasks + instance_.agents.size(), 1.0);
    // Covering suffices: a task left out of a column makes it cheaper and keeps it feasible. For
    // the same reason an agent may stay idle, and its empty column costs nothing.
    row_type.assign(tasks, kGreaterEqual);
    row_type.resize(rhs.size(), kLessEqual);
    double dearest = 0.0;
    for (const generalized_assignment::Agent &agent : instance_.agents) {
      dearest = std::max(dearest, *std::max_element(agent.cost.begin(), agent.cost.end()));
    }
    // Wide enough never to bind at the optimum, where no task is worth ten times the dearest one.
    dual_lower.assign(tasks, 0.0);
    dual_upper.assign(tasks, 10.0 * dearest);
  }

  double price(const double *u, std::vector<PricedColumn> *columns) override {
    const size_t tasks = instance_.tasks();
    double bound = 0.0;
    for (size_t i = 0; i < tasks; ++i) bound += u[i];
    for (size_t k = 0; k < instance_.agents.size(); ++k) {
      const double v = std::min(u[tasks + k], 0.0);
      const double reduced_cost = price_agent(k, u, v, columns);
      bound += v + std::min(reduced_cost, -v);  // the empty column's reduced cost is -v
    }
    return bound;
  }

 private:
  double price_agent(size_t k, const double *u, double v, std::vector<PricedColumn> *columns) {
    const generalized_assignment::Agent &agent = instance_.agents[k];
    std::vector<double> profit(agent.cost.size());
    for (size_t j = 0; j < profit.size(); ++j) profit[j] = u[j] - agent.cost[j];
    knapsack_.solve(agent.weight, profit, agent.capacity);
    const double reduced_cost = -knapsack_.value(agent.capacity) - v;
    if (reduced_cost < -kWorthAdding) {
      PricedColumn column = {0.0, {}};
      for (const int32_t j : knapsack_.tasks(agent.capacity)) {
        column.cost += agent.cost[static_cast<size_t>(j)];
        column.entries.emplace_back(j, 1.0);
      }
      column.entries.emplace_back(linking_rows + static_cast<int32_t>(k), 1.0);
      columns->push_back(std::move(column));
    }
    return reduced_cost;
  }

  generalized_assignment::Instance instance_;
  generalized_assignment::Knapsack knapsack_;
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
  ColumnBatch batch(*env->G);
  for (const PricedColumn &column : columns) {
    batch.start_column(column.cost);
    for (const auto &[i, a] : column.entries) batch.add_entry(i, a);
  }
  batch.send(*env);
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
  QUARN_set_log(env, QUARN_log_nothing, nullptr);
  QUARN_set_degree_of_optimality(env, options.degree_of_optimality);
  QUARN_set_delta(env, options.delta);
  QUARN_set_max_cputime(env, options.seconds_limit);
}

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

std::unique_ptr<MasterProblem> cutting_stock(int32_t types, int32_t seed, int32_t per_call) {
  auto problem =
      std::make_unique<CuttingStock>(::cutting_stock::generate_instance(types, seed), per_call);
  problem->name = "cutting_stock_m" + std::to_string(types) + "_s" + std::to_string(seed) + "_k" +
                  std::to_string(per_call);
  problem->known_value = known_cutting_stock(types, seed);
  return problem;
}

std::unique_ptr<MasterProblem> assignment(char problem_class, int32_t tasks, int32_t agents,
                                          int32_t seed) {
  auto problem = std::make_unique<Assignment>(
      generalized_assignment::generate_instance(problem_class, tasks, agents, seed));
  problem->name = "assignment_" + std::string(1, problem_class) + std::to_string(tasks) + "x" +
                  std::to_string(agents) + "_s" + std::to_string(seed);
  return problem;
}

RunReport run(MasterProblem *problem, const RunOptions &options, std::vector<RmpPair> *pairs) {
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

/// What fits into `left` of a dozen types drawn at random, which fill a roll nearly always.
static std::vector<std::pair<int32_t, double>> random_pattern(
    const ::cutting_stock::Instance &instance, examples::Lehmer *random) {
  constexpr int32_t kDraws = 12;
  int64_t left = instance.length;
  std::vector<std::pair<int32_t, double>> pattern;
  for (int32_t draw = 0; draw < kDraws; ++draw) {
    const auto i = static_cast<int32_t>(random->draw(0, instance.size() - 1));
    const int64_t size = instance.types[static_cast<size_t>(i)].size, fit = left / size;
    const auto same = [i](const std::pair<int32_t, double> &entry) { return entry.first == i; };
    if (fit == 0 || std::any_of(pattern.begin(), pattern.end(), same)) continue;
    const int64_t count = random->draw(1, fit);
    pattern.emplace_back(i, static_cast<double>(count));
    left -= count * size;
  }
  std::sort(pattern.begin(), pattern.end());
  return pattern;
}

LinearProgram random_rmp(int32_t types, int32_t columns, int32_t seed) {
  const ::cutting_stock::Instance instance = ::cutting_stock::generate_instance(types, seed);
  examples::Lehmer random(seed + 1);
  LinearProgram program;
  for (const ::cutting_stock::ItemType &type : instance.types) {
    program.add_row(kGreaterEqual, static_cast<double>(type.demand));
  }
  for (int32_t i = 0; i < types; ++i) program.add_column(0.0, 0.0, kNoBound, {{i, -1.0}});
  for (int32_t i = 0; i < types; ++i) {
    const int64_t fit = instance.length / instance.types[static_cast<size_t>(i)].size;
    program.add_column(1.0 / static_cast<double>(fit), 0.0, kNoBound, {{i, 1.0}});
  }
  while (program.columns() < columns) {
    program.add_column(1.0, 0.0, kNoBound, random_pattern(instance, &random));
  }
  return program;
}

}  // namespace benchmarks

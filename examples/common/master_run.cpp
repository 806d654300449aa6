#include "examples/common/master_run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "examples/common/quiet_output.h"

namespace examples {

// A run ends by its gap or by the time limit. A count of iterations says nothing about a problem.
constexpr int32_t kMostIterations = std::numeric_limits<int32_t>::max();

void MasterRows::add_linking_row(RowType type, double rhs, double dual_lower, double dual_upper) {
  rhs_.push_back(rhs);
  types_.push_back(type);
  dual_lower_.push_back(dual_lower);
  dual_upper_.push_back(dual_upper);
}

void MasterRows::add_further_row(RowType type, double rhs) {
  rhs_.push_back(rhs);
  types_.push_back(type);
}

double rmp_dual_value(const QUARN_env &env) {
  double value = 0.0;
  for (int32_t i = 0; i < env.G->m - 1; ++i) value += env.RHS[i] * env.u[i];
  return value;
}

void MasterRun::Release::operator()(QUARN_env *env) const {
  QUARN_free(env);
  std::free(env);
}

MasterRun::MasterRun(const MasterRows &rows, Oracle &oracle, const Options &options,
                     const std::vector<double> &warm_duals)
    : oracle_(oracle), options_(options) {
  if (!warm_duals.empty() && warm_duals.size() != rows.rhs_.size()) {
    throw std::invalid_argument("one warm dual is needed for each row");
  }
  std::vector<double> rhs = rows.rhs_;
  std::vector<int16_t> types = rows.types_;
  std::vector<double> duals = warm_duals;
  rhs.push_back(0.0);  // the cost row
  types.push_back(kEqual);
  duals.push_back(0.0);
  const auto all_rows = static_cast<int32_t>(rhs.size());
  const auto linking = static_cast<int32_t>(rows.dual_lower_.size());
  env_.reset(QUARN_set_data(linking, all_rows - 1 - linking, all_rows, 0, kMostIterations,
                            warm_duals.empty() ? nullptr : duals.data(), rhs.data(), types.data(),
                            rows.dual_lower_.data(), rows.dual_upper_.data(), this));
  if (!env_) throw std::bad_alloc();
  QUARN_set_WS_strategy(env_.get(), static_cast<int16_t>(options.strategy));
  QUARN_set_delta(env_.get(), options.tolerance);
  QUARN_set_max_cputime(env_.get(), options.time_limit);
  QUARN_set_verbosity(env_.get(), options.verbose ? 1 : 0);
  QUARN_set_degree_of_optimality(env_.get(),
                                 options.divisor > 0.0 ? options.divisor : dial_.divisor());
}

int16_t MasterRun::oracle_callback(double *ub_term, double *lb_term, QUARN_env *env,
                                   void *user_data) {
  MasterRun &run = *static_cast<MasterRun *>(user_data);
  try {
    const Answer answer = run.ask(*env);
    *ub_term = 0.0;
    *lb_term = answer.lb_term;
    return answer.status;
  } catch (...) {
    run.failure_ = std::current_exception();  // no exception may pass through the library
    return -1;
  }
}

Answer MasterRun::ask(QUARN_env &env) {
  // The library updates its bounds after the oracle has answered, so a call finds the previous
  // iteration settled; only the upper bound has moved on with the latest restricted master problem.
  report_iteration(env.outer_iterations - 1, env.upperBnd_prev);
  const Answer answer = oracle_.price(env);
  if (answer.status >= 0 && options_.divisor == 0.0) {
    QUARN_set_degree_of_optimality(
        &env, answer.status > 0 ? dial_.update(-answer.lb_term) : dial_.update_without_bound());
  }
  return answer;
}

void MasterRun::report_iteration(int32_t iteration, double upper_bound) {
  if (iteration <= reported_ || table_ == nullptr) return;
  const QUARN_env &env = *env_;
  table_->add(
      {iteration, env.lowerBnd, upper_bound, env.rel_gap, env.G->n - env.ncols_aux, env.cputime});
  reported_ = iteration;
}

MasterResult MasterRun::result(int32_t status, double seconds) const {
  MasterResult result;
  result.status = status;
  result.gap_closed = env_->rel_gap <= env_->delta;
  result.lower_bound = env_->lowerBnd;
  result.upper_bound = env_->upperBnd;
  result.relative_gap = env_->rel_gap;
  result.outer_iterations = env_->outer_iterations;
  result.inner_iterations = env_->inner_iterations;
  result.columns = env_->G->n - env_->ncols_aux;
  result.time_total = seconds;
  result.time_rmp = env_->cputime_RMP;
  result.time_oracle = env_->cputime_oracle;
  return result;
}

template <typename Driver>
MasterResult MasterRun::run(const Driver &driver) {
  const auto start = std::chrono::steady_clock::now();
  int32_t status = 0;
  {
    const QuietOutput quiet(options_.verbose);
    ProgressTable table(quiet.stream());
    table_ = &table;
    status = driver();
    report_iteration(env_->outer_iterations, env_->upperBnd);
    table_ = nullptr;
    if (!failure_) quiet.check();
  }
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  return result(status, elapsed.count());
}

MasterResult MasterRun::solve() {
  return run([this] { return QUARN_solve_MP(env_.get(), oracle_callback); });
}

MasterResult MasterRun::solve_integer() {
  return run([this] { return IQUARN_solve_MP(env_.get(), oracle_callback, 1); });
}

/// Generated column j, from 0, of a view of the generated columns.
static MasterColumn column_of(const QUARN_env &env, const QUARN_SMatrix_CW &view, int32_t j,
                              double value) {
  MasterColumn column = {value, 0.0, env.col_tag[j], {}};
  for (int32_t t = view.col_start[j] - 1; t < view.col_start[j + 1] - 1; ++t) {
    if (view.rw[t] == view.m) {
      column.cost = view.elt[t];
    } else {
      column.entries.push_back({view.rw[t] - 1, view.elt[t]});
    }
  }
  return column;
}

std::vector<MasterColumn> master_solution(QUARN_env &env, double least) {
  double *values = nullptr;
  int32_t count = 0;
  QUARN_get_pointer_to_master_solution(&env, &values, &count);
  QUARN_SMatrix_CW view = {};
  QUARN_get_pointer_to_master_columns(&env, &view);
  std::vector<MasterColumn> columns;
  for (int32_t j = 0; j < count; ++j) {
    if (values[j] > least) columns.push_back(column_of(env, view, j, values[j]));
  }
  return columns;
}

std::vector<MasterColumn> integer_solution(QUARN_env &env) {
  QUARN_SMatrix_CW view = {};
  QUARN_get_pointer_to_master_columns(&env, &view);
  std::vector<MasterColumn> columns;
  for (int32_t k = 0; k < env.IP_ncols; ++k) {
    columns.push_back(column_of(env, view, env.IP_cols[k], env.IP_lambda[k]));
  }
  return columns;
}

}  // namespace examples

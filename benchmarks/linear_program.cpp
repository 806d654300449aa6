#include "benchmarks/linear_program.h"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace benchmarks {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double or_infinite(double bound) {
  return std::fabs(bound) < kNoBound ? bound : std::copysign(kInfinity, bound);
}

double excess(double value, const Interval &interval) {
  return std::max({interval.lower - value, value - interval.upper, 0.0});
}

/// price * bound, where a bound that is missing contributes nothing: a price that points to it is
/// an infeasibility, counted as such.
double contribution(double price, const Interval &interval) {
  const double bound = price > 0.0 ? interval.lower : interval.upper;
  return price != 0.0 && std::isfinite(bound) ? price * bound : 0.0;
}

/// The part of a price that points to a missing bound.
double unsupported(double price, const Interval &interval) {
  const double bound = price > 0.0 ? interval.lower : interval.upper;
  return std::isfinite(bound) ? 0.0 : std::fabs(price);
}

/// max_i |b - Ax|_i of (1), relative.
double row_violation(const LinearProgram &program, const std::vector<double> &x) {
  const auto m = static_cast<size_t>(program.rows());
  std::vector<double> activity(m, 0.0), largest(m, 0.0);
  for (size_t j = 0; j < x.size(); ++j) {
    for (auto t = static_cast<size_t>(program.start[j]);
         t < static_cast<size_t>(program.start[j + 1]); ++t) {
      const auto i = static_cast<size_t>(program.row[t]);
      const double product = program.value[t] * x[j];
      activity[i] += product;
      largest[i] = std::max(largest[i], std::fabs(product));
    }
  }
  double scale = 1.0, worst = 0.0;
  for (const double b : program.rhs) scale = std::max(scale, 1.0 + std::fabs(b));
  for (size_t i = 0; i < m; ++i) {
    const double by = excess(activity[i], row_bounds(program, static_cast<int32_t>(i)));
    worst = std::max(worst, by / (scale + 0.01 * largest[i]));
  }
  return worst;
}

}  // namespace

void LinearProgram::add_row(int32_t type, double right_hand_side, double range) {
  row_type.push_back(type);
  rhs.push_back(right_hand_side);
  row_range.push_back(range);
}

void LinearProgram::add_column(double column_cost, double lower_bound, double upper_bound,
                               const std::vector<std::pair<int32_t, double>> &column_entries) {
  cost.push_back(column_cost);
  lower.push_back(lower_bound);
  upper.push_back(upper_bound);
  for (const auto &[i, a] : column_entries) {
    row.push_back(i);
    value.push_back(a);
  }
  start.push_back(static_cast<int32_t>(row.size()));
}

LinearProgram LinearProgram::with_columns(const std::vector<int32_t> &kept) const {
  LinearProgram result;
  result.name = name;
  result.objective_constant = objective_constant;
  result.row_type = row_type;
  result.rhs = rhs;
  result.row_range = row_range;
  for (const int32_t column : kept) {
    const auto j = static_cast<size_t>(column);
    std::vector<std::pair<int32_t, double>> column_entries;
    for (int32_t t = start[j]; t < start[j + 1]; ++t) {
      column_entries.emplace_back(row[static_cast<size_t>(t)], value[static_cast<size_t>(t)]);
    }
    result.add_column(cost[j], lower[j], upper[j], column_entries);
  }
  return result;
}

Interval row_bounds(const LinearProgram &program, int32_t row) {
  const auto i = static_cast<size_t>(row);
  const double b = program.rhs[i], r = program.row_range[i];
  const bool ranged = std::fabs(r) < kNoBound;
  switch (program.row_type[i]) {
    case kGreaterEqual:
      return {b, ranged ? b + std::fabs(r) : kInfinity};
    case kLessEqual:
      return {ranged ? b - std::fabs(r) : -kInfinity, b};
    default:
      return ranged ? Interval{std::min(b, b + r), std::max(b, b + r)} : Interval{b, b};
  }
}

Measures measure(const LinearProgram &program, const std::vector<double> &x,
                 const std::vector<double> &y) {
  Measures result = {program.objective_constant, program.objective_constant, 0.0, 0.0, 0.0};
  result.primal_infeasibility = row_violation(program, x);
  for (size_t i = 0; i < y.size(); ++i) {
    const Interval bounds = row_bounds(program, static_cast<int32_t>(i));
    result.dual_objective += contribution(y[i], bounds);
    result.dual_infeasibility =
        std::max(result.dual_infeasibility, unsupported(y[i], bounds) / (1.0 + std::fabs(y[i])));
  }
  for (size_t j = 0; j < x.size(); ++j) {
    const Interval bounds = {or_infinite(program.lower[j]), or_infinite(program.upper[j])};
    double reduced = program.cost[j], largest = 0.0;
    for (auto t = static_cast<size_t>(program.start[j]);
         t < static_cast<size_t>(program.start[j + 1]); ++t) {
      const double product = program.value[t] * y[static_cast<size_t>(program.row[t])];
      reduced -= product;
      largest = std::max(largest, std::fabs(product));
    }
    result.objective += program.cost[j] * x[j];
    result.dual_objective += contribution(reduced, bounds);
    result.dual_infeasibility = std::max(
        result.dual_infeasibility,
        unsupported(reduced, bounds) / (1.0 + std::fabs(program.cost[j]) + 0.01 * largest));
    const double bound = x[j] < bounds.lower ? bounds.lower : bounds.upper;
    const double by = excess(x[j], bounds);
    if (by > 0.0) {
      result.primal_infeasibility =
          std::max(result.primal_infeasibility, by / (1.0 + std::fabs(bound)));
    }
  }
  // An objective of zero on both sides has no gap; 1e-300 keeps 0 / 0 out.
  result.gap = std::fabs(result.objective - result.dual_objective) /
               std::max(std::fabs(result.objective), 1e-300);
  return result;
}

void SavedPoint::release() {
  if (holds_point()) free_Pb_save(&record_);
}

LoadArrays::LoadArrays(const LinearProgram &program)
    : m(program.rows() + 1),
      n(program.columns()),
      row_type(program.row_type),
      rhs(program.rhs),
      row_range(program.row_range),
      lower(program.lower),
      upper(program.upper) {
  row_type.push_back(kEqual);
  rhs.push_back(0.0);
  row_range.push_back(kNoBound);
  col_start.push_back(1);
  for (size_t j = 0; j < program.cost.size(); ++j) {
    for (auto t = static_cast<size_t>(program.start[j]);
         t < static_cast<size_t>(program.start[j + 1]); ++t) {
      rw.push_back(program.row[t] + 1);
      elt.push_back(program.value[t]);
    }
    if (program.cost[j] != 0.0) {
      rw.push_back(m);
      elt.push_back(program.cost[j]);
    }
    col_start.push_back(static_cast<int32_t>(rw.size()) + 1);
  }
  nz = static_cast<int32_t>(rw.size());
}

IP_problem *LoadArrays::load(int32_t blas_threads) const {
  return load_Pb(nullptr, nullptr, row_type.data(), col_start.data(), rw.data(), elt.data(),
                 rhs.data(), row_range.data(), lower.data(), upper.data(), m, n, nz, blas_threads,
                 0, 0.0, 0, 0, 0, 0, 0, m, 0, 1.0, 0);
}

LoadedProblem::LoadedProblem(const LinearProgram &program, int32_t blas_threads)
    : rows_(program.rows()), columns_(program.columns()) {
  const LoadArrays arrays(program);
  const double before = processor_seconds();
  problem_ = arrays.load(blas_threads);
  preproc_Pb(problem_);
  load_seconds_ = processor_seconds() - before;
}

LoadedProblem::~LoadedProblem() { free_Pb(problem_); }

SolveReport LoadedProblem::solve(double tolerance, int32_t start_mode, SavedPoint *saved,
                                 int32_t option) {
  SavedPoint empty;
  SolveReport r = {0, tolerance, option, 1.0, 1.0, 1.0, 0.0, 0.0, 0, 0.0};
  const double before = processor_seconds();
  r.code =
      solve_Pb(problem_, start_mode, saved != nullptr ? saved->get() : empty.get(), &r.tolerance,
               &r.option, &r.primal, &r.bounds, &r.dual, &r.asmall, &r.alarge, &r.iterations);
  r.seconds = processor_seconds() - before;
  return r;
}

SolveReport LoadedProblem::centre(double tolerance, int32_t start_mode, SavedPoint *saved,
                                  int32_t option) {
  SavedPoint empty;
  std::vector<int32_t> work(static_cast<size_t>(columns_) + 1, 0);
  SolveReport r = {0, tolerance, option, 1.0, 1.0, 1.0, 0.0, 0.0, 0, 0.0};
  const double before = processor_seconds();
  r.code = acpdm_Pb(problem_, start_mode, saved != nullptr ? saved->get() : empty.get(),
                    &r.tolerance, &r.option, &r.primal, &r.bounds, &r.dual, &r.asmall, &r.alarge,
                    &r.iterations, work.data());
  r.seconds = processor_seconds() - before;
  return r;
}

void LoadedProblem::save(SavedPoint *saved) { save_Pb(problem_, saved->get()); }

std::vector<double> LoadedProblem::x() {
  std::vector<double> result(static_cast<size_t>(columns_), 0.0);
  double s1 = 0.0, s2 = 0.0;
  get_opt_solution(problem_, &s1, &s2, result.data(), nullptr, nullptr, nullptr);
  return result;
}

std::vector<double> LoadedProblem::slacks() {
  std::vector<double> result(static_cast<size_t>(columns_), 0.0);
  double s1 = 0.0, s2 = 0.0;
  get_opt_solution(problem_, &s1, &s2, nullptr, nullptr, nullptr, result.data());
  return result;
}

std::vector<double> LoadedProblem::duals() {
  std::vector<double> result(static_cast<size_t>(rows_) + 1, 0.0);
  get_dual_solution(problem_, result.data());
  result.pop_back();
  return result;
}

double LoadedProblem::objective() {
  std::vector<double> result(static_cast<size_t>(rows_) + 1, 0.0);
  get_dual_solution(problem_, result.data());
  return result.back();
}

double processor_seconds() {
  timespec used = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + 1e-9 * static_cast<double>(used.tv_nsec);
}

}  // namespace benchmarks

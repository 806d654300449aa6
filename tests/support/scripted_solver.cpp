#include "tests/support/scripted_solver.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace support {
namespace {

struct Problem {
  IP_problem head;  // first, as the contract demands
  LoadedProblem data;
  bool preprocessed;
};

struct Point {
  int32_t serial;
};

std::set<const IP_problem *> &live() {
  static std::set<const IP_problem *> problems;
  return problems;
}

int32_t next_serial() {
  static int32_t serial = 0;
  return ++serial;
}

/// The problem behind a handle, null with a fault noted when it is not loaded.
Problem *checked(IP_problem *Pb, const char *operation) {
  if (live().count(Pb) == 0) {
    solver().faults.push_back(std::string(operation) + " on a problem that is not loaded");
    return nullptr;
  }
  return reinterpret_cast<Problem *>(Pb);
}

void drop_point(IP_save_record *saved) {
  if (saved->point == nullptr) return;
  delete static_cast<Point *>(saved->point);
  saved->point = nullptr;
  saved->holds_point = 0;
  --solver().live_points;
}

template <typename T>
std::vector<T> copied(const T *values, int64_t count) {
  return count > 0 ? std::vector<T>(values, values + count) : std::vector<T>();
}

int32_t solved(const char *operation, IP_problem *Pb, int32_t start_mode, IP_save_record *saved,
               double *opt_tol, int32_t *option, double *primal, double *bounds, double *dual,
               double *asmall, double *alarge, int32_t *iterations, const int32_t *work) {
  ScriptedSolver &s = solver();
  const Problem *problem = checked(Pb, operation);
  if (problem == nullptr) return 99;
  if (!problem->preprocessed) s.faults.push_back("solve before preproc_Pb");
  if (start_mode != 0 && saved->holds_point == 0) s.faults.push_back("start from an empty record");
  char entry[96];
  std::snprintf(entry, sizeof entry, "%s(%d,%g,%d)", operation, start_mode, *opt_tol, *option);
  s.trace.push_back(entry);
  const auto *point = static_cast<const Point *>(saved->point);
  s.solves.push_back({*primal, *iterations, saved, work, point != nullptr ? point->serial : 0});

  SolveReply reply = s.usual;
  if (!s.replies.empty()) {
    reply = s.replies.front();
    s.replies.pop_front();
  }
  if (reply.tolerance >= 0.0) *opt_tol = reply.tolerance;
  *option = reply.exit_indicator;
  *primal = reply.primal;
  *bounds = reply.bounds;
  *dual = reply.dual;
  *asmall = reply.asmall;
  *alarge = reply.alarge;
  *iterations = reply.iterations;
  return reply.code;
}

void fill(const ScriptedSolver::Fill &script, const LoadedProblem &data, double *buffer,
          int32_t length) {
  std::fill(buffer, buffer + length, 0.0);
  if (script) script(data, buffer);
}

}  // namespace

ScriptedSolver &solver() {
  static ScriptedSolver instance;
  return instance;
}

void reset_solver() {
  const int problems = solver().live_problems;
  const int points = solver().live_points;
  solver() = ScriptedSolver();
  solver().live_problems = problems;
  solver().live_points = points;
}

std::string ScriptedSolver::take_trace() {
  std::string joined;
  for (const std::string &entry : trace) joined += (joined.empty() ? "" : " ") + entry;
  trace.clear();
  return joined;
}

}  // namespace support

using support::solver;

IP_problem *load_Pb(void *extra1, void *extra2, const int32_t *row_type, const int32_t *col_start,
                    const int32_t *rw, const double *elt, const double *RHS,
                    const double *row_range, const double *col_lb, const double *col_ub, int32_t m,
                    int32_t n, int32_t nz, int32_t arg14, int32_t arg15, double arg16,
                    int32_t arg17, int32_t arg18, int32_t arg19, int32_t arg20, int32_t reload,
                    int32_t cost_row, int32_t arg23, double arg24, int32_t arg25) {
  using support::copied;
  auto *problem = new support::Problem{{n}, {}, false};
  problem->data = {m,
                   n,
                   nz,
                   reload,
                   cost_row,
                   extra1,
                   extra2,
                   copied(row_type, m),
                   copied(col_start, int64_t{n} + 1),
                   copied(rw, nz),
                   copied(elt, nz),
                   copied(RHS, m),
                   copied(row_range, m),
                   copied(col_lb, n),
                   copied(col_ub, n),
                   {double(arg14), double(arg15), arg16, double(arg17), double(arg18),
                    double(arg19), double(arg20), double(arg23), arg24, double(arg25)}};
  solver().loads.push_back(problem->data);
  solver().trace.push_back(reload == 0 ? "load" : "load:" + std::to_string(reload));
  ++solver().live_problems;
  support::live().insert(&problem->head);
  return &problem->head;
}

int32_t preproc_Pb(IP_problem *Pb) {
  solver().trace.push_back("preproc");
  support::Problem *problem = support::checked(Pb, "preproc_Pb");
  if (problem != nullptr) problem->preprocessed = true;
  return 0;
}

int32_t solve_Pb(IP_problem *Pb, int32_t start_mode, IP_save_record *saved, double *opt_tol,
                 int32_t *option, double *primal, double *bounds, double *dual, double *asmall,
                 double *alarge, int32_t *iterations) {
  return support::solved("solve", Pb, start_mode, saved, opt_tol, option, primal, bounds, dual,
                         asmall, alarge, iterations, nullptr);
}

int32_t acpdm_Pb(IP_problem *Pb, int32_t start_mode, IP_save_record *saved, double *opt_tol,
                 int32_t *option, double *primal, double *bounds, double *dual, double *asmall,
                 double *alarge, int32_t *iterations, int32_t *work) {
  return support::solved("acpdm", Pb, start_mode, saved, opt_tol, option, primal, bounds, dual,
                         asmall, alarge, iterations, work);
}

int32_t save_Pb(IP_problem *Pb, IP_save_record *saved) {
  solver().trace.push_back("save");
  if (support::checked(Pb, "save_Pb") == nullptr) return 0;
  support::drop_point(saved);
  saved->point = new support::Point{support::next_serial()};
  saved->holds_point = 1;
  ++solver().live_points;
  return 0;
}

void free_Pb(IP_problem *Pb) {
  solver().trace.push_back("free");
  support::Problem *problem = support::checked(Pb, "free_Pb");
  if (problem == nullptr) return;
  support::live().erase(Pb);
  --solver().live_problems;
  delete problem;
}

void free_Pb_save(IP_save_record *saved) {
  solver().trace.push_back("free_save");
  if (saved->holds_point == 0) solver().faults.push_back("free_Pb_save on an empty record");
  support::drop_point(saved);
}

int32_t get_opt_solution(IP_problem *Pb, double *s1, double *s2, double *x, double *slot5,
                         double *slot6, double *z) {
  solver().trace.push_back(x != nullptr ? "get_x" : "get_z");
  const support::Problem *problem = support::checked(Pb, "get_opt_solution");
  if (problem == nullptr) return 0;
  if (slot5 != nullptr || slot6 != nullptr || (x == nullptr) == (z == nullptr)) {
    solver().faults.push_back("get_opt_solution wants exactly one of x and z");
  }
  *s1 = *s2 = 0.0;
  const support::LoadedProblem &data = problem->data;
  if (x != nullptr) support::fill(solver().primal, data, x, data.n);
  if (z != nullptr) support::fill(solver().slacks, data, z, data.n);
  return 0;
}

int32_t get_dual_solution(IP_problem *Pb, double *u) {
  solver().trace.push_back("duals");
  const support::Problem *problem = support::checked(Pb, "get_dual_solution");
  if (problem != nullptr) support::fill(solver().duals, problem->data, u, problem->data.m);
  return 0;
}

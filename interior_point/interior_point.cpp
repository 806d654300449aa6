#include "interior_point/interior_point.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <memory>

#include "interior_point/form/form_builder.h"
#include "interior_point/form/huge_bounds.h"
#include "interior_point/linear_algebra/dense_kernel.h"
#include "interior_point/method/certificate_search.h"
#include "interior_point/method/certificates.h"
#include "interior_point/method/solver.h"
#include "interior_point/presolve/presolve.h"

namespace {

using interior_point::Certificate;
using interior_point::Code;
using interior_point::Culprit;
using interior_point::keeps_to_huge_bounds;
using interior_point::Measures;
using interior_point::Presolved;
using interior_point::ProblemForm;
using interior_point::Request;
using interior_point::SavedPoint;
using interior_point::SingleThreadedBlas;
using interior_point::Solver;
using interior_point::Start;
using interior_point::Verdict;

/// The solver's own problem: the visible head first.
struct Handle : IP_problem {
  std::shared_ptr<const ProblemForm> form;
  bool reducible = false;          // plain cold solves are worth a presolve
  std::unique_ptr<Solver> solver;  // from preproc_Pb on
  Certificate certificate;         // of the last solve's code 4 or 5
};

static_assert(sizeof(IP_problem) <= sizeof(Handle), "the handle starts with its visible head");

Handle *handle_of(IP_problem *Pb) { return static_cast<Handle *>(Pb); }

int32_t to_int(Code code) { return static_cast<int32_t>(code); }

void prepare(Handle *handle) {
  if (!handle->solver) handle->solver = std::make_unique<Solver>(handle->form);
}

// Criteria of the smaller problem say little less than those of the problem itself. Where that
// little matters the smaller one is solved on, to this share of what was asked.
constexpr int kAttempts = 2;
constexpr double kTightening = 0.1;

/// Looks for proofs that the problem has no optimum, first for that of one verdict. Without one the
/// code stays what it is.
Code look_for_certificate(Handle *handle, Verdict first, Code code, int32_t *iterations) {
  const Verdict second = first == Verdict::kUnbounded ? Verdict::kInfeasible : Verdict::kUnbounded;
  for (const Verdict verdict : {first, second}) {
    handle->certificate = find_certificate(*handle->form, verdict, iterations);
    if (handle->certificate.verdict == Verdict::kInfeasible) return Code::kInfeasible;
    if (handle->certificate.verdict == Verdict::kUnbounded) return Code::kUnbounded;
  }
  return code;
}

bool is_open(Code code) {
  return code == Code::kStalled || code == Code::kIterationLimit || code == Code::kNumericalFailure;
}

/// Solves the problem by way of a smaller one. The code is that of a failure where there is none or
/// its solution does not meet the request; `iterations` are then those that were spent on it.
Code solve_reduced(Handle *handle, const Request &asked, int32_t *iterations) {
  const Presolved presolved(*handle->form);
  if (presolved.found_no_optimum()) {
    const Code code =
        look_for_certificate(handle, Verdict::kInfeasible, Code::kNumericalFailure, iterations);
    // What the solver holds, if anything, is the point of another solve.
    if (!is_open(code)) handle->solver = std::make_unique<Solver>(handle->form);
    return code;
  }
  if (!presolved.reduced()) return Code::kNumericalFailure;
  Solver small(presolved.reduced());
  Request request = asked;
  Start start = Start::kCold;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const Code code = small.solve(request, start, nullptr);
    *iterations += small.iterations();
    // Short of its own tolerance the point may still be good enough here, where y is exact.
    if (!small.has_point()) return Code::kNumericalFailure;
    if (handle->solver->adopt(asked, presolved.restore(small.point()), *iterations, small.unit())) {
      return Code::kSolved;
    }
    if (code != Code::kSolved) return Code::kNumericalFailure;
    request.tolerance *= kTightening;
    request.feasibility *= kTightening;
    start = Start::kCurrent;
  }
  return Code::kNumericalFailure;
}

/// Solves the problem, by way of a smaller one where a plain cold solve is asked for: first where a
/// look at the problem promises much of it, else when the problem as it is was not solved. A few
/// split columns or dependent rows may be all that stood in the way.
Code solve_form(Handle *handle, const Request &asked, Start start, const SavedPoint *saved,
                int32_t *iterations) {
  const bool plain = start == Start::kCold && !asked.keep_centred;
  bool reduced_first = false;  // solved that way, but with digits lost
  if (plain && handle->reducible) {
    const Code code = solve_reduced(handle, asked, iterations);
    reduced_first = code == Code::kSolved;
    if (reduced_first ? handle->solver->keeps_digits() : !is_open(code)) return code;
  }
  const Code code = handle->solver->solve(asked, start, saved);
  *iterations += handle->solver->iterations();
  if (plain && is_open(code) && (reduced_first || !handle->reducible)) {
    const Code reduced = solve_reduced(handle, asked, iterations);
    if (!is_open(reduced)) return reduced;
  }
  return code;
}

/// The last word on a code: a problem without an optimum may also look like a failure, or at a
/// loose tolerance like one that is solved.
Code judge(Handle *handle, Code code, int32_t *iterations) {
  const Solver &solver = *handle->solver;
  if (is_open(code)) {
    const bool more_dual = solver.measures().dual > solver.measures().primal;
    const Verdict likely = more_dual ? Verdict::kUnbounded : Verdict::kInfeasible;
    return look_for_certificate(handle, likely, code, iterations);
  }
  if (code != Code::kSolved) return code;
  const Verdict hidden = suspicion(*handle->form, solver.point());
  if (hidden == Verdict::kOpen) return code;
  return look_for_certificate(handle, hidden, code, iterations);
}

/// True when the last solve says nothing of the problem with its huge bounds.
bool huge_bounds_matter(const Handle &handle, Code code) {
  const ProblemForm &form = *handle.form;
  if (form.huge_bounds.empty() || code == Code::kInfeasible) return false;
  return code != Code::kSolved || !keeps_to_huge_bounds(form, handle.solver->point().x);
}

void tighten(Handle *handle) {
  const auto form =
      std::make_shared<const ProblemForm>(interior_point::with_huge_bounds(*handle->form));
  handle->reducible = interior_point::worth_presolving(*form);
  handle->solver = std::make_unique<Solver>(form);
  handle->form = form;
}

struct Outputs {
  double *primal, *bounds, *dual, *asmall, *alarge;
  int32_t *option, *iterations;
};

double finite(double value) { return std::isfinite(value) ? value : 1e30; }

void report(const Measures &m, int32_t iterations, Code code, const Outputs &out) {
  *out.primal = finite(m.primal);
  *out.bounds = finite(m.bound);
  *out.dual = finite(m.dual);
  *out.asmall = finite(m.asmall);
  *out.alarge = finite(m.alarge);
  *out.iterations = iterations;
  *out.option = to_int(code);
}

int32_t run(IP_problem *Pb, int32_t start_mode, const IP_save_record *saved, double tolerance,
            const Request &asked, const Outputs &out) {
  *out.iterations = 0;
  Measures none;
  if (Pb == nullptr || !(tolerance > 0.0)) {
    report(none, 0, Code::kBadArguments, out);
    return to_int(Code::kBadArguments);
  }
  try {
    const SingleThreadedBlas one_thread;
    Handle *handle = handle_of(Pb);
    prepare(handle);
    const SavedPoint *point =
        saved && saved->holds_point ? static_cast<const SavedPoint *>(saved->point) : nullptr;
    Start start = Start::kCold;
    if (start_mode == 1) start = Start::kSaved;
    if (start_mode == 2) start = handle->solver->has_point() ? Start::kCurrent : Start::kSaved;
    int32_t spent = 0;
    handle->certificate = Certificate();
    Code code = solve_form(handle, asked, start, point, &spent);
    if (huge_bounds_matter(*handle, code)) {
      tighten(handle);
      handle->certificate = Certificate();
      code = solve_form(handle, asked, Start::kCold, nullptr, &spent);
    }
    code = judge(handle, code, &spent);
    report(handle->solver->measures(), spent, code, out);
    return to_int(code);
  } catch (const std::exception &) {  // memory is short, or a length passes what memory can hold
    report(none, 0, Code::kOutOfMemory, out);
    return to_int(Code::kOutOfMemory);
  }
}

/// Duals carry the sign of their row: what is left on the wrong side is no more than the tolerance.
double clipped(double y, int32_t row_type) {
  if (row_type == interior_point::kGreaterEqual) return std::max(y, 0.0);
  if (row_type == interior_point::kLessEqual) return std::min(y, 0.0);
  return y;
}

void write_primal(const ProblemForm &form, const Solver &solver, double *x) {
  for (int32_t j = 0; j < form.structurals; ++j) {
    x[form.user_column[j]] =
        form.shift[j] + form.sign[j] * solver.point().x[j] * form.column_scale[j];
  }
  for (size_t k = 0; k < form.removed_user.size(); ++k) {
    x[form.removed_user[k]] = form.removed_value[k];
  }
}

/// z - v in the caller's sign and unit; c - a'y for the columns that were taken out.
void write_slacks(const ProblemForm &form, const Solver &solver, double *z) {
  for (int32_t j = 0; j < form.structurals; ++j) {
    z[form.user_column[j]] = form.sign[j] * solver.point().z[j] / form.column_scale[j];
  }
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    const int32_t j = form.boxed[k];
    if (j >= form.structurals) continue;
    z[form.user_column[j]] -= form.sign[j] * solver.point().v[k] / form.column_scale[j];
  }
  for (size_t k = 0; k < form.removed_user.size(); ++k) {
    double slack = form.removed_cost[k];
    for (int32_t t = form.removed.start[k]; t < form.removed.start[k + 1]; ++t) {
      const int32_t i = form.removed.row[t];
      if (i >= 0) slack -= form.removed.value[t] * solver.point().y[i] * form.row_scale[i];
    }
    z[form.removed_user[k]] = slack;
  }
}

bool has_ray(const Handle &handle) {
  return handle.certificate.verdict == Verdict::kUnbounded ||
         handle.form->verdict == Verdict::kUnbounded;
}

bool has_multipliers(const Handle &handle) {
  return handle.certificate.verdict == Verdict::kInfeasible ||
         handle.form->verdict == Verdict::kInfeasible;
}

/// The ray of code 5 in the caller's units, its largest entry 1.
void write_ray(const ProblemForm &form, const Certificate &certificate, double *x) {
  const Culprit &column = form.unbounded_column;
  if (column.index >= 0) x[column.index] = column.direction;
  if (certificate.verdict != Verdict::kUnbounded) return;
  double most = 0.0;
  for (int32_t j = 0; j < form.structurals; ++j) {
    double &e = x[form.user_column[j]];
    e = form.sign[j] * certificate.proof[j] * form.column_scale[j];
    most = std::max(most, std::fabs(e));
  }
  for (int32_t j = 0; j < form.structurals; ++j) x[form.user_column[j]] /= most;
}

/// The multipliers of code 4 in the caller's units, the largest of them 1.
void write_multipliers(const ProblemForm &form, const Certificate &certificate, double *u) {
  const Culprit &row = form.contradictory_row;
  if (row.index >= 0) u[row.index] = row.direction;
  if (certificate.verdict != Verdict::kInfeasible) return;
  double most = 0.0;
  for (int32_t i = 0; i < form.rows(); ++i) {
    most = std::max(most, std::fabs(certificate.proof[i] * form.row_scale[i]));
  }
  for (int32_t i = 0; i < form.rows(); ++i) {
    u[form.user_row[i]] = certificate.proof[i] * form.row_scale[i] / most;
  }
}

}  // namespace

IP_problem *load_Pb(void *, void *, const int32_t *row_type, const int32_t *col_start,
                    const int32_t *rw, const double *elt, const double *RHS,
                    const double *row_range, const double *col_lb, const double *col_ub, int32_t m,
                    int32_t n, int32_t, int32_t, int32_t, double, int32_t, int32_t, int32_t,
                    int32_t, int32_t, int32_t, int32_t, double, int32_t) {
  try {
    auto handle = std::make_unique<Handle>();
    handle->ncols = n;
    const interior_point::LoadedArrays loaded = {row_type,  col_start, rw,     elt, RHS,
                                                 row_range, col_lb,    col_ub, m,   n};
    ProblemForm form = interior_point::make_problem_form(loaded);
    interior_point::find_unbounded_column(&form);
    handle->form = std::make_shared<const ProblemForm>(std::move(form));
    handle->reducible = interior_point::worth_presolving(*handle->form);
    return handle.release();
  } catch (const std::exception &) {  // memory is short, or a length passes what memory can hold
    return nullptr;
  }
}

int32_t preproc_Pb(IP_problem *Pb) {
  if (Pb == nullptr) return to_int(Code::kBadArguments);
  try {
    // How to factorise is left to the solve: its start may show how the last problem was.
    prepare(handle_of(Pb));
    return 0;
  } catch (const std::exception &) {  // memory is short, or a length passes what memory can hold
    return to_int(Code::kOutOfMemory);
  }
}

int32_t solve_Pb(IP_problem *Pb, int32_t start_mode, IP_save_record *saved, double *opt_tol,
                 int32_t *option, double *primal, double *bounds, double *dual, double *asmall,
                 double *alarge, int32_t *iterations) {
  Request request;
  request.tolerance = *opt_tol;
  request.keep_centred = *option != 0;
  return run(Pb, start_mode, saved, *opt_tol, request,
             {primal, bounds, dual, asmall, alarge, option, iterations});
}

int32_t acpdm_Pb(IP_problem *Pb, int32_t start_mode, IP_save_record *saved, double *opt_tol,
                 int32_t *option, double *primal, double *bounds, double *dual, double *asmall,
                 double *alarge, int32_t *iterations, int32_t *) {
  Request request;
  request.tolerance = *opt_tol;
  request.keep_centred = *option != 0;
  request.must_be_centred = *option != 0;
  return run(Pb, start_mode, saved, *opt_tol, request,
             {primal, bounds, dual, asmall, alarge, option, iterations});
}

int32_t save_Pb(IP_problem *Pb, IP_save_record *saved) {
  if (Pb == nullptr || saved == nullptr) return to_int(Code::kBadArguments);
  const Handle *handle = handle_of(Pb);
  if (!handle->solver || !handle->solver->has_point()) return to_int(Code::kBadArguments);
  try {
    auto point = std::make_unique<SavedPoint>(handle->solver->save());
    free_Pb_save(saved);
    saved->point = point.release();
    saved->holds_point = 1;
    return 0;
  } catch (const std::exception &) {  // memory is short, or a length passes what memory can hold
    return to_int(Code::kOutOfMemory);
  }
}

void free_Pb(IP_problem *Pb) { delete handle_of(Pb); }

void free_Pb_save(IP_save_record *saved) {
  if (saved == nullptr) return;
  if (saved->holds_point) delete static_cast<SavedPoint *>(saved->point);
  saved->point = nullptr;
  saved->holds_point = 0;
}

int32_t get_opt_solution(IP_problem *Pb, double *s1, double *s2, double *x, double *, double *,
                         double *z) {
  if (Pb == nullptr) return to_int(Code::kBadArguments);
  const Handle *handle = handle_of(Pb);
  if (x) std::fill(x, x + handle->ncols, 0.0);
  if (z) std::fill(z, z + handle->ncols, 0.0);
  if (!handle->solver) return to_int(Code::kBadArguments);
  const Solver &solver = *handle->solver;
  if (s1) *s1 = solver.measures().objective;
  if (s2) *s2 = solver.measures().dual_objective;
  if (has_ray(*handle)) {
    if (x) write_ray(solver.form(), handle->certificate, x);
    return 0;
  }
  if (x) write_primal(solver.form(), solver, x);
  if (z) write_slacks(solver.form(), solver, z);
  return 0;
}

int32_t get_dual_solution(IP_problem *Pb, double *u) {
  if (Pb == nullptr) return to_int(Code::kBadArguments);
  const Handle *handle = handle_of(Pb);
  if (!handle->solver) return to_int(Code::kBadArguments);
  const Solver &solver = *handle->solver;
  const ProblemForm &form = solver.form();
  std::fill(u, u + form.user_rows, 0.0);
  u[form.user_rows - 1] = solver.measures().objective;
  if (has_multipliers(*handle)) {
    write_multipliers(form, handle->certificate, u);
    return 0;
  }
  for (int32_t i = 0; i < form.rows(); ++i) {
    u[form.user_row[i]] = clipped(solver.point().y[i] * form.row_scale[i], form.row_type[i]);
  }
  return 0;
}

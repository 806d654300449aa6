#include "interior_point/interior_point.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <memory>
#include <utility>

#include "interior_point/form/form_builder.h"
#include "interior_point/method/certificates.h"
#include "interior_point/session.h"

namespace {

using interior_point::Certificate;
using interior_point::Code;
using interior_point::Culprit;
using interior_point::Measures;
using interior_point::ProblemForm;
using interior_point::Request;
using interior_point::SavedPoint;
using interior_point::Session;
using interior_point::Solver;
using interior_point::Start;
using interior_point::Verdict;
using interior_point::write_user_x;

/// The solver's own problem: the visible head first.
struct Handle : IP_problem {
  Handle(ProblemForm form, int32_t blas_threads)
      : IP_problem(), session(std::move(form), blas_threads) {}

  Session session;
};

static_assert(sizeof(IP_problem) <= sizeof(Handle), "the handle starts with its visible head");

Session &session_of(IP_problem *Pb) { return static_cast<Handle *>(Pb)->session; }

int32_t to_int(Code code) { return static_cast<int32_t>(code); }

Start start_of(int32_t start_mode) {
  if (start_mode == 1) return Start::kSaved;
  return start_mode == 2 ? Start::kCurrent : Start::kCold;
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
    Session &session = session_of(Pb);
    const bool looks = start_mode != 0 && saved != nullptr && saved->holds_point;
    SavedPoint *point = looks ? static_cast<SavedPoint *>(saved->point) : nullptr;
    int32_t spent = 0;
    const Code code = session.solve(asked, start_of(start_mode), point, &spent);
    report(session.solver()->measures(), spent, code, out);
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
                    int32_t n, int32_t, int32_t blas_threads, int32_t, double, int32_t, int32_t,
                    int32_t, int32_t, int32_t, int32_t, int32_t, double, int32_t) {
  try {
    const interior_point::LoadedArrays loaded = {row_type,  col_start, rw,     elt, RHS,
                                                 row_range, col_lb,    col_ub, m,   n};
    ProblemForm form = interior_point::make_problem_form(loaded);
    interior_point::find_unbounded_column(&form);
    auto handle = std::make_unique<Handle>(std::move(form), blas_threads);
    handle->ncols = n;
    return handle.release();
  } catch (const std::exception &) {  // memory is short, or a length passes what memory can hold
    return nullptr;
  }
}

int32_t preproc_Pb(IP_problem *Pb) {
  if (Pb == nullptr) return to_int(Code::kBadArguments);
  try {
    // How to factorise is left to the solve: its start may show how the last problem was.
    session_of(Pb).prepare();
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
  const Session &session = session_of(Pb);
  if (!session.has_point()) return to_int(Code::kBadArguments);
  try {
    auto point = std::make_unique<SavedPoint>(session.save());
    free_Pb_save(saved);
    saved->point = point.release();
    saved->holds_point = 1;
    return 0;
  } catch (const std::exception &) {  // memory is short, or a length passes what memory can hold
    return to_int(Code::kOutOfMemory);
  }
}

void free_Pb(IP_problem *Pb) { delete static_cast<Handle *>(Pb); }

void free_Pb_save(IP_save_record *saved) {
  if (saved == nullptr) return;
  if (saved->holds_point) delete static_cast<SavedPoint *>(saved->point);
  saved->point = nullptr;
  saved->holds_point = 0;
}

int32_t get_opt_solution(IP_problem *Pb, double *s1, double *s2, double *x, double *, double *,
                         double *z) {
  if (Pb == nullptr) return to_int(Code::kBadArguments);
  const Session &session = session_of(Pb);
  if (x) std::fill(x, x + Pb->ncols, 0.0);
  if (z) std::fill(z, z + Pb->ncols, 0.0);
  if (!session.solver()) return to_int(Code::kBadArguments);
  const Solver &solver = *session.solver();
  if (s1) *s1 = solver.measures().objective;
  if (s2) *s2 = solver.measures().dual_objective;
  if (session.has_ray()) {
    if (x) write_ray(solver.form(), session.certificate(), x);
    return 0;
  }
  if (x) write_user_x(solver.form(), solver.point().x, x);
  if (z) write_slacks(solver.form(), solver, z);
  return 0;
}

int32_t get_dual_solution(IP_problem *Pb, double *u) {
  if (Pb == nullptr) return to_int(Code::kBadArguments);
  const Session &session = session_of(Pb);
  if (!session.solver()) return to_int(Code::kBadArguments);
  const Solver &solver = *session.solver();
  const ProblemForm &form = solver.form();
  std::fill(u, u + form.user_rows, 0.0);
  u[form.user_rows - 1] = solver.measures().objective;
  if (session.has_multipliers()) {
    write_multipliers(form, session.certificate(), u);
    return 0;
  }
  for (int32_t i = 0; i < form.rows(); ++i) {
    u[form.user_row[i]] = clipped(solver.point().y[i] * form.row_scale[i], form.row_type[i]);
  }
  return 0;
}

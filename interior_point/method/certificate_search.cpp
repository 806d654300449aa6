#include "interior_point/method/certificate_search.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "interior_point/form/form_builder.h"
#include "interior_point/method/certificates.h"
#include "interior_point/method/options.h"
#include "interior_point/method/solver.h"

namespace interior_point {

namespace {

constexpr double kNone = 1e30;
constexpr const CertificateOptions &kCertificates = kOptions.certificates;

/// A problem over the rows of a form, all of them equalities, as load_Pb takes it.
class EqualityProgram {
 public:
  explicit EqualityProgram(int32_t rows)
      : cost_row_(rows),
        type_(static_cast<size_t>(rows) + 1, kEqual),
        range_(type_.size(), kNone),
        rhs_(type_.size(), 0.0) {}

  void set_rhs(const Vector<double> &b) { std::copy(b.begin(), b.end(), rhs_.begin()); }
  void add_entry(int32_t i, double value) {
    row_.push_back(i + 1);
    value_.push_back(value);
  }
  void add_entries_of(const SparseColumns &A, int32_t j) {
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) add_entry(A.row[t], A.value[t]);
  }
  void end_column(double cost, double lower, double upper) {
    add_entry(cost_row_, cost);
    start_.push_back(static_cast<int32_t>(row_.size()) + 1);
    lower_.push_back(lower);
    upper_.push_back(upper);
  }
  std::shared_ptr<const ProblemForm> form() const {
    return std::make_shared<const ProblemForm>(make_problem_form(
        {type_.data(), start_.data(), row_.data(), value_.data(), rhs_.data(), range_.data(),
         lower_.data(), upper_.data(), cost_row_ + 1, static_cast<int32_t>(lower_.size())}));
  }

 private:
  int32_t cost_row_;
  Vector<int32_t> type_, start_ = {1}, row_;
  Vector<double> value_, range_, rhs_, lower_, upper_;
};

/// (27)
std::shared_ptr<const ProblemForm> infeasibility_problem(const ProblemForm &form) {
  EqualityProgram program(form.rows());
  program.set_rhs(form.b);
  for (int32_t j = 0; j < form.columns(); ++j) {
    program.add_entries_of(form.A, j);
    program.end_column(0.0, form.is_free[j] ? -kNone : 0.0, std::min(form.width[j], kNone));
  }
  for (int32_t i = 0; i < form.rows(); ++i) {
    for (const double sign : {1.0, -1.0}) {
      program.add_entry(i, sign);
      program.end_column(1.0, 0.0, kNone);
    }
  }
  return program.form();
}

/// (28), over the columns named; the others are fixed.
std::shared_ptr<const ProblemForm> ray_problem(const ProblemForm &form,
                                               const Vector<uint8_t> &named) {
  EqualityProgram program(form.rows());
  for (int32_t j = 0; j < form.columns(); ++j) {
    program.add_entries_of(form.A, j);
    const double end = named[j] && !std::isfinite(form.width[j]) ? 1.0 : 0.0;
    program.end_column(form.c[j], form.is_free[j] ? -end : 0.0, end);
  }
  return program.form();
}

/// The solution of a program like these: duals of its rows, or values of its columns.
Vector<double> duals(const Solver &solver) {
  const ProblemForm &form = solver.form();
  Vector<double> y(static_cast<size_t>(form.user_rows - 1), 0.0);
  for (int32_t i = 0; i < form.rows(); ++i) {
    y[form.user_row[i]] = solver.point().y[i] * form.row_scale[i];
  }
  return y;
}

Vector<double> values(const Solver &solver) {
  const ProblemForm &form = solver.form();
  Vector<double> x(static_cast<size_t>(form.user_columns), 0.0);
  write_user_x(form, solver.point().x, x.data());
  return x;
}

/// Tries the proof as it is and without its smaller entries.
Certificate checked(const ProblemForm &form, Verdict verdict, Vector<double> proof) {
  double most = 0.0;
  for (const double e : proof) most = std::max(most, std::fabs(e));
  if (most == 0.0 || !std::isfinite(most)) return {};
  for (double &e : proof) e /= most;
  for (const double share : kCertificates.least_shares) {
    for (double &e : proof) e = std::fabs(e) < share ? 0.0 : e;
    const bool proven = verdict == Verdict::kInfeasible ? proves_infeasibility(form, &proof)
                                                        : proves_unboundedness(form, &proof);
    if (proven) return {verdict, std::move(proof)};
  }
  return {};
}

/// What the solution of one of the problems proves, if anything.
Vector<double> solution(std::shared_ptr<const ProblemForm> problem, bool wants_duals,
                        int32_t *iterations) {
  Solver solver(std::move(problem));
  Request request;
  request.tolerance = kCertificates.search_tolerance;
  request.feasibility = kCertificates.search_feasibility;
  solver.solve(request, Start::kCold, nullptr);
  *iterations += solver.iterations();
  return wants_duals ? duals(solver) : values(solver);
}

Certificate find_ray(const ProblemForm &form, int32_t *iterations) {
  Vector<uint8_t> named(static_cast<size_t>(form.columns()), 1);
  for (const HugeBounds &bounds : form.huge_bounds) named[bounds.column] = 0;
  Vector<double> d = solution(ray_problem(form, named), false, iterations);
  Certificate found = checked(form, Verdict::kUnbounded, d);
  if (found.verdict != Verdict::kOpen) return found;
  // Columns of little part in the ray may bring huge costs and so duals: once more without them.
  double most = 0.0;
  for (const double e : d) most = std::max(most, std::fabs(e));
  for (int32_t j = 0; j < form.columns(); ++j)
    named[j] = std::fabs(d[j]) > kCertificates.least_part * most;
  d = solution(ray_problem(form, named), false, iterations);
  return checked(form, Verdict::kUnbounded, std::move(d));
}

}  // namespace

Certificate find_certificate(const ProblemForm &form, Verdict verdict, int32_t *iterations) {
  if (verdict == Verdict::kUnbounded) return find_ray(form, iterations);
  return checked(form, verdict, solution(infeasibility_problem(form), true, iterations));
}

}  // namespace interior_point

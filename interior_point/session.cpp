#include "interior_point/session.h"

#include <utility>

#include "interior_point/form/huge_bounds.h"
#include "interior_point/linear_algebra/dense_kernel.h"
#include "interior_point/method/certificates.h"
#include "interior_point/presolve/presolve.h"

namespace interior_point {

namespace {

// Criteria of the smaller problem say little less than those of the problem itself. Where that
// little matters the smaller one is solved on, to this share of what was asked.
constexpr int kAttempts = 2;
constexpr double kTightening = 0.1;

// From here on a second thread pays.
constexpr int32_t kManyRows = 1000;

bool is_open(Code code) {
  return code == Code::kStalled || code == Code::kIterationLimit || code == Code::kNumericalFailure;
}

}  // namespace

Session::Session(ProblemForm form, int32_t blas_threads)
    : form_(std::make_shared<const ProblemForm>(std::move(form))),
      blas_threads_(form_->rows() < kManyRows ? 1 : blas_threads) {}

void Session::prepare() {
  if (!solver_) solver_ = std::make_unique<Solver>(form_);
}

Code Session::solve(const Request &request, Start start, SavedPoint *saved, int32_t *iterations) {
  const BlasThreads threads(blas_threads_);
  prepare();
  if (start == Start::kCurrent && !solver_->has_point()) start = Start::kSaved;
  if (start != Start::kCurrent) capped_.reset();
  if (saved && saved->solution) solution_ = saved->solution;
  certificate_ = Certificate();
  Code code = solve_form(request, start, saved, iterations);
  if (huge_bounds_matter(code)) {
    tighten();
    certificate_ = Certificate();
    code = solve_form(request, Start::kCold, nullptr, iterations);
  }
  code = judge(request, code, iterations);
  if (code == Code::kSolved && start == Start::kCurrent && !request.keep_centred) {
    keep_solution(saved);
  }
  return code;
}

void Session::keep_solution(SavedPoint *saved) {
  auto solution = std::make_shared<SavedPoint>(save());
  solution->factorisation = SavedFactorisation();  // the largest part, and not needed
  solution->solution.reset();
  solution_ = std::move(solution);
  if (saved) saved->solution = solution_;
}

Code Session::solve_form(const Request &request, Start start, const SavedPoint *saved,
                         int32_t *iterations) {
  const bool plain = start == Start::kCold && !request.keep_centred;
  if (plain && !looked_at_) {
    reducible_ = worth_presolving(*form_);
    looked_at_ = true;
  }
  bool reduced_first = false;  // solved that way, but with digits lost
  if (plain && reducible_) {
    const Code code = solve_reduced(request, iterations);
    reduced_first = code == Code::kSolved;
    if (reduced_first ? solver_->keeps_digits() : !is_open(code)) return code;
  }
  const Code code = solve_from(request, start, saved, iterations);
  // A few split columns or dependent rows may be all that stood in the way.
  if (plain && is_open(code) && (reduced_first || !reducible_)) {
    const Code reduced = solve_reduced(request, iterations);
    if (!is_open(reduced)) return reduced;
  }
  return code;
}

/// A saved point of a problem with smaller penalties starts one of that kind. So does, from
/// scratch, one that had to go far down the path beside penalty columns that carried nothing.
bool Session::caps_penalties(const SavedPoint &saved) const {
  return form_->has_penalties && (saved.capped || saved.far_down) && same_rows(saved, *form_) &&
         !lived_on_penalties(saved, *form_);
}

Code Session::solve_from(const Request &request, Start start, const SavedPoint *saved,
                         int32_t *iterations) {
  // It is back only with a point: memory may run short.
  std::unique_ptr<CappedPenalties> capped = std::move(capped_);
  if (start == Start::kSaved && saved && caps_penalties(*saved)) {
    capped = std::make_unique<CappedPenalties>(form_);
  }
  if (capped) {
    const Code code = capped->solve(request, start, saved, solver_.get(), iterations);
    if (code == Code::kSolved) {
      capped_ = std::move(capped);
      return code;
    }
    start = Start::kCold;
  }
  const Code code = solver_->solve(request, start, saved);
  *iterations += solver_->iterations();
  return code;
}

Code Session::try_smaller_penalties(const Request &request, Code code, int32_t *iterations) {
  if (capped_ || !form_->has_penalties) return code;
  auto capped = std::make_unique<CappedPenalties>(form_);
  if (capped->solve(request, Start::kCold, nullptr, solver_.get(), iterations) != Code::kSolved) {
    return code;
  }
  capped_ = std::move(capped);
  return Code::kSolved;
}

SavedPoint Session::save() const {
  SavedPoint saved = capped_ ? capped_->save() : solver_->save();
  saved.solution = solution_;
  return saved;
}

Code Session::solve_reduced(const Request &request, int32_t *iterations) {
  const Presolved presolved(*form_);
  if (presolved.found_no_optimum()) {
    const Code code =
        look_for_certificate(Verdict::kInfeasible, Code::kNumericalFailure, iterations);
    // What the solver holds, if anything, is the point of another solve.
    if (!is_open(code)) solver_ = std::make_unique<Solver>(form_);
    return code;
  }
  if (!presolved.reduced()) return Code::kNumericalFailure;
  Solver small(presolved.reduced());
  Request of_small = request;
  Start start = Start::kCold;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const Code code = small.solve(of_small, start, nullptr);
    *iterations += small.iterations();
    // Short of its own tolerance the point may still be good enough here, where y is exact.
    if (!small.has_point()) return Code::kNumericalFailure;
    if (solver_->adopt(request, presolved.restore(small.point()), *iterations, small.unit())) {
      return Code::kSolved;
    }
    if (code != Code::kSolved) return Code::kNumericalFailure;
    of_small.tolerance *= kTightening;
    of_small.feasibility *= kTightening;
    start = Start::kCurrent;
  }
  return Code::kNumericalFailure;
}

bool Session::huge_bounds_matter(Code code) const {
  if (form_->huge_bounds.empty() || code == Code::kInfeasible) return false;
  return code != Code::kSolved || !keeps_to_huge_bounds(*form_, solver_->point().x);
}

void Session::tighten() {
  // All is made before the first change: memory may run short.
  const auto form = std::make_shared<const ProblemForm>(with_huge_bounds(*form_));
  solver_ = std::make_unique<Solver>(form);
  looked_at_ = false;
  form_ = form;
  capped_.reset();
}

Code Session::judge(const Request &request, Code code, int32_t *iterations) {
  if (is_open(code)) {
    const bool more_dual = solver_->measures().dual > solver_->measures().primal;
    const Verdict likely = more_dual ? Verdict::kUnbounded : Verdict::kInfeasible;
    code = look_for_certificate(likely, code, iterations);
    if (!is_open(code)) return code;
    code = try_smaller_penalties(request, code, iterations);
  }
  if (is_open(code)) {
    code = solver_->retry_with_low_stop(request, code);
    *iterations += solver_->iterations();
  }
  if (code != Code::kSolved) return code;
  const Verdict hidden = suspicion(*form_, solver_->point());
  if (hidden == Verdict::kOpen) return code;
  return look_for_certificate(hidden, code, iterations);
}

Code Session::look_for_certificate(Verdict first, Code code, int32_t *iterations) {
  const Verdict second = first == Verdict::kUnbounded ? Verdict::kInfeasible : Verdict::kUnbounded;
  for (const Verdict verdict : {first, second}) {
    certificate_ = find_certificate(*form_, verdict, iterations);
    if (certificate_.verdict == Verdict::kInfeasible) return Code::kInfeasible;
    if (certificate_.verdict == Verdict::kUnbounded) return Code::kUnbounded;
  }
  return code;
}

}  // namespace interior_point

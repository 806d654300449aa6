#include "interior_point/method/capped_penalties.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "interior_point/method/options.h"

namespace interior_point {

namespace {

constexpr const CappedPenaltyOptions &kCapped = kOptions.capped_penalties;

/// The point in the units of another scaling of the same columns and rows.
Point in_units_of(const ProblemForm &to, const ProblemForm &from, Point point) {
  const auto factor = [&](int32_t j) { return from.column_scale[j] * to.column_unit[j]; };
  for (int32_t j = 0; j < to.columns(); ++j) {
    point.x[j] *= factor(j);
    point.z[j] /= factor(j);
  }
  for (size_t k = 0; k < to.boxed.size(); ++k) {
    point.w[k] *= factor(to.boxed[k]);
    point.v[k] /= factor(to.boxed[k]);
  }
  for (int32_t i = 0; i < to.rows(); ++i) point.y[i] *= from.row_scale[i] * to.row_unit[i];
  return point;
}

}  // namespace

CappedPenalties::CappedPenalties(std::shared_ptr<const ProblemForm> form)
    : form_(std::move(form)), costs_(capped_costs(*form_, kCapped.cap)) {}

void CappedPenalties::inherit(const SavedPoint &saved) {
  for (size_t k = 0; k < costs_.column.size(); ++k) {
    const int32_t j = costs_.column[k];
    if (static_cast<size_t>(j) >= saved.fingerprint.size()) break;
    if (saved.fingerprint[j] != form_->fingerprint[j]) continue;
    costs_.cost[k] = std::min(saved.cost[j], form_->c[j] * form_->column_unit[j]);
  }
}

void CappedPenalties::renew() {
  solver_ = std::make_unique<Solver>(
      std::make_shared<const ProblemForm>(with_capped_costs(*form_, costs_)));
}

Code CappedPenalties::solve(const Request &request, Start start, const SavedPoint *saved,
                            Solver *solver, int32_t *iterations) {
  if (start != Start::kCurrent || !solver_) {
    const bool inherits = start == Start::kSaved && saved && saved->capped;
    if (inherits) inherit(*saved);
    if (!inherits) start = Start::kCold;
    renew();
  }
  Request asked = request;
  bool raised = false;
  bool tightened = false;
  for (;;) {
    const Code code = solver_->solve(asked, start, saved);
    *iterations += solver_->iterations();
    if (code != Code::kSolved) return code;
    if (hand_over(request, solver, *iterations)) return Code::kSolved;
    if (tightened) return Code::kNumericalFailure;
    if (!raised && raise()) {
      raised = true;
      start = Start::kCold;  // what the columns carried has no place now
      renew();
    } else {
      tightened = true;
      start = Start::kCurrent;
      asked.tolerance *= kCapped.tightening;
    }
  }
}

bool CappedPenalties::raise() {
  const ProblemForm &form = solver_->form();
  bool raised = false;
  for (size_t k = 0; k < costs_.column.size(); ++k) {
    const int32_t j = costs_.column[k];
    double carried = 0.0;
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      const double entry = std::fabs(form.A.value[t]) * form.row_unit[form.A.row[t]];
      carried = std::max(carried, entry * solver_->point().x[j]);
    }
    if (!(carried > kCapped.carried_share * form.largest_rhs)) continue;
    const double full = form_->c[j] * form_->column_unit[j];
    raised |= costs_.cost[k] < full;
    costs_.cost[k] = std::min(kCapped.raise * costs_.cost[k], full);
  }
  return raised;
}

bool CappedPenalties::hand_over(const Request &request, Solver *solver, int32_t iterations) const {
  Point point = solver_->point();
  const double far = kCapped.far_cost * solver_->form().reference_cost;
  if (!solver_->clear(costs_.column, far, &point)) return false;
  point = in_units_of(*form_, solver_->form(), std::move(point));
  for (const int32_t j : costs_.column) {
    point.z[j] = form_->c[j] - column_product(form_->A, j, point.y.data());
  }
  if (!solver->adopt(request, std::move(point), iterations, solver_->unit())) return false;
  solver->report_products_of(*solver_);
  return true;
}

SavedPoint CappedPenalties::save() const {
  SavedPoint saved = solver_->save();
  saved.capped = true;
  return saved;
}

}  // namespace interior_point

#include "interior_point/method/solver.h"

#include <algorithm>
#include <cmath>

#include "interior_point/method/approach.h"
#include "interior_point/method/clearing.h"
#include "interior_point/method/options.h"
#include "interior_point/method/starting_point.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

constexpr const AccuracyOptions &kAccuracy = kOptions.accuracy;
constexpr const StallOptions &kStall = kOptions.stall;
constexpr const NeighbourhoodOptions &kNeighbourhood = kOptions.neighbourhood;
constexpr const TargetOptions &kTarget = kOptions.target;
constexpr const StopOptions &kStop = kOptions.stop;
constexpr const CorrectorOptions &kCorrectors = kOptions.correctors;
constexpr const StepOptions &kStep = kOptions.step;
constexpr const LinearSolveOptions &kLinearSolve = kOptions.linear_solve;
constexpr const RegularisationOptions &kRegularisation = kOptions.regularisation;

double largest(const Vector<double> &v) {
  double most = 0.0;
  for (const double e : v) most = std::max(most, std::fabs(e));
  return most;
}

bool is_finite(const Measures &m) {
  return std::isfinite(m.primal) && std::isfinite(m.dual) && std::isfinite(m.bound) &&
         std::isfinite(m.gap) && std::isfinite(m.mu) && std::isfinite(m.objective) &&
         std::isfinite(m.dual_objective);
}

}  // namespace

Solver::Solver(std::shared_ptr<const ProblemForm> form)
    : shared_form_(std::move(form)), form_(*shared_form_), newton_(form_) {
  point_.resize(form_);
  best_.resize(form_);
  direction_.resize(form_);
  corrector_.resize(form_);
  trial_.resize(form_);
  residuals_.resize(form_);
  products_.resize(form_);
  rhs_size_ = 1.0 + form_.largest_rhs;
}

Code Solver::solve(const Request &request, Start start, const SavedPoint *saved) {
  iterations_ = 0;
  started_cold_ = false;
  const bool goes_on = start == Start::kCurrent && has_point_ && !adopted_;
  adopted_ = has_point_ = false;  // until there is a whole one again
  measures_ = Measures();
  set_limits(request);
  if (form_.verdict == Verdict::kInfeasible) return Code::kInfeasible;
  if (form_.verdict == Verdict::kUnbounded) return Code::kUnbounded;
  if (!goes_on) warm_factorisation_ = SavedFactorisation();
  if (saved && saved->factorisation.factor && same_rows(*saved, form_)) {
    SavedFactorisation factorisation = saved->factorisation;
    warm_factorisation_ = std::move(factorisation);
  }
  newton_.analyse(warm_factorisation_.factor.get());
  const bool from_saved = start == Start::kSaved;
  const bool warm = goes_on || (from_saved && saved && restore_point(*saved, form_, &point_));
  if (warm) {
    has_point_ = true;
    newton_.reset_regularisation();
    const bool here = start == Start::kCurrent;
    short_steps_allowed_ = here ? kStall.iteration_limit : kStall.warm_short_steps_allowed;
    stall_rule_ = here ? kStall.cold : kStall.warm;
    if (goes_on && !request.keep_centred && saved && saved->solution) {
      approach_solution(*saved->solution);
    }
    const Code code = iterate(request);
    short_steps_allowed_ = kStall.iteration_limit;
    // Duals that have run far out, along a face of the optimal ones, stay there with a warm start,
    // and the rounding errors of p and d with them.
    const bool rounded = measures_.rounded > tolerance_ * measures_.unit;
    if (code == Code::kSolved ? !rounded : start == Start::kCurrent) return code;
  }
  if (from_saved && saved && lived_on_penalties(*saved, form_))
    return solve_past_penalties(request);
  const Code code = solve_cold(request);
  if (code == Code::kSolved || !has_point_) return code;
  if (form_.has_penalties) return retry_from_penalties(request, code);
  return code == Code::kStalled ? retry_regularised(request) : code;
}

/// best_ is free before the iterations.
void Solver::approach_solution(const SavedPoint &solution) {
  evaluate();
  const double before = infeasibility(measures_);
  const double least_mu =
      kTarget.plain_kappa * tolerance_ * measures_.unit / std::max(form_.pairs, 1);
  Point earlier;
  if (!place_solution(solution, form_, &earlier)) return;
  best_ = point_;
  if (!approach(form_, earlier, least_mu, &point_)) return;
  evaluate();
  const double allowed = std::max(kOptions.approach.most_infeasible, before);
  if (!(infeasibility(measures_) <= allowed)) point_ = best_;
}

Code Solver::solve_cold(const Request &request) {
  if (!start_cold()) return Code::kNumericalFailure;
  stall_rule_ = kStall.cold;
  short_steps_allowed_ = form_.has_penalties ? kStall.short_steps_allowed : kStall.iteration_limit;
  const Code code = iterate(request);
  short_steps_allowed_ = kStall.iteration_limit;
  return code;
}

Code Solver::solve_past_penalties(const Request &request) {
  const Code first = solve_from_penalties(request);
  if (first == Code::kSolved) return first;
  const Point usable = first == Code::kStalled ? point_ : Point();
  const Code code = solve_cold(request);
  const bool is_better = code == Code::kSolved || code == Code::kStalled;
  return is_better || first != Code::kStalled ? code : fall_back_to(usable);
}

Code Solver::fall_back_to(const Point &usable) {
  point_ = usable;
  has_point_ = true;
  evaluate();
  return Code::kStalled;
}

Code Solver::retry_regularised(const Request &request) {
  const Point usable = point_;
  if (start_cold()) {
    newton_.raise_primal_regularisation();
    if (iterate(request) == Code::kSolved) return Code::kSolved;
  }
  return fall_back_to(usable);
}

Code Solver::retry_with_low_stop(const Request &request, Code first) {
  iterations_ = 0;
  if (!started_cold_) return first;
  const double factor = kStop.second_aim / std::min(tolerance_, kTarget.loosest_aim);
  if (!(factor < 1.0)) return first;
  const Point usable = first == Code::kStalled ? point_ : Point();
  const Code code = start_cold() ? iterate(request, factor) : Code::kNumericalFailure;
  return code == Code::kSolved || first != Code::kStalled ? code : fall_back_to(usable);
}

Code Solver::solve_from_penalties(const Request &request) {
  started_cold_ = true;
  warm_factorisation_ = SavedFactorisation();
  make_penalty_point(form_, &point_);
  has_point_ = true;
  newton_.reset_regularisation();
  stall_rule_ = kStall.cold;
  short_steps_allowed_ = kStall.iteration_limit;
  return iterate(request);
}

Code Solver::retry_from_penalties(const Request &request, Code first) {
  const Point usable = first == Code::kStalled ? point_ : Point();
  const Code code = solve_from_penalties(request);
  return code == Code::kSolved || first != Code::kStalled ? code : fall_back_to(usable);
}

void Solver::set_limits(const Request &request) {
  stop_factor_ = 1.0;
  stop_lowerings_ = 0;
  unit_ = Unit::kObjective;
  tolerance_ = std::min(request.tolerance, kAccuracy.loosest_tolerance);
  const auto limit = [&](double share) {
    return request.feasibility *
           std::max(kAccuracy.tightest_feasibility,
                    std::min(kAccuracy.loosest_feasibility, share * tolerance_));
  };
  feasibility_ = limit(kAccuracy.primal_share);
  dual_feasibility_ = limit(kAccuracy.dual_share);
}

bool Solver::adopt(const Request &request, Point point, int32_t iterations, Unit unit) {
  set_limits(request);
  unit_ = unit;
  const Measures last_measures = measures_;
  const bool had_point = has_point_;
  const bool was_adopted = adopted_;
  adopted_ = has_point_ = false;  // until it has been looked at
  std::swap(point_, point);
  evaluate();
  // Residuals that cancel in the defect of the one problem need not in that of the other: here it
  // may be all of the gap.
  const double defect_limit = std::min(tolerance_, kAccuracy.most_defect) * measures_.unit;
  if (is_finite(measures_) && measures_.defect <= defect_limit && measures_.gap <= tolerance_ &&
      std::max(measures_.primal, measures_.bound) <= feasibility_ &&
      measures_.dual <= dual_feasibility_ &&
      measures_.dual_defect <= kAccuracy.most_dual_defect * measures_.unit) {
    iterations_ = iterations;
    return adopted_ = has_point_ = true;
  }
  std::swap(point_, point);
  measures_ = last_measures;
  has_point_ = had_point;
  adopted_ = was_adopted;
  return false;
}

bool Solver::clear(const Vector<int32_t> &columns, double far, Point *point) const {
  const double rows = kLinearSolve.error_share * feasibility_ * rhs_size_;
  return clear_columns(form_, columns, far, closing_accuracy(rows), newton_, point);
}

void Solver::report_products_of(const Solver &other) {
  measures_.mu = other.measures_.mu;
  measures_.asmall = other.measures_.asmall;
  measures_.alarge = other.measures_.alarge;
}

bool Solver::keeps_digits() const {
  return measures_.rounded <= kAccuracy.most_rounded * measures_.unit_of_terms;
}

bool Solver::start_cold() {
  started_cold_ = true;
  warm_factorisation_ = SavedFactorisation();
  has_point_ = make_starting_point(form_, &newton_, &point_);
  return has_point_;
}

SavedPoint Solver::save() const {
  SavedFactorisation last;
  if (!adopted_) {
    last = warm_factorisation_;  // where no iteration was needed
    if (newton_.factorisation()) {
      last = {newton_.factorisation(), form_.row_scale, factorisation_mu_};
    }
  }
  SavedPoint saved = save_point(form_, point_, measures_.mu, std::move(last));
  saved.far_down = stop_factor_ <= kStop.far_down;
  return saved;
}

void Solver::evaluate() {
  compute_residuals(form_, newton_.products(), point_, &residuals_);
  measures_ = measure(form_, point_, residuals_, dual_feasibility_, unit_);
}

double Solver::infeasibility(const Measures &m) const {
  return std::max({m.primal / feasibility_, m.dual / dual_feasibility_, m.bound / feasibility_,
                   m.defect / defect_limit(m),
                   m.dual_defect / (kAccuracy.most_dual_defect * m.unit)});
}

double Solver::defect_limit(const Measures &m) const {
  const double share = stop_lowerings_ < kStop.lowerings_in_vain ? kAccuracy.defect_share : 1.0;
  return std::min(share * tolerance_, kAccuracy.most_defect) * m.unit;
}

double Solver::distance() const {
  return std::max(infeasibility(measures_), measures_.gap / tolerance_);
}

Solver::Missing Solver::missing(const Request &request) const {
  if (!(distance() <= 1.0)) return Missing::kMore;
  const bool central = measures_.asmall >= kNeighbourhood.least_product &&
                       measures_.alarge <= kNeighbourhood.largest_product;
  return central || !request.must_be_centred ? Missing::kNothing : Missing::kCentrality;
}

bool Solver::meets_in_terms(const Request &request) {
  const Measures in_objective = measures_;
  unit_ = Unit::kTerms;
  measures_ = measure(form_, point_, residuals_, dual_feasibility_, unit_);
  if (missing(request) == Missing::kNothing) return true;
  unit_ = Unit::kObjective;
  measures_ = in_objective;
  return false;
}

void Solver::remember_if_best(double distance) {
  if (!(distance < best_distance_)) return;
  best_distance_ = distance;
  best_ = point_;
}

void Solver::recall_best() {
  if (best_distance_ == kInfinity) {
    has_point_ = false;
    point_.resize(form_);  // of numbers
    measures_ = Measures();
    measures_.gap = 1.0;
    return;
  }
  point_ = best_;
  evaluate();
}

Code Solver::give_up(const Request &request, Code code) {
  recall_best();
  if (has_point_ && meets_in_terms(request)) return Code::kSolved;
  const bool usable =
      has_point_ && std::max(measures_.primal, measures_.dual) <= kAccuracy.usable_infeasibility &&
      measures_.dual_defect <= kAccuracy.most_dual_defect * measures_.unit &&
      measures_.gap <= std::min(kAccuracy.usable_gap * tolerance_, kAccuracy.loosest_tolerance);
  return usable && code == Code::kNumericalFailure ? Code::kStalled : code;
}

/// A feasible point is on the path, where a start from scratch would have to come, too.
const StallRule &Solver::stall_rule() const {
  return infeasibility(measures_) > 1.0 ? stall_rule_ : kStall.cold;
}

/// The main loop. At each point
///
///   1. the residuals (6), of which z and v take up what is small beside them, and measures (7),
///   2. what the last step failed to do lowers the regularisation of (9) or the stop of (12),
///   3. the criteria: solved, or given up after a number of iterations without progress, several
///      short steps, or at the limit of iterations, with the best point met,
///   4. a step: factorisation of (9), predictor and correctors by (8) towards mu_t of (12), move;
///      a pure centring step where only the neighbourhood is missing.
Code Solver::iterate(const Request &request, double stop_factor) {
  best_distance_ = kInfinity;
  stop_factor_ = stop_factor;
  stop_lowerings_ = 0;
  unit_ = Unit::kObjective;
  last_steps_ = StepLengths();
  short_steps_ = 0;
  double progress_mark = kInfinity;
  int32_t since_progress = 0;
  for (int32_t done = 0;; ++done, ++iterations_) {
    compute_residuals(form_, newton_.products(), point_, &residuals_);
    if (done > 0 && absorbs_residuals()) absorb_dual_residuals();
    measures_ = measure(form_, point_, residuals_, dual_feasibility_, unit_);
    if (done > 0) {
      watch_regularisation();
      watch_stop();
    }
    if (!is_finite(measures_)) return give_up(request, Code::kNumericalFailure);
    const Missing what = missing(request);
    if (what == Missing::kNothing) return Code::kSolved;
    const double now = distance();
    remember_if_best(now);
    const StallRule &rule = stall_rule();
    if (now < rule.factor * progress_mark) {
      progress_mark = now;
      since_progress = 0;
    } else if (++since_progress > (stop_factor_ > least_stop_factor()
                                       ? rule.patience
                                       : std::min(rule.patience, kStall.last_patience))) {
      return give_up(request, Code::kNumericalFailure);
    }
    if (since_progress >= kStall.cancelled_patience && meets_in_terms(request)) {
      return Code::kSolved;
    }
    if (short_steps_ > short_steps_allowed_) return give_up(request, Code::kNumericalFailure);
    if (done == kStall.iteration_limit) return give_up(request, Code::kIterationLimit);
    if (!advance(request, what == Missing::kCentrality)) {
      return give_up(request, Code::kNumericalFailure);
    }
  }
}

bool Solver::advance(const Request &request, bool centring_only) {
  warm_factorisation_ = SavedFactorisation();
  if (!newton_.prepare(point_, measures_.mu)) return false;
  newton_.set_accuracy(allowed_error());
  factorisation_mu_ = measures_.mu;
  if (centring_only) {
    centring_direction();
  } else {
    predictor_corrector_direction(request);
  }
  move(request);
  return true;
}

SolveAccuracy Solver::allowed_error() const {
  SolveAccuracy allowed;
  allowed.rows = rhs_size_ * std::max(kLinearSolve.error_share * feasibility_,
                                      kLinearSolve.error_of_residual * measures_.primal);
  allowed.aim = allowed.rows;
  const bool closing = measures_.gap <= kLinearSolve.closing_gap * tolerance_;
  return closing ? closing_accuracy(allowed.rows) : allowed;
}

SolveAccuracy Solver::closing_accuracy(double rows) const {
  SolveAccuracy allowed;
  double weight = 0.0;
  for (size_t i = 0; i < point_.y.size(); ++i) {
    weight += std::fabs(point_.y[i]) * form_.row_scale[i];
  }
  allowed.rows = rows;
  allowed.defect = kLinearSolve.error_share * defect_limit(measures_);
  const double rounded = kLinearSolve.rounded_error * rhs_size_;
  allowed.aim = std::min(rows, std::max(allowed.defect / weight, rounded));
  return allowed;
}

void Solver::centring_direction() {
  aim_at(form_, point_, measures_.mu, &products_);
  newton_.solve(point_, &residuals_, products_, &direction_);
  add_centrality_correctors(measures_.mu, true);
}

void Solver::predictor_corrector_direction(const Request &request) {
  aim_at(form_, point_, 0.0, &products_);
  newton_.solve(point_, &residuals_, products_, &direction_);
  const StepLengths predictor = steps_to_boundary(form_, point_, direction_);
  const double mu_target = target(request, predictor);
  if (request.keep_centred) {
    add_weighted_corrector(mu_target, predictor);
  } else {
    add_full_corrector(mu_target);
  }
  const bool near = measures_.mu < kCorrectors.near_stop * stop_mu_;
  add_centrality_correctors(mu_target, request.keep_centred && near);
}

double Solver::target(const Request &request, const StepLengths &predictor) {
  const double mu = measures_.mu;
  const double ratio = mean_product_after(form_, point_, direction_, predictor) / mu;
  double sigma = ratio > 0.0 ? ratio * ratio * ratio : 0.0;
  if (!request.keep_centred) sigma *= ratio;  // the longer correctors make up for the bolder target
  if (request.keep_centred) sigma = std::max(sigma, kTarget.least_centred_sigma);
  if (std::max(measures_.primal, measures_.bound) > feasibility_ ||
      measures_.dual > dual_feasibility_) {
    const double shortfall = 1.0 - predictor.least();
    sigma = std::max(sigma, kTarget.infeasible_sigma * shortfall * shortfall);
    if (last_steps_.least() < kStall.short_step) sigma = std::max(sigma, kTarget.raising_sigma);
  }
  const double share = request.keep_centred ? kTarget.centred_kappa : kTarget.plain_kappa;
  stop_mu_ = stop_factor_ * share * std::min(tolerance_, kTarget.loosest_aim) * measures_.unit /
             std::max(form_.pairs, 1);
  return std::min(std::max(sigma * mu, stop_mu_), kTarget.largest_rise * mu);
}

void Solver::aim_second_order_at(double mu_target, double scale) {
  aim_at_second_order(form_, direction_, &products_);
  for (size_t j = 0; j < products_.xz.size(); ++j) {
    products_.xz[j] = form_.is_free[j] ? 0.0 : scale * products_.xz[j] + mu_target;
  }
  for (double &e : products_.wv) e = scale * e + mu_target;
}

void Solver::add_weighted_corrector(double mu_target, const StepLengths &predictor) {
  aim_second_order_at(mu_target, predictor.primal * predictor.dual);
  newton_.solve(point_, nullptr, products_, &corrector_);
  const double small = predictor.least() * predictor.least();
  set_sum(direction_, corrector_, &trial_);
  add_scaled(small, corrector_, &direction_);
  const double full_sum = steps_to_boundary(form_, point_, trial_).sum();
  if (full_sum >= steps_to_boundary(form_, point_, direction_).sum()) std::swap(direction_, trial_);
}

void Solver::add_full_corrector(double mu_target) {
  aim_second_order_at(mu_target, 1.0);
  newton_.solve(point_, nullptr, products_, &corrector_);
  add_best_shares(kCorrectors.least_second_order, &direction_);
}

void Solver::add_best_shares(double least, Direction *direction) const {
  add_shares(best_shares(form_, point_, *direction, corrector_, least), corrector_, direction);
}

void Solver::add_centrality_correctors(double mu_target, bool keep_centred) {
  const CorrectorRule &rule = keep_centred ? kCorrectors.centred : kCorrectors.plain;
  StepLengths steps = steps_to_boundary(form_, point_, direction_);
  for (int k = 0; k < rule.count; ++k) {
    if (steps.least() > kCorrectors.full_step) return;
    StepLengths aimed;
    aimed.primal = std::min(1.0, rule.stretch * steps.primal + rule.extra);
    aimed.dual = std::min(1.0, rule.stretch * steps.dual + rule.extra);
    aim_at_neighbourhood(form_, point_, direction_, aimed, kNeighbourhood.least_product * mu_target,
                         kNeighbourhood.largest_product * mu_target, &products_);
    newton_.solve(point_, nullptr, products_, &corrector_);
    trial_ = direction_;
    add_best_shares(rule.least_share, &trial_);
    const StepLengths next = steps_to_boundary(form_, point_, trial_);
    const double growth = next.sum() - steps.sum();
    if (growth < kCorrectors.worth_keeping) return;
    std::swap(direction_, trial_);
    steps = next;
    if (growth < kCorrectors.worth_another) return;
  }
}

void Solver::move(const Request &request) {
  const double factor = request.keep_centred ? kStep.centred_to_boundary : kStep.plain_to_boundary;
  // Looking beyond 1 keeps a full step, too, from ending on the boundary.
  StepLengths steps = steps_to_boundary(form_, point_, direction_, 1.0 / factor);
  steps.primal = std::min(1.0, factor * steps.primal);
  steps.dual = std::min(1.0, factor * steps.dual);
  take_step(steps, direction_, &point_);
  last_steps_ = steps;
  short_steps_ = steps.least() < kStall.short_step ? short_steps_ + 1 : 0;
  last_measures_ = measures_;
}

/// A warm solve is over so soon that its products have no time to settle after this: in two of 21
/// runs of column generation the last point held all of its gap in one product. Beside penalty
/// columns it pays all the same (338 instead of 403 iterations of one run, 178 instead of 238).
bool Solver::absorbs_residuals() const { return started_cold_ || form_.has_penalties; }

void Solver::absorb_dual_residuals() {
  const auto absorb = [this](int32_t j, double sign, double *slack) {
    double &residual = residuals_.dual[j];
    if (std::fabs(residual) > kStep.absorbed_share * *slack) return;
    *slack += sign * residual;
    residual = 0.0;
  };
  for (int32_t j = 0; j < form_.columns(); ++j) {
    if (!form_.is_free[j]) absorb(j, 1.0, &point_.z[j]);
  }
  for (size_t k = 0; k < form_.boxed.size(); ++k) absorb(form_.boxed[k], -1.0, &point_.v[k]);
}

/// Where the feasible set of one side has no interior, z (or x) can only vanish with mu, and an
/// infeasibility of its size stays although the steps are long. The mu to stop at is then lowered.
/// On the way from a start from scratch, |y'r_p| that does not fall is proportional to mu however
/// short the steps are, since y grows as r_p falls: the stop goes to where it will be met.
void Solver::watch_stop() {
  if (!(measures_.mu < kStop.near * stop_mu_) || !(stop_factor_ > least_stop_factor())) return;
  const double now = infeasibility(measures_);
  const bool long_step = last_steps_.least() > kStop.long_step;
  if (now > 1.0) {
    if (!(now > kStop.stalled_share * infeasibility(last_measures_))) return;
    const double of_defect = measures_.defect / defect_limit(measures_);
    const bool grown = started_cold_ && of_defect == now &&
                       measures_.defect > kStop.stalled_share * last_measures_.defect &&
                       last_steps_.least() > kStall.short_step;
    if (!long_step && !grown) return;
    lower_stop(grown ? std::min(kStop.lowering, 1.0 / of_defect) : kStop.lowering);
  } else if (started_cold_ && long_step && measures_.gap > tolerance_ &&
             measures_.gap > kStop.stalled_share * last_measures_.gap) {
    lower_stop(kStop.lowering);
  }
}

void Solver::lower_stop(double factor) {
  stop_factor_ *= factor;
  ++stop_lowerings_;
}

double Solver::least_stop_factor() const {
  return kStop.least_aim / std::min(tolerance_, kTarget.loosest_aim);
}

/// A long step that left much more infeasibility than it promised may have been held back by the
/// regularisation of (9), which is then lowered. Below what is asked it does no harm.
void Solver::watch_regularisation() {
  const auto broken = [](double step, double before, double now, double limit) {
    return step > kRegularisation.telling_step && now > limit &&
           now > (1.0 - step + kRegularisation.broken_promise) * before;
  };
  const Measures &last = last_measures_;
  const Measures &now = measures_;
  if (broken(last_steps_.primal, last.primal, now.primal, feasibility_) ||
      broken(last_steps_.primal, last.defect, now.defect, defect_limit(now))) {
    newton_.lower_dual_regularisation(direction_, largest(residuals_.primal));
  }
  // With x large the gap may be nothing but x'r_d though r_d is within its limits.
  const bool gap_broken =
      now.gap > tolerance_ && broken(last_steps_.dual, last.dual_defect, now.dual_defect,
                                     kRegularisation.defect_of_gap * now.gap * now.unit);
  DualViolation violation;
  if (now.dual > dual_feasibility_) violation.residual = largest(residuals_.dual);
  if (gap_broken) violation.defect = now.dual_defect;
  if (last_steps_.dual > kRegularisation.telling_step) {
    newton_.raise_free_theta(point_, direction_, violation);
  }
  if (!broken(last_steps_.dual, last.dual, now.dual, dual_feasibility_)) {
    violation.residual = kInfinity;
  }
  newton_.lower_primal_regularisation(residuals_, point_, direction_, violation);
}

}  // namespace interior_point

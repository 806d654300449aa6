#include "interior_point/method/solver.h"

#include <algorithm>
#include <cmath>

#include "interior_point/method/starting_point.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

constexpr int32_t kIterationLimit = 200;
// Without an improvement by this factor for so many iterations a start from scratch has stalled...
constexpr Pace kColdPace = {0.9, 25};
// ... and one from a saved point does not pay: a start from scratch needs ten to twenty.
constexpr Pace kWarmPace = {0.1, 6};

// Above this tolerance p and d may have opposite signs. Such a point says no more than the bounds a
// caller has, so that the same point could come back for ever: 2 % of small random master problems
// then ended with an open gap.
constexpr double kLoosestTolerance = 1.0;
// Infeasibilities: a tenth of the tolerance within these limits...
constexpr double kTightestFeasibility = 1e-9;
constexpr double kLoosestFeasibility = 1e-6;
// ... and less on the dual side: the bound that prices give loses the worst reduced cost as many
// times as columns are used at all. At a tenth the loss came to more than the gap in 15 of 97,000
// cold runs of small random masters, which then stood still, at a hundredth in 5.
constexpr double kPrimalShare = 0.1;
constexpr double kDualShare = 1e-3;
// p serves as an upper bound. It may miss the value of a feasible point by this share of the gap,
// and never by more than the second value, relative: an upper bound is kept when later gaps are
// smaller.
constexpr double kDefectShare = 0.1;
constexpr double kMostDefect = 1e-8;
// So many iterations without an improvement show that digits of p are missing which cancel.
constexpr int32_t kCancelledPatience = 3;
// |x'r_d| is part of p - d. On the way along an unbounded ray it may be all of p, while r_d is
// small beside terms that grow; a loose tolerance does not see that.
constexpr double kMostDualDefect = 0.1;
// What a point must still have to be of use to the caller, when the solve stalls: infeasibilities
// of at most the first value, a gap of at most this many tolerances and never of more than p
// itself, so that p and d have one sign.
constexpr double kUsableInfeasibility = 1e-5;
constexpr double kUsableGap = 10.0;
// A point of a smaller problem has duals on the boundary. Where p and d cancel to this share of
// their terms or less, those of the interior may be better.
constexpr double kMostRounded = 1e-7;

// The symmetric neighbourhood of the central path.
constexpr double kLeastCentrality = 0.1;
constexpr double kMostCentrality = 10.0;

// (12): kappa of points to be centred, and of others, where a smaller gap costs nothing.
constexpr double kCentredShare = 0.8;
constexpr double kPlainShare = 0.05;
constexpr double kLoosestAim = 0.5;  // beyond this a relative target chases p, which grows with mu
constexpr double kLargestRise = 3.0;
constexpr double kLeastCentredSigma = 0.01;
constexpr double kShortPredictor = 0.1;
constexpr double kShortPredictorSigma = 0.3;
// After a step this short mu has run ahead of the infeasibility: it goes up again.
constexpr double kShortStep = 0.1;
constexpr double kRaisingSigma = 2.0;
// More such steps in a row, from the usual start, show a problem that lives on its penalty columns.
constexpr int32_t kShortStepsAllowed = 1;

// A linear solve may leave this share of the infeasibility that is allowed, or of what there is...
constexpr double kErrorShare = 0.1;
constexpr double kErrorOfResidual = 1e-3;
// ... and, once the gap is within this factor of the tolerance, of the defect |y'r_p| that is
// allowed, but not less of the right-hand side than rounding leaves.
constexpr double kClosingGap = 1e3;
constexpr double kRoundedError = 1e-15;

// A step of more than the first length that leaves this much more infeasibility than it promised
// is a reason to look at the proximal terms.
constexpr double kTellingStep = 0.3;
constexpr double kBrokenPromise = 0.2;
// With |x'r_d| above this share of it the gap waits for the dual residuals.
constexpr double kDefectOfGap = 0.1;
// A dual residual up to this share of z or v is taken up by it: 15.8 instead of 16.4 iterations in
// the mean of 650 transformed netlib programs, 13.7 instead of 14.0 of 25 plain ones.
constexpr double kAbsorbedShare = 0.5;

// Where mu is within this factor of its stop, steps of this length should leave less than this
// share of an infeasibility, or of the gap. When they do not, the stop is lowered by the last
// factor, and further where that is known not to be enough: 1191 instead of 1362 iterations for 111
// programs at tolerance 1, of which 20 took more than at 1e-8.
constexpr double kNearStop = 3.0;
constexpr double kLongStep = 0.9;
constexpr double kStalledShare = 0.5;
constexpr double kRelief = 0.1;
// The tolerance at which a stop is as low as rounding errors let it be of use.
constexpr double kLeastAim = 1e-16;
// With the stop as low as it gets, this many iterations without an improvement are enough.
constexpr int32_t kLastPatience = 8;
// After so many lowerings in vain the defect is that of the data: rows contradict each other by a
// rounding error. p may then miss by the tolerance itself.
constexpr int32_t kReliefsInVain = 3;

// Centrality correctors aim at steps stretch * alpha + extra: a little longer where the point is to
// stay in the middle of the path, much longer where only the number of iterations counts (15.4
// instead of 17.3 in the mean of 25 netlib programs, 41 instead of 56 on a degenerate RMP of 30,000
// columns).
struct Reach {
  int correctors;
  double stretch, extra;
};
constexpr Reach kCentredReach = {3, 1.08, 0.08};
constexpr Reach kPlainReach = {4, 1.0, 0.3};
// A point is kept in the middle only where mu is within this factor of its stop. Before, the number
// of iterations counts in all solves: of eleven runs of lot sizing, assignment, cutting stock and
// flow ten took 3 to 45 % fewer, one 6 % more.
constexpr double kNearCentre = 2.0;
constexpr double kWorthKeeping = 0.01;
constexpr double kWorthAnother = 0.05;

constexpr double kCentredToBoundary = 0.95;
constexpr double kPlainToBoundary = 0.9995;

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
  if (!goes_on) carried_ = MadeFactorisation();
  if (saved && saved->made.factorisation && same_rows(*saved, form_)) {
    MadeFactorisation made = saved->made;
    carried_ = std::move(made);
  }
  newton_.analyse(carried_.factorisation.get());
  const bool warm =
      goes_on || (start == Start::kSaved && saved && restore_point(*saved, form_, &point_));
  if (warm) {
    has_point_ = true;
    newton_.reset_terms();
    short_steps_allowed_ = kIterationLimit;
    pace_ = start == Start::kCurrent ? kColdPace : kWarmPace;
    const Code code = iterate(request);
    if (code == Code::kSolved || start == Start::kCurrent) return code;
  }
  if (!start_cold()) return Code::kNumericalFailure;
  pace_ = kColdPace;
  short_steps_allowed_ = form_.has_penalties ? kShortStepsAllowed : kIterationLimit;
  const Code code = iterate(request);
  short_steps_allowed_ = kIterationLimit;
  return code == Code::kSolved || !form_.has_penalties ? code : retry_from_penalties(request, code);
}

/// Another start from scratch. What the first one ended with stays where it is of use and this one
/// ends with nothing better.
Code Solver::retry_from_penalties(const Request &request, Code first) {
  const Point usable = first == Code::kStalled ? point_ : Point();
  make_penalty_point(form_, &point_);
  has_point_ = true;
  newton_.reset_terms();
  const Code code = iterate(request);
  if (code == Code::kSolved || first != Code::kStalled) return code;
  point_ = usable;
  has_point_ = true;
  evaluate();
  return first;
}

void Solver::set_limits(const Request &request) {
  relief_ = 1.0;
  reliefs_ = 0;
  unit_ = Unit::kObjective;
  tolerance_ = std::min(request.tolerance, kLoosestTolerance);
  const auto limit = [&](double share) {
    return request.feasibility *
           std::max(kTightestFeasibility, std::min(kLoosestFeasibility, share * tolerance_));
  };
  feasibility_ = limit(kPrimalShare);
  dual_feasibility_ = limit(kDualShare);
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
  const double defect_limit = std::min(tolerance_, kMostDefect) * measures_.unit;
  if (is_finite(measures_) && measures_.defect <= defect_limit && measures_.gap <= tolerance_ &&
      std::max(measures_.primal, measures_.bound) <= feasibility_ &&
      measures_.dual <= dual_feasibility_ &&
      measures_.dual_defect <= kMostDualDefect * measures_.unit) {
    iterations_ = iterations;
    return adopted_ = has_point_ = true;
  }
  std::swap(point_, point);
  measures_ = last_measures;
  has_point_ = had_point;
  adopted_ = was_adopted;
  return false;
}

bool Solver::keeps_digits() const {
  return measures_.rounded <= kMostRounded * measures_.unit_of_terms;
}

bool Solver::start_cold() {
  started_cold_ = true;
  carried_ = MadeFactorisation();
  has_point_ = make_starting_point(form_, &newton_, &point_);
  return has_point_;
}

SavedPoint Solver::save() const {
  MadeFactorisation made;
  if (!adopted_) {
    made = carried_;  // where no iteration was needed
    if (newton_.factorisation()) {
      made = {newton_.factorisation(), form_.row_scale, factorisation_mu_};
    }
  }
  return save_point(form_, point_, measures_.mu, std::move(made));
}

void Solver::evaluate() {
  compute_residuals(form_, point_, &residuals_);
  measures_ = measure(form_, point_, residuals_, dual_feasibility_, unit_);
}

/// How far the worst criterion of feasibility is from its limit: at most 1 when all are met.
double Solver::infeasibility(const Measures &m) const {
  return std::max({m.primal / feasibility_, m.dual / dual_feasibility_, m.bound / feasibility_,
                   m.defect / defect_limit(m), m.dual_defect / (kMostDualDefect * m.unit)});
}

/// The largest |y'r_p| with which p may still serve as an upper bound.
double Solver::defect_limit(const Measures &m) const {
  const double share = reliefs_ < kReliefsInVain ? kDefectShare : 1.0;
  return std::min(share * tolerance_, kMostDefect) * m.unit;
}

/// The same of all criteria but centrality.
double Solver::distance() const {
  return std::max(infeasibility(measures_), measures_.gap / tolerance_);
}

Solver::Missing Solver::missing(const Request &request) const {
  if (!(distance() <= 1.0)) return Missing::kMore;
  const bool central = measures_.asmall >= kLeastCentrality && measures_.alarge <= kMostCentrality;
  return central || !request.must_be_centred ? Missing::kNothing : Missing::kCentrality;
}

/// Where p and d cancel down to next to nothing, whether they agree as far as their terms let them.
/// That is then what the gap is measured by.
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
  const bool usable = has_point_ &&
                      std::max(measures_.primal, measures_.dual) <= kUsableInfeasibility &&
                      measures_.dual_defect <= kMostDualDefect * measures_.unit &&
                      measures_.gap <= std::min(kUsableGap * tolerance_, kLoosestTolerance);
  return usable && code == Code::kNumericalFailure ? Code::kStalled : code;
}

Code Solver::iterate(const Request &request) {
  best_distance_ = kInfinity;
  relief_ = 1.0;
  reliefs_ = 0;
  unit_ = Unit::kObjective;
  last_steps_ = StepLengths();
  short_steps_ = 0;
  double progress_mark = kInfinity;
  int32_t since_progress = 0;
  for (int32_t done = 0;; ++done, ++iterations_) {
    compute_residuals(form_, point_, &residuals_);
    if (done > 0 && absorbs_residuals()) absorb_dual_residuals();
    measures_ = measure(form_, point_, residuals_, dual_feasibility_, unit_);
    if (done > 0) {
      watch_proximal_terms();
      watch_interior();
    }
    if (!is_finite(measures_)) return give_up(request, Code::kNumericalFailure);
    const Missing what = missing(request);
    if (what == Missing::kNothing) return Code::kSolved;
    const double now = distance();
    remember_if_best(now);
    if (now < pace_.factor * progress_mark) {
      progress_mark = now;
      since_progress = 0;
    } else if (++since_progress > (relief_ > least_relief()
                                       ? pace_.patience
                                       : std::min(pace_.patience, kLastPatience))) {
      return give_up(request, Code::kNumericalFailure);
    }
    if (since_progress >= kCancelledPatience && meets_in_terms(request)) return Code::kSolved;
    if (short_steps_ > short_steps_allowed_) return give_up(request, Code::kNumericalFailure);
    if (done == kIterationLimit) return give_up(request, Code::kIterationLimit);
    if (!advance(request, what == Missing::kCentrality)) {
      return give_up(request, Code::kNumericalFailure);
    }
  }
}

bool Solver::advance(const Request &request, bool centring_only) {
  carried_ = MadeFactorisation();
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

/// What a linear solve may leave of r_p in the caller's units.
double Solver::allowed_error() const {
  const double open =
      rhs_size_ * std::max(kErrorShare * feasibility_, kErrorOfResidual * measures_.primal);
  if (measures_.gap > kClosingGap * tolerance_) return open;
  double weight = 0.0;
  for (size_t i = 0; i < point_.y.size(); ++i) {
    weight += std::fabs(point_.y[i]) * form_.row_scale[i];
  }
  const double of_defect = kErrorShare * defect_limit(measures_) / weight;
  return std::min(open, std::max(of_defect, kRoundedError * rhs_size_));
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
  add_weighted_corrector(mu_target, predictor);
  const bool near = measures_.mu < kNearCentre * stop_mu_;
  add_centrality_correctors(mu_target, request.keep_centred && near);
}

/// mu_t of (12).
double Solver::target(const Request &request, const StepLengths &predictor) {
  const double mu = measures_.mu;
  const double ratio = mean_product_after(form_, point_, direction_, predictor) / mu;
  double sigma = ratio > 0.0 ? ratio * ratio * ratio : 0.0;
  if (!request.keep_centred) sigma *= ratio;  // the longer correctors make up for the bolder target
  if (request.keep_centred) sigma = std::max(sigma, kLeastCentredSigma);
  if (std::max(measures_.primal, measures_.bound) > feasibility_ ||
      measures_.dual > dual_feasibility_) {
    const double shortfall = 1.0 - predictor.least();
    sigma = std::max(sigma, 0.5 * shortfall * shortfall);
    if (last_steps_.least() < kShortStep) sigma = std::max(sigma, kRaisingSigma);
  }
  if (predictor.least() < kShortPredictor) sigma = std::max(sigma, kShortPredictorSigma);
  const double share = request.keep_centred ? kCentredShare : kPlainShare;
  stop_mu_ = relief_ * share * std::min(tolerance_, kLoosestAim) * measures_.unit /
             std::max(form_.pairs, 1);
  return std::min(std::max(sigma * mu, stop_mu_), kLargestRise * mu);
}

/// direction += weight * (solution for mu_t - alpha_p alpha_d dx dz), weight 1 or min(alpha)^2.
void Solver::add_weighted_corrector(double mu_target, const StepLengths &predictor) {
  aim_at_second_order(form_, direction_, &products_);
  const double scale = predictor.primal * predictor.dual;
  for (size_t j = 0; j < products_.xz.size(); ++j) {
    products_.xz[j] = form_.is_free[j] ? 0.0 : scale * products_.xz[j] + mu_target;
  }
  for (double &e : products_.wv) e = scale * e + mu_target;
  newton_.solve(point_, nullptr, products_, &corrector_);
  const double small = predictor.least() * predictor.least();
  set_sum(direction_, corrector_, &trial_);
  add_scaled(small, corrector_, &direction_);
  const double full_sum = steps_to_boundary(form_, point_, trial_).sum();
  if (full_sum >= steps_to_boundary(form_, point_, direction_).sum()) std::swap(direction_, trial_);
}

void Solver::add_centrality_correctors(double mu_target, bool keep_centred) {
  const Reach &aim = keep_centred ? kCentredReach : kPlainReach;
  StepLengths steps = steps_to_boundary(form_, point_, direction_);
  for (int k = 0; k < aim.correctors; ++k) {
    if (steps.least() > 0.999) return;
    StepLengths reach;
    reach.primal = std::min(1.0, aim.stretch * steps.primal + aim.extra);
    reach.dual = std::min(1.0, aim.stretch * steps.dual + aim.extra);
    aim_at_neighbourhood(form_, point_, direction_, reach, kLeastCentrality * mu_target,
                         kMostCentrality * mu_target, &products_);
    newton_.solve(point_, nullptr, products_, &corrector_);
    set_sum(direction_, corrector_, &trial_);
    const StepLengths next = steps_to_boundary(form_, point_, trial_);
    const double growth = next.sum() - steps.sum();
    if (growth < kWorthKeeping) return;
    std::swap(direction_, trial_);
    steps = next;
    if (growth < kWorthAnother) return;
  }
}

void Solver::move(const Request &request) {
  const double factor = request.keep_centred ? kCentredToBoundary : kPlainToBoundary;
  // Looking beyond 1 keeps a full step, too, from ending on the boundary.
  StepLengths steps = steps_to_boundary(form_, point_, direction_, 1.0 / factor);
  steps.primal = std::min(1.0, factor * steps.primal);
  steps.dual = std::min(1.0, factor * steps.dual);
  take_step(steps, direction_, &point_);
  last_steps_ = steps;
  short_steps_ = steps.least() < kShortStep ? short_steps_ + 1 : 0;
  last_measures_ = measures_;
}

/// A warm solve is over so soon that its products have no time to settle after this: in two of 21
/// runs of column generation the last point held all of its gap in one product. Beside penalty
/// columns it pays all the same (338 instead of 403 iterations of one run, 178 instead of 238).
bool Solver::absorbs_residuals() const { return started_cold_ || form_.has_penalties; }

/// Residuals that are small against z or v go there: no step is needed where a product may change
/// by that much.
void Solver::absorb_dual_residuals() {
  const auto absorb = [this](int32_t j, double sign, double *slack) {
    double &residual = residuals_.dual[j];
    if (std::fabs(residual) > kAbsorbedShare * *slack) return;
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
void Solver::watch_interior() {
  if (!(measures_.mu < kNearStop * stop_mu_) || !(relief_ > least_relief())) return;
  const double now = infeasibility(measures_);
  const bool long_step = last_steps_.least() > kLongStep;
  if (now > 1.0) {
    if (!(now > kStalledShare * infeasibility(last_measures_))) return;
    const double of_defect = measures_.defect / defect_limit(measures_);
    const bool grown = started_cold_ && of_defect == now && last_steps_.least() > kShortStep;
    if (!long_step && !grown) return;
    lower_stop(grown ? std::min(kRelief, 1.0 / of_defect) : kRelief);
  } else if (started_cold_ && long_step && measures_.gap > tolerance_ &&
             measures_.gap > kStalledShare * last_measures_.gap) {
    lower_stop(kRelief);
  }
}

void Solver::lower_stop(double factor) {
  relief_ *= factor;
  ++reliefs_;
}

/// What keeps the mu to stop at a multiple of the rounding error of p.
double Solver::least_relief() const { return kLeastAim / std::min(tolerance_, kLoosestAim); }

/// After a long step that left much more infeasibility than it promised, a proximal term is to
/// blame if it took back that much. Below what is asked it does no harm.
void Solver::watch_proximal_terms() {
  const auto broken = [](double step, double before, double now, double limit) {
    return step > kTellingStep && now > limit && now > (1.0 - step + kBrokenPromise) * before;
  };
  const Measures &last = last_measures_;
  const Measures &now = measures_;
  if (broken(last_steps_.primal, last.primal, now.primal, feasibility_) ||
      broken(last_steps_.primal, last.defect, now.defect, defect_limit(now))) {
    newton_.weaken_primal_term(direction_, largest(residuals_.primal));
  }
  // With x large the gap may be nothing but x'r_d though r_d is within its limits.
  const bool gap_broken =
      now.gap > tolerance_ && broken(last_steps_.dual, last.dual_defect, now.dual_defect,
                                     kDefectOfGap * now.gap * now.unit);
  Blame blame;
  if (now.dual > dual_feasibility_) blame.residual = largest(residuals_.dual);
  if (gap_broken) blame.defect = now.dual_defect;
  if (last_steps_.dual > kTellingStep) newton_.loosen_free_columns(point_, direction_, blame);
  if (!broken(last_steps_.dual, last.dual, now.dual, dual_feasibility_)) blame.residual = kInfinity;
  newton_.weaken_dual_terms(residuals_, point_, direction_, blame);
}

}  // namespace interior_point

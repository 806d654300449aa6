/**
 * The interior-point method: an infeasible primal-dual predictor-corrector method that stops on the
 * central path where the asked tolerance lies.
 *
 * Every iteration factorises once and then combines, all with that factorisation,
 *   1. the predictor, (8) with all residuals and products aimed at 0,
 *   2. a corrector towards mu_t with the predictor's second-order term, in shares that give the
 *      longest steps, one for the primal and one for the dual side (M. Colombo and J. Gondzio,
 *      Further development of multiple centrality correctors for interior point methods, Comput.
 *      Optim. Appl. 41 (2008) 277-305). For points to be centred it is a smaller term in one weight
 *      for both,
 *   3. up to four centrality correctors in such shares, as long as they lengthen the steps,
 * and moves by separate steps on the primal and the dual side. After a start from scratch,
 * and beside penalty columns, what these leave of r_d in columns whose z (or v) is twice as large
 * goes into it.
 *
 * With mu_aff the mean product after the predictor alone, its steps alpha, tau the tolerance, |p|
 * no less than its floor in (7), and N the number of products, the target is
 *
 *   mu_t = max(sigma mu, kappa min(tau, 1/2) |p| / N),  at most 3 mu,                         (12)
 *   sigma = (mu_aff / mu)^4, or the third power and at least 0.01 when the point is to be centred,
 *           at least 0.5 (1 - min alpha)^2 while infeasible,
 *           at least 2 while infeasible after a step shorter than 0.1.
 *
 * The second entry of the maximum is the mu at which the gap just meets the tolerance. Without it
 * mu runs ahead of the infeasibility that new columns bring and the products leave the
 * neighbourhood; with it the point returned is well centred for free and a good place to restart.
 *
 * Where the feasible set has no interior, y grows as r_p falls and y'r_p with mu alone. The second
 * entry is then lowered to where |y'r_p| will be small enough for p to serve as a bound.
 *
 * Where the optimum is next to nothing beside its terms, a gap relative to |p| may be beyond double
 * precision. A point that meets all else, and the tolerance with the second floor of (7), is
 * accepted once the solve gets no nearer.
 *
 * A solve from a saved point that does not pay turns into one from scratch, and one from scratch
 * that crawls because only penalty columns make the problem feasible starts again at their end of
 * the path, both within the same call. Where the saved point lived on penalty columns that end is
 * tried first.
 */
#ifndef INTERIOR_POINT_METHOD_SOLVER_H
#define INTERIOR_POINT_METHOD_SOLVER_H

#include "interior_point/method/options.h"
#include "interior_point/method/step.h"
#include "interior_point/method/warm_start.h"

namespace interior_point {

/// The codes of solve_Pb and acpdm_Pb.
enum class Code : int32_t {
  kSolved = 0,
  kStalled = -1,  ///< a usable point close to the tolerance: a further pass may succeed
  kIterationLimit = 1,
  kNumericalFailure = 2,  ///< no progress, no factorisation or not a number
  kOutOfMemory = 3,
  kInfeasible = 4,  ///< the form's verdict, or proven after a failure (certificates.h)
  kUnbounded = 5,   ///< likewise
  kBadArguments = 6,
};

struct Request {
  double tolerance = 1e-8;       ///< relative gap to reach
  double feasibility = 1.0;      ///< share of the usual infeasibilities to allow
  bool keep_centred = false;     ///< aim at the middle of the path
  bool must_be_centred = false;  ///< accept only products within the neighbourhood
};

enum class Start { kCold, kSaved, kCurrent };

class Solver {
 public:
  explicit Solver(std::shared_ptr<const ProblemForm> form);

  /// Runs the method. kSaved starts from `saved` where that is possible and pays, kCurrent goes on
  /// from the point as it is, by way of the solution in `saved` if there is one; both fall back to
  /// a cold start. Throws std::bad_alloc.
  Code solve(const Request &request, Start start, const SavedPoint *saved);

  /// Another start from scratch after a solve that ended with `first` from one, at a loose
  /// tolerance: with the stop of a tight one. A point of use stays where this does not solve the
  /// problem. Throws std::bad_alloc.
  Code retry_with_low_stop(const Request &request, Code first);

  /// Takes over a point that was found elsewhere, on the boundary perhaps: it is no start for
  /// another solve. `unit` is what its gap may be relative to. False, and everything as it was,
  /// where it does not meet the request.
  bool adopt(const Request &request, Point point, int32_t iterations, Unit unit = Unit::kObjective);

  /// Takes what the columns carry, and those with a z of at least `far`, out of the point's x by
  /// (31). False where that is too much.
  bool clear(const Vector<int32_t> &columns, double far, Point *point) const;

  /// Lets the measures speak of the products of another solver's point in place of an adopted
  /// one's.
  void report_products_of(const Solver &other);

  /// False when p and d cancel so strongly that hardly more than the tolerance is left of them.
  bool keeps_digits() const;

  /// The current point for a later start. Throws std::bad_alloc.
  SavedPoint save() const;
  bool has_point() const { return has_point_; }

  const ProblemForm &form() const { return form_; }
  const Point &point() const { return point_; }
  const Measures &measures() const { return measures_; }
  /// What the gap of the point is relative to.
  Unit unit() const { return unit_; }
  /// Iterations of the last solve, abandoned starts included.
  int32_t iterations() const { return iterations_; }
  bool started_cold() const { return started_cold_; }

 private:
  enum class Missing { kNothing, kCentrality, kMore };

  // Around the loop.

  /// Limits of gap and infeasibilities that the request comes to.
  void set_limits(const Request &request);
  /// Puts the point to (10). False when A A' could not be factorised.
  bool start_cold();
  /// Goes from the current point, a centre, towards an earlier solution by (34), unless that brings
  /// infeasibility beyond what is allowed.
  void approach_solution(const SavedPoint &solution);
  /// From that point.
  Code solve_cold(const Request &request);
  /// A start from scratch at the far end of the path, where penalty columns carry all.
  Code solve_from_penalties(const Request &request);
  /// First so and then from (10), after a saved point that lived on penalties. A usable point of
  /// the first stays where the second ends with none.
  Code solve_past_penalties(const Request &request);
  /// The same as another start. What the first one ended with stays
  /// where it is of use and this one ends with nothing better.
  Code retry_from_penalties(const Request &request, Code first);
  /// Another start from scratch after one that stalled at a point of use, which stays where this
  /// one does not solve the problem.
  Code retry_regularised(const Request &request);
  /// Takes an earlier point back. Its code.
  Code fall_back_to(const Point &usable);
  /// The main loop: from the point as it is to a code. The factor is what lowers the stop.
  Code iterate(const Request &request, double stop_factor = 1.0);
  /// When to give up at the present point.
  const StallRule &stall_rule() const;
  /// Ends the loop with the best point met. The code is softened where that point is of use.
  Code give_up(const Request &request, Code code);
  void remember_if_best(double distance);
  void recall_best();

  // Criteria.

  /// Residuals and measures of the point.
  void evaluate();
  /// What keeps the point from being accepted.
  Missing missing(const Request &request) const;
  /// How far the worst criterion of feasibility is from its limit: at most 1 when all are met.
  double infeasibility(const Measures &m) const;
  /// The same of all criteria but centrality.
  double distance() const;
  /// The largest |y'r_p| with which p may still serve as an upper bound.
  double defect_limit(const Measures &m) const;
  /// Where p and d cancel down to next to nothing, whether they agree as far as their terms let
  /// them. That is then what the gap is measured by.
  bool meets_in_terms(const Request &request);

  // A step.

  /// Factorises, finds the direction and moves. False when no factorisation was found.
  bool advance(const Request &request, bool centring_only);
  /// What a linear solve may leave of r_p.
  SolveAccuracy allowed_error() const;
  /// The same close to the end, with this much for a row and what the defect allows.
  SolveAccuracy closing_accuracy(double rows) const;
  /// The direction to the centre at the present mu, infeasibilities included.
  void centring_direction();
  /// The direction of an ordinary iteration: predictor, weighted corrector, centrality correctors.
  void predictor_corrector_direction(const Request &request);
  /// mu_t of (12), and with it the stop.
  double target(const Request &request, const StepLengths &predictor);
  /// Products of mu_t - scale dx dz.
  void aim_second_order_at(double target, double scale);
  /// direction += weight * (solution for mu_t - alpha_p alpha_d dx dz), weight 1 or min(alpha)^2.
  void add_weighted_corrector(double target, const StepLengths &predictor);
  /// direction += shares * (solution for mu_t - dx dz), by (35)
  void add_full_corrector(double target);
  /// direction += shares * corrector_, the shares of at least `least` that take it furthest.
  void add_best_shares(double least, Direction *direction) const;
  /// Adds correctors towards the neighbourhood of mu_t as long as they lengthen the steps.
  void add_centrality_correctors(double target, bool keep_centred);
  /// Goes a share of the way to the boundary, at most the whole direction.
  void move(const Request &request);

  // After a step.

  /// Whether dual residuals may go into z and v.
  bool absorbs_residuals() const;
  /// Residuals that are small against z or v go there: no step is needed where a product may change
  /// by that much.
  void absorb_dual_residuals();
  /// Lowers the regularisation that held the step back, if any did.
  void watch_regularisation();
  /// Lowers the stop where infeasibility or gap no longer fall close to it.
  void watch_stop();
  void lower_stop(double factor);
  /// What keeps the mu to stop at a multiple of the rounding error of p.
  double least_stop_factor() const;

  std::shared_ptr<const ProblemForm> shared_form_;
  const ProblemForm &form_;
  NewtonSystem newton_;
  Point point_, best_;
  Residuals residuals_;
  Measures measures_, last_measures_;
  StepLengths last_steps_;
  Direction direction_, corrector_, trial_;
  Products products_;
  double best_distance_ = kInfinity;
  StallRule stall_rule_ = kOptions.stall.cold;
  int32_t short_steps_ = 0;  // in a row, and how many are put up with
  int32_t short_steps_allowed_ = 0;
  double stop_factor_ = 1.0;    // lowers the mu to stop at
  int32_t stop_lowerings_ = 0;  // how often that was done
  double stop_mu_ = 0.0;        // the second entry of the maximum in (12)
  double factorisation_mu_ = 0.0;
  /// Of an earlier problem with these rows, until the first iteration.
  SavedFactorisation warm_factorisation_;
  Unit unit_ = Unit::kObjective;  // of the gap
  double tolerance_ = 1e-8;       // of the gap
  double feasibility_ = 1e-9;     // of the infeasibilities
  double dual_feasibility_ = 1e-9;
  double rhs_size_ = 1.0;  // the first terms of the primal denominator of (7)
  int32_t iterations_ = 0;
  bool has_point_ = false;
  bool started_cold_ = false;
  bool adopted_ = false;  // the point does not come from this solver's own iterations
};

}  // namespace interior_point

#endif

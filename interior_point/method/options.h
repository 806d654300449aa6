/**
 * What steers the method, in one record: each number with its reason, or where it comes from.
 *
 * Numbers of pure arithmetic (rounding of sums, guards against underflow) stand where they are
 * used. Where a comment counts netlib programs, these are the 25 of `solve_mps` at a gap of 1e-8,
 * and the transformed ones those of its --transform=all (benchmarks/README.md).
 */
#ifndef INTERIOR_POINT_METHOD_OPTIONS_H
#define INTERIOR_POINT_METHOD_OPTIONS_H

#include <cstdint>

namespace interior_point {

/// What a solution keeps to, given the relative gap that was asked for.
struct AccuracyOptions {
  /// Above this tolerance p and d may have opposite signs. Such a point says no more than the
  /// bounds a caller has, so that the same point could come back for ever: 2 % of small random
  /// master problems then ended with an open gap.
  double loosest_tolerance = 1.0;

  /// Infeasibilities (7): a share of the tolerance within these limits. Less on the dual side: the
  /// bound that prices give loses the worst reduced cost as many times as columns are used at all.
  /// At a tenth the loss came to more than the gap in 15 of 97,000 cold runs of small random
  /// masters, which then stood still, at a hundredth in 5.
  double tightest_feasibility = 1e-9;
  double loosest_feasibility = 1e-6;
  double primal_share = 0.1;
  double dual_share = 1e-3;

  /// p serves as an upper bound. |y'r_p|, by which it may miss the value of a feasible point, is at
  /// most this share of the gap and never more than the second value, relative: an upper bound
  /// outlives the gap it was found with.
  double defect_share = 0.1;
  double most_defect = 1e-8;
  /// |x'r_d| is part of p - d. On the way along an unbounded ray it may be all of p, while r_d is
  /// small beside terms that grow; a loose tolerance does not see that.
  double most_dual_defect = 0.1;

  /// What a stalled solve may hand out all the same: infeasibilities of at most the first value, a
  /// gap of at most so many tolerances (and never above loosest_tolerance).
  double usable_infeasibility = 1e-5;
  double usable_gap = 10.0;

  /// A point of a smaller problem has duals on the boundary. Where p and d cancel to this share of
  /// their terms or less, those of the interior may be better.
  double most_rounded = 1e-7;
};

/// The denominators of the measures (7).
struct MeasureOptions {
  double backward_share = 0.01;  ///< weight of the backward errors
  /// The objective below which the gap is measured absolutely: what column generation adds to its
  /// own denominator, and less where all costs are smaller than 1. It must not grow with the costs.
  /// While a master problem has nothing but penalty columns of cost 1e10, a share of 1e-5 of the
  /// least cost let a gap of 1.5 pass for one of 1e-5, and the same point came back for ever.
  double objective_floor = 1e-10;
  /// The same where p is what is left of the constant that shifts of columns gave: its rounding
  /// error is not to be closed.
  double constant_floor = 1e-6;
  /// An optimum of 0 has no relative gap. Where the digits of p cancel, the gap is measured by this
  /// share of the least cost or of the terms, whichever is less: terms grow with y where the dual
  /// has no interior, and the costs may be those of penalty columns that carry nothing.
  double terms_floor = 1e-5;
  /// Rounding errors are forgiven up to this share of the objective: beyond, a gap says nothing.
  double most_forgiven = 1e-7;
};

/// A solve goes on while its worst criterion falls by `factor` within `patience` iterations.
struct StallRule {
  double factor;
  int32_t patience;
};

/// When a solve is given up.
struct StallOptions {
  int32_t iteration_limit = 200;
  StallRule cold = {0.9, 25};
  /// From a saved point, as long as it is infeasible: it does not pay if that takes longer. A
  /// feasible one is on the path, where a start from scratch would have the same way to go. Given
  /// up there, 10,000 columns added to as many of 200 rows took 42 iterations in place of 22.
  StallRule warm = {0.1, 6};
  /// So many iterations without an improvement show that digits of p are missing which cancel.
  int32_t cancelled_patience = 3;
  /// With the stop of (12) as low as it gets, so many without an improvement are enough: the
  /// relaxation qiu is begun again sooner and takes 24 instead of 41 iterations.
  int32_t last_patience = 8;
  /// A step of less than this is short; more such steps in a row beside penalty columns, from the
  /// usual start, show a problem that lives on them.
  double short_step = 0.1;
  int32_t short_steps_allowed = 1;
  /// From a saved point they show cuts too deep for it: set covering takes 2 to 10 % fewer
  /// iterations than where only the patience above ends that.
  int32_t warm_short_steps_allowed = 2;
};

/// The symmetric neighbourhood of the central path: each product between gamma mu and mu / gamma,
/// gamma = 0.1. M. Colombo and J. Gondzio, Comput. Optim. Appl. 41 (2008) 277-305.
struct NeighbourhoodOptions {
  double least_product = 0.1;
  double largest_product = 10.0;
};

/// The target (12). The third power of mu_aff / mu is Mehrotra's, SIAM J. Optimization 2 (1992).
struct TargetOptions {
  /// kappa of points to be centred, and of others, where a smaller gap costs nothing.
  double centred_kappa = 0.8;
  double plain_kappa = 0.05;
  /// Beyond this tolerance a relative target chases p, which grows with mu.
  double loosest_aim = 0.5;
  double largest_rise = 3.0;
  double least_centred_sigma = 0.01;
  double infeasible_sigma = 0.5;  ///< times (1 - min alpha)^2
  /// After a short step mu has run ahead of the infeasibility: it goes up again. The relaxation
  /// nw04 takes 31 instead of 29 iterations without, swath 30 instead of 29.
  double raising_sigma = 2.0;
};

/// When the stop, the second entry of the maximum in (12), is lowered.
struct StopOptions {
  /// Where mu is within this factor of its stop, steps of this length should leave less than this
  /// share of an infeasibility, or of the gap. When they do not, the stop is lowered by the last
  /// factor, and further where that is known not to be enough: 1191 instead of 1362 iterations for
  /// 111 programs at tolerance 1, of which 20 took more than at 1e-8.
  double near = 3.0;
  double long_step = 0.9;
  double stalled_share = 0.5;
  double lowering = 0.1;
  /// A stop that was lowered by this much in all leaves a point too close to the boundary for
  /// another solve to start from.
  double far_down = 1e-3;
  /// The tolerance at which a stop is as low as rounding errors let it be of use.
  double least_aim = 1e-16;
  /// After so many lowerings in vain the defect is that of the data: rows contradict each other by
  /// a rounding error. p may then miss by the tolerance itself. finnis with scaled rows (seed 1 of
  /// --transform=rows) takes 51 instead of 19 iterations without.
  int32_t lowerings_in_vain = 3;
  /// Where p is large next to what the variables are worth, as beside costs of 1e10, the stop of a
  /// loose tolerance is above the mu of the start, and on the way up x leaves for 1e9. A second
  /// start has the stop of this tolerance: of 1,000 degenerate programs with costs of 1e-6 to 1e10
  /// 33 failed at tolerance 1 without, one with it.
  double second_aim = 1e-8;
};

/// Centrality correctors aim at steps of stretch * alpha + extra, at most `count` times, and are
/// taken in shares of at least `least_share` on either side.
struct CorrectorRule {
  int count;
  double stretch, extra;
  double least_share;
};

/// J. Gondzio, Comput. Optim. Appl. 6 (1996) 137-156.
struct CorrectorOptions {
  /// A little longer where the point is to stay in the middle of the path, much longer where only
  /// the number of iterations counts (15.4 instead of 17.3 in the mean of the netlib programs, 41
  /// instead of 56 on a degenerate RMP of 30,000 columns). Whole correctors bring products back;
  /// shares lengthen steps: without them the ten relaxations take 252 instead of 205 iterations,
  /// the netlib programs 337 instead of 310.
  CorrectorRule centred = {3, 1.08, 0.08, 1.0};
  CorrectorRule plain = {4, 1.0, 0.3, 0.1};
  /// The least share of the corrector with Mehrotra's whole second-order term, which is for a full
  /// step of both sides: where the predictor goes 0.02 of the way on one side, the other side may
  /// take all of it. Between 0.1 and 0.5 it makes little difference.
  double least_second_order = 0.2;
  /// A point is kept in the middle only where mu is within this factor of its stop. Before, the
  /// number of iterations counts in all solves: of eleven runs of lot sizing, assignment, cutting
  /// stock and flow ten took 3 to 45 % fewer, one 6 % more.
  double near_stop = 2.0;
  /// Gain in the sum of both steps that a corrector is kept for, and that another is tried for.
  double worth_keeping = 0.01;
  double worth_another = 0.05;
  double full_step = 0.999;  ///< beyond, no corrector could lengthen a step
};

/// The step itself.
struct StepOptions {
  /// Share of the way to the boundary. A point that is to be centred keeps further away.
  double centred_to_boundary = 0.95;
  double plain_to_boundary = 0.9995;
  /// A dual residual up to this share of z or v is taken up by it.
  double absorbed_share = 0.5;
};

/// How exactly (9) is solved.
struct LinearSolveOptions {
  /// A linear solve may leave this share of the infeasibility that is allowed, or of what there is,
  double error_share = 0.1;
  double error_of_residual = 1e-3;
  /// and, once the gap is within this factor of the tolerance, of the defect |y'r_p| that is
  /// allowed, but not less of the right-hand side than rounding leaves.
  double closing_gap = 1e3;
  double rounded_error = 1e-15;
  /// A direction is corrected so many times, as long as that takes a good part of its error away.
  int refinements = 3;
  double slow_refinement = 0.5;
  double overshoot = 0.5;  ///< share of the allowed error that a correction aims at
};

/// The primal (rho) and dual (delta) regularisation of (9), and the shift of the factorisation.
struct RegularisationOptions {
  /// delta is this share of the median of the diagonal of A Theta A', and never above the second
  /// value. An absolute constant fails where penalty columns make all of theta tiny.
  double delta_share = 1e-12;
  double largest_delta = 1e-8;
  /// Beside penalty columns it is at most this share of the least diagonal entry: those of rows
  /// that live on penalties are smaller than those of others by many orders of magnitude. At 1e-6
  /// column generation on fast0507 takes 379 iterations in place of 309, without 416.
  double delta_of_least = 1e-9;
  /// Where rows depend on each other, rounding errors of r_p, of this share of its terms, move y by
  /// their ratio to delta. At a degenerate optimum theta falls with mu, and without more delta y
  /// goes to 1e8 along rows that cancel: 20 of 6,000 solves with an optimum of 0 failed. The delta
  /// that keeps such a step below y is too small to be felt otherwise.
  double rounded_share = 2.2e-16;
  /// rho bounds theta, and with it the condition of M, where x grows without limit because the dual
  /// has no interior. Penalty columns that carry weight have a theta beyond it in their small unit.
  double rho = 1e-10;
  double rho_of_penalties = 1e-13;
  /// A linear solve leaves theta, at most 1 / rho, times a rounding error of r_p: beside a
  /// degenerate vertex more than is allowed, and refinement does not win it back. With a larger rho
  /// qiu takes 8 iterations to 1e-8 where it stalls without, but 25 netlib programs 350 in place of
  /// 342: it is for a second try.
  double raised_rho = 1e-7;
  /// A step of more than the first length that leaves this much more infeasibility than it promised
  /// is a reason to look at the regularisation.
  double telling_step = 0.3;
  double broken_promise = 0.2;
  /// With |x'r_d| above this share of it the gap waits for the dual residuals.
  double defect_of_gap = 0.1;
  /// What takes back this share of the residual that a step removes is lowered by the factor.
  double dominant_share = 0.1;
  double lowering = 0.01;
  /// rho of a column is lowered where rho dx is at least this share of what the column has left.
  /// For such columns alone it can go as low as they need: on degenerate programs whose optimum is
  /// far out, x takes hundreds of steps of r_d / rho to get there.
  double responsible_share = 0.5;
  /// Raise of the diagonal before Cholesky as a share of it, its growth on a breakdown, and the
  /// last one tried.
  double first_shift = 1e-13;
  double shift_growth = 100.0;
  double last_shift = 1e-4;
};

/// Theta of free columns, which have no barrier: x^2 / mu within limits.
struct FreeColumnOptions {
  /// A full step leaves dx / theta of a free column's dual residual: with a theta of the other
  /// columns' size the residuals of many free columns would come back with every step.
  double least_theta = 1e4;
  double largest_theta = 1e10;
  /// A column that leaves this share of the largest dual residual gets a theta larger by the
  /// factor, at most the last value. Without, the duals of ganges and pilot4 (--transform=dual)
  /// take 27 instead of 20 and 37 instead of 26 iterations, the duals of all netlib programs 452
  /// instead of 412.
  double leaving_share = 0.1;
  double growth = 10.0;
  double last_theta = 1e14;
};

/// The starting point (10).
struct StartOptions {
  double violation_shift = 1.5;  ///< times the largest violation; Mehrotra (1992), section 7
  double least_shift = 1e-3;     ///< where x or z of (10) is zero all over
};

/// When a saved point pays, and where columns are put (11).
struct WarmStartOptions {
  /// Beyond this depth (in half-widths of the dual ellipsoid) the point is worth less than a start
  /// from scratch; below 20 it is what ordinary runs show. Where penalty columns carry weight that
  /// start is from their end of the path.
  double deepest_cut = 60.0;
  /// Many cuts at once do the same when the root of the sum of their squared depths is above this:
  /// in runs of lot sizing and assignment most starts between 250 and 300 paid, and two of the six
  /// above 500 did.
  double deepest_cuts = 400.0;
  /// Behind cuts deeper than this all columns are put to the centre of their blocks, where there
  /// are such (block_centring.h). Lot sizing takes as few iterations from 2 or 6 on, five runs of
  /// assignment 609 and 599 in place of 584: there (11) does.
  double block_cut = 15.0;
  /// There mu rises by this power of the depth, and on by the factor until the defect is below the
  /// limit, but no further than the last value: by then a start from scratch is as near. With
  /// limits of 4 and 8 the iterations of lot sizing are within 4 % of each other; without one the
  /// first steps are shorter than 0.01 where the duals have far to go.
  double block_rise = 0.65;
  double next_rise = 1.5;
  double block_defect = 5.0;
  double most_rise = 500.0;
  /// The box counts as active where a penalty column has less than this share of its cost as slack.
  double active_box = 0.5;
  /// A new column whose duals exceed its cost by this factor meets rows that lived on the box.
  double penalty_cut = 1e3;
  /// A problem lives on its penalty columns where one carries this share of the right-hand side:
  /// elsewhere it is mu over their cost.
  double carried_share = 1e-3;
  /// A column whose cost was raised keeps at least this share of mu as its product.
  double least_product = 0.5;
  /// A removed column that carried this share of the right-hand side takes the point's feasibility
  /// along.
  double missed_share = 0.05;
};

/// The way from a centre towards an earlier solution (34).
struct ApproachOptions {
  /// Of the mean product. Five sets of runs of aggregated flow, assignment and cutting stock with
  /// one column a round take 3 % more iterations with 0.1, and with 0.02 as many in 1 % more
  /// rounds.
  double least_product = 0.05;
  /// lambda falls by the factor, down to the least one. Where products are too small it is tried on
  /// as long as it is above the last value.
  double shrink = 0.8;
  double least_lambda = 1e-6;
  double given_up = 0.1;
  /// A solution of other columns or right-hand sides may be infeasible: by so much of what is
  /// allowed, or as much as the centre, it does no harm.
  double most_infeasible = 100.0;
};

/// Clearing columns (31).
struct ClearingOptions {
  /// Three do on set partitioning, one elsewhere.
  int most_steps = 8;
  /// Columns that carry this share of the largest right-hand side are there to stay. On the way the
  /// error may grow where x is cut off at 0.
  double most_carried = 0.2;
};

/// Smaller penalties in place of those of the problem.
struct CappedPenaltyOptions {
  /// The first ones, in reference costs. On set partitioning from crews 10 took about as many
  /// iterations as 30 and a tenth less than 100; with 3 the caps were below the duals themselves.
  double cap = 10.0;
  /// Penalty columns that carry more than this share of the largest right-hand side are raised by
  /// the factor, once: if they go on carrying it the problem lives on them.
  double carried_share = 0.5;
  double raise = 100.0;
  /// Of less a closer point has to do with less: one at this share of the tolerance, once.
  double tightening = 0.1;
  /// In reference costs: a column whose reduced cost comes to this is one that rows force to 0, up
  /// to the penalties. On air04 2.1 steps clear a point then in place of 3.4; at 1 it fails.
  double far_cost = 3.0;
};

/// What counts as a proof (25), (26), and how it is looked for.
struct CertificateOptions {
  /// Sizes of x and y without a bound: in largest right-hand sides and in costs of the ray; the
  /// second in the largest of all costs, which beside a ray of cheap columns may be that of a
  /// penalty. With 10 and 1 instead none of 4,000 programs with an optimum was refuted either.
  double largest = 1e8;
  double largest_of_all = 1e3;
  double tolerance = 1e-8;  ///< what a proof has to exceed, relative to 1 + |b_i| and 1 + |c_j|
  /// From here on the hundredth of products in the measures' denominators outweighs right-hand
  /// sides and costs, and what is allowed of a residual without them.
  double far_out = 1e3;
  double unsuspicious = 1e-5;
  /// A proof stands or falls with the residuals of what it is made of: those of a usual solve,
  /// 1e-9, are multiplied with the largest x or y. With them 70 to 80 % of 300 programs without an
  /// optimum were told, with these all but one or two.
  double search_tolerance = 1e-8;
  double search_feasibility = 1e-3;
  /// Of the largest entry of a proof: less is what the path leaves in entries that should be 0.
  double least_shares[3] = {0.0, 1e-9, 1e-6};
  double least_part = 1e-7;  ///< of the largest entry of a ray: columns with less are left out
};

struct Options {
  AccuracyOptions accuracy;
  MeasureOptions measures;
  StallOptions stall;
  NeighbourhoodOptions neighbourhood;
  TargetOptions target;
  StopOptions stop;
  CorrectorOptions correctors;
  StepOptions step;
  LinearSolveOptions linear_solve;
  RegularisationOptions regularisation;
  FreeColumnOptions free_columns;
  StartOptions start;
  WarmStartOptions warm_start;
  ApproachOptions approach;
  ClearingOptions clearing;
  CappedPenaltyOptions capped_penalties;
  CertificateOptions certificates;
};

inline constexpr Options kOptions{};

}  // namespace interior_point

#endif

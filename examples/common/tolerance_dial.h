#ifndef EXAMPLES_COMMON_TOLERANCE_DIAL_H
#define EXAMPLES_COMMON_TOLERANCE_DIAL_H

namespace examples {

/**
 * How tightly the next restricted master problem is worth solving, learnt from the answers so far.
 *
 * The library solves it to the relative gap divided by `degree_of_optimality`. A small divisor
 * keeps the duals well inside, which is right where a round brings few columns or the duals are
 * degenerate; a large one is right where a round brings so many that the duals are nearly settled,
 * and only the looseness of the restricted master problems keeps the gap open.
 *
 * What tells the two apart is how fast the gap of the duals contracts. An answer leaves open
 *
 *     g = RHS'u - lower bound that u proves,
 *
 * which is minus its `lb_term`; c = g / (g one answer before), averaged geometrically with each
 * answer weighing as much as all those before it. Where c is near 1, tight solutions are wasted:
 * the next columns come from much the same duals. With c small the next gap will be about c times
 * this one, and a restricted master problem solved to more than that would be what holds the round
 * after next back. Hence the divisor 1.05 / c^3, which stays near 1 where c does and grows past
 * 1 / c in good time. Near 1 the duals are about the analytic centre of where optimal ones can be:
 * the products of slack and value then are what the gap leaves for each.
 *
 * Measured, iterations with the dial (fixed divisors 3, 20, 100), two instances each. One column a
 * call: cutting stock, 200 sizes, 332 and 397 (351 and 416, 417 and 519, 474 and 567); one for each
 * agent, assignment D and E 100 x 20, 284 and 405 (377 and 512, 460 and 625, 479 and 647). Many:
 * all diverse patterns, 15 and 16 (20 and 23, 14 and 15, 11 and 13); assignment D 200 x 20 and E
 * 400 x 40, 15 and 15 (21 and 23, 14 and 15, 11 and 15).
 */
class ToleranceDial {
 public:
  /// Takes the g of one answer in and returns the divisor for the next restricted master problem.
  /// A g that is not positive and finite starts the comparison over.
  double update(double dual_gap);

  double divisor() const { return divisor_; }

 private:
  double last_gap_ = 0.0;  ///< 0: there is none to compare with
  double contraction_ = 0.1;
  double divisor_ = 20.0;
};

/// The average contraction after an answer with contraction `latest`.
double average_contraction(double average, double latest);

/// The divisor for an average contraction, from 1.05 to 1000.
double divisor_for(double average);

}  // namespace examples

#endif

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
 * after next back. Hence the divisor 2 / c^3, which lies between 2 and 3 for c above 0.9 and grows
 * past 1 / c in good time.
 *
 * Measured on cutting stock (200 sizes, two instances), iterations with the dial and with the fixed
 * divisors 3, 20 and 100: with one column for each call 635 and 757 (642 and 769, 696 and 836, 712
 * and 894); with all diverse columns 13 and 13 (19 and 21, 13 and 16, 10 and 13).
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

/// The divisor for an average contraction, from 2 to 1000.
double divisor_for(double average);

}  // namespace examples

#endif

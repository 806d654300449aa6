#ifndef QUARN_CPP_TOLERANCE_DIAL_HPP
#define QUARN_CPP_TOLERANCE_DIAL_HPP

namespace quarn {
inline namespace v1 {
namespace detail {

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
 * which is minus its `lb_term`; c = g / (g one answer before), averaged geometrically over the
 * answers with the latest weighing a quarter. Where c is near 1, tight solutions are wasted: the
 * next columns come from much the same duals. The divisor then is 1.05 / c^3, so that the duals
 * stay about the analytic centre of where optimal ones can be: the products of slack and value are
 * what the gap leaves for each. Where c is below 0.6, the last answer's columns settle most of what
 * was open, and whatever a restricted master problem leaves open itself is missing from the next
 * bounds: it is solved as tightly as the library ever does. A run begins that way.
 *
 * The optimum need not be in the middle of what is open. Where the lower bound rises and values of
 * restricted masters hardly fall, it is close to the values: the columns are good, the duals are
 * not, and a looseness in proportion to the gap looks for them too deep. With f the share of the
 * falls in what closes the gap, averaged over the values that fall below all before, of which the
 * latest weighs a sixth, the divisor is raised by (0.25 / f)^2 below f = 0.25, at most by 6.
 *
 * Measured, iterations with the dial (fixed divisors 1.05, 20, 1000), on average. One column a
 * call: cutting stock, 200 sizes, 368 (359, 470, 536); one for each agent, assignment D and E
 * 200 x 20, 126 (124, -, 200). Many: cutting stock, published 8.7 (-, -, 8.9); lot sizing 50 x 30
 * and 100 x 40, seeds 2 and 3, 6.5 (-, -, 7.1); assignment D and E 200 x 20 to 400 x 80 and
 * multiple knapsack 9.6 (-, -, 10.2). Ten columns a call, cutting stock, 200 sizes: 53 (69, -, 64).
 * One column for each agent, multiple knapsack 400 x 10, where f falls to 0.1: 134 (212, 119, 132),
 * and 182 without the last rule.
 */
class ToleranceDial {
 public:
  /// The library holds its tolerance at a tenth of the final one; a divisor beyond says just that.
  static constexpr double kMostDivisor = 1e5;

  /// Takes the g of one answer in and returns the divisor for the next restricted master problem.
  /// A g that is not positive and finite, or less than a ten-thousandth of the last, starts the
  /// comparison over.
  double update(double dual_gap);

  /// The same after an answer without a bound, as of heuristic pricing: nothing has contracted.
  double update_without_bound();

  /// Takes in the value of a restricted master problem and the best lower bound after its answer,
  /// for the next update.
  void note_bounds(double value, double lower);

  double divisor() const { return divisor_; }

 private:
  double last_gap_ = 0.0;  ///< 0: there is none to compare with
  double contraction_ = 0.1;
  double divisor_ = kMostDivisor;
  bool has_value_ = false;
  double least_value_ = 0.0;
  double lower_then_ = 0.0;  ///< the lower bound beside the least value
  double fall_ = 0.5;  ///< averages of what closes the gap from above and below, relative to it
  double rise_ = 0.5;

  double divisor_now() const;
};

/// The average contraction after an answer with contraction `latest`.
double average_contraction(double average, double latest);

/// The divisor for an average contraction: from 1.05 at 1 to 4.9, and kMostDivisor below 0.6.
double divisor_for(double average);

/// The factor of the divisor where falling values close this share of the gap: from 1 to 6.
double sharpening_for(double share);

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

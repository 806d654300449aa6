#ifndef EXAMPLES_COMMON_POLYAK_STEP_H
#define EXAMPLES_COMMON_POLYAK_STEP_H

#include <vector>

namespace examples {

/**
 * Moves prices x towards a maximum of a concave function L whose value is known to be at most U:
 *
 *     x := P(x + (U - L(x)) / |s|^2 s),   s a subgradient of L at x,
 *
 * with P the projection onto [least, most] in every component; components of s that point out of
 * that interval are left out. `distance` is U - L(x). Returns false, and leaves x alone, when there
 * is nowhere to go: x is a maximum, or the distance is not positive and finite.
 *
 * Source: B. T. Polyak, Minimization of unsmooth functionals, USSR Computational Mathematics and
 * Mathematical Physics 9 (1969).
 */
bool polyak_step(std::vector<double> &x, const std::vector<double> &s, double distance,
                 double least, double most);

}  // namespace examples

#endif

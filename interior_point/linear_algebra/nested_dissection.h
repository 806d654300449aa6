/**
 * Nested dissection: a separator of the graph is ordered last, what is on either side of it before,
 * each side in the same way (A. George, Nested dissection of a regular finite element mesh, SIAM J.
 * Numer. Anal. 10 (1973) 345-363). Small parts are ordered by minimum degree.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_NESTED_DISSECTION_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_NESTED_DISSECTION_H

#include <cstdint>

#include "interior_point/linear_algebra/ordering.h"
#include "interior_point/vector.h"

namespace interior_point {

/// The unknown at each place.
Vector<int32_t> nested_dissection(const Adjacency &adjacency);

}  // namespace interior_point

#endif

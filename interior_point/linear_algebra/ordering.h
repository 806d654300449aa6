/**
 * A fill-reducing order of the unknowns of A A', or of the matrix (14) in which some columns of A
 * are unknowns of their own, and what the order says of the factor before that is looked at.
 *
 * Column k of the factor L has entries in the rows i whose subtree of the elimination tree holds k:
 * the tree and the lengths of all columns come from one walk over these subtrees (J. W. H. Liu, The
 * role of elimination trees in sparse factorization, SIAM J. Matrix Anal. Appl. 11 (1990) 134-172).
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_ORDERING_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_ORDERING_H

#include <cstdint>

#include "interior_point/linear_algebra/sparse_columns.h"
#include "interior_point/vector.h"

namespace interior_point {

/// Which unknowns each unknown meets, itself left out.
struct Adjacency {
  Vector<int64_t> start;
  Vector<int32_t> row;

  int32_t unknowns() const { return static_cast<int32_t>(start.size()) - 1; }
};

/// Adjacency of (14): the rows of A, which meet in the columns that are not in P, then the
/// columns `augmented` of P, increasing, which meet the rows of their entries.
Adjacency adjacency_of(const SparseColumns &A, const Vector<int32_t> &augmented);

/// An order in which columns follow the ones that they depend on, subtrees of the tree together.
struct Ordering {
  Vector<int32_t> place;   ///< per unknown
  Vector<int32_t> at;      ///< the unknown at each place
  Vector<int32_t> parent;  ///< per place: its parent in the elimination tree, -1 for a root
  Vector<int32_t> below;   ///< per place: entries of that column of L below the diagonal
};

/// An approximate minimum degree order (P. R. Amestoy, T. A. Davis, I. S. Duff, SIAM J. Matrix
/// Anal. Appl. 17 (1996) 886-905): the unknown at each place.
Vector<int32_t> minimum_degree(const Adjacency &adjacency);

/// The better of minimum degree and, where so many factorisations promise to win more than it
/// takes, nested dissection.
Ordering fill_reducing_order(const Adjacency &adjacency, double factorisations);

/// The order in which the unknown at each place is given, of subtrees that stand together.
Ordering order_as_given(const Adjacency &adjacency, Vector<int32_t> at);

/// Multiply-add pairs of a factorisation by columns.
double elimination_pairs(const Ordering &ordering);

/// Minimum degree with the marked unknowns, no two of which may meet, before all others.
Ordering fill_reducing_order(const Adjacency &adjacency, const Vector<uint8_t> &first);

}  // namespace interior_point

#endif

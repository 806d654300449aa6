/**
 * Sparse Cholesky of the normal matrix by supernodes.
 *
 * The rows are ordered by approximate minimum degree or nested dissection. Columns of the factor L
 * with the same pattern below them form a supernode: one dense panel, factorised by the kernels for
 * panels or, where it is wide, by those of a BLAS. A panel J gathers the updates of the panels
 * before it,
 *
 *   L_J L_J' = M_J - sum over K < J of L_K[rows of J] L_K[columns of J]',                      (13)
 *
 * one matrix product per K (left-looking; E. G. Ng and B. W. Peyton, SIAM J. Sci. Comput. 14 (1993)
 * 1034-1056). Small supernodes are merged with their parents while that adds few zeros. What is
 * dense of the factor ends up in one last panel, so the dense kernel does that share of the work
 * too.
 *
 * A long column of A fills its square in M. The augmented system of such columns does not: with
 * A = [S P], P these columns, and q = Theta_P P'y, the system M y = r becomes
 *
 *   [ A_S Theta_S A_S' + delta I   P           ] [ y ]   [ r ]
 *   [ P'                          -Theta_P^-1  ] [ q ] = [ 0 ],                              (14)
 *
 * which is quasidefinite: K = L D L' with D = diag(+-1), positive in the rows and negative in the
 * columns of P, exists for every order (R. J. Vanderbei, SIAM J. Optimization 5 (1995) 100-113), so
 * the ordering is free to pass through a dense column late, or through the rows of many columns
 * first, whichever fills less. With D in the middle of its products (13) stays as it is. q comes
 * out with the accuracy of y: see (24).
 *
 * Where A has far fewer columns than rows P is all of A, and the rows that have a diagonal
 * of their own go first, before the ordering looks at the rest: what they leave is of the order of
 * the columns.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_SPARSE_FACTORISATION_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_SPARSE_FACTORISATION_H

#include <memory>

#include "interior_point/linear_algebra/factorisation.h"
#include "interior_point/vector.h"

namespace interior_point {

/// A sparse factorisation of A Theta A', or of (14) with P the columns `augmented` (increasing),
/// where its elimination takes no longer than `work_limit` multiply-add pairs; null where it does.
/// Throws std::bad_alloc.
std::unique_ptr<Factorisation> make_sparse_factorisation(const SparseColumns &A,
                                                         const Vector<int32_t> &augmented,
                                                         double work_limit);

/// The same with the marked rows eliminated before all other unknowns. No two of them may have
/// entries in a column that is not one of P.
std::unique_ptr<Factorisation> make_sparse_factorisation(const SparseColumns &A,
                                                         const Vector<int32_t> &augmented,
                                                         const Vector<uint8_t> &first,
                                                         double work_limit);

}  // namespace interior_point

#endif

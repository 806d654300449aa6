/**
 * Sparse Cholesky of the normal matrix by supernodes.
 *
 * The rows are ordered by approximate minimum degree (P. R. Amestoy, T. A. Davis, I. S. Duff, SIAM
 * J. Matrix Anal. Appl. 17 (1996) 886-905). Columns of the factor L with the same pattern below
 * them form a supernode: one dense panel, factorised by the dense kernels. A panel J gathers the
 * updates of the panels before it,
 *
 *   L_J L_J' = M_J - sum over K < J of L_K[rows of J] L_K[columns of J]',                      (13)
 *
 * one matrix product per K (left-looking; E. G. Ng and B. W. Peyton, SIAM J. Sci. Comput. 14 (1993)
 * 1034-1056). Small supernodes are merged with their parents while that adds few zeros. What is
 * dense of the factor ends up in one last panel, so the dense kernel does that share of the work
 * too.
 *
 * A column of A with very many entries would fill M by itself. Such columns stay out of the sparse
 * part: with P = A_dense Theta_dense^1/2 and L L' the factor of the rest,
 *
 *   M^-1 = (L L')^-1 - V (I + P'V)^-1 V',   V = (L L')^-1 P.                                  (14)
 */
#ifndef INTERIOR_POINT_SPARSE_FACTORISATION_H
#define INTERIOR_POINT_SPARSE_FACTORISATION_H

#include <memory>

#include "interior_point/normal_equations.h"

namespace interior_point {

/// A sparse factorisation of A Theta A' where its work (in multiply-add pairs of the dense kernel)
/// is below `work_limit`, null where it is not. Throws std::bad_alloc.
std::unique_ptr<Factorisation> make_sparse_factorisation(const SparseColumns &A, double work_limit);

}  // namespace interior_point

#endif

/**
 * Cholesky of the normal matrix by blocks: an independent set of rows is eliminated first, what
 * remains is factorised densely.
 *
 * Let E be a set of rows of which every column of A touches at most one. Their block of M is then a
 * diagonal matrix D, and with K the other rows
 *
 *   M = [ D  C' ]     y_K = S^-1 (r_K - C D^-1 r_E),   S = B - C D^-1 C',                      (4)
 *       [ C  B  ]     y_E = D^-1 (r_E - C'y_K).
 *
 * Convexity rows are such a set, but not the only ones: in cutting stock the items longer than half
 * the stock never meet in a pattern. With E empty this is plain dense Cholesky.
 *
 * B is a sum of theta_j a_j a_j' over the columns, and -C D^-1 C' one of -c_e c_e' / d_e over E, so
 * a sparse C joins the columns of A as further rank-one updates of one sum,
 *
 *   S = delta I + sum over updates u of weight_u u u',                                         (5)
 *
 * which is formed column by column of S: the column being written stays in the nearest cache. Long
 * updates, and C when it is dense, go through rank-k updates instead.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_BLOCK_FACTORISATION_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_BLOCK_FACTORISATION_H

#include <memory>

#include "interior_point/linear_algebra/factorisation.h"
#include "interior_point/vector.h"

namespace interior_point {

/// Rows of an independent set, marked 1; at least one row stays unmarked.
Vector<uint8_t> independent_rows(const SparseColumns &A);

/// Work of one block factorisation with the rows marked in `eliminated` taken out first, in
/// multiply-add pairs of the dense kernel.
double block_factorisation_work(const SparseColumns &A, const Vector<uint8_t> &eliminated);

std::unique_ptr<Factorisation> make_block_factorisation(const SparseColumns &A,
                                                        const Vector<uint8_t> &eliminated);

}  // namespace interior_point

#endif

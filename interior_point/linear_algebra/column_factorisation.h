/**
 * Cholesky of the order of the columns, for an A with more rows than columns of several entries.
 *
 * With A = [S P], P the n columns with several entries, D = A_S Theta_S A_S' + diag(added) is
 * diagonal, and eliminating the rows first from (14) leaves a matrix of order n. A row i can go
 * first where D_i is not lost beside the P Theta_P P'_ii that the elimination has to bring back
 * from 1 / D_i. With E these rows and K the others,
 *
 *   S = Theta_P^-1 + P_E' D_E^-1 P_E = L L',   W = L^-1 P_K',   T = D_K + W'W,                (29)
 *
 *   g = L^-1 (P_E' D_E^-1 r_E - r_P),   y_K = T^-1 (r_K - W'g),
 *   q = L'^-1 (g + W y_K),   y_E = D_E^-1 (r_E - P_E q)                                       (30)
 *
 * solve (24). There is no subtraction on the way to a pivot, and q is as exact as y. Which rows go
 * first is decided with the numbers of each factorisation. All of it is dense.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_COLUMN_FACTORISATION_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_COLUMN_FACTORISATION_H

#include <memory>

#include "interior_point/linear_algebra/factorisation.h"

namespace interior_point {

/// Multiply-add pairs of the factorisation by columns of A, with half as many rows in K as there
/// are columns, as at a vertex, and no fewer than have no column with one entry.
double column_factorisation_work(const SparseColumns &A);

/// The factorisation by columns. Throws std::bad_alloc.
std::unique_ptr<Factorisation> make_column_factorisation(const SparseColumns &A);

}  // namespace interior_point

#endif

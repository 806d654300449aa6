/**
 * Which factorisation (factorisation.h) serves a matrix A best, by counting the work of each: dense
 * by blocks, dense by columns, sparse, or sparse of the augmented system (14) with the long columns
 * or with all of them.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_FACTORISATION_CHOICE_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_FACTORISATION_CHOICE_H

#include <memory>

#include "interior_point/linear_algebra/factorisation.h"
#include "interior_point/vector.h"

namespace interior_point {

/// Chooses a factorisation and works out its pattern. One for the same rows may be given as `last`:
/// its choices are made again only where they no longer hold. Columns marked in `is_free`, where it
/// is given, have a theta that may be huge against all others: they do not become unknowns whose
/// pivots start from -1 / theta, but may where rows are eliminated first. `A` must outlive nothing:
/// the entries that are needed are copied. Throws std::bad_alloc.
std::unique_ptr<Factorisation> make_factorisation(const SparseColumns &A,
                                                  const Factorisation *last = nullptr,
                                                  const Vector<uint8_t> *is_free = nullptr);

}  // namespace interior_point

#endif

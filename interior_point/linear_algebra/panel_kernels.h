/**
 * Dense kernels for narrow panels.
 *
 * Most supernodes of a sparse factor have a few to a few dozen columns. On matrices of that size
 * the calls, the packing and the short edges of a BLAS cost several times the arithmetic. The
 * kernels here work on a panel as it lies: four columns at a time, in strips of rows that stay in
 * registers over the whole inner product. Panels are column-major, `rows` apart, the square of the
 * factor on top (its upper triangle is neither read nor written). Of the squares of four columns on
 * the diagonal a factorised panel holds the inverses: a solve would wait for each of their
 * divisions.
 *
 * With signs d_k = +-1 the factorisation is K = L D L': column k of L counts with d_k in every
 * product. A null `sign` stands for D = I.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_PANEL_KERNELS_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_PANEL_KERNELS_H

#include <cstdint>

namespace interior_point {

/// Where the product of two blocks of one panel goes: entry (i, j) of the product is taken from row
/// place[i] and column place[j] of `panel`, its columns `leading` apart. Places increase.
struct ScatterTarget {
  double *panel;
  int32_t leading;
  const int32_t *place;
};

/// Numbers of scratch memory that the kernels need for each column of a panel.
constexpr int32_t kScratchPerColumn = 4;

struct PanelKernels {
  /// Factorises a panel in place. False at a pivot that is not of its sign.
  bool (*factorise)(int32_t rows, int32_t columns, const double *sign, double *panel,
                    double *scratch);

  /// target -= B D T' for j < `width` and i >= j, with B the `height` rows of a panel from `block`
  /// on and T the first `width` of these.
  void (*update)(int32_t height, int32_t width, int32_t rows, int32_t columns, const double *sign,
                 const double *block, const ScatterTarget &target, double *scratch);

  /// The first `columns` entries of x become L^-1 x, and their share is taken from the others.
  void (*solve)(int32_t rows, int32_t columns, const double *panel, double *x);

  /// The first `columns` entries of x become those of L^-T x, the others given.
  void (*solve_transposed)(int32_t rows, int32_t columns, const double *panel, double *x);

  /// y += A x for any panel A.
  void (*add_product)(int32_t rows, int32_t columns, const double *panel, const double *x,
                      double *y);
};

/// The kernels for the widest registers of this machine, but no wider than for `most` numbers: 2, 4
/// or 8.
const PanelKernels &panel_kernels(int32_t most = 8);

}  // namespace interior_point

#endif

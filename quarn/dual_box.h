/**
 * The box of the duals of the linking rows: the columns that carry it in the restricted master, and
 * the rules by which it is narrowed and widened, as functions of plain numbers.
 */
#ifndef QUARN_DUAL_BOX_H
#define QUARN_DUAL_BOX_H

#include <cstdint>

#include "quarn/quarn.h"

namespace quarn {

/// Linking row, counted from 0 and below m, that column j (from 0) of the dual-box columns bounds,
/// or -1 when the column has lost its form: edits of the rows leave the box columns of removed rows
/// with their cost alone.
int32_t box_column_row(const QUARN_SMatrix_CW &G, int32_t j, int32_t m);

/// First dual-box column with a value above the limit in env.lambda, or -1; a column that bounds no
/// row any more does not count.
int32_t box_column_above(const QUARN_env &env, double limit);

/// Factors by which a bound moves when its dual is close to it, further inside, and far inside.
struct WideningFactors {
  double close;
  double inside;
  double far;
};

/// Larger steps while the oracle still finds many columns.
WideningFactors widening_factors(int32_t ncols_last);

/// A bound after one step, and whether the expansion has to look at the box again.
struct WidenedBound {
  double bound;
  bool unfinished;
};

/// One step of an upper bound towards its limit; a lower bound is widened with all signs turned.
WidenedBound widened_bound(double bound, double limit, double dual, const WideningFactors &factors);

/// True when an upper bound may move at all: not negative, and short of its limit.
bool may_widen(double bound, double limit);

/// Lower end of the box: the wanted one, or the limit where that is the tighter one, but then never
/// above zero. A limit that is not a number gives zero.
double boxed_lower(double limit, double wanted);

/// The mirror image for the upper end.
double boxed_upper(double limit, double wanted);

}  // namespace quarn

#endif

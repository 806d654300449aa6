/**
 * The form of a linear program that is solved.
 *
 * The caller's problem has rows of three types with ranges and columns with any bounds:
 *
 *   minimise c'x   subject to   row_i(x) = b_i, >= b_i, <= b_i or within a range of b_i,
 *                               lower_j <= x_j <= upper_j.
 *
 * The form that is solved is
 *
 *   minimise c'x   subject to   A x = b,   x_j >= 0 unless j is free,   x_j + w_j = h_j where j
 *                               has a finite width h_j.                                       (1)
 *
 * and its dual, with z the duals of x >= 0 and v those of w >= 0,
 *
 *   maximise b'y - h'v   subject to   A'y + z - v = c,   z >= 0,   v >= 0.                     (2)
 *
 * On the way from one to the other: every inequality row gets a slack column; a column with a lower
 * bound is shifted to it, one with an upper bound alone is reflected at it; fixed columns, columns
 * without entries, and rows without entries are taken out; columns between two huge bounds become
 * free (huge_bounds.h); rows and columns are scaled by powers of two (scaling.h), so that going
 * back is exact.
 */
#ifndef INTERIOR_POINT_FORM_PROBLEM_FORM_H
#define INTERIOR_POINT_FORM_PROBLEM_FORM_H

#include <cstdint>
#include <limits>

#include "interior_point/linear_algebra/sparse_columns.h"
#include "interior_point/vector.h"

namespace interior_point {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

enum RowType : int32_t { kEqual = 1, kGreaterEqual = 2, kLessEqual = 3 };

/// What is known of a problem before the first iteration.
enum class Verdict { kOpen, kInfeasible, kUnbounded };

/// The bounds of a column that is free in the form because they are huge, in the caller's unit.
struct HugeBounds {
  int32_t column;
  double lower, upper;
};

/// A row or column that leaves a problem without an optimum by itself.
struct Culprit {
  int32_t index = -1;      ///< the caller's, from 0; -1 for none
  double direction = 0.0;  ///< 1 or -1: of the row's multiplier, or to where the column has no end
};

struct ProblemForm {
  // The form (1), scaled. Structural columns first, then one slack per inequality row.
  SparseColumns A;
  Vector<double> b;         ///< per row
  Vector<double> c;         ///< per column
  Vector<double> width;     ///< per column: h_j, infinite where there is none
  Vector<uint8_t> is_free;  ///< per column
  Vector<int32_t> boxed;    ///< the columns with a finite width, increasing
  int32_t structurals = 0;
  double objective_constant = 0.0;
  double reference_cost = 1.0;  ///< a typical cost of a structural column, in its scaled unit
  double least_cost = 1.0;      ///< the smallest cost that is not 0, in the caller's unit
  bool has_penalties = false;   ///< some column was shrunk for its large cost
  Verdict verdict = Verdict::kOpen;
  Culprit unbounded_column;   ///< where the verdict is kUnbounded
  Culprit contradictory_row;  ///< where it is kInfeasible and not for crossed bounds of a column

  // Back to the caller's problem.
  Vector<double> row_scale;        ///< scaled row = row_scale * row
  Vector<double> column_scale;     ///< x in the caller's unit = column_scale * scaled x
  Vector<double> row_unit;         ///< 1 / row_scale, exact
  Vector<double> column_unit;      ///< 1 / column_scale, exact
  Vector<int32_t> user_row;        ///< per row: the caller's row, from 0
  Vector<int32_t> user_column;     ///< per structural: the caller's column, from 0
  Vector<double> shift;            ///< per structural: the caller's x = shift + sign * x
  Vector<double> sign;             ///< per structural: 1, or -1 where reflected
  Vector<int32_t> row_type;        ///< per row: RowType of the caller's row
  Vector<int32_t> slack_row;       ///< per slack: its row
  SparseColumns removed;           ///< the columns taken out, unscaled, rows of the form
  Vector<int32_t> removed_user;    ///< per removed column: the caller's column, from 0
  Vector<double> removed_value;    ///< per removed column: its value
  Vector<double> removed_cost;     ///< per removed column: its cost
  Vector<uint64_t> fingerprint;    ///< per structural: hash of its entries, cost left out
  Vector<HugeBounds> huge_bounds;  ///< of columns that are free although they have bounds
  int32_t user_rows = 0;           ///< cost row included
  int32_t user_columns = 0;

  // Of the form (1), for the measures.
  int32_t pairs = 0;         ///< complementarity pairs: columns that are not free, and the widths
  double largest_rhs = 0.0;  ///< max|b| in the caller's units

  /// Works out `boxed`, `pairs` and `largest_rhs` from the rest. Throws std::bad_alloc.
  void derive();

  int32_t rows() const { return A.rows; }
  int32_t columns() const { return A.columns(); }
};

/// Writes x, scaled and per column of the form, in the caller's units and order: an entry for each
/// of the caller's columns that the form has or has taken out at a value.
void write_user_x(const ProblemForm &form, const Vector<double> &x, double *user_x);

}  // namespace interior_point

#endif

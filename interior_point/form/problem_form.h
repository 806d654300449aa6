/**
 * The problem as it is loaded and the form that is solved.
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
 * free, and the solution is tried against the bounds; rows and columns are scaled by powers of
 * two, so that the way back is exact.
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

/// The arrays of load_Pb, borrowed for the time of the call. Row and column starts count from 1,
/// the last row holds the costs.
struct LoadedArrays {
  const int32_t *row_type;
  const int32_t *col_start;
  const int32_t *rw;
  const double *elt;
  const double *rhs;
  const double *row_range;
  const double *col_lb;
  const double *col_ub;
  int32_t rows;  ///< cost row included
  int32_t columns;
};

/// What is known of a problem before the first iteration.
enum class Verdict { kOpen, kInfeasible, kUnbounded };

/// Huge bounds of a free column, in the caller's unit.
struct LooseBounds {
  int32_t column;
  double lower, upper;
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

  // Back to the caller's problem.
  Vector<double> row_scale;      ///< scaled row = row_scale * row
  Vector<double> column_scale;   ///< x in the caller's unit = column_scale * scaled x
  Vector<double> row_unit;       ///< 1 / row_scale, exact
  Vector<double> column_unit;    ///< 1 / column_scale, exact
  Vector<int32_t> user_row;      ///< per row: the caller's row, from 0
  Vector<int32_t> user_column;   ///< per structural: the caller's column, from 0
  Vector<double> shift;          ///< per structural: the caller's x = shift + sign * x
  Vector<double> sign;           ///< per structural: 1, or -1 where reflected
  Vector<int32_t> row_type;      ///< per row: RowType of the caller's row
  Vector<int32_t> slack_row;     ///< per slack: its row
  SparseColumns removed;         ///< the columns taken out, unscaled, rows of the form
  Vector<int32_t> removed_user;  ///< per removed column: the caller's column, from 0
  Vector<double> removed_value;  ///< per removed column: its value
  Vector<double> removed_cost;   ///< per removed column: its cost
  Vector<uint64_t> fingerprint;  ///< per structural: hash of its entries, cost left out
  Vector<LooseBounds> loose;     ///< columns that are free although they have bounds
  int32_t user_rows = 0;         ///< cost row included
  int32_t user_columns = 0;

  // Of the form (1), for the measures.
  int32_t pairs = 0;         ///< complementarity pairs: columns that are not free, and the widths
  double largest_rhs = 0.0;  ///< max|b| in the caller's units

  int32_t rows() const { return A.rows; }
  int32_t columns() const { return A.columns(); }
};

/// Makes the scaled form (1) of a loaded problem. Throws std::bad_alloc.
ProblemForm make_problem_form(const LoadedArrays &loaded);

/// Per boxed column, whether its box is so wide that it says nothing of the size of x: huge in the
/// caller's unit, and in the scaled one a multiple of the largest right-hand side, which a column
/// reaches that is alone with a row, the entries of A being at most about 1. None where all
/// right-hand sides are 0: then the boxes are all that gives x a size.
Vector<uint8_t> far_boxes(const ProblemForm &form);

/// A column between two huge bounds, nearer to neither, is free in the form, since a shift by one
/// of them would cost the digits of all that is small beside it. True when the values x of the
/// form, scaled, keep to such bounds.
bool keeps_to_loose_bounds(const ProblemForm &form, const Vector<double> &x);

/// The form with these bounds as a shift and a width like all others. Throws std::bad_alloc.
ProblemForm with_all_bounds(const ProblemForm &form);

}  // namespace interior_point

#endif

/**
 * A linear program that rows and columns are taken out of,
 *
 *   minimise c'x + constant   subject to   low_i <= a_i'x <= high_i,   lower_j <= x_j <= upper_j,
 *
 * with its entries linked by rows and by columns, so that taking out an entry or adding one costs
 * the same wherever it stands.
 */
#ifndef INTERIOR_POINT_PRESOLVE_REDUCIBLE_PROGRAM_H
#define INTERIOR_POINT_PRESOLVE_REDUCIBLE_PROGRAM_H

#include "interior_point/form/problem_form.h"
#include "interior_point/vector.h"

namespace interior_point {

/// The least and the largest value that a row can take within the bounds of its columns. Infinite
/// terms are counted instead of added.
struct Activity {
  double least = 0.0, most = 0.0;  ///< sums of the finite terms
  int32_t least_infinite = 0, most_infinite = 0;
  double least_size = 0.0, most_size = 0.0;  ///< sums of magnitudes: what rounding scales with

  double lower() const { return least_infinite > 0 ? -kInfinity : least; }
  double upper() const { return most_infinite > 0 ? kInfinity : most; }
};

class ReducibleProgram {
 public:
  static constexpr int32_t kNone = -1;

  struct Entry {
    int32_t row, column;
    double value;
    int32_t next_in_row, previous_in_row, next_in_column, previous_in_column;
  };

  /// The caller's rows and the shifted columns of a form, unscaled; slacks become intervals. Widths
  /// that are huge (huge_bounds.h) are left out: they imply nothing, and sums with them lose all
  /// digits. A solution has to be tried against them. Throws std::bad_alloc.
  explicit ReducibleProgram(const ProblemForm &form);

  int32_t rows() const { return static_cast<int32_t>(low.size()); }
  int32_t columns() const { return static_cast<int32_t>(lower.size()); }

  /// Walks of a row or column: for (t = first_in_row(i); t != kNone; t = entry(t).next_in_row)
  int32_t first_in_row(int32_t i) const { return row_head_[i]; }
  int32_t first_in_column(int32_t j) const { return column_head_[j]; }
  const Entry &entry(int32_t t) const { return entries_[t]; }

  /// The activity of row i, from the last call while nothing it rests on has changed.
  const Activity &activity(int32_t i);

  void set_bounds(int32_t j, double new_lower, double new_upper);
  /// Takes a constant part of a_i'x out of the row: its ends move by it.
  void shift_row(int32_t i, double part);
  /// a_ij += value; an entry that cancels is taken out.
  void add(int32_t i, int32_t j, double value);
  void remove_entry(int32_t t);
  void remove_row(int32_t i);
  void remove_column(int32_t j);

  // Per row.
  Vector<double> low, high;
  Vector<int32_t> row_length;
  Vector<uint8_t> row_alive;
  // Per column.
  Vector<double> cost, lower, upper;
  Vector<int32_t> column_length;
  Vector<uint8_t> column_alive;
  double constant = 0.0;
  // Rows and columns touched since their mark was last cleared.
  Vector<uint8_t> row_touched, column_touched;

 private:
  void insert(int32_t i, int32_t j, double value);
  int32_t find(int32_t i, int32_t j) const;

  Vector<Entry> entries_;
  Vector<int32_t> row_head_, column_head_;
  Vector<Activity> activity_;
  Vector<uint8_t> activity_known_;
};

}  // namespace interior_point

#endif

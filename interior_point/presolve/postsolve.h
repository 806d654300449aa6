/**
 * Postsolve: from a solution of a reduced program to one of the program it was made of.
 *
 * Every reduction pushes a record on a stack, and the records are undone last to first. Between two
 * of them the stack holds values x, duals y and reduced costs
 *
 *   d_j = c_j - sum_i a_ij y_i                                                                (15)
 *
 * over the rows and columns that were in the program at that moment. Optimality of the smaller
 * program and the rule of the record give optimality of the larger one:
 *
 * - Fixed column. x_j is the value, d_j comes from (15).
 *
 * - Singleton row a x_j in [low, high], which became bounds of x_j. Where d_j holds x_j to a bound
 *   that the row gave, y_i = d_j / a and d_j = 0; otherwise y_i = 0.                          (16)
 *
 * - Forcing row: low_i is the most (high_i the least) that the row can reach, and all its columns
 *   were fixed at the bounds where it does. y_i >= 0 (<= 0) has to give every d_j - a_ij y_i the
 *   sign of the bound:  y_i = max(0, max_j d_j / a_ij)  (min),  d_j -= a_ij y_i.              (17)
 *
 * - Substituted column. x_j = (b_i - sum_{k != j} a_ik x_k) / a_ij was put into the other rows and
 *   the costs. d_j = 0 gives y_i = (c_j - sum_{r != i} a_rj y_r) / a_ij; the other d_k stay.   (18)
 *
 * - Slack column, of cost 0 and with a single entry, which widened its row: d_j = -a_ij y_i, and
 *   x_j takes what the row has left.                                                          (19)
 *
 * - Doubleton row a x_j + b x_k = r, whose x_j was replaced and gave its bounds to x_k. The reduced
 *   cost of x_k was d'_k = d_k - (b/a) d_j. Where it holds x_k to a bound that came from x_j then
 *   d_k = 0, d_j = -(a/b) d'_k; otherwise d_j = 0, d_k = d'_k. y_i follows from d_j.           (20)
 *
 * - Parallel row a_r = s a_i, which left its interval to row i. Where y_i holds an end that came
 *   from row r, y_r = y_i / s and y_i = 0; otherwise y_r = 0.                                  (22)
 *
 * - Merged columns, x = x_j + s x_k: d_k = s d_j, and x_k goes to its bound on the side that d_j
 *   holds x to, as far as the bounds of x_j allow.                                            (23)
 */
#ifndef INTERIOR_POINT_PRESOLVE_POSTSOLVE_H
#define INTERIOR_POINT_PRESOLVE_POSTSOLVE_H

#include <cstddef>

#include "interior_point/presolve/reducible_program.h"
#include "interior_point/vector.h"

namespace interior_point {

/// Values and duals of a program and its reduced costs (15).
struct Solution {
  Vector<double> x, d;  ///< per column
  Vector<double> y;     ///< per row
};

/// The stack of records. Each function is called before the program is changed and copies what it
/// needs of it; all throw std::bad_alloc.
class PostsolveStack {
 public:
  /// Column j at `value`.
  void fixed_column(const ReducibleProgram &p, int32_t j, double value);
  /// Entry t is alone in its row; which bounds of the column the row gave.
  void singleton_row(const ReducibleProgram &p, int32_t t, bool gave_lower, bool gave_upper);
  /// Row i is forced at the most it can reach, or at the least.
  void forcing_row(const ReducibleProgram &p, int32_t i, bool at_most);
  /// The column of entry t by its row, whose value is b.
  void substituted_column(const ReducibleProgram &p, int32_t t, double b);
  /// The column of entry t has cost 0, no other entry, and joins the interval of its row.
  void slack_column(const ReducibleProgram &p, int32_t t);
  /// The column of entry t by its row, whose other column k took over the bounds given.
  void doubleton_row(const ReducibleProgram &p, int32_t t, int32_t k, double b, bool gave_lower,
                     bool gave_upper);

  /// Row r is s times row i, and which ends of the common interval it gave.
  void parallel_row(const ReducibleProgram &p, int32_t i, int32_t r, double s, bool gave_low,
                    bool gave_high);
  /// Column k is s times column j, in costs too.
  void merged_columns(const ReducibleProgram &p, int32_t j, int32_t k, double s);

  /// Completes a solution of the reduced program to one of the program before all records.
  void undo(Solution *solution) const;

 private:
  enum class Kind {
    kFixed,
    kSingletonRow,
    kForcingRow,
    kSubstituted,
    kSlack,
    kDoubleton,
    kParallelRow,
    kMerged
  };

  struct Record {
    Kind kind;
    int32_t row, column, other;  // i, j, k
    double pivot, other_pivot;   // a, b of (20)
    double value, cost;          // b_i or the fixed value, c_j
    double low, high, lower, upper;
    double other_lower, other_upper;  // of x_k in (23)
    bool first, second;               // gave_lower and gave_upper, or at_most
    std::size_t row_entries, column_entries, end;
  };

  Record &open(const ReducibleProgram &p, Kind kind, int32_t row, int32_t column);
  void store_row(const ReducibleProgram &p, int32_t i, int32_t without);
  void store_column(const ReducibleProgram &p, int32_t j, int32_t without);
  double value_from_row(const Record &r, const Solution &s) const;
  double row_sum(const Record &r, const Solution &s) const;
  double column_slack(const Record &r, const Solution &s) const;
  void undo_singleton_row(const Record &r, Solution *s) const;
  void undo_forcing_row(const Record &r, Solution *s) const;
  void undo_slack(const Record &r, Solution *s) const;
  void undo_doubleton(const Record &r, Solution *s) const;
  void undo_parallel_row(const Record &r, Solution *s) const;
  void undo_merged(const Record &r, Solution *s) const;

  Vector<Record> records_;
  // Entries of rows (by column) and columns (by row) at the time of their record.
  Vector<int32_t> index_;
  Vector<double> value_;
};

}  // namespace interior_point

#endif

/**
 * Column generation over the columns of a linear program that is there as a whole:
 *
 *   minimise c'x   subject to   a_i'x =, >= or <= b_i,   x >= 0.                                (1)
 *
 * Pricing looks at all columns, so nothing but the master is measured. Upper bounds on columns are
 * left out of the master: in set partitioning and covering they change nothing, and where they do
 * the known value tells. They are used for the lower bound,
 *
 *   b'u + sum_j h_j min(0, d_j),   d_j = c_j - a_j'u, h_j a bound on x_j,                       (2)
 *
 * in which the columns of one row of the form a_i'x <= or = b_i, a_i >= 0, share one such term,
 * that of min_j d_j / a_ij times b_i; and, for c >= 0, t b'u with the largest t <= 1 at which t u
 * is dual feasible.
 */
#ifndef BENCHMARKS_EXPLICIT_COLUMNS_H
#define BENCHMARKS_EXPLICIT_COLUMNS_H

#include <cstdint>
#include <memory>
#include <vector>

#include "benchmarks/linear_program.h"
#include "quarn_cpp/quarn.hpp"

namespace benchmarks {

/// The rows of (1). Throws std::invalid_argument for a program with ranges or with lower bounds
/// other than 0.
quarn::Master explicit_master(const LinearProgram &program);

/// Prices the columns of a program.
class ExplicitColumns {
 public:
  /// An answer has the `most` columns of least reduced cost, as far as that is negative.
  ExplicitColumns(std::shared_ptr<const LinearProgram> program, const quarn::Master &master,
                  int32_t most);

  /// For every row the `each` columns with the least cost for an entry.
  void add_first_columns(quarn::Master &master, int32_t each);

  quarn::Answer operator()(const quarn::Duals &duals, quarn::Columns &columns);

 private:
  void assign_rows();
  double reduced_cost(int32_t j, const double *u) const;
  double shared_term(const std::vector<double> &reduced) const;
  double scaling_term(const std::vector<double> &reduced, double dual_value) const;
  std::vector<quarn::Entry> take(int32_t j);

  std::shared_ptr<const LinearProgram> program_;
  std::vector<quarn::Row> rows_;
  int32_t most_;
  std::vector<int32_t> share_;  ///< by column: entry of the row whose term of (2) it has; -1: none
  std::vector<char> there_;     ///< by column: whether it is in the master
};

/// A set partitioning program like those of airline crews: `rows` flights over some days between
/// the cities of an airline, columns that are rotations from the base and back, each of up to eight
/// flights that follow each other in time and place. A hidden set of rotations meets all rows.
LinearProgram crew_program(int32_t rows, int32_t columns, int64_t seed);

/// A set covering program like those of railway crews: rows are trips in the order of their lines,
/// a column covers 2 to 12 of them in up to two stretches, and costs 1, or 2 where these are far
/// apart. Ties are many.
LinearProgram rail_program(int32_t rows, int32_t columns, int64_t seed);

/// Set covering (`type` kGreaterEqual) or partitioning (kEqual, with a hidden solution) without
/// structure: `share` of the rows of each column on average, in random places. Costs are 1 to 100
/// for covering, and for partitioning grow with the entries.
LinearProgram scattered_program(RowType type, int32_t rows, int32_t columns, double share,
                                int64_t seed);

}  // namespace benchmarks

#endif

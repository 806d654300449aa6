#include "benchmarks/transformed_programs.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "examples/common/lehmer.h"

namespace benchmarks {
namespace {

using Entries = std::vector<std::pair<int32_t, double>>;
using examples::Lehmer;

constexpr int32_t kMostExponent = 10;
constexpr int32_t kShare = 10;  ///< one in so many rows or columns

bool finite(double bound) { return std::fabs(bound) < kNoBound; }

Entries column(const LinearProgram &program, size_t j) {
  Entries entries;
  for (auto t = static_cast<size_t>(program.start[j]);
       t < static_cast<size_t>(program.start[j + 1]); ++t) {
    entries.emplace_back(program.row[t], program.value[t]);
  }
  return entries;
}

/// The program's rows, no columns.
LinearProgram rows_of(const LinearProgram &program) { return program.with_columns({}); }

/// The entries by rows: columns from 0.
std::vector<Entries> by_rows(const LinearProgram &program) {
  std::vector<Entries> rows(static_cast<size_t>(program.rows()));
  for (size_t j = 0; j < program.cost.size(); ++j) {
    for (const auto &[i, a] : column(program, j)) {
      rows[static_cast<size_t>(i)].emplace_back(static_cast<int32_t>(j), a);
    }
  }
  return rows;
}

double power_of_two(Lehmer &random) {
  return std::ldexp(1.0, static_cast<int>(random.draw(-kMostExponent, kMostExponent)));
}

std::vector<int32_t> shuffled(int32_t count, Lehmer &random) {
  std::vector<int32_t> order(static_cast<size_t>(count));
  std::iota(order.begin(), order.end(), 0);
  for (int32_t k = count - 1; k > 0; --k) {
    std::swap(order[static_cast<size_t>(k)], order[static_cast<size_t>(random.draw(0, k))]);
  }
  return order;
}

/// One column of the dual for each end of a row's interval: y >= 0 for the lower, y <= 0 for the
/// upper one, a free y for both where they are the same.
void add_row_duals(const Interval &bounds, const Entries &row, LinearProgram *dual) {
  if (bounds.lower == bounds.upper) {
    dual->add_column(-bounds.lower, -kNoBound, kNoBound, row);
    return;
  }
  if (finite(bounds.lower)) dual->add_column(-bounds.lower, 0.0, kNoBound, row);
  if (finite(bounds.upper)) dual->add_column(-bounds.upper, -kNoBound, 0.0, row);
}

/// The dual's row of column j, a_j'y <= c_j, with the duals of bounds that are not zero.
void add_column_duals(double lower, double upper, int32_t j, LinearProgram *dual) {
  if (finite(lower) && lower != 0.0) dual->add_column(-lower, 0.0, kNoBound, {{j, 1.0}});
  if (finite(upper) && upper != 0.0) dual->add_column(-upper, -kNoBound, 0.0, {{j, 1.0}});
}

/// Of the dual's row of a column: a bound of zero has a dual that costs nothing, the row's slack.
int32_t dual_row_type(double lower, double upper) {
  if (lower == 0.0 && upper != 0.0) return kLessEqual;
  if (upper == 0.0 && lower != 0.0) return kGreaterEqual;
  return kEqual;
}

LinearProgram dual_of(const LinearProgram &program) {
  LinearProgram dual;
  dual.objective_constant = -program.objective_constant;
  for (size_t j = 0; j < program.cost.size(); ++j) {
    dual.add_row(dual_row_type(program.lower[j], program.upper[j]), program.cost[j]);
  }
  const std::vector<Entries> rows = by_rows(program);
  for (int32_t i = 0; i < program.rows(); ++i) {
    add_row_duals(row_bounds(program, i), rows[static_cast<size_t>(i)], &dual);
  }
  for (size_t j = 0; j < program.cost.size(); ++j) {
    const double lower = program.lower[j], upper = program.upper[j];
    if (lower == 0.0 && upper == 0.0) {  // fixed at zero: both slacks
      dual.add_column(0.0, -kNoBound, kNoBound, {{static_cast<int32_t>(j), 1.0}});
    } else {
      add_column_duals(lower, upper, static_cast<int32_t>(j), &dual);
    }
  }
  return dual;
}

LinearProgram scaled_rows(const LinearProgram &program, Lehmer &random) {
  LinearProgram result = program;
  std::vector<double> factor;
  for (size_t i = 0; i < program.rhs.size(); ++i) {
    factor.push_back(power_of_two(random));
    result.rhs[i] *= factor[i];
    if (finite(result.row_range[i])) result.row_range[i] *= factor[i];
  }
  for (size_t t = 0; t < result.value.size(); ++t) {
    result.value[t] *= factor[static_cast<size_t>(result.row[t])];
  }
  return result;
}

LinearProgram scaled_columns(const LinearProgram &program, Lehmer &random) {
  LinearProgram result = rows_of(program);
  for (size_t j = 0; j < program.cost.size(); ++j) {
    const double factor = power_of_two(random);
    const auto divided = [factor](double bound) { return finite(bound) ? bound / factor : bound; };
    Entries entries = column(program, j);
    for (auto &[i, a] : entries) a *= factor;
    result.add_column(program.cost[j] * factor, divided(program.lower[j]),
                      divided(program.upper[j]), entries);
  }
  return result;
}

/// Rows that can be combined without a change of what is feasible.
std::vector<int32_t> equations(const LinearProgram &program) {
  std::vector<int32_t> result;
  for (int32_t i = 0; i < program.rows(); ++i) {
    const Interval bounds = row_bounds(program, i);
    if (bounds.lower == bounds.upper) result.push_back(i);
  }
  return result;
}

LinearProgram with_dependent_rows(const LinearProgram &program, Lehmer &random) {
  LinearProgram result = rows_of(program);
  const std::vector<int32_t> equal = equations(program);
  const auto draw_equation = [&] {
    return equal[static_cast<size_t>(random.draw(0, static_cast<int64_t>(equal.size()) - 1))];
  };
  // Which rows a row goes into, and with which factor.
  std::vector<Entries> copies(static_cast<size_t>(program.rows()));
  for (int32_t k = 0; k < (program.rows() + kShare - 1) / kShare; ++k) {
    const int32_t added = result.rows();
    const double factor = std::ldexp(1.0, static_cast<int>(random.draw(-2, 2)));
    if (equal.size() < 2) {
      const auto i = static_cast<size_t>(random.draw(0, program.rows() - 1));
      const double range = program.row_range[i];
      result.add_row(program.row_type[i], factor * program.rhs[i],
                     finite(range) ? factor * range : range);
      copies[i].emplace_back(added, factor);
      continue;
    }
    const int32_t first = draw_equation();
    int32_t second = draw_equation();
    while (second == first) second = draw_equation();
    result.add_row(kEqual,
                   row_bounds(program, first).lower + factor * row_bounds(program, second).lower);
    copies[static_cast<size_t>(first)].emplace_back(added, 1.0);
    copies[static_cast<size_t>(second)].emplace_back(added, factor);
  }
  for (size_t j = 0; j < program.cost.size(); ++j) {
    Entries entries = column(program, j);
    for (const auto &[i, a] : column(program, j)) {
      for (const auto &[added, factor] : copies[static_cast<size_t>(i)]) {
        entries.emplace_back(added, factor * a);
      }
    }
    result.add_column(program.cost[j], program.lower[j], program.upper[j], entries);
  }
  return result;
}

/// Adds x = x1 + x2, or x1 - x2 where x is free.
void add_halves(double cost, double lower, double upper, const Entries &entries,
                LinearProgram *result) {
  if (!finite(lower) && !finite(upper)) {
    Entries negative = entries;
    for (auto &[i, a] : negative) a = -a;
    result->add_column(cost, 0.0, kNoBound, entries);
    result->add_column(-cost, 0.0, kNoBound, negative);
  } else if (finite(lower) && finite(upper)) {
    const double half = 0.5 * (upper - lower);
    result->add_column(cost, lower, lower + half, entries);
    result->add_column(cost, 0.0, upper - lower - half, entries);
  } else {
    result->add_column(cost, lower, upper, entries);
    result->add_column(cost, finite(lower) ? 0.0 : lower, finite(upper) ? 0.0 : upper, entries);
  }
}

LinearProgram with_split_columns(const LinearProgram &program, Lehmer &random) {
  LinearProgram result = rows_of(program);
  for (size_t j = 0; j < program.cost.size(); ++j) {
    const double lower = program.lower[j], upper = program.upper[j];
    const Entries entries = column(program, j);
    const bool drawn = random.draw(1, kShare) == 1;
    if (drawn || (!finite(lower) && !finite(upper))) {
      add_halves(program.cost[j], lower, upper, entries, &result);
    } else {
      result.add_column(program.cost[j], lower, upper, entries);
    }
  }
  return result;
}

LinearProgram side_by_side(const LinearProgram &first, const LinearProgram &second) {
  LinearProgram result = first;
  result.objective_constant += second.objective_constant;
  for (size_t i = 0; i < second.rhs.size(); ++i) {
    result.add_row(second.row_type[i], second.rhs[i], second.row_range[i]);
  }
  for (size_t j = 0; j < second.cost.size(); ++j) {
    Entries entries = column(second, j);
    for (auto &[i, a] : entries) i += first.rows();
    result.add_column(second.cost[j], second.lower[j], second.upper[j], entries);
  }
  return result;
}

LinearProgram reordered(const LinearProgram &program, Lehmer &random) {
  const std::vector<int32_t> rows = shuffled(program.rows(), random);
  const std::vector<int32_t> columns = shuffled(program.columns(), random);
  LinearProgram result = program.with_columns(columns);
  std::vector<int32_t> place(rows.size());
  for (size_t k = 0; k < rows.size(); ++k) {
    const auto i = static_cast<size_t>(rows[k]);
    place[i] = static_cast<int32_t>(k);
    result.row_type[k] = program.row_type[i];
    result.rhs[k] = program.rhs[i];
    result.row_range[k] = program.row_range[i];
  }
  for (int32_t &i : result.row) i = place[static_cast<size_t>(i)];
  return result;
}

}  // namespace

const std::vector<std::string> &transformation_names() {
  static const std::vector<std::string> names = {"dual",  "rows",  "columns", "dependent",
                                                 "split", "union", "order"};
  return names;
}

LinearProgram transformed(const LinearProgram &program, const std::string &name, int32_t seed,
                          const LinearProgram &second) {
  Lehmer random(seed);
  LinearProgram result;
  if (name == "dual") {
    result = dual_of(program);
  } else if (name == "rows") {
    result = scaled_rows(program, random);
  } else if (name == "columns") {
    result = scaled_columns(program, random);
  } else if (name == "dependent") {
    result = with_dependent_rows(program, random);
  } else if (name == "split") {
    result = with_split_columns(program, random);
  } else if (name == "union") {
    result = side_by_side(program, second);
  } else if (name == "order") {
    result = reordered(program, random);
  } else {
    throw std::invalid_argument("there is no transformation \"" + name + "\"");
  }
  result.name = program.name + "/" + name + "/" + std::to_string(seed);
  return result;
}

double transformed_value(const std::string &name, double value, double second) {
  if (name == "dual") return -value;
  return name == "union" ? value + second : value;
}

}  // namespace benchmarks

#include "tests/interior_point/random_programs.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace random_programs {
namespace {

using benchmarks::Interval;
using benchmarks::kEqual;
using benchmarks::kGreaterEqual;
using benchmarks::kLessEqual;
using benchmarks::kNoBound;

using Entries = std::vector<std::pair<int32_t, double>>;

struct Column {
  Entries entries;
  double x, lower, upper;
  int sign;  ///< of the reduced cost that x allows: 0 between bounds, 2 for either
};

/// Bounds around a value of x and the side it is on.
Column draw_column(const Traits &traits, Random *random) {
  Column c = {{}, 0.0, 0.0, kNoBound, 0};
  const bool nonbasic = traits.homogeneous || random->chance(0.5);
  const bool at_bound = nonbasic || random->chance(traits.degenerate);
  if (!random->chance(traits.bounded)) {
    c.x = at_bound ? 0.0 : random->real(0.1, 10.0);
    c.sign = nonbasic ? 1 : 0;
    return c;
  }
  const double at = traits.homogeneous ? 0.0 : random->real(-10.0, 10.0);
  c.x = at;
  const double room = random->real(0.1, 10.0);
  switch (random->integer(0, 4)) {
    case 0:  // free
      c.lower = -kNoBound;
      return c;
    case 1:  // fixed
      c.lower = c.upper = at;
      c.sign = 2;
      return c;
    case 2:  // a lower bound alone
      c.lower = at_bound ? at : at - room;
      c.sign = nonbasic ? 1 : 0;
      return c;
    case 3:  // an upper bound alone
      c.lower = -kNoBound;
      c.upper = at_bound ? at : at + room;
      c.sign = nonbasic ? -1 : 0;
      return c;
    default: {  // both
      const bool at_lower = random->chance(0.5);
      c.lower = at_bound && at_lower ? at : at - room;
      c.upper = at_bound && !at_lower ? at : at + random->real(0.1, 10.0);
      c.sign = !nonbasic ? 0 : at_lower ? 1 : -1;
      return c;
    }
  }
}

Entries draw_entries(const Traits &traits, int32_t rows, Random *random) {
  Entries entries;
  if (random->chance(traits.empty)) return entries;
  if (traits.short_lines > 0.0 && random->chance(traits.short_lines)) {
    entries.emplace_back(random->integer(0, rows - 1), random->entry());
    if (random->chance(0.5)) entries.emplace_back(random->integer(0, rows - 1), random->entry());
    return entries;
  }
  const double density = random->chance(traits.dense_columns) ? 1.0 : traits.density;
  for (int32_t i = 0; i < rows; ++i) {
    if (!random->chance(density)) continue;
    entries.emplace_back(i, random->entry());
    // A row named twice means the sum.
    if (random->chance(0.02)) entries.emplace_back(i, random->entry());
  }
  return entries;
}

/// Adds a row that the activity satisfies and returns a dual that complements it.
double add_row_around(double activity, const Traits &traits, Random *random,
                      LinearProgram *program) {
  const bool active = traits.homogeneous || random->chance(0.6);
  const double dual = active && !random->chance(traits.degenerate) ? random->real(0.1, 5.0) : 0.0;
  const double away = active ? 0.0 : random->real(0.1, 10.0);
  const bool ranged = random->chance(traits.ranges);
  const double room = random->real(0.1, 10.0);
  if (random->chance(traits.equalities)) {
    if (!ranged) {
      program->add_row(kEqual, activity);
      return random->chance(0.5) ? dual : -dual;
    }
    // The interval from b to b + r with the activity at b: a lower end for r > 0.
    const double sign = random->chance(0.5) ? 1.0 : -1.0;
    program->add_row(kEqual, activity - sign * away, sign * (room + away));
    return sign * dual;
  }
  const double range = ranged ? room + away : kNoBound;
  if (random->chance(0.5)) {
    program->add_row(kGreaterEqual, activity - away, range);
    return dual;
  }
  program->add_row(kLessEqual, activity + away, range);
  return -dual;
}

std::vector<double> activities(int32_t rows, const std::vector<Column> &columns) {
  std::vector<double> result(static_cast<size_t>(rows), 0.0);
  for (const Column &c : columns) {
    for (const auto &[i, a] : c.entries) result[static_cast<size_t>(i)] += a * c.x;
  }
  return result;
}

/// Makes row `i` the sum of two others, or empties it.
void replace_row(int32_t i, bool by_sum, Random *random, std::vector<Column> *columns) {
  const int32_t first = random->integer(0, i - 1), second = random->integer(0, i - 1);
  for (Column &c : *columns) {
    double sum = 0.0;
    Entries others;
    for (const auto &[row, a] : c.entries) {
      if (row == first) sum += a;
      if (row == second) sum += a;
      if (row != i) others.emplace_back(row, a);
    }
    if (by_sum && sum != 0.0) others.emplace_back(i, sum);
    c.entries = others;
  }
}

Entries multiple_of(Entries entries, Random *random) {
  const double factor = random->entry();
  for (auto &[line, a] : entries) a *= factor;
  return entries;
}

/// The entries of one row by columns, taken out or put in.
Entries take_row(int32_t i, std::vector<Column> *columns) {
  Entries row;
  for (size_t j = 0; j < columns->size(); ++j) {
    Entries others;
    double sum = 0.0;
    for (const auto &[r, a] : (*columns)[j].entries) {
      if (r == i) sum += a;
      if (r != i) others.emplace_back(r, a);
    }
    if (sum != 0.0) row.emplace_back(static_cast<int32_t>(j), sum);
    (*columns)[j].entries = others;
  }
  return row;
}

void put_row(int32_t i, const Entries &row, std::vector<Column> *columns) {
  for (const auto &[j, a] : row) (*columns)[static_cast<size_t>(j)].entries.emplace_back(i, a);
}

/// What the bounds of the columns let the row just reach: columns between their bounds leave it.
Entries forced(const Entries &row, const std::vector<Column> &columns) {
  Entries kept;
  for (const auto &[j, a] : row) {
    const Column &c = columns[static_cast<size_t>(j)];
    if (c.x == c.upper) kept.emplace_back(j, std::fabs(a));
    if (c.x == c.lower && c.x != c.upper) kept.emplace_back(j, -std::fabs(a));
  }
  return kept;
}

/// Gives some rows a form that can be taken out of the program.
void make_rows_reducible(const Traits &traits, int32_t rows, Random *random,
                         std::vector<Column> *columns) {
  for (int32_t i = 0; i < rows; ++i) {
    if (random->chance(traits.short_lines)) {
      Entries row = take_row(i, columns);
      std::shuffle(row.begin(), row.end(), random->engine());
      row.resize(std::min(row.size(), static_cast<size_t>(random->integer(1, 2))));
      put_row(i, row, columns);
    } else if (random->chance(traits.forcing)) {
      put_row(i, forced(take_row(i, columns), *columns), columns);
    } else if (i > 0 && random->chance(traits.parallel)) {
      take_row(i, columns);
      const int32_t of = random->integer(0, i - 1);
      const Entries row = take_row(of, columns);
      put_row(of, row, columns);
      put_row(i, multiple_of(row, random), columns);
    }
  }
}

}  // namespace

Traits reducible() {
  Traits traits;
  traits.name = "reducible";
  traits.short_lines = 0.4, traits.parallel = 0.2, traits.forcing = 0.1;
  return traits;
}

std::vector<Traits> families() {
  std::vector<Traits> result(15);
  result[1].name = "degenerate", result[1].degenerate = 0.7;
  result[2].name = "bounded", result[2].bounded = 1.0;
  result[3].name = "equalities", result[3].equalities = 1.0, result[3].most_columns = 25;
  result[4].name = "ranged", result[4].ranges = 0.9;
  result[5].name = "dependent", result[5].dependent = 0.4, result[5].equalities = 0.8;
  result[6].name = "empty", result[6].empty = 0.3;
  result[7].name = "dense_columns", result[7].dense_columns = 0.2, result[7].density = 0.05;
  result[7].most_rows = 60, result[7].most_columns = 150;
  result[8].name = "badly_scaled", result[8].scale_decades = 3.0;
  result[9].name = "wide_costs", result[9].cost_decades[0] = -6, result[9].cost_decades[1] = 10;
  result[10].name = "homogeneous", result[10].homogeneous = true;
  result[11].name = "all_at_once", result[11].degenerate = 0.4, result[11].bounded = 0.6;
  result[11].ranges = 0.3, result[11].dependent = 0.2, result[11].empty = 0.1;
  result[11].dense_columns = 0.05, result[11].scale_decades = 1.0;
  // What a presolve feeds on: alone, with every kind of bound, and large enough for several passes.
  result[12] = reducible();
  result[13] = result[12], result[13].name = "reducible_bounded", result[13].bounded = 0.8;
  result[13].ranges = 0.3, result[13].degenerate = 0.4, result[13].empty = 0.05;
  result[14] = result[12], result[14].name = "reducible_large", result[14].density = 0.08;
  result[14].most_rows = 80, result[14].most_columns = 160, result[14].equalities = 0.6;
  return result;
}

KnownProgram draw_known(const Traits &traits, uint64_t seed) {
  Random random(seed);
  const int32_t m = random.integer(1, traits.most_rows);
  const int32_t n = random.integer(1, traits.most_columns);
  std::vector<Column> columns;
  for (int32_t j = 0; j < n; ++j) {
    columns.push_back(draw_column(traits, &random));
    columns.back().entries = draw_entries(traits, m, &random);
    if (traits.parallel > 0.0 && j > 0 && random.chance(traits.parallel)) {
      const auto of = static_cast<size_t>(random.integer(0, j - 1));
      columns.back().entries = multiple_of(columns[of].entries, &random);
    }
  }
  if (traits.short_lines > 0.0) make_rows_reducible(traits, m, &random, &columns);
  for (int32_t i = 2; i < m; ++i) {
    if (random.chance(traits.dependent)) {
      replace_row(i, true, &random, &columns);
    } else if (random.chance(traits.empty)) {
      replace_row(i, false, &random, &columns);
    }
  }
  // Units of rows and columns; all that follows is drawn in the new ones.
  const double decades = traits.scale_decades;
  std::vector<double> row_scale(static_cast<size_t>(m));
  for (double &s : row_scale) s = random.power_of_ten(-decades, decades);
  for (Column &c : columns) {
    const double s = random.power_of_ten(-decades, decades);
    c.x *= s;
    if (c.lower > -kNoBound) c.lower *= s;
    if (c.upper < kNoBound) c.upper *= s;
    for (auto &[i, a] : c.entries) a *= row_scale[static_cast<size_t>(i)] / s;
  }
  KnownProgram known = {{}, 0.0, 0.0};
  known.program.name = traits.name + " " + std::to_string(seed);
  std::vector<double> y;
  double largest_rhs = 0.0, dual_weight = 0.0, cost_weight = 0.0;
  for (const double activity : activities(m, columns)) {
    y.push_back(add_row_around(activity, traits, &random, &known.program));
    largest_rhs = std::max(largest_rhs, std::fabs(known.program.rhs.back()));
    dual_weight += std::fabs(y.back());
  }
  for (const Column &c : columns) {
    double cost = 0.0;
    for (const auto &[i, a] : c.entries) cost += a * y[static_cast<size_t>(i)];
    const double reduced = random.power_of_ten(traits.cost_decades[0], traits.cost_decades[1]);
    const double sign = c.sign == 2 ? random.integer(-1, 1) : c.sign;
    if (!random.chance(traits.degenerate)) cost += sign * reduced;
    known.program.add_column(cost, c.lower, c.upper, c.entries);
    known.optimum += cost * c.x;
    cost_weight += std::fabs(cost * c.x);
  }
  // The gap bounds the objective's distance from the optimum but for y'r, r the residual; rounding
  // of the optimum itself enters with the sum of its terms.
  known.slack = 2e-8 * std::fabs(known.optimum) + 1e-9 * (1.0 + largest_rhs) * dual_weight +
                1e-8 * cost_weight + 1e-8;
  return known;
}

LinearProgram draw_any(uint64_t seed) {
  Random random(seed);
  const int32_t m = random.integer(0, 6), n = random.integer(0, 8);
  LinearProgram program;
  program.name = "any " + std::to_string(seed);
  for (int32_t i = 0; i < m; ++i) {
    program.add_row(random.integer(1, 3), random.integer(-4, 6),
                    random.chance(0.2) ? random.integer(-3, 5) : kNoBound);
  }
  for (int32_t j = 0; j < n; ++j) {
    Entries entries;
    for (int32_t i = 0; i < m; ++i) {
      if (random.chance(0.6)) entries.emplace_back(i, random.integer(-3, 4));
    }
    const bool has_lower = random.chance(0.85);
    const double lower = random.chance(0.8) ? 0.0 : random.integer(-4, 4);
    const double upper = random.chance(0.4) ? lower + random.integer(0, 5) : kNoBound;
    program.add_column(random.integer(-2, 6), has_lower ? lower : -kNoBound, upper, entries);
  }
  return program;
}

LinearProgram in_huge_boxes(LinearProgram program, double size) {
  for (size_t j = 0; j < program.cost.size(); ++j) {
    if (program.upper[j] >= kNoBound)
      program.upper[j] = size * (1.0 + 0.01 * static_cast<double>(j % 7));
    if (program.lower[j] <= -kNoBound)
      program.lower[j] = -size * (1.0 + 0.01 * static_cast<double>(j % 5));
  }
  return program;
}

LinearProgram draw_rmp(int32_t linking, int32_t blocks, int32_t columns, double box,
                       uint64_t seed) {
  Random random(seed);
  LinearProgram program;
  program.name = "rmp " + std::to_string(seed);
  const int32_t type = blocks > 0 ? kEqual : kGreaterEqual;
  for (int32_t i = 0; i < linking; ++i) program.add_row(type, random.integer(1, 20));
  for (int32_t k = 0; k < blocks; ++k) program.add_row(kLessEqual, random.integer(5, 30));
  for (int32_t i = 0; i < linking; ++i) {
    program.add_column(type == kEqual ? box : 0.0, 0.0, kNoBound, {{i, -1.0}});
  }
  for (int32_t i = 0; i < linking; ++i) program.add_column(box, 0.0, kNoBound, {{i, 1.0}});
  for (int32_t j = 0; j < columns; ++j) {
    Entries entries;
    const int32_t first = random.integer(0, linking - 1);
    for (int32_t i = first; i < linking && entries.size() < 8; i += random.integer(1, linking)) {
      entries.emplace_back(i, random.integer(1, 3));
    }
    if (blocks > 0) entries.emplace_back(linking + random.integer(0, blocks - 1), 1.0);
    const double cost = blocks > 0 ? random.integer(1, 100) : 1.0;
    program.add_column(cost, 0.0, kNoBound, entries);
  }
  return program;
}

namespace {

/// The first column whose stated slack is not c_j - a_j'y, up to the part `share` of its terms.
std::string slack_fault(const LinearProgram &program, const std::vector<double> &y,
                        const std::vector<double> &slacks, double share) {
  for (size_t j = 0; j < slacks.size(); ++j) {
    double reduced = program.cost[j], terms = 1.0 + std::fabs(program.cost[j]);
    for (auto t = static_cast<size_t>(program.start[j]);
         t < static_cast<size_t>(program.start[j + 1]); ++t) {
      const double product = program.value[t] * y[static_cast<size_t>(program.row[t])];
      reduced -= product;
      terms += std::fabs(product);
    }
    if (std::fabs(slacks[j] - reduced) <= share * terms) continue;
    return " slack " + std::to_string(slacks[j]) + " of column " + std::to_string(j) +
           " instead of " + std::to_string(reduced);
  }
  return "";
}

}  // namespace

std::string optimality_faults(const LinearProgram &program, benchmarks::LoadedProblem *problem,
                              double gap, double infeasibility) {
  const std::vector<double> x = problem->x(), y = problem->duals();
  const benchmarks::Measures m = benchmarks::measure(program, x, y);
  std::ostringstream faults;
  if (!(m.primal_infeasibility <= infeasibility)) faults << " primal " << m.primal_infeasibility;
  if (!(m.dual_infeasibility <= infeasibility)) faults << " dual " << m.dual_infeasibility;
  if (!(m.gap <= gap)) faults << " gap " << m.gap << " at objective " << m.objective;
  for (int32_t i = 0; i < program.rows(); ++i) {
    const Interval bounds = benchmarks::row_bounds(program, i);
    const double dual = y[static_cast<size_t>(i)];
    if (std::isinf(bounds.upper) && dual < 0.0) faults << " dual of row " << i << " below 0";
    if (std::isinf(bounds.lower) && dual > 0.0) faults << " dual of row " << i << " above 0";
  }
  // Clipping a dual to its sign moves it by as much as the dual infeasibility allows.
  faults << slack_fault(program, y, problem->slacks(), 10.0 * infeasibility);
  const double stated = problem->objective(), own = m.objective - program.objective_constant;
  if (!(std::fabs(stated - own) <= 1e-9 * (std::fabs(own) + 1e-3))) {
    faults << " objective stated " << stated << " but c'x " << own;
  }
  return faults.str();
}

std::string non_finite_outputs(benchmarks::LoadedProblem *problem,
                               const benchmarks::SolveReport &report) {
  const auto bad = [](double value) { return !std::isfinite(value); };
  const auto any_bad = [&](const std::vector<double> &values) {
    return std::any_of(values.begin(), values.end(), bad);
  };
  std::string names;
  if (any_bad(problem->x())) names += " x";
  if (any_bad(problem->slacks())) names += " slacks";
  if (any_bad(problem->duals())) names += " duals";
  if (bad(problem->objective())) names += " objective";
  if (any_bad({report.tolerance, report.primal, report.bounds, report.dual})) names += " measures";
  if (any_bad({report.asmall, report.alarge})) names += " centrality";
  return names;
}

}  // namespace random_programs

/// Each reduction with its postsolve against the definition of an optimal pair: what is restored
/// from the solution of the reduced program has to be one of the program itself, in its own units
/// and without the solver's second chance to solve it unreduced.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "interior_point/method/solver.h"
#include "interior_point/presolve/presolve.h"
#include "tests/interior_point/forms.h"

namespace {

using benchmarks::kEqual;
using benchmarks::kGreaterEqual;
using benchmarks::kLessEqual;
using benchmarks::kNoBound;
using benchmarks::LinearProgram;
using interior_point::Code;
using interior_point::Presolved;
using interior_point::ProblemForm;
using interior_point::Request;
using interior_point::Solver;
using interior_point::Start;
using random_programs::KnownProgram;
using random_programs::Random;

constexpr double kInf = std::numeric_limits<double>::infinity();

/// A program around an optimal pair (x, y): ends of rows and bounds of columns are distances from
/// where the pair is, and the costs make d_j = c_j - a_j'y what it is said to be.
struct Draft {
  struct Row {
    double y, below, above;
  };
  struct Column {
    double x, d, below, above;
    std::vector<std::pair<int32_t, double>> entries;
  };

  explicit Draft(uint64_t seed) : random(seed) {}

  /// Seldom so little that a value near its end might pass for one at it.
  double room() { return random.chance(0.1) ? 2e-3 : random.real(0.5, 5.0); }
  double room_or_none() { return random.chance(0.5) ? room() : kInf; }
  int side() { return random.chance(0.5) ? 1 : -1; }

  /// A row held at its lower end (1), its upper end (-1), at neither (0), or an equality (2).
  int32_t add_row(int held) {
    const double size = random.real(0.5, 3.0);
    Row row = {0.0, room_or_none(), room()};
    if (held == 1) row = {size, 0.0, room_or_none()};
    if (held == -1) row = {-size, room_or_none(), 0.0};
    if (held == 2) row = {side() * size, 0.0, 0.0};
    rows.push_back(row);
    return static_cast<int32_t>(rows.size()) - 1;
  }

  /// A column held at its lower bound (1), its upper bound (-1), between the two (0), or free (2).
  int32_t add_column(int held) {
    const double x = random.real(-5.0, 5.0), size = random.real(0.5, 3.0);
    Column column = {x, 0.0, room(), room(), {}};
    if (held == 1) column = {x, size, 0.0, room_or_none(), {}};
    if (held == -1) column = {x, -size, room_or_none(), 0.0, {}};
    if (held == 2) column = {x, 0.0, kInf, kInf, {}};
    columns.push_back(column);
    return static_cast<int32_t>(columns.size()) - 1;
  }

  Row &row(int32_t i) { return rows[static_cast<size_t>(i)]; }
  Column &column(int32_t j) { return columns[static_cast<size_t>(j)]; }
  double put(int32_t i, int32_t j, double a) {
    column(j).entries.emplace_back(i, a);
    return a;
  }
  double put(int32_t i, int32_t j) { return put(i, j, random.entry()); }
  /// Entries in all rows of the base: a column that nothing is found about.
  int32_t spread(int32_t j) {
    for (int32_t i = 0; i < kBaseRows; ++i) put(i, j);
    return j;
  }
  double entry(int32_t i, int32_t j) {
    for (const auto &[r, a] : column(j).entries) {
      if (r == i) return a;
    }
    return 0.0;
  }

  /// Two equalities, two rows held at their lower and one held at its upper end, and columns
  /// without upper bounds. No rule takes anything out of it.
  void make_base() {
    for (const int held : {2, 2, 1, 1, -1}) {
      add_row(held);
      if (held == 1) rows.back().above = kInf;
      if (held == -1) rows.back().below = kInf;
    }
    for (int32_t j = 0; j < kBaseColumns; ++j) {
      spread(add_column(j % 2));
      columns.back().above = kInf;
      if (j > 3) continue;  // both signs in every row: no activity is finite
      for (auto &[i, a] : columns.back().entries) a = j < 2 ? std::fabs(a) : -std::fabs(a);
    }
  }

  KnownProgram finish() const {
    KnownProgram known = {{}, 0.0, 1e-7};
    std::vector<double> activity(rows.size(), 0.0);
    for (const Column &c : columns) {
      for (const auto &[i, a] : c.entries) activity[static_cast<size_t>(i)] += a * c.x;
    }
    for (size_t i = 0; i < rows.size(); ++i) {
      const double low = activity[i] - rows[i].below, high = activity[i] + rows[i].above;
      if (low == high) {
        known.program.add_row(kEqual, low);
      } else if (std::isinf(low)) {
        known.program.add_row(kLessEqual, high);
      } else {
        known.program.add_row(kGreaterEqual, low, std::isinf(high) ? kNoBound : high - low);
      }
    }
    for (const Column &c : columns) {
      double cost = c.d;
      for (const auto &[i, a] : c.entries) cost += a * rows[static_cast<size_t>(i)].y;
      if (std::fabs(cost) < 1e-12) cost = 0.0;
      known.program.add_column(cost, std::isinf(c.below) ? -kNoBound : c.x - c.below,
                               std::isinf(c.above) ? kNoBound : c.x + c.above, c.entries);
      known.optimum += cost * c.x;
      known.slack += 1e-7 * std::fabs(cost * c.x);
    }
    return known;
  }

  static constexpr int32_t kBaseRows = 5, kBaseColumns = 8;
  Random random;
  std::vector<Row> rows;
  std::vector<Column> columns;
};

/// Rows and columns that have to be gone.
struct Gone {
  int32_t rows, columns;
};

/// Plants what one rule is made for.
struct Rule {
  const char *name;
  Gone (*plant)(Draft *draft);
};
void PrintTo(const Rule &rule, std::ostream *stream) { *stream << rule.name; }

Gone singleton_row(Draft *d) {
  const int held = d->random.integer(-1, 2);
  const int32_t j = d->spread(d->add_column(0));
  if (d->random.chance(0.5)) d->column(j).below = d->column(j).above = kInf;
  d->put(d->add_row(held), j);
  return {1, held == 2 ? 1 : 0};
}

Gone redundant_row(Draft *d) {
  const int32_t i = d->add_row(0);
  double reach = 0.0;
  for (int k = 0; k < 3; ++k) {
    const int32_t j = d->spread(d->add_column(0));
    reach += std::fabs(d->put(i, j)) * (d->column(j).below + d->column(j).above);
  }
  d->row(i).below = d->random.chance(0.5) ? kInf : reach;
  d->row(i).above = reach;
  return {1, 0};
}

/// The bounds that make it redundant come from rows that are looked at later.
Gone row_made_redundant(Draft *d) {
  const int32_t i = d->add_row(0);
  double reach = 0.0;
  for (int k = 0; k < 3; ++k) {
    const int32_t j = d->spread(d->add_column(0)), r = d->add_row(0);
    d->row(r) = {0.0, d->room(), d->room()};
    const double a = d->put(r, j);
    d->column(j).below = d->column(j).above = 100.0;
    reach += std::fabs(d->put(i, j) / a) * (d->row(r).below + d->row(r).above);
  }
  d->row(i).below = d->row(i).above = reach;
  return {4, 0};
}

Gone forcing_row(Draft *d) {
  const int side = d->side();
  const int32_t i = d->add_row(side);
  if (d->random.chance(0.3)) d->row(i).below = d->row(i).above = 0.0;
  for (int k = 0; k < 3; ++k) {
    const double a = d->random.entry();
    const int32_t j = d->spread(d->add_column(a * side > 0.0 ? -1 : 1));
    if (k > 0) d->column(j).below = std::min(d->column(j).below, d->room());
    if (k == 2) d->column(j).d *= 100.0;  // one of them alone does not tell the dual
    d->put(i, j, a);
  }
  return {1, 3};
}

/// The signs of the rows' duals make d_j >= 0, or <= 0.
Gone dominated_column(Draft *d) {
  const int side = d->side();
  const int32_t j = d->add_column(side);
  for (const int32_t i : {2, 3, 4}) {
    const double a = std::fabs(d->random.entry());
    d->put(i, j, (i == 4) == (side > 0) ? a : -a);
    d->column(j).d += side * std::fabs(a * d->row(i).y);
  }
  return {0, 1};
}

/// A penalty column bounds the dual of its row, and that the reduced cost of another.
Gone column_by_dual_bounds(Draft *d) {
  const int side = d->side();  // of the dual
  const int32_t i = d->add_row(side);
  (side > 0 ? d->row(i).above : d->row(i).below) = kInf;
  for (int32_t j = 0; j < Draft::kBaseColumns; ++j) d->put(i, j);
  const int32_t penalty = d->add_column(1), dominated = d->add_column(1);
  d->column(penalty).above = kInf;
  const double a = d->put(i, penalty, side * d->random.real(0.5, 2.0));
  const double bound = d->row(i).y + d->column(penalty).d / a;
  const double b = d->put(i, dominated, side * d->random.real(0.5, 2.0));
  // Not parallel to the penalty: a second entry, whose dual is at least 0 and adds to the cost.
  const double more = d->put(2, dominated, -d->random.real(0.5, 2.0)) * -d->row(2).y;
  d->column(dominated).d = b * (bound - d->row(i).y) + more + d->random.real(0.1, 1.0);
  return {0, 1};
}

Gone slack_column(Draft *d) {
  int32_t i = d->random.integer(0, Draft::kBaseRows);
  if (i == Draft::kBaseRows) {  // a row that holds nothing
    i = d->add_row(0);
    for (int32_t j = 0; j < Draft::kBaseColumns; ++j) d->put(i, j);
  }
  const double a = d->random.entry(), y = d->row(i).y;
  const int32_t j = d->add_column(y == 0.0 ? 0 : -a * y > 0.0 ? 1 : -1);
  d->column(j).d = -a * y;
  d->put(i, j, a);
  return {0, 1};
}

Gone free_singleton_column(Draft *d) {
  d->put(d->random.integer(0, Draft::kBaseRows - 1), d->add_column(2));
  return {1, 1};
}

/// Bounds that the row and those of its other columns imply.
Gone implied_free_singleton_column(Draft *d) {
  const int32_t i = d->add_row(2), j = d->add_column(0);
  const double a = d->put(i, j);
  double range = 0.0;
  for (int k = 0; k < 2; ++k) {
    const int32_t other = d->spread(d->add_column(0));
    range += std::fabs(d->put(i, other)) * (d->column(other).below + d->column(other).above);
  }
  d->column(j).below = d->random.chance(0.3) ? kInf : range / std::fabs(a) + 0.1;
  d->column(j).above = range / std::fabs(a) + 0.1;
  return {1, 1};
}

Gone free_column_of_an_equality(Draft *d) {
  const int32_t i = d->add_row(2), j = d->add_column(2);
  for (const int32_t k : {j, 4, 5}) d->put(i, k);
  const int32_t first = d->random.integer(0, 3);
  d->put(first, j);
  if (d->random.chance(0.5)) d->put(first + 1, j);
  return {1, 1};
}

/// The lower bound of a column is implied by an equality, where its upper one, which another row
/// implies, would hide it behind rounding errors.
Gone implied_free_column_with_a_far_bound(Draft *d) {
  const int32_t i = d->add_row(2), r = d->add_row(0), j = d->add_column(0);
  d->row(r).below = kInf;
  d->put(i, j, 1.0);
  d->put(r, j, 1.0);
  d->column(j).below = 0.0;
  d->column(j).above = d->row(r).above;
  for (const bool first : {true, true, false, false}) {
    const int32_t other = d->spread(d->add_column(0));
    if (!first) d->column(other).below = 1e5;
    d->put(first ? i : r, other, first ? -1.0 : 1.0);
    (first ? d->column(j).below : d->column(j).above) += d->column(other).below;
  }
  return {1, 1};
}

Gone doubleton_equality(Draft *d) {
  const int32_t i = d->add_row(2);
  // Of the two columns one may be held, and not both: their ends would be one value.
  const int held = d->random.integer(-1, 1);
  const bool first_is_held = d->random.chance(0.5);
  for (const bool first : {true, false}) {
    const int32_t j = d->add_column(first == first_is_held ? held : 0);
    if (first != first_is_held && d->random.chance(0.5)) d->column(j).above = kInf;
    d->put(i, j);
    for (int32_t r = first ? 1 : 0; r < Draft::kBaseRows; ++r) d->put(r, j);
  }
  return {1, 1};
}

/// A multiple of a row of the base: either of the two may hold the end that counts.
Gone parallel_row(Draft *d) {
  const int32_t i = d->random.integer(0, Draft::kBaseRows - 1);
  const double s = d->random.entry();
  const int32_t r = d->add_row(0);
  for (int32_t j = 0; j < Draft::kBaseColumns; ++j) d->put(r, j, s * d->entry(i, j));
  if (d->random.chance(0.5)) {
    Draft::Row &own = d->row(i), &other = d->row(r);
    const double size = std::fabs(s);
    other = {own.y / s, size * (s > 0.0 ? own.below : own.above),
             size * (s > 0.0 ? own.above : own.below)};
    own = {0.0, d->room_or_none(), d->room()};
  }
  return {1, 0};
}

Gone parallel_columns(Draft *d) {
  const int32_t j = d->random.integer(0, Draft::kBaseColumns - 1);
  const double s = d->random.entry();
  const double reduced = s * d->column(j).d;
  const int32_t k = d->add_column(reduced > 0.0 ? 1 : reduced < 0.0 ? -1 : 0);
  d->column(k).d = reduced;
  for (int32_t i = 0; i < Draft::kBaseRows; ++i) d->put(i, k, s * d->entry(i, j));
  return {0, 1};
}

/// Of two parallel columns the one with the worse ratio of cost to entries.
Gone dominated_parallel_column(Draft *d) {
  const int32_t j = d->random.integer(0, Draft::kBaseColumns - 1);
  const double s = d->random.entry();
  const int32_t k = d->add_column(s > 0.0 ? 1 : -1);
  d->column(k).d += s * d->column(j).d;
  for (int32_t i = 0; i < Draft::kBaseRows; ++i) d->put(i, k, s * d->entry(i, j));
  return {0, 1};
}

/// The first is dominated by the second, which takes its place and is joined by the third.
Gone three_parallel_columns(Draft *d) {
  const int32_t j = 2 * d->random.integer(0, Draft::kBaseColumns / 2 - 1) + 1;
  for (int k = 0; k < 2; ++k) {
    const int32_t other = d->add_column(0);
    d->column(other).above = kInf;
    const double s = d->random.real(0.2, 5.0);
    for (int32_t i = 0; i < Draft::kBaseRows; ++i) d->put(i, other, s * d->entry(i, j));
  }
  return {0, 2};
}

/// Leaves a bound that holds a column to a row of its own: d_j has to get there through all that
/// becomes of the column in between.
void bound_by_row(Draft *d) {
  const int32_t j = d->random.integer(0, static_cast<int32_t>(d->columns.size()) - 1);
  Draft::Column &c = d->column(j);
  if (c.d == 0.0) return;
  const double a = d->random.entry();
  const int32_t i = d->add_row(a * c.d > 0.0 ? 1 : -1);
  d->row(i).y = c.d / a;
  (c.d > 0.0 ? c.below : c.above) = d->room_or_none();
  c.d = 0.0;
  d->put(i, j, a);
}

const Rule kRules[] = {{"SingletonRow", singleton_row},
                       {"RedundantRow", redundant_row},
                       {"RowMadeRedundant", row_made_redundant},
                       {"ForcingRow", forcing_row},
                       {"DominatedColumn", dominated_column},
                       {"ColumnByDualBounds", column_by_dual_bounds},
                       {"SlackColumn", slack_column},
                       {"FreeSingletonColumn", free_singleton_column},
                       {"ImpliedFreeSingletonColumn", implied_free_singleton_column},
                       {"FreeColumnOfAnEquality", free_column_of_an_equality},
                       {"ImpliedFreeColumnWithAFarBound", implied_free_column_with_a_far_bound},
                       {"DoubletonEquality", doubleton_equality},
                       {"ParallelRow", parallel_row},
                       {"ParallelColumns", parallel_columns},
                       {"DominatedParallelColumn", dominated_parallel_column},
                       {"ThreeParallelColumns", three_parallel_columns}};

/// Solves the reduced program tightly and tries what is restored against the program.
void expect_optimal_pair(const KnownProgram &known, const ProblemForm &form,
                         const Presolved &presolved) {
  Solver reduced(presolved.reduced());
  Request tight;
  tight.tolerance = 1e-9, tight.feasibility = 0.1;
  ASSERT_EQ(reduced.solve(tight, Start::kCold, nullptr), Code::kSolved);
  EXPECT_NEAR(reduced.measures().objective, known.optimum, known.slack) << "of the reduced program";
  const interior_point::Point point = presolved.restore(reduced.point());
  const benchmarks::Measures m = benchmarks::measure(known.program, forms::caller_x(form, point),
                                                     forms::caller_y(form, point));
  // Postsolve multiplies errors by ratios of entries, here up to 50, along a few records.
  EXPECT_LE(m.primal_infeasibility, 1e-7);
  EXPECT_LE(m.dual_infeasibility, 1e-7);
  EXPECT_NEAR(m.objective, known.optimum, known.slack);
  EXPECT_NEAR(m.dual_objective, known.optimum, 10.0 * known.slack);
  Request loose;
  loose.tolerance = 1e-5;
  EXPECT_TRUE(Solver(std::make_shared<const ProblemForm>(form)).adopt(loose, point, 0))
      << "z and v are not those of x and y";
}

class Reduction : public testing::TestWithParam<Rule> {};

TEST_P(Reduction, IsMadeAndUndoneToAnOptimalPair) {
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    Draft draft(seed);
    draft.make_base();
    const Gone gone = GetParam().plant(&draft);
    const KnownProgram known = draft.finish();
    const ProblemForm form = forms::form_of(known.program);
    const Presolved presolved(form);
    ASSERT_NE(presolved.reduced(), nullptr);
    EXPECT_EQ(presolved.reduced()->rows(), form.rows() - gone.rows);
    EXPECT_EQ(presolved.reduced()->structurals, form.structurals - gone.columns);
    expect_optimal_pair(known, form, presolved);
  }
}

INSTANTIATE_TEST_SUITE_P(OfOneRule, Reduction, testing::ValuesIn(kRules),
                         [](const auto &rule) { return std::string(rule.param.name); });

TEST(Presolve, LeavesAProgramAloneThatNoRuleIsMadeFor) {
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    Draft draft(seed);
    draft.make_base();
    const ProblemForm form = forms::form_of(draft.finish().program);
    EXPECT_EQ(Presolved(form).reduced(), nullptr) << seed;
  }
}

/// One reduction makes room for the next, and all are undone in their order.
TEST(Presolve, UndoesManyReductionsToAnOptimalPair) {
  int reduced = 0;
  for (uint64_t seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    Draft draft(seed);
    draft.make_base();
    for (int k = 0; k < 6; ++k) {
      kRules[draft.random.integer(0, std::size(kRules) - 1)].plant(&draft);
      bound_by_row(&draft);
    }
    const KnownProgram known = draft.finish();
    const ProblemForm form = forms::form_of(known.program);
    const Presolved presolved(form);
    if (!presolved.reduced()) continue;
    ++reduced;
    expect_optimal_pair(known, form, presolved);
  }
  EXPECT_GE(reduced, 295) << "what is planted may hide what was planted before, but seldom all";
}

/// Whatever it is made of, no restored point leaves its bounds without a residual that says so.
TEST(Presolve, RestoresPointsWithinTheirBounds) {
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    const KnownProgram known = random_programs::draw_known(random_programs::families()[13], seed);
    const ProblemForm form = forms::form_of(known.program);
    const Presolved presolved(form);
    if (!presolved.reduced()) continue;
    Random random(seed);
    const auto at = forms::random_interior_point(*presolved.reduced(), &random);
    const interior_point::Point point = presolved.restore(at);
    for (int32_t j = 0; j < form.columns(); ++j) {
      EXPECT_TRUE(form.is_free[j] || (point.x[j] >= 0.0 && point.z[j] >= 0.0)) << seed;
    }
    for (size_t k = 0; k < form.boxed.size(); ++k) {
      EXPECT_TRUE(point.w[k] >= 0.0 && point.v[k] >= 0.0) << seed;
      EXPECT_EQ(point.w[k], form.width[form.boxed[k]] - point.x[form.boxed[k]]);
    }
  }
}

/// Feasible to the last digit, and far from optimal.
TEST(Presolve, DoesNotHavePointsAcceptedThatLeaveAGap) {
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    Draft draft(seed);
    draft.make_base();
    const auto form = std::make_shared<const ProblemForm>(forms::form_of(draft.finish().program));
    Request loose, tight;
    loose.tolerance = 0.1, loose.feasibility = 1e-3;
    Solver first(form), second(form);
    ASSERT_EQ(first.solve(loose, Start::kCold, nullptr), Code::kSolved);
    tight.feasibility = 100.0;
    EXPECT_TRUE(second.adopt(loose, first.point(), 0));
    const double gap = second.measures().gap;
    interior_point::Point other = first.point();
    for (double &e : other.x) e *= 2.0;
    EXPECT_FALSE(second.adopt(loose, other, 0));
    EXPECT_EQ(second.point().x, first.point().x) << "of a refused point nothing is kept";
    EXPECT_EQ(second.measures().gap, gap);
    EXPECT_EQ(second.adopt(tight, first.point(), 0), gap <= tight.tolerance);
  }
}

/// The programs that were reduced and solved, and those whose restored solution was accepted.
struct Count {
  int reduced = 0, accepted = 0;

  void add(const std::shared_ptr<const ProblemForm> &form) {
    const Request request;
    const Presolved presolved(*form);
    if (!presolved.reduced()) return;
    Solver small(presolved.reduced());
    if (small.solve(request, Start::kCold, nullptr) != Code::kSolved) return;
    ++reduced;
    accepted += Solver(form).adopt(request, presolved.restore(small.point()), 0, small.unit());
  }
};

class ReducedProgram : public testing::TestWithParam<random_programs::Traits> {};

/// Where the restored solution does not meet the request the solver begins again without a word:
/// the answer stays right, so only its acceptance tells of a postsolve that has gone bad.
TEST_P(ReducedProgram, HasASolutionThatIsAcceptedAtOnce) {
  Count count;
  for (uint64_t seed = 1; seed <= 150; ++seed) {
    const auto form = std::make_shared<const ProblemForm>(
        forms::form_of(random_programs::draw_known(GetParam(), seed).program));
    count.add(form);
  }
  EXPECT_GE(count.reduced, 90);
  // Where the optimum is 0, so are the errors that a gap may be relative to.
  EXPECT_GE(count.accepted, (GetParam().homogeneous ? 0.95 : 0.98) * count.reduced);
}

/// Widths that say nothing of x imply nothing, and rounding errors times them are no objective.
TEST(Presolve, IsNotMisledByHugeBoxes) {
  Count count;
  for (uint64_t seed = 1; seed <= 100; ++seed) {
    const KnownProgram known = random_programs::draw_known(random_programs::reducible(), seed);
    const auto form = std::make_shared<const ProblemForm>(
        forms::form_of(random_programs::in_huge_boxes(known.program, 1e9)));
    count.add(form);
  }
  EXPECT_GE(count.reduced, 90);
  EXPECT_GE(count.accepted, 0.95 * count.reduced);
}

INSTANTIATE_TEST_SUITE_P(Families, ReducedProgram, testing::ValuesIn(random_programs::families()),
                         [](const auto &family) { return family.param.name; });

}  // namespace

// The C++ interface on masters with a known optimal value: alone, after edits, and beside the C
// interface.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <sstream>
#include <thread>

#include "quarn/quarn.h"
#include "tests/cpp/random_masters.h"
#include "tests/support/captured_output.h"

namespace {

using masters::Program;
using masters::ProgramMaster;
using quarn::Answer;
using quarn::Columns;
using quarn::Duals;
using quarn::Master;
using quarn::Result;
using quarn::Row;
using quarn::RowSense;
using quarn::Sense;
using quarn::Settings;
using quarn::Status;

// The gap is relative to the value, and a primal solution feasible to about the tolerance.
double allowed(double value) { return 1e-5 * (1.0 + std::fabs(value)); }

/// Bounds, solution and duals agree with each other and with the value.
void expect_optimal(const Result &result, const Master &master, double value) {
  ASSERT_EQ(result.status, Status::optimal) << result.message;
  EXPECT_LE(result.lower_bound, result.upper_bound);
  EXPECT_NEAR(result.lower_bound, value, allowed(value));
  EXPECT_NEAR(result.upper_bound, value, allowed(value));
  double cost = 0.0;
  std::map<Row, double> left;
  for (const quarn::ColumnValue &use : result.values) {
    cost += use.value * use.column.cost();
    for (const auto &[row, entry] : master.entries(use.column)) left[row] += use.value * entry;
    EXPECT_GE(use.value, master.bounds(use.column).lower - 1e-6);
    EXPECT_LE(use.value, master.bounds(use.column).upper + 1e-6);
    if (master.bounds(use.column).upper < quarn::kInfinity) continue;
    const double reduced = result.duals.reduced_cost(use.column.cost(), master.entries(use.column));
    EXPECT_LT(use.value * std::fabs(reduced), 1e-3);
  }
  EXPECT_NEAR(cost, value, allowed(value));
  for (const Row &row : master.rows()) {
    EXPECT_GE(left[row], master.range(row).lower - 1e-4) << row.name();
    EXPECT_LE(left[row], master.range(row).upper + 1e-4) << row.name();
  }
}

TEST(Solve, FindsTheValueInBothSenses) {
  for (uint32_t seed = 0; seed < 150; ++seed) {
    SCOPED_TRACE(seed);
    const Program program =
        masters::random_program(seed, seed % 2 == 0 ? Sense::minimize : Sense::maximize);
    ProgramMaster target(program);
    Settings settings;
    settings.tolerance_dial = seed % 3 != 0;
    if (seed % 5 == 1) settings.penalty = 1e6;
    const Result result = target.master().solve(target.oracle(1 + seed % 4), settings);
    expect_optimal(result, target.master(), program.value);
  }
}

// Every pair of runs sees the bounds, the gap and the columns of the one before.
TEST(Solve, IsRightAgainAfterAnyEdit) {
  for (uint32_t seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    const Sense sense = seed % 2 == 0 ? Sense::minimize : Sense::maximize;
    Program program = masters::random_program(seed, sense);
    ProgramMaster target(program);
    Master &master = target.master();
    ASSERT_EQ(master.solve(target.oracle()).status, Status::optimal);
    // Without changes a second run agrees, and has a sharp solution of its own, although the bounds
    // that it begins with close the gap at once.
    Settings loose;
    loose.tolerance_dial = false;
    loose.degree_of_optimality = 1.0;
    expect_optimal(master.solve(target.oracle(), loose), master, program.value);

    // Each compared with a master that never was anything else.
    std::mt19937 random(seed);
    for (int k = 0; k < 4; ++k) {
      const size_t i = random() % program.rows.size();
      quarn::Bounds &sides = program.rows[i].sides;
      const double shift = 0.01 * static_cast<double>(random() % 20);
      if (sides.lower > -quarn::kInfinity) sides.lower -= program.rows[i].block ? 0.0 : shift;
      if (sides.upper < quarn::kInfinity) sides.upper += shift;
      master.set_range(target.rows()[i], sides.lower, sides.upper);
      ProgramMaster fresh(program);
      const Result expected = fresh.master().solve(fresh.oracle());
      const Result result = master.solve(target.oracle());
      ASSERT_EQ(result.status, expected.status);
      if (result.status == Status::optimal) {
        expect_optimal(result, master, expected.upper_bound);
      }
    }
  }
}

// A master with the bounds 2 and 3, in the sense that minimises, and what an edit leaves of them.
TEST(Solve, ForgetsTheBoundsThatAnEditMayBreak) {
  const struct {
    const char *edit;
    std::function<void(Master &, const Row &, const quarn::Column &)> apply;
    bool keeps_proved, keeps_reached;
  } cases[] = {
      {"nothing", [](Master &, const Row &, const quarn::Column &) {}, true, true},
      {"row added",
       [](Master &master, const Row &, const quarn::Column &column) {
         quarn::RowOptions options;
         options.entries = {{column, 1.0}};
         master.add_row(RowSense::at_most, 5.0, options);
       },
       true, false},
      {"row removed",
       [](Master &master, const Row &row, const quarn::Column &) { master.remove_row(row); }, false,
       true},
      {"right-hand side",
       [](Master &master, const Row &row, const quarn::Column &) { master.set_rhs(row, 2.5); },
       false, false},
      {"column added",
       [](Master &master, const Row &row, const quarn::Column &) {
         master.add_column(0.5, {{row, 1.0}});
       },
       false, true},
      {"column removed",
       [](Master &master, const Row &, const quarn::Column &column) {
         master.remove_column(column);
       },
       true, false},
      {"bounds of a column",
       [](Master &master, const Row &, const quarn::Column &column) {
         master.set_bounds(column, {0.0, 1.0});
       },
       false, false},
  };
  for (const Sense sense : {Sense::minimize, Sense::maximize}) {
    const double sign = sense == Sense::minimize ? 1.0 : -1.0;
    for (const auto &[edit, apply, keeps_proved, keeps_reached] : cases) {
      SCOPED_TRACE(edit);
      Master master(sense);
      const Row row = master.add_row(RowSense::at_least, 3.0);
      master.add_row(RowSense::at_least, 1.0);
      const quarn::Column column = master.add_column(sign, {{row, 1.0}, {master.rows()[1], 1.0}});
      Settings settings;
      settings.max_iterations = 3;
      master.solve([&](const Duals &, Columns &) { return Answer::bound(2.0 * sign); }, settings);
      apply(master, row, column);
      const double proved = sign > 0.0 ? master.lower_bound() : -master.upper_bound();
      const double reached = sign > 0.0 ? master.upper_bound() : -master.lower_bound();
      EXPECT_EQ(proved, keeps_proved ? 2.0 : -quarn::kInfinity);
      EXPECT_NEAR(reached, keeps_reached ? 3.0 : quarn::kInfinity, 1e-4);
    }
  }
}

// An answer belongs to the master as it was when the oracle was called.
TEST(Solve, DropsTheAnswerOfACallThatChangesTheProblem) {
  Master master;
  const Row row = master.add_row(RowSense::at_least, 8.0);
  master.add_column(1.0, {{row, 1.0}});
  const Result result = master.solve([&](const Duals &duals, Columns &columns) {
    if (duals.iteration() == 1) {
      master.set_rhs(row, 4.0);
      return Answer::bound(8.0 * std::min(1.0, duals[row]));
    }
    columns.add(0.5, {{row, 1.0}});  // the bound of 8 would hide it
    return Answer::bound(4.0 * std::min(0.5, duals[row]));
  });
  expect_optimal(result, master, 2.0);
}

/// Columns of cost 1 that cover a subset of `rows` rows once, the row of index 0 excepted.
struct Cover {
  Master master;
  std::vector<Row> rows;

  explicit Cover(int count) {
    for (int i = 0; i < count; ++i) {
      rows.push_back(master.add_row(RowSense::at_least, 1.0, {"item " + std::to_string(i)}));
    }
  }
  /// Single items cost 1 and pairs (i, i+1) cost 1.2.
  quarn::Oracle oracle(size_t first = 0) const {
    return [this, first](const Duals &duals, Columns &columns) {
      double bound = 0.0;
      double worst = 0.0;
      for (size_t i = first; i < rows.size(); ++i) {
        const double single = 1.0 - duals[rows[i]];
        worst = std::max(worst, duals[rows[i]]);
        if (single < -1e-9) columns.add(1.0, {{rows[i], 1.0}});
        bound += duals[rows[i]];
        if (i + 1 == rows.size()) break;
        const double both = duals[rows[i]] + duals[rows[i + 1]];
        worst = std::max(worst, both / 1.2);
        if (both > 1.2 + 1e-9) columns.add(1.2, {{rows[i], 1.0}, {rows[i + 1], 1.0}});
      }
      return Answer::bound(bound / std::max(1.0, worst));
    };
  }
};

TEST(Solve, NamesTheRowsThatCannotBeMet) {
  Cover cover(4);
  // Nothing covers the items 0; 1 is covered by a pair only when 0 is there.
  const Result result = cover.master.solve(cover.oracle(1));
  EXPECT_EQ(result.status, Status::infeasible) << result.message;
  ASSERT_EQ(result.unmet_rows.size(), 1U);
  EXPECT_EQ(result.unmet_rows[0].first, cover.rows[0]);
  EXPECT_NEAR(result.unmet_rows[0].second, 1.0, 1e-5);
  EXPECT_NE(result.message.find("'item 0'"), std::string::npos) << result.message;
  ASSERT_EQ(result.certificate.size(), 4U);
  EXPECT_NEAR(result.certificate[0], 1.0, 1e-9);
  EXPECT_EQ(result.upper_bound, quarn::kInfinity);

  // The row gone, the rest is solved as if it had never been there.
  cover.master.remove_row(cover.rows[0]);
  expect_optimal(cover.master.solve(cover.oracle(1)), cover.master, 2.2);
  EXPECT_THROW(cover.master.solve(cover.oracle(0)), quarn::Mistake);  // names the removed row
}

TEST(Solve, OpensDualBoundsThatAreTooNarrow) {
  for (const double sign : {1.0, -1.0}) {
    for (const double width : {0.5, 2.0}) {
      Master master(sign > 0.0 ? Sense::minimize : Sense::maximize);
      quarn::RowOptions options;
      options.dual_bounds = {std::min(0.0, sign * width), std::max(0.0, sign * width)};
      const Row row = master.add_row(RowSense::at_least, 3.0, options);
      master.add_column(sign, {{row, 1.0}});
      const Result result = master.solve([&](const Duals &duals, Columns &) {
        return Answer::bound(3.0 * sign * std::min(1.0, sign * duals[row]));
      });
      expect_optimal(result, master, 3.0 * sign);
      EXPECT_NEAR(result.duals[row], sign, 1e-5);
      // Wide enough ones stay: a run goes on from one iteration to the next.
      if (width > 1.0) {
        EXPECT_LE(result.history.size(), 2U);
      }
    }
  }
}

// A value of 0 has no relative gap; costs that cancel, and none at all.
// Solvers of pricing problems do not take what the library's own columns may cost in the end.
TEST(Solve, DualsOfUnmetRowsAreModestUnlessTheyHaveToBeLarge) {
  for (const double cost : {1.0, 1e8}) {
    Master master;
    const Row row = master.add_row(RowSense::at_least, 3.0);
    const auto price = [&](const Duals &duals, Columns &columns) {
      if (duals.iteration() == 1) {
        EXPECT_GT(duals[row], 1e3);
        EXPECT_LE(duals[row], 1e6);
      }
      const double reduced = duals.reduced_cost(cost, {{row, 1.0}});
      if (reduced < 0.0) columns.add(cost, {{row, 1.0}});
      return Answer::bound(3.0 * std::min(duals[row], cost));
    };
    const Result result = master.solve(price);
    EXPECT_EQ(result.status, Status::optimal);
    EXPECT_NEAR(result.upper_bound, 3.0 * cost, 1e-5 * cost);
  }
}

TEST(Solve, EndsAtAValueOfZero) {
  for (const double cost : {0.0, 100.0}) {
    SCOPED_TRACE(cost);
    Master master;
    const Row row = master.add_row(RowSense::equal, 2.0);
    master.add_column(cost, {{row, 1.0}}, quarn::Bounds{0.0, 1.0});
    master.add_column(-cost, {{row, 1.0 + 1e-12}}, quarn::Bounds{0.0, 1.0});
    Settings settings;
    settings.max_iterations = 20;
    const Result result =
        master.solve([&](const Duals &, Columns &) { return Answer::bound(0.0); }, settings);
    EXPECT_EQ(result.status, Status::optimal) << result.message;
    EXPECT_NEAR(result.upper_bound, 0.0, 1e-4);
  }
}

TEST(Solve, TakesRowsThatTheOracleAdds) {
  int rows_added = 0;
  for (uint32_t seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    const Sense sense = seed % 2 == 0 ? Sense::minimize : Sense::maximize;
    const Program program = masters::random_program(seed, sense, {true, false, true});
    // Linking inequalities are left out, and added when the solution violates them.
    std::vector<size_t> cuts;
    for (size_t i = 0; i < program.rows.size(); ++i) {
      const quarn::Bounds &sides = program.rows[i].sides;
      if (!program.rows[i].block && sides.lower != sides.upper) cuts.push_back(i);
    }
    ProgramMaster target(program, cuts);
    if (target.master().rows().empty()) continue;
    const quarn::Oracle price = target.oracle();
    const Result result = target.master().solve([&](const Duals &duals, Columns &columns) {
      Answer answer = price(duals, columns);
      for (const size_t i : cuts) {
        double left = 0.0;
        for (const quarn::ColumnValue &use : duals.solution()) {
          for (const auto &[row, value] : program.columns[use.column.get<size_t>()].entries) {
            if (row == i) left += use.value * value;
          }
        }
        const quarn::Bounds &sides = program.rows[i].sides;
        if (target.rows()[i] || (left > sides.lower - 1e-6 && left < sides.upper + 1e-6)) continue;
        target.add_row(i);
        ++rows_added;
      }
      return answer;
    });
    expect_optimal(result, target.master(), program.value);
  }
  EXPECT_GT(rows_added, 60);
}

TEST(Solve, CopiesGoTheirOwnWay) {
  Cover cover(3);
  ASSERT_EQ(cover.master.solve(cover.oracle()).status, Status::optimal);
  Master copy = cover.master;
  const size_t before = cover.master.columns().size();
  for (const quarn::Column &column : copy.columns()) {
    if (copy.entries(column).size() == 2) copy.set_bounds(column, {0.0, 0.0});
  }
  Result forbidden;
  std::thread other([&] { forbidden = copy.solve(cover.oracle()); });
  const Result result = cover.master.solve(cover.oracle());
  other.join();
  EXPECT_NEAR(result.upper_bound, 2.2, 1e-5);
  // The oracle offers the pairs again; they are fixed at 0, so the singles have to do.
  EXPECT_NEAR(forbidden.upper_bound, 3.0, 1e-5) << forbidden.message;
  EXPECT_EQ(cover.master.columns().size(), before);

  const quarn::Column own = copy.add_column(5.0, {{cover.rows[0], 2.0}});
  EXPECT_THROW(cover.master.remove_column(own), quarn::Mistake);
  const quarn::Column mine = cover.master.add_column(6.0, {{cover.rows[0], 2.0}});
  EXPECT_THROW(copy.remove_column(mine), quarn::Mistake);
  EXPECT_EQ(copy.entries(own).size(), 1U);
  EXPECT_EQ(own.cost(), 5.0);
  EXPECT_EQ(mine.cost(), 6.0);
  EXPECT_EQ(copy.columns().back(), own);
  EXPECT_EQ(cover.master.columns().back(), mine);
  EXPECT_EQ(cover.master.entries(mine).size(), 1U);
}

TEST(Solve, EndsAtLimitsWithTheBoundsProved) {
  Cover cover(12);
  Settings settings;
  settings.max_iterations = 2;
  Result result = cover.master.solve(cover.oracle(), settings);
  EXPECT_EQ(result.status, Status::iteration_limit);
  EXPECT_EQ(result.history.size(), 2U);
  settings = Settings();
  settings.time_limit = 0.0;
  result = cover.master.solve(cover.oracle(), settings);
  EXPECT_EQ(result.status, Status::time_limit);
  settings = Settings();
  int calls = 0;
  settings.interrupt = [&] { return ++calls > 1; };
  result = cover.master.solve(cover.oracle(), settings);
  EXPECT_EQ(result.status, Status::stopped);
  EXPECT_LE(result.lower_bound, 7.2 + 1e-5);
  result = cover.master.solve(cover.oracle());
  expect_optimal(result, cover.master, 7.2);
  EXPECT_EQ(result.history.back().upper_bound, result.upper_bound);
}

TEST(Solve, LetsExceptionsThrough) {
  Cover cover(3);
  struct Special {
    int value;
  };
  try {
    cover.master.solve([](const Duals &, Columns &) -> Answer { throw Special{7}; });
    FAIL();
  } catch (const Special &special) {
    EXPECT_EQ(special.value, 7);
  }
  Settings settings;
  settings.on_iteration = [](const quarn::Iteration &) { throw Special{8}; };
  EXPECT_THROW(cover.master.solve(cover.oracle(), settings), Special);
  expect_optimal(cover.master.solve(cover.oracle()), cover.master, 2.2);
}

TEST(Solve, SaysNothingUnlessAsked) {
  const auto solve = [](const Settings &settings) {
    Cover cover(3);
    cover.master.solve(cover.oracle(), settings);
  };
  EXPECT_EQ(support::flushed_output([&] { solve({}); }), "");
  std::ostringstream table;
  Settings settings;
  settings.progress = &table;
  settings.verbosity = 3;
  std::string text;
  settings.log = [&](const char *piece) { text += piece; };
  EXPECT_EQ(support::flushed_output([&] { solve(settings); }), "");
  EXPECT_NE(table.str().find("lower bound"), std::string::npos);
  EXPECT_NE(text.find("[AFTER CALLING THE ORACLE]"), std::string::npos);
  EXPECT_NE(text.find("centrality"), std::string::npos);
  EXPECT_NE(text.find(" <= "), std::string::npos);
}

// Whatever happens to the columns on the way, the value is the same.
TEST(Solve, IsRightWithEveryStrategyAndFewColumns) {
  for (uint32_t seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    const Sense sense = seed % 2 == 0 ? Sense::minimize : Sense::maximize;
    const Program program = masters::random_program(seed, sense, {true, false, seed % 3 == 0});
    ProgramMaster target(program);
    Master &master = target.master();
    const quarn::Strategy strategies[] = {quarn::Strategy::warm_start, quarn::Strategy::centred,
                                          quarn::Strategy::standard};
    Settings settings;
    settings.strategy = strategies[seed % 3];
    settings.first_duals.assign(program.rows.size(), 0.0);
    settings.max_columns = 15;
    bool adapted = false;
    settings.configure = [&](QUARN_env &env) {
      env.reduce_gap = 0.0;
      env.reduce_fraction = 0.3;
      adapted = true;
    };
    bool removed = false;
    const quarn::Oracle price = target.oracle(8);
    const Result result = master.solve(
        [&](const Duals &duals, Columns &columns) {
          const Answer answer = price(duals, columns);
          if (duals.iteration() == 2 && !removed) {  // once, whatever it takes out
            removed = master.remove_columns([&](const quarn::Column &column) {
              return column.index() % 2 == 0 && master.bounds(column).upper >= quarn::kInfinity;
            }) > 0;
          }
          return answer;
        },
        settings);
    expect_optimal(result, master, program.value);
    EXPECT_TRUE(adapted);
  }
}

TEST(Solve, EndsWhenPricingHasNothingMoreToSay) {
  Cover cover(4);
  const quarn::Oracle price = cover.oracle();
  const Result result = cover.master.solve([&](const Duals &duals, Columns &columns) {
    price(duals, columns);
    return Answer::heuristic();
  });
  EXPECT_EQ(result.status, Status::failed);
  EXPECT_NE(result.message.find("no further column"), std::string::npos) << result.message;
  EXPECT_NEAR(result.upper_bound, 2.4, 1e-5);
  EXPECT_EQ(result.lower_bound, -quarn::kInfinity);
}

TEST(Solve, RoundsWhenAsked) {
  Cover cover(4);
  Settings settings;
  settings.rounding = true;
  const Result result = cover.master.solve(cover.oracle(), settings);
  EXPECT_NEAR(result.integer_value, 2.4, 1e-9);
  double covered = 0.0;
  for (const quarn::ColumnValue &use : result.integer_values) {
    covered += use.value * static_cast<double>(cover.master.entries(use.column).size());
  }
  EXPECT_GE(covered, 4.0);
}

TEST(Solve, CountsTheTimeOfACallBeforeTheFirstIteration) {
  Cover cover(4);
  Settings settings;
  settings.first_duals.assign(4, 0.0);
  settings.max_iterations = 0;
  const Result result = cover.master.solve(cover.oracle(), settings);
  EXPECT_TRUE(result.history.empty());
  EXPECT_GT(result.oracle_seconds, 0.0);
}

TEST(Solve, PricesAtTheCallersDuals) {
  for (uint32_t seed = 0; seed < 10; ++seed) {
    SCOPED_TRACE(seed);
    const Sense sense = seed % 2 == 0 ? Sense::minimize : Sense::maximize;
    const Program program = masters::random_program(seed, sense);
    ProgramMaster target(program);
    Master &master = target.master();
    const Result result = master.solve(target.oracle());
    const int32_t columns = master.number_of_columns();
    const bool least = sense == Sense::minimize;
    master.forget_bounds();
    const quarn::Oracle oracle = target.oracle();
    std::vector<double> asked;
    const double bound = master.price(
        [&](const Duals &duals, Columns &added) {
          EXPECT_EQ(duals.iteration(), 1);
          EXPECT_EQ(duals.objective(), result.upper_bound);
          asked = duals.values();
          return oracle(duals, added);
        },
        result.duals.values(), result.upper_bound);
    EXPECT_EQ(asked, result.duals.values());
    EXPECT_EQ(bound, least ? master.lower_bound() : master.upper_bound());
    const double proved = least ? result.lower_bound : result.upper_bound;
    EXPECT_NEAR(bound, proved, 1e-4 * std::max(1.0, std::fabs(proved)));
    EXPECT_LE(master.number_of_columns(), columns + 3);
    std::vector<double> wrong(asked.size(), 0.0);
    wrong.back() = HUGE_VAL;
    EXPECT_THROW(master.price(oracle, wrong), quarn::Mistake);
    wrong.pop_back();
    EXPECT_THROW(master.price(oracle, wrong), quarn::Mistake);
  }
}

// In the first restricted master that is met by its columns, the one with an upper bound.
TEST(Solve, UpperBoundsOutlastRowsThatTheSolutionSatisfies) {
  for (const double most : {100.0, 0.1}) {
    Cover cover(6);
    const quarn::Oracle price = cover.oracle();
    double bound = 0.0;
    bool added = false;
    int records = 0;
    Settings settings;
    settings.configure = [&](QUARN_env &) { ++records; };
    settings.on_iteration = [&](const quarn::Iteration &line) {
      if (added && bound == 0.0) bound = line.upper_bound;
    };
    cover.master.solve(
        [&](const Duals &duals, Columns &columns) {
          if (duals.upper_bound() < quarn::kInfinity && !added) {
            quarn::RowOptions options;
            for (const quarn::ColumnValue &use : duals.solution()) {
              options.entries.push_back({use.column, 1.0});
            }
            cover.master.add_row(RowSense::at_most, most, options);
            added = true;
          }
          return price(duals, columns);
        },
        settings);
    ASSERT_TRUE(added);
    EXPECT_EQ(bound<quarn::kInfinity, most> 1.0);
    EXPECT_EQ(records == 1, most > 1.0);  // the record takes such a row, and goes on
  }
}

// The items one by one, except that the third call brings nothing.
TEST(Solve, SolvesLooselyAgainAfterARoundThatBroughtNothing) {
  Cover cover(8);
  Settings settings;
  settings.tolerance_dial = false;
  size_t calls = 0;
  const Result result = cover.master.solve(
      [&](const Duals &, Columns &columns) {
        const size_t item = ++calls < 3 ? calls - 1 : calls - 2;
        if (calls != 3 && item < 8) columns.add(1.0, {{cover.rows[item], 1.0}});
        return calls == 3 ? Answer::heuristic() : Answer::bound(calls < 10 ? 1.0 : 8.0);
      },
      settings);
  EXPECT_EQ(result.status, Status::optimal);
  ASSERT_GT(result.history.size(), 6u);
  EXPECT_LT(result.history[3].tolerance, 1e-5);
  for (const size_t k : {4U, 5U, 6U}) EXPECT_GT(result.history[k].tolerance, 0.01) << k;
}

TEST(Solve, ColumnsThatHaveToBeUsedMayBeTooManyForTheirBlock) {
  for (const bool too_many : {false, true}) {
    Master master;
    const Row row = master.add_row(RowSense::at_least, 1.0);
    const Row block = master.add_block(RowSense::at_most, 3.0, "block");
    master.add_column(5.0, {{row, 1.0}, {block, 1.0}});
    const Result result = master.solve([&](const Duals &, Columns &columns) {
      const double least = too_many ? 4.0 : 2.0;
      columns.add(1.0, {{row, 0.25}, {block, 1.0}}, quarn::Bounds{least, least});
      return Answer::bound(too_many ? 4.0 : 4.5);
    });
    EXPECT_EQ(result.status, too_many ? Status::infeasible : Status::optimal) << result.message;
    if (too_many) {
      EXPECT_EQ(result.unmet_rows.front().first, block);
    } else {
      EXPECT_NEAR(result.upper_bound, 4.5, 1e-4);
    }
  }
}

// What no rounding of the first solution covers is left to another one, in which the surplus of a
// row must not be taken for a sign that the rows cannot be met.
TEST(Solve, RoundsRowsThatAreCoveredMoreThanOnce) {
  Master master;
  std::vector<Row> rows;
  for (int i = 0; i < 4; ++i) rows.push_back(master.add_row(RowSense::at_least, 1.0));
  for (const auto &[i, j] : {std::pair(0, 1), std::pair(1, 2), std::pair(2, 0)}) {
    master.add_column(
        1.0,
        {{rows[static_cast<size_t>(i)], 1.0}, {rows[static_cast<size_t>(j)], 1.0}, {rows[3], 2.0}});
  }
  Settings settings;
  settings.rounding = true;
  const Result result =
      master.solve([](const Duals &, Columns &) { return Answer::bound(1.5); }, settings);
  EXPECT_NEAR(result.upper_bound, 1.5, 1e-5);
  EXPECT_EQ(result.integer_values.size(), 2u);
  EXPECT_NEAR(result.integer_value, 2.0, 1e-9);
}

// Entries in a row that came later count when a column is recognised.
TEST(Solve, KnowsColumnsByAllTheirEntries) {
  Master master;
  const Row row = master.add_row(RowSense::at_least, 1.0);
  const quarn::Column column = master.add_column(1.0, {{row, 2.0}});
  quarn::RowOptions options;
  options.entries = {{column, 3.0}};
  const Row cut = master.add_row(RowSense::at_most, 9.0, options);
  EXPECT_THROW(master.add_column(1.0, {{cut, 3.0}, {row, 2.0}}), quarn::Mistake);
  const quarn::Column without = master.add_column(1.0, {{row, 2.0}});
  EXPECT_NE(without, column);
  EXPECT_EQ(master.add_columns({1.0, 1.0, 2.0}, {0, 1, 3, 4}, {0, 0, 1, 0}, {2.0, 2.0, 3.0, 2.0}),
            1);
  master.remove_column(without);
  EXPECT_NE(master.add_column(1.0, {{row, 2.0}}), without);
}

/// The same program by the C interface, with the oracle's reasoning written out.
struct PlainC {
  const Program &program;
  std::vector<char> known;

  static int16_t price(double *ub_term, double *lb_term, QUARN_env *env, void *data) {
    PlainC &self = *static_cast<PlainC *>(data);
    *ub_term = *lb_term = 0.0;
    std::vector<double> best(self.program.rows.size(), HUGE_VAL);
    std::vector<size_t> which(self.program.rows.size());
    for (size_t j = 0; j < self.program.columns.size(); ++j) {
      const masters::ProgramColumn &column = self.program.columns[j];
      double reduced = column.cost;
      for (const auto &[row, value] : column.entries) reduced -= env->u[row] * value;
      const auto block = static_cast<size_t>(column.block);
      if (reduced < best[block]) best[block] = reduced, which[block] = j;
    }
    for (size_t k = 0; k < best.size(); ++k) {
      const masters::ProgramRow &row = self.program.rows[k];
      if (!row.block || best[k] == HUGE_VAL) continue;
      const bool must = row.sides.lower > -quarn::kInfinity;
      *lb_term += row.sides.upper * (must ? best[k] : std::min(best[k], 0.0));
      if (best[k] > -1e-9 || self.known[which[k]]++ != 0) continue;
      const masters::ProgramColumn &column = self.program.columns[which[k]];
      std::vector<double> dense(self.program.rows.size() + 1, 0.0);
      for (const auto &[index, value] : column.entries) dense[index] = value;
      dense.back() = column.cost;
      const auto rows = static_cast<int32_t>(dense.size());
      QUARN_add_dense_columns(env, dense.data(), nullptr, rows, 1);
    }
    return 1;
  }
};

TEST(Solve, AgreesWithTheCInterface) {
  for (uint32_t seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    const Program program = masters::random_program(seed, Sense::minimize, {false, false, false});
    int32_t linking = 0;
    std::vector<double> rhs;
    std::vector<int16_t> types;
    for (const masters::ProgramRow &row : program.rows) {
      linking += row.block ? 0 : 1;
      const bool lower = row.sides.lower > -quarn::kInfinity;
      const bool upper = row.sides.upper < quarn::kInfinity;
      rhs.push_back(lower ? row.sides.lower : row.sides.upper);
      types.push_back(lower && upper ? 1 : lower ? 2 : 3);
    }
    rhs.push_back(0.0);
    types.push_back(1);
    const auto rows = static_cast<int32_t>(rhs.size());
    PlainC plain{program, std::vector<char>(program.columns.size(), 0)};
    QUARN_env *env = QUARN_set_data(linking, rows - 1 - linking, rows, 0, 1000, nullptr, rhs.data(),
                                    types.data(), nullptr, nullptr, &plain);
    QUARN_set_log(env, QUARN_log_nothing, nullptr);
    // Further rows have no box columns.
    for (int32_t i = linking; i + 1 < rows; ++i) {
      for (const double unit : {1.0, -1.0}) {
        std::vector<double> dense(static_cast<size_t>(rows), 0.0);
        dense[static_cast<size_t>(i)] = unit;
        dense.back() = 1e10;
        QUARN_add_auxiliary_columns_dense(env, dense.data(), rows, 1);
      }
    }
    QUARN_solve_MP(env, PlainC::price);
    ASSERT_LE(QUARN_get_relative_gap(env), 1e-6);

    ProgramMaster target(program);
    const Result result = target.master().solve(target.oracle(1));
    ASSERT_EQ(result.status, Status::optimal) << result.message;
    EXPECT_NEAR(result.lower_bound, QUARN_get_lower_bound(env), allowed(program.value));
    EXPECT_NEAR(result.upper_bound, QUARN_get_upper_bound(env), allowed(program.value));
    // The columns in use are those that the duals of the other let be used.
    for (const quarn::ColumnValue &use : result.values) {
      double reduced = use.column.cost();
      for (const auto &[row, value] : target.master().entries(use.column)) {
        reduced -= env->u[row.index()] * value;
      }
      EXPECT_LT(use.value * std::fabs(reduced), 1e-3);
    }
    QUARN_destroy(env);
  }
}

}  // namespace

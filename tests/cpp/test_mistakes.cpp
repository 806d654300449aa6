// Every mistake is named in one sentence, and leaves the master as it was.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "quarn_cpp/quarn.hpp"
#include "tests/support/mistakes_page.h"

namespace {

using quarn::Answer;
using quarn::Bounds;
using quarn::Column;
using quarn::Columns;
using quarn::Duals;
using quarn::Master;
using quarn::Row;
using quarn::RowOptions;
using quarn::RowSense;
using quarn::Settings;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

/// What `call` complains of; empty when it does not.
std::string complaint(const std::function<void()> &call) {
  try {
    call();
  } catch (const quarn::Mistake &mistake) {
    return mistake.what();
  }
  return "";
}

class Mistakes : public testing::Test {
 protected:
  Mistakes() {
    demand = master.add_row(RowSense::at_least, 4.0, {"demand"});
    block = master.add_block(RowSense::at_most, 10.0, "block");
    gone = master.add_row(RowSense::at_most, 1.0, {"gone"});
    master.remove_row(gone);
    first = master.add_column(1.0, {{demand, 1.0}, {block, 1.0}});
    foreign = other.add_row(RowSense::at_least, 4.0, {"foreign"});
    foreign_column = other.add_column(1.0, {{foreign, 1.0}});
  }

  RowOptions options(const std::string &name, bool is_block, Bounds dual_bounds,
                     std::vector<std::pair<Column, double>> entries = {}) const {
    RowOptions options;
    options.name = name;
    options.block = is_block;
    options.dual_bounds = dual_bounds;
    options.entries = std::move(entries);
    return options;
  }

  std::string added(double cost, const std::vector<quarn::Entry> &entries) {
    return complaint([&] { master.add_column(cost, entries); });
  }

  std::string answered(const std::function<Answer(const Duals &, Columns &)> &oracle) {
    return complaint([&] { master.solve(oracle); });
  }

  std::string set(const std::function<void(Settings &)> &change) {
    Settings settings;
    change(settings);
    return complaint([&] {
      master.solve([](const Duals &, Columns &) { return Answer::heuristic(); }, settings);
    });
  }

  Master master, other;
  Row demand, block, gone, foreign;
  Column first, foreign_column;
};

TEST_F(Mistakes, AreNamedAndChangeNothing) {
  const Bounds free = {-kInf, kInf};
  const struct {
    const char *names;
    std::function<void()> call;
  } cases[] = {
      {"no row",
       [&] {
         master.add_column(1.0, {{Row(), 1.0}});
       }},
      {"'foreign' is of another master",
       [&] {
         master.add_column(1.0, {{foreign, 1.0}});
       }},
      {"'gone' was removed",
       [&] {
         master.add_column(1.0, {{gone, 1.0}});
       }},
      {"'demand' comes twice",
       [&] {
         master.add_column(1.0, {{demand, 1.0}, {demand, 2.0}});
       }},
      {"'demand' is nan",
       [&] {
         master.add_column(1.0, {{demand, kNan}});
       }},
      {"cost is inf",
       [&] {
         master.add_column(kInf, {{demand, 1.0}});
       }},
      {"column 0",
       [&] {
         master.add_column(1.0, {{block, 1.0}, {demand, 1.0}});
       }},
      {"bounds",
       [&] {
         master.add_column(2.0, {{demand, 1.0}}, Bounds{2.0, 1.0});
       }},
      {"column 1 of the batch",
       [&] {
         master.add_columns({1.0, kNan}, {0, 1, 2}, {0, 0}, {2.0, 2.0});
       }},
      {"no row 9",
       [&] {
         master.add_columns({1.0}, {0, 1}, {9}, {2.0});
       }},
      {"starts", [&] { master.add_columns({1.0}, {0}, {0}, {2.0}); }},
      {"ends before",
       [&] {
         master.add_columns({1.0, 1.0}, {0, 2, 1}, {0}, {2.0});
       }},
      {"objects",
       [&] {
         master.add_columns({1.0}, {0, 1}, {0}, {2.0}, {1, 2});
       }},
      {"column 0 is of another master", [&] { master.remove_column(foreign_column); }},
      {"no column", [&] { master.set_bounds(Column(), Bounds{}); }},
      {"column 0",
       [&] {
         master.set_bounds(first, {kNan, 1.0});
       }},
      {"'demand'", [&] { master.add_row(RowSense::equal, 1.0, {"demand"}); }},
      {"right-hand side is nan", [&] { master.add_row(RowSense::equal, kNan, {"x"}); }},
      {"'x'", [&] { master.add_range(2.0, 1.0, {"x"}); }},
      {"'x': its sides", [&] { master.add_range(-kInf, kInf, {"x"}); }},
      {"'x', bounds of the dual",
       [&] {
         master.add_row(RowSense::equal, 1.0, options("x", false, {1.0, 0.0}));
       }},
      {"'x': dual bounds are for linking",
       [&] {
         master.add_row(RowSense::equal, 1.0, options("x", true, {0.0, 1.0}));
       }},
      {"'x': a block cannot", [&] { master.add_block(RowSense::equal, -1.0, "x"); }},
      {"column 0 is named twice",
       [&] {
         master.add_row(RowSense::equal, 1.0,
                        options("x", false, free, {{first, 1.0}, {first, 2.0}}));
       }},
      {"'foreign'", [&] { master.remove_row(foreign); }},
      {"'gone'", [&] { master.set_rhs(gone, 1.0); }},
      {"right-hand side is inf", [&] { master.set_rhs(demand, kInf); }},
      {"'nobody'", [&] { master.row("nobody"); }},
  };
  const size_t rows = master.rows().size();
  for (const auto &[names, call] : cases) {
    const std::string text = complaint(call);
    EXPECT_NE(text.find(names), std::string::npos) << names << ": " << text;
    EXPECT_EQ(master.rows().size(), rows) << names;
    EXPECT_EQ(master.number_of_columns(), 1) << names;
    EXPECT_EQ(master.bounds(first).lower, 0.0) << names;
  }
  master.remove_column(first);
  EXPECT_NE(complaint([&] { master.remove_column(first); }).find("removed already"),
            std::string::npos);
}

TEST_F(Mistakes, OfTheOracleEndTheRun) {
  const auto price = [&](const Duals &, Columns &) { return Answer::heuristic(); };
  const struct {
    const char *names;
    std::function<Answer(const Duals &, Columns &)> oracle;
  } cases[] = {
      {"empty", nullptr},
      {"not a number", [&](const Duals &, Columns &) { return Answer::bound(kNan); }},
      {"lack row 'block'",
       [&](const Duals &, Columns &) { return Answer::best_reduced_costs({}); }},
      {"'demand' is no block row",
       [&](const Duals &, Columns &) {
         return Answer::best_reduced_costs({{demand, 0.0}});
       }},
      {"'block' comes twice",
       [&](const Duals &, Columns &) {
         return Answer::best_reduced_costs({{block, 0.0}, {block, 0.0}});
       }},
      {"'foreign'", [&](const Duals &duals, Columns &) { return Answer::bound(duals[foreign]); }},
      {"new column 1",
       [&](const Duals &, Columns &columns) {
         columns.add(1.0, {{demand, kNan}});
         return Answer::heuristic();
       }},
      {"bound 7", [&](const Duals &, Columns &) { return Answer::bound(7.0); }},
      {"solved already",
       [&](const Duals &, Columns &) {
         master.solve(price);
         return Answer::heuristic();
       }},
  };
  for (const auto &[names, oracle] : cases) {
    const std::string text = answered(oracle);
    EXPECT_NE(text.find(names), std::string::npos) << names << ": " << text;
  }
  // One false bound is found out later, when the answers are right again.
  int calls = 0;
  const std::string later =
      answered([&](const Duals &, Columns &) { return Answer::bound(++calls == 1 ? 7.0 : 4.0); });
  EXPECT_NE(later.find("bound 7"), std::string::npos) << later;
  // The master can be solved after all of them, and the false bound is forgotten.
  const quarn::Result result =
      master.solve([](const Duals &, Columns &) { return Answer::bound(4.0); });
  EXPECT_EQ(result.status, quarn::Status::optimal) << result.message;
}

TEST_F(Mistakes, AreSaidAsThePageQuotesThem) {
  const auto heuristic = [](const Duals &, Columns &) { return Answer::heuristic(); };
  Master hopeless;
  hopeless.add_row(RowSense::at_least, 5.0, {"hopeless"});
  const auto unbounded = [](const Duals &, Columns &columns) {
    columns.add(-3.0, {});
    return Answer::heuristic();
  };
  const struct {
    const char *sentence;
    std::function<std::string()> said;
  } cases[] = {
      {"new column 1: the handle is of no row",
       [&] {
         return added(1.0, {{Row(), 1.0}});
       }},
      {"new column 1: row 'foreign' is of another master",
       [&] {
         return added(1.0, {{foreign, 1.0}});
       }},
      {"new column 1: row 'gone' was removed",
       [&] {
         return added(1.0, {{gone, 1.0}});
       }},
      {"new column 1: the entry in row 'demand' is nan",
       [&] {
         return added(1.0, {{demand, kNan}});
       }},
      {"new column 1: row 'demand' comes twice",
       [&] {
         return added(1.0, {{demand, 1.0}, {demand, 1.0}});
       }},
      {"column 0 of the batch: there is no row 9",
       [&] { return complaint([&] {
               master.add_columns({1.0}, {0, 1}, {9}, {2.0});
             }); }},
      {"new column 1 is the same as column 0, of cost 1, which is there already",
       [&] {
         return added(1.0, {{demand, 1.0}, {block, 1.0}});
       }},
      {"the oracle is empty", [&] { return answered(nullptr); }},
      {"iteration 1: the oracle's bound is not a number",
       [&] { return answered([](const Duals &, Columns &) { return Answer::bound(kNan); }); }},
      {"the oracle's best reduced costs lack row 'block'",
       [&] {
         return answered([](const Duals &, Columns &) { return Answer::best_reduced_costs({}); });
       }},
      {"iteration ~: the oracle's bound 7 contradicts the value ~ that the columns reach",
       [&] { return answered([](const Duals &, Columns &) { return Answer::bound(7.0); }); }},
      {"new row 'demand': there is a row of this name already",
       [&] { return complaint([&] { master.add_row(RowSense::equal, 1.0, {"demand"}); }); }},
      {"infeasible: no columns satisfy row 'hopeless'",
       [&] { return hopeless.solve(heuristic).message; }},
      {"the restricted master is unbounded along column 1: after ~ iterations, the gap is ~",
       [&] { return Master(master).solve(unbounded).message; }},
      {"the oracle finds no further column, but what it proves leaves the gap open: after ~ "
       "iterations, the gap is ~",
       [&] { return master.solve(heuristic).message; }},
  };
  for (const auto &[sentence, said] : cases) {
    const std::string text = said();
    EXPECT_TRUE(support::is_said(sentence, text)) << sentence << "\n" << text;
    EXPECT_TRUE(support::is_on_mistakes_page(sentence)) << sentence;
  }
}

TEST_F(Mistakes, OfTheSettings) {
  EXPECT_EQ(set([](Settings &s) { s.tolerance = 0.0; }),
            "tolerance is 0, it has to be between 0 and 1");
  EXPECT_NE(set([](Settings &s) { s.tolerance = kNan; }), "");
  EXPECT_NE(set([](Settings &s) { s.time_limit = -1.0; }), "");
  EXPECT_NE(set([](Settings &s) { s.max_iterations = -1; }), "");
  EXPECT_NE(set([](Settings &s) { s.max_columns = 0; }), "");
  EXPECT_NE(set([](Settings &s) { s.blas_threads = 0; }), "");
  EXPECT_NE(set([](Settings &s) { s.penalty = kInf; }), "");
  EXPECT_NE(set([](Settings &s) { s.first_duals = {1.0}; }), "");
  EXPECT_NE(set([](Settings &s) { s.first_duals = {1.0, kNan, 0.0}; }), "");
  EXPECT_EQ(set([](Settings &s) { s.first_duals = {1.0, 0.0, 0.0}; }), "");
  Master empty;
  EXPECT_NE(
      complaint([&] { empty.solve([](const Duals &, Columns &) { return Answer::heuristic(); }); }),
      "");
}

}  // namespace

/// What the edits print, and input that they refuse before anything changes.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace {

using support::Batch;
using support::Columns;
using support::Environment;
using support::flushed_output;
using support::RowBatch;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Two linking rows, one further row, two generated columns, solved once.
Environment small_record() {
  support::ProblemData setup;
  setup.p = 1;
  Environment env(setup);
  const int32_t tags[] = {70, 71};
  support::add_columns(env.get(), {{{1, 1}, {3, 1}, {4, 9}}, {{2, 1}, {4, 5}}}, tags);
  support::solve_once(env.get());
  return env;
}

TEST(EditMessages, ColumnsAreListedAndGrowthIsAnnounced) {
  const Columns columns = {{{1, 0.5}, {4, -2}}, {}};
  const std::string listing =
      "\nQUARN_add_columns: received 2 new column(s).\n"
      "Column 1 has 2 nonzero entries (rw,elt): \n(1, 0.5000), (4, -2.0000), \n"
      "Column 2 has 0 nonzero entries (rw,elt): \n\n\n";
  const std::string growth =
      "QUARN_reset_Matrix: G->max_n 6 to 1016 \nQUARN_reset_Matrix: G->max_nz 13 to 1023 \n";
  for (const int16_t verbosity : support::Shorts{0, 1, -1, 2}) {
    Environment env = small_record();
    ASSERT_EQ(QUARN_reallocate_SMatrix_CW(env->G, 6, 13), 0);
    env->verbosity = verbosity;
    EXPECT_EQ(
        flushed_output([&] { QUARN_add_columns(env.get(), Batch(4, columns).get(), nullptr); }),
        (verbosity > 1 ? listing : "") + (verbosity != 0 ? growth : ""));
  }
}

TEST(EditMessages, AuxiliaryColumnsAreListed) {
  support::ProblemData setup;
  setup.m = 1;
  for (const int16_t verbosity : support::Shorts{0, 1, 2}) {
    Environment env(setup);
    ASSERT_EQ(QUARN_reallocate_SMatrix_CW(env->G, 3, 6), 0);
    env->verbosity = verbosity;
    std::string expected;
    if (verbosity != 0) {
      expected =
          "QUARN_add_auxiliary_columns: G_new->m = 2, G_new->n = 1, G_new->nz = 2\n"
          "QUARN_add_auxiliary_columns: dim = 1, G->m = 2, G->n = 2, G->nz = 4\n"
          "QUARN_add_auxiliary_columns: G->max_m = 2, G->max_n = 3, G->max_nz = 6 \n";
      if (verbosity > 1) {
        expected +=
            "\nQUARN_add_auxiliary_columns: received 1 new column(s).\n"
            "Column 1 has 2 nonzero entries: \n(1, 1.0000), (2, 7.2500), \n\n";
      }
      expected += "QUARN_reset_Matrix: G->max_n 3 to 5 \nQUARN_reset_Matrix: G->max_nz 6 to 9 \n";
    }
    EXPECT_EQ(flushed_output([&] {
                QUARN_add_auxiliary_columns(env.get(), Batch(2, {{{1, 1}, {2, 7.25}}}).get());
              }),
              expected);
  }
}

TEST(EditMessages, RowsAreListed) {
  for (const int16_t verbosity : support::Shorts{0, 1, 2}) {
    Environment env = small_record();
    env->verbosity = verbosity;
    std::string expected;
    if (verbosity != 0) {
      expected =
          "QUARN_add_rows: R_new->m = 1, R_new->n = 2, R_new->nz = 2\n"
          "QUARN_add_rows: dim = 2, G->m = 4, G->n = 6, G->nz = 13\n"
          "QUARN_add_rows: G->max_m = 4, G->max_n = 1006, G->max_nz = 5030 \n";
    }
    if (verbosity > 1) {
      expected +=
          "\nQUARN_add_rows: received 1 new row(s).\n"
          "Row 1 has 2 nonzero entries: \n(2, 0.5000), (1, -1.0000), \n\n";
    }
    const double value = 1;
    const int32_t type = 1;
    EXPECT_EQ(flushed_output([&] {
                QUARN_add_rows(env.get(), RowBatch(2, {{{2, 0.5}, {1, -1}}}).get(), &value, &type,
                               &value, &value, nullptr);
              }),
              expected);
  }
}

/// One well-formed batch of three entries in two lines, each row breaks one thing in it.
struct Broken {
  const char *what;
  int32_t first_start, middle_start, last_start;
  int32_t index;
  double value;
};
const Broken kBroken[] = {{"starts do not begin at 1", 0, 3, 4, 1, 1.0},
                          {"starts fall", 1, 5, 4, 1, 1.0},
                          {"starts fall below 1", 1, -2, 4, 1, 1.0},
                          {"starts end early", 1, 3, 3, 1, 1.0},
                          {"starts end late", 1, 3, 5, 1, 1.0},
                          {"index 0", 1, 3, 4, 0, 1.0},
                          {"negative index", 1, 3, 4, -1, 1.0},
                          {"index beyond the record", 1, 3, 4, 5, 1.0},
                          {"not a number", 1, 3, 4, 1, kNaN},
                          {"infinite", 1, 3, 4, 1, -INFINITY}};

TEST(EditRefusals, ABatchThatIsNotWellFormedChangesNothing) {
  for (const int16_t recognise : support::Shorts{0, 1}) {
    for (const Broken &row : kBroken) {
      SCOPED_TRACE(row.what);
      Environment env = small_record();
      env->column_elimination = recognise;
      const std::string before = support::dump(*env.get());
      double elt[] = {1.0, 2.0, row.value};
      int32_t index[] = {1, 2, row.index},
              start[] = {row.first_start, row.middle_start, row.last_start};
      const int32_t columns_limit = row.index == 5 ? 3 : row.index;  // two generated columns
      int32_t cl[] = {1, 2, columns_limit};
      const QUARN_SMatrix_CW batch = {4, 2, 3, 4, 2, 3, elt, index, start, nullptr, nullptr};
      const QUARN_SMatrix_RW rows = {2, 2, 3, 2, 2, 3, elt, start, cl, nullptr, nullptr};
      const double numbers[] = {1, 2};
      const int32_t types[] = {1, 2};
      EXPECT_EQ(QUARN_add_columns(env.get(), &batch, nullptr), -1);
      env->ncols_last = 2;  // a refusal may clear it, as every column addition does
      EXPECT_EQ(support::dump(*env.get()), before);
      EXPECT_EQ(QUARN_add_auxiliary_columns(env.get(), &batch), -1);
      EXPECT_EQ(QUARN_add_rows(env.get(), &rows, numbers, types, numbers, numbers, nullptr), -1);
      EXPECT_EQ(support::dump(*env.get()), before);
    }
  }
}

TEST(EditRefusals, DenseInput) {
  const double good[] = {1, 0, 0, 4}, tiny[] = {1e-10, -1e-10, 0, 0};
  const double bad[] = {1, 0, kNaN, 4};
  const struct {
    const char *what;
    const double *values;
    int32_t m, n, result, auxiliary_result;
  } rows[] = {{"nothing above 1e-10", tiny, 4, 1, 0, 0},
              {"null", nullptr, 4, 1, 0, 0},
              {"negative rows", good, -1, 4, 0, 0},
              {"negative columns", good, 4, -1, 0, 0},
              {"no rows", good, 0, 4, 0, 0},
              {"no columns", good, 4, 0, 0, 0},
              {"not a number", bad, 4, 1, -1, -1},
              {"more rows than G", good, 5, 1, -1, -1}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.what);
    std::vector<double> values;
    if (row.values != nullptr) values.assign(row.values, row.values + 4);
    values.resize(8, 3.0);
    const double *dense = row.values != nullptr ? values.data() : nullptr;
    Environment env = small_record();
    env->ncols_last = 0;
    const std::string before = support::dump(*env.get());
    EXPECT_EQ(QUARN_add_dense_columns(env.get(), dense, nullptr, row.m, row.n), row.result);
    EXPECT_EQ(QUARN_add_auxiliary_columns_dense(env.get(), dense, row.m, row.n),
              row.auxiliary_result);
    EXPECT_EQ(support::dump(*env.get()), before);
  }
}

TEST(EditRefusals, KeepListsThatBreakTheirRulesChangeNothing) {
  using List = std::vector<int32_t>;
  for (const List &keep : {List{0, 0}, List{2}, List{-1}, List{0, 1, 2}, List{1, 0, 1}}) {
    Environment env = small_record();
    const std::string before = support::dump(*env.get());
    EXPECT_EQ(QUARN_remove_columns(env.get(), keep.data(), static_cast<int32_t>(keep.size())), -1);
    EXPECT_EQ(support::dump(*env.get()), before);
  }
  struct Row {
    const char *what;
    List keep;
    int32_t m, p;
  };
  const Row rows[] = {{"a row twice", {0, 0, 2, 3}, 2, 1},
                      {"out of range", {0, 4, 2, 3}, 2, 1},
                      {"negative", {-1, 1, 2, 3}, 2, 1},
                      {"a further row among the linking rows", {0, 2, 1, 3}, 2, 1},
                      {"the cost row is not last", {0, 1, 3, 2}, 2, 1},
                      {"no cost row", {0, 1, 2}, 2, 0},
                      {"counts above the list", {0, 1, 2, 3}, 3, 1},
                      {"counts below the list", {0, 1, 2, 3}, 2, 0},
                      {"linking rows miscounted", {0, 1, 2, 3}, 1, 2},
                      {"a further row counted as linking", {0, 1, 2, 3}, 3, 0},
                      {"empty", {}, 0, -1}};
  for (const Row &row : rows) {
    SCOPED_TRACE(row.what);
    Environment env = small_record();
    const std::string before = support::dump(*env.get());
    EXPECT_EQ(support::remove_rows(env.get(), row.keep, row.m, row.p), -1);
    EXPECT_EQ(support::dump(*env.get()), before);
  }
  support::ProblemData three_further_rows;
  three_further_rows.m = 1;
  three_further_rows.p = 3;
  for (const Row &row :
       {Row{"a further row twice", {0, 2, 2, 4}, 1, 2},
        Row{"a linking row among the further ones", {1, 0, 4}, 1, 1},
        Row{"a linking row last of the further ones", {2, 3, 0, 4}, 0, 3},
        Row{"the cost row among the further ones", {0, 4, 3}, 1, 1},
        Row{"a further row last", {0, 1, 3}, 1, 1}, Row{"the cost row twice", {0, 4, 4}, 1, 1},
        Row{"a negative count of linking rows", {2, 3, 4}, -1, 3},
        Row{"a negative count of further rows", {0, 4}, 2, -1}}) {
    SCOPED_TRACE(row.what);
    Environment env(three_further_rows);
    const std::string before = support::dump(*env.get());
    EXPECT_EQ(support::remove_rows(env.get(), row.keep, row.m, row.p), -1);
    EXPECT_EQ(support::dump(*env.get()), before);
  }
}

TEST(EditRefusals, BoundArraysKeepSettledEntriesAndRefuseNoLength) {
  support::ProblemData setup;
  setup.m = 4;
  Environment env(setup);
  for (const int32_t length : {0, -3}) EXPECT_EQ(QUARN_reset_lambda_bounds(env.get(), length), -1);
  env->lambda_LB = -4.0;
  env->lambda_UB = 4.0;
  for (int32_t j = 0; j < 8; ++j) env->col_lb[j] = j;
  ASSERT_EQ(QUARN_reset_lambda_bounds(env.get(), 2000), 0);  // ncols_total is 8
  for (int32_t j = 0; j < 2000; ++j) {
    ASSERT_EQ(env->col_lb[j], j < 8 ? j : -4.0);
    ASSERT_EQ(env->col_ub[j], j < 8 ? 1e30 : 4.0);
  }
}

/// A copy counts as many settled bounds as its source, in arrays that are shorter.
TEST(EditRefusals, BoundsBeyondTheArraysOfACopyAreNotSettled) {
  Environment env = small_record();  // six columns
  ASSERT_EQ(QUARN_remove_columns(env.get(), nullptr, 0), 1);
  ASSERT_EQ(env->ncols_total, 1006);
  ASSERT_EQ(QUARN_reallocate_SMatrix_CW(env->G, 4, 8), 0);
  Environment copy = Environment::zero_filled();
  ASSERT_EQ(QUARN_copy_environment(env.get(), copy.get()), 1);
  copy->lambda_LB = -4.0;
  copy->lambda_UB = 4.0;
  ASSERT_EQ(QUARN_reset_lambda_bounds(copy.get(), 1000), 0);
  for (int32_t j = 0; j < 1000; ++j) {
    ASSERT_EQ(copy->col_lb[j], j < 4 ? 0.0 : -4.0) << j;
    ASSERT_EQ(copy->col_ub[j], j < 4 ? 1e30 : 4.0) << j;
  }
}

/// Nothing grows, and the bounds are still those of the moment, not those of set-up.
TEST(ColumnAddition, NewColumnsHaveTheBoundsOfTheMoment) {
  support::ProblemData setup;
  setup.p = 1;
  Environment env(setup);
  QUARN_set_lambda_LB(env.get(), -1.0);
  QUARN_set_lambda_UB(env.get(), 1.0);
  ASSERT_EQ(QUARN_add_auxiliary_columns(env.get(), Batch(4, {{{3, 1}}}).get()), 1);
  QUARN_set_lambda_LB(env.get(), -2.0);
  QUARN_set_lambda_UB(env.get(), 2.0);
  support::add_columns(env.get(), {{{1, 1}, {4, 3}}, {{2, 1}}});
  EXPECT_EQ(env->G->max_n, 1006);
  EXPECT_EQ(support::to_text({env->col_lb, env->col_lb + 7}), "0 0 0 0 -1 -2 -2");
  EXPECT_EQ(support::to_text({env->col_ub + 4, env->col_ub + 7}), "1 2 2");
}

TEST(ColumnAddition, ARowNamedTwiceMeansTheSum) {
  for (const int16_t recognise : support::Shorts{0, 1}) {
    Environment env = small_record();
    env->column_elimination = recognise;
    support::add_columns(env.get(), {{{1, 2}, {3, 1}, {1, 3}, {4, 4}, {3, 1}}});
    double sums[5] = {};
    const Columns stored = support::columns_of(*env->G);
    for (const support::Entry &entry : stored.back()) {
      sums[entry.first] += entry.second;
    }
    EXPECT_EQ(support::to_text({sums + 1, sums + 5}), "5 0 2 4");
    EXPECT_EQ(support::broken_invariants(*env.get()), "");
  }
}

/// Its entries are terms of a sum: compared one by one they would pass for those of other columns.
TEST(ColumnAddition, AColumnThatNamesARowTwiceIsNoDuplicate) {
  const support::Column twice = {{1, 2}, {1, 2}, {3, 1}, {4, 4}};
  const support::Column once = {{1, 2}, {2, 5}, {3, 1}, {4, 4}};
  for (const support::Column &known : {twice, once}) {
    for (const support::Column &offered : {twice, once}) {
      Environment env = small_record();
      support::add_columns(env.get(), {known});
      EXPECT_EQ(QUARN_add_columns(env.get(), Batch(4, {offered}).get(), nullptr),
                known == once && offered == once ? 0 : 1);
    }
  }
}

/// Columns with several entries in the further rows: recognised or appended, never a lost column.
TEST(ColumnAddition, SeveralFurtherRowsKeepTheIndexSound) {
  support::Random random(61);
  for (int run = 0; run < 200; ++run) {
    support::ProblemData setup;
    setup.m = 1;
    setup.p = 4;
    Environment env(setup);
    for (int round = 0; round < 6; ++round) {
      Columns batch(static_cast<size_t>(random.integer(1, 5)));
      for (support::Column &column : batch) {
        for (int32_t i = 2; i <= 5; ++i) {
          if (random.chance(0.6)) column.emplace_back(i, 1.0);
        }
        column.emplace_back(6, 1.0);
      }
      const int32_t n = env->G->n;
      const int32_t accepted = QUARN_add_columns(env.get(), Batch(6, batch).get(), nullptr);
      ASSERT_EQ(env->G->n, n + accepted);
      const Columns columns = support::columns_of(*env->G);
      for (const support::Column &column : batch) {
        EXPECT_NE(std::find(columns.begin(), columns.end(), column), columns.end());
      }
    }
    ASSERT_EQ(support::broken_invariants(*env.get()), "");
  }
}

TEST(ColumnAddition, ACheaperDuplicateLowersTheCostOfAnAuxiliaryColumnToo) {
  support::ProblemData setup;
  setup.p = 1;
  Environment env(setup);
  ASSERT_EQ(QUARN_add_auxiliary_columns(env.get(), Batch(4, {{{3, 1}, {4, 9}}}).get()), 1);
  const int32_t tag = 5;
  const double cheaper = 9 - 5e-11;
  EXPECT_EQ(QUARN_add_columns(env.get(), Batch(4, {{{4, cheaper}, {3, 1}}}).get(), &tag), 1);
  EXPECT_EQ(support::columns_of(*env->G).back(), (support::Column{{3, 1}, {4, cheaper}}));
  EXPECT_EQ(env->G->n, 5);
  for (int32_t j = 0; j < env->G->max_n; ++j) ASSERT_EQ(env->col_tag[j], -1);
}

}  // namespace

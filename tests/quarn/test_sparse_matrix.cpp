#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/support/allocation.h"
#include "tests/support/captured_output.h"
#include "tests/support/records.h"

namespace {

using support::Batch;
using support::block_size;
using support::Columns;

/// Random columns; rows in random order within a column, so that the storage order matters.
Columns random_columns(support::Random *random, int32_t m, int32_t n, double density) {
  Columns columns(static_cast<size_t>(n));
  for (support::Column &column : columns) {
    for (int32_t i = 1; i <= m; ++i) {
      if (random->chance(density)) column.emplace_back(i, random->real(-9, 9));
    }
    std::shuffle(column.begin(), column.end(), random->engine());
  }
  return columns;
}

TEST(Conversions, ThereAndBackSortsEveryColumnAndKeepsTheRest) {
  support::Random random(21);
  for (int round = 0; round < 200; ++round) {
    const int32_t m = random.integer(1, 12), n = random.integer(1, 12);
    Columns columns = random_columns(&random, m, n, random.one_of<double>({0.1, 0.4, 1.0}));
    columns[0].assign(1, {m, 2.5});  // at least one entry, so that capacities may equal sizes
    const Batch source(m, columns);
    const int32_t nz = source.get()->nz, spare = random.integer(0, 3);

    QUARN_SMatrix_RW rows = {};
    ASSERT_EQ(QUARN_set_SMatrix_RW_from_CW(source.get(), &rows, m + spare, n, nz + spare), 1);
    EXPECT_TRUE(rows.m == m && rows.n == n && rows.nz == nz && rows.max_m == m + spare &&
                rows.max_n == n && rows.max_nz == nz + spare);
    EXPECT_EQ(rows.row_start[m], nz + 1);
    for (int32_t i = 0; i < m; ++i) {
      for (int32_t t = rows.row_start[i]; t < rows.row_start[i + 1] - 1; ++t) {
        EXPECT_LT(rows.cl[t - 1], rows.cl[t]);
      }
    }

    QUARN_SMatrix_CW back = {};
    ASSERT_EQ(QUARN_set_SMatrix_CW_from_RW(&back, &rows, m, n + spare, nz), 1);
    for (support::Column &column : columns) std::sort(column.begin(), column.end());
    EXPECT_EQ(support::columns_of(back), columns);
    EXPECT_TRUE(back.m == m && back.nz == nz && back.max_n == n + spare && back.max_nz == nz);
    EXPECT_TRUE(back.extra1 == nullptr && back.extra2 == nullptr);
    QUARN_free_SMatrix_RW(&rows);
    QUARN_free_SMatrix_CW(&back);
  }
}

TEST(Conversions, TooSmallATargetIsRefusedUntouched) {
  const Batch source(3, {{{1, 1}, {3, 2}}, {{2, 5}}});
  QUARN_SMatrix_RW rows = {};
  ASSERT_EQ(QUARN_set_SMatrix_RW_from_CW(source.get(), &rows, 3, 2, 3), 1);
  const int32_t too_small[][3] = {{2, 2, 3}, {3, 1, 3}, {3, 2, 2}};
  for (const auto &c : too_small) {
    QUARN_SMatrix_RW row_target;
    QUARN_SMatrix_CW column_target;
    std::memset(&row_target, 0x5a, sizeof row_target);
    std::memset(&column_target, 0x5a, sizeof column_target);
    const QUARN_SMatrix_RW row_before = row_target;
    const QUARN_SMatrix_CW column_before = column_target;
    EXPECT_EQ(QUARN_set_SMatrix_RW_from_CW(source.get(), &row_target, c[0], c[1], c[2]), 0);
    EXPECT_EQ(QUARN_set_SMatrix_CW_from_RW(&column_target, &rows, c[0], c[1], c[2]), 0);
    EXPECT_EQ(std::memcmp(&row_before, &row_target, sizeof row_target), 0);
    EXPECT_EQ(std::memcmp(&column_before, &column_target, sizeof column_target), 0);
  }
  QUARN_free_SMatrix_RW(&rows);
}

TEST(Creation, RefusesCapacitiesBelowOneAndCanBeReleasedThen) {
  const struct {
    int32_t m, n, nz, column_wise, row_wise;
  } rows[] = {{3, 1, 1, 0, 0},   {3, 0, 5, -1, 0},  {3, -4, 5, -1, 0}, {0, 2, 5, 0, -1},
              {-1, 2, 5, 0, -1}, {3, 2, 0, -1, -1}, {3, 2, -1, -1, -1}};
  for (const auto &row : rows) {
    SCOPED_TRACE(testing::Message() << row.m << " " << row.n << " " << row.nz);
    QUARN_SMatrix_CW A = {};
    EXPECT_EQ(QUARN_set_SMatrix_CW(&A, row.m, row.n, row.nz), row.column_wise);
    if (row.n >= 1) {
      EXPECT_TRUE(A.col_start[0] == 1 && A.col_start[1] == 1);
    }
    if (row.n < 1) {
      EXPECT_EQ(A.col_start, nullptr);
    }
    if (row.column_wise == 0) {
      EXPECT_TRUE(A.max_m == row.m && A.max_n == row.n && A.max_nz == row.nz);
      EXPECT_TRUE(A.m == 0 && A.n == 0 && A.nz == 0);
    } else {
      EXPECT_TRUE(A.max_m == 0 && A.max_n == 0 && A.max_nz == 0);
    }
    QUARN_SMatrix_RW B = {};
    EXPECT_EQ(QUARN_set_SMatrix_RW(&B, row.m, row.n, row.nz), row.row_wise);
    if (row.m >= 1) {
      EXPECT_TRUE(B.row_start[0] == 1 && B.row_start[1] == 1);
    }
    if (row.row_wise == 0) {
      EXPECT_TRUE(B.max_m == row.m && B.max_n == row.n && B.max_nz == row.nz);
    }
    QUARN_free_SMatrix_CW(&A);
    QUARN_free_SMatrix_RW(&B);
    EXPECT_TRUE(A.max_nz == 0 && A.n == 0 && B.max_m == 0 && B.nz == 0);
  }
  QUARN_free_SMatrix_CW(nullptr);
  QUARN_free_SMatrix_RW(nullptr);
}

TEST(Resizing, ExactOrGrowingOnlyAndContentsSurvive) {
  QUARN_SMatrix_CW A = {};
  ASSERT_EQ(QUARN_set_SMatrix_CW(&A, 4, 10, 20), 0);
  for (int32_t t = 0; t < 20; ++t) {
    A.elt[t] = t;
    A.rw[t] = t + 1;
  }
  for (int32_t j = 0; j <= 10; ++j) A.col_start[j] = 2 * j + 1;
  const struct {
    int32_t (*resize)(QUARN_SMatrix_CW *, int32_t, int32_t, int32_t);
    int32_t n, nz, expected_n, expected_nz;
  } rows[] = {{QUARN_reset_SMatrix_CW, 3, 4, 10, 20},
              {QUARN_reset_SMatrix_CW, 12, 4, 12, 20},
              {QUARN_reset_SMatrix_CW, 12, 40, 12, 40},
              {[](QUARN_SMatrix_CW *M, int32_t, int32_t n, int32_t nz) {
                 return QUARN_reallocate_SMatrix_CW(M, n, nz);
               },
               15, 20, 15, 20},
              {[](QUARN_SMatrix_CW *M, int32_t, int32_t n, int32_t nz) {
                 return QUARN_reallocate_SMatrix_CW(M, n, nz);
               },
               5, 10, 5, 10}};
  for (const auto &row : rows) {
    EXPECT_EQ(row.resize(&A, 99, row.n, row.nz), 0);
    EXPECT_TRUE(A.max_m == 4 && A.max_n == row.expected_n && A.max_nz == row.expected_nz);
    EXPECT_EQ(block_size(A.col_start), sizeof(int32_t) * static_cast<size_t>(A.max_n + 1));
    EXPECT_EQ(block_size(A.elt), sizeof(double) * static_cast<size_t>(A.max_nz));
    EXPECT_EQ(block_size(A.rw), sizeof(int32_t) * static_cast<size_t>(A.max_nz));
    for (int32_t t = 0; t < 10; ++t) EXPECT_TRUE(A.elt[t] == t && A.rw[t] == t + 1);
    for (int32_t j = 0; j <= 5; ++j) EXPECT_EQ(A.col_start[j], 2 * j + 1);
  }
  QUARN_free_SMatrix_CW(&A);

  QUARN_SMatrix_RW B = {};
  ASSERT_EQ(QUARN_set_SMatrix_RW(&B, 4, 10, 20), 0);
  EXPECT_EQ(QUARN_reset_SMatrix_RW(&B, 3, 99, 5), 0);
  EXPECT_TRUE(B.max_m == 4 && B.max_nz == 20);
  EXPECT_EQ(QUARN_reset_SMatrix_RW(&B, 8, 99, 30), 0);
  EXPECT_TRUE(B.max_m == 8 && B.max_n == 10 && B.max_nz == 30);
  EXPECT_EQ(block_size(B.row_start), sizeof(int32_t) * 9);
  EXPECT_EQ(block_size(B.cl), sizeof(int32_t) * 30);
  QUARN_free_SMatrix_RW(&B);
}

TEST(Listing, EachColumnReadsAsADualInequality) {
  const struct {
    int32_t dim;
    Columns columns;
    const char *text;
  } rows[] = {
      // clang-format off
      {4, {}, ""},
      {4, {{{2, -1}, {6, 1e10}}, {}, {{1, 1}, {3, 1.0000001}}, {{6, 7}}, {{5, 0.5}, {6, -3}, {4,
       2}}, {{1, 0.5}, {3, -2}, {5, 1}, {6, 7}}, {{6, 2}, {1, NAN}}}, "0:    -1*U_2 <=  1e+10\n"
       "1:  <=  0\n" "2:    U_1 + 1*U_3 <=  0\n" "3:  <=  7\n" "4:    0.5*Z_1 + 2*U_4 <=  -3\n"
       "5:    0.5*U_1   -2*U_3 + Z_1 <=  7\n" "6:  + nan*U_1 <=  2\n"},
      {0, {{{1, 123456789}, {2, 1}}}, "0:    1.23457e+08*Z_1 + Z_2 <=  0\n"}
      // clang-format on
  };
  for (const auto &row : rows) {
    const Batch batch(6, row.columns);
    EXPECT_EQ(support::flushed_output([&] { QUARN_print_Matrix(batch.get(), row.dim); }), row.text);
  }
}

}  // namespace

/// Every kind of factorisation of the normal matrix against a dense Cholesky in longer arithmetic,
/// and what becomes of it as columns come and go.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <numeric>
#include <set>

#include "interior_point/linear_algebra/block_factorisation.h"
#include "interior_point/linear_algebra/column_factorisation.h"
#include "interior_point/linear_algebra/column_products.h"
#include "interior_point/linear_algebra/dense_cholesky.h"
#include "interior_point/linear_algebra/dense_kernel.h"
#include "interior_point/linear_algebra/factorisation_choice.h"
#include "interior_point/linear_algebra/panel_kernels.h"
#include "interior_point/linear_algebra/sparse_factorisation.h"
#include "tests/interior_point/random_programs.h"

namespace {

using interior_point::Factorisation;
using interior_point::make_block_factorisation;
using interior_point::make_column_factorisation;
using interior_point::make_factorisation;
using interior_point::make_sparse_factorisation;
using interior_point::SparseColumns;
using interior_point::Vector;
using random_programs::Random;
using Handle = std::unique_ptr<Factorisation>;

constexpr double kNoLimit = HUGE_VAL;

/// A family of matrices. The first `blocks` rows are convexity rows: a column has one of them.
struct Shape {
  const char *name;
  int32_t most_rows, most_columns, blocks, band;
  double singletons, long_columns;
  int32_t every_other;  ///< rows i with i % every_other == 0 only; 1 for all
};

const Shape kShapes[] = {{"small", 9, 14, 2, 5, 0.2, 0.1, 1},
                         {"blocks with few linking rows", 90, 200, 60, 8, 0.1, 0.0, 1},
                         {"blocks with many linking rows", 90, 300, 12, 60, 0.0, 0.1, 1},
                         {"singletons", 70, 150, 0, 12, 0.9, 0.02, 1},
                         {"long columns", 150, 200, 0, 4, 0.2, 0.05, 1},
                         {"rows without columns", 80, 60, 10, 10, 0.3, 0.03, 3},
                         {"hardly any columns", 70, 3, 4, 5, 0.3, 0.3, 1}};

/// Adds a column with its rows in no order.
void append(const std::set<int32_t> &rows, Random *random, SparseColumns *A) {
  const auto first = static_cast<std::ptrdiff_t>(A->row.size());
  A->row.insert(A->row.end(), rows.begin(), rows.end());
  std::shuffle(A->row.begin() + first, A->row.end(), random->engine());
  while (A->value.size() < A->row.size()) A->value.push_back(random->entry());
  A->start.push_back(static_cast<int32_t>(A->row.size()));
}

void append_column(const Shape &shape, Random *random, SparseColumns *A) {
  const int32_t last = A->rows - 1, linking = std::min(shape.blocks, last);
  std::set<int32_t> rows;
  if (random->chance(shape.singletons)) {
    rows.insert(random->integer(0, last));
  } else {
    const bool is_long = random->chance(shape.long_columns);
    const int32_t from = random->integer(linking, last);
    const int32_t to = std::min(from + shape.band, last);
    if (linking > 0) rows.insert(random->integer(0, linking - 1));
    for (int32_t i = is_long ? linking : from; i <= (is_long ? last : to); ++i) {
      if (random->chance(is_long ? 0.7 : 0.4)) rows.insert(i);
    }
  }
  for (auto i = rows.begin(); i != rows.end();) {
    i = *i % shape.every_other == 0 ? std::next(i) : rows.erase(i);
  }
  append(rows, random, A);
}

SparseColumns draw_columns(const Shape &shape, int32_t rows, int32_t columns, Random *random) {
  SparseColumns A;
  A.rows = rows;
  for (int32_t j = 0; j < columns; ++j) append_column(shape, random, &A);
  return A;
}

SparseColumns draw_matrix(const Shape &shape, Random *random) {
  return draw_columns(shape, random->integer(1, shape.most_rows),
                      random->integer(0, shape.most_columns), random);
}

using Matrix = Eigen::Matrix<long double, Eigen::Dynamic, Eigen::Dynamic>;
using LongVector = Eigen::Matrix<long double, Eigen::Dynamic, 1>;

Matrix dense(const SparseColumns &A) {
  Matrix result = Matrix::Zero(A.rows, A.columns());
  for (int32_t j = 0; j < A.columns(); ++j) {
    for (auto t = static_cast<size_t>(A.start[static_cast<size_t>(j)]);
         t < static_cast<size_t>(A.start[static_cast<size_t>(j) + 1]); ++t) {
      result(A.row[t], j) = A.value[t];
    }
  }
  return result;
}

LongVector longer(const Vector<double> &values) {
  return Eigen::Map<const Eigen::VectorXd>(values.data(), static_cast<Eigen::Index>(values.size()))
      .cast<long double>();
}

Vector<double> powers_of_ten(int32_t count, double from, double to, Random *random) {
  Vector<double> result(static_cast<size_t>(count));
  for (double &e : result) e = random->power_of_ten(from, to);
  return result;
}

/// Theta and what is added to the diagonal.
struct Numbers {
  Numbers(const SparseColumns &A, Random *random)
      : theta(powers_of_ten(A.columns(), -4, 4, random)),
        added(powers_of_ten(A.rows, -3, 0, random)) {}
  Vector<double> theta, added;
};

Matrix normal_matrix(const SparseColumns &A, const Numbers &numbers) {
  Matrix M = longer(numbers.added).asDiagonal();
  for (int32_t j = 0; j < A.columns(); ++j) {
    const auto at = static_cast<size_t>(j);
    for (auto s = static_cast<size_t>(A.start[at]); s < static_cast<size_t>(A.start[at + 1]); ++s) {
      const long double factor = static_cast<long double>(numbers.theta[at]) * A.value[s];
      for (auto t = static_cast<size_t>(A.start[at]); t < static_cast<size_t>(A.start[at + 1]); ++t)
        M(A.row[t], A.row[s]) += factor * A.value[t];
    }
  }
  return M;
}

/// max_i |M y - r|_i / sum_j sqrt(m_ii m_jj) |y_j|: a Cholesky solve ends at no more than a
/// multiple of its order in roundings, whatever the condition of M (J. W. Demmel, On floating point
/// errors in Cholesky, LAPACK Working Note 14 (1989)).
double backward_error(const Matrix &M, const LongVector &y, const LongVector &r) {
  const LongVector roots = M.diagonal().cwiseSqrt();
  const LongVector residual = (M * y - r).cwiseAbs().cwiseQuotient(roots);
  const long double size = roots.dot(y.cwiseAbs());
  return residual.allFinite() ? static_cast<double>(residual.maxCoeff() / size) : HUGE_VAL;
}

/// Pivots of both signs let the factor of (14) grow by what Cholesky excludes: measured up to 25
/// times more than the bound of a Cholesky solve.
constexpr double kGrowth = 50.0;

/// Solutions and quadratic forms of a factorisation that may have held other numbers before.
void expect_right(Factorisation *f, const SparseColumns &A, const SparseColumns &others,
                  Random *random, double growth = 1.0) {
  const Numbers numbers(A, random);
  const Matrix M = normal_matrix(A, numbers), dense_others = dense(others);
  ASSERT_TRUE(f->compute(numbers.theta.data(), numbers.added.data()));
  const Vector<double> r = powers_of_ten(A.rows, -3, 3, random);
  Vector<double> y = r;
  f->solve(y.data());
  EXPECT_LE(backward_error(M, longer(y), longer(r)),
            growth * 2.0 * DBL_EPSILON * (A.rows + A.columns()));
  if (others.columns() == 0) return;
  Vector<double> t(static_cast<size_t>(others.columns()), -1.0);
  f->quadratic_forms(others, t.data());
  const Matrix images = M.llt().matrixL().solve(dense_others);
  for (int32_t j = 0; j < others.columns(); ++j) {
    const auto expected = static_cast<double>(images.col(j).squaredNorm());
    // Roundings times the condition, at most 1e11 here and hardly ever more than 1e8.
    EXPECT_NEAR(t[static_cast<size_t>(j)], expected, 1e-6 * expected) << "column " << j;
  }
}

Vector<int32_t> longer_than(const SparseColumns &A, int32_t length) {
  Vector<int32_t> augmented;
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (A.length(j) > length) augmented.push_back(j);
  }
  return augmented;
}

/// Every other row first, then all columns and the other rows.
Handle rows_first(const SparseColumns &A) {
  Vector<uint8_t> first(static_cast<size_t>(A.rows), 0);
  for (size_t i = 0; i < first.size(); i += 2) first[i] = 1;
  return make_sparse_factorisation(A, longer_than(A, 1), first, kNoLimit);
}

std::vector<std::pair<const char *, Handle>> every_kind(const SparseColumns &A) {
  const Vector<uint8_t> none(static_cast<size_t>(A.rows), 0);
  std::vector<std::pair<const char *, Handle>> kinds;
  kinds.emplace_back("chosen", make_factorisation(A));
  kinds.emplace_back("dense", make_block_factorisation(A, none));
  kinds.emplace_back("block", make_block_factorisation(A, interior_point::independent_rows(A)));
  kinds.emplace_back("by columns", make_column_factorisation(A));
  kinds.emplace_back("sparse", make_sparse_factorisation(A, {}, kNoLimit));
  kinds.emplace_back("augmented", make_sparse_factorisation(A, longer_than(A, 6), kNoLimit));
  return kinds;
}

TEST(Factorisation, SolvesAsADenseOneDoesWhateverTheWay) {
  const interior_point::BlasThreads one_thread;
  for (const Shape &shape : kShapes) {
    for (uint64_t seed = 1; seed <= 8; ++seed) {
      Random random(seed);
      const SparseColumns A = draw_matrix(shape, &random);
      // More than one block of columns, in rows where A has none and in several eliminated ones.
      const Shape any = {"", 0, 0, 0, A.rows, 0.3, 0.1, 1};
      const SparseColumns others = draw_columns(any, A.rows, random.integer(0, 80), &random);
      for (const auto &[kind, f] : every_kind(A)) {
        SCOPED_TRACE(std::string(shape.name) + ", " + kind + ", seed " + std::to_string(seed));
        ASSERT_NE(f, nullptr);
        const Handle sibling = f->sibling();
        const double growth = f->augmented_columns().empty() ? 1.0 : kGrowth;
        for (Factorisation *one : {f.get(), f.get(), sibling.get()}) {
          expect_right(one, A, others, &random, growth);
        }
        EXPECT_EQ(sibling->work(), f->work());
      }
    }
  }
}

/// The matrix of the augmented system of the columns `augmented`.
Matrix augmented_system(const SparseColumns &A, const Numbers &numbers,
                        const Vector<int32_t> &augmented) {
  Numbers others = numbers;
  for (const int32_t j : augmented) others.theta[static_cast<size_t>(j)] = 0.0;
  const auto size = static_cast<Eigen::Index>(augmented.size());
  Matrix K = Matrix::Zero(A.rows + size, A.rows + size);
  K.topLeftCorner(A.rows, A.rows) = normal_matrix(A, others);
  const Matrix columns = dense(A);
  for (Eigen::Index k = 0; k < size; ++k) {
    const int32_t j = augmented[static_cast<size_t>(k)];
    K.col(A.rows + k).head(A.rows) = columns.col(j);
    K.row(A.rows + k).head(A.rows) = columns.col(j).transpose();
    K(A.rows + k, A.rows + k) = -1.0L / numbers.theta[static_cast<size_t>(j)];
  }
  return K;
}

TEST(SparseFactorisation, SolvesForTheColumnsThatItKeeps) {
  const interior_point::BlasThreads one_thread;
  for (const Shape &shape : kShapes) {
    for (uint64_t seed = 1; seed <= 8; ++seed) {
      SCOPED_TRACE(shape.name + std::string(", seed ") + std::to_string(seed));
      Random random(seed);
      const SparseColumns A = draw_matrix(shape, &random);
      const Handle some = make_sparse_factorisation(A, longer_than(A, 6), kNoLimit);
      EXPECT_EQ(some->augmented_columns(), longer_than(A, 6));
      const Handle all = rows_first(A);
      EXPECT_EQ(all->augmented_columns(), longer_than(A, 1));
      for (const Handle &f : {std::cref(some), std::cref(all)}) {
        const Numbers numbers(A, &random);
        ASSERT_TRUE(f->compute(numbers.theta.data(), numbers.added.data()));
        const Matrix K = augmented_system(A, numbers, f->augmented_columns());
        const Vector<double> right = powers_of_ten(
            A.rows + static_cast<int32_t>(f->augmented_columns().size()), -3, 3, &random);
        Vector<double> solution = right;
        f->solve_augmented(solution.data(), solution.data() + A.rows);
        const LongVector s = longer(solution), terms = K.cwiseAbs() * s.cwiseAbs();
        // Measured up to 8e-13 with rows first.
        EXPECT_LE((K * s - longer(right)).cwiseAbs().maxCoeff(), 1e-11L * terms.maxCoeff());
      }
    }
  }
}

TEST(Factorisation, RefusesAnIndefiniteMatrixAndGoesOnWithTheNext) {
  const interior_point::BlasThreads one_thread;
  for (const Shape &shape : kShapes) {
    for (uint64_t seed = 1; seed <= 4; ++seed) {
      Random random(seed);
      const SparseColumns A = draw_matrix(shape, &random);
      for (const auto &[kind, f] : every_kind(A)) {
        SCOPED_TRACE(std::string(shape.name) + ", " + kind + ", seed " + std::to_string(seed));
        const auto row = static_cast<size_t>(random.integer(0, A.rows - 1));
        for (const double wrong : {-1e9, std::nan("")}) {
          Numbers numbers(A, &random);
          numbers.added[row] = wrong;
          EXPECT_FALSE(f->compute(numbers.theta.data(), numbers.added.data())) << wrong;
        }
        expect_right(f.get(), A, A, &random, kGrowth);
      }
    }
  }
}

TEST(SparseFactorisation, IsMadeBelowItsWorkLimitAlone) {
  for (const Shape &shape : kShapes) {
    Random random(7);
    const SparseColumns A = draw_matrix(shape, &random);
    for (const auto &augmented : {Vector<int32_t>(), longer_than(A, 6)}) {
      const double work = make_sparse_factorisation(A, augmented, kNoLimit)->work();
      EXPECT_EQ(make_sparse_factorisation(A, augmented, work), nullptr) << shape.name;
      // With an augmented system, panels of a few columns count as what they take.
      const double most = augmented.empty() ? 1.001 : interior_point::kScatterCost;
      EXPECT_NE(make_sparse_factorisation(A, augmented, most * work + 1.0), nullptr) << shape.name;
    }
  }
}

/// Of one block, of several, and with a block that is cut short.
TEST(DenseCholesky, HoldsItsBlocksTogether) {
  const interior_point::BlasThreads one_thread;
  Random random(7);
  for (const int32_t order : {130, 1152, 1300}) {
    const auto draw = [&](Eigen::Index rows, Eigen::Index columns) {
      Eigen::MatrixXd V(rows, columns);
      for (double &e : V.reshaped()) e = random.entry();
      return V;
    };
    const Eigen::MatrixXd inner = draw(30, order), outer = draw(order, 20), B = draw(order, 3);
    interior_point::DenseCholesky f;
    f.resize(order);
    f.set_to_inner_product(30, inner.data(), 30);
    f.add_outer_product(20, 0.5, outer.data(), order);
    Eigen::MatrixXd M = inner.transpose() * inner + 0.5 * outer * outer.transpose();
    for (int32_t k = 0; k < order; ++k) f.column(k)[k] += 1.0 + k % 7;
    for (int32_t k = 0; k < order; ++k) M(k, k) += 1.0 + k % 7;
    EXPECT_NEAR(f.column(5)[order - 1], M(order - 1, 5), 1e-9);
    ASSERT_TRUE(f.factorise());
    Eigen::MatrixXd together = B, X = B;
    f.solve_lower(3, together.data());
    for (Eigen::Index k = 0; k < 3; ++k) {
      f.solve_lower(1, X.col(k).data());
      EXPECT_LE((X.col(k) - together.col(k)).norm(), 1e-11 * X.col(k).norm());
      f.solve_lower_transposed(X.col(k).data());
    }
    EXPECT_LE((M * X - B).norm(), 1e-13 * order * (M.norm() * X.norm())) << order;
    f.resize(order);
    f.set_to_inner_product(30, inner.data(), 30);
    for (int32_t k = 0; k < order; ++k) f.column(k)[k] += k == order - 2 ? -1e9 : 1.0;
    EXPECT_FALSE(f.factorise()) << order;
  }
}

/// A diagonal and `columns` columns of random rows, so many to a row in the mean.
SparseColumns tall_matrix(int32_t rows, int32_t columns, double to_a_row, Random *random) {
  SparseColumns A;
  A.rows = rows;
  for (int32_t i = 0; i < rows; ++i) append({i}, random, &A);
  for (int32_t j = 0; j < columns; ++j) {
    std::set<int32_t> touched;
    for (int32_t i = 0; i < rows; ++i) {
      if (random->chance(to_a_row / columns)) touched.insert(i);
    }
    append(touched, random, &A);
  }
  return A;
}

TEST(Choice, LeavesFewColumnsToTheEnd) {
  const interior_point::BlasThreads one_thread;
  Random random(3);
  const SparseColumns sparse = tall_matrix(1500, 100, 2.0, &random);
  const Handle thin = make_factorisation(sparse);
  EXPECT_EQ(thin->augmented_columns(), longer_than(sparse, 1));
  EXPECT_LT(thin->work(), 0.1 * interior_point::column_factorisation_work(sparse));
  // Row after row, long ones would be updates of the memory's speed.
  const SparseColumns few = tall_matrix(200, 130, 100.0, &random);
  const Handle by_columns = make_factorisation(few);
  EXPECT_EQ(by_columns->work(), interior_point::column_factorisation_work(few));
  const SparseColumns more = tall_matrix(200, 150, 120.0, &random);
  const Handle adapted = by_columns->adapted(more);
  ASSERT_NE(adapted, nullptr);
  expect_right(adapted.get(), more, few, &random, kGrowth);
  EXPECT_EQ(by_columns->adapted(tall_matrix(200, 190, 120.0, &random)), nullptr) << "not few";
  EXPECT_EQ(by_columns->adapted(tall_matrix(200, 150, 60.0, &random)), nullptr) << "others";
}

TEST(ColumnProducts, AreThoseOfADenseReferenceForColumnsOfEveryLength) {
  for (const int32_t rows : {3, 20, 90, 200, 300}) {
    Random random(static_cast<uint64_t>(rows));
    SparseColumns A = tall_matrix(rows, 80, 20.0, &random);
    A.start.insert(A.start.begin() + 7, A.start[7]);  // no entry
    const interior_point::ColumnProducts products(A);
    if (rows > 3) {
      ASSERT_GT(products.long_columns().size(), 10u);
      ASSERT_LT(products.long_columns().size(), 80u);
    }
    const Vector<double> x = powers_of_ten(A.columns(), -2, 2, &random);
    const Vector<double> y = powers_of_ten(rows, -2, 2, &random);
    const Matrix M = dense(A);
    Vector<double> image(y), both(y), squares(y), product(x.size(), 7.0), other(x.size(), 7.0);
    products.add_product(2.0, x.data(), image.data());
    products.multiply(y.data(), product.data());
    products.multiply_both(x.data(), both.data(), y.data(), other.data());
    products.add_squares(x.data(), squares.data());
    const LongVector Ax = M * longer(x);
    const LongVector Ay = M.transpose() * longer(y);
    const LongVector added = longer(y) + M.cwiseAbs2() * longer(x);
    const auto expect_near = [](const LongVector &expected, const Vector<double> &v) {
      EXPECT_LT((expected - longer(v)).cwiseAbs().maxCoeff(), 1e-9);
    };
    expect_near(longer(y) + 2.0L * Ax, image);
    expect_near(longer(y) - Ax, both);
    expect_near(Ay, product);
    expect_near(Ay, other);
    expect_near(added, squares);
  }
}

/// Whether no column touches two of the marked rows.
bool is_independent(const SparseColumns &A, const Vector<uint8_t> &marked) {
  const LongVector rows = longer(Vector<double>(marked.begin(), marked.end()));
  const Matrix entries = (dense(A).array() != 0.0L).cast<long double>();
  const Matrix touched = rows.transpose() * entries;
  return A.columns() == 0 || touched.maxCoeff() <= 1.0L;
}

TEST(IndependentRows, AreTouchedByEachColumnOnceAtMost) {
  for (const Shape &shape : kShapes) {
    for (uint64_t seed = 1; seed <= 40; ++seed) {
      SCOPED_TRACE(shape.name + std::string(", seed ") + std::to_string(seed));
      Random random(seed);
      const SparseColumns A = draw_matrix(shape, &random);
      const Vector<uint8_t> marked = interior_point::independent_rows(A);
      ASSERT_EQ(marked.size(), static_cast<size_t>(A.rows));
      EXPECT_TRUE(is_independent(A, marked));
      const auto count = std::accumulate(marked.begin(), marked.end(), 0);
      EXPECT_LT(count, A.rows);
      EXPECT_GE(count, A.rows > 1 ? 1 : 0) << "one row alone is independent";
    }
  }
}

/// Some columns of A go, some come.
SparseColumns changed(const SparseColumns &A, const Shape &shape, Random *random) {
  SparseColumns next;
  next.rows = A.rows;
  const double leaves = random->real(0.0, 0.4);
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (random->chance(leaves)) continue;
    for (auto t = static_cast<size_t>(A.start[static_cast<size_t>(j)]);
         t < static_cast<size_t>(A.start[static_cast<size_t>(j) + 1]); ++t) {
      next.row.push_back(A.row[t]);
      next.value.push_back(A.value[t]);
    }
    next.start.push_back(static_cast<int32_t>(next.row.size()));
  }
  const int32_t most = 1 + 2 * A.columns() / 5;
  for (int32_t k = random->integer(0, most); k > 0; --k) append_column(shape, random, &next);
  return next;
}

TEST(SparseFactorisation, IsOrderedAnewWhereTheOldOrderFillsIn) {
  Random random(9);
  constexpr int32_t kRows = 400;
  SparseColumns chain;
  chain.rows = kRows;
  for (int32_t i = 0; i < kRows; ++i) append({i}, &random, &chain);
  SparseColumns stars = chain;
  for (int32_t i = 1; i < kRows; ++i) append({i - 1, i}, &random, &chain);
  const Handle of_chain = make_sparse_factorisation(chain, {}, kNoLimit);
  // Some of the middles of the stars are among the rows that the chain begins with.
  for (int32_t i = 10; i < kRows; ++i) append({190 + i % 10, (190 + i) % kRows}, &random, &stars);
  const Handle adapted = of_chain->adapted(stars);
  ASSERT_NE(adapted, nullptr);
  EXPECT_LT(adapted->work(), 1.2 * make_sparse_factorisation(stars, {}, kNoLimit)->work());
  expect_right(adapted.get(), stars, stars, &random);
}

/// The choice is carried from A to A while it may be, and made anew where it may not.
void follow_changes(const Shape &shape, bool sparse, uint64_t seed, int32_t *refusals) {
  Random random(seed);
  SparseColumns A = draw_columns(shape, std::max(2, shape.most_rows), shape.most_columns, &random);
  const auto fresh = [&](Vector<uint8_t> *eliminated) {
    *eliminated = interior_point::independent_rows(A);
    return sparse ? make_sparse_factorisation(A, {}, kNoLimit)
                  : make_block_factorisation(A, *eliminated);
  };
  Vector<uint8_t> eliminated;
  Handle f = fresh(&eliminated);
  int32_t entries_then = A.entries();
  for (int step = 0; step < 6; ++step) {
    SCOPED_TRACE(step);
    A = changed(A, shape, &random);
    const bool holds = 2 * A.entries() <= 3 * entries_then && 2 * entries_then <= 3 * A.entries() &&
                       (sparse || is_independent(A, eliminated));
    Handle adapted = f->adapted(A);
    ASSERT_EQ(adapted != nullptr, holds);
    // The one that was adapted stays as it was, so its own refusal of other rows is still seen.
    SparseColumns taller = A;
    ++taller.rows;
    EXPECT_EQ(f->adapted(taller), nullptr);
    if (!adapted) {
      ++*refusals;
      adapted = fresh(&eliminated);
      entries_then = A.entries();
    }
    f = std::move(adapted);
    expect_right(f.get(), A, A, &random);
    EXPECT_EQ(make_factorisation(A, f.get())->work(), f->work()) << "another choice";
  }
}

TEST(AdaptedFactorisation, IsAsGoodAsAFreshOneOrRefused) {
  const interior_point::BlasThreads one_thread;
  for (const Shape &shape : kShapes) {
    int32_t refusals = 0;
    for (uint64_t seed = 1; seed <= 2; ++seed) {
      for (const bool sparse : {false, true}) {
        SCOPED_TRACE(std::string(shape.name) + (sparse ? ", sparse" : ", block") + ", seed " +
                     std::to_string(seed));
        follow_changes(shape, sparse, seed, &refusals);
      }
    }
    EXPECT_GT(refusals, 0) << shape.name;
    EXPECT_LT(refusals, 24) << shape.name;
  }
}

/// A chain of short columns that needs next to no work, under long columns that fill the matrix.
TEST(ChosenFactorisation, KeepsLongColumnsAsUnknownsUnlessTheyAreFree) {
  const interior_point::BlasThreads one_thread;
  Random random(1);
  SparseColumns A;
  A.rows = 300;
  for (int32_t i = 0; i + 1 < A.rows; ++i) append({i, i + 1}, &random, &A);
  std::set<int32_t> every_row;
  for (int32_t i = 0; i < A.rows; ++i) every_row.insert(i);
  for (int k = 0; k < 3; ++k) append(every_row, &random, &A);
  const double sparse_work = make_sparse_factorisation(A, longer_than(A, 6), kNoLimit)->work();
  const double plain = make_sparse_factorisation(A, {}, kNoLimit)->work();
  ASSERT_LT(100.0 * sparse_work, plain);
  EXPECT_EQ(make_factorisation(A)->work(), sparse_work);
  EXPECT_EQ(make_factorisation(A)->adapted(A), nullptr) << "which ones to keep is chosen anew";
  expect_right(make_factorisation(A).get(), A, A, &random, kGrowth);
  const Vector<uint8_t> all_free(static_cast<size_t>(A.columns()), 1);
  EXPECT_GT(make_factorisation(A, nullptr, &all_free)->work(), 100.0 * sparse_work);
}

using LongMatrix = Eigen::Matrix<long double, Eigen::Dynamic, Eigen::Dynamic>;

/// A symmetric matrix that is diagonally dominant with the given signs on its diagonal.
LongMatrix quasidefinite(const Vector<double> &sign, Random *random) {
  const auto n = static_cast<Eigen::Index>(sign.size());
  LongMatrix K(n, n);
  for (Eigen::Index i = 0; i < n; ++i) {
    for (Eigen::Index j = 0; j < i; ++j) K(i, j) = K(j, i) = random->entry();
  }
  for (Eigen::Index i = 0; i < n; ++i) {
    K(i, i) = 0;
    K(i, i) = sign[static_cast<size_t>(i)] * (1.0L + K.row(i).cwiseAbs().sum());
  }
  return K;
}

/// Solves K x = r by two panels: the first `columns` columns of K, and what they leave of the rest,
/// which lies scattered among the rows and columns of an identity.
Vector<double> solve_by_panels(const interior_point::PanelKernels &kernels, const LongMatrix &K,
                               const Vector<double> &sign, int32_t columns, Vector<double> x,
                               Random *random) {
  const auto n = static_cast<int32_t>(K.rows());
  const int32_t rest = n - columns, order = rest + random->integer(0, 5);
  Vector<int32_t> place(static_cast<size_t>(order));
  std::iota(place.begin(), place.end(), 0);
  std::shuffle(place.begin(), place.end(), random->engine());
  place.resize(static_cast<size_t>(rest));
  std::sort(place.begin(), place.end());
  Vector<double> first, second(static_cast<size_t>(order) * static_cast<size_t>(order), 0.0);
  for (int32_t j = 0; j < columns; ++j) {
    for (int32_t i = 0; i < n; ++i) first.push_back(i < j ? NAN : static_cast<double>(K(i, j)));
  }
  Vector<double> second_sign(static_cast<size_t>(order), 1.0), rest_of_x(second_sign.size());
  for (int32_t i = 0; i < order; ++i) second[static_cast<size_t>(i * (order + 1))] = 1.0;
  for (int32_t j = 0; j < rest; ++j) {
    second_sign[static_cast<size_t>(place[j])] = sign[static_cast<size_t>(columns + j)];
    for (int32_t i = j; i < rest; ++i) {
      second[static_cast<size_t>(place[j] * order + place[i])] =
          static_cast<double>(K(columns + i, columns + j));
    }
  }
  Vector<double> scratch(static_cast<size_t>(interior_point::kScratchPerColumn * (n + order)));
  const bool positive = std::all_of(sign.begin(), sign.end(), [](double d) { return d > 0; });
  const double *d = positive ? nullptr : sign.data();
  EXPECT_TRUE(kernels.factorise(n, columns, d, first.data(), scratch.data()));
  const int32_t cut = rest / 3;  // by two updates, as two supernodes would take it
  kernels.update(rest, cut, n, columns, d, first.data() + columns,
                 {second.data(), order, place.data()}, scratch.data());
  kernels.update(rest - cut, rest - cut, n, columns, d, first.data() + columns + cut,
                 {second.data(), order, place.data() + cut}, scratch.data());
  EXPECT_TRUE(kernels.factorise(order, order, second_sign.data(), second.data(), scratch.data()));

  kernels.solve(n, columns, first.data(), x.data());
  for (int32_t j = 0; j < rest; ++j) rest_of_x[static_cast<size_t>(place[j])] = x[columns + j];
  kernels.solve(order, order, second.data(), rest_of_x.data());
  for (size_t i = 0; i < rest_of_x.size(); ++i) rest_of_x[i] *= second_sign[i];
  kernels.solve_transposed(order, order, second.data(), rest_of_x.data());
  for (int32_t j = 0; j < columns; ++j) x[static_cast<size_t>(j)] *= sign[static_cast<size_t>(j)];
  for (int32_t j = 0; j < rest; ++j) x[columns + j] = rest_of_x[static_cast<size_t>(place[j])];
  kernels.solve_transposed(n, columns, first.data(), x.data());
  return x;
}

TEST(PanelKernels, SolveLikeADenseReferenceWithEveryWidthOfRegisters) {
  Random random(77);
  for (int trial = 0; trial < 300; ++trial) {
    const int32_t n = random.integer(2, 90), columns = random.integer(1, n - 1);
    Vector<double> sign(static_cast<size_t>(n), 1.0), r;
    for (double &d : sign) d = trial % 2 == 1 && random.chance(0.4) ? -1.0 : 1.0;
    const LongMatrix K = quasidefinite(sign, &random);
    Eigen::Matrix<long double, Eigen::Dynamic, 1> right(n);
    for (int32_t i = 0; i < n; ++i) r.push_back(static_cast<double>(right(i) = random.entry()));
    const Eigen::Matrix<long double, Eigen::Dynamic, 1> expected = K.partialPivLu().solve(right);
    for (const int32_t most : {2, 4, 8}) {
      const Vector<double> x =
          solve_by_panels(interior_point::panel_kernels(most), K, sign, columns, r, &random);
      for (int32_t i = 0; i < n; ++i) {
        ASSERT_NEAR(x[static_cast<size_t>(i)], static_cast<double>(expected(i)),
                    1e-13 * static_cast<double>(expected.cwiseAbs().maxCoeff()))
            << n << " x " << columns << " with " << most << " numbers in a register";
      }
    }
  }
}

TEST(PanelKernels, RefusePivotsOfTheWrongSign) {
  for (const double pivot : {0.0, -1.0, std::nan("")}) {
    for (const double sign : {1.0, -1.0}) {
      Vector<double> panel = {sign, 0.5, 0.25, NAN, sign * pivot + 0.25 * sign, 0.5};
      double scratch[2 * interior_point::kScratchPerColumn];
      const double signs[] = {sign, sign};
      EXPECT_FALSE(interior_point::panel_kernels().factorise(3, 2, signs, panel.data(), scratch));
    }
  }
}

}  // namespace

// Flexible GMRES against the residuals that its combinations really leave.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "interior_point/linear_algebra/fgmres.h"

namespace {

using interior_point::Fgmres;
using Vector = interior_point::Vector<double>;

/// A dense matrix of random entries with something added to the diagonal.
struct Matrix {
  size_t order;
  Vector entries;

  Matrix(size_t n, double diagonal, std::mt19937 *random) : order(n), entries(n * n) {
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (double &e : entries) e = uniform(*random);
    for (size_t i = 0; i < n; ++i) entries[i * n + i] += diagonal;
  }

  Vector times(const Vector &x) const {
    Vector product(order, 0.0);
    for (size_t i = 0; i < order; ++i) {
      for (size_t j = 0; j < order; ++j) product[i] += entries[i * order + j] * x[j];
    }
    return product;
  }
};

double norm_of_residual(const Matrix &M, const Vector &r, const Vector &y) {
  const Vector image = M.times(y);
  double sum = 0.0;
  for (size_t i = 0; i < r.size(); ++i) sum += (r[i] - image[i]) * (r[i] - image[i]);
  return std::sqrt(sum);
}

/// Directions that differ from `next` by another random part every time.
TEST(Fgmres, KnowsWhatItsCombinationLeavesAndNeverLeavesMore) {
  std::mt19937 random(7);
  std::normal_distribution<double> normal;
  for (const double diagonal : {0.0, 5.0}) {
    for (const size_t order : {1u, 2u, 9u, 12u, 40u}) {
      const Matrix M(order, diagonal, &random);
      Vector r(order), y;
      for (double &e : r) e = normal(random);
      Fgmres corrections;
      ASSERT_TRUE(corrections.start(r));
      double last = norm_of_residual(M, r, Vector(order, 0.0));
      for (bool more = true; more;) {
        Vector direction = corrections.next();
        for (double &e : direction) e += 0.3 * normal(random);
        more = corrections.add(direction, M.times(direction));
        corrections.combine(&y);
        const double left = norm_of_residual(M, r, y);
        EXPECT_NEAR(left, corrections.residual_norm(), 1e-8) << order;
        EXPECT_LE(left, last + 1e-8) << order;
        last = left;
        if (corrections.size() == static_cast<int>(order)) more = false;
      }
      if (order > Fgmres::kMaxDimension) {
        EXPECT_EQ(corrections.size(), Fgmres::kMaxDimension);
      } else {
        EXPECT_LT(last, 1e-8) << order;
      }
    }
  }
}

TEST(Fgmres, LeavesOutWhatIsOfNoUse) {
  const Vector r = {0.0, 4.0};
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Fgmres corrections;
  EXPECT_FALSE(corrections.start({0.0, 0.0}));
  EXPECT_FALSE(corrections.start({nan, 1.0}));
  ASSERT_TRUE(corrections.start(r));
  EXPECT_FALSE(corrections.add({1.0, 0.0}, {0.0, 0.0}));
  EXPECT_FALSE(corrections.add({1.0, 0.0}, {nan, 0.0}));
  EXPECT_EQ(corrections.size(), 0);
  EXPECT_DOUBLE_EQ(corrections.residual_norm(), 4.0);
  EXPECT_FALSE(corrections.add({1.0, 1.0}, {0.0, 2.0}));  // solves it: nothing can follow
  Vector y;
  corrections.combine(&y);
  EXPECT_DOUBLE_EQ(y[0], 2.0);
  EXPECT_DOUBLE_EQ(y[1], 2.0);
  EXPECT_DOUBLE_EQ(corrections.residual_norm(), 0.0);
}

}  // namespace

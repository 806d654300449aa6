// The rules of the tolerance dial at their edges, and runs whose gaps contract fast or slowly.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "quarn_cpp/tolerance_dial.hpp"

namespace quarn {
namespace detail {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(ToleranceDial, AverageIsGeometricAndKeepsOutliersOut) {
  EXPECT_NEAR(average_contraction(0.5, 0.5), 0.5, 1e-15);
  EXPECT_NEAR(average_contraction(1.0, 1.0 / 16.0), 0.5, 1e-15);  // a quarter's weight
  EXPECT_EQ(average_contraction(0.5, 7.0), average_contraction(0.5, 1.0));
  EXPECT_EQ(average_contraction(0.5, 0.0), average_contraction(0.5, 1e-4));
  EXPECT_NEAR(average_contraction(1.0, 1e-12), 0.1, 1e-15);
}

TEST(ToleranceDial, DivisorFallsFromTheSettledShareTo105) {
  EXPECT_DOUBLE_EQ(divisor_for(1.0), 1.05);
  EXPECT_DOUBLE_EQ(divisor_for(0.6), 1.05 / 0.216);
  EXPECT_EQ(divisor_for(std::nextafter(0.6, 0.0)), ToleranceDial::kMostDivisor);
  EXPECT_EQ(divisor_for(1e-4), ToleranceDial::kMostDivisor);
}

TEST(ToleranceDial, SlowContractionLoosensAndFastContractionTightensAgain) {
  ToleranceDial dial;
  EXPECT_EQ(dial.divisor(), ToleranceDial::kMostDivisor);
  double gap = 1000.0;
  for (int k = 0; k < 40; ++k) {
    const double before = dial.divisor();
    EXPECT_LE(dial.update(gap), before);
    EXPECT_GT(dial.divisor(), 1.05);
    gap *= 0.9;
  }
  EXPECT_NEAR(dial.divisor(), 1.05 / (0.9 * 0.9 * 0.9), 1e-3);
  for (int k = 0; k < 40; ++k) dial.update(gap *= 0.3);
  EXPECT_EQ(dial.divisor(), ToleranceDial::kMostDivisor);
  for (int k = 0; k < 60; ++k) dial.update(gap *= 2.0);  // a growing gap counts as standing still
  EXPECT_NEAR(dial.divisor(), 1.05, 1e-4);
}

/// The gap closes by a twentieth a round, of which a share comes from above.
TEST(ToleranceDial, ValuesThatHardlyFallTighten) {
  EXPECT_EQ(sharpening_for(0.25), 1.0);
  EXPECT_DOUBLE_EQ(sharpening_for(0.125), 4.0);
  EXPECT_EQ(sharpening_for(0.0), 6.0);
  EXPECT_EQ(sharpening_for(std::nan("")), 1.0);
  const auto divisor_at = [](double share) {
    ToleranceDial dial;
    double upper = 100.0, lower = -100.0;
    for (int k = 0; k < 80; ++k) {
      const double closed = 0.05 * (upper - lower);
      dial.note_bounds(upper -= share * closed, lower += (1.0 - share) * closed);
      dial.note_bounds(upper + 50.0, lower);  // a value above says nothing
      dial.update(upper - lower);
    }
    return dial.divisor();
  };
  const double loose = divisor_at(0.5);
  EXPECT_NEAR(loose, 1.05 / (0.95 * 0.95 * 0.95), 1e-3);
  EXPECT_NEAR(divisor_at(0.2) / loose, 1.5625, 1e-3);
  EXPECT_NEAR(divisor_at(0.01) / loose, 6.0, 1e-3);
}

TEST(ToleranceDial, BoundsThatAreMissingTightenNothing) {
  ToleranceDial dial;
  for (const double odd : {kInfinity, std::nan("")}) {
    dial.note_bounds(odd, 0.0);
    dial.note_bounds(1.0, -odd);
    dial.note_bounds(0.5, 0.0);
  }
  for (int k = 0; k < 80; ++k) dial.update(1.0);
  EXPECT_NEAR(dial.divisor(), 1.05, 1e-4);
}

TEST(ToleranceDial, GapsThatCannotBeComparedStartOver) {
  for (const double odd : {0.0, -1.0, kInfinity, std::nan("")}) {
    SCOPED_TRACE(odd);
    ToleranceDial dial;
    for (int k = 0; k < 20; ++k) dial.update(10.0);
    const double before = dial.divisor();
    EXPECT_EQ(dial.update(odd), before);
    EXPECT_EQ(dial.update(1e-3), before);  // nothing to compare with yet
    EXPECT_GT(dial.update(1e-6), before);
  }
}

/// As where the box lets go of the duals: what was compared is of two sizes.
TEST(ToleranceDial, AFallByOrdersOfMagnitudeSaysNothing) {
  ToleranceDial dial;
  double gap = 1e12;
  for (int k = 0; k < 20; ++k) dial.update(gap *= 0.9);
  const double before = dial.divisor();
  EXPECT_EQ(dial.update(gap = 100.0), before);
  EXPECT_LE(dial.update(0.9 * gap), before);
}

TEST(ToleranceDial, AnswersWithoutABoundCountAsStandingStill) {
  ToleranceDial with, without;
  with.update(10.0);
  without.update(10.0);
  for (int k = 0; k < 20; ++k) EXPECT_EQ(without.update_without_bound(), with.update(10.0));
  // The next bound is compared with the last one that there was.
  EXPECT_EQ(without.update(2.0), with.update(2.0));
}

}  // namespace
}  // namespace detail
}  // namespace quarn

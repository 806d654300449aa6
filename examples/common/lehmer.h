#ifndef EXAMPLES_COMMON_LEHMER_H
#define EXAMPLES_COMMON_LEHMER_H

#include <cstdint>

namespace examples {

/**
 * The pseudo-random numbers of the instance generators: Lehmer's x <- 16807 x mod (2^31 - 1).
 *
 * The same seed gives the same instance on every machine, which the standard library's
 * distributions do not promise. Source: S. K. Park, K. W. Miller, Random number generators: good
 * ones are hard to find, Communications of the ACM 31 (1988).
 */
class Lehmer {
 public:
  /// Starts with x = 1000003 seed mod (2^31 - 1), seed from 1 to 2^31 - 2, and throws the first ten
  /// values away: those of neighbouring seeds still look alike.
  explicit Lehmer(int64_t seed) : x_(1000003 * seed % kModulus) {
    for (int k = 0; k < 10; ++k) step();
  }

  /// A whole number from least to most, both included: one step.
  int64_t draw(int64_t least, int64_t most) {
    return least + step() * (most - least + 1) / kModulus;
  }

 private:
  static constexpr int64_t kModulus = 2147483647;

  int64_t step() { return x_ = 16807 * x_ % kModulus; }

  int64_t x_;
};

}  // namespace examples

#endif

/**
 * Hashes of numbers, by which columns and rows are recognised. They serve no one who wants them to
 * collide.
 */
#ifndef INTERIOR_POINT_FORM_FINGERPRINT_H
#define INTERIOR_POINT_FORM_FINGERPRINT_H

#include <cstdint>
#include <cstring>

namespace interior_point {

/// The finaliser of splitmix64: cheap, and every bit of the word counts. G. L. Steele, D. Lea,
/// C. H. Flood, Fast splittable pseudorandom number generators, OOPSLA (2014) 453-472.
inline uint64_t scramble(uint64_t word) {
  word = (word ^ (word >> 30)) * 0xbf58476d1ce4e5b9ULL;
  word = (word ^ (word >> 27)) * 0x94d049bb133111ebULL;
  return word ^ (word >> 31);
}

/// The running hash of a sequence with one more word.
inline uint64_t mix(uint64_t hash, uint64_t word) {
  return scramble((hash ^ word) + 0x9e3779b97f4a7c15ULL);
}

inline uint64_t bits_of(double value) {
  uint64_t word;
  std::memcpy(&word, &value, sizeof(word));
  return word;
}

}  // namespace interior_point

#endif

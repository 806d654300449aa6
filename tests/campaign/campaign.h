/**
 * Programs that try the library hard, at volume, each a function of a seed. What runs them counts
 * the cases, watches that each returns, and prints the command that repeats a failing one.
 *
 * A case fails by an assertion of GoogleTest, which throws here, by any other exception, by what a
 * sanitizer finds, and by taking longer than kMostSeconds. Oracles, which no exception may leave,
 * keep what they find until the run is over.
 */
#ifndef TESTS_CAMPAIGN_CAMPAIGN_H
#define TESTS_CAMPAIGN_CAMPAIGN_H

#include <cstdint>
#include <vector>

namespace campaign {

/// No case takes a second; the sanitizers and other load are allowed for.
constexpr unsigned kMostSeconds = 60;

struct Program {
  const char *name;
  void (*run)(uint32_t seed);
};

/// The programs of an executable; each executable has its own definition.
const std::vector<Program> &programs();

void solve_masters(uint32_t seed);
void round_decompositions(uint32_t seed);
void answer_badly(uint32_t seed);
void fail_allocations(uint32_t seed);
void mutate_files(uint32_t seed);
void solve_in_threads(uint32_t seed);

}  // namespace campaign

#endif

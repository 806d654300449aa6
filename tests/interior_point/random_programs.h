/**
 * Seeded random linear programs for the tests of the solver.
 *
 * Most are made backwards from an optimal pair: x and y are drawn with their complementary pattern,
 * then right-hand sides and costs are chosen such that (x, y) satisfies the optimality conditions.
 * So the optimum is known without another solver.
 */
#ifndef TESTS_INTERIOR_POINT_RANDOM_PROGRAMS_H
#define TESTS_INTERIOR_POINT_RANDOM_PROGRAMS_H

#include <cmath>
#include <cstdint>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/linear_program.h"

namespace random_programs {

using benchmarks::LinearProgram;

/// Numbers that depend on the seed alone.
class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}
  int32_t integer(int32_t from, int32_t to) {
    return std::uniform_int_distribution<int32_t>(from, to)(engine_);
  }
  double real(double from, double to) {
    return std::uniform_real_distribution<double>(from, to)(engine_);
  }
  bool chance(double probability) { return real(0.0, 1.0) < probability; }
  std::mt19937_64 &engine() { return engine_; }
  double power_of_ten(double from, double to) { return std::pow(10.0, real(from, to)); }
  /// A small integer or a real number, never 0.
  double entry() {
    const double magnitude = chance(0.5) ? integer(1, 5) : real(0.1, 5.0);
    return chance(0.4) ? -magnitude : magnitude;
  }

 private:
  std::mt19937_64 engine_;
};

/// What sets a family of programs apart from the plain one, each a share or a size.
struct Traits {
  std::string name = "plain";
  int32_t most_rows = 20, most_columns = 40;
  double density = 0.3;
  double degenerate = 0.1;  ///< share of basic variables at a bound, of nonbasic ones free of cost
  double bounded = 0.3;     ///< share of columns with other bounds than [0, inf)
  double equalities = 0.3;  ///< share of rows that are equalities; the rest splits evenly
  double ranges = 0.1;      ///< share of rows with a range
  double dependent = 0.0;   ///< rows that are combinations of others, per row
  double empty = 0.0;       ///< empty rows and columns, per row and column
  double dense_columns = 0.0;       ///< share of columns with an entry in every row
  double short_lines = 0.0;         ///< share of rows and columns cut down to one or two entries
  double parallel = 0.0;            ///< share of rows and columns that are multiples of others
  double forcing = 0.0;             ///< share of rows that their columns' bounds can only just meet
  double scale_decades = 0.0;       ///< rows and columns are scaled by up to this power of ten
  double cost_decades[2] = {0, 1};  ///< reduced costs are 10^ a number between these
  bool homogeneous = false;         ///< x = 0 and right-hand sides of zero
};

inline void PrintTo(const Traits &traits, std::ostream *stream) { *stream << traits.name; }

struct KnownProgram {
  LinearProgram program;
  double optimum;
  double slack;  ///< by how much an objective of gap 1e-8 and infeasibilities 1e-9 may miss it
};

/// What a presolve feeds on: short and parallel lines, rows that fix their columns.
Traits reducible();

/// Programs of every form: the plain one and fourteen others, each with a trait in excess.
std::vector<Traits> families();

KnownProgram draw_known(const Traits &traits, uint64_t seed);

/// Small integers everywhere, so that infeasible and unbounded programs are frequent.
LinearProgram draw_any(uint64_t seed);

/// A restricted master: per linking row two box columns (entries -1 and 1, costs `box`), then
/// covering columns with a cost near 1 and an entry in the row of their block when there are
/// blocks.
LinearProgram draw_rmp(int32_t linking, int32_t blocks, int32_t columns, double box, uint64_t seed);

/// The program with bounds of about `size` instead of none.
LinearProgram in_huge_boxes(LinearProgram program, double size);

/// What a caller of the solver would object to: measured infeasibilities above `infeasibility`, a
/// gap above `gap`, duals of the wrong sign, slacks that do not belong to the duals, or an
/// objective that is not c'x. Empty when all is well.
std::string optimality_faults(const LinearProgram &program, benchmarks::LoadedProblem *problem,
                              double gap, double infeasibility);

/// Outputs that are not finite, by name; empty when there are none.
std::string non_finite_outputs(benchmarks::LoadedProblem *problem,
                               const benchmarks::SolveReport &report);

}  // namespace random_programs

#endif

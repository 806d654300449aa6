/**
 * Linear programs made from others in ways that keep the optimal value known, for trying rules of
 * the solver on more, and on less well-behaved, programs than there are files.
 *
 *   dual       the dual program, its value the negative one
 *   rows       every row times a random power of two, 2^-10 to 2^10
 *   columns    every column likewise, its bounds divided by it
 *   dependent  a tenth more rows, each a combination of two equations (a multiple of any row where
 *              there are fewer than two)
 *   split      every tenth column as a sum of two; free ones all, as differences
 *   union      side by side with a second program; the values add up
 *   order      rows and columns in random order
 */
#ifndef BENCHMARKS_TRANSFORMED_PROGRAMS_H
#define BENCHMARKS_TRANSFORMED_PROGRAMS_H

#include <cstdint>
#include <string>
#include <vector>

#include "benchmarks/linear_program.h"

namespace benchmarks {

/// The names above, in that order.
const std::vector<std::string> &transformation_names();

/// `program` transformed by the transformation of that name (std::invalid_argument when there is
/// none). The same seed, from 1 on, gives the same program on every machine. `second` is what a
/// union adds; the others do not look at it.
LinearProgram transformed(const LinearProgram &program, const std::string &name, int32_t seed,
                          const LinearProgram &second);

/// The transformed program's optimal value where the original's is `value`, the second's `second`.
double transformed_value(const std::string &name, double value, double second);

}  // namespace benchmarks

#endif

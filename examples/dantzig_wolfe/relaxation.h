#ifndef EXAMPLES_DANTZIG_WOLFE_RELAXATION_H
#define EXAMPLES_DANTZIG_WOLFE_RELAXATION_H

#include <vector>

#include "examples/dantzig_wolfe/model.h"

namespace dantzig_wolfe {

/// A linear program solved by Clp.
struct LinearSolution {
  enum class Outcome { solved, infeasible, unbounded };
  Outcome outcome = Outcome::solved;
  double value = 0.0;         ///< in the sense of the file, with its constant
  std::vector<double> x;      ///< by variable
  std::vector<double> duals;  ///< by row, of the program that minimises: cost changed in sign where
                              ///< the file maximises
};

/// Solves the file's program without the integer requirements.
LinearSolution solve_relaxation(const Model &model);

/// The same with every integer variable fixed at its value in `x`, rounded.
LinearSolution solve_with_integers_fixed(const Model &model, const std::vector<double> &x);

}  // namespace dantzig_wolfe

#endif

#ifndef EXAMPLES_DANTZIG_WOLFE_FILE_SOLUTION_H
#define EXAMPLES_DANTZIG_WOLFE_FILE_SOLUTION_H

#include <cstdio>
#include <string>
#include <vector>

#include "examples/dantzig_wolfe/model.h"

namespace dantzig_wolfe {

/// By how much x misses the rows and bounds of a model.
struct Violation {
  double largest = 0.0;  ///< relative to 1 + the size of what is added up
  std::string where;     ///< the row or variable of it
  bool integral = true;  ///< whether every integer variable is whole, to 1e-6
};

/// Relative violation up to which x counts as a solution.
constexpr double kFeasible = 1e-6;

/// Looks at every row, bound and integer variable of the file.
Violation check(const Model &model, const std::vector<double> &x);

/// Rounds integer variables that are whole but for rounding errors, and puts others within their
/// bounds that miss them by no more.
void tidy(const Model &model, std::vector<double> &x);

/// Writes a line `name value` for each variable that is not 0, behind one with the objective.
void write_solution(const Model &model, const std::vector<double> &x, FILE *stream);
/// The same to a file. Throws examples::OutputError.
void write_solution(const Model &model, const std::vector<double> &x, const std::string &path);

}  // namespace dantzig_wolfe

#endif

#ifndef EXAMPLES_DANTZIG_WOLFE_SOLUTION_SEARCH_H
#define EXAMPLES_DANTZIG_WOLFE_SOLUTION_SEARCH_H

#include <optional>
#include <quarn_cpp/quarn.hpp>
#include <string>
#include <vector>

#include "examples/dantzig_wolfe/reformulation.h"
#include "examples/dantzig_wolfe/restricted_master.h"

namespace dantzig_wolfe {

/// A solution in the variables of the file, checked against its rows and bounds.
struct FileSolution {
  std::vector<double> x;        ///< empty: none
  bool integral = false;        ///< whether integer variables are whole
  double value = 0.0;           ///< in the sense of the file
  std::string source = "none";  ///< where it comes from
};

/**
 * The best of: the solution of the restricted master, which is integral by luck only; that of the
 * library's rounding; that of the restricted master in integers, for which Cbc has `seconds`. An
 * integral one is better than any other. With integer variables fixed at their values the
 * others are optimised once more.
 */
FileSolution find_solution(const Reformulation &reformulation, const RestrictedMaster &restricted,
                           const quarn::Result &result, double seconds);

}  // namespace dantzig_wolfe

#endif

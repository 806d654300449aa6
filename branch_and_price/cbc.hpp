#ifndef BRANCH_AND_PRICE_CBC_HPP
#define BRANCH_AND_PRICE_CBC_HPP

#include <vector>

#include "branch_and_price/search.hpp"

namespace quarn {
namespace branch_and_price {

/// For Settings::integer_solver: Cbc, the mixed-integer solver of COIN-OR. Only in builds that
/// found it (CMake target quarn_branch_and_price_cbc, which is not installed).
std::vector<double> solve_by_cbc(const IntegerProgram &program);

}  // namespace branch_and_price
}  // namespace quarn

#endif

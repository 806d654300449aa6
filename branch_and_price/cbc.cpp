#include "branch_and_price/cbc.hpp"

#include <Cbc_C_Interface.h>

#include <memory>
#include <string>

namespace quarn {
namespace branch_and_price {

namespace {

struct Release {
  void operator()(Cbc_Model *model) const { Cbc_deleteModel(model); }
};

}  // namespace

std::vector<double> solve_by_cbc(const IntegerProgram &program) {
  const std::unique_ptr<Cbc_Model, Release> model(Cbc_newModel());
  const auto columns = static_cast<int>(program.costs.size());
  const auto rows = static_cast<int>(program.sides.size());
  std::vector<double> lower, upper;
  for (const Bounds &sides : program.sides) {
    lower.push_back(sides.lower);
    upper.push_back(sides.upper);
  }
  const std::vector<CoinBigIndex> starts(program.starts.begin(), program.starts.end());
  Cbc_loadProblem(model.get(), columns, rows, starts.data(), program.rows.data(),
                  program.values.data(), nullptr, nullptr, program.costs.data(), lower.data(),
                  upper.data());
  for (int j = 0; j < columns; ++j) Cbc_setInteger(model.get(), j);
  Cbc_setLogLevel(model.get(), 0);
  // Of wall-clock, as the search counts.
  Cbc_setParameter(model.get(), "timeMode", "elapsed");
  Cbc_setMaximumSeconds(model.get(), program.seconds);
  if (program.cutoff < kInfinity) {
    const double step = program.granularity > 0.0 ? 0.5 * program.granularity : 1e-6;
    Cbc_setCutoff(model.get(), program.cutoff - step);
  }
  Cbc_solve(model.get());
  const double *solution = Cbc_bestSolution(model.get());
  if (solution == nullptr) return {};
  return std::vector<double>(solution, solution + columns);
}

}  // namespace branch_and_price
}  // namespace quarn

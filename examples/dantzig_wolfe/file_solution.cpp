#include "examples/dantzig_wolfe/file_solution.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

#include "examples/common/output.h"

namespace dantzig_wolfe {

constexpr double kWhole = 1e-6;
constexpr double kTrace = 1e-9;  // smaller values are rounding errors

static void note(double violation, const std::string &what, const std::string &name,
                 Violation &result) {
  if (!(violation > result.largest)) return;
  result.largest = violation;
  result.where = what + " '" + name + "'";
}

Violation check(const Model &model, const std::vector<double> &x) {
  Violation result;
  for (const Constraint &row : model.rows) {
    double sum = 0.0, size = 1.0;
    for (const Entry &entry : row.entries) {
      const double term = entry.value * x[static_cast<size_t>(entry.index)];
      sum += term;
      size = std::max(size, std::fabs(term));
    }
    note(std::max(row.lower - sum, sum - row.upper) / size, "row", row.name, result);
  }
  for (size_t j = 0; j < x.size(); ++j) {
    const Variable &variable = model.variables[j];
    const double size = 1.0 + std::fabs(x[j]);
    note(std::max(variable.lower - x[j], x[j] - variable.upper) / size, "variable", variable.name,
         result);
    if (variable.integer && std::fabs(x[j] - std::round(x[j])) > kWhole) result.integral = false;
  }
  return result;
}

void tidy(const Model &model, std::vector<double> &x) {
  for (size_t j = 0; j < x.size(); ++j) {
    const Variable &variable = model.variables[j];
    const double size = 1.0 + std::fabs(x[j]);
    if (variable.integer && std::fabs(x[j] - std::round(x[j])) <= kWhole) x[j] = std::round(x[j]);
    const double inside = std::min(std::max(x[j], variable.lower), variable.upper);
    if (std::fabs(inside - x[j]) <= kFeasible * size) x[j] = inside;
    if (std::fabs(x[j]) < kTrace) x[j] = 0.0;
  }
}

void write_solution(const Model &model, const std::vector<double> &x, FILE *stream) {
  std::fprintf(stream, "objective %.12g\n", model.objective(x));
  for (size_t j = 0; j < x.size(); ++j) {
    if (x[j] != 0.0) std::fprintf(stream, "%s %.12g\n", model.variables[j].name.c_str(), x[j]);
  }
}

void write_solution(const Model &model, const std::vector<double> &x, const std::string &path) {
  FILE *const file = std::fopen(path.c_str(), "w");
  if (file == nullptr) throw examples::OutputError(path, errno);
  errno = 0;
  write_solution(model, x, file);
  const bool failed = std::ferror(file) != 0;
  const bool closed = std::fclose(file) == 0;
  if (failed || !closed) throw examples::OutputError(path, errno);
}

}  // namespace dantzig_wolfe

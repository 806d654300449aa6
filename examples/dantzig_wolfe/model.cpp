#include "examples/dantzig_wolfe/model.h"

#include <algorithm>
#include <cmath>

#include "examples/common/text_reader.h"

namespace dantzig_wolfe {

constexpr double kIntegral = 1e-9;  // a bound this near to a whole number is meant to be it

double Model::objective(const std::vector<double> &x) const {
  double value = constant;
  for (size_t j = 0; j < variables.size(); ++j) value += variables[j].cost * x[j];
  return value;
}

bool Model::has_integers() const {
  return std::any_of(variables.begin(), variables.end(),
                     [](const Variable &variable) { return variable.integer; });
}

static bool ends_with(const std::string &text, const std::string &end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

static void check_bounds(const std::string &path, const std::string &what, double lower,
                         double upper) {
  if (lower <= upper && lower < kInfinite && upper > -kInfinite) return;
  throw examples::InputError(path, 0,
                             what + " has the lower bound " + std::to_string(lower) +
                                 " and the upper bound " + std::to_string(upper));
}

Model read_model(const std::string &path) {
  std::string name = path;
  if (ends_with(name, ".gz")) name.resize(name.size() - 3);
  if (!ends_with(name, ".lp") && !ends_with(name, ".mps")) {
    throw examples::InputError(path, 0, "the name ends neither with .lp nor with .mps (or .gz)");
  }
  Model model = ends_with(name, ".lp") ? read_lp(path) : read_mps(path);
  for (Variable &variable : model.variables) {
    if (variable.integer) {
      variable.lower = std::ceil(variable.lower - kIntegral);
      variable.upper = std::floor(variable.upper + kIntegral);
    }
    check_bounds(path, "variable '" + variable.name + "'", variable.lower, variable.upper);
  }
  for (const Constraint &row : model.rows) {
    check_bounds(path, "row '" + row.name + "'", row.lower, row.upper);
  }
  return model;
}

/// Narrows the variables of  sum of factor * entries <= side,  by what the others use at least.
static void tighten(const Constraint &row, double factor, double side,
                    std::vector<Variable> &variables) {
  constexpr double kRounding = 1e-6;
  double least = 0.0;
  for (const Entry &entry : row.entries) {
    const Variable &variable = variables[static_cast<size_t>(entry.index)];
    const double value = factor * entry.value;
    least += value * (value > 0.0 ? variable.lower : variable.upper);
  }
  if (!std::isfinite(least) || !std::isfinite(side)) return;
  for (const Entry &entry : row.entries) {
    Variable &variable = variables[static_cast<size_t>(entry.index)];
    const double value = factor * entry.value;
    if (!variable.integer) continue;
    // `least` has this variable at its better bound still, which the room counts from.
    const double room = std::floor((side - least) / std::fabs(value) + kRounding);
    if (room < 0.0) return;  // no solution, which others will say
    if (value > 0.0) {
      variable.upper = std::min(variable.upper, variable.lower + room);
    } else {
      variable.lower = std::max(variable.lower, variable.upper - room);
    }
  }
}

Model with_tight_integer_bounds(Model model) {
  for (const Constraint &row : model.rows) {
    tighten(row, 1.0, row.upper, model.variables);
    tighten(row, -1.0, -row.lower, model.variables);
  }
  return model;
}

}  // namespace dantzig_wolfe

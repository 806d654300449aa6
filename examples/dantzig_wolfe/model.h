#ifndef EXAMPLES_DANTZIG_WOLFE_MODEL_H
#define EXAMPLES_DANTZIG_WOLFE_MODEL_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace dantzig_wolfe {

/// No bound.
constexpr double kInfinite = std::numeric_limits<double>::infinity();

/// A coefficient: of a variable in a row, or of a row in a variable's column.
struct Entry {
  int32_t index;  ///< of the variable, or of the row, from 0
  double value;   ///< not zero
};

inline bool operator==(const Entry &a, const Entry &b) {
  return a.index == b.index && a.value == b.value;
}

/// A variable of the file.
struct Variable {
  std::string name;
  double cost = 0.0;  ///< in the sense of the file
  double lower = 0.0, upper = kInfinite;
  bool integer = false;
};

/// A row of the file:  lower <= sum of entries <= upper.
struct Constraint {
  std::string name;
  double lower = -kInfinite, upper = kInfinite;
  std::vector<Entry> entries;  ///< each variable once, by increasing index
};

/// A mixed-integer linear program as it stands in a file.
struct Model {
  bool maximize = false;
  double constant = 0.0;  ///< of the objective
  std::vector<Variable> variables;
  std::vector<Constraint> rows;

  /// 1 when the file minimises, -1 when it maximises: times the objective, one to be minimised.
  double sign() const { return maximize ? -1.0 : 1.0; }
  /// The objective's value at x, in the sense of the file.
  double objective(const std::vector<double> &x) const;
  bool has_integers() const;
};

/**
 * Reads a file in CPLEX's LP format (`.lp`) or in MPS format (`.mps`), plain or compressed by gzip
 * (`.gz` behind it). Throws examples::InputError, in LP format with the line, for what is no such
 * file and for what a linear program with integers does not have: quadratic terms, semi-continuous
 * variables, special ordered sets. Bounds of integer variables are rounded inwards.
 */
Model read_model(const std::string &path);

/**
 * The model with the bounds of its integer variables as narrow as single rows make them: where a
 * row says that at most 4 pieces of a kind are cut, no block's point has 5. The solutions are the
 * same, but the hulls of blocks may be smaller.
 */
Model with_tight_integer_bounds(Model model);

/// The two formats, each for its reader. What `path` ends with does not matter to them.
Model read_lp(const std::string &path);
Model read_mps(const std::string &path);

}  // namespace dantzig_wolfe

#endif

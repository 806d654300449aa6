#include <coin/CoinMessageHandler.hpp>
#include <coin/CoinMpsIO.hpp>
#include <coin/CoinPackedMatrix.hpp>
#include <set>
#include <sstream>

#include "examples/common/text_reader.h"
#include "examples/dantzig_wolfe/model.h"
#include "examples/dantzig_wolfe/text_lines.h"

namespace dantzig_wolfe {

/// Keeps the first warning or error of CoinMpsIO, which would print it.
class FirstMistake : public CoinMessageHandler {
 public:
  FirstMistake() { setLogLevel(1); }
  int print() override {
    if (currentMessage().severity() != 'I' && text_.empty()) text_ = messageBuffer();
    return 0;
  }
  const std::string &text() const { return text_; }

 private:
  std::string text_;
};

/**
 * What CoinMpsIO passes over without a word: the sense of the objective, kinds of variables that
 * are not ours, and names that it makes from several fields where a file in free format looks
 * to it like one in fixed format.
 */
class Overlooked {
 public:
  explicit Overlooked(const std::string &path) : path_(path) {
    for_each_line(path, [this](const std::string &line) { look_at(line); });
  }

  bool maximize() const { return maximize_; }
  /// Whether a name of a variable stands in the file; with blanks it was read by position.
  bool knows(const std::string &name) const {
    return columns_.count(name) > 0 || name.find(' ') != std::string::npos;
  }

 private:
  void look_at(const std::string &line) {
    ++number_;
    if (line.empty() || line[0] == '*') return;
    std::istringstream fields(line);
    std::string first, second;
    fields >> first >> second;
    if (line[0] != ' ' && line[0] != '\t') {
      enter(lower_case(first), lower_case(second));
    } else if (section_ == "objsense") {
      maximize_ = lower_case(first).compare(0, 3, "max") == 0;
    } else if (section_ == "columns") {
      columns_.insert(first);
    } else if (section_ == "bounds" && lower_case(first) == "sc") {
      fail("semi-continuous variables are not supported");
    }
  }

  void enter(const std::string &section, const std::string &rest) {
    static const std::set<std::string> known = {"name",   "rows",   "columns", "rhs",
                                                "ranges", "bounds", "endata",  "objsense"};
    if (known.count(section) == 0) fail("section '" + section + "' is not supported");
    section_ = section;
    if (section == "objsense" && rest.compare(0, 3, "max") == 0) maximize_ = true;
  }

  [[noreturn]] void fail(const std::string &message) const {
    throw examples::InputError(path_, number_, message);
  }

  const std::string path_;
  int number_ = 0;
  std::string section_;
  bool maximize_ = false;
  std::set<std::string> columns_;
};

static double finite_or_infinite(double value, const CoinMpsIO &file) {
  if (value >= file.getInfinity()) return kInfinite;
  return value <= -file.getInfinity() ? -kInfinite : value;
}

static std::vector<Constraint> rows_of(const CoinMpsIO &file) {
  std::vector<Constraint> rows(static_cast<size_t>(file.getNumRows()));
  const CoinPackedMatrix &matrix = *file.getMatrixByRow();
  for (int i = 0; i < file.getNumRows(); ++i) {
    Constraint &row = rows[static_cast<size_t>(i)];
    row.name = file.rowName(i);
    row.lower = finite_or_infinite(file.getRowLower()[i], file);
    row.upper = finite_or_infinite(file.getRowUpper()[i], file);
    const CoinShallowPackedVector entries = matrix.getVector(i);
    for (int t = 0; t < entries.getNumElements(); ++t) {
      if (entries.getElements()[t] == 0.0) continue;
      row.entries.push_back({entries.getIndices()[t], entries.getElements()[t]});
    }
  }
  return rows;
}

static std::vector<Variable> variables_of(const CoinMpsIO &file) {
  std::vector<Variable> variables(static_cast<size_t>(file.getNumCols()));
  for (int j = 0; j < file.getNumCols(); ++j) {
    Variable &variable = variables[static_cast<size_t>(j)];
    variable.name = file.columnName(j);
    variable.cost = file.getObjCoefficients()[j];
    variable.lower = finite_or_infinite(file.getColLower()[j], file);
    variable.upper = finite_or_infinite(file.getColUpper()[j], file);
    variable.integer = file.isInteger(j);
  }
  return variables;
}

Model read_mps(const std::string &path) {
  const Overlooked overlooked(path);
  FirstMistake mistake;
  CoinMpsIO file;
  file.passInMessageHandler(&mistake);
  const int errors = file.readMps(path.c_str(), "");
  if (errors != 0 || file.getNumCols() == 0) {
    throw examples::InputError(path, 0,
                               mistake.text().empty() ? "is no complete MPS file" : mistake.text());
  }
  Model model;
  model.maximize = overlooked.maximize();
  model.constant = -file.objectiveOffset();
  model.variables = variables_of(file);
  model.rows = rows_of(file);
  for (const Variable &variable : model.variables) {
    if (overlooked.knows(variable.name)) continue;
    throw examples::InputError(path, 0,
                               "cannot be split into fields; a file in free format needs the word "
                               "FREE behind its name in the line NAME");
  }
  return model;
}

}  // namespace dantzig_wolfe

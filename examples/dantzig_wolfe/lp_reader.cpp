/**
 * CPLEX's LP format. The file is cut into tokens (numbers, names, signs, relations), each with its
 * line; sections begin with a keyword at the beginning of a line.
 *
 *   objective    [name:] expression
 *   row          [name:] expression relation expression  or  number rel. expression rel. number
 *   expression   {+ | -} [number] [*] [variable] ...
 *
 * CoinLpIO is not used: it takes `-1 <= x + y <= 3` for a row with a variable called `<=`, `x^2`
 * for a variable, `3x` for another, and passes over sections that it does not know.
 */
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <unordered_map>

#include "examples/common/text_reader.h"
#include "examples/dantzig_wolfe/model.h"
#include "examples/dantzig_wolfe/text_lines.h"

namespace dantzig_wolfe {

namespace {

enum class Kind { number, name, sign, relation, colon, section, end };

enum class Section { minimize, maximize, rows, bounds, integers, binaries, end };

struct Token {
  Kind kind = Kind::end;
  std::string text;    ///< of a relation one of < > =
  double value = 0.0;  ///< of a number
  int line = 0;
  Section section = Section::end;
};

/// A sum of variables and a constant.
struct Expression {
  std::vector<Entry> terms;
  double constant = 0.0;
};

}  // namespace

static bool is_digit(char c) { return c >= '0' && c <= '9'; }

static bool is_relation(char c) { return c == '<' || c == '>' || c == '='; }

/// What may stand inside of a name.
static bool is_of_name(char c) {
  return (c & 0x80) != 0 || std::isalnum(static_cast<unsigned char>(c)) != 0 ||
         std::string("!\"#$%&(),.;?@_`'{}~[]/|").find(c) != std::string::npos;
}

/// Cuts lines into tokens.
class Tokenizer {
 public:
  explicit Tokenizer(const std::string &path) : path_(path) {
    for_each_line(path, [this](const std::string &line) {
      ++number_;
      if (!ended_) cut(line.substr(0, line.find('\\')));
    });
    Token end;
    end.line = number_;
    tokens_.push_back(end);
  }

  std::vector<Token> take() { return std::move(tokens_); }

 private:
  void cut(const std::string &line) {
    size_t at = line.find_first_not_of(" \t");
    if (at == std::string::npos) return;
    at = keyword(line, at);
    while (!ended_ && (at = line.find_first_not_of(" \t", at)) != std::string::npos) {
      at = cut_one(line, at);
    }
  }

  /// Passes over a section's keyword at the beginning of a line; returns where the rest begins.
  size_t keyword(const std::string &line, size_t begin) {
    static const std::map<std::string, Section> sections = {{"minimize", Section::minimize},
                                                            {"minimise", Section::minimize},
                                                            {"minimum", Section::minimize},
                                                            {"min", Section::minimize},
                                                            {"maximize", Section::maximize},
                                                            {"maximise", Section::maximize},
                                                            {"maximum", Section::maximize},
                                                            {"max", Section::maximize},
                                                            {"st", Section::rows},
                                                            {"s.t.", Section::rows},
                                                            {"st.", Section::rows},
                                                            {"bounds", Section::bounds},
                                                            {"bound", Section::bounds},
                                                            {"general", Section::integers},
                                                            {"generals", Section::integers},
                                                            {"gen", Section::integers},
                                                            {"integer", Section::integers},
                                                            {"integers", Section::integers},
                                                            {"int", Section::integers},
                                                            {"binary", Section::binaries},
                                                            {"binaries", Section::binaries},
                                                            {"bin", Section::binaries},
                                                            {"end", Section::end}};
    size_t end = word_end(line, begin);
    std::string word = lower_case(line.substr(begin, end - begin));
    if (word == "subject" || word == "such") {
      const size_t next = line.find_first_not_of(" \t", end);
      const std::string second = word == "subject" ? "to" : "that";
      if (next == std::string::npos) return begin;
      const size_t next_end = word_end(line, next);
      if (lower_case(line.substr(next, next_end - next)) != second) return begin;
      word = "st";
      end = next_end;
    }
    const size_t behind = line.find_first_not_of(" \t", end);
    if (behind != std::string::npos && (line[behind] == ':' || is_relation(line[behind]))) {
      // A row or variable that is called like a section; `subject to:` is none.
      if (word != "st" || line[behind] != ':' || end == begin + 2) return begin;
      end = behind + 1;
    }
    const auto found = sections.find(word);
    if (found == sections.end()) {
      refuse_section(word);
      return begin;
    }
    Token token;
    token.kind = Kind::section;
    token.text = line.substr(begin, end - begin);
    token.line = number_;
    token.section = found->second;
    tokens_.push_back(token);
    ended_ = token.section == Section::end;
    return end;
  }

  void refuse_section(const std::string &word) const {
    for (const char *other : {"semi-continuous", "semi", "semis", "sos", "sos1", "sos2", "lazy",
                              "user", "pwlobj", "multi-objectives", "scenario"}) {
      if (word == other) fail("the section '" + word + "' is not supported");
    }
  }

  static size_t word_end(const std::string &line, size_t begin) {
    return std::min(line.size(), line.find_first_of(" \t:<>=+*^", begin));
  }

  size_t cut_one(const std::string &line, size_t at) {
    const char c = line[at];
    if (c == '+' || c == '-') return add(Kind::sign, std::string(1, c), at + 1);
    if (c == ':') return add(Kind::colon, ":", at + 1);
    if (c == '*') return at + 1;
    if (is_relation(c)) return cut_relation(line, at);
    if (is_digit(c) || c == '.') return cut_number(line, at);
    if (c == '[' || c == '^') fail("quadratic terms are not supported");
    if (!is_of_name(c)) fail(std::string("the character '") + c + "' is not expected");
    size_t end = at;
    while (end < line.size() && is_of_name(line[end])) ++end;
    const std::string name = line.substr(at, end - at);
    const std::string small = lower_case(name);
    if (small != "inf" && small != "infinity") return add(Kind::name, name, end);
    add(Kind::number, name, end);
    tokens_.back().value = kInfinite;
    return end;
  }

  size_t cut_relation(const std::string &line, size_t at) {
    size_t end = at;
    while (end < line.size() && is_relation(line[end])) ++end;
    const std::string text = line.substr(at, end - at);
    for (const char *known : {"<", "<=", "=<"}) {
      if (text == known) return add(Kind::relation, "<", end);
    }
    for (const char *known : {">", ">=", "=>"}) {
      if (text == known) return add(Kind::relation, ">", end);
    }
    if (text != "=") fail("'" + text + "' is no relation");
    return add(Kind::relation, "=", end);
  }

  /// The exponent is read by hand: `2e` and `3end` are a number and a variable.
  size_t cut_number(const std::string &line, size_t at) {
    size_t end = at;
    while (end < line.size() && (is_digit(line[end]) || line[end] == '.')) ++end;
    if (end < line.size() && (line[end] == 'e' || line[end] == 'E')) {
      size_t digits = end + 1;
      if (digits < line.size() && (line[digits] == '+' || line[digits] == '-')) ++digits;
      if (digits < line.size() && is_digit(line[digits])) {
        end = digits;
        while (end < line.size() && is_digit(line[end])) ++end;
      }
    }
    const std::string text = line.substr(at, end - at);
    char *stop = nullptr;
    const double value = std::strtod(text.c_str(), &stop);
    if (*stop != '\0' || !std::isfinite(value)) fail("'" + text + "' is no number");
    add(Kind::number, text, end);
    tokens_.back().value = value >= 1e30 ? kInfinite : value;
    return end;
  }

  size_t add(Kind kind, const std::string &text, size_t end) {
    Token token;
    token.kind = kind;
    token.text = text;
    token.line = number_;
    tokens_.push_back(token);
    return end;
  }

  [[noreturn]] void fail(const std::string &message) const {
    throw examples::InputError(path_, number_, message);
  }

  const std::string path_;
  int number_ = 0;
  bool ended_ = false;
  std::vector<Token> tokens_;
};

/// Reads tokens into a model.
class LpReader {
 public:
  explicit LpReader(const std::string &path) : path_(path), tokens_(Tokenizer(path).take()) {}

  Model read() {
    if (next().kind != Kind::section || next().section > Section::maximize) {
      fail("the file does not begin with Minimize or Maximize");
    }
    while (next().kind == Kind::section && next().section != Section::end) {
      const Section section = take().section;
      read_section(section);
      if (next().kind == Kind::end) fail("the file ends without End");
    }
    if (next().kind != Kind::section) fail("'" + next().text + "' is not expected here");
    return std::move(model_);
  }

 private:
  const Token &next() const { return tokens_[at_]; }
  const Token &behind() const { return tokens_[std::min(at_ + 1, tokens_.size() - 1)]; }
  const Token &take() { return tokens_[at_ + 1 < tokens_.size() ? at_++ : at_]; }
  bool section_goes_on() const { return next().kind != Kind::section && next().kind != Kind::end; }

  void read_section(Section section) {
    switch (section) {
      case Section::minimize:
      case Section::maximize:
        return read_objective(section == Section::maximize);
      case Section::rows:
        while (section_goes_on()) read_row();
        return;
      case Section::bounds:
        while (section_goes_on()) read_bound();
        return;
      default:
        while (section_goes_on()) read_integer(section == Section::binaries);
    }
  }

  void read_objective(bool maximize) {
    if (has_objective_) fail("a second objective");
    has_objective_ = true;
    model_.maximize = maximize;
    read_label();
    const Expression objective = read_expression();
    for (const Entry &term : objective.terms) variable(term).cost += term.value;
    model_.constant = objective.constant;
    if (section_goes_on()) fail("'" + next().text + "' is not expected in the objective");
  }

  std::string read_label() {
    const bool named = next().kind == Kind::name || next().kind == Kind::number;
    if (!named || behind().kind != Kind::colon) return "";
    const std::string name = take().text;
    take();
    return name;
  }

  /// expression [relation expression [relation expression]], at least one relation.
  void read_row() {
    const int line = next().line;
    Constraint row;
    row.name = read_label();
    const Expression left = read_side();
    const std::string relation = read_relation();
    Expression middle = read_side();
    if (next().kind == Kind::relation) {
      const std::string second = take().text;
      const Expression right = read_side();
      if (!left.terms.empty() || !right.terms.empty() || second != relation || second == "=") {
        fail("a row with two relations is to be  number <= expression <= number");
      }
      restrict(row, relation == "<" ? ">" : "<", left.constant - middle.constant);
      restrict(row, second, right.constant - middle.constant);
    } else {
      for (const Entry &term : left.terms) middle.terms.push_back({term.index, -term.value});
      for (Entry &term : middle.terms) term.value = -term.value;
      restrict(row, relation, middle.constant - left.constant);
    }
    row.entries = collected(std::move(middle.terms));
    add_row(std::move(row), line);
  }

  void add_row(Constraint row, int line) {
    if (row.name.empty()) row.name = "R" + std::to_string(model_.rows.size() + 1);
    if (!row_names_.emplace(row.name, line).second) {
      fail_at(line, "a second row '" + row.name + "'; the first is in line " +
                        std::to_string(row_names_[row.name]));
    }
    if (std::isnan(row.lower) || std::isnan(row.upper)) fail_at(line, "infinite constants");
    model_.rows.push_back(std::move(row));
  }

  static void restrict(Constraint &row, const std::string &relation, double value) {
    if (relation != "<") row.lower = value;
    if (relation != ">") row.upper = value;
  }

  /// Terms with the same variable become one, zeros are left out.
  static std::vector<Entry> collected(std::vector<Entry> terms) {
    std::stable_sort(terms.begin(), terms.end(),
                     [](const Entry &a, const Entry &b) { return a.index < b.index; });
    std::vector<Entry> entries;
    for (const Entry &term : terms) {
      if (!entries.empty() && entries.back().index == term.index) {
        entries.back().value += term.value;
      } else {
        entries.push_back(term);
      }
    }
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [](const Entry &entry) { return entry.value == 0.0; }),
                  entries.end());
    return entries;
  }

  std::string read_relation() {
    if (next().kind != Kind::relation) fail("a relation is missing before '" + next().text + "'");
    return take().text;
  }

  /// An expression that is not empty.
  Expression read_side() {
    const bool begins =
        next().kind == Kind::sign || next().kind == Kind::number || next().kind == Kind::name;
    if (!begins || behind().kind == Kind::colon) fail("one side of a row is missing");
    return read_expression();
  }

  /// Up to the first token that cannot continue it: the label of the next row, a relation.
  Expression read_expression() {
    Expression expression;
    bool first = true;
    for (;; first = false) {
      const bool is_label = behind().kind == Kind::colon;
      const bool signed_term = next().kind == Kind::sign;
      if (!first && !signed_term) return expression;
      if (is_label || (!signed_term && next().kind != Kind::number && next().kind != Kind::name)) {
        return expression;
      }
      read_term(expression);
    }
  }

  void read_term(Expression &expression) {
    double factor = read_signs();
    bool has_number = false;
    if (next().kind == Kind::number) {
      factor *= take().value;
      has_number = true;
    }
    if (next().kind == Kind::name && behind().kind != Kind::colon) {
      if (std::isinf(factor)) fail("an infinite coefficient");
      expression.terms.push_back({index_of(take().text), factor});
    } else if (has_number) {
      expression.constant += factor;
    } else {
      fail("a number or a variable is missing");
    }
  }

  double read_signs() {
    double sign = 1.0;
    while (next().kind == Kind::sign) {
      if (take().text == "-") sign = -sign;
    }
    return sign;
  }

  double read_number() {
    const double sign = read_signs();
    if (next().kind != Kind::number) fail("a number is missing before '" + next().text + "'");
    return sign * take().value;
  }

  /// [number relation] variable [relation number],  or  variable free.
  void read_bound() {
    const bool number_first = next().kind == Kind::number || next().kind == Kind::sign;
    double value = 0.0;
    std::string relation;
    if (number_first) {
      value = read_number();
      relation = read_relation();
    }
    if (next().kind != Kind::name) fail("the bounds of '" + next().text + "', no variable");
    const int32_t j = index_of(take().text);
    if (number_first) bound(j, relation == "<" ? ">" : relation == ">" ? "<" : "=", value);
    if (next().kind == Kind::relation) {
      relation = take().text;
      bound(j, relation, read_number());
    } else if (next().kind == Kind::name && lower_case(next().text) == "free") {
      take();
      bound(j, ">", -kInfinite);
      bound(j, "<", kInfinite);
    } else if (!number_first) {
      fail("a relation or free is missing before '" + next().text + "'");
    }
  }

  void bound(int32_t j, const std::string &relation, double value) {
    Variable &variable = model_.variables[static_cast<size_t>(j)];
    if (relation != "<") variable.lower = value;
    if (relation != ">") variable.upper = value;
  }

  void read_integer(bool binary) {
    if (next().kind != Kind::name) fail("'" + next().text + "' is no variable");
    Variable &variable = model_.variables[static_cast<size_t>(index_of(take().text))];
    variable.integer = true;
    if (!binary) return;
    variable.lower = 0.0;
    variable.upper = 1.0;
  }

  Variable &variable(const Entry &term) {
    return model_.variables[static_cast<size_t>(term.index)];
  }

  int32_t index_of(const std::string &name) {
    const auto [place, is_new] =
        indices_.emplace(name, static_cast<int32_t>(model_.variables.size()));
    if (is_new) {
      model_.variables.emplace_back();
      model_.variables.back().name = name;
    }
    return place->second;
  }

  [[noreturn]] void fail(const std::string &message) const { fail_at(next().line, message); }
  [[noreturn]] void fail_at(int line, const std::string &message) const {
    throw examples::InputError(path_, line, message);
  }

  const std::string path_;
  const std::vector<Token> tokens_;
  size_t at_ = 0;
  bool has_objective_ = false;
  Model model_;
  std::unordered_map<std::string, int32_t> indices_;
  std::unordered_map<std::string, int> row_names_;
};

Model read_lp(const std::string &path) { return LpReader(path).read(); }

}  // namespace dantzig_wolfe

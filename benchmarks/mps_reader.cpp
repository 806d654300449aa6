#include "benchmarks/mps_reader.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <unordered_map>

#ifdef QUARN_HAVE_ZLIB
#include <zlib.h>
#endif

namespace benchmarks {
namespace {

constexpr size_t kLongestLine = size_t{1} << 20;  // a longer one is in no program

#ifdef QUARN_HAVE_ZLIB
/// Lines of a file that may be compressed: zlib passes plain files through. One that is too long is
/// cut off behind kLongestLine.
class LineSource {
 public:
  explicit LineSource(const std::string &path) : file_(gzopen(path.c_str(), "rb"), gzclose) {}
  bool is_open() const { return file_ != nullptr; }
  bool next(std::string *line) {
    line->clear();
    char piece[256];
    while (line->size() <= kLongestLine && gzgets(file_.get(), piece, sizeof piece) != nullptr) {
      line->append(piece);
      if (line->back() == '\n') return true;
    }
    return !line->empty();
  }
  bool failed() const {
    int code = Z_OK;
    gzerror(file_.get(), &code);
    return code != Z_OK && code != Z_STREAM_END;
  }

 private:
  std::unique_ptr<gzFile_s, int (*)(gzFile)> file_;
};
#else
class LineSource {
 public:
  explicit LineSource(const std::string &path) : file_(path, std::ios::binary) {}
  bool is_open() const { return file_.is_open(); }
  bool next(std::string *line) {
    line->clear();
    int c = file_.get();
    for (; c != EOF && c != '\n' && line->size() <= kLongestLine; c = file_.get()) {
      line->push_back(static_cast<char>(c));
    }
    return c != EOF || !line->empty();
  }
  bool failed() const { return file_.bad(); }

 private:
  std::ifstream file_;
};
#endif

enum class Section { kNone, kRows, kColumns, kRhs, kRanges, kBounds, kEnd };

constexpr int32_t kObjective = -1;   // in place of a row
constexpr int32_t kIgnoredRow = -2;  // an N row after the first

/// The six fields of a data line. Numbers may reach one place to the left of their field, where
/// some writers put the sign.
struct Fields {
  std::string type, set, name_1, number_1, name_2, number_2;
};

std::string cut(const std::string &line, size_t first, size_t last) {
  if (line.size() < first) return {};
  std::string text = line.substr(first - 1, last - first + 1);
  text.erase(text.find_last_not_of(" \t\r\n") + 1);
  return text;
}

std::string cut_number(const std::string &line, size_t first, size_t last) {
  std::string text = cut(line, first, last);
  text.erase(0, text.find_first_not_of(' '));
  return text;
}

Fields split(const std::string &line) {
  return {cut(line, 2, 3),          cut(line, 5, 12),  cut(line, 15, 22),
          cut_number(line, 24, 36), cut(line, 40, 47), cut_number(line, 49, 61)};
}

class Reader {
 public:
  explicit Reader(const std::string &path) : path_(path), source_(path) {}

  LinearProgram read() {
    if (!source_.is_open()) throw MpsError(path_ + ": cannot be opened");
    std::string line;
    while (section_ != Section::kEnd && source_.next(&line)) {
      ++line_number_;
      if (line.size() > kLongestLine) fail("the line is longer than a mebibyte");
      take(line);
    }
    if (source_.failed()) throw MpsError(path_ + ": cannot be read to its end");
    if (section_ != Section::kEnd) throw MpsError(path_ + ": ends without ENDATA");
    if (!has_objective_) throw MpsError(path_ + ": has no N row for the objective");
    free_below_negative_uppers();
    return std::move(program_);
  }

 private:
  [[noreturn]] void fail(const std::string &what) const {
    throw MpsError(path_ + ":" + std::to_string(line_number_) + ": " + what);
  }

  void take(const std::string &line) {
    if (line_number_ == 1 && line.size() > 1 && line[0] == '\x1f' && line[1] == '\x8b') {
      fail("is compressed, and this build has no zlib");
    }
    if (line.find_first_not_of(" \t\r\n") == std::string::npos || line[0] == '*') return;
    if (line.find('\t') != std::string::npos) fail("a tab; fields go by columns");
    if (line[0] != ' ') return begin_section(line);
    if (!cut(line, 13, 14).empty()) fail("text in columns 13 and 14, between two fields");
    if (section_ == Section::kColumns && line.find("'MARKER'") != std::string::npos) return;
    const Fields fields = split(line);
    switch (section_) {
      case Section::kRows:
        return take_row(fields);
      case Section::kColumns:
        return take_column(fields);
      case Section::kRhs:
      case Section::kRanges:
        return take_row_data(fields);
      case Section::kBounds:
        return take_bound(fields);
      default:
        fail("data before a section");
    }
  }

  void begin_section(const std::string &line) {
    const std::string word = line.substr(0, line.find_first_of(" \r\n"));
    set_chosen_ = false;
    if (word == "NAME") {
      program_.name = cut(line, 15, line.size());
    } else if (word == "ROWS") {
      section_ = Section::kRows;
    } else if (word == "COLUMNS") {
      section_ = Section::kColumns;
    } else if (word == "RHS") {
      section_ = Section::kRhs;
    } else if (word == "RANGES") {
      section_ = Section::kRanges;
    } else if (word == "BOUNDS") {
      section_ = Section::kBounds;
    } else if (word == "ENDATA") {
      section_ = Section::kEnd;
    } else {
      fail("unknown section " + word);
    }
  }

  double number(const std::string &text) const {
    char *end = nullptr;
    const double result = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(result)) {
      fail("\"" + text + "\" is not a number (fields go by columns)");
    }
    return result;
  }

  int32_t row(const std::string &name) const {
    const auto found = rows_.find(name);
    if (found == rows_.end()) fail("unknown row \"" + name + "\"");
    return found->second;
  }

  void take_row(const Fields &fields) {
    const char type = fields.type.empty() ? '?' : fields.type[fields.type[0] == ' ' ? 1 : 0];
    int32_t index = program_.rows();
    if (type == 'N') {
      index = has_objective_ ? kIgnoredRow : kObjective;
      has_objective_ = true;
    } else if (type == 'E' || type == 'G' || type == 'L') {
      program_.add_row(type == 'E' ? kEqual : type == 'G' ? kGreaterEqual : kLessEqual, 0.0);
    } else {
      fail("row type \"" + fields.type + "\" is none of N, E, G, L");
    }
    if (!rows_.emplace(fields.set, index).second) fail("row \"" + fields.set + "\" occurs twice");
  }

  void take_column(const Fields &fields) {
    if (columns_.empty() || fields.set != last_column_) {
      if (!columns_.emplace(fields.set, program_.columns()).second) {
        fail("column \"" + fields.set + "\" occurs in two places");
      }
      program_.add_column(0.0, 0.0, kNoBound, {});
      lower_given_.push_back(false);
      last_column_ = fields.set;
    }
    take_entry(fields.name_1, fields.number_1);
    if (!fields.name_2.empty() || !fields.number_2.empty()) {
      take_entry(fields.name_2, fields.number_2);
    }
  }

  void take_entry(const std::string &name, const std::string &text) {
    const int32_t i = row(name);
    const double a = number(text);
    if (i == kObjective) {
      program_.cost.back() += a;
    } else if (i != kIgnoredRow && a != 0.0) {
      program_.row.push_back(i);
      program_.value.push_back(a);
      ++program_.start.back();
    }
  }

  /// Whether the line belongs to the first set of its section.
  bool in_chosen_set(const std::string &name) {
    if (!set_chosen_) chosen_set_ = name;
    set_chosen_ = true;
    return chosen_set_ == name;
  }

  void take_row_data(const Fields &fields) {
    if (!in_chosen_set(fields.set)) return;
    take_row_value(row(fields.name_1), number(fields.number_1));
    if (!fields.name_2.empty() || !fields.number_2.empty()) {
      take_row_value(row(fields.name_2), number(fields.number_2));
    }
  }

  void take_row_value(int32_t i, double given) {
    if (i == kIgnoredRow) return;
    if (section_ == Section::kRanges) {
      if (i == kObjective) fail("a range on the objective");
      program_.row_range[static_cast<size_t>(i)] = given;
    } else if (i == kObjective) {
      program_.objective_constant = 0.0 - given;
    } else {
      program_.rhs[static_cast<size_t>(i)] = given;
    }
  }

  void take_bound(const Fields &fields) {
    if (!in_chosen_set(fields.set)) return;
    const auto found = columns_.find(fields.name_1);
    if (found == columns_.end()) fail("unknown column \"" + fields.name_1 + "\"");
    const auto j = static_cast<size_t>(found->second);
    const std::string &type = fields.type;
    if (type == "UP" || type == "UI") {
      program_.upper[j] = number(fields.number_1);
    } else if (type == "LO" || type == "LI") {
      set_lower(j, number(fields.number_1));
    } else if (type == "FX") {
      program_.upper[j] = number(fields.number_1);
      set_lower(j, program_.upper[j]);
    } else if (type == "FR") {
      program_.upper[j] = kNoBound;
      set_lower(j, -kNoBound);
    } else if (type == "MI") {
      set_lower(j, -kNoBound);
    } else if (type == "PL") {
      program_.upper[j] = kNoBound;
    } else if (type == "BV") {
      program_.upper[j] = 1.0;
      set_lower(j, 0.0);
    } else {
      fail("bound type \"" + type + "\" is none of UP, LO, FX, FR, MI, PL, BV, UI, LI");
    }
  }

  void set_lower(size_t j, double bound) {
    program_.lower[j] = bound;
    lower_given_[j] = true;
  }

  void free_below_negative_uppers() {
    for (size_t j = 0; j < program_.upper.size(); ++j) {
      if (program_.upper[j] < 0.0 && !lower_given_[j]) program_.lower[j] = -kNoBound;
    }
  }

  std::string path_;
  LineSource source_;
  int64_t line_number_ = 0;
  Section section_ = Section::kNone;
  LinearProgram program_;
  bool has_objective_ = false;
  bool set_chosen_ = false;
  std::string chosen_set_, last_column_;
  std::vector<bool> lower_given_;
  std::unordered_map<std::string, int32_t> rows_, columns_;
};

}  // namespace

LinearProgram read_mps(const std::string &path) { return Reader(path).read(); }

}  // namespace benchmarks

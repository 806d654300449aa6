#include "examples/common/text_reader.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <utility>

namespace examples {

constexpr std::streamsize kLongestLine = std::streamsize{1} << 20;

InputError::InputError(const std::string &file, int line, const std::string &message)
    : std::runtime_error(file + (line > 0 ? ":" + std::to_string(line) : "") + ": " + message) {}

Line::Line(std::string file, int number, const std::string &text)
    : file_(std::move(file)), number_(number) {
  std::istringstream words(text);
  for (std::string word; words >> word;) fields_.push_back(word);
}

void Line::fail(const std::string &message) const { throw InputError(file_, number_, message); }

const std::string &Line::text(size_t k) const {
  if (k >= fields_.size()) fail("field " + std::to_string(k + 1) + " is missing");
  return fields_[k];
}

/// The range in words, for "... must be ..., not ...".
template <typename T>
static std::string range_text(T least, T most) {
  std::ostringstream words;
  words << "from " << least << " to " << most;
  return words.str();
}

int64_t Line::integer(size_t k, const std::string &what, int64_t least, int64_t most) const {
  const std::string &word = text(k);
  char *end = nullptr;
  errno = 0;
  const long long value = std::strtoll(word.c_str(), &end, 10);
  if (*end != '\0') fail(what + " must be a whole number, not \"" + word + "\"");
  if (errno == ERANGE || value < least || value > most) {
    fail(what + " must be " + range_text(least, most) + ", not " + word);
  }
  return value;
}

double Line::number(size_t k, const std::string &what, double least, double most) const {
  const std::string &word = text(k);
  // strtod also takes hexadecimal numbers and the words for infinity and not-a-number.
  const bool decimal = word.find_first_not_of("0123456789+-.eE") == std::string::npos;
  char *end = nullptr;
  const double value = std::strtod(word.c_str(), &end);
  if (!decimal || *end != '\0') fail(what + " must be a number, not \"" + word + "\"");
  if (!std::isfinite(value) || value < least || value > most) {
    fail(what + " must be " + range_text(least, most) + ", not " + word);
  }
  return value;
}

void Line::expect_fields(size_t count, const std::string &what) const {
  if (size() == count) return;
  fail("expected " + what + " (" + std::to_string(count) + " field" + (count == 1 ? "" : "s") +
       "), found " + std::to_string(size()));
}

TextReader::TextReader(const std::string &path)
    : path_(path), stream_(path), buffer_(static_cast<size_t>(kLongestLine) + 1) {
  if (!stream_) throw InputError(path, 0, std::string("cannot be opened: ") + std::strerror(errno));
  // A folder can be opened but not read.
  if (stream_.peek() == std::ifstream::traits_type::eof() && stream_.bad()) {
    throw InputError(path, 0, "cannot be read");
  }
  stream_.clear();
}

void TextReader::refuse_long_line() const {
  throw InputError(path_, line_,
                   "the line is longer than " + std::to_string(kLongestLine) + " bytes");
}

/// False at the end of the file.
bool TextReader::read_line(std::string *text) {
  ++line_;
  const bool found = static_cast<bool>(
      stream_.getline(buffer_.data(), static_cast<std::streamsize>(buffer_.size())));
  const std::streamsize taken = stream_.gcount();
  if (!found && taken == kLongestLine) refuse_long_line();
  if (!found) return false;
  // The end of the line was taken as well, unless the file ended first.
  text->assign(buffer_.data(), static_cast<size_t>(stream_.eof() ? taken : taken - 1));
  return true;
}

Line TextReader::next(const std::string &what) {
  std::string text;
  if (!read_line(&text)) {
    throw InputError(path_, line_, "expected " + what + ", found the end of the file");
  }
  return Line(path_, line_, text);
}

Line TextReader::next(const std::string &what, size_t fields) {
  Line line = next(what);
  line.expect_fields(fields, what);
  return line;
}

bool TextReader::at_end() {
  std::streamsize length = 0;
  for (int c = stream_.peek(); c != std::ifstream::traits_type::eof(); c = stream_.peek()) {
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return false;
    length = c == '\n' ? 0 : length + 1;
    if (c == '\n') ++line_;
    if (length > kLongestLine) {
      ++line_;
      refuse_long_line();
    }
    stream_.get();
  }
  return true;
}

void TextReader::expect_end() {
  for (std::string text; read_line(&text);) {
    const Line line(path_, line_, text);
    if (line.size() > 0) line.fail("expected the end of the file, found \"" + line.text(0) + "\"");
  }
}

}  // namespace examples

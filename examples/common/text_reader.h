#ifndef EXAMPLES_COMMON_TEXT_READER_H
#define EXAMPLES_COMMON_TEXT_READER_H

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace examples {

/// A file that cannot be read as what it should be; what() is the line "file:line: message".
class InputError : public std::runtime_error {
 public:
  /// line counts from 1; 0 stands for the file as a whole.
  InputError(const std::string &file, int line, const std::string &message);
};

/// One line of a file, split at blanks, which knows where it stands and so can complain about it.
class Line {
 public:
  Line(std::string file, int number, const std::string &text);

  /// Number of fields.
  size_t size() const { return fields_.size(); }

  /// Field k, from 0, as it stands.
  const std::string &text(size_t k) const;

  /// Field k as a whole number from least to most; `what` names it in the message otherwise.
  int64_t integer(size_t k, const std::string &what, int64_t least, int64_t most) const;

  /// Field k as a finite decimal number from least to most.
  double number(size_t k, const std::string &what, double least, double most) const;

  /// Throws unless there are exactly `count` fields; `what` says what the line should hold.
  void expect_fields(size_t count, const std::string &what) const;

  /// Throws InputError with this line's place.
  [[noreturn]] void fail(const std::string &message) const;

 private:
  std::string file_;
  int number_;
  std::vector<std::string> fields_;
};

/**
 * Reads a text file line by line; everything that is not as expected becomes an InputError, also a
 * line of more than a mebibyte: such a file is no instance, whatever its size.
 *
 *   TextReader reader(path);
 *   const Line head = reader.next("the number of item types", 1);
 *   const int64_t types = head.integer(0, "the number of item types", 1, 1000000);
 *   ...
 *   reader.expect_end();
 */
class TextReader {
 public:
  /// Opens the file; a missing file or a folder is refused at once.
  explicit TextReader(const std::string &path);

  /// The next line, whatever it holds; `what` says what was expected should the file end here.
  Line next(const std::string &what);

  /// The next line, which must have exactly `fields` fields.
  Line next(const std::string &what, size_t fields);

  /// Passes over empty lines; whether the file ends behind them.
  bool at_end();

  /// Nothing but empty lines may follow.
  void expect_end();

 private:
  bool read_line(std::string *text);
  [[noreturn]] void refuse_long_line() const;

  std::string path_;
  std::ifstream stream_;
  std::vector<char> buffer_;  ///< one line of the greatest length
  int line_ = 0;              ///< lines begun so far
};

}  // namespace examples

#endif

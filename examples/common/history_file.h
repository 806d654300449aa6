#ifndef EXAMPLES_COMMON_HISTORY_FILE_H
#define EXAMPLES_COMMON_HISTORY_FILE_H

#include <fstream>
#include <string>

#include "quarn_cpp/quarn.hpp"

namespace examples {

/**
 * The history of a run as a CSV file, for `python -m quarn report FILE`: the names of the fields,
 * then a line for each iteration, with numbers that read back exactly. A bound that is not there is
 * `-inf` or `inf`.
 */
class HistoryFile {
 public:
  /// Makes the file, with its first line; nothing for an empty path. Throws OutputError.
  explicit HistoryFile(const std::string &path);

  /// Writes a line and flushes it, so that a run that is killed leaves what it came to. Throws
  /// OutputError.
  void add(const quarn::Iteration &line);

 private:
  void check();

  std::string path_;
  std::ofstream stream_;
};

}  // namespace examples

#endif

/// A table printed as it grows: CSV for programs, or aligned columns for people.
#ifndef BENCHMARKS_TABLE_H
#define BENCHMARKS_TABLE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace benchmarks {

class Table {
 public:
  /// Prints the header line. `stream` stays the caller's.
  Table(std::vector<std::string> header, bool csv, std::FILE *stream = stdout);

  /// Prints one line with a cell for each column of the header, and flushes.
  void add(const std::vector<std::string> &cells);

 private:
  void print(const std::vector<std::string> &cells);

  std::vector<size_t> widths_;
  bool csv_;
  std::FILE *stream_;
};

std::string cell(int32_t value);
/// `digits` significant digits.
std::string cell(double value, int digits = 4);

}  // namespace benchmarks

#endif

#include "benchmarks/table.h"

#include <algorithm>

namespace benchmarks {

// Lines are printed before the later ones are known: twelve places hold every number that `cell`
// makes, and longer cells push their own line only.
constexpr size_t kLeastWidth = 12;

Table::Table(std::vector<std::string> header, bool csv, std::FILE *stream)
    : csv_(csv), stream_(stream) {
  for (const std::string &name : header) widths_.push_back(std::max(name.size(), kLeastWidth));
  widths_.front() = 2 * kLeastWidth;
  print(header);
}

void Table::add(const std::vector<std::string> &cells) { print(cells); }

void Table::print(const std::vector<std::string> &cells) {
  for (size_t k = 0; k < cells.size(); ++k) {
    const char *separator = k == 0 ? "" : csv_ ? "," : " ";
    const int width = csv_ ? 0 : static_cast<int>(k == 0 ? -widths_[k] : widths_[k]);
    std::fprintf(stream_, "%s%*s", separator, width, cells[k].c_str());
  }
  std::fputc('\n', stream_);
  std::fflush(stream_);
}

std::string cell(int32_t value) { return std::to_string(value); }

std::string cell(double value, int digits) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*g", digits, value);
  return text;
}

}  // namespace benchmarks

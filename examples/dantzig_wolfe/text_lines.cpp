#include "examples/dantzig_wolfe/text_lines.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <coin/CoinError.hpp>
#include <coin/CoinFileIO.hpp>
#include <cstring>
#include <memory>

#include "examples/common/text_reader.h"

namespace dantzig_wolfe {

static std::unique_ptr<CoinFileInput> open(const std::string &path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    throw examples::InputError(path, 0, std::string("cannot be opened: ") + std::strerror(errno));
  }
  if (S_ISDIR(status.st_mode)) throw examples::InputError(path, 0, "is a folder");
  try {
    return std::unique_ptr<CoinFileInput>(CoinFileInput::create(path));
  } catch (const CoinError &error) {
    throw examples::InputError(path, 0, "cannot be opened: " + error.message());
  }
}

void for_each_line(const std::string &path, const std::function<void(const std::string &)> &take) {
  const std::unique_ptr<CoinFileInput> file = open(path);
  char piece[4096];
  std::string line;
  while (file->gets(piece, sizeof piece) != nullptr) {
    line += piece;
    if (line.empty() || line.back() != '\n') continue;  // a long line comes in pieces
    line.pop_back();
    if (!line.empty() && line.back() == '\r') line.pop_back();
    take(line);
    line.clear();
  }
  if (!line.empty()) take(line);
}

std::string lower_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return text;
}

}  // namespace dantzig_wolfe

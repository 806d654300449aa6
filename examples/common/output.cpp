#include "examples/common/output.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

namespace examples {

OutputError::OutputError(const std::string &name, int error)
    : std::runtime_error(name + ": cannot be written" +
                         (error != 0 ? std::string(": ") + std::strerror(error) : std::string())) {}

void write_json_file(const nlohmann::ordered_json &value, const std::string &path) {
  if (path.empty()) return;
  errno = 0;
  std::ofstream file(path);
  // An instance's name may hold bytes that are not UTF-8; they are replaced.
  file << value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
  file.flush();
  if (!file) throw OutputError(path, errno);
}

void check_output(FILE *stream, const std::string &name) {
  errno = 0;
  const bool flushed = std::fflush(stream) == 0;
  if (!flushed || std::ferror(stream) != 0) throw OutputError(name, errno);
}

}  // namespace examples

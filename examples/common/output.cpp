#include "examples/common/output.h"

#include <cerrno>
#include <cstring>

namespace examples {

OutputError::OutputError(const std::string &name, int error)
    : std::runtime_error(name + ": cannot be written" +
                         (error != 0 ? std::string(": ") + std::strerror(error) : std::string())) {}

void check_output(FILE *stream, const std::string &name) {
  errno = 0;
  const bool flushed = std::fflush(stream) == 0;
  if (!flushed || std::ferror(stream) != 0) throw OutputError(name, errno);
}

}  // namespace examples

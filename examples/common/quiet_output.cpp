#include "examples/common/quiet_output.h"

#include <fcntl.h>
#include <unistd.h>

namespace examples {

/// A stream on a copy of standard output's descriptor, null when there is none to be had.
static FILE *copy_of_standard_output() {
  const int copy = dup(STDOUT_FILENO);
  if (copy < 0) return nullptr;
  FILE *stream = fdopen(copy, "w");
  if (stream == nullptr) close(copy);
  return stream;
}

QuietOutput::QuietOutput(bool verbose) {
  if (verbose) return;
  std::fflush(stdout);
  const int null_device = open("/dev/null", O_WRONLY);
  if (null_device < 0) return;
  own_ = copy_of_standard_output();
  if (own_ != nullptr) dup2(null_device, STDOUT_FILENO);
  close(null_device);
}

QuietOutput::~QuietOutput() {
  if (own_ == nullptr) return;
  std::fflush(own_);
  std::fflush(stdout);
  dup2(fileno(own_), STDOUT_FILENO);
  std::fclose(own_);
}

}  // namespace examples

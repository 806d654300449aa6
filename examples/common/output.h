#ifndef EXAMPLES_COMMON_OUTPUT_H
#define EXAMPLES_COMMON_OUTPUT_H

#include <cstdio>
#include <stdexcept>
#include <string>

namespace examples {

/// Output that did not arrive; what() is the line "name: cannot be written: cause".
class OutputError : public std::runtime_error {
 public:
  /// `error` as in errno; with 0 the cause is left out.
  OutputError(const std::string &name, int error);
};

/// Flushes; throws OutputError unless everything that was ever written to the stream arrived.
void check_output(FILE *stream, const std::string &name);

}  // namespace examples

#endif

#ifndef EXAMPLES_COMMON_OUTPUT_H
#define EXAMPLES_COMMON_OUTPUT_H

#include <cstdio>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>

namespace examples {

/// Output that did not arrive; what() is the line "name: cannot be written: cause".
class OutputError : public std::runtime_error {
 public:
  /// `error` as in errno; with 0 the cause is left out.
  OutputError(const std::string &name, int error);
};

/// Writes the value, indented, and a line's end; an empty path writes nothing. Throws OutputError.
void write_json_file(const nlohmann::ordered_json &value, const std::string &path);

/// Flushes; throws OutputError unless everything that was ever written to the stream arrived.
void check_output(FILE *stream, const std::string &name);

}  // namespace examples

#endif

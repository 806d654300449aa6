#ifndef EXAMPLES_COMMON_QUIET_OUTPUT_H
#define EXAMPLES_COMMON_QUIET_OUTPUT_H

#include <cstdio>

#include "examples/common/output.h"

namespace examples {

/**
 * Keeps the library's progress text, which goes to standard output whatever the verbosity, apart
 * from what a program prints itself.
 *
 * While the object lives, file descriptor 1 leads to the null device, and stream() leads to where
 * it led before. With `verbose` nothing is redirected and stream() is standard output. The
 * descriptor rather than the stream is redirected because the library writes through its own copy
 * of the standard streams where it is a shared object with a C library of its own.
 *
 * When the descriptor cannot be copied (too many are open, say) both texts stay on standard output:
 * less tidy, but nothing is lost.
 */
class QuietOutput {
 public:
  explicit QuietOutput(bool verbose);
  ~QuietOutput();
  QuietOutput(const QuietOutput &) = delete;
  QuietOutput &operator=(const QuietOutput &) = delete;

  /// Where the program's own text goes in the meantime.
  FILE *stream() const { return own_ != nullptr ? own_ : stdout; }

  /// check_output() of that stream.
  void check() const { check_output(stream(), "standard output"); }

 private:
  FILE *own_ = nullptr;  ///< owned; null when nothing was redirected
};

}  // namespace examples

#endif

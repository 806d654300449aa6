/// How these programs end.
#ifndef EXAMPLES_HOW_TO_EXIT_STATUS_H
#define EXAMPLES_HOW_TO_EXIT_STATUS_H

#include <cstdio>

/// 0 for the right result, 1 for a wrong one, 2 when something printed did not arrive, such as on a
/// full disk.
inline int exit_status(bool right) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return right ? 0 : 1;
  std::fputs("standard output: cannot be written\n", stderr);
  return 2;
}

#endif

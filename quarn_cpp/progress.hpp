#ifndef QUARN_CPP_PROGRESS_HPP
#define QUARN_CPP_PROGRESS_HPP

#include <cmath>
#include <cstdio>
#include <ostream>

#include "quarn_cpp/settings.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

/// A line of the progress table; its heading comes before the first one, and again after so many
/// that it has left the screen.
inline void print_line(std::ostream &stream, const Iteration &line, double seconds) {
  constexpr int32_t kLinesOfAScreen = 20;
  if (line.iteration % kLinesOfAScreen == 1) {
    stream << "iteration        lower bound        upper bound       gap   columns   seconds\n";
  }
  const auto number = [&](double bound) {
    char text[32] = "                  -";
    if (std::fabs(bound) < 1e30) std::snprintf(text, sizeof text, " %18.10g", bound);
    stream << text;
  };
  char text[80];
  std::snprintf(text, sizeof text, "%9d", static_cast<int>(line.iteration));
  stream << text;
  number(line.lower_bound);
  number(line.upper_bound);
  std::snprintf(text, sizeof text, " %9.2e %9d %9.3f\n", line.gap, static_cast<int>(line.columns),
                seconds);
  stream << text;
  stream.flush();
}

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

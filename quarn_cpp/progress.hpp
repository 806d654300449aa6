#ifndef QUARN_CPP_PROGRESS_HPP
#define QUARN_CPP_PROGRESS_HPP

#include <cmath>
#include <cstdio>
#include <ostream>

#include "quarn_cpp/settings.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

/// A line of the progress table, before the first one its heading.
inline void print_line(std::ostream &stream, const Iteration &line, double seconds) {
  if (line.iteration == 1) {
    stream << "iteration        lower bound        upper bound       gap   columns      time\n";
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

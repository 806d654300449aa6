/**
 * Wall-clock times as the record keeps them.
 */
#ifndef QUARN_CLOCK_H
#define QUARN_CLOCK_H

#include <sys/time.h>

#include <cmath>
#include <cstdint>

namespace quarn {

/// Seconds of an interval given as differences of clock fields, in whole milliseconds rounded to
/// the nearest, halves away from zero.
inline double whole_milliseconds(int64_t seconds, int64_t microseconds) {
  const double milliseconds =
      1000.0 * static_cast<double>(seconds) + static_cast<double>(microseconds) / 1000.0;
  return std::round(milliseconds) * 0.001;
}

inline timeval read_clock() {
  timeval now;
  gettimeofday(&now, nullptr);
  return now;
}

/// Seconds from one reading to a later one, in whole milliseconds.
inline double seconds_between(const timeval &begin, const timeval &end) {
  return whole_milliseconds(static_cast<int64_t>(end.tv_sec) - begin.tv_sec,
                            static_cast<int64_t>(end.tv_usec) - begin.tv_usec);
}

}  // namespace quarn

#endif

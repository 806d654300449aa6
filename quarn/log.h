/**
 * Where the text of a record goes: to the sink that the caller set, or to standard output.
 */
#ifndef QUARN_LOG_H
#define QUARN_LOG_H

#include <cstdarg>
#include <cstdio>

#include "quarn/quarn.h"

namespace quarn {

class Log {
 public:
  /// Standard output.
  Log() = default;
  explicit Log(const QUARN_env &env) : sink_(env.log_sink), data_(env.log_data) {}

  /// Writes like printf. On standard output the text waits for flush(); a sink has it at once.
#if defined(__GNUC__)
  __attribute__((format(printf, 2, 3)))
#endif
  void
  print(const char *format, ...) const {  // NOLINT(cert-dcl50-cpp): the formats are checked above
    if (sink_ == QUARN_log_nothing) return;
    std::va_list values;
    va_start(values, format);
    if (sink_ == nullptr) {
      std::vprintf(format, values);
    } else {
      char text[kLongestText];
      std::vsnprintf(text, sizeof text, format, values);
      sink_(text, data_);
    }
    va_end(values);
  }

  /// Whether the text goes to a function of the caller's, which takes more than standard output.
  bool is_callers() const { return sink_ != nullptr && sink_ != QUARN_log_nothing; }

  void flush() const {
    if (sink_ == nullptr) std::fflush(stdout);
  }

 private:
  // The longest message holds five numbers in plain notation, of up to 317 characters each.
  static constexpr int kLongestText = 4096;

  QUARN_log sink_ = nullptr;
  void *data_ = nullptr;
};

}  // namespace quarn

#endif

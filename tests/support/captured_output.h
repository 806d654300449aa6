/// Standard output of a piece of code, with the text that was flushed told apart from the rest.
#ifndef TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define TESTS_SUPPORT_CAPTURED_OUTPUT_H

#include <cstdio>
#include <string>

namespace support {

/// Takes the place of stdout while it lives. Assertions belong behind it: gtest prints there too.
class CapturedOutput {
 public:
  CapturedOutput() : before_(stdout) {
    std::fflush(stdout);
    stream_ = fopencookie(&flushed_, "w", {nullptr, &CapturedOutput::write, nullptr, nullptr});
    std::setvbuf(stream_, nullptr, _IOFBF, kBuffer);
    stdout = stream_;
  }
  ~CapturedOutput() {
    stdout = before_;
    std::fclose(stream_);
  }
  CapturedOutput(const CapturedOutput &) = delete;
  CapturedOutput &operator=(const CapturedOutput &) = delete;

  /// What reached the outside so far: text that nobody flushed is not in it.
  const std::string &flushed() const { return flushed_; }
  const std::string &all() {
    std::fflush(stream_);
    return flushed_;
  }

 private:
  static constexpr size_t kBuffer = size_t{1} << 20;  // beyond any output between two flushes

  static ssize_t write(void *cookie, const char *text, size_t length) {
    static_cast<std::string *>(cookie)->append(text, length);
    return static_cast<ssize_t>(length);
  }

  std::FILE *before_;
  std::FILE *stream_;
  std::string flushed_;
};

/// What `run` printed and flushed.
template <typename Run>
std::string flushed_output(Run &&run) {
  CapturedOutput output;
  run();
  return output.flushed();
}

/// Every number behind "CPU time:" replaced, so that two runs compare equal.
std::string without_times(const std::string &text);

}  // namespace support

#endif

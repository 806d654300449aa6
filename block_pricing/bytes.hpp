/// Numbers, arrays and text in a row of bytes, for processes of one kind of machine.
#ifndef BLOCK_PRICING_BYTES_HPP
#define BLOCK_PRICING_BYTES_HPP

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace quarn {
inline namespace v1 {
namespace detail {

class ByteWriter {
 public:
  template <typename T>
  void number(T value) {
    static_assert(std::is_arithmetic_v<T>);
    bytes_.append(reinterpret_cast<const char *>(&value), sizeof value);
  }
  template <typename T>
  void array(const std::vector<T> &values) {
    static_assert(std::is_arithmetic_v<T>);
    number<uint64_t>(values.size());
    bytes_.append(reinterpret_cast<const char *>(values.data()), values.size() * sizeof(T));
  }
  void text(std::string_view value) {
    number<uint64_t>(value.size());
    bytes_.append(value);
  }
  void reserve(size_t bytes) { bytes_.reserve(bytes); }
  const std::string &bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// Reads what a ByteWriter wrote, in the same order. `bytes` has to outlive it.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : bytes_(bytes) {}

  template <typename T>
  T number() {
    T value{};
    std::memcpy(&value, take(sizeof value), sizeof value);
    return value;
  }
  template <typename T>
  std::vector<T> array() {
    const auto count = number<uint64_t>();
    if (count > bytes_.size() / sizeof(T)) too_short();
    std::vector<T> values(static_cast<size_t>(count));
    const char *from = take(values.size() * sizeof(T));
    if (!values.empty()) std::memcpy(values.data(), from, values.size() * sizeof(T));
    return values;
  }
  std::string text() {
    const auto length = static_cast<size_t>(number<uint64_t>());
    const char *from = take(length);
    return std::string(from, length);
  }

 private:
  [[noreturn]] static void too_short() { throw std::length_error("a message between ranks ends"); }
  const char *take(size_t length) {
    if (length > bytes_.size()) too_short();
    const char *from = bytes_.data();
    bytes_.remove_prefix(length);
    return from;
  }

  std::string_view bytes_;
};

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

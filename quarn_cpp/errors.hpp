#ifndef QUARN_CPP_ERRORS_HPP
#define QUARN_CPP_ERRORS_HPP

#include <stdexcept>

#include "quarn_cpp/visibility.hpp"

namespace quarn {
inline namespace v1 {

/// A call that cannot be meant: what() says in one sentence which row, which column, what was
/// wrong. Nothing was changed.
class QUARN_CPP_PUBLIC Mistake : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

/// A file that could not be read or written; what() names the file and says why.
class QUARN_CPP_PUBLIC FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace v1
}  // namespace quarn

#endif

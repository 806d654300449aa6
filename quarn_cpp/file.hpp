/**
 * Masters in files. A file is, with all numbers in little-endian order:
 *
 *   8 bytes  "QUARNMST"
 *   u32      version of the format, 1
 *   u64      length of the contents
 *   ...      the contents
 *   u64      FNV-1a hash of all that comes before
 *
 * Contents: sense; settings; bounds; rows; columns; duals. Reals are the bits of an IEEE double, a
 * text is its length as u32 and its bytes. Removed rows and columns keep their number.
 */
#ifndef QUARN_CPP_FILE_HPP
#define QUARN_CPP_FILE_HPP

#include <any>
#include <functional>
#include <memory>
#include <string>

#include "quarn_cpp/state.hpp"

namespace quarn {
inline namespace v1 {
namespace detail {

/// See Master::save.
void save_state(const State &state, const std::string &path,
                const std::function<std::string(const Column &)> &data);

/// See Master::load.
std::unique_ptr<State> load_state(const std::string &path,
                                  const std::function<std::any(const std::string &)> &data);

}  // namespace detail
}  // namespace v1
}  // namespace quarn

#endif

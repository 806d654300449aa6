#ifndef EXAMPLES_DANTZIG_WOLFE_TEXT_LINES_H
#define EXAMPLES_DANTZIG_WOLFE_TEXT_LINES_H

#include <functional>
#include <string>

namespace dantzig_wolfe {

/// Calls `take` with every line of a text file, plain or compressed by gzip, without its end.
/// Throws examples::InputError when the file cannot be read.
void for_each_line(const std::string &path, const std::function<void(const std::string &)> &take);

/// The text with its letters A to Z made small.
std::string lower_case(std::string text);

}  // namespace dantzig_wolfe

#endif

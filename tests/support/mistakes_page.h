/// Sentences on mistakes, as the interfaces say them and as the page on mistakes quotes them.
#ifndef TESTS_SUPPORT_MISTAKES_PAGE_H
#define TESTS_SUPPORT_MISTAKES_PAGE_H

#include <fstream>
#include <iterator>
#include <regex>
#include <string>

namespace support {

/// Whether the text has the sentence, in which ~ stands for any number.
inline bool is_said(const std::string &sentence, const std::string &text) {
  std::string pattern;
  for (const char c : sentence) {
    if (c == '~') {
      pattern += "[-+.0-9e]+";
    } else {
      if (std::string("[](){}.*+?^$|\\").find(c) != std::string::npos) pattern += '\\';
      pattern += c;
    }
  }
  return std::regex_search(text, std::regex(pattern));
}

/// Whether the page quotes it.
inline bool is_on_mistakes_page(const std::string &sentence) {
  std::ifstream page(MISTAKES_PAGE);
  const std::string text{std::istreambuf_iterator<char>(page), std::istreambuf_iterator<char>()};
  return is_said(sentence, text);
}

}  // namespace support

#endif

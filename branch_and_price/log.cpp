#include "branch_and_price/log.hpp"

#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>

namespace quarn {
namespace branch_and_price {

/// A value in 14 places, a dash for none.
static std::string number(double value) {
  if (std::fabs(value) >= kInfinity) return std::string(13, ' ') + "-";
  char text[40];
  std::snprintf(text, sizeof text, "%14.6f", value);
  return text;
}

void log_header(std::ostream &stream) {
  stream << "    node  depth     open          bound     tree bound      incumbent  "
            "rounds      time  what\n";
}

void log_node(std::ostream &stream, const NodeRecord &record) {
  char text[200];
  std::snprintf(text, sizeof text, "%8lld %6d %8lld %s %s %s %7d %9.3f  ",
                static_cast<long long>(record.node), static_cast<int>(record.depth),
                static_cast<long long>(record.open), number(record.bound).c_str(),
                number(record.tree_bound).c_str(), number(record.incumbent).c_str(),
                static_cast<int>(record.iterations), record.seconds);
  stream << text << to_string(record.fate);
  if (!record.decisions.empty()) stream << ": " << record.decisions;
  stream << std::endl;
}

}  // namespace branch_and_price
}  // namespace quarn

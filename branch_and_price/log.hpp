/// The lines that a search prints.
#ifndef BRANCH_AND_PRICE_LOG_HPP
#define BRANCH_AND_PRICE_LOG_HPP

#include <iosfwd>

#include "branch_and_price/search.hpp"

namespace quarn {
namespace branch_and_price {

void log_header(std::ostream &stream);
void log_node(std::ostream &stream, const NodeRecord &record);

}  // namespace branch_and_price
}  // namespace quarn

#endif

/// What ranks tell each other, as bytes.
#ifndef BLOCK_PRICING_MESSAGES_HPP
#define BLOCK_PRICING_MESSAGES_HPP

#include <string>
#include <string_view>

#include "block_pricing/round.hpp"

namespace quarn {
inline namespace v1 {

/// Duals, columns and reports in bytes and back.
struct QUARN_CPP_PUBLIC BlockMessages {
  static std::string pack(const BlockDuals &duals);
  static BlockDuals duals(std::string_view bytes);

  /// Batches and failure of a report.
  static std::string pack(const detail::RoundReport &report);
  /// Appends the batches to the report; its failure stays the one of the lowest block.
  static void unpack(std::string_view bytes, detail::RoundReport *report);
};

}  // namespace v1
}  // namespace quarn

#endif

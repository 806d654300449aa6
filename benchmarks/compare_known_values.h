/// The tables of known values that come with published instances.
#ifndef BENCHMARKS_COMPARE_KNOWN_VALUES_H
#define BENCHMARKS_COMPARE_KNOWN_VALUES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace benchmarks {

struct KnownValue {
  std::string instance;
  std::optional<double> value;  ///< none where the field is empty
};

/// Reads a table of comma-separated values whose first line names the columns: `instance` and
/// `column` of every line. Empty when the file is not there; throws std::runtime_error when it has
/// no such column.
std::vector<KnownValue> read_known_values(const std::string &path, const std::string &column);

/// `lp_bound` of the routing instance for so many customers, where the table has it.
std::optional<double> known_routing_value(const std::string &path, const std::string &instance,
                                          int32_t customers);

}  // namespace benchmarks

#endif

#include "benchmarks/compare_known_values.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace benchmarks {
namespace {

std::vector<std::string> fields_of(const std::string &line) {
  std::vector<std::string> fields(1);
  for (const char c : line) {
    if (c == ',') {
      fields.emplace_back();
    } else if (c != '\r') {
      fields.back() += c;
    }
  }
  return fields;
}

/// The columns of the table that are named in `columns`, line by line; others are left out.
std::vector<std::vector<std::string>> read_columns(const std::string &path,
                                                   const std::vector<std::string> &columns) {
  std::ifstream stream(path);
  std::string line;
  if (!std::getline(stream, line)) return {};
  const std::vector<std::string> head = fields_of(line);
  std::vector<size_t> places;
  for (const std::string &column : columns) {
    const auto found = std::find(head.begin(), head.end(), column);
    if (found == head.end()) throw std::runtime_error(path + " has no column " + column);
    places.push_back(static_cast<size_t>(found - head.begin()));
  }
  std::vector<std::vector<std::string>> result;
  while (std::getline(stream, line)) {
    std::vector<std::string> fields = fields_of(line);
    fields.resize(head.size());
    result.emplace_back();
    for (const size_t place : places) result.back().push_back(fields[place]);
  }
  return result;
}

std::optional<double> number(const std::string &text) {
  return text.empty() ? std::nullopt : std::make_optional(std::stod(text));
}

}  // namespace

std::vector<KnownValue> read_known_values(const std::string &path, const std::string &column) {
  std::vector<KnownValue> values;
  for (const std::vector<std::string> &fields : read_columns(path, {"instance", column})) {
    values.push_back({fields[0], number(fields[1])});
  }
  return values;
}

std::optional<double> known_routing_value(const std::string &path, const std::string &instance,
                                          int32_t customers) {
  for (const std::vector<std::string> &fields :
       read_columns(path, {"instance", "customers", "lp_bound"})) {
    if (fields[0] == instance && fields[1] == std::to_string(customers)) return number(fields[2]);
  }
  return std::nullopt;
}

}  // namespace benchmarks

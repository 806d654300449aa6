#include "examples/dantzig_wolfe/master_column.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace dantzig_wolfe {

MasterColumn block_column(size_t block, const std::vector<double> &x, MasterColumn::Kind kind) {
  MasterColumn column = {kind, block, {}};
  for (size_t j = 0; j < x.size(); ++j) {
    if (x[j] != 0.0) column.values.push_back({static_cast<int32_t>(j), x[j]});
  }
  return column;
}

std::string to_text(const MasterColumn &column) {
  std::string text = static_cast<char>(column.kind) + std::to_string(column.owner);
  char value[64];
  for (const Entry &entry : column.values) {
    std::snprintf(value, sizeof value, " %d %.17g", static_cast<int>(entry.index), entry.value);
    text += value;
  }
  return text;
}

MasterColumn from_text(const std::string &text) {
  MasterColumn column;
  column.kind = static_cast<MasterColumn::Kind>(text.at(0));
  char *at = nullptr;
  column.owner = std::strtoull(text.c_str() + 1, &at, 10);
  while (*at != '\0') {
    const auto index = static_cast<int32_t>(std::strtol(at, &at, 10));
    column.values.push_back({index, std::strtod(at, &at)});
  }
  return column;
}

Coefficients coefficients(const Block &block, const MasterColumn &column) {
  Coefficients result;
  std::vector<Entry> terms;
  for (const Entry &value : column.values) {
    const BlockVariable &variable = block.variables[static_cast<size_t>(value.index)];
    result.cost += variable.cost * value.value;
    for (const Entry &entry : variable.linking) {
      terms.push_back({entry.index, entry.value * value.value});
    }
  }
  std::stable_sort(terms.begin(), terms.end(),
                   [](const Entry &a, const Entry &b) { return a.index < b.index; });
  for (const Entry &term : terms) {
    if (!result.entries.empty() && result.entries.back().index == term.index) {
      result.entries.back().value += term.value;
    } else {
      result.entries.push_back(term);
    }
  }
  return result;
}

}  // namespace dantzig_wolfe

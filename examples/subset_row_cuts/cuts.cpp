#include "examples/subset_row_cuts/cuts.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>

namespace subset_row_cuts {

// Solutions are known to the gap of the run only: a smaller violation may not be one.
constexpr double kLeastViolation = 0.01;

std::vector<ItemSet> separate(const std::vector<quarn::ColumnValue> &solution, int32_t items,
                              size_t most) {
  std::vector<std::pair<double, ItemSet>> violated;
  for (int32_t i = 0; i < items; ++i) {
    for (int32_t j = i + 1; j < items; ++j) {
      for (int32_t k = j + 1; k < items; ++k) {
        const ItemSet triple = ItemSet{1} << i | ItemSet{1} << j | ItemSet{1} << k;
        double left = 0.0;
        for (const auto &[column, value] : solution) {
          if (cuts_across(column.get<ItemSet>(), triple)) left += value;
        }
        if (left > 1.0 + kLeastViolation) violated.push_back({-left, triple});
      }
    }
  }
  std::sort(violated.begin(), violated.end());
  std::vector<ItemSet> cuts;
  for (size_t c = 0; c < std::min(most, violated.size()); ++c) cuts.push_back(violated[c].second);
  return cuts;
}

quarn::Row add_cut(quarn::Master &master, ItemSet triple) {
  quarn::RowOptions options;
  options.name = "cut";
  for (int i = 0; i < kMostItems; ++i) {
    if ((triple >> i & 1U) != 0) options.name += " " + std::to_string(i + 1);
  }
  for (const quarn::Column &column : master.columns()) {
    if (cuts_across(column.get<ItemSet>(), triple)) options.entries.push_back({column, 1.0});
  }
  return master.add_row(quarn::RowSense::at_most, 1.0, options);
}

ItemSet triple_of(const quarn::Row &cut) {
  ItemSet triple = 0;
  std::istringstream words(cut.name());
  std::string word;
  words >> word;
  for (int item = 0; words >> item;) triple |= ItemSet{1} << (item - 1);
  return triple;
}

}  // namespace subset_row_cuts

#include "tests/blocks/program_blocks.h"

#include <algorithm>
#include <sstream>

namespace blocks_test {

constexpr size_t kMostColumns = 2;  // of a block in a round

static size_t linking_rows(const masters::Program &program) {
  return static_cast<size_t>(std::count_if(program.rows.begin(), program.rows.end(),
                                           [](const auto &row) { return !row.block; }));
}

ProgramBlocks::ProgramBlocks(const masters::Program &program) : program_(program) {
  const size_t linking = linking_rows(program);
  columns_of_.resize(program.rows.size() - linking + 1);
  for (size_t j = 0; j < program.columns.size(); ++j) {
    const masters::ProgramColumn &column = program.columns[j];
    if (column.bounds.lower != 0.0 || column.bounds.upper < quarn::kInfinity) continue;
    const bool ray = column.block < 0;
    columns_of_[ray ? columns_of_.size() - 1 : static_cast<size_t>(column.block) - linking]
        .push_back(j);
  }
}

quarn::BlockAnswer ProgramBlocks::price(size_t block, const quarn::BlockDuals &duals,
                                        quarn::BlockColumns &columns) {
  if (before) before(block, duals);
  const double sign = program_.sense == quarn::Sense::minimize ? 1.0 : -1.0;
  std::vector<std::pair<double, size_t>> list;
  for (const size_t j : columns_of_[block]) {
    double reduced = program_.columns[j].cost;
    for (const auto &[row, value] : program_.columns[j].entries) {
      reduced -= duals.values[row] * value;
    }
    list.push_back({sign * reduced, j});
  }
  std::sort(list.begin(), list.end());
  for (size_t t = 0; t < std::min(kMostColumns, list.size()); ++t) {
    if (list[t].first >= -1e-9) break;
    std::vector<quarn::BlockEntry> entries;
    for (const auto &[row, value] : program_.columns[list[t].second].entries) {
      entries.push_back({static_cast<int32_t>(row), value});
    }
    columns.add(program_.columns[list[t].second].cost, entries, std::to_string(list[t].second));
  }
  const double best = list.empty() ? 0.0 : list[0].first;
  if (block + 1 < blocks()) return quarn::BlockAnswer::best_reduced_cost(sign * best);
  return best < -1e-7 ? quarn::BlockAnswer::unbounded() : quarn::BlockAnswer::best_reduced_cost(0);
}

std::any ProgramBlocks::column_data(size_t, std::string_view bytes) const {
  return static_cast<size_t>(std::stoul(std::string(bytes)));
}

std::vector<quarn::Row> ProgramBlocks::rows(const masters::ProgramMaster &master) const {
  std::vector<quarn::Row> rows(master.rows().begin() + static_cast<long>(linking_rows(program_)),
                               master.rows().end());
  rows.emplace_back();
  return rows;
}

std::string fingerprint(const quarn::Result &result, const quarn::Master &master) {
  std::ostringstream text;
  text << std::hexfloat << quarn::to_string(result.status) << '\n';
  for (const quarn::Iteration &line : result.history) {
    text << line.iteration << ' ' << line.lower_bound << ' ' << line.upper_bound << ' '
         << line.columns << ' ' << line.inner_iterations << '\n';
  }
  for (const double dual : result.duals.values()) text << dual << ' ';
  for (const quarn::Column &column : master.columns()) text << column.get<size_t>() << ' ';
  for (const quarn::ColumnValue &use : result.values) text << use.value << ' ';
  return text.str();
}

}  // namespace blocks_test

#include "examples/dantzig_wolfe/blocks.h"

#include <algorithm>
#include <unordered_map>

#include "examples/dantzig_wolfe/canonical_order.h"

namespace dantzig_wolfe {

static size_t at(int32_t index) { return static_cast<size_t>(index); }

static bool same(const BlockVariable &a, const BlockVariable &b) {
  return a.cost == b.cost && a.lower == b.lower && a.upper == b.upper && a.integer == b.integer &&
         a.linking == b.linking;
}

static bool same(const BlockRow &a, const BlockRow &b) {
  return a.lower == b.lower && a.upper == b.upper && a.entries == b.entries;
}

bool same_program(const Block &a, const Block &b) {
  const auto equal = [](const auto &x, const auto &y) { return same(x, y); };
  return a.variables.size() == b.variables.size() && a.rows.size() == b.rows.size() &&
         std::equal(a.variables.begin(), a.variables.end(), b.variables.begin(), equal) &&
         std::equal(a.rows.begin(), a.rows.end(), b.rows.begin(), equal);
}

/// Entries of every variable in the linking rows.
static std::vector<std::vector<Entry>> linking_columns(const Model &model,
                                                       const std::vector<int32_t> &linking) {
  std::vector<std::vector<Entry>> columns(model.variables.size());
  for (size_t i = 0; i < linking.size(); ++i) {
    for (const Entry &entry : model.rows[at(linking[i])].entries) {
      columns[at(entry.index)].push_back({static_cast<int32_t>(i), entry.value});
    }
  }
  return columns;
}

/// The block of some rows, its variables in the order of the file.
static Block make_block(const Model &model, const std::vector<int32_t> &rows,
                        const std::vector<std::vector<Entry>> &linking) {
  Block block = {};
  std::vector<int32_t> &variables = block.copies.emplace_back();
  for (const int32_t i : rows) {
    for (const Entry &entry : model.rows[at(i)].entries) variables.push_back(entry.index);
  }
  std::sort(variables.begin(), variables.end());
  variables.erase(std::unique(variables.begin(), variables.end()), variables.end());
  std::unordered_map<int32_t, int32_t> local;
  for (const int32_t j : variables) {
    const Variable &variable = model.variables[at(j)];
    local.emplace(j, static_cast<int32_t>(local.size()));
    block.variables.push_back({model.sign() * variable.cost, variable.lower, variable.upper,
                               variable.integer, linking[at(j)]});
  }
  for (const int32_t i : rows) {
    const Constraint &row = model.rows[at(i)];
    block.rows.push_back({row.lower, row.upper, {}});
    for (const Entry &entry : row.entries) {
      block.rows.back().entries.push_back({local.at(entry.index), entry.value});
    }
  }
  return block;
}

/// Puts each block to the first one that is equal to it.
static std::vector<Block> merged(std::vector<Block> blocks) {
  std::unordered_multimap<uint64_t, size_t> known;
  std::vector<Block> distinct;
  for (Block &block : blocks) {
    const uint64_t key = put_in_canonical_order(block);
    const auto [begin, end] = known.equal_range(key);
    const auto equal = std::find_if(
        begin, end, [&](const auto &entry) { return same_program(distinct[entry.second], block); });
    if (equal != end) {
      distinct[equal->second].copies.push_back(std::move(block.copies[0]));
    } else {
      known.emplace(key, distinct.size());
      distinct.push_back(std::move(block));
    }
  }
  return distinct;
}

std::vector<Block> make_blocks(const Model &model, const Decomposition &decomposition, bool merge) {
  const std::vector<std::vector<Entry>> linking = linking_columns(model, decomposition.linking);
  std::vector<Block> blocks;
  for (const std::vector<int32_t> &rows : decomposition.blocks) {
    blocks.push_back(make_block(model, rows, linking));
    blocks.back().name = "block " + std::to_string(blocks.size()) + " (of row '" +
                         model.rows[at(rows[0])].name + "')";
  }
  return merge ? merged(std::move(blocks)) : blocks;
}

std::vector<int32_t> free_of_blocks(const Model &model, const std::vector<Block> &blocks) {
  std::vector<char> taken(model.variables.size(), 0);
  for (const Block &block : blocks) {
    for (const std::vector<int32_t> &copy : block.copies) {
      for (const int32_t j : copy) taken[at(j)] = 1;
    }
  }
  std::vector<int32_t> rest;
  for (size_t j = 0; j < taken.size(); ++j) {
    if (taken[j] == 0) rest.push_back(static_cast<int32_t>(j));
  }
  return rest;
}

}  // namespace dantzig_wolfe

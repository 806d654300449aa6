#include "examples/dantzig_wolfe/decomposition.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <regex>
#include <sstream>
#include <unordered_map>

#include "examples/common/text_reader.h"
#include "examples/dantzig_wolfe/text_lines.h"

namespace dantzig_wolfe {

static size_t at(int32_t index) { return static_cast<size_t>(index); }

// Connected components

/// Sets of variables that grow together.
class Components {
 public:
  explicit Components(size_t size) : parent_(size) { std::iota(parent_.begin(), parent_.end(), 0); }

  int32_t find(int32_t j) {
    while (parent_[at(j)] != j) {
      parent_[at(j)] = parent_[at(parent_[at(j)])];
      j = parent_[at(j)];
    }
    return j;
  }

  void join(int32_t j, int32_t k) { parent_[at(find(j))] = find(k); }

 private:
  std::vector<int32_t> parent_;
};

/// The connected components of the rows that are not linking, in the order of their first rows.
static Decomposition split(const Model &model, const std::vector<char> &is_linking) {
  Components components(model.variables.size());
  for (size_t i = 0; i < model.rows.size(); ++i) {
    const std::vector<Entry> &entries = model.rows[i].entries;
    if (is_linking[i] != 0) continue;
    for (const Entry &entry : entries) components.join(entries[0].index, entry.index);
  }
  Decomposition result;
  std::unordered_map<int32_t, size_t> block_of;
  for (size_t i = 0; i < model.rows.size(); ++i) {
    const std::vector<Entry> &entries = model.rows[i].entries;
    if (is_linking[i] != 0 || entries.empty()) {
      result.linking.push_back(static_cast<int32_t>(i));
      continue;
    }
    const int32_t root = components.find(entries[0].index);
    const auto [place, is_new] = block_of.emplace(root, result.blocks.size());
    if (is_new) result.blocks.emplace_back();
    result.blocks[place->second].push_back(static_cast<int32_t>(i));
  }
  return result;
}

// By names

Decomposition match_linking_rows(const std::string &expression, const Model &model) {
  const std::string what = "--linking-rows=" + expression;
  std::vector<char> is_linking(model.rows.size(), 0);
  try {
    const std::regex pattern(expression);
    for (size_t i = 0; i < model.rows.size(); ++i) {
      is_linking[i] = std::regex_search(model.rows[i].name, pattern) ? 1 : 0;
    }
  } catch (const std::regex_error &error) {
    throw examples::InputError(what, 0, std::string("no regular expression: ") + error.what());
  }
  if (std::count(is_linking.begin(), is_linking.end(), 1) == 0) {
    throw examples::InputError(what, 0,
                               "no row has such a name; the first is called '" +
                                   (model.rows.empty() ? "" : model.rows[0].name) + "'");
  }
  Decomposition result = split(model, is_linking);
  if (result.blocks.empty()) {
    throw examples::InputError(what, 0, "all rows have such a name, and none is left for a block");
  }
  result.source = "rows named " + expression;
  return result;
}

// Search

static std::string without_digits(const std::string &name) {
  std::string rest;
  for (const char c : name) {
    if (c < '0' || c > '9') rest += c;
  }
  return rest;
}

/// Whether the block's convex hull may be smaller than its relaxation.
static bool may_gain(const Model &model, const std::vector<int32_t> &block) {
  bool integer = false, other = block.size() > 1;
  for (const int32_t i : block) {
    for (const Entry &entry : model.rows[at(i)].entries) {
      integer = integer || model.variables[at(entry.index)].integer;
      other = other || std::fabs(entry.value) != 1.0;
    }
  }
  return integer && other;
}

/// From 0 to 1: the share of variables in blocks that may gain, times that of the coefficients in
/// blocks, less where one block has more than half of the variables.
static double score(const Model &model, const Decomposition &decomposition) {
  size_t gaining = 0, largest = 0, inside = 0, coefficients = 0;
  for (const Constraint &row : model.rows) coefficients += row.entries.size();
  for (const std::vector<int32_t> &block : decomposition.blocks) {
    std::vector<int32_t> variables;
    for (const int32_t i : block) {
      for (const Entry &entry : model.rows[at(i)].entries) variables.push_back(entry.index);
    }
    inside += variables.size();
    std::sort(variables.begin(), variables.end());
    variables.erase(std::unique(variables.begin(), variables.end()), variables.end());
    largest = std::max(largest, variables.size());
    if (may_gain(model, block)) gaining += variables.size();
  }
  const auto share = [](size_t part, size_t whole) {
    return static_cast<double>(part) / static_cast<double>(std::max<size_t>(whole, 1));
  };
  const double all = share(gaining, model.variables.size());
  const double even = std::min(1.0, 2.0 * (1.0 - share(largest, model.variables.size())));
  return all * even * share(inside, coefficients);
}

namespace {

/// Rows with the same name apart from digits.
using Families = std::vector<std::vector<size_t>>;

/// The sets of families to be tried as linking rows: all, where there are few, else single ones and
/// all but single ones.
std::vector<std::vector<char>> choices(size_t families) {
  constexpr size_t kFew = 8, kMany = 50;
  std::vector<std::vector<char>> sets;
  if (families <= kFew) {
    for (size_t bits = 0; bits < (size_t{1} << families); ++bits) {
      sets.emplace_back();
      for (size_t f = 0; f < families; ++f) sets.back().push_back((bits >> f & 1) != 0 ? 1 : 0);
    }
  } else if (families <= kMany) {
    for (size_t f = 0; f < families; ++f) {
      sets.emplace_back(families, 0)[f] = 1;
      sets.emplace_back(families, 1)[f] = 0;
    }
  }
  return sets;
}

}  // namespace

static Families families_of(const Model &model) {
  Families families;
  std::map<std::string, size_t> place;
  for (size_t i = 0; i < model.rows.size(); ++i) {
    const auto [found, is_new] = place.emplace(without_digits(model.rows[i].name), families.size());
    if (is_new) families.emplace_back();
    families[found->second].push_back(i);
  }
  return families;
}

Decomposition find_decomposition(const std::string &path, const Model &model) {
  constexpr double kLeastScore = 0.2;  // the published programs have 0.5, chance finds 0.1
  const Families families = families_of(model);
  Decomposition best;
  double best_score = 0.0;
  for (const std::vector<char> &choice : choices(families.size())) {
    std::vector<char> is_linking(model.rows.size(), 0);
    std::string source = "found: linking are rows such as";
    for (size_t f = 0; f < families.size(); ++f) {
      for (const size_t i : families[f]) is_linking[i] = choice[f];
      if (choice[f] != 0) source += " '" + model.rows[families[f][0]].name + "'";
    }
    Decomposition candidate = split(model, is_linking);
    const double candidate_score = score(model, candidate);
    if (candidate_score <= best_score) continue;
    best_score = candidate_score;
    best = std::move(candidate);
    best.source = source;
  }
  if (best_score >= kLeastScore && best.blocks.size() > 1) return best;
  throw examples::InputError(path, 0,
                             "no blocks found: name the linking rows by --linking-rows=REGEX, or "
                             "the blocks by --decomposition FILE.dec");
}

// Files

namespace {

/// What a .dec file has said so far.
class DecFile {
 public:
  DecFile(const std::string &path, const Model &model)
      : path_(path), model_(model), owner_(model.rows.size(), kUnnamed) {
    for (size_t i = 0; i < model.rows.size(); ++i) {
      index_of_.emplace(model.rows[i].name, static_cast<int32_t>(i));
    }
    for_each_line(path, [this](const std::string &line) { take(line); });
    if (blocks_ < 0) throw examples::InputError(path, 0, "NBLOCKS is missing");
  }

  Decomposition decomposition() {
    std::vector<int32_t> block_of(model_.variables.size(), kUnnamed);
    for (size_t i = 0; i < owner_.size(); ++i) claim(i, block_of);
    if (!others_are_linking_) give_others(block_of);
    Decomposition result;
    result.source = path_;
    result.blocks.resize(at(blocks_));
    for (size_t i = 0; i < owner_.size(); ++i) {
      const auto row = static_cast<int32_t>(i);
      const bool in_block = owner_[i] >= 0 && !model_.rows[i].entries.empty();
      (in_block ? result.blocks[at(owner_[i])] : result.linking).push_back(row);
    }
    result.blocks.erase(std::remove_if(result.blocks.begin(), result.blocks.end(),
                                       [](const auto &block) { return block.empty(); }),
                        result.blocks.end());
    if (result.blocks.empty()) throw examples::InputError(path_, 0, "no block has a row");
    return result;
  }

 private:
  static constexpr int32_t kUnnamed = -2, kLinking = -1;
  enum class Section { none, presolved, number, block, linking, others };

  void take(const std::string &text) {
    ++line_;
    if (!text.empty() && (text[0] == '\\' || text[0] == '#')) return;
    std::istringstream fields(text);
    std::string word, rest;
    if (!(fields >> word)) return;
    fields >> rest;
    if (enter(word, rest)) return;
    switch (section_) {
      case Section::presolved:
        if (word != "0") fail("a decomposition of the presolved program is not supported");
        return;
      case Section::number:
        blocks_ = number(word, 1, 1000000000);
        return;
      case Section::others:
        others_are_linking_ = word != "0";
        return;
      case Section::none:
        fail("'" + word + "' stands in no section");
      default:
        name_row(word);
    }
  }

  bool enter(const std::string &word, const std::string &rest) {
    const std::string name = lower_case(word);
    if (name == "block" && !rest.empty()) {
      if (blocks_ < 0) fail("a block before NBLOCKS");
      block_ = number(rest, 1, blocks_) - 1;
      section_ = Section::block;
    } else if (name == "presolved") {
      section_ = Section::presolved;
    } else if (name == "nblocks") {
      section_ = Section::number;
    } else if (name == "consdefaultmaster") {
      section_ = Section::others;
    } else if (name == "masterconss") {
      section_ = Section::linking;
    } else if (name == "linkingvars" || name == "blockvars" || name == "mastervars") {
      fail("the section " + word + " is not supported");
    } else {
      return false;
    }
    return true;
  }

  void name_row(const std::string &name) {
    const auto found = index_of_.find(name);
    if (found == index_of_.end()) fail("the model has no row '" + name + "'");
    int32_t &owner = owner_[at(found->second)];
    if (owner != kUnnamed) fail("the row '" + name + "' is named twice");
    owner = section_ == Section::block ? block_ : kLinking;
  }

  /// The row's variables belong to its block.
  void claim(size_t i, std::vector<int32_t> &block_of) const {
    if (owner_[i] < 0) return;
    for (const Entry &entry : model_.rows[i].entries) {
      int32_t &block = block_of[at(entry.index)];
      if (block != kUnnamed && block != owner_[i]) {
        throw examples::InputError(
            path_, 0,
            "variable '" + model_.variables[at(entry.index)].name +
                "' stands in rows of the blocks " + std::to_string(block + 1) + " and " +
                std::to_string(owner_[i] + 1) + "; one of the rows has to be linking");
      }
      block = owner_[i];
    }
  }

  /// Rows that are not named belong to the block of all of their variables, where there is one.
  void give_others(const std::vector<int32_t> &block_of) {
    for (size_t i = 0; i < owner_.size(); ++i) {
      const std::vector<Entry> &entries = model_.rows[i].entries;
      if (owner_[i] != kUnnamed || entries.empty()) continue;
      const int32_t block = block_of[at(entries[0].index)];
      const bool same = std::all_of(entries.begin(), entries.end(), [&](const Entry &entry) {
        return block_of[at(entry.index)] == block;
      });
      if (same) owner_[i] = block;
    }
  }

  int32_t number(const std::string &text, int32_t least, int32_t most) const {
    char *end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0' || value < least || value > most) {
      fail("'" + text + "' is no number from " + std::to_string(least) + " to " +
           std::to_string(most));
    }
    return static_cast<int32_t>(value);
  }

  [[noreturn]] void fail(const std::string &message) const {
    throw examples::InputError(path_, line_, message);
  }

  const std::string path_;
  const Model &model_;
  std::unordered_map<std::string, int32_t> index_of_;
  std::vector<int32_t> owner_;  ///< block of each row, or one of the constants above
  int line_ = 0;
  Section section_ = Section::none;
  int32_t blocks_ = -1, block_ = 0;
  bool others_are_linking_ = true;
};

}  // namespace

Decomposition read_decomposition(const std::string &path, const Model &model) {
  return DecFile(path, model).decomposition();
}

}  // namespace dantzig_wolfe

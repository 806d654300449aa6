#include "examples/dantzig_wolfe/merged_branching.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>

namespace dantzig_wolfe {

namespace bp = quarn::branch_and_price;

constexpr const char *kTotal = "total";
constexpr const char *kSet = "set";
// A sum this close to a whole number is one.
constexpr double kWholeSum = 1e-5;

static size_t at(int64_t index) { return static_cast<size_t>(index); }

static bool is_whole(double sum) { return std::fabs(sum - std::round(sum)) <= kWholeSum; }

/// Rounded, so that ties are not decided by a solver's last digits.
static double from_half(double sum) {
  return std::round(std::fabs(sum - std::floor(sum) - 0.5) * 1e4);
}

MergedBranching::MergedBranching(const Reformulation &reformulation)
    : reformulation_(reformulation), serving_(reformulation.rows().size()) {
  const std::vector<Block> &blocks = reformulation.blocks();
  has_merged_ = std::any_of(blocks.begin(), blocks.end(),
                            [](const Block &block) { return block.copies.size() > 1; });
  if (has_merged_) find_partitioning_rows();
}

bool MergedBranching::is_mine(const bp::Decision &decision) const {
  return decision.kind == kTotal || decision.kind == kSet || decision.kind == bp::kTogether ||
         decision.kind == bp::kApart;
}

// Partitioning rows

/// Whether a point stays one, and gets no dearer, when the variable becomes 0.
static bool can_be_dropped(const Block &block, int32_t variable) {
  const BlockVariable &own = block.variables[at(variable)];
  if (own.cost < 0.0 || own.linking.size() != 1) return false;
  return std::all_of(block.rows.begin(), block.rows.end(), [&](const BlockRow &row) {
    return std::all_of(row.entries.begin(), row.entries.end(), [&](const Entry &entry) {
      if (entry.index != variable) return true;
      return entry.value > 0.0 ? row.lower <= -kInfinite : row.upper >= kInfinite;
    });
  });
}

/// Rows  sum of x = 1  or, where what serves it twice can be dropped,  sum of x >= 1  over
/// variables of value 0 or 1, one of each block.
void MergedBranching::find_partitioning_rows() {
  const std::vector<Block> &blocks = reformulation_.blocks();
  std::vector<bool> good(serving_.size());
  for (size_t i = 0; i < good.size(); ++i) good[i] = is_partitioning(i);
  for (std::vector<int32_t> &row : serving_) row.assign(blocks.size(), -1);
  for (size_t k = 0; k < blocks.size(); ++k) {
    for (size_t j = 0; j < blocks[k].variables.size(); ++j) {
      const BlockVariable &variable = blocks[k].variables[j];
      const bool binary = variable.integer && variable.lower == 0.0 && variable.upper <= 1.0;
      for (const Entry &entry : variable.linking) {
        const LinkingRow &row = reformulation_.rows()[at(entry.index)];
        int32_t &place = serving_[at(entry.index)][k];
        const bool exact = row.lower == row.upper;
        good[at(entry.index)] = good[at(entry.index)] && place < 0 && binary &&
                                entry.value == row.lower &&
                                (exact || can_be_dropped(blocks[k], static_cast<int32_t>(j)));
        place = static_cast<int32_t>(j);
      }
    }
  }
  for (size_t i = 0; i < good.size(); ++i) {
    if (!good[i]) serving_[i].clear();
  }
}

/// By its sides, and that no variable outside of blocks stands in it.
bool MergedBranching::is_partitioning(size_t row) const {
  const LinkingRow &linking = reformulation_.rows()[row];
  if (linking.lower <= 0.0 || (linking.upper < kInfinite && linking.upper != linking.lower)) {
    return false;
  }
  const std::vector<OutsideColumn> &outside = reformulation_.outside();
  return std::none_of(outside.begin(), outside.end(), [&](const OutsideColumn &column) {
    return std::any_of(column.entries.begin(), column.entries.end(),
                       [&](const Entry &entry) { return at(entry.index) == row; });
  });
}

// Candidates

static bp::Branching children(const char *kind, const std::vector<int64_t> &numbers, double sum) {
  const double below = std::floor(sum);
  return {{{kind, numbers, bp::DecisionRow{quarn::RowSense::at_least, below + 1.0}}},
          {{kind, numbers, bp::DecisionRow{quarn::RowSense::at_most, below}}}};
}

void MergedBranching::add_totals(size_t block, const std::vector<ValuedColumn> &points,
                                 std::vector<Sum> *sums) const {
  std::map<int32_t, double> totals;
  for (const auto &[point, value] : points) {
    for (const Entry &entry : point->values) totals[entry.index] += value * entry.value;
  }
  for (const auto &[variable, total] : totals) {
    if (!reformulation_.blocks()[block].variables[at(variable)].integer || is_whole(total))
      continue;
    sums->push_back(
        {children(kTotal, {static_cast<int64_t>(block), variable}, total), from_half(total)});
  }
}

void MergedBranching::add_pairs(const std::vector<ValuedColumn> &columns,
                                std::vector<Sum> *sums) const {
  std::map<std::pair<int64_t, int64_t>, double> pairs;
  for (const auto &[point, value] : columns) {
    if (point->kind != MasterColumn::Kind::point) continue;
    const Block &block = reformulation_.blocks()[point->owner];
    std::set<int64_t> served;
    for (const Entry &entry : point->values) {
      for (const Entry &linking : block.variables[at(entry.index)].linking) {
        if (!serving_[at(linking.index)].empty()) served.insert(linking.index);
      }
    }
    for (auto i = served.begin(); i != served.end(); ++i) {
      for (auto j = std::next(i); j != served.end(); ++j) pairs[{*i, *j}] += value;
    }
  }
  for (const auto &[pair, sum] : pairs) {
    if (is_whole(sum) || sum > 1.0) continue;
    const std::vector<int64_t> rows = {pair.first, pair.second};
    sums->push_back({{{{bp::kTogether, rows}}, {{bp::kApart, rows}}}, from_half(sum)});
  }
}

static std::vector<int64_t> numbers_of(size_t block, const PointSet &set) {
  std::vector<int64_t> numbers = {static_cast<int64_t>(block)};
  for (const Condition &condition : set) {
    numbers.push_back(condition.variable);
    numbers.push_back(condition.at_least ? 1 : 0);
    numbers.push_back(static_cast<int64_t>(condition.bound));
  }
  return numbers;
}

static PointSet set_of(const std::vector<int64_t> &numbers) {
  PointSet set;
  for (size_t t = 1; t + 2 < numbers.size(); t += 3) {
    set.push_back({static_cast<int32_t>(numbers[t]), numbers[t + 1] != 0,
                   static_cast<double>(numbers[t + 2])});
  }
  return set;
}

/// The conditions that split points: each integer variable at least each of its values but the
/// least.
static std::vector<Condition> splits(const Block &block, const std::vector<ValuedColumn> &points) {
  std::vector<Condition> result;
  std::map<int32_t, std::set<double>> values;
  std::map<int32_t, size_t> present;
  for (const auto &[point, value] : points) {
    for (const Entry &entry : point->values) {
      if (!block.variables[at(entry.index)].integer) continue;
      values[entry.index].insert(std::round(entry.value));
      ++present[entry.index];
    }
  }
  for (auto &[variable, found] : values) {
    if (present[variable] < points.size()) found.insert(0.0);
    for (auto value = std::next(found.begin()); value != found.end(); ++value) {
      result.push_back({variable, true, *value});
    }
  }
  return result;
}

static std::vector<ValuedColumn> those_in(const Condition &condition,
                                          const std::vector<ValuedColumn> &points) {
  std::vector<ValuedColumn> result;
  for (const ValuedColumn &point : points) {
    if (condition.holds(std::round(value_of(*point.first, condition.variable)))) {
      result.push_back(point);
    }
  }
  return result;
}

static double sum_of(const std::vector<ValuedColumn> &points) {
  double sum = 0.0;
  for (const auto &[point, value] : points) sum += value;
  return sum;
}

/// Whether points that differ in integer variables have values that are not whole.
static bool has_fraction(const Block &block, const std::vector<ValuedColumn> &points) {
  std::map<std::vector<std::pair<int32_t, double>>, double> classes;
  for (const auto &[point, value] : points) {
    std::vector<std::pair<int32_t, double>> key;
    for (const Entry &entry : point->values) {
      const double whole = std::round(entry.value);
      if (block.variables[at(entry.index)].integer && whole != 0.0)
        key.push_back({entry.index, whole});
    }
    classes[key] += value;
  }
  return std::any_of(classes.begin(), classes.end(),
                     [](const auto &entry) { return !is_whole(entry.second); });
}

/// Sets with one condition more than `set`; where all of those have whole sums the points are split
/// in two by one of them, and both halves looked at.
void MergedBranching::add_sets(size_t block, const std::vector<ValuedColumn> &points,
                               const PointSet &set, std::vector<Sum> *sums) const {
  const Block &own = reformulation_.blocks()[block];
  if (!has_fraction(own, points)) return;
  const std::vector<Condition> conditions = splits(own, points);
  const size_t before = sums->size();
  for (const Condition &condition : conditions) {
    const double sum = sum_of(those_in(condition, points));
    if (is_whole(sum)) continue;
    PointSet part = set;
    part.push_back(condition);
    sums->push_back({children(kSet, numbers_of(block, part), sum), from_half(sum)});
  }
  if (sums->size() > before) return;
  for (const Condition &condition : conditions) {
    const std::vector<ValuedColumn> inside = those_in(condition, points);
    const std::vector<ValuedColumn> outside = those_in(condition.opposite(), points);
    if (!has_fraction(own, inside) && !has_fraction(own, outside)) continue;
    PointSet with = set, without = set;
    with.push_back(condition);
    without.push_back(condition.opposite());
    add_sets(block, inside, with, sums);
    add_sets(block, outside, without, sums);
    if (sums->size() > before) return;
  }
}

static std::vector<bp::Branching> in_order(std::vector<std::vector<bp::Branching>> groups) {
  std::vector<bp::Branching> result;
  for (std::vector<bp::Branching> &group : groups) {
    for (bp::Branching &choice : group) result.push_back(std::move(choice));
  }
  return result;
}

std::vector<bp::Branching> MergedBranching::candidates(
    const std::vector<ValuedColumn> &columns) const {
  if (!has_merged_) return {};
  std::vector<Sum> totals, pairs, sets;
  std::vector<std::vector<ValuedColumn>> points(reformulation_.blocks().size());
  for (const ValuedColumn &column : columns) {
    if (column.first->kind == MasterColumn::Kind::point)
      points[column.first->owner].push_back(column);
  }
  add_pairs(columns, &pairs);
  for (size_t k = 0; k < points.size(); ++k) {
    if (reformulation_.blocks()[k].copies.size() < 2) continue;
    add_totals(k, points[k], &totals);
    if (pairs.empty()) add_sets(k, points[k], {}, &sets);
  }
  std::vector<std::vector<bp::Branching>> groups;
  for (std::vector<Sum> *sums : {&totals, &pairs, &sets}) {
    std::stable_sort(sums->begin(), sums->end(),
                     [](const Sum &a, const Sum &b) { return a.distance < b.distance; });
    groups.emplace_back();
    for (Sum &sum : *sums) groups.back().push_back(std::move(sum.children));
  }
  return in_order(std::move(groups));
}

// Decisions

/// The points of a block that a decision on a pair of rows forbids.
std::vector<PointSet> MergedBranching::forbidden(const bp::Decision &decision, size_t block) const {
  std::vector<int32_t> served;
  for (const int64_t row : decision.numbers) {
    if (!serving_[at(row)].empty() && serving_[at(row)][block] >= 0) {
      served.push_back(serving_[at(row)][block]);
    }
  }
  const auto with = [&](size_t k) { return Condition{served[k], true, 1.0}; };
  const auto without = [&](size_t k) { return Condition{served[k], false, 0.0}; };
  if (decision.kind == bp::kApart) {
    return served.size() == 2 ? std::vector<PointSet>{{with(0), with(1)}} : std::vector<PointSet>{};
  }
  if (served.size() == 1) return {{with(0)}};
  if (served.empty()) return {};
  return {{with(0), without(1)}, {without(0), with(1)}};
}

bool MergedBranching::allows(const bp::Decision &decision, const MasterColumn &column) const {
  if (column.kind != MasterColumn::Kind::point) return true;
  if (decision.kind != bp::kTogether && decision.kind != bp::kApart) return true;
  const std::vector<PointSet> sets = forbidden(decision, column.owner);
  return std::none_of(sets.begin(), sets.end(),
                      [&](const PointSet &set) { return contains(set, column); });
}

double MergedBranching::coefficient(const bp::Decision &decision,
                                    const MasterColumn &column) const {
  const bool mine = column.kind == MasterColumn::Kind::point &&
                    (decision.kind == kTotal || decision.kind == kSet) &&
                    static_cast<int64_t>(column.owner) == decision.numbers[0];
  if (!mine) return 0.0;
  if (decision.kind == kSet) return contains(set_of(decision.numbers), column) ? 1.0 : 0.0;
  return value_of(column, static_cast<int32_t>(decision.numbers[1]));
}

void MergedBranching::price(const bp::Decision &decision, double dual,
                            BlockPricing::NodePrices *prices) const {
  if (decision.kind == kTotal && dual != 0.0) {
    prices->costs[{at(decision.numbers[0]), static_cast<int32_t>(decision.numbers[1])}] -= dual;
  } else if (decision.kind == kSet && dual != 0.0) {
    prices->sets[at(decision.numbers[0])].push_back({set_of(decision.numbers), -dual});
  } else if (decision.kind == bp::kTogether || decision.kind == bp::kApart) {
    for (size_t k = 0; k < reformulation_.blocks().size(); ++k) {
      for (PointSet &set : forbidden(decision, k))
        prices->sets[k].push_back({std::move(set), kInfinite});
    }
  }
}

}  // namespace dantzig_wolfe

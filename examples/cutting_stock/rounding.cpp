#include "examples/cutting_stock/rounding.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>
#include <utility>

namespace cutting_stock {

// How far below a whole number a value may lie and still be meant as that number: what a solution
// to a relative gap of 1e-6 leaves open.
constexpr double kNearlyWhole = 1e-4;

int64_t rolls(const CuttingPlan &plan) {
  int64_t sum = 0;
  for (const Cut &cut : plan) sum += cut.rolls;
  return sum;
}

static std::vector<int64_t> demands(const Instance &instance) {
  std::vector<int64_t> demand;
  for (const ItemType &type : instance.types) demand.push_back(type.demand);
  return demand;
}

/// Most rolls of the pattern of which each holds something that is still wanted.
static int64_t most_useful(const Pattern &pattern, const std::vector<int64_t> &demand) {
  int64_t most = 0;
  for (const Piece &piece : pattern) {
    const int64_t wanted = demand[static_cast<size_t>(piece.type)];
    most = std::max(most, (wanted + piece.copies - 1) / piece.copies);
  }
  return most;
}

/// The whole part of the solution; lowers `demand` by what it covers.
static CuttingPlan round_down(std::vector<PatternUse> solution, std::vector<int64_t> &demand) {
  std::stable_sort(solution.begin(), solution.end(),
                   [](const PatternUse &a, const PatternUse &b) { return a.rolls > b.rolls; });
  CuttingPlan plan;
  for (const PatternUse &use : solution) {
    const auto whole = static_cast<int64_t>(std::floor(use.rolls + kNearlyWhole));
    const int64_t count = std::min(whole, most_useful(use.pattern, demand));
    if (count <= 0) continue;
    plan.push_back({use.pattern, count});
    for (const Piece &piece : use.pattern) {
      int64_t &left = demand[static_cast<size_t>(piece.type)];
      left = std::max<int64_t>(0, left - count * piece.copies);
    }
  }
  return plan;
}

/// Equal rolls that are being filled.
struct OpenRolls {
  Cut cut;
  int64_t room;
};

/// Puts `copies` pieces into each of the first `count` rolls of group g; the others stay as they
/// are, in a group behind. Returns the number of groups that g has become.
static size_t put(std::vector<OpenRolls> &groups, size_t g, int64_t count, Piece piece,
                  int64_t size) {
  const bool splits = count < groups[g].cut.rolls;
  if (splits) {
    OpenRolls rest = groups[g];
    rest.cut.rolls -= count;
    groups[g].cut.rolls = count;
    groups.insert(groups.begin() + static_cast<std::ptrdiff_t>(g) + 1, rest);
  }
  groups[g].cut.pattern.push_back(piece);
  groups[g].room -= piece.copies * size;
  return splits ? 2 : 1;
}

/// Places the `wanted` pieces of one type.
static void place(std::vector<OpenRolls> &groups, int64_t length, int32_t type, int64_t size,
                  int64_t wanted) {
  for (size_t g = 0; wanted > 0; ++g) {
    if (g == groups.size()) groups.push_back({{{}, wanted}, length});  // as many as can be needed
    const int64_t copies = std::min(wanted, groups[g].room / size);
    if (copies == 0) continue;
    const int64_t count = std::min(groups[g].cut.rolls, wanted / copies);
    put(groups, g, count, {type, copies}, size);
    wanted -= count * copies;
  }
  while (!groups.empty() && groups.back().cut.pattern.empty()) groups.pop_back();
}

CuttingPlan first_fit_decreasing(const Instance &instance, const std::vector<int64_t> &demand) {
  std::vector<OpenRolls> groups;
  for (int32_t i = 0; i < instance.size(); ++i) {  // sizes are decreasing
    place(groups, instance.length, i, instance.types[static_cast<size_t>(i)].size,
          demand[static_cast<size_t>(i)]);
  }
  CuttingPlan plan;
  for (OpenRolls &group : groups) plan.push_back(std::move(group.cut));
  return plan;
}

/// The patterns that waste least, one after the other: with lengths as prices.
static CuttingPlan best_fill(const Instance &instance, const PatternPricer &pricer,
                             std::vector<int64_t> demand) {
  std::vector<double> value;
  for (const ItemType &type : instance.types) {
    value.push_back(static_cast<double>(type.size) / static_cast<double>(instance.length));
  }
  CuttingPlan plan = pricer.fill(value.data(), demand);
  const CuttingPlan rest = first_fit_decreasing(instance, demand);
  plan.insert(plan.end(), rest.begin(), rest.end());
  return plan;
}

CuttingPlan round_up(const Instance &instance, const PatternPricer &pricer,
                     std::vector<PatternUse> solution) {
  std::vector<int64_t> left = demands(instance);
  CuttingPlan plan = round_down(std::move(solution), left);
  const CuttingPlan first_fit = first_fit_decreasing(instance, left);
  const CuttingPlan fill = best_fill(instance, pricer, left);
  const CuttingPlan &rest = rolls(fill) < rolls(first_fit) ? fill : first_fit;
  plan.insert(plan.end(), rest.begin(), rest.end());
  return plan;
}

/// The pattern with every type replaced by the first one of its size.
static Pattern by_size(const Instance &instance, Pattern pattern) {
  std::sort(pattern.begin(), pattern.end(),
            [](const Piece &a, const Piece &b) { return a.type < b.type; });
  const auto size = [&](int32_t type) { return instance.types[static_cast<size_t>(type)].size; };
  Pattern result;
  for (Piece piece : pattern) {
    while (piece.type > 0 && size(piece.type - 1) == size(piece.type)) --piece.type;
    if (!result.empty() && result.back().type == piece.type) {
      result.back().copies += piece.copies;
    } else {
      result.push_back(piece);
    }
  }
  return result;
}

static bool comes_before(const Pattern &a, const Pattern &b) {
  return std::lexicographical_compare(
      a.begin(), a.end(), b.begin(), b.end(), [](const Piece &p, const Piece &q) {
        return p.type != q.type ? p.type < q.type : p.copies > q.copies;
      });
}

CuttingPlan merged(const Instance &instance, const CuttingPlan &plan) {
  std::map<Pattern, int64_t, decltype(&comes_before)> counts(comes_before);
  for (const Cut &cut : plan) counts[by_size(instance, cut.pattern)] += cut.rolls;
  CuttingPlan result;
  for (const auto &[pattern, count] : counts) result.push_back({pattern, count});
  std::stable_sort(result.begin(), result.end(),
                   [](const Cut &a, const Cut &b) { return a.rolls > b.rolls; });
  return result;
}

void verify(const Instance &instance, const CuttingPlan &plan, bool exactly) {
  std::vector<int64_t> missing = demands(instance);
  for (const Cut &cut : plan) {
    int64_t used = 0;
    for (const Piece &piece : cut.pattern) {
      const auto i = static_cast<size_t>(piece.type);
      used += piece.copies * instance.types[i].size;
      missing[i] -= piece.copies * cut.rolls;
    }
    if (used > instance.length) throw std::logic_error("a pattern is longer than a roll");
  }
  for (const int64_t pieces : missing) {
    if (pieces > 0) throw std::logic_error("the plan does not cover every demand");
    if (exactly && pieces < 0) throw std::logic_error("the plan cuts more than is wanted");
  }
}

}  // namespace cutting_stock

#include "examples/dantzig_wolfe/point_sets.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace dantzig_wolfe {

constexpr double kNone = std::numeric_limits<double>::infinity();
// Pricings after which the search for a block ends with the bound that it has.
constexpr int kMostPricings = 20000;
// Relative to the value: less is left open.
constexpr double kClosed = 1e-9;

double value_of(const MasterColumn &column, int32_t variable) {
  for (const Entry &entry : column.values) {
    if (entry.index == variable) return entry.value;
  }
  return 0.0;
}

bool contains(const PointSet &set, const MasterColumn &point) {
  return std::all_of(set.begin(), set.end(), [&](const Condition &condition) {
    return condition.holds(value_of(point, condition.variable));
  });
}

namespace {

class Search {
 public:
  Search(BlockPricer &pricer, const std::vector<Range> &range, const std::vector<double> &cost,
         const std::vector<PricedSet> &sets)
      : pricer_(pricer), range_(range), cost_(cost), sets_(sets) {}

  BlockSolution run(int32_t most_points) {
    open({});
    while (!open_.empty() && unbounded_.empty()) {
      const auto least =
          std::min_element(open_.begin(), open_.end(),
                           [](const Node &a, const Node &b) { return a.bound < b.bound; });
      if (least->bound >= enough() || pricings_ >= kMostPricings) break;
      const Node node = std::move(*least);
      open_.erase(least);
      branch(node);
    }
    return result(most_points);
  }

 private:
  using Bounds = std::map<int32_t, Range>;  ///< of the variables that are bounded otherwise
  struct Node {
    Bounds bounds;
    double bound;
    std::vector<double> point;    ///< of the pricer
    std::vector<double> charges;  ///< for each set, as far as it is decided
  };
  enum class Membership { in, out, open };

  Range range_of(const Bounds &bounds, int32_t variable) const {
    const auto found = bounds.find(variable);
    return found != bounds.end() ? found->second : range_[static_cast<size_t>(variable)];
  }

  Membership membership(const Bounds &bounds, const PointSet &set) const {
    bool all = true;
    for (const Condition &condition : set) {
      const Range range = range_of(bounds, condition.variable);
      if (!condition.holds(condition.at_least ? range.upper : range.lower)) return Membership::out;
      all = all && condition.holds(condition.at_least ? range.lower : range.upper);
    }
    return all ? Membership::in : Membership::open;
  }

  double charge(const std::vector<double> &x, const PointSet &set, double cost) const {
    const bool in = std::all_of(set.begin(), set.end(), [&](const Condition &condition) {
      return condition.holds(x[static_cast<size_t>(condition.variable)]);
    });
    return in ? cost : 0.0;
  }

  double enough() const { return best_ - kClosed * std::max(1.0, std::fabs(best_)); }

  /// Prices the block within the bounds.
  void open(Bounds bounds) {
    Node node = {std::move(bounds), 0.0, {}, {}};
    for (const PricedSet &set : sets_) {
      const Membership member = membership(node.bounds, set.set);
      const double least = member == Membership::open ? std::min(0.0, set.cost) : 0.0;
      node.charges.push_back(member == Membership::in ? set.cost : least);
      node.bound += node.charges.back();
    }
    if (node.bound == kNone) return;
    for (const auto &[variable, range] : node.bounds) {
      pricer_.set_bounds(variable, range.lower, range.upper);
    }
    BlockSolution solution = pricer_.price(cost_);
    for (const auto &[variable, range] : node.bounds) {
      const Range own = range_[static_cast<size_t>(variable)];
      pricer_.set_bounds(variable, own.lower, own.upper);
    }
    ++pricings_;
    if (solution.outcome == BlockSolution::Outcome::infeasible) return;
    if (solution.outcome == BlockSolution::Outcome::unbounded) unbounded_ = solution.ray;
    for (const std::vector<double> &point : solution.points) note(point);
    node.bound += solution.bound;
    if (solution.points.empty()) {
      closed_ = std::min(closed_, node.bound);
      return;
    }
    node.point = std::move(solution.points[0]);
    if (node.bound < enough()) open_.push_back(std::move(node));
  }

  void note(const std::vector<double> &point) {
    double value = 0.0;
    for (size_t j = 0; j < point.size(); ++j) value += cost_[j] * point[j];
    for (const PricedSet &set : sets_) value += charge(point, set.set, set.cost);
    if (value == kNone) return;
    best_ = std::min(best_, value);
    found_.emplace_back(value, point);
  }

  /// Decides the set that the point pays for most unlike what the bound takes for it.
  void branch(const Node &node) {
    double most = 0.0;
    size_t choice = sets_.size();
    for (size_t i = 0; i < sets_.size(); ++i) {
      const double missing = charge(node.point, sets_[i].set, sets_[i].cost) - node.charges[i];
      if (missing <= most) continue;
      most = missing;
      choice = i;
    }
    if (choice == sets_.size()) {  // a limit ended the pricer
      closed_ = std::min(closed_, node.bound);
      return;
    }
    Bounds inside = node.bounds;
    for (const Condition &condition : sets_[choice].set) {
      Bounds outside = inside;
      if (narrow(condition.opposite(), &outside)) open(std::move(outside));
      if (!narrow(condition, &inside)) return;
    }
    if (sets_[choice].cost < kNone) open(std::move(inside));
  }

  /// False when nothing is left.
  bool narrow(const Condition &condition, Bounds *bounds) const {
    Range range = range_of(*bounds, condition.variable);
    if (condition.at_least) range.lower = std::max(range.lower, condition.bound);
    if (!condition.at_least) range.upper = std::min(range.upper, condition.bound);
    (*bounds)[condition.variable] = range;
    return range.lower <= range.upper;
  }

  BlockSolution result(int32_t most_points) {
    BlockSolution solution;
    solution.bound = std::min(best_, closed_);
    for (const Node &node : open_) solution.bound = std::min(solution.bound, node.bound);
    if (solution.bound == kNone) solution.outcome = BlockSolution::Outcome::infeasible;
    std::stable_sort(found_.begin(), found_.end());
    found_.erase(std::unique(found_.begin(), found_.end()), found_.end());
    for (auto &[value, point] : found_) {
      if (solution.points.size() == static_cast<size_t>(most_points)) break;
      solution.points.push_back(std::move(point));
    }
    if (unbounded_.empty()) return solution;
    solution.outcome = BlockSolution::Outcome::unbounded;
    solution.bound = -kInfinite;
    solution.ray = unbounded_;
    return solution;
  }

  BlockPricer &pricer_;
  const std::vector<Range> &range_;
  const std::vector<double> &cost_;
  const std::vector<PricedSet> &sets_;
  std::vector<Node> open_;
  std::vector<std::pair<double, std::vector<double>>> found_;
  std::vector<double> unbounded_;  ///< a ray
  double best_ = kNone;            ///< of the points found
  double closed_ = kNone;          ///< bound of nodes that cannot be branched on
  int pricings_ = 0;
};

}  // namespace

BlockSolution price_with_sets(BlockPricer &pricer, const std::vector<Range> &range,
                              const std::vector<double> &cost, const std::vector<PricedSet> &sets,
                              int32_t most_points) {
  return Search(pricer, range, cost, sets).run(most_points);
}

}  // namespace dantzig_wolfe

#include "examples/vehicle_routing/label_setting.h"

#include <algorithm>
#include <tuple>

namespace vehicle_routing {

constexpr size_t kLoadBuckets = 16;

LabelSetting::LabelSetting(const Network &network, const Network::Direction &direction)
    : network_(network),
      direction_(direction),
      first_(static_cast<size_t>(network.horizon()) + 1, -1),
      settled_(static_cast<size_t>(network.nodes())),
      successors_(static_cast<size_t>(network.nodes())),
      buckets_(static_cast<size_t>(network.nodes()) * kLoadBuckets) {}

void LabelSetting::clear() {
  labels_.clear();
  next_.clear();
  std::fill(first_.begin(), first_.end(), -1);
  for (auto &list : settled_) list.clear();
  for (auto &bucket : buckets_) bucket.clear();
}

void LabelSetting::choose_arcs(const std::vector<double> &cost, size_t arcs) {
  successors_ = direction_.successors;
  for (int32_t i = 1; i < network_.nodes(); ++i) {
    auto &list = successors_[static_cast<size_t>(i)];
    if (list.size() <= arcs) continue;
    const auto cheaper = [&](int32_t a, int32_t b) {
      return cost[network_.arc(i, a)] < cost[network_.arc(i, b)];
    };
    std::nth_element(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(arcs), list.end(),
                     cheaper);
    list.resize(arcs);
  }
}

void LabelSetting::run(const std::vector<double> &cost, Dominance dominance, int32_t latest,
                       size_t arcs) {
  clear();
  choose_arcs(cost, arcs);
  dominance_ = dominance;
  add({0.0, 0, direction_.ready[0], 0, 0, -1, -1, -1});
  for (int32_t time = direction_.ready[0]; time <= latest; ++time) {
    // Once, but for customers at the depot's place: the step to them may take no time.
    while (first_[static_cast<size_t>(time)] >= 0) {
      settle(time);
      for (const int32_t k : due_now_) extend(k, cost, latest);
    }
  }
  for (auto &list : settled_) {
    std::sort(list.begin(), list.end(),
              [this](int32_t a, int32_t b) { return label(a).cost < label(b).cost; });
  }
}

/// Settles the labels of this time that are not dominated and leaves them in due_now_.
void LabelSetting::settle(int32_t time) {
  due_now_.clear();
  for (int32_t k = first_[static_cast<size_t>(time)]; k >= 0; k = next_[static_cast<size_t>(k)]) {
    due_now_.push_back(k);
  }
  first_[static_cast<size_t>(time)] = -1;
  std::sort(due_now_.begin(), due_now_.end(), [this](int32_t a, int32_t b) {
    const Label &x = label(a), &y = label(b);
    return std::tie(x.cost, x.load, x.memory, a) < std::tie(y.cost, y.load, y.memory, b);
  });
  const auto dominated = [this](int32_t k) {
    if (is_dominated(labels_[static_cast<size_t>(k)])) return true;
    insert(k);
    return false;
  };
  due_now_.erase(std::remove_if(due_now_.begin(), due_now_.end(), dominated), due_now_.end());
}

void LabelSetting::insert(int32_t k) {
  const Label &label = this->label(k);
  settled_[static_cast<size_t>(label.node)].push_back(k);
  Bucket &bucket = buckets_[static_cast<size_t>(label.node) * kLoadBuckets + bucket_of(label.load)];
  const auto place =
      std::upper_bound(bucket.begin(), bucket.end(), label.cost,
                       [](double cost, const Entry &entry) { return cost < entry.cost; });
  bucket.insert(place, {label.cost, label.memory, label.load, label.last});
}

size_t LabelSetting::bucket_of(int32_t load) const {
  if (dominance_ == Dominance::kTimeCost) return 0;
  return static_cast<size_t>(load) * kLoadBuckets / (static_cast<size_t>(network_.capacity()) + 1);
}

void LabelSetting::extend(int32_t k, const std::vector<double> &cost, int32_t latest) {
  const Label from = label(k);
  for (const int32_t to : successors_[static_cast<size_t>(from.node)]) {
    if (to == from.last || (from.only >= 0 && to != from.only)) continue;
    const size_t arc = network_.arc(from.node, to);
    const int32_t time =
        std::max(from.time + direction_.step[arc], direction_.ready[static_cast<size_t>(to)]);
    if (time > std::min(latest, direction_.due[static_cast<size_t>(to)])) continue;
    if (from.load > network_.capacity() - network_.demand(to)) continue;
    const int32_t bit = network_.bit(to, from.node);
    if (bit >= 0 && (from.memory >> bit & 1) != 0) continue;
    Label next = extension(k, to, from.cost + cost[arc], time);
    if (!is_dominated(next)) add(next);
  }
}

Label LabelSetting::extension(int32_t k, int32_t to, double cost, int32_t time) const {
  const Label &from = label(k);
  Label next = {cost, 0, time, from.load + network_.demand(to), to, k, -1, -1};
  next.memory = network_.carry(from.memory, from.node, to) | Memory{1} << network_.bit(to, to);
  const bool forgotten = from.node > 0 && network_.bit(from.node, to) < 0;
  if (forgotten && network_.returns(from.node, to)) next.last = from.node;
  return next;
}

void LabelSetting::add(const Label &label) {
  int32_t &first = first_[static_cast<size_t>(label.time)];
  next_.push_back(first);
  first = static_cast<int32_t>(labels_.size());
  labels_.push_back(label);
}

bool LabelSetting::is_dominated(Label &label) const {
  const size_t base = static_cast<size_t>(label.node) * kLoadBuckets;
  for (size_t b = base; b <= base + bucket_of(label.load); ++b) {
    for (const Entry &entry : buckets_[b]) {
      if (entry.cost > label.cost) break;
      if (is_dominated_by(entry, label)) return true;
    }
  }
  return false;
}

/// For an entry of the same node that is no later and no more expensive.
bool LabelSetting::is_dominated_by(const Entry &entry, Label &label) const {
  if (dominance_ == Dominance::kTimeCost) return true;
  if (entry.load > label.load) return false;
  if (dominance_ == Dominance::kTimeLoadCost) return true;
  if ((entry.memory & ~label.memory) != 0) return false;
  if (entry.last < 0 || entry.last == label.last) return true;
  if (label.only >= 0) return label.only != entry.last;
  label.only = entry.last;
  return false;
}

Route LabelSetting::path(int32_t k) const {
  Route route;
  for (; label(k).parent >= 0; k = label(k).parent) route.push_back(label(k).node);
  std::reverse(route.begin(), route.end());
  return route;
}

}  // namespace vehicle_routing

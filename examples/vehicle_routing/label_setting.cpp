#include "examples/vehicle_routing/label_setting.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace vehicle_routing {

constexpr double kNone = std::numeric_limits<double>::infinity();

LabelSetting::LabelSetting(const Network &network, const Network::Direction &direction)
    : network_(network),
      direction_(direction),
      slot_(network.shortest_step(direction)),
      pending_(static_cast<size_t>(network.horizon() / slot_ + 1) *
               static_cast<size_t>(network.nodes())),
      settled_(static_cast<size_t>(network.nodes())),
      arcs_(static_cast<size_t>(network.nodes())) {}

void LabelSetting::clear() {
  labels_.clear();
  created_ = 0;
  for (Settled &settled : settled_) {
    settled.labels.clear();
    for (auto &bucket : settled.buckets) bucket.clear();
    settled.least.fill(kNone);
    settled.recent.fill({kNone, 0, 0, -1, -1});
  }
}

void LabelSetting::set_prices(const std::vector<double> &cost, const std::vector<char> &useful,
                              const CutPrices &cuts, const CompletionBounds &bounds) {
  cuts_ = &cuts;
  bounds_ = &bounds;
  for (int32_t i = 0; i < network_.nodes(); ++i) {
    auto &list = arcs_[static_cast<size_t>(i)].list;
    list.clear();
    for (const int32_t to : direction_.successors[static_cast<size_t>(i)]) {
      const size_t arc = network_.arc(i, to);
      if (useful[arc] == 0) continue;
      const int32_t bit = network_.bit(to, i);
      list.push_back({cost[arc], bit >= 0 ? Memory{1} << bit : 0, direction_.step[arc],
                      direction_.due[static_cast<size_t>(to)],
                      network_.capacity() - network_.demand(to), to});
    }
  }
}

void LabelSetting::choose_arcs(size_t arcs) {
  for (Arcs &out : arcs_) {
    auto &list = out.list;
    const bool all = &out == &arcs_.front() || list.size() <= arcs;
    out.count = all ? list.size() : arcs;
    if (all) continue;
    std::nth_element(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(arcs), list.end(),
                     [](const Arc &a, const Arc &b) { return a.cost < b.cost; });
  }
}

bool LabelSetting::run(Dominance dominance, int32_t latest, size_t arcs, size_t most) {
  clear();
  choose_arcs(arcs);
  latest_ = latest;
  dominance_ = dominance;
  const int32_t opening = direction_.ready[0];
  insert({0.0, 0, opening, 0, 0, -1, -1, -1, {}});
  extend(0);
  for (int32_t time = 0; time <= latest; time += slot_) {
    for (int32_t node = 1; node < network_.nodes() && created_ <= most; ++node) {
      settle(pending(time, node));
    }
  }
  if (created_ > most) {
    for (auto &labels : pending_) labels.clear();
    return false;
  }
  for (Settled &settled : settled_) {
    std::sort(settled.labels.begin(), settled.labels.end(),
              [this](int32_t a, int32_t b) { return label(a).cost < label(b).cost; });
  }
  return true;
}

/// Settles the labels, of one node and slot, that are not dominated, and extends them. Most are
/// dominated by those of earlier slots; the order matters among the others alone.
void LabelSetting::settle(std::vector<Label> &labels) {
  labels.erase(std::remove_if(labels.begin(), labels.end(),
                              [this](Label &label) { return is_dominated(label); }),
               labels.end());
  std::sort(labels.begin(), labels.end(), [](const Label &x, const Label &y) {
    return std::tie(x.time, x.cost, x.load, x.memory, x.parent) <
           std::tie(y.time, y.cost, y.load, y.memory, y.parent);
  });
  const size_t first = labels_.size();
  for (Label &label : labels) {
    if (!is_dominated(label)) insert(label);
  }
  labels.clear();
  const size_t behind = labels_.size();
  for (size_t k = first; k < behind; ++k) extend(static_cast<int32_t>(k));
}

void LabelSetting::insert(const Label &label) {
  Settled &settled = settled_[static_cast<size_t>(label.node)];
  const auto index = static_cast<int32_t>(labels_.size());
  settled.labels.push_back(index);
  labels_.push_back(label);
  const size_t own = bucket_of(label.load);
  auto &bucket = settled.buckets[own];
  const auto place =
      std::upper_bound(bucket.begin(), bucket.end(), label.cost,
                       [](double cost, const Entry &entry) { return cost < entry.cost; });
  bucket.insert(place, {label.cost, label.memory, label.load, label.last, index});
  for (size_t b = own; b < kLoadBuckets && settled.least[b] > label.cost; ++b) {
    settled.least[b] = label.cost;
  }
}

size_t LabelSetting::bucket_of(int32_t load) const {
  if (dominance_ == Dominance::kTimeCost) return 0;
  return static_cast<size_t>(load) * kLoadBuckets / (static_cast<size_t>(network_.capacity()) + 1);
}

void LabelSetting::extend(int32_t k) {
  const Label from = label(k);
  const Arcs &out = arcs_[static_cast<size_t>(from.node)];
  for (size_t a = 0; a < out.count; ++a) {
    const Arc &arc = out.list[a];
    const int32_t time =
        std::max(from.time + arc.step, direction_.ready[static_cast<size_t>(arc.to)]);
    if (time > std::min(arc.most_time, latest_) || from.load > arc.most_load) continue;
    if ((from.memory & arc.forbidden) != 0 || arc.to == from.last) continue;
    if (from.only >= 0 && arc.to != from.only) continue;
    if (from.cost + arc.cost + (*bounds_)(arc.to, time, from.node) >= 0.0) continue;
    Label next = extension(k, arc, time);
    if (is_dominated(next)) continue;
    ++created_;
    pending(time, arc.to).push_back(next);
  }
}

Label LabelSetting::extension(int32_t k, const Arc &arc, int32_t time) const {
  const Label &from = label(k);
  const int32_t to = arc.to;
  Label next = {from.cost + arc.cost, 0, time, from.load + network_.demand(to), to, k, -1, -1, {}};
  next.memory = network_.carry(from.memory, from.node, to) | Memory{1} << network_.bit(to, to);
  const bool forgotten = from.node > 0 && network_.bit(from.node, to) < 0;
  if (forgotten && network_.returns(from.node, to)) next.last = from.node;
  next.open = cuts_->arrive(from.open, to, &next.cost);
  return next;
}

bool LabelSetting::is_dominated(Label &label) {
  Settled &settled = settled_[static_cast<size_t>(label.node)];
  const size_t own = bucket_of(label.load);
  if (settled.least[own] > label.cost) return false;
  for (const Entry &entry : settled.recent) {
    if (entry.cost <= label.cost && is_dominated_by(entry, label)) return true;
  }
  // One test rejects nearly all entries that do not dominate.
  const Memory open = dominance_ >= Dominance::kMemory ? ~label.memory : 0;
  const int32_t most = dominance_ == Dominance::kTimeCost ? INT32_MAX : label.load;
  for (size_t b = own + 1; b-- > 0 && settled.least[b] <= label.cost;) {
    for (const Entry &entry : settled.buckets[b]) {
      if (entry.cost > label.cost) break;
      if (((entry.memory & open) | static_cast<Memory>(entry.load > most)) != 0) continue;
      if (!is_dominated_by(entry, label)) continue;
      settled.recent[settled.oldest] = entry;
      settled.oldest = (settled.oldest + 1) % kRecent;
      return true;
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
  if (dominance_ == Dominance::kExact && !cuts_->empty()) {
    const CutSet more = this->label(entry.label).open - label.open;
    if (entry.cost + cuts_->price(more) > label.cost) return false;
  }
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

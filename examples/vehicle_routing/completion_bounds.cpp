#include "examples/vehicle_routing/completion_bounds.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace vehicle_routing {

// With more slots in a horizon the bounds would take longer than they save, and are left out.
constexpr int32_t kMostSlots = 4096;
// As many values as fit into a register of any x86-64 processor: GCC and Clang compute with all of
// them at once.
constexpr size_t kWidth = 4;
using Floats = float __attribute__((vector_size(sizeof(float) * kWidth)));
using Integers = int32_t __attribute__((vector_size(sizeof(int32_t) * kWidth)));

template <typename Vector, typename Value>
static Vector load(const Value *from) {
  Vector vector;
  std::memcpy(&vector, from, sizeof(vector));
  return vector;
}

CompletionBounds::CompletionBounds(const Network &network, const Network::Direction &direction,
                                   const Network::Direction &reverse)
    : network_(network), direction_(direction) {
  const auto shortest = static_cast<uint64_t>(network.shortest_step(direction));
  // Rounded up, so that the shortest step has kLanes slots.
  inverse_ = ((uint64_t{kLanes} << 32) + shortest - 1) / shortest;
  if (slot_of(network.horizon()) > kMostSlots) inverse_ = 0;
  stride_ = static_cast<size_t>(slot_of(network.horizon())) + 2 * kLanes;
  stops_.resize(static_cast<size_t>(network.nodes()));
  for (int32_t j = 1; j < network.nodes(); ++j) {
    stops_[static_cast<size_t>(j)] = stop_of(j, reverse);
  }
  const size_t size = stops_.size() * stride_;
  least_.assign(size, inverse_ > 0 ? kNever : -kNever);
  second_ = least_;
  via_.assign(size, -1);
}

CompletionBounds::Stop CompletionBounds::stop_of(int32_t j,
                                                 const Network::Direction &reverse) const {
  const auto due = [this](int32_t i) { return slot_of(direction_.due[static_cast<size_t>(i)]); };
  const auto shift = [this](int32_t i, int32_t k) {
    return slot_of(direction_.step[network_.arc(i, k)]);
  };
  Stop stop = {slot_of(direction_.ready[static_cast<size_t>(j)]), due(j), -1, 0.0F, {}};
  const auto &lasts = reverse.successors[0];
  if (std::find(lasts.begin(), lasts.end(), j) != lasts.end()) {
    stop.last_return = due(0) - shift(j, 0);
  }
  for (const int32_t k : direction_.successors[static_cast<size_t>(j)]) {
    stop.arcs.push_back({0.0F, shift(j, k), std::min(stop.last, due(k) - shift(j, k)), k});
  }
  std::stable_sort(stop.arcs.begin(), stop.arcs.end(),
                   [](const Arc &a, const Arc &b) { return a.last > b.last; });
  return stop;
}

/// Lowers the cost of each arc by as much as the rounding of sums may add.
void CompletionBounds::set_costs(const std::vector<double> &cost) {
  double largest = 0.0;
  for (const double c : cost) largest = std::max(largest, std::fabs(c));
  const double longest = static_cast<double>(stride_ / kLanes) * largest;
  const double rounding = 2.0 * longest * std::numeric_limits<float>::epsilon();
  for (int32_t j = 1; j < network_.nodes(); ++j) {
    Stop &stop = stops_[static_cast<size_t>(j)];
    stop.return_cost = static_cast<float>(cost[network_.arc(j, 0)] - rounding);
    for (Arc &arc : stop.arcs) {
      arc.cost = static_cast<float>(cost[network_.arc(j, arc.to)] - rounding);
    }
  }
}

void CompletionBounds::update(const std::vector<double> &cost) {
  if (inverse_ == 0) return;
  set_costs(cost);
  const auto lanes = static_cast<int32_t>(kLanes);
  for (int32_t slot = slot_of(network_.horizon()) / lanes * lanes; slot >= 0; slot -= lanes) {
    for (int32_t j = 1; j < network_.nodes(); ++j) {
      const Stop &stop = stops_[static_cast<size_t>(j)];
      if (slot > stop.last || slot + lanes <= stop.first) continue;
      set_block(j, slot);
      close(j, slot);
    }
  }
}

/// (1) in kLanes slots, the first of which is `slot`.
void CompletionBounds::set_block(int32_t j, int32_t slot) {
  const Stop &stop = stops_[static_cast<size_t>(j)];
  const size_t here = place(j, slot);
  for (size_t l = 0; l < kLanes; ++l) {
    const bool returns = slot + static_cast<int32_t>(l) <= stop.last_return;
    least_[here + l] = returns ? stop.return_cost : kNever;
  }
  constexpr size_t kVectors = kLanes / kWidth;
  Floats least[kVectors], second[kVectors];
  Integers via[kVectors];
  for (size_t v = 0; v < kVectors; ++v) {
    least[v] = load<Floats>(&least_[here + v * kWidth]);
    second[v] = Floats{} + kNever;
    via[v] = Integers{} - 1;  // the depot, to which every customer may return
  }
  for (const Arc &arc : stop.arcs) {
    if (arc.last < slot) break;
    const size_t there = place(arc.to, slot + arc.shift);
    for (size_t v = 0; v < kVectors; ++v) {
      const size_t at = there + v * kWidth;
      const Integers goes_back = load<Integers>(&via_[at]) == j;
      const Floats rest = goes_back ? load<Floats>(&second_[at]) : load<Floats>(&least_[at]);
      const Floats cost = rest + arc.cost;
      const Integers is_less = cost < least[v];
      const Floats other = is_less ? least[v] : cost;
      second[v] = other < second[v] ? other : second[v];
      via[v] = is_less ? Integers{} + arc.to : via[v];
      least[v] = is_less ? cost : least[v];
    }
  }
  std::memcpy(&least_[here], least, sizeof(least));
  std::memcpy(&second_[here], second, sizeof(second));
  std::memcpy(&via_[here], via, sizeof(via));
}

/// Outside the window: behind it there is no service, before it service waits for its beginning.
void CompletionBounds::close(int32_t j, int32_t slot) {
  const Stop &stop = stops_[static_cast<size_t>(j)];
  const size_t row = place(j, 0);
  for (int32_t b = std::max(slot, stop.last + 1); b < slot + static_cast<int32_t>(kLanes); ++b) {
    least_[row + static_cast<size_t>(b)] = second_[row + static_cast<size_t>(b)] = kNever;
  }
  if (slot > stop.first) return;
  const auto opening = static_cast<std::ptrdiff_t>(row) + stop.first;
  std::fill(least_.begin() + static_cast<std::ptrdiff_t>(row), least_.begin() + opening,
            least_[static_cast<size_t>(opening)]);
  std::fill(second_.begin() + static_cast<std::ptrdiff_t>(row), second_.begin() + opening,
            second_[static_cast<size_t>(opening)]);
  std::fill(via_.begin() + static_cast<std::ptrdiff_t>(row), via_.begin() + opening,
            via_[static_cast<size_t>(opening)]);
}

}  // namespace vehicle_routing

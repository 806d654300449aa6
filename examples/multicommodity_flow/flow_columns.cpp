#include "examples/multicommodity_flow/flow_columns.h"

#include <functional>
#include <utility>

namespace multicommodity_flow {

static size_t hash_of(const FlowColumn &column) {
  auto hash = static_cast<size_t>(column.block);
  const auto mix = [&hash](size_t value) { hash = (hash ^ value) * 1099511628211U + (hash >> 29); };
  for (const ArcFlow &flow : column.flow) {
    mix(static_cast<size_t>(flow.arc));
    mix(std::hash<double>()(flow.amount));
  }
  return hash;
}

bool FlowColumns::add(FlowColumn column) {
  const size_t hash = hash_of(column);
  const auto same_hash = by_hash_.equal_range(hash);
  for (auto it = same_hash.first; it != same_hash.second; ++it) {
    const FlowColumn &other = (*this)[it->second];
    // Where demands may stay unserved, others of them may make up the same flow at another cost.
    const bool same = other.block == column.block && other.flow == column.flow;
    if (same && other.cost <= column.cost) return false;
  }
  const auto arcs = static_cast<int64_t>(potential_load_.size());
  for (const ArcFlow &flow : column.flow) {
    double &largest = largest_[column.block * arcs + flow.arc];
    if (flow.amount <= largest) continue;
    potential_load_[static_cast<size_t>(flow.arc)] += flow.amount - largest;
    largest = flow.amount;
  }
  by_hash_.emplace(hash, size());
  columns_.push_back(std::move(column));
  return true;
}

void FlowColumns::forget(int32_t j) {
  const auto same_hash = by_hash_.equal_range(hash_of((*this)[j]));
  for (auto it = same_hash.first; it != same_hash.second; ++it) {
    if (it->second != j) continue;
    by_hash_.erase(it);
    return;
  }
}

}  // namespace multicommodity_flow

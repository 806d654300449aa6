#include "examples/vehicle_routing/network.h"

#include <algorithm>

namespace vehicle_routing {

Network::Network(const Instance &instance, int32_t ng_size, const Remembered &more)
    : nodes_(static_cast<int32_t>(instance.nodes.size())),
      capacity_(instance.capacity),
      horizon_(instance.nodes[0].due) {
  for (int32_t i = 0; i < nodes_; ++i) {
    demand_.push_back(instance.nodes[static_cast<size_t>(i)].demand);
    for (int32_t j = 0; j < nodes_; ++j) length_.push_back(distance(instance, i, j));
  }
  forbidden_.assign(length_.size(), 0);
  make_directions(instance);
  make_neighbourhoods(std::clamp(ng_size, 1, std::min(nodes_, kLargestNeighbourhood)), more);
}

static void add_successors(Network::Direction &direction, const Network &network) {
  direction.successors.resize(static_cast<size_t>(network.nodes()));
  for (int32_t i = 0; i < network.nodes(); ++i) {
    for (int32_t j = 1; j < network.nodes(); ++j) {
      const bool in_time =
          direction.ready[static_cast<size_t>(i)] + direction.step[network.arc(i, j)] <=
          direction.due[static_cast<size_t>(j)];
      const bool fits = network.demand(i) <= network.capacity() - network.demand(j);
      if (i != j && in_time && fits) direction.successors[static_cast<size_t>(i)].push_back(j);
    }
  }
}

void Network::make_directions(const Instance &instance) {
  for (int32_t i = 0; i < nodes_; ++i) {
    const Node &node = instance.nodes[static_cast<size_t>(i)];
    const int32_t due = std::min(node.due, horizon_);
    forward_.ready.push_back(node.ready);
    forward_.due.push_back(due);
    backward_.ready.push_back(horizon_ - due);
    backward_.due.push_back(horizon_ - node.ready);
    for (int32_t j = 0; j < nodes_; ++j) {
      forward_.step.push_back(node.service + length(i, j));
      backward_.step.push_back(instance.nodes[static_cast<size_t>(j)].service + length(i, j));
    }
  }
  add_successors(forward_, *this);
  add_successors(backward_, *this);
  const auto arrival = [this](int32_t time, int32_t i, int32_t j) {
    return std::max(time + forward_.step[arc(i, j)], forward_.ready[static_cast<size_t>(j)]);
  };
  for (int32_t i = 0; i < nodes_; ++i) {
    for (int32_t j = 0; j < nodes_; ++j) {
      const int32_t there = arrival(forward_.ready[static_cast<size_t>(i)], i, j);
      const bool back = arrival(there, j, i) <= forward_.due[static_cast<size_t>(i)];
      returns_.push_back(i > 0 && j > 0 && there <= forward_.due[static_cast<size_t>(j)] && back);
    }
  }
}

int32_t Network::shortest_step(const Direction &direction) const {
  int32_t shortest = horizon_ + 1;
  for (int32_t i = 1; i < nodes_; ++i) {
    for (const int32_t j : direction.successors[static_cast<size_t>(i)]) {
      shortest = std::min(shortest, direction.step[arc(i, j)]);
    }
  }
  return std::max(shortest, 1);
}

bool Network::is_allowed(const Route &route) const {
  Memory memory = 0;
  int32_t last = 0;
  for (const int32_t i : route) {
    const int32_t known = last > 0 ? bit(i, last) : -1;
    if (known >= 0 && (memory >> known & 1U) != 0) return false;
    memory = (last > 0 ? carry(memory, last, i) : 0) | Memory{1} << bit(i, i);
    last = i;
  }
  return true;
}

void Network::forbid(int32_t i, int32_t j) {
  forbidden_[arc(i, j)] = 1;
  const auto remove = [](std::vector<int32_t> &list, int32_t node) {
    list.erase(std::remove(list.begin(), list.end(), node), list.end());
  };
  remove(forward_.successors[static_cast<size_t>(i)], j);
  remove(backward_.successors[static_cast<size_t>(j)], i);
}

std::vector<int32_t> Network::neighbourhood(int32_t j, int32_t ng_size) const {
  std::vector<int32_t> members;
  for (int32_t i = 1; i < nodes_; ++i) {
    if (i != j && returns(i, j)) members.push_back(i);
  }
  std::stable_sort(members.begin(), members.end(),
                   [this, j](int32_t a, int32_t b) { return length(a, j) < length(b, j); });
  members.insert(members.begin(), j);
  if (static_cast<int32_t>(members.size()) > ng_size) members.resize(static_cast<size_t>(ng_size));
  return members;
}

void Network::make_neighbourhoods(int32_t ng_size, const Remembered &more) {
  const size_t arcs = length_.size();
  bit_.assign(arcs, -1);
  kept_.assign(arcs, 0);
  std::vector<std::vector<int32_t>> members(1);  // the depot's is empty
  for (int32_t j = 1; j < nodes_; ++j) members.push_back(neighbourhood(j, ng_size));
  for (const auto &[i, j] : more) {
    auto &list = members[static_cast<size_t>(j)];
    const bool is_there = std::find(list.begin(), list.end(), i) != list.end();
    if (!is_there && list.size() < kLargestNeighbourhood) list.push_back(i);
  }
  for (int32_t j = 1; j < nodes_; ++j) {
    const auto &list = members[static_cast<size_t>(j)];
    ng_size_ = std::max(ng_size_, static_cast<int32_t>(list.size()));
    for (size_t b = 0; b < list.size(); ++b) bit_[arc(list[b], j)] = static_cast<int8_t>(b);
  }
  carry_.assign(arcs * static_cast<size_t>(ng_size_), 0);
  for (int32_t i = 1; i < nodes_; ++i) {
    for (int32_t j = 1; j < nodes_; ++j) {
      for (size_t b = 0; b < members[static_cast<size_t>(i)].size(); ++b) {
        const int32_t there = bit(members[static_cast<size_t>(i)][b], j);
        if (there < 0) continue;
        kept_[arc(i, j)] |= Memory{1} << b;
        carry_[arc(i, j) * static_cast<size_t>(ng_size_) + b] = static_cast<int8_t>(there);
      }
    }
  }
}

}  // namespace vehicle_routing

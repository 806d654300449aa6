#include "examples/multicommodity_flow/origin_blocks.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

namespace multicommodity_flow {

OriginBlocks::OriginBlocks(const Network &network, Grouping grouping)
    : origins_(FlowRouter(network, grouping).origins()),
      routers_([&network, grouping] { return std::make_unique<FlowRouter>(network, grouping); }) {}

std::string OriginBlocks::name(size_t block) const {
  return "origin " + std::to_string(origins_[block] + 1);
}

/// The bytes of a column: its block, its length, its flow as it lies in memory.
static std::string bytes_of(const RoutedBlock &block) {
  const size_t flow = block.column.flow.size() * sizeof(ArcFlow);
  std::string bytes(sizeof(int32_t) + sizeof(double) + flow, '\0');
  std::memcpy(bytes.data(), &block.column.block, sizeof(int32_t));
  std::memcpy(bytes.data() + sizeof(int32_t), &block.length, sizeof(double));
  if (flow > 0)
    std::memcpy(bytes.data() + sizeof(int32_t) + sizeof(double), block.column.flow.data(), flow);
  return bytes;
}

static RoutedBlock block_of(double cost, std::string_view bytes) {
  RoutedBlock block{};
  block.column.cost = cost;
  std::memcpy(&block.column.block, bytes.data(), sizeof(int32_t));
  std::memcpy(&block.length, bytes.data() + sizeof(int32_t), sizeof(double));
  bytes.remove_prefix(sizeof(int32_t) + sizeof(double));
  block.column.flow.resize(bytes.size() / sizeof(ArcFlow));
  if (!bytes.empty()) std::memcpy(block.column.flow.data(), bytes.data(), bytes.size());
  return block;
}

quarn::BlockAnswer OriginBlocks::price(size_t block, const quarn::BlockDuals &duals,
                                       quarn::BlockColumns &columns) {
  routers_.borrow([&](FlowRouter &router) {
    for (const RoutedBlock &routed : router.route_from(origins_[block], duals.values)) {
      columns.add(routed.column.cost, {}, bytes_of(routed));
    }
  });
  return quarn::BlockAnswer::term(0.0);
}

std::vector<RoutedBlock> route_by_blocks(quarn::BlockPricer &pricer,
                                         const std::vector<double> &lengths,
                                         const std::function<bool()> &out_of_time) {
  quarn::BlockDuals duals;
  duals.values = lengths;
  const quarn::BlockRound round = pricer.price(duals, out_of_time);
  std::vector<RoutedBlock> routed;
  if (!round.complete) return routed;
  for (size_t j = 0; j < round.columns.size(); ++j) {
    routed.push_back(block_of(round.columns[j].cost, round.columns[j].data));
  }
  std::sort(routed.begin(), routed.end(), [](const RoutedBlock &a, const RoutedBlock &b) {
    return a.column.block < b.column.block;
  });
  return routed;
}

}  // namespace multicommodity_flow

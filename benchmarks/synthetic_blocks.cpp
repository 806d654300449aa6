#include "benchmarks/synthetic_blocks.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace benchmarks {

constexpr size_t kReach = 48;  // rows that a block can serve
constexpr double kFirstColumnCost = 40.0;

/// A number in [0, 1) that looks random: the finaliser of splitmix64 (S. Vigna).
static double hashed(uint64_t a, uint64_t b) {
  uint64_t z = a * 0x9e3779b97f4a7c15ULL + b + 0x9e3779b97f4a7c15ULL;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return static_cast<double>((z ^ (z >> 31)) >> 11) * 0x1p-53;
}

static void work_for(double seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < end) {
  }
}

double SyntheticBlocks::seconds_of(size_t block) const {
  return shape_.seconds * (1.0 + shape_.spread * (2.0 * hashed(~uint64_t{0}, block) - 1.0));
}

quarn::BlockAnswer SyntheticBlocks::price(size_t block, const quarn::BlockDuals &duals,
                                          quarn::BlockColumns &columns) {
  std::vector<std::pair<double, size_t>> worth;
  const size_t reach = std::min(kReach, shape_.rows);
  const auto first = static_cast<size_t>(hashed(1, block) * static_cast<double>(shape_.rows));
  for (size_t k = 0; k < reach; ++k) {
    const size_t row = (first + k) % shape_.rows;
    const double gain = duals.values[row] - (1.0 + 9.0 * hashed(block + 2, row));
    if (gain > 0.0) worth.push_back({-gain, row});
  }
  std::sort(worth.begin(), worth.end());
  worth.resize(std::min(worth.size(), shape_.entries));
  double best = -duals.values[shape_.rows + block];
  double cost = 0.0;
  std::vector<quarn::BlockEntry> entries;
  for (const auto &[loss, row] : worth) {
    best += loss;
    cost += loss + duals.values[row];
    entries.push_back({static_cast<int32_t>(row), 1.0});
  }
  entries.push_back({static_cast<int32_t>(shape_.rows + block), 1.0});
  if (best < -1e-9) columns.add(cost, entries);
  if (shape_.sleeps) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds_of(block)));
  } else {
    work_for(seconds_of(block));
  }
  return quarn::BlockAnswer::best_reduced_cost(std::min(best, 0.0));
}

quarn::Master SyntheticBlocks::make_master(std::vector<quarn::Row> *rows) const {
  quarn::Master master;
  for (size_t i = 0; i < shape_.rows; ++i) {
    const quarn::Row row = master.add_row(quarn::RowSense::at_least, 1.0);
    master.add_column(kFirstColumnCost, {{row, 1.0}});
  }
  for (size_t b = 0; b < shape_.blocks; ++b) {
    rows->push_back(master.add_block(quarn::RowSense::at_most, 1.0));
  }
  return master;
}

}  // namespace benchmarks

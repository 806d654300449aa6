#include "benchmarks/large_programs.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <string>
#include <utility>

#include "examples/common/lehmer.h"

namespace benchmarks {

using examples::Lehmer;
using Entries = std::vector<std::pair<int32_t, double>>;

static int32_t draw(int32_t least, int32_t most, Lehmer *random) {
  return static_cast<int32_t>(random->draw(least, most));
}

LinearProgram dense_master(int32_t rows, int32_t columns, int32_t length, int32_t seed) {
  constexpr double kDear = 1e4;
  Lehmer random(seed);
  LinearProgram program;
  program.name = "dense" + std::to_string(rows);
  for (int32_t i = 0; i < rows; ++i) {
    program.add_row(kGreaterEqual, draw(10, 100, &random));
    program.add_column(kDear, 0.0, kNoBound, {{i, 1.0}});
  }
  for (int32_t j = 0; j < columns; ++j) {
    std::set<int32_t> hit;
    while (static_cast<int32_t>(hit.size()) < std::min(length, rows)) {
      hit.insert(draw(0, rows - 1, &random));
    }
    Entries entries;
    double sum = 0.0;
    for (const int32_t i : hit) {
      entries.emplace_back(i, draw(1, 9, &random));
      sum += entries.back().second;
    }
    program.add_column(sum * draw(100, 200, &random), 0.0, kNoBound, entries);
  }
  return program;
}

LinearProgram path_master(int32_t rows, int32_t columns, int32_t seed) {
  constexpr int32_t kLayers = 40;
  constexpr int32_t kArcs = 3;  // of a node, to its place in the next layer and the two beside
  Lehmer random(seed);
  LinearProgram program;
  program.name = "paths" + std::to_string(rows);
  const int32_t width = std::max(3, (rows + kLayers * kArcs - 1) / (kLayers * kArcs));
  const int32_t mean = std::max(1, columns / width);
  for (int32_t i = 0; i < kLayers * width * kArcs; ++i) {
    program.add_row(kLessEqual, draw(5, 40, &random));
  }
  for (int32_t k = 0; k < width; ++k) {
    program.add_row(kEqual, draw(5, 15, &random));
    program.add_column(1e4, 0.0, kNoBound, {{program.rows() - 1, 1.0}});
  }
  for (int32_t j = 0; j < columns; ++j) {
    const int32_t commodity = std::min(j / mean, width - 1);
    Entries entries;
    double cost = 0.0;
    for (int32_t layer = 0, at = commodity; layer < kLayers; ++layer) {
      const int32_t turn = std::max(0, draw(-7, 2, &random));  // mostly 0
      entries.emplace_back((layer * width + at) * kArcs + turn, 1.0);
      at = (at + (turn == 2 ? width - 1 : turn)) % width;
      cost += draw(5, 20, &random);
    }
    entries.emplace_back(kLayers * width * kArcs + commodity, 1.0);
    program.add_column(cost, 0.0, kNoBound, entries);
  }
  return program;
}

namespace {

constexpr int32_t kPlaces = 45;
constexpr int32_t kCommodities = 11;

struct Move {
  int32_t from, to, periods, cost;
  bool is_joint;
};

/// From each place to the two nearest, and between some of them and a few hubs.
std::vector<Move> draw_moves(Lehmer *random) {
  std::vector<std::pair<int32_t, int32_t>> at;
  for (int32_t s = 0; s < kPlaces; ++s) at.emplace_back(draw(0, 999, random), draw(0, 999, random));
  std::vector<Move> moves;
  for (int32_t s = 0; s < kPlaces; ++s) {
    const auto distance = [&](int32_t q) {
      const int32_t dx = at[static_cast<size_t>(q)].first - at[static_cast<size_t>(s)].first;
      const int32_t dy = at[static_cast<size_t>(q)].second - at[static_cast<size_t>(s)].second;
      return dx * dx + dy * dy;
    };
    std::vector<int32_t> near(kPlaces);
    std::iota(near.begin(), near.end(), 0);
    std::sort(near.begin(), near.end(),
              [&](int32_t a, int32_t b) { return distance(a) < distance(b); });
    for (size_t k = 1; k <= 2; ++k) {
      moves.push_back({s, near[k], 1, draw(20, 60, random), draw(0, 1, random) == 1});
    }
    const int32_t hub = draw(0, 4, random) * (kPlaces / 5);
    if (draw(0, 4, random) >= 2 || hub == s) continue;
    moves.push_back({s, hub, 2, draw(50, 150, random), true});
    moves.push_back({hub, s, 2, draw(50, 150, random), true});
  }
  return moves;
}

int32_t node(int32_t commodity, int32_t period, int32_t place, int32_t periods) {
  return (commodity * periods + period) * kPlaces + place;
}

void add_waiting_and_supply(int32_t periods, Lehmer *random, LinearProgram *program) {
  for (int32_t k = 0; k < kCommodities; ++k) {
    for (int32_t s = 0; s < kPlaces; ++s) {
      for (int32_t t = 0; t + 1 < periods; ++t) {
        const double most = draw(0, 2, random) == 0 ? draw(30, 300, random) : kNoBound;
        program->add_column(draw(1, 5, random), 0.0, most,
                            {{node(k, t, s, periods), -1.0}, {node(k, t + 1, s, periods), 1.0}});
      }
      const bool is_hub = s % (kPlaces / 5) == 0;
      program->add_column(is_hub ? 0.0 : draw(400, 700, random), 0.0, kNoBound,
                          {{node(k, periods - 1, s, periods), -1.0}});
      const int32_t when = draw(0, periods / 2, random);
      program->rhs[static_cast<size_t>(node(k, when, s, periods))] = -draw(0, 20, random);
    }
  }
}

}  // namespace

LinearProgram network_over_time(int32_t periods, int32_t seed) {
  Lehmer random(seed);
  LinearProgram program;
  program.name = "network" + std::to_string(periods);
  for (int32_t i = 0; i < kCommodities * periods * kPlaces; ++i) program.add_row(kEqual, 0.0);
  for (const Move &move : draw_moves(&random)) {
    for (int32_t t = 0; t + move.periods < periods; ++t) {
      if (move.is_joint) program.add_row(kLessEqual, draw(10, 60, &random));
      for (int32_t k = 0; k < kCommodities; ++k) {
        Entries entries = {{node(k, t, move.from, periods), -1.0},
                           {node(k, t + move.periods, move.to, periods), 1.0}};
        if (move.is_joint) entries.emplace_back(program.rows() - 1, 1.0);
        const double most =
            !move.is_joint && draw(0, 2, &random) == 0 ? draw(20, 200, &random) : kNoBound;
        program.add_column(move.cost + draw(0, 9, &random), 0.0, most, entries);
      }
    }
  }
  add_waiting_and_supply(periods, &random, &program);
  return program;
}

}  // namespace benchmarks

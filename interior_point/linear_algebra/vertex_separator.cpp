#include "interior_point/linear_algebra/vertex_separator.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <queue>
#include <random>
#include <utility>

#include "interior_point/vector.h"

namespace interior_point {

namespace {

// Coarsening ends at so many vertices, or where a level keeps this share of them.
constexpr int32_t kCoarsest = 100;
constexpr double kStalled = 0.9;
// No coarse vertex is heavier than this many times the mean of the coarsest graph.
constexpr double kHeaviest = 4.0;
// A vertex with more than this share of the mean number of neighbours has many.
constexpr double kUsual = 0.7;
// A part has at most this share of the weight.
constexpr double kLargestPart = 0.6;
// Starts on the coarsest graph, sweeps of moves on each, and moves of a sweep without gain.
constexpr int kStarts = 10;
constexpr int kSweeps = 20;
constexpr int32_t kIdleMoves = 300;

/// A random order, but vertices of few neighbours first.
Vector<int32_t> order_to_match(const Graph &g, std::minstd_rand *random) {
  const int32_t n = g.vertices();
  Vector<int32_t> order(static_cast<size_t>(n));
  std::iota(order.begin(), order.end(), 0);
  for (int32_t k = n; k-- > 1;)
    std::swap(order[k], order[(*random)() % (static_cast<uint32_t>(k) + 1)]);
  const int64_t usual = 1 + static_cast<int64_t>(kUsual * static_cast<double>(g.start[n]) / n);
  const auto length = [&](int32_t v) { return std::min(usual, g.start[v + 1] - g.start[v]); };
  std::stable_sort(order.begin(), order.end(),
                   [&](int32_t a, int32_t b) { return length(a) < length(b); });
  return order;
}

/// Partners along the heaviest edges: each vertex's number in the coarser graph.
Vector<int32_t> match(const Graph &g, int64_t heaviest, std::minstd_rand *random, int32_t *coarse) {
  const int32_t n = g.vertices();
  const Vector<int32_t> order = order_to_match(g, random);
  Vector<int32_t> number(static_cast<size_t>(n), -1);
  *coarse = 0;
  for (const int32_t v : order) {
    if (number[v] >= 0) continue;
    int32_t partner = v;
    int32_t most = 0;
    for (int64_t t = g.start[v]; t < g.start[v + 1]; ++t) {
      const int32_t u = g.neighbour[t];
      if (number[u] >= 0 || g.edge_weight[t] <= most || g.weight[u] + g.weight[v] > heaviest) {
        continue;
      }
      partner = u;
      most = g.edge_weight[t];
    }
    number[v] = number[partner] = (*coarse)++;
  }
  return number;
}

/// The graph of the numbers: weights add up, edges within a number vanish.
Graph merged(const Graph &g, const Vector<int32_t> &number, int32_t coarse) {
  Vector<int32_t> member(2 * static_cast<size_t>(coarse), -1);
  for (int32_t v = g.vertices(); v-- > 0;) {
    int32_t *pair = member.data() + 2 * number[v];
    if (pair[0] >= 0) pair[1] = pair[0];
    pair[0] = v;
  }
  Graph result;
  result.weight.assign(static_cast<size_t>(coarse), 0);
  result.neighbour.reserve(g.neighbour.size());
  Vector<int64_t> at(static_cast<size_t>(coarse), -1);  // of the edge to each vertex
  for (int32_t c = 0; c < coarse; ++c) {
    const int64_t first = static_cast<int64_t>(result.neighbour.size());
    for (int k = 0; k < 2 && member[2 * c + k] >= 0; ++k) {
      const int32_t v = member[2 * c + k];
      result.weight[c] += g.weight[v];
      for (int64_t t = g.start[v]; t < g.start[v + 1]; ++t) {
        const int32_t u = number[g.neighbour[t]];
        if (u == c) continue;
        if (at[u] < first) {
          at[u] = static_cast<int64_t>(result.neighbour.size());
          result.neighbour.push_back(u);
          result.edge_weight.push_back(0);
        }
        result.edge_weight[at[u]] += g.edge_weight[t];
      }
    }
    result.start.push_back(static_cast<int64_t>(result.neighbour.size()));
  }
  return result;
}

/// The parts of one graph and what is between them, being improved.
class Partition {
 public:
  Partition(const Graph &graph, Vector<uint8_t> side);

  /// Grows part 0 from a vertex, nearest vertices first, until it holds half of the weight.
  static Vector<uint8_t> grown(const Graph &graph, int32_t from);

  /// Sweeps towards either part in turns until neither brings anything.
  void refine() {
    uint8_t to = weight_[0] < weight_[1] ? 0 : 1;
    for (int sweep = 0, idle = 0; sweep < kSweeps && idle < 2; ++sweep) {
      idle = improve(to) ? 0 : idle + 1;
      to = static_cast<uint8_t>(1 - to);
    }
  }

  /// Lighter is better, then balance.
  std::pair<int64_t, int64_t> cost() const {
    return {weight_[kSeparator], std::abs(weight_[0] - weight_[1])};
  }
  Vector<uint8_t> take_side() { return std::move(side_); }

 private:
  struct Move {
    int32_t vertex;
    int32_t pulled;  // so many of the vertices pulled in came before
  };
  using Queue = std::priority_queue<std::pair<int32_t, int32_t>>;

  void separate_edges();
  void put(int32_t v, uint8_t side);
  /// What the separator loses when v leaves it: its weight less what it pulls in.
  int32_t gain(int32_t v) const { return graph_.weight[v] - pull_[v]; }
  void weigh(int32_t v, uint8_t other);
  void requeue_neighbours(int32_t v);
  int32_t choose(uint8_t to);
  void move(int32_t v, uint8_t to);
  bool improve(uint8_t to);
  void undo(const Move &last, uint8_t to);

  const Graph &graph_;
  Vector<uint8_t> side_;
  int64_t weight_[3] = {0, 0, 0};
  int64_t largest_ = 0;
  // Of a sweep:
  Vector<int32_t> pull_;    // per vertex of the separator: the weight that it pulls in
  Vector<int32_t> pulled_;  // in their order
  Queue queue_;             // the separator by gain, some entries out of date
};

Partition::Partition(const Graph &graph, Vector<uint8_t> side)
    : graph_(graph), side_(std::move(side)) {
  for (int32_t v = 0; v < graph.vertices(); ++v) weight_[side_[v]] += graph.weight[v];
  const int64_t total = weight_[0] + weight_[1] + weight_[2];
  largest_ = static_cast<int64_t>(kLargestPart * static_cast<double>(total));
  pull_.resize(side_.size());
  separate_edges();
}

Vector<uint8_t> Partition::grown(const Graph &graph, int32_t from) {
  const int64_t total = std::accumulate(graph.weight.begin(), graph.weight.end(), int64_t{0});
  Vector<uint8_t> side(graph.weight.size(), 1);
  Vector<int32_t> queue;
  int64_t weight = 0;
  int32_t next = from;
  for (size_t k = 0; 2 * weight < total; ++k) {
    if (k == queue.size()) {  // another component
      while (side[next] == 0) next = (next + 1) % graph.vertices();
      side[next] = 0;
      queue.push_back(next);
    }
    const int32_t v = queue[k];
    weight += graph.weight[v];
    for (int64_t t = graph.start[v]; t < graph.start[v + 1]; ++t) {
      const int32_t u = graph.neighbour[t];
      if (side[u] == 0) continue;
      side[u] = 0;
      queue.push_back(u);
    }
    if (2 * weight < total) continue;
    for (size_t q = k + 1; q < queue.size(); ++q) side[queue[q]] = 1;
  }
  return side;
}

/// Ends of edges between the parts become the separator.
void Partition::separate_edges() {
  for (int32_t v = 0; v < graph_.vertices(); ++v) {
    if (side_[v] != 0) continue;
    for (int64_t t = graph_.start[v]; t < graph_.start[v + 1]; ++t) {
      if (side_[graph_.neighbour[t]] == 1) put(graph_.neighbour[t], kSeparator);
    }
  }
}

void Partition::put(int32_t v, uint8_t side) {
  weight_[side_[v]] -= graph_.weight[v];
  weight_[side] += graph_.weight[v];
  side_[v] = side;
}

void Partition::weigh(int32_t v, uint8_t other) {
  pull_[v] = 0;
  for (int64_t t = graph_.start[v]; t < graph_.start[v + 1]; ++t) {
    const int32_t u = graph_.neighbour[t];
    if (side_[u] == other) pull_[v] += graph_.weight[u];
  }
  queue_.push({gain(v), v});
}

/// The vertex whose move gains most where the part has room, or -1.
int32_t Partition::choose(uint8_t to) {
  while (!queue_.empty()) {
    const auto [value, v] = queue_.top();
    queue_.pop();
    const bool current = side_[v] == kSeparator && gain(v) == value;
    if (current && weight_[to] + graph_.weight[v] <= largest_) return v;
  }
  return -1;
}

/// v comes into the separator: its neighbours there no longer pull it.
void Partition::requeue_neighbours(int32_t v) {
  for (int64_t t = graph_.start[v]; t < graph_.start[v + 1]; ++t) {
    const int32_t u = graph_.neighbour[t];
    if (side_[u] != kSeparator) continue;
    pull_[u] -= graph_.weight[v];
    queue_.push({gain(u), u});
  }
}

/// Moves v out of the separator; its neighbours in the other part come in.
void Partition::move(int32_t v, uint8_t to) {
  const uint8_t other = static_cast<uint8_t>(1 - to);
  put(v, to);
  for (int64_t t = graph_.start[v]; t < graph_.start[v + 1]; ++t) {
    const int32_t u = graph_.neighbour[t];
    if (side_[u] != other) continue;
    requeue_neighbours(u);
    put(u, kSeparator);
    pulled_.push_back(u);
    weigh(u, other);
  }
}

void Partition::undo(const Move &last, uint8_t to) {
  while (static_cast<int32_t>(pulled_.size()) > last.pulled) {
    put(pulled_.back(), static_cast<uint8_t>(1 - to));
    pulled_.pop_back();
  }
  put(last.vertex, kSeparator);
}

/// One sweep: the separator advances towards one part by the best move again and again, those that
/// lose as well; then back to the best state met. True when that is better than the first.
bool Partition::improve(uint8_t to) {
  pulled_.clear();
  queue_ = Queue();
  for (int32_t v = 0; v < graph_.vertices(); ++v) {
    if (side_[v] == kSeparator) weigh(v, static_cast<uint8_t>(1 - to));
  }
  const auto first = cost();
  auto best = first;
  Vector<Move> moves;
  size_t best_count = 0;
  while (moves.size() < best_count + kIdleMoves) {
    const int32_t v = choose(to);
    if (v < 0) break;
    moves.push_back({v, static_cast<int32_t>(pulled_.size())});
    move(v, to);
    if (cost() < best) {
      best = cost();
      best_count = moves.size();
    }
  }
  for (; moves.size() > best_count; moves.pop_back()) undo(moves.back(), to);
  return best < first;
}

/// The best of several starts.
Vector<uint8_t> cut(const Graph &graph) {
  Vector<uint8_t> best;
  std::pair<int64_t, int64_t> least;
  for (int k = 0; k < kStarts; ++k) {
    const int32_t from = static_cast<int32_t>(int64_t{graph.vertices()} * k / kStarts);
    Partition partition(graph, Partition::grown(graph, from));
    partition.refine();
    if (!best.empty() && !(partition.cost() < least)) continue;
    least = partition.cost();
    best = partition.take_side();
  }
  return best;
}

struct Level {
  Graph graph;
  Vector<int32_t> number;  // in it, of each vertex of the finer one
};

}  // namespace

Vector<uint8_t> separate(const Graph &graph) {
  const double total = std::accumulate(graph.weight.begin(), graph.weight.end(), 0.0);
  const int64_t heaviest =
      std::max<int64_t>(1, static_cast<int64_t>(kHeaviest * total / kCoarsest));
  std::minstd_rand random(1);
  Vector<std::unique_ptr<Level>> levels;
  const Graph *coarsest = &graph;
  while (coarsest->vertices() > kCoarsest) {
    auto level = std::make_unique<Level>();
    int32_t vertices = 0;
    level->number = match(*coarsest, heaviest, &random, &vertices);
    if (vertices > kStalled * coarsest->vertices()) break;
    level->graph = merged(*coarsest, level->number, vertices);
    levels.push_back(std::move(level));
    coarsest = &levels.back()->graph;
  }
  Vector<uint8_t> side = cut(*coarsest);
  for (size_t l = levels.size(); l-- > 0;) {
    const Graph &finer = l == 0 ? graph : levels[l - 1]->graph;
    Vector<uint8_t> projected(finer.weight.size());
    for (size_t v = 0; v < projected.size(); ++v) projected[v] = side[levels[l]->number[v]];
    Partition partition(finer, std::move(projected));
    partition.refine();
    side = partition.take_side();
  }
  return side;
}

}  // namespace interior_point

#include "interior_point/linear_algebra/nested_dissection.h"

#include <utility>

#include "interior_point/linear_algebra/vertex_separator.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

// Parts of so many unknowns are not dissected further.
constexpr int32_t kLeaf = 400;

/// A part of the graph, its unknowns, and the place behind its last one.
struct Part {
  Graph graph;
  Vector<int32_t> unknown;
  int32_t end;
};

Part whole(const Adjacency &adjacency) {
  Part part;
  part.end = adjacency.unknowns();
  part.graph.start = adjacency.start;
  part.graph.neighbour = adjacency.row;
  part.graph.edge_weight.assign(adjacency.row.size(), 1);
  part.graph.weight.assign(static_cast<size_t>(part.end), 1);
  for (int32_t i = 0; i < part.end; ++i) part.unknown.push_back(i);
  return part;
}

/// The vertices of one side, with the edges among them.
Part part_of(const Part &all, const Vector<uint8_t> &side, uint8_t which, int32_t end) {
  Vector<int32_t> number(side.size(), -1);
  Part part;
  part.end = end;
  for (int32_t v = 0; v < all.graph.vertices(); ++v) {
    if (side[v] != which) continue;
    number[v] = static_cast<int32_t>(part.unknown.size());
    part.unknown.push_back(all.unknown[v]);
  }
  for (int32_t v = 0; v < all.graph.vertices(); ++v) {
    if (side[v] != which) continue;
    for (int64_t t = all.graph.start[v]; t < all.graph.start[v + 1]; ++t) {
      const int32_t u = number[all.graph.neighbour[t]];
      if (u >= 0) part.graph.neighbour.push_back(u);
    }
    part.graph.start.push_back(static_cast<int64_t>(part.graph.neighbour.size()));
  }
  part.graph.weight.assign(part.unknown.size(), 1);
  part.graph.edge_weight.assign(part.graph.neighbour.size(), 1);
  return part;
}

void place_by_degree(const Part &part, Vector<int32_t> *at) {
  const Adjacency adjacency = {part.graph.start, part.graph.neighbour};
  int32_t place = part.end - part.graph.vertices();
  for (const int32_t v : minimum_degree(adjacency)) (*at)[place++] = part.unknown[v];
}

}  // namespace

Vector<int32_t> nested_dissection(const Adjacency &adjacency) {
  Vector<int32_t> at(static_cast<size_t>(adjacency.unknowns()));
  Vector<Part> parts;
  parts.push_back(whole(adjacency));
  while (!parts.empty()) {
    const Part part = std::move(parts.back());
    parts.pop_back();
    Vector<uint8_t> side;
    int32_t count[3] = {0, 0, 0};
    if (part.graph.vertices() > kLeaf) {
      side = separate(part.graph);
      for (const uint8_t s : side) ++count[s];
    }
    if (count[0] == 0 || count[1] == 0) {
      place_by_degree(part, &at);
      continue;
    }
    int32_t place = part.end;
    for (int32_t v = part.graph.vertices(); v-- > 0;) {
      if (side[v] == kSeparator) at[--place] = part.unknown[v];
    }
    parts.push_back(part_of(part, side, 0, place));
    parts.push_back(part_of(part, side, 1, place - count[0]));
  }
  return at;
}

}  // namespace interior_point

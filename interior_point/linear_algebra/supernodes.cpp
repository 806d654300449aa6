#include "interior_point/linear_algebra/supernodes.h"

#include <cstddef>

#include "interior_point/vector.h"

namespace interior_point {

namespace {

// A child is merged into its parent while the zeros that this adds to the panel stay below this
// share of it: more for narrow panels, whose matrix products run far below the kernel's speed.
struct Relaxation {
  int32_t columns;
  double zeros;
};
constexpr Relaxation kRelaxations[] = {{4, 0.9}, {16, 0.5}, {48, 0.2}, {1 << 30, 0.05}};

// Panels of so many columns update what lies behind them by less than one block of the kernels:
// that takes as long as the memory does.
constexpr int32_t kThin = 4;

struct Node {
  int32_t first, last;  // columns, both included
  int32_t below;        // rows below the columns
  double zeros;         // stored zeros of the panel
  bool merged;
};

/// Supernodes without zeros: column k joins the one of k - 1 when that is its only child and has
/// one row more.
Vector<Node> fundamental_nodes(const Ordering &o) {
  const int32_t n = static_cast<int32_t>(o.parent.size());
  Vector<int32_t> children(o.parent.size(), 0);
  for (const int32_t parent : o.parent) {
    if (parent >= 0) ++children[parent];
  }
  Vector<Node> nodes;
  for (int32_t k = 0; k < n; ++k) {
    const bool joins =
        k > 0 && children[k] == 1 && o.parent[k - 1] == k && o.below[k - 1] == o.below[k] + 1;
    if (!joins) nodes.push_back({k, k, 0, 0.0, false});
    nodes.back().last = k;
    nodes.back().below = o.below[k];
  }
  return nodes;
}

/// Zeros of the panel that holds both: the child's columns get the parent's rows.
bool worth_merging(const Node &child, const Node &parent, double *zeros) {
  const double child_columns = child.last - child.first + 1;
  const double parent_columns = parent.last - parent.first + 1;
  const double below = parent.below;
  const double columns = child_columns + parent_columns;
  *zeros = child.zeros + parent.zeros + child_columns * (parent_columns + below - child.below);
  const double size = columns * (columns + 1) / 2 + columns * below;
  for (const Relaxation &limit : kRelaxations) {
    if (columns <= limit.columns) return *zeros < limit.zeros * size;
  }
  return false;
}

/// Only a child whose columns end right before its parent's can be merged: panels are contiguous.
void merge_into_parents(const Ordering &o, Vector<Node> *nodes) {
  for (std::size_t s = nodes->size(); s-- > 1;) {
    Node &parent = (*nodes)[s];
    if (parent.merged) continue;
    for (std::size_t c = s; c-- > 0;) {
      Node &child = (*nodes)[c];
      const int32_t above = o.parent[child.last];
      double zeros = 0.0;
      if (above < parent.first || above > parent.last || !worth_merging(child, parent, &zeros)) {
        break;
      }
      parent.first = child.first;
      parent.zeros = zeros;
      child.merged = true;
    }
  }
}

}  // namespace

Supernodes find_supernodes(const Ordering &ordering) {
  Vector<Node> nodes = fundamental_nodes(ordering);
  merge_into_parents(ordering, &nodes);
  Supernodes result;
  result.of_column.resize(ordering.parent.size());
  result.row_start.push_back(0);
  result.panel_start.push_back(0);
  for (const Node &node : nodes) {
    if (node.merged) continue;
    for (int32_t k = node.first; k <= node.last; ++k) {
      result.of_column[k] = static_cast<int32_t>(result.first.size());
    }
    result.first.push_back(node.first);
    const double columns = node.last - node.first + 1;
    const double below = node.below;
    result.row_start.push_back(result.row_start.back() + static_cast<int64_t>(columns + below));
    result.panel_start.push_back(result.panel_start.back() +
                                 static_cast<int64_t>(columns * (columns + below)));
    const double work = columns * (columns * columns / 6 + columns * below / 2 + below * below / 2);
    result.work += work;
    if (columns <= kThin) result.thin_work += work;
  }
  result.first.push_back(static_cast<int32_t>(ordering.parent.size()));
  return result;
}

/// Row i belongs to the supernodes on the paths that lead from its entries up to its own.
void find_rows(const Adjacency &adjacency, const Ordering &ordering, Supernodes *nodes) {
  nodes->row.resize(static_cast<std::size_t>(nodes->row_start.back()));
  Vector<int64_t> next(nodes->row_start.begin(), nodes->row_start.end() - 1);
  Vector<int32_t> seen(next.size(), -1);
  for (int32_t i = 0; i < adjacency.unknowns(); ++i) {
    const int32_t own = nodes->of_column[i];
    seen[own] = i;
    nodes->row[next[own]++] = i;
    const int32_t unknown = ordering.at[i];
    for (int64_t t = adjacency.start[unknown]; t < adjacency.start[unknown + 1]; ++t) {
      const int32_t k = ordering.place[adjacency.row[t]];
      if (k > i) continue;
      for (int32_t s = nodes->of_column[k]; seen[s] != i;) {
        seen[s] = i;
        nodes->row[next[s]++] = i;
        s = nodes->of_column[ordering.parent[nodes->first[s + 1] - 1]];
      }
    }
  }
}

}  // namespace interior_point

#include "interior_point/supernodes.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <algorithm>
#include <numeric>

namespace interior_point {

namespace {

using Pattern = Eigen::SparseMatrix<double, Eigen::ColMajor, int32_t>;

// A child is merged into its parent while the zeros that this adds to the panel stay below this
// share of it: more for narrow panels, whose matrix products run far below the kernel's speed.
struct Relaxation {
  int32_t columns;
  double zeros;
};
constexpr Relaxation kRelaxations[] = {{4, 0.9}, {16, 0.5}, {48, 0.2}, {1 << 30, 0.05}};

/// Which unknowns each unknown meets, itself left out.
struct Adjacency {
  std::vector<int64_t> start;
  std::vector<int32_t> row;
};

/// The columns that count for the pattern, by rows.
struct RowColumns {
  std::vector<int64_t> start;
  std::vector<int32_t> column;

  RowColumns(const SparseColumns &A, const std::vector<uint8_t> &marked)
      : start(static_cast<size_t>(A.rows) + 1, 0) {
    const auto counts = [&](int32_t j) { return !marked[j] && A.length(j) > 1; };
    for (int32_t j = 0; j < A.columns(); ++j) {
      if (!counts(j)) continue;
      for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) ++start[A.row[t] + 1];
    }
    std::partial_sum(start.begin(), start.end(), start.begin());
    column.resize(static_cast<size_t>(start.back()));
    std::vector<int64_t> next(start.begin(), start.end() - 1);
    for (int32_t j = 0; j < A.columns(); ++j) {
      if (!counts(j)) continue;
      for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) column[next[A.row[t]]++] = j;
    }
  }
};

/// Adjacency of A_S A_S' for the columns of S, those that are not marked.
Adjacency adjacency_of_rows(const SparseColumns &A, const std::vector<uint8_t> &marked) {
  const RowColumns columns(A, marked);
  Adjacency adjacency;
  adjacency.start.reserve(static_cast<size_t>(A.rows) + 1);
  adjacency.row.reserve(columns.column.size());
  adjacency.start.push_back(0);
  std::vector<int32_t> seen(static_cast<size_t>(A.rows), -1);
  for (int32_t i = 0; i < A.rows; ++i) {
    seen[i] = i;
    for (int64_t k = columns.start[i]; k < columns.start[i + 1]; ++k) {
      const int32_t j = columns.column[k];
      for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
        if (seen[A.row[t]] == i) continue;
        seen[A.row[t]] = i;
        adjacency.row.push_back(A.row[t]);
      }
    }
    adjacency.start.push_back(static_cast<int64_t>(adjacency.row.size()));
  }
  return adjacency;
}

/// Adjacency of (14): the rows as above, and each kept column with the rows of its entries.
Adjacency adjacency_of(const SparseColumns &A, const std::vector<int32_t> &kept) {
  std::vector<uint8_t> marked(static_cast<size_t>(A.columns()), 0);
  for (const int32_t j : kept) marked[j] = 1;
  Adjacency rows = adjacency_of_rows(A, marked);
  if (kept.empty()) return rows;
  std::vector<std::vector<int32_t>> columns_of(static_cast<size_t>(A.rows));
  for (size_t k = 0; k < kept.size(); ++k) {
    for (int32_t t = A.start[kept[k]]; t < A.start[kept[k] + 1]; ++t) {
      columns_of[A.row[t]].push_back(A.rows + static_cast<int32_t>(k));
    }
  }
  Adjacency all;
  all.start.push_back(0);
  for (int32_t i = 0; i < A.rows; ++i) {
    all.row.insert(all.row.end(), rows.row.begin() + rows.start[i],
                   rows.row.begin() + rows.start[i + 1]);
    all.row.insert(all.row.end(), columns_of[i].begin(), columns_of[i].end());
    all.start.push_back(static_cast<int64_t>(all.row.size()));
  }
  for (const int32_t j : kept) {
    all.row.insert(all.row.end(), A.row.begin() + A.start[j], A.row.begin() + A.start[j + 1]);
    all.start.push_back(static_cast<int64_t>(all.row.size()));
  }
  return all;
}

/// place[i] of unknown i in an approximate minimum degree order.
std::vector<int32_t> minimum_degree(const Adjacency &adjacency) {
  const int32_t rows = static_cast<int32_t>(adjacency.start.size()) - 1;
  // The ordering takes either triangle and mirrors it. The values are never looked at.
  Pattern upper(rows, rows);
  upper.reserve(static_cast<int64_t>(adjacency.row.size() / 2) + rows);
  for (int32_t i = 0; i < rows; ++i) {
    upper.startVec(i);
    upper.insertBackByOuterInnerUnordered(i, i) = 1.0;
    for (int64_t t = adjacency.start[i]; t < adjacency.start[i + 1]; ++t) {
      if (adjacency.row[t] < i) upper.insertBackByOuterInnerUnordered(i, adjacency.row[t]) = 1.0;
    }
  }
  upper.finalize();
  Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int32_t> order;
  Eigen::AMDOrdering<int32_t>()(upper.selfadjointView<Eigen::Upper>(), order);
  // The ordering hands out which row comes k-th.
  std::vector<int32_t> place(static_cast<size_t>(rows));
  for (int32_t k = 0; k < rows; ++k) place[order.indices()[k]] = k;
  return place;
}

/// The adjacency with rows renamed to places.
Adjacency renamed(const Adjacency &adjacency, const std::vector<int32_t> &place) {
  std::vector<int32_t> row_at(place.size());
  for (size_t i = 0; i < place.size(); ++i) row_at[place[i]] = static_cast<int32_t>(i);
  Adjacency result;
  result.start.push_back(0);
  result.row.reserve(adjacency.row.size());
  for (const int32_t i : row_at) {
    for (int64_t t = adjacency.start[i]; t < adjacency.start[i + 1]; ++t) {
      result.row.push_back(place[adjacency.row[t]]);
    }
    result.start.push_back(static_cast<int64_t>(result.row.size()));
  }
  return result;
}

/// Parent of each column in the elimination tree, -1 for a root. J. W. H. Liu, The role of
/// elimination trees in sparse factorization, SIAM J. Matrix Anal. Appl. 11 (1990) 134-172.
std::vector<int32_t> elimination_tree(const Adjacency &adjacency) {
  const int32_t n = static_cast<int32_t>(adjacency.start.size()) - 1;
  std::vector<int32_t> parent(static_cast<size_t>(n), -1);
  std::vector<int32_t> ancestor(static_cast<size_t>(n), -1);
  for (int32_t k = 0; k < n; ++k) {
    for (int64_t t = adjacency.start[k]; t < adjacency.start[k + 1]; ++t) {
      int32_t i = adjacency.row[t];
      while (i != -1 && i < k) {
        const int32_t next = ancestor[i];
        ancestor[i] = k;
        if (next == -1) parent[i] = k;
        i = next;
      }
    }
  }
  return parent;
}

/// Places in postorder: children before parents, subtrees together.
std::vector<int32_t> postorder(const std::vector<int32_t> &parent) {
  const int32_t n = static_cast<int32_t>(parent.size());
  std::vector<int32_t> child(parent.size(), -1);
  std::vector<int32_t> sibling(parent.size(), -1);
  std::vector<int32_t> roots;
  for (int32_t k = n - 1; k >= 0; --k) {
    if (parent[k] == -1) {
      roots.push_back(k);
    } else {
      sibling[k] = child[parent[k]];
      child[parent[k]] = k;
    }
  }
  std::vector<int32_t> place(parent.size());
  std::vector<int32_t> stack;
  int32_t next = 0;
  for (auto root = roots.rbegin(); root != roots.rend(); ++root) {
    stack.push_back(*root);
    while (!stack.empty()) {
      const int32_t k = stack.back();
      if (child[k] != -1) {
        stack.push_back(child[k]);
        child[k] = sibling[child[k]];
      } else {
        place[k] = next++;
        stack.pop_back();
      }
    }
  }
  return place;
}

/// Builds the supernodes of a postordered pattern.
class SupernodeBuilder {
 public:
  SupernodeBuilder(const Adjacency &adjacency, const std::vector<int32_t> &parent)
      : adjacency_(adjacency), parent_(parent), n_(static_cast<int32_t>(parent.size())) {}

  void build(Supernodes *out) {
    find_structures();
    sort_structures();
    merge_into_parents();
    write(out);
  }

 private:
  struct Node {
    int32_t first, last;         // columns, both included
    std::vector<int32_t> below;  // rows below the columns; increasing from sort_structures on
    double zeros = 0.0;          // stored zeros of the panel
    bool merged = false;
  };

  void find_structures();
  int32_t find_structure(int32_t k);
  void extend_or_open(int32_t k, int32_t children);
  void sort_structures();
  void merge_into_parents();
  bool worth_merging(const Node &child, const Node &parent, double *zeros) const;
  void write(Supernodes *out) const;

  const Adjacency &adjacency_;
  const std::vector<int32_t> &parent_;
  const int32_t n_;
  std::vector<Node> nodes_;
  std::vector<int32_t> node_of_;
  std::vector<int32_t> seen_;
  std::vector<int32_t> below_;  // rows below the diagonal of the current column
  // The children of each column in the tree, as lists.
  std::vector<int32_t> child_, sibling_;
};

/// below_ for column k of L: its own rows and those of its children in the tree, whose number is
/// returned.
int32_t SupernodeBuilder::find_structure(int32_t k) {
  below_.clear();
  const auto take = [&](int32_t i) {
    if (i <= k || seen_[i] == k) return;
    seen_[i] = k;
    below_.push_back(i);
  };
  for (int64_t t = adjacency_.start[k]; t < adjacency_.start[k + 1]; ++t) take(adjacency_.row[t]);
  int32_t children = 0;
  for (int32_t c = child_[k]; c >= 0; c = sibling_[c], ++children) {
    for (const int32_t i : nodes_[node_of_[c]].below) take(i);
  }
  return children;
}

/// Column k joins the supernode of k - 1 when that is its only child and has one row more.
void SupernodeBuilder::extend_or_open(int32_t k, int32_t children) {
  const bool joins = children == 1 && child_[k] == k - 1 &&
                     nodes_[node_of_[k - 1]].below.size() == below_.size() + 1;
  if (!joins) {
    node_of_[k] = static_cast<int32_t>(nodes_.size());
    nodes_.push_back({k, k, below_});
    return;
  }
  Node &node = nodes_[node_of_[k - 1]];
  node_of_[k] = node_of_[k - 1];
  node.last = k;
  node.below.swap(below_);
}

void SupernodeBuilder::find_structures() {
  node_of_.assign(static_cast<size_t>(n_), -1);
  seen_.assign(static_cast<size_t>(n_), -1);
  child_.assign(static_cast<size_t>(n_), -1);
  sibling_.assign(static_cast<size_t>(n_), -1);
  for (int32_t k = 0; k < n_; ++k) {
    if (parent_[k] < 0) continue;
    sibling_[k] = child_[parent_[k]];
    child_[parent_[k]] = k;
  }
  for (int32_t k = 0; k < n_; ++k) extend_or_open(k, find_structure(k));
}

void SupernodeBuilder::sort_structures() {
  for (Node &node : nodes_) std::sort(node.below.begin(), node.below.end());
}

/// Zeros of the panel that holds both: the child's columns get the parent's rows.
bool SupernodeBuilder::worth_merging(const Node &child, const Node &parent, double *zeros) const {
  const double child_columns = child.last - child.first + 1;
  const double parent_columns = parent.last - parent.first + 1;
  const double below = static_cast<double>(parent.below.size());
  const double added =
      child_columns * (parent_columns + below - static_cast<double>(child.below.size()));
  const double columns = child_columns + parent_columns;
  *zeros = child.zeros + parent.zeros + added;
  const double size = columns * (columns + 1) / 2 + columns * below;
  for (const Relaxation &limit : kRelaxations) {
    if (columns <= limit.columns) return *zeros < limit.zeros * size;
  }
  return false;
}

/// Only a child whose columns end right before its parent's can be merged: panels are contiguous.
void SupernodeBuilder::merge_into_parents() {
  for (size_t s = nodes_.size(); s-- > 1;) {
    Node &parent = nodes_[s];
    if (parent.merged) continue;
    for (size_t c = s; c-- > 0;) {
      Node &child = nodes_[c];
      double zeros = 0.0;
      if (child.below.empty() || node_of_[child.below[0]] != static_cast<int32_t>(s) ||
          child.last != parent.first - 1 || !worth_merging(child, parent, &zeros)) {
        break;
      }
      for (int32_t k = child.first; k <= child.last; ++k) node_of_[k] = static_cast<int32_t>(s);
      parent.first = child.first;
      parent.zeros = zeros;
      child.merged = true;
    }
  }
}

void SupernodeBuilder::write(Supernodes *out) const {
  out->of_column.resize(static_cast<size_t>(n_));
  out->row_start.push_back(0);
  out->panel_start.push_back(0);
  for (const Node &node : nodes_) {
    if (node.merged) continue;
    const int32_t s = static_cast<int32_t>(out->first.size());
    out->first.push_back(node.first);
    for (int32_t k = node.first; k <= node.last; ++k) {
      out->of_column[k] = s;
      out->row.push_back(k);
    }
    out->row.insert(out->row.end(), node.below.begin(), node.below.end());
    out->row_start.push_back(static_cast<int64_t>(out->row.size()));
    const double columns = node.last - node.first + 1;
    const double below = static_cast<double>(node.below.size());
    out->panel_start.push_back(out->panel_start.back() +
                               static_cast<int64_t>(columns * (columns + below)));
    out->work += columns * (columns * columns / 6 + columns * below / 2 + below * below / 2);
  }
  out->first.push_back(n_);
}

}  // namespace

Supernodes find_supernodes(const SparseColumns &A, const std::vector<int32_t> &kept) {
  Supernodes result;
  const Adjacency adjacency = adjacency_of(A, kept);
  const std::vector<int32_t> by_degree = minimum_degree(adjacency);
  const Adjacency ordered = renamed(adjacency, by_degree);
  const std::vector<int32_t> after = postorder(elimination_tree(ordered));
  result.place.resize(by_degree.size());
  for (size_t i = 0; i < by_degree.size(); ++i) result.place[i] = after[by_degree[i]];
  const Adjacency final_order = renamed(adjacency, result.place);
  const std::vector<int32_t> parent = elimination_tree(final_order);
  SupernodeBuilder(final_order, parent).build(&result);
  return result;
}

}  // namespace interior_point

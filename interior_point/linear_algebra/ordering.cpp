#include "interior_point/linear_algebra/ordering.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <algorithm>
#include <utility>

#include "interior_point/linear_algebra/nested_dissection.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

// For each entry of M nested dissection takes about as long as so many pairs, and where the work is
// large it saves this share of it or more.
constexpr double kDissection = 3500.0;
constexpr double kHoped = 0.4;
// Where the largest dense block alone takes this share of the work the graph has no small
// separator: with 0.69 to 0.96 (cutting stock, crews, random patterns) dissection took 0.8 to 2.7
// times the pairs, with 0.19 to 0.58 (networks, paths) 0.2 to 1.04 times.
constexpr double kDenseCore = 2.0 / 3.0;

using Pattern = Eigen::SparseMatrix<float, Eigen::ColMajor, int32_t>;

/// The columns that make rows of A A' meet, by rows.
RowEntries columns_that_join(const SparseColumns &A, const Vector<uint8_t> &augmented) {
  return RowEntries(A, [&](int32_t j) { return !augmented[j] && A.length(j) > 1; });
}

/// Appends the rows that row i meets in the columns of `joining`.
void append_neighbours(const SparseColumns &A, const RowEntries &joining, int32_t i,
                       Vector<int32_t> *seen, Vector<int32_t> *row) {
  (*seen)[i] = i;
  for (int64_t k = joining.start[i]; k < joining.start[i + 1]; ++k) {
    const int32_t j = joining.column[k];
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
      if ((*seen)[A.row[t]] == i) continue;
      (*seen)[A.row[t]] = i;
      row->push_back(A.row[t]);
    }
  }
}

Vector<int32_t> inverse(const Vector<int32_t> &at) {
  Vector<int32_t> place(at.size());
  for (size_t k = 0; k < at.size(); ++k) place[at[k]] = static_cast<int32_t>(k);
  return place;
}

/// Parents in the elimination tree and lengths of the columns of L for the order `at`.
void grow_tree(const Adjacency &adjacency, Ordering *o) {
  o->parent.assign(o->at.size(), -1);
  o->below.assign(o->at.size(), 0);
  Vector<int32_t> seen(o->at.size(), -1);
  for (int32_t i = 0; i < adjacency.unknowns(); ++i) {
    seen[i] = i;
    const int32_t unknown = o->at[i];
    for (int64_t t = adjacency.start[unknown]; t < adjacency.start[unknown + 1]; ++t) {
      for (int32_t k = o->place[adjacency.row[t]]; k < i && seen[k] != i; k = o->parent[k]) {
        if (o->parent[k] == -1) o->parent[k] = i;
        ++o->below[k];
        seen[k] = i;
      }
    }
  }
}

/// Places in postorder: children before parents, subtrees together.
Vector<int32_t> postorder(const Vector<int32_t> &parent) {
  const int32_t n = static_cast<int32_t>(parent.size());
  Vector<int32_t> child(parent.size(), -1);
  Vector<int32_t> sibling(parent.size(), -1);
  Vector<int32_t> stack;
  for (int32_t k = n - 1; k >= 0; --k) {
    if (parent[k] == -1) {
      stack.push_back(k);
    } else {
      sibling[k] = child[parent[k]];
      child[parent[k]] = k;
    }
  }
  Vector<int32_t> place(parent.size());
  int32_t next = 0;
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
  return place;
}

/// The same elimination with the places renamed.
Ordering renamed(const Ordering &o, const Vector<int32_t> &name) {
  Ordering result;
  result.at.resize(o.at.size());
  result.parent.resize(o.at.size());
  result.below.resize(o.at.size());
  for (size_t k = 0; k < o.at.size(); ++k) {
    const int32_t to = name[k];
    result.at[to] = o.at[k];
    result.parent[to] = o.parent[k] < 0 ? -1 : name[o.parent[k]];
    result.below[to] = o.below[k];
  }
  result.place = inverse(result.at);
  return result;
}

/// Those of the largest dense block that the elimination comes to.
double pairs_of_core(const Ordering &o) {
  double order = 0.0;
  for (const double below : o.below) order = std::max(order, below + 1.0);
  return order * order * order / 6.0;
}

/// What is left of the graph once the marked unknowns are gone: those that met one of them meet
/// each other.
Adjacency without(const Adjacency &all, const Vector<uint8_t> &gone,
                  const Vector<int32_t> &number) {
  Adjacency result;
  result.start.push_back(0);
  Vector<int32_t> seen(gone.size(), -1);
  for (int32_t i = 0; i < all.unknowns(); ++i) {
    if (gone[i]) continue;
    seen[i] = i;
    const auto take = [&](int32_t k) {
      if (gone[k] || seen[k] == i) return;
      seen[k] = i;
      result.row.push_back(number[k]);
    };
    for (int64_t t = all.start[i]; t < all.start[i + 1]; ++t) {
      const int32_t k = all.row[t];
      take(k);
      if (!gone[k]) continue;
      for (int64_t q = all.start[k]; q < all.start[k + 1]; ++q) take(all.row[q]);
    }
    result.start.push_back(static_cast<int64_t>(result.row.size()));
  }
  return result;
}

}  // namespace

Adjacency adjacency_of(const SparseColumns &A, const Vector<int32_t> &augmented) {
  Vector<uint8_t> is_augmented(static_cast<size_t>(A.columns()), 0);
  for (const int32_t j : augmented) is_augmented[j] = 1;
  const RowEntries joining = columns_that_join(A, is_augmented);
  Vector<int32_t> number(static_cast<size_t>(A.columns()), -1);
  for (size_t k = 0; k < augmented.size(); ++k)
    number[augmented[k]] = A.rows + static_cast<int32_t>(k);
  const RowEntries crossing(A, [&](int32_t j) { return is_augmented[j] != 0; });

  Adjacency adjacency;
  adjacency.start.reserve(static_cast<size_t>(A.rows) + augmented.size() + 1);
  adjacency.row.reserve(2 * static_cast<size_t>(A.entries()));
  adjacency.start.push_back(0);
  Vector<int32_t> seen(static_cast<size_t>(A.rows), -1);
  const auto close = [&] { adjacency.start.push_back(static_cast<int64_t>(adjacency.row.size())); };
  for (int32_t i = 0; i < A.rows; ++i) {
    append_neighbours(A, joining, i, &seen, &adjacency.row);
    for (int64_t k = crossing.start[i]; k < crossing.start[i + 1]; ++k) {
      adjacency.row.push_back(number[crossing.column[k]]);
    }
    close();
  }
  for (const int32_t j : augmented) {
    adjacency.row.insert(adjacency.row.end(), A.row.begin() + A.start[j],
                         A.row.begin() + A.start[j + 1]);
    close();
  }
  return adjacency;
}

Vector<int32_t> minimum_degree(const Adjacency &adjacency) {
  const int32_t n = adjacency.unknowns();
  // The ordering takes either triangle and mirrors it. The values are never looked at.
  Pattern upper(n, n);
  upper.reserve(static_cast<int64_t>(adjacency.row.size() / 2) + n);
  for (int32_t i = 0; i < n; ++i) {
    upper.startVec(i);
    upper.insertBackByOuterInnerUnordered(i, i) = 1.0F;
    for (int64_t t = adjacency.start[i]; t < adjacency.start[i + 1]; ++t) {
      if (adjacency.row[t] < i) upper.insertBackByOuterInnerUnordered(i, adjacency.row[t]) = 1.0F;
    }
  }
  upper.finalize();
  Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int32_t> order;
  Eigen::AMDOrdering<int32_t>()(upper.selfadjointView<Eigen::Upper>(), order);
  return Vector<int32_t>(order.indices().data(), order.indices().data() + n);
}

Ordering order_as_given(const Adjacency &adjacency, Vector<int32_t> at) {
  Ordering result;
  result.at = std::move(at);
  result.place = inverse(result.at);
  grow_tree(adjacency, &result);
  return renamed(result, postorder(result.parent));
}

double elimination_pairs(const Ordering &ordering) {
  double squares = 0.0;
  for (const double below : ordering.below) squares += (below + 1.0) * (below + 1.0);
  return squares / 2.0;
}

Ordering fill_reducing_order(const Adjacency &adjacency, double factorisations) {
  Ordering result = order_as_given(adjacency, minimum_degree(adjacency));
  const double work = elimination_pairs(result);
  const double entries = static_cast<double>(adjacency.row.size());
  if (kHoped * work * factorisations < kDissection * entries) return result;
  if (pairs_of_core(result) > kDenseCore * work) return result;
  Ordering other = order_as_given(adjacency, nested_dissection(adjacency));
  return elimination_pairs(other) < work ? other : result;
}

Ordering fill_reducing_order(const Adjacency &adjacency, const Vector<uint8_t> &first) {
  Vector<int32_t> number(first.size(), -1);
  Vector<int32_t> rest, at;
  for (int32_t i = 0; i < adjacency.unknowns(); ++i) {
    if (first[i]) {
      at.push_back(i);
    } else {
      number[i] = static_cast<int32_t>(rest.size());
      rest.push_back(i);
    }
  }
  for (const int32_t k : minimum_degree(without(adjacency, first, number))) {
    at.push_back(rest[k]);
  }
  return order_as_given(adjacency, std::move(at));
}

}  // namespace interior_point

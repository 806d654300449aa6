#include "interior_point/linear_algebra/sparse_factorisation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "interior_point/linear_algebra/dense_kernel.h"
#include "interior_point/linear_algebra/panel_kernels.h"
#include "interior_point/linear_algebra/supernodes.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

// Up to so many columns the kernels for panels are faster than a BLAS: 3 times on 20 rows and 6
// columns, 1.5 times on 100 and 40, no more on 200 and 100. On 400 and 400 a BLAS is 1.6 times
// faster.
constexpr int32_t kNarrow = 96;

// What such a panel takes from another goes through a BLAS from so many multiply-add pairs on,
// unless it is a thin one: products of 500 rows with 64 columns by 64 then run 2 to 3 times as
// fast.
constexpr double kLargeUpdate = 5e4;
constexpr int32_t kThinUpdate = 8;

// Products of one panel with itself are made in strips of so many columns, of which the upper
// triangle is left out: as one product half of it would be for nothing.
constexpr int32_t kStrip = 64;

// How often a pattern is used: by a solve from scratch, and by one that starts near the end.
constexpr double kOfColdSolve = 25.0;
constexpr double kOfWarmSolve = 4.0;

// An order is kept from one A to the next until a factorisation takes so many times what it took
// when the order was made. Making one takes about as long as a factorisation.
constexpr double kKeptGrowth = 1.1;

/// Everything that does not change between factorisations. An unknown is known by its place.
struct SparsePattern {
  Vector<int32_t> place;  // per unknown
  Supernodes nodes;
  int32_t entries = 0;         // of the A for which this form was chosen
  double work_limit = 0.0;     // of the others
  double ordered_pairs = 0.0;  // of the A for which the order was made
  int32_t rows = 0;
  int32_t unknowns = 0;  // rows and columns of P
  // A_S with its rows renamed to places, entries increasing in each column...
  SparseColumns ordered;
  Vector<int32_t> column;  // ... and the columns of A these are
  // Its entries by rows: the column and the position from which on the column lies in or below.
  Vector<int32_t> by_row_start;
  Vector<int32_t> by_row_column;
  Vector<int32_t> by_row_first;
  // P of (14) below the diagonal: per unknown, the entries whose other unknown comes later.
  SparseColumns coupling;
  Vector<int32_t> augmented_columns;  // P of (14), increasing
  Vector<int32_t> column_of;          // per unknown: the column of P that it is, or -1 for a row
  Vector<double> sign;                // per unknown: its entry in D
  Vector<uint8_t> by_panel_kernels;   // per supernode: narrow, or not positive
  Vector<uint8_t> is_positive;        // per supernode: D is 1 in all of it
  int32_t widest = 0;                 // columns of such a supernode
  int64_t largest_update = 0;         // entries of the largest strip of a product in (13)
};

/// A_S by places, its columns and its rows.
void rename_rows(const SparseColumns &A, const Ordering &ordering,
                 const Vector<uint8_t> &is_augmented, SparsePattern *pattern) {
  SparseColumns &out = pattern->ordered;
  out.rows = pattern->unknowns;
  Vector<int32_t> number(is_augmented.size(), -1);  // among the columns of A_S
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (is_augmented[j]) continue;
    number[j] = out.columns();
    pattern->column.push_back(j);
    out.start.push_back(out.start.back() + A.length(j));
  }
  const size_t entries = static_cast<size_t>(out.start.back());
  out.row.resize(entries);
  out.value.resize(entries);
  pattern->by_row_column.resize(entries);
  pattern->by_row_first.resize(entries);
  pattern->by_row_start.push_back(0);
  const RowEntries by_rows(A, [&](int32_t j) { return !is_augmented[j]; });
  Vector<int32_t> next(out.start.begin(), out.start.end() - 1);
  int32_t at = 0;
  // Row after row the columns fill up in the order of the places.
  for (int32_t place = 0; place < pattern->unknowns; ++place) {
    const int32_t i = ordering.at[place];
    const int32_t end = i < A.rows ? by_rows.start[i + 1] : 0;
    for (int32_t k = i < A.rows ? by_rows.start[i] : 0; k < end; ++k, ++at) {
      const int32_t column = number[by_rows.column[k]];
      const int32_t to = next[column]++;
      out.row[to] = place;
      out.value[to] = A.value[by_rows.entry[k]];
      pattern->by_row_column[at] = column;
      pattern->by_row_first[at] = to;
    }
    pattern->by_row_start.push_back(at);
  }
}

/// The largest strip of rows times columns by which a positive supernode updates another.
int64_t largest_update(const SparsePattern &pattern) {
  const Supernodes &nodes = pattern.nodes;
  int64_t most = 1;
  for (int32_t s = 0; s < nodes.count(); ++s) {
    if (!pattern.is_positive[s]) continue;
    const int32_t *rows = nodes.rows_of(s);
    const int32_t count = nodes.rows(s);
    for (int32_t k = nodes.columns(s); k < count;) {
      int32_t end = k;
      while (end < count && nodes.of_column[rows[end]] == nodes.of_column[rows[k]]) ++end;
      most = std::max(most, static_cast<int64_t>(count - k) * std::min(end - k, kStrip));
      k = end;
    }
  }
  return most;
}

/// P by the earlier unknown of each entry.
void couple(const SparseColumns &A, const Vector<int32_t> &augmented, const Vector<int32_t> &place,
            SparsePattern *pattern) {
  SparseColumns &out = pattern->coupling;
  out.start.assign(static_cast<size_t>(pattern->unknowns) + 1, 0);
  const auto for_all = [&](const auto &act) {
    for (size_t k = 0; k < augmented.size(); ++k) {
      const int32_t own = place[static_cast<size_t>(A.rows) + k];
      for (int32_t t = A.start[augmented[k]]; t < A.start[augmented[k] + 1]; ++t) {
        const int32_t other = place[A.row[t]];
        act(std::min(own, other), std::max(own, other), A.value[t]);
      }
    }
  };
  for_all([&](int32_t first, int32_t, double) { ++out.start[first + 1]; });
  std::partial_sum(out.start.begin(), out.start.end(), out.start.begin());
  out.row.resize(static_cast<size_t>(out.start.back()));
  out.value.resize(out.row.size());
  Vector<int32_t> next(out.start.begin(), out.start.end() - 1);
  for_all([&](int32_t first, int32_t second, double value) {
    const int32_t at = next[first]++;
    out.row[at] = second;
    out.value[at] = value;
  });
  for (size_t k = 0; k < augmented.size(); ++k) {
    const int32_t own = place[static_cast<size_t>(A.rows) + k];
    pattern->column_of[own] = augmented[k];
    pattern->sign[own] = -1.0;
  }
}

void choose_kernels(SparsePattern *pattern) {
  const Supernodes &nodes = pattern->nodes;
  for (int32_t s = 0; s < nodes.count(); ++s) {
    const double *sign = pattern->sign.data() + nodes.first[s];
    const bool positive =
        std::all_of(sign, sign + nodes.columns(s), [](double d) { return d > 0.0; });
    pattern->is_positive.push_back(positive);
    pattern->by_panel_kernels.push_back(!positive || nodes.columns(s) <= kNarrow);
    if (pattern->by_panel_kernels[s]) {
      pattern->widest = std::max(pattern->widest, nodes.columns(s));
    }
  }
}

/// The pattern of (14) with P the columns `augmented` in this order, where it takes less than
/// `work_limit`.
std::shared_ptr<SparsePattern> make_pattern(const SparseColumns &A,
                                            const Vector<int32_t> &augmented,
                                            const Adjacency &adjacency, const Ordering &ordering,
                                            double work_limit) {
  Supernodes nodes = find_supernodes(ordering);
  // Eliminating rows one by one is most of the work where P has few columns.
  const double slow = augmented.empty() ? 0.0 : (kScatterCost - 1.0) * nodes.thin_work;
  if (!(nodes.work + slow < work_limit)) return nullptr;
  find_rows(adjacency, ordering, &nodes);
  auto pattern = std::make_shared<SparsePattern>();
  pattern->place = ordering.place;
  pattern->nodes = std::move(nodes);
  pattern->entries = A.entries();
  pattern->work_limit = work_limit;
  pattern->ordered_pairs = elimination_pairs(ordering);
  pattern->rows = A.rows;
  pattern->unknowns = adjacency.unknowns();
  pattern->column_of.assign(static_cast<size_t>(pattern->unknowns), -1);
  pattern->sign.assign(static_cast<size_t>(pattern->unknowns), 1.0);
  Vector<uint8_t> is_augmented(static_cast<size_t>(A.columns()), 0);
  for (const int32_t j : augmented) is_augmented[j] = 1;
  rename_rows(A, ordering, is_augmented, pattern.get());
  pattern->augmented_columns = augmented;
  couple(A, augmented, ordering.place, pattern.get());
  choose_kernels(pattern.get());
  pattern->largest_update = largest_update(*pattern);
  return pattern;
}

/// The same in an order of its own. Rows that are marked in `first`, if any, come before all other
/// unknowns.
std::shared_ptr<SparsePattern> make_ordered_pattern(const SparseColumns &A,
                                                    const Vector<int32_t> &augmented,
                                                    Vector<uint8_t> first, double work_limit) {
  const Adjacency adjacency = adjacency_of(A, augmented);
  if (!first.empty()) first.resize(static_cast<size_t>(adjacency.unknowns()), 0);
  const Ordering ordering = first.empty() ? fill_reducing_order(adjacency, kOfColdSolve)
                                          : fill_reducing_order(adjacency, first);
  return make_pattern(A, augmented, adjacency, ordering, work_limit);
}

/// The pattern of another A with the same rows, in the old order where it still serves.
std::shared_ptr<SparsePattern> make_next_pattern(const SparseColumns &A, const SparsePattern &old) {
  const Adjacency adjacency = adjacency_of(A, {});
  Vector<int32_t> at(old.place.size());
  for (int32_t i = 0; i < old.rows; ++i) at[old.place[i]] = i;
  Ordering ordering = order_as_given(adjacency, std::move(at));
  const bool serves = elimination_pairs(ordering) <= kKeptGrowth * old.ordered_pairs;
  if (!serves) ordering = fill_reducing_order(adjacency, kOfWarmSolve);
  auto pattern = make_pattern(A, {}, adjacency, ordering, old.work_limit);
  if (!pattern) return nullptr;
  pattern->entries = old.entries;  // of the choice
  if (serves) pattern->ordered_pairs = old.ordered_pairs;
  return pattern;
}

class SparseFactorisation : public Factorisation {
 public:
  explicit SparseFactorisation(std::shared_ptr<const SparsePattern> pattern);
  bool compute(const double *theta, const double *added) override;
  void solve(double *r) const override;
  void solve_augmented(double *r, double *x) const override;
  void quadratic_forms(const SparseColumns &columns, double *t) const override;
  std::unique_ptr<Factorisation> sibling() const override {
    return std::make_unique<SparseFactorisation>(pattern_);
  }
  std::unique_ptr<Factorisation> adapted(const SparseColumns &A) const override;
  double work() const override { return p_.nodes.work; }

 private:
  double *panel(int32_t s) { return numbers_.data() + p_.nodes.panel_start[s]; }
  const double *panel(int32_t s) const { return numbers_.data() + p_.nodes.panel_start[s]; }

  void assemble(int32_t s, const double *theta);
  void update_from_descendants(int32_t s);
  void update_from(int32_t s, int32_t d);
  bool updates_by_kernels(int32_t d, int32_t height, int32_t width) const;
  void pass_on(int32_t d, int32_t from);
  bool factorise_panel(int32_t s);
  void update_by_blas(int32_t height, int32_t width, int32_t rows, int32_t columns,
                      const double *block, const ScatterTarget &target);
  const double *signs_of(int32_t s) const {
    return p_.is_positive[s] ? nullptr : p_.sign.data() + p_.nodes.first[s];
  }
  /// Memory of a solve: all unknowns, those of a panel, and the columns of P.
  struct Scratch {
    explicit Scratch(const SparsePattern &pattern)
        : all(static_cast<size_t>(pattern.unknowns)),
          panel(all.size()),
          augmented(pattern.augmented_columns.size()) {}
    Vector<double> all, panel, augmented;
  };
  void solve_with(Scratch *scratch, double *r, double *x) const;
  /// What a solve has to know of a supernode.
  struct Panel {
    int32_t rows, columns, first;
    const int32_t *index;
    const double *l;
    bool by_kernels;
  };
  Panel panel_of(int32_t s) const {
    return {p_.nodes.rows(s), p_.nodes.columns(s),        p_.nodes.first[s], p_.nodes.rows_of(s),
            panel(s),         p_.by_panel_kernels[s] != 0};
  }
  void solve_panel(const Panel &p, Scratch *scratch) const;
  void solve_panel_transposed(const Panel &p, Scratch *scratch) const;

  std::shared_ptr<const SparsePattern> pattern_;
  const SparsePattern &p_;
  const PanelKernels &kernels_;
  Vector<double> numbers_;   // the panels
  Vector<double> added_;     // by places
  Vector<int32_t> local_;    // per row: its place in the current panel
  Vector<int32_t> head_;     // per supernode: the first of those waiting to update it
  Vector<int32_t> next_;     // per supernode: the next one waiting at the same place
  Vector<int32_t> waiting_;  // per supernode: its first row not yet used
  Vector<double> update_;
  Vector<int32_t> place_;       // local_ of the rows of an update
  Vector<double> coefficient_;  // scratch of the kernels
  mutable Scratch scratch_;     // of its owner; quadratic forms are for all who share it
};

SparseFactorisation::SparseFactorisation(std::shared_ptr<const SparsePattern> pattern)
    : pattern_(std::move(pattern)), p_(*pattern_), kernels_(panel_kernels()), scratch_(p_) {
  const size_t unknowns = static_cast<size_t>(p_.unknowns);
  const size_t supernodes = static_cast<size_t>(p_.nodes.count());
  added_.resize(unknowns);
  local_.resize(unknowns);
  head_.resize(supernodes);
  next_.resize(supernodes);
  waiting_.resize(supernodes);
  update_.resize(static_cast<size_t>(p_.largest_update));
  place_.resize(unknowns);
  coefficient_.resize(kScratchPerColumn * static_cast<size_t>(p_.widest));
  augmented_columns_ = p_.augmented_columns;
}

/// M_J of (13): the entries of (14) in the columns of the supernode.
void SparseFactorisation::assemble(int32_t s, const double *theta) {
  const int32_t *rows = p_.nodes.rows_of(s);
  const int32_t count = p_.nodes.rows(s);
  for (int32_t k = 0; k < count; ++k) local_[rows[k]] = k;
  double *numbers = panel(s);
  std::fill(numbers, numbers + static_cast<int64_t>(count) * p_.nodes.columns(s), 0.0);
  const SparseColumns &A = p_.ordered;
  for (int32_t k = 0; k < p_.nodes.columns(s); ++k) {
    const int32_t i = rows[k];
    double *column = numbers + static_cast<int64_t>(k) * count;
    column[k] = p_.column_of[i] < 0 ? added_[i] : -1.0 / theta[p_.column_of[i]];
    for (int32_t t = p_.coupling.start[i]; t < p_.coupling.start[i + 1]; ++t) {
      column[local_[p_.coupling.row[t]]] += p_.coupling.value[t];
    }
    for (int32_t q = p_.by_row_start[i]; q < p_.by_row_start[i + 1]; ++q) {
      const int32_t j = p_.by_row_column[q];
      const int32_t first = p_.by_row_first[q];
      const double factor = theta[p_.column[j]] * A.value[first];
      for (int32_t t = first; t < A.start[j + 1]; ++t) {
        column[local_[A.row[t]]] += factor * A.value[t];
      }
    }
  }
}

/// One term of the sum in (13).
void SparseFactorisation::update_from(int32_t s, int32_t d) {
  const int32_t *rows = p_.nodes.rows_of(d);
  const int32_t count = p_.nodes.rows(d);
  const int32_t from = waiting_[d];
  int32_t to = from;
  while (to < count && p_.nodes.of_column[rows[to]] == s) ++to;
  for (int32_t k = from; k < count; ++k) place_[k - from] = local_[rows[k]];
  const ScatterTarget target = {panel(s), p_.nodes.rows(s), place_.data()};
  const double *block = panel(d) + from;
  if (updates_by_kernels(d, count - from, to - from)) {
    kernels_.update(count - from, to - from, count, p_.nodes.columns(d), signs_of(d), block, target,
                    coefficient_.data());
  } else {
    update_by_blas(count - from, to - from, count, p_.nodes.columns(d), block, target);
  }
  pass_on(d, to);
}

bool SparseFactorisation::updates_by_kernels(int32_t d, int32_t height, int32_t width) const {
  if (!p_.by_panel_kernels[d]) return false;
  const int32_t columns = p_.nodes.columns(d);
  const double pairs = static_cast<double>(columns) * height * width;
  return !p_.is_positive[d] || std::min(columns, width) < kThinUpdate || pairs < kLargeUpdate;
}

void SparseFactorisation::update_by_blas(int32_t height, int32_t width, int32_t rows,
                                         int32_t columns, const double *block,
                                         const ScatterTarget &target) {
  for (int32_t first = 0; first < width; first += kStrip) {
    const int32_t strip = std::min(kStrip, width - first);
    const int32_t below = height - first;
    const int32_t *place = target.place + first;
    dense::product_transposed(below, strip, columns, block + first, rows, block + first, rows,
                              update_.data(), below);
    for (int32_t c = 0; c < strip; ++c) {
      double *column = target.panel + static_cast<int64_t>(place[c]) * target.leading;
      const double *source = update_.data() + static_cast<int64_t>(c) * below;
      for (int32_t k = c; k < below; ++k) column[place[k]] -= source[k];
    }
  }
}

/// Puts d in line for the supernode that holds its row `from`.
void SparseFactorisation::pass_on(int32_t d, int32_t from) {
  waiting_[d] = from;
  if (from >= p_.nodes.rows(d)) return;
  const int32_t s = p_.nodes.of_column[p_.nodes.rows_of(d)[from]];
  next_[d] = head_[s];
  head_[s] = d;
}

void SparseFactorisation::update_from_descendants(int32_t s) {
  for (int32_t d = head_[s]; d != -1;) {
    const int32_t next = next_[d];
    update_from(s, d);
    d = next;
  }
}

bool SparseFactorisation::factorise_panel(int32_t s) {
  const int32_t columns = p_.nodes.columns(s);
  const int32_t rows = p_.nodes.rows(s);
  double *numbers = panel(s);
  if (p_.by_panel_kernels[s]) {
    return kernels_.factorise(rows, columns, signs_of(s), numbers, coefficient_.data());
  }
  if (!dense::cholesky(columns, numbers, rows)) return false;
  dense::solve_from_right(rows - columns, columns, numbers, rows, numbers + columns, rows);
  return true;
}

bool SparseFactorisation::compute(const double *theta, const double *added) {
  // Not before: of several that are made to be compared one is used.
  numbers_.resize(static_cast<size_t>(p_.nodes.panel_start.back()));
  for (int32_t i = 0; i < p_.rows; ++i) added_[p_.place[i]] = added[i];
  std::fill(head_.begin(), head_.end(), -1);
  for (int32_t s = 0; s < p_.nodes.count(); ++s) {
    assemble(s, theta);
    update_from_descendants(s);
    if (!factorise_panel(s)) return false;
    pass_on(s, p_.nodes.columns(s));
  }
  return true;
}

/// The entries of r in the columns of a supernode become those of L^-1 r, and their share is taken
/// from the rows below.
void SparseFactorisation::solve_panel(const Panel &p, Scratch *scratch) const {
  double *r = scratch->all.data();
  double *own = r + p.first;
  if (p.columns == 1) {
    *own *= p.l[0];  // inverted
    for (int32_t k = 1; k < p.rows; ++k) r[p.index[k]] -= p.l[k] * *own;
    return;
  }
  double *x = scratch->panel.data();
  std::copy(own, own + p.columns, x);
  std::fill(x + p.columns, x + p.rows, 0.0);
  if (p.by_kernels) {
    kernels_.solve(p.rows, p.columns, p.l, x);
  } else {
    dense::solve_lower(p.columns, p.l, p.rows, x);
    dense::add_matrix_vector(p.rows - p.columns, p.columns, -1.0, p.l + p.columns, p.rows, x,
                             x + p.columns);
  }
  std::copy(x, x + p.columns, own);
  for (int32_t k = p.columns; k < p.rows; ++k) r[p.index[k]] += x[k];
}

void SparseFactorisation::solve_panel_transposed(const Panel &p, Scratch *scratch) const {
  double *r = scratch->all.data();
  double *own = r + p.first;
  if (p.columns == 1) {
    for (int32_t k = 1; k < p.rows; ++k) *own -= p.l[k] * r[p.index[k]];
    *own *= p.l[0];
    return;
  }
  double *x = scratch->panel.data();
  std::copy(own, own + p.columns, x);
  for (int32_t k = p.columns; k < p.rows; ++k) x[k] = r[p.index[k]];
  if (p.by_kernels) {
    kernels_.solve_transposed(p.rows, p.columns, p.l, x);
  } else {
    dense::add_transposed_vector(p.rows - p.columns, p.columns, -1.0, p.l + p.columns, p.rows,
                                 x + p.columns, x);
    dense::solve_lower_transposed(p.columns, p.l, p.rows, x);
  }
  std::copy(x, x + p.columns, own);
}

void SparseFactorisation::solve_with(Scratch *scratch, double *r, double *x) const {
  double *all = scratch->all.data();
  for (int32_t i = 0; i < p_.rows; ++i) all[p_.place[i]] = r[i];
  for (int32_t i = p_.rows; i < p_.unknowns; ++i) all[p_.place[i]] = x[i - p_.rows];
  for (int32_t s = 0; s < p_.nodes.count(); ++s) solve_panel(panel_of(s), scratch);
  if (p_.unknowns > p_.rows) {
    for (int32_t k = 0; k < p_.unknowns; ++k) all[k] *= p_.sign[k];
  }
  for (int32_t s = p_.nodes.count(); s-- > 0;) solve_panel_transposed(panel_of(s), scratch);
  for (int32_t i = 0; i < p_.rows; ++i) r[i] = all[p_.place[i]];
  for (int32_t i = p_.rows; i < p_.unknowns; ++i) x[i - p_.rows] = all[p_.place[i]];
}

void SparseFactorisation::solve_augmented(double *r, double *x) const {
  solve_with(&scratch_, r, x);
}

void SparseFactorisation::solve(double *r) const {
  std::fill(scratch_.augmented.begin(), scratch_.augmented.end(), 0.0);
  solve_with(&scratch_, r, scratch_.augmented.data());
}

void SparseFactorisation::quadratic_forms(const SparseColumns &columns, double *t) const {
  Scratch scratch(p_);
  Vector<double> r(static_cast<size_t>(p_.rows));
  for (int32_t k = 0; k < columns.columns(); ++k) {
    std::fill(r.begin(), r.end(), 0.0);
    for (int32_t q = columns.start[k]; q < columns.start[k + 1]; ++q) {
      r[columns.row[q]] += columns.value[q];
    }
    std::fill(scratch.augmented.begin(), scratch.augmented.end(), 0.0);
    solve_with(&scratch, r.data(), scratch.augmented.data());
    t[k] = column_product(columns, k, r.data());
  }
}

}  // namespace

/// Which columns are best in P depends on all of them: such a choice is made anew.
std::unique_ptr<Factorisation> SparseFactorisation::adapted(const SparseColumns &A) const {
  if (A.rows != p_.rows || p_.unknowns != p_.rows || !holds_for(A, p_.entries)) return nullptr;
  auto pattern = make_next_pattern(A, p_);
  return pattern ? std::make_unique<SparseFactorisation>(std::move(pattern)) : nullptr;
}

std::unique_ptr<Factorisation> make_sparse_factorisation(const SparseColumns &A,
                                                         const Vector<int32_t> &augmented,
                                                         double work_limit) {
  return make_sparse_factorisation(A, augmented, {}, work_limit);
}

std::unique_ptr<Factorisation> make_sparse_factorisation(const SparseColumns &A,
                                                         const Vector<int32_t> &augmented,
                                                         const Vector<uint8_t> &first,
                                                         double work_limit) {
  auto pattern = make_ordered_pattern(A, augmented, first, work_limit);
  return pattern ? std::make_unique<SparseFactorisation>(std::move(pattern)) : nullptr;
}

}  // namespace interior_point

#include "interior_point/sparse_factorisation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "interior_point/dense_kernel.h"
#include "interior_point/supernodes.h"

namespace interior_point {

namespace {

// Supernodes this narrow are worked by plain loops: the calls of the kernels would cost more.
constexpr int32_t kNarrow = 3;
// Columns of a panel of both signs that are worked by plain loops between two matrix products.
constexpr int32_t kSignedBlock = 32;

/// Everything that does not change between factorisations. An unknown is known by its place.
struct SparsePattern {
  Supernodes nodes;
  int32_t entries = 0;      // of the A for which this way was chosen
  double work_limit = 0.0;  // of the ways that were not
  int32_t rows = 0;
  int32_t unknowns = 0;  // rows and kept columns
  // A_S with its rows renamed to places, entries increasing in each column...
  SparseColumns ordered;
  std::vector<int32_t> column;  // ... and the columns of A these are
  // Its entries by rows: the column and the position from which on the column lies in or below.
  std::vector<int64_t> by_row_start;
  std::vector<int32_t> by_row_column;
  std::vector<int32_t> by_row_first;
  // P of (14) below the diagonal: per unknown, the entries whose other unknown comes later.
  SparseColumns coupling;
  std::vector<int32_t> kept;         // per unknown: the kept column that it is, or -1 for a row
  std::vector<double> sign;          // per unknown: its entry in D
  std::vector<uint8_t> is_positive;  // per supernode: D is 1 in all of it
  int64_t largest_update = 0;        // entries of the largest product in (13)
  int64_t largest_signed = 0;        // entries of the largest panel that is not positive
};

void append_renamed(const SparseColumns &A, int32_t j, const std::vector<int32_t> &place,
                    SparseColumns *out) {
  std::vector<std::pair<int32_t, double>> entries;
  for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
    entries.emplace_back(place[A.row[t]], A.value[t]);
  }
  std::sort(entries.begin(), entries.end());
  for (const auto &entry : entries) {
    out->row.push_back(entry.first);
    out->value.push_back(entry.second);
  }
  out->start.push_back(static_cast<int32_t>(out->row.size()));
}

void index_by_rows(SparsePattern *pattern) {
  const SparseColumns &A = pattern->ordered;
  pattern->by_row_start.assign(static_cast<size_t>(pattern->unknowns) + 1, 0);
  for (const int32_t i : A.row) ++pattern->by_row_start[i + 1];
  std::partial_sum(pattern->by_row_start.begin(), pattern->by_row_start.end(),
                   pattern->by_row_start.begin());
  pattern->by_row_column.resize(A.row.size());
  pattern->by_row_first.resize(A.row.size());
  std::vector<int64_t> next(pattern->by_row_start.begin(), pattern->by_row_start.end() - 1);
  for (int32_t j = 0; j < A.columns(); ++j) {
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
      const int64_t at = next[A.row[t]]++;
      pattern->by_row_column[at] = j;
      pattern->by_row_first[at] = t;
    }
  }
}

/// The largest block of rows times columns by which one supernode updates another.
int64_t largest_update(const Supernodes &nodes) {
  int64_t most = 1;
  for (int32_t s = 0; s < nodes.count(); ++s) {
    const int32_t *rows = nodes.rows_of(s);
    const int32_t count = nodes.rows(s);
    for (int32_t k = nodes.columns(s); k < count;) {
      int32_t end = k;
      while (end < count && nodes.of_column[rows[end]] == nodes.of_column[rows[k]]) ++end;
      most = std::max(most, static_cast<int64_t>(count - k) * (end - k));
      k = end;
    }
  }
  return most;
}

/// P by the earlier unknown of each entry.
void couple(const SparseColumns &A, const std::vector<int32_t> &kept, SparsePattern *pattern) {
  const std::vector<int32_t> &place = pattern->nodes.place;
  std::vector<std::vector<std::pair<int32_t, double>>> entries(
      static_cast<size_t>(pattern->unknowns));
  for (size_t k = 0; k < kept.size(); ++k) {
    const int32_t own = place[static_cast<size_t>(A.rows) + k];
    pattern->kept[own] = kept[k];
    pattern->sign[own] = -1.0;
    for (int32_t t = A.start[kept[k]]; t < A.start[kept[k] + 1]; ++t) {
      const int32_t other = place[A.row[t]];
      entries[std::min(own, other)].emplace_back(std::max(own, other), A.value[t]);
    }
  }
  for (const auto &list : entries) {
    for (const auto &entry : list) {
      pattern->coupling.row.push_back(entry.first);
      pattern->coupling.value.push_back(entry.second);
    }
    pattern->coupling.start.push_back(static_cast<int32_t>(pattern->coupling.row.size()));
  }
}

void mark_positive_supernodes(SparsePattern *pattern) {
  const Supernodes &nodes = pattern->nodes;
  for (int32_t s = 0; s < nodes.count(); ++s) {
    const double *sign = pattern->sign.data() + nodes.first[s];
    const bool positive =
        std::all_of(sign, sign + nodes.columns(s), [](double d) { return d > 0.0; });
    pattern->is_positive.push_back(positive);
    if (positive) continue;
    pattern->largest_signed =
        std::max(pattern->largest_signed, static_cast<int64_t>(nodes.rows(s)) * nodes.columns(s));
  }
}

std::shared_ptr<SparsePattern> make_pattern(const SparseColumns &A,
                                            const std::vector<int32_t> &kept, Supernodes nodes) {
  auto pattern = std::make_shared<SparsePattern>();
  pattern->nodes = std::move(nodes);
  pattern->rows = A.rows;
  pattern->unknowns = A.rows + static_cast<int32_t>(kept.size());
  pattern->ordered.rows = pattern->unknowns;
  pattern->kept.assign(static_cast<size_t>(pattern->unknowns), -1);
  pattern->sign.assign(static_cast<size_t>(pattern->unknowns), 1.0);
  auto next = kept.begin();
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (next != kept.end() && *next == j) {
      ++next;
      continue;
    }
    append_renamed(A, j, pattern->nodes.place, &pattern->ordered);
    pattern->column.push_back(j);
  }
  index_by_rows(pattern.get());
  couple(A, kept, pattern.get());
  mark_positive_supernodes(pattern.get());
  pattern->largest_update = largest_update(pattern->nodes);
  return pattern;
}

class SparseFactorisation : public Factorisation {
 public:
  explicit SparseFactorisation(std::shared_ptr<const SparsePattern> pattern);
  bool compute(const double *theta, const double *added) override;
  void solve(double *r) const override;
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
  void pass_on(int32_t d, int32_t from);
  bool factorise_panel(int32_t s);
  bool factorise_signed_panel(int32_t s);
  const double *times_signs(int32_t d, const double *block, int32_t height);
  void solve_lower(double *r) const;
  void solve_lower_transposed(double *r) const;

  std::shared_ptr<const SparsePattern> pattern_;
  const SparsePattern &p_;
  std::vector<double> numbers_;   // the panels
  std::vector<double> added_;     // by places
  std::vector<int32_t> local_;    // per row: its place in the current panel
  std::vector<int32_t> head_;     // per supernode: the first of those waiting to update it
  std::vector<int32_t> next_;     // per supernode: the next one waiting at the same place
  std::vector<int32_t> waiting_;  // per supernode: its first row not yet used
  std::vector<double> update_;
  std::vector<double> signed_;  // a block of a panel times D
  mutable std::vector<double> work_, gathered_;
};

SparseFactorisation::SparseFactorisation(std::shared_ptr<const SparsePattern> pattern)
    : pattern_(std::move(pattern)), p_(*pattern_) {
  const size_t unknowns = static_cast<size_t>(p_.unknowns);
  const size_t supernodes = static_cast<size_t>(p_.nodes.count());
  numbers_.resize(static_cast<size_t>(p_.nodes.panel_start.back()));
  added_.resize(unknowns);
  local_.resize(unknowns);
  head_.resize(supernodes);
  next_.resize(supernodes);
  waiting_.resize(supernodes);
  update_.resize(static_cast<size_t>(p_.largest_update));
  signed_.resize(static_cast<size_t>(p_.largest_signed));
  work_.resize(unknowns);
  gathered_.resize(unknowns);
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
    column[k] = p_.kept[i] < 0 ? added_[i] : -1.0 / theta[p_.kept[i]];
    for (int32_t t = p_.coupling.start[i]; t < p_.coupling.start[i + 1]; ++t) {
      column[local_[p_.coupling.row[t]]] += p_.coupling.value[t];
    }
    for (int64_t q = p_.by_row_start[i]; q < p_.by_row_start[i + 1]; ++q) {
      const int32_t j = p_.by_row_column[q];
      const int32_t first = p_.by_row_first[q];
      const double factor = theta[p_.column[j]] * A.value[first];
      for (int32_t t = first; t < A.start[j + 1]; ++t) {
        column[local_[A.row[t]]] += factor * A.value[t];
      }
    }
  }
}

/// The rows of the block, which starts within the panel of d, times D.
const double *SparseFactorisation::times_signs(int32_t d, const double *block, int32_t height) {
  const double *sign = p_.sign.data() + p_.nodes.first[d];
  for (int32_t c = 0; c < p_.nodes.columns(d); ++c) {
    const double *from = block + static_cast<int64_t>(c) * p_.nodes.rows(d);
    double *to = signed_.data() + static_cast<int64_t>(c) * height;
    for (int32_t k = 0; k < height; ++k) to[k] = sign[c] * from[k];
  }
  return signed_.data();
}

/// One term of the sum in (13).
void SparseFactorisation::update_from(int32_t s, int32_t d) {
  const int32_t *rows = p_.nodes.rows_of(d);
  const int32_t count = p_.nodes.rows(d);
  const int32_t from = waiting_[d];
  int32_t to = from;
  while (to < count && p_.nodes.of_column[rows[to]] == s) ++to;
  const double *block = panel(d) + from;
  const int32_t height = count - from;
  if (p_.nodes.columns(d) == 1) {
    const double sign = p_.sign[p_.nodes.first[d]];
    for (int32_t c = 0; c < to - from; ++c) {
      double *update = update_.data() + static_cast<int64_t>(c) * height;
      const double factor = sign * block[c];
      for (int32_t k = c; k < height; ++k) update[k] = block[k] * factor;
    }
  } else {
    const bool positive = p_.is_positive[d];
    const double *right = positive ? block : times_signs(d, block, to - from);
    dense::product_transposed(height, to - from, p_.nodes.columns(d), block, count, right,
                              positive ? count : to - from, update_.data(), height);
  }
  const int32_t leading = p_.nodes.rows(s);
  for (int32_t c = 0; c < to - from; ++c) {
    double *column = panel(s) + static_cast<int64_t>(local_[rows[from + c]]) * leading;
    const double *source = update_.data() + static_cast<int64_t>(c) * height;
    for (int32_t k = c; k < height; ++k) column[local_[rows[from + k]]] -= source[k];
  }
  pass_on(d, to);
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
  if (!p_.is_positive[s]) return factorise_signed_panel(s);
  if (columns == 1) {
    if (!(numbers[0] > 0.0)) return false;
    numbers[0] = std::sqrt(numbers[0]);
    for (int32_t k = 1; k < rows; ++k) numbers[k] /= numbers[0];
    return true;
  }
  if (!dense::cholesky(columns, numbers, rows)) return false;
  dense::solve_from_right(rows - columns, columns, numbers, rows, numbers + columns, rows);
  return true;
}

/// The same for a panel with both signs, or the negative one: l_c = K_c d_c / sqrt(d_c K_cc).
bool SparseFactorisation::factorise_signed_panel(int32_t s) {
  const int32_t columns = p_.nodes.columns(s);
  const int32_t rows = p_.nodes.rows(s);
  const double *sign = p_.sign.data() + p_.nodes.first[s];
  double *numbers = panel(s);
  for (int32_t first = 0; first < columns; first += kSignedBlock) {
    const int32_t end = std::min(first + kSignedBlock, columns);
    for (int32_t c = first; c < end; ++c) {
      double *l = numbers + static_cast<int64_t>(c) * rows;
      if (!(sign[c] * l[c] > 0.0)) return false;
      const double root = std::sqrt(sign[c] * l[c]);
      l[c] = root;
      for (int32_t k = c + 1; k < rows; ++k) l[k] *= sign[c] / root;
      for (int32_t e = c + 1; e < end; ++e) {
        double *column = numbers + static_cast<int64_t>(e) * rows;
        const double factor = sign[c] * l[e];
        for (int32_t k = e; k < rows; ++k) column[k] -= factor * l[k];
      }
    }
    const int32_t left = columns - end;
    if (left == 0) break;
    const double *block = numbers + static_cast<int64_t>(first) * rows + end;
    for (int32_t c = first; c < end; ++c) {
      const double *from = numbers + static_cast<int64_t>(c) * rows + end;
      double *to = signed_.data() + static_cast<int64_t>(c - first) * left;
      for (int32_t k = 0; k < left; ++k) to[k] = sign[c] * from[k];
    }
    dense::subtract_product_transposed(rows - end, left, end - first, block, rows, signed_.data(),
                                       left, numbers + static_cast<int64_t>(end) * rows + end,
                                       rows);
  }
  return true;
}

bool SparseFactorisation::compute(const double *theta, const double *added) {
  for (int32_t i = 0; i < p_.rows; ++i) added_[p_.nodes.place[i]] = added[i];
  std::fill(head_.begin(), head_.end(), -1);
  for (int32_t s = 0; s < p_.nodes.count(); ++s) {
    assemble(s, theta);
    update_from_descendants(s);
    if (!factorise_panel(s)) return false;
    pass_on(s, p_.nodes.columns(s));
  }
  return true;
}

/// r = L_J^-1 r in the columns of a narrow supernode, and its share taken from the rows below.
void solve_narrow(const double *panel, const int32_t *index, int32_t rows, int32_t columns,
                  double *r) {
  for (int32_t c = 0; c < columns; ++c) {
    const double *l = panel + static_cast<int64_t>(c) * rows;
    const double value = r[index[c]] / l[c];
    r[index[c]] = value;
    for (int32_t k = c + 1; k < rows; ++k) r[index[k]] -= l[k] * value;
  }
}

void solve_narrow_transposed(const double *panel, const int32_t *index, int32_t rows,
                             int32_t columns, double *r) {
  for (int32_t c = columns; c-- > 0;) {
    const double *l = panel + static_cast<int64_t>(c) * rows;
    double sum = r[index[c]];
    for (int32_t k = c + 1; k < rows; ++k) sum -= l[k] * r[index[k]];
    r[index[c]] = sum / l[c];
  }
}

void SparseFactorisation::solve_lower(double *r) const {
  for (int32_t s = 0; s < p_.nodes.count(); ++s) {
    const int32_t columns = p_.nodes.columns(s);
    const int32_t rows = p_.nodes.rows(s);
    if (columns <= kNarrow) {
      solve_narrow(panel(s), p_.nodes.rows_of(s), rows, columns, r);
      continue;
    }
    const int32_t below = rows - columns;
    const int32_t *index = p_.nodes.rows_of(s) + columns;
    double *own = r + p_.nodes.first[s];
    dense::solve_lower(columns, panel(s), rows, own);
    std::fill(gathered_.begin(), gathered_.begin() + below, 0.0);
    dense::add_matrix_vector(below, columns, 1.0, panel(s) + columns, rows, own, gathered_.data());
    for (int32_t k = 0; k < below; ++k) r[index[k]] -= gathered_[k];
  }
}

void SparseFactorisation::solve_lower_transposed(double *r) const {
  for (int32_t s = p_.nodes.count(); s-- > 0;) {
    const int32_t columns = p_.nodes.columns(s);
    const int32_t rows = p_.nodes.rows(s);
    if (columns <= kNarrow) {
      solve_narrow_transposed(panel(s), p_.nodes.rows_of(s), rows, columns, r);
      continue;
    }
    const int32_t below = rows - columns;
    const int32_t *index = p_.nodes.rows_of(s) + columns;
    double *own = r + p_.nodes.first[s];
    for (int32_t k = 0; k < below; ++k) gathered_[k] = r[index[k]];
    dense::add_transposed_vector(below, columns, -1.0, panel(s) + columns, rows, gathered_.data(),
                                 own);
    dense::solve_lower_transposed(columns, panel(s), rows, own);
  }
}

void SparseFactorisation::solve(double *r) const {
  if (p_.unknowns > p_.rows) std::fill(work_.begin(), work_.end(), 0.0);
  for (int32_t i = 0; i < p_.rows; ++i) work_[p_.nodes.place[i]] = r[i];
  solve_lower(work_.data());
  if (p_.unknowns > p_.rows) {
    for (size_t k = 0; k < work_.size(); ++k) work_[k] *= p_.sign[k];
  }
  solve_lower_transposed(work_.data());
  for (int32_t i = 0; i < p_.rows; ++i) r[i] = work_[p_.nodes.place[i]];
}

void SparseFactorisation::quadratic_forms(const SparseColumns &columns, double *t) const {
  std::vector<double> r(static_cast<size_t>(p_.rows));
  for (int32_t k = 0; k < columns.columns(); ++k) {
    std::fill(r.begin(), r.end(), 0.0);
    for (int32_t q = columns.start[k]; q < columns.start[k + 1]; ++q) {
      r[columns.row[q]] += columns.value[q];
    }
    solve(r.data());
    t[k] = column_product(columns, k, r.data());
  }
}

}  // namespace

/// Which columns to keep as unknowns depends on all of them: such a choice is made anew. The order
/// is so in any case. A few further columns that join rows eliminated early double the work or
/// more.
std::unique_ptr<Factorisation> SparseFactorisation::adapted(const SparseColumns &A) const {
  if (A.rows != p_.rows || p_.unknowns != p_.rows || !holds_for(A, p_.entries)) return nullptr;
  Supernodes nodes = find_supernodes(A, {});
  if (!(nodes.work < p_.work_limit)) return nullptr;
  auto pattern = make_pattern(A, {}, std::move(nodes));
  pattern->entries = p_.entries;
  pattern->work_limit = p_.work_limit;
  return std::make_unique<SparseFactorisation>(std::move(pattern));
}

std::unique_ptr<Factorisation> make_sparse_factorisation(const SparseColumns &A,
                                                         const std::vector<int32_t> &kept,
                                                         double work_limit) {
  Supernodes nodes = find_supernodes(A, kept);
  if (!(nodes.work < work_limit)) return nullptr;
  auto pattern = make_pattern(A, kept, std::move(nodes));
  pattern->entries = A.entries();
  pattern->work_limit = work_limit;
  return std::make_unique<SparseFactorisation>(std::move(pattern));
}

}  // namespace interior_point

#include "interior_point/sparse_factorisation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "interior_point/dense_kernel.h"
#include "interior_point/supernodes.h"

namespace interior_point {

namespace {

// A column is dense when it is this many times longer than sqrt(rows), and longer than the second
// value; there are never more of them than the third says, for (14) costs rows * count^2.
constexpr double kDenseColumn = 10.0;
constexpr int32_t kLeastDenseLength = 50;
constexpr int32_t kMostDenseColumns = 200;
// Supernodes this narrow are worked by plain loops: the calls of the kernels would cost more.
constexpr int32_t kNarrow = 3;

/// Everything that does not change between factorisations.
struct SparsePattern {
  Supernodes nodes;
  int32_t rows = 0;
  // A with its rows renamed to places, entries increasing in each column, dense columns left out...
  SparseColumns ordered;
  std::vector<int32_t> column;  // ... and the columns of A these are
  // Its entries by rows: the column and the position from which on the column lies in or below.
  std::vector<int64_t> by_row_start;
  std::vector<int32_t> by_row_column;
  std::vector<int32_t> by_row_first;
  // The dense columns, rows by places.
  SparseColumns dense;
  std::vector<int32_t> dense_column;
  int64_t largest_update = 0;  // entries of the largest product in (13)
};

std::vector<uint8_t> dense_columns(const SparseColumns &A) {
  std::vector<uint8_t> dense(static_cast<size_t>(A.columns()), 0);
  const double limit = std::max(kDenseColumn * std::sqrt(static_cast<double>(A.rows)),
                                static_cast<double>(kLeastDenseLength));
  int32_t count = 0;
  for (int32_t j = 0; j < A.columns(); ++j) {
    dense[j] = A.length(j) > limit;
    count += dense[j];
  }
  if (count > kMostDenseColumns) std::fill(dense.begin(), dense.end(), uint8_t{0});
  return dense;
}

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
  pattern->by_row_start.assign(static_cast<size_t>(A.rows) + 1, 0);
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

std::shared_ptr<SparsePattern> make_pattern(const SparseColumns &A,
                                            const std::vector<uint8_t> &dense, Supernodes nodes) {
  auto pattern = std::make_shared<SparsePattern>();
  pattern->nodes = std::move(nodes);
  pattern->rows = A.rows;
  pattern->ordered.rows = A.rows;
  pattern->dense.rows = A.rows;
  for (int32_t j = 0; j < A.columns(); ++j) {
    append_renamed(A, j, pattern->nodes.place, dense[j] ? &pattern->dense : &pattern->ordered);
    (dense[j] ? pattern->dense_column : pattern->column).push_back(j);
  }
  index_by_rows(pattern.get());
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

 private:
  double *panel(int32_t s) { return numbers_.data() + p_.nodes.panel_start[s]; }
  const double *panel(int32_t s) const { return numbers_.data() + p_.nodes.panel_start[s]; }

  void assemble(int32_t s, const double *theta);
  void update_from_descendants(int32_t s);
  void update_from(int32_t s, int32_t d);
  void pass_on(int32_t d, int32_t from);
  bool factorise_panel(int32_t s);
  bool factorise_dense_part(const double *theta);
  void solve_lower(double *r) const;
  void solve_lower_transposed(double *r) const;
  void correct_for_dense_columns(double *r) const;

  std::shared_ptr<const SparsePattern> pattern_;
  const SparsePattern &p_;
  std::vector<double> numbers_;   // the panels
  std::vector<double> added_;     // by places
  std::vector<int32_t> local_;    // per row: its place in the current panel
  std::vector<int32_t> head_;     // per supernode: the first of those waiting to update it
  std::vector<int32_t> next_;     // per supernode: the next one waiting at the same place
  std::vector<int32_t> waiting_;  // per supernode: its first row not yet used
  std::vector<double> update_;
  std::vector<double> v_;            // V of (14), rows x dense columns
  std::vector<double> p_dense_;      // P of (14)
  std::vector<double> capacitance_;  // Cholesky factor of I + P'V
  mutable std::vector<double> work_, gathered_;
};

SparseFactorisation::SparseFactorisation(std::shared_ptr<const SparsePattern> pattern)
    : pattern_(std::move(pattern)), p_(*pattern_) {
  const size_t rows = static_cast<size_t>(p_.rows);
  const size_t supernodes = static_cast<size_t>(p_.nodes.count());
  const size_t dense = p_.dense_column.size();
  numbers_.resize(static_cast<size_t>(p_.nodes.panel_start.back()));
  added_.resize(rows);
  local_.resize(rows);
  head_.resize(supernodes);
  next_.resize(supernodes);
  waiting_.resize(supernodes);
  update_.resize(static_cast<size_t>(p_.largest_update));
  v_.resize(rows * dense);
  p_dense_.resize(rows * dense);
  capacitance_.resize(dense * dense);
  work_.resize(rows);
  gathered_.resize(std::max(rows, dense));
}

/// M_J of (13): the entries of A Theta A' in the columns of the supernode.
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
    column[k] = added_[i];
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
    for (int32_t c = 0; c < to - from; ++c) {
      double *update = update_.data() + static_cast<int64_t>(c) * height;
      for (int32_t k = c; k < height; ++k) update[k] = block[k] * block[c];
    }
  } else {
    dense::product_transposed(height, to - from, p_.nodes.columns(d), block, count, block, count,
                              update_.data(), height);
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

/// V and the factor of I + P'V of (14).
bool SparseFactorisation::factorise_dense_part(const double *theta) {
  const int32_t count = static_cast<int32_t>(p_.dense_column.size());
  std::fill(p_dense_.begin(), p_dense_.end(), 0.0);
  for (int32_t k = 0; k < count; ++k) {
    double *column = p_dense_.data() + static_cast<int64_t>(k) * p_.rows;
    const double root = std::sqrt(theta[p_.dense_column[k]]);
    for (int32_t t = p_.dense.start[k]; t < p_.dense.start[k + 1]; ++t) {
      column[p_.dense.row[t]] = root * p_.dense.value[t];
    }
  }
  v_ = p_dense_;
  for (int32_t k = 0; k < count; ++k) {
    double *column = v_.data() + static_cast<int64_t>(k) * p_.rows;
    solve_lower(column);
    solve_lower_transposed(column);
  }
  std::fill(capacitance_.begin(), capacitance_.end(), 0.0);
  for (int32_t k = 0; k < count; ++k) {
    double *column = capacitance_.data() + static_cast<int64_t>(k) * count;
    column[k] = 1.0;
    dense::add_transposed_vector(p_.rows, count, 1.0, p_dense_.data(), p_.rows,
                                 v_.data() + static_cast<int64_t>(k) * p_.rows, column);
  }
  return dense::cholesky(count, capacitance_.data(), count);
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
  return p_.dense_column.empty() || factorise_dense_part(theta);
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

/// r = r - V (I + P'V)^-1 P'r for r solved with the sparse part: (14) by places.
void SparseFactorisation::correct_for_dense_columns(double *r) const {
  const int32_t count = static_cast<int32_t>(p_.dense_column.size());
  if (count == 0) return;
  std::fill(gathered_.begin(), gathered_.begin() + count, 0.0);
  dense::add_transposed_vector(p_.rows, count, 1.0, p_dense_.data(), p_.rows, r, gathered_.data());
  dense::solve_lower(count, capacitance_.data(), count, gathered_.data());
  dense::solve_lower_transposed(count, capacitance_.data(), count, gathered_.data());
  dense::add_matrix_vector(p_.rows, count, -1.0, v_.data(), p_.rows, gathered_.data(), r);
}

void SparseFactorisation::solve(double *r) const {
  for (int32_t i = 0; i < p_.rows; ++i) work_[p_.nodes.place[i]] = r[i];
  solve_lower(work_.data());
  solve_lower_transposed(work_.data());
  correct_for_dense_columns(work_.data());
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

std::unique_ptr<Factorisation> make_sparse_factorisation(const SparseColumns &A,
                                                         double work_limit) {
  const std::vector<uint8_t> dense = dense_columns(A);
  Supernodes nodes = find_supernodes(A, dense);
  const double count = std::accumulate(dense.begin(), dense.end(), 0);
  if (nodes.work + count * count * A.rows > work_limit) return nullptr;
  return std::make_unique<SparseFactorisation>(make_pattern(A, dense, std::move(nodes)));
}

}  // namespace interior_point

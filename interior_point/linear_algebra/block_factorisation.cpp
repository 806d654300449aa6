#include "interior_point/linear_algebra/block_factorisation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "interior_point/linear_algebra/dense_cholesky.h"
#include "interior_point/linear_algebra/dense_kernel.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

// Updates of no more entries than this are scattered whatever the order of S: the rank-k update
// would take memory and a call for a few dozen products.
constexpr double kShortestLong = 8.0;
constexpr double kShortestLongOfSmall = 4.0;

// So many of the long ones make a rank-k update.
constexpr size_t kLongAtOnce = 512;

/// Everything that does not change between factorisations.
struct BlockPattern {
  int32_t entries = 0;  ///< of the A for which the set was chosen
  int32_t rows = 0;
  int32_t order = 0;          ///< rows of S
  int32_t eliminated = 0;     ///< rows of D
  Vector<int32_t> position;   ///< per row: its place in K, or -1 - its place in E
  Vector<int32_t> singleton;  ///< columns with one entry: they touch the diagonal alone
  Vector<int32_t> singleton_row;
  Vector<double> singleton_square;

  // The updates of (5): the part in K of every other column, then the columns of a sparse C.
  Vector<int32_t> update_start = {0};
  Vector<int32_t> update_row;     ///< increasing within an update
  Vector<double> update_value;    ///< of the columns; those of C change with theta
  Vector<int32_t> update_column;  ///< per column of several entries: its column of A
  Vector<int32_t> long_update;    ///< those that go through one rank-k update together

  // The short updates by rows of S: from `first` on, the entries of one lie in the rows below.
  Vector<int32_t> by_row_start;
  Vector<int32_t> by_row_first;  ///< position in update_row
  Vector<int32_t> by_row_update;

  // Per row of D: the updates by columns that touch it and the entries they have there.
  Vector<int32_t> cross_start;
  Vector<int32_t> cross_update;
  Vector<double> cross_value;
  bool dense_cross = false;        ///< C is held densely
  int32_t first_cross_update = 0;  ///< where the columns of a sparse C start among the updates

  int32_t updates() const { return static_cast<int32_t>(update_start.size()) - 1; }
  int32_t column_updates() const { return static_cast<int32_t>(update_column.size()); }
};

class PatternBuilder {
 public:
  PatternBuilder(const SparseColumns &A, const Vector<uint8_t> &eliminated, int32_t entries)
      : A_(A), marked_(eliminated) {
    pattern_.entries = entries;
  }

  std::shared_ptr<const BlockPattern> build() {
    number_rows();
    split_columns();
    gather_cross();
    choose_cross_form();
    choose_long_updates();
    index_by_rows();
    return std::make_shared<const BlockPattern>(std::move(pattern_));
  }

 private:
  void number_rows();
  void split_columns();
  void gather_cross();
  void choose_cross_form();
  void append_cross_updates(const Vector<Vector<int32_t>> &rows);
  void choose_long_updates();
  void index_by_rows();

  const SparseColumns &A_;
  const Vector<uint8_t> &marked_;
  BlockPattern pattern_;
  Vector<int32_t> cross_row_of_update_;  // row of D, or -1
  Vector<double> cross_value_of_update_;
};

void PatternBuilder::number_rows() {
  pattern_.rows = A_.rows;
  pattern_.position.resize(static_cast<size_t>(A_.rows));
  for (int32_t i = 0; i < A_.rows; ++i) {
    pattern_.position[i] = marked_[i] ? -1 - pattern_.eliminated++ : pattern_.order++;
  }
}

void PatternBuilder::split_columns() {
  Vector<std::pair<int32_t, double>> part;
  for (int32_t j = 0; j < A_.columns(); ++j) {
    const int32_t first = A_.start[j];
    if (A_.length(j) == 1) {
      pattern_.singleton.push_back(j);
      pattern_.singleton_row.push_back(pattern_.position[A_.row[first]]);
      pattern_.singleton_square.push_back(A_.value[first] * A_.value[first]);
      continue;
    }
    part.clear();
    int32_t cross_row = -1;
    double cross_value = 0.0;
    for (int32_t t = first; t < A_.start[j + 1]; ++t) {
      const int32_t place = pattern_.position[A_.row[t]];
      if (place < 0) {
        cross_row = -1 - place;
        cross_value = A_.value[t];
      } else {
        part.emplace_back(place, A_.value[t]);
      }
    }
    const auto by_row = [](const auto &a, const auto &b) { return a.first < b.first; };
    if (!std::is_sorted(part.begin(), part.end(), by_row)) {
      std::sort(part.begin(), part.end(), by_row);
    }
    for (const auto &entry : part) {
      pattern_.update_row.push_back(entry.first);
      pattern_.update_value.push_back(entry.second);
    }
    pattern_.update_start.push_back(static_cast<int32_t>(pattern_.update_row.size()));
    pattern_.update_column.push_back(j);
    cross_row_of_update_.push_back(cross_row);
    cross_value_of_update_.push_back(cross_value);
  }
}

void PatternBuilder::gather_cross() {
  auto &start = pattern_.cross_start;
  start.assign(static_cast<size_t>(pattern_.eliminated) + 1, 0);
  for (const int32_t e : cross_row_of_update_) {
    if (e >= 0) ++start[e + 1];
  }
  std::partial_sum(start.begin(), start.end(), start.begin());
  pattern_.cross_update.resize(static_cast<size_t>(start.back()));
  pattern_.cross_value.resize(static_cast<size_t>(start.back()));
  Vector<int32_t> next(start.begin(), start.end() - 1);
  for (int32_t s = 0; s < pattern_.column_updates(); ++s) {
    if (cross_row_of_update_[s] < 0) continue;
    const int32_t place = next[cross_row_of_update_[s]]++;
    pattern_.cross_update[place] = s;
    pattern_.cross_value[place] = cross_value_of_update_[s];
  }
}

/// Forms C by columns when the squares of their lengths say that scattering is cheaper than the
/// rank-k update with all of C.
void PatternBuilder::choose_cross_form() {
  pattern_.first_cross_update = pattern_.updates();
  if (pattern_.eliminated == 0) return;
  Vector<Vector<int32_t>> rows(static_cast<size_t>(pattern_.eliminated));
  Vector<int32_t> seen(static_cast<size_t>(pattern_.order), -1);
  double scattered = 0.0;
  for (int32_t e = 0; e < pattern_.eliminated; ++e) {
    for (int32_t t = pattern_.cross_start[e]; t < pattern_.cross_start[e + 1]; ++t) {
      const int32_t s = pattern_.cross_update[t];
      for (int32_t k = pattern_.update_start[s]; k < pattern_.update_start[s + 1]; ++k) {
        if (seen[pattern_.update_row[k]] == e) continue;
        seen[pattern_.update_row[k]] = e;
        rows[e].push_back(pattern_.update_row[k]);
      }
    }
    scattered += kScatterCost * static_cast<double>(rows[e].size() * rows[e].size());
  }
  const double order = pattern_.order;
  pattern_.dense_cross = order * order * pattern_.eliminated < scattered;
  if (!pattern_.dense_cross) append_cross_updates(rows);
}

void PatternBuilder::append_cross_updates(const Vector<Vector<int32_t>> &rows) {
  for (const auto &list : rows) {
    Vector<int32_t> sorted = list;
    std::sort(sorted.begin(), sorted.end());
    pattern_.update_row.insert(pattern_.update_row.end(), sorted.begin(), sorted.end());
    pattern_.update_start.push_back(static_cast<int32_t>(pattern_.update_row.size()));
  }
  pattern_.update_value.resize(pattern_.update_row.size(), 0.0);
}

/// A rank-1 update of all of S takes order^2 / 2 pairs, a scattered one takes kScatterCost / 2
/// times the square of its length, and twice that beside the kernels for a small S.
void PatternBuilder::choose_long_updates() {
  const bool is_small = DenseCholesky::is_small(pattern_.order);
  const double scattered = is_small ? 2.0 * kScatterCost : kScatterCost;
  const double limit = static_cast<double>(pattern_.order) / std::sqrt(scattered);
  const double shortest = is_small ? kShortestLongOfSmall : kShortestLong;
  for (int32_t s = 0; s < pattern_.column_updates(); ++s) {
    const int32_t length = pattern_.update_start[s + 1] - pattern_.update_start[s];
    if (length > std::max(limit, shortest)) {
      pattern_.long_update.push_back(s);
    }
  }
}

void PatternBuilder::index_by_rows() {
  Vector<uint8_t> is_long(static_cast<size_t>(pattern_.updates()), 0);
  for (const int32_t s : pattern_.long_update) is_long[s] = 1;
  auto &start = pattern_.by_row_start;
  start.assign(static_cast<size_t>(pattern_.order) + 1, 0);
  for (int32_t s = 0; s < pattern_.updates(); ++s) {
    if (is_long[s]) continue;
    for (int32_t t = pattern_.update_start[s]; t < pattern_.update_start[s + 1]; ++t) {
      ++start[pattern_.update_row[t] + 1];
    }
  }
  std::partial_sum(start.begin(), start.end(), start.begin());
  pattern_.by_row_first.resize(static_cast<size_t>(start.back()));
  pattern_.by_row_update.resize(static_cast<size_t>(start.back()));
  Vector<int32_t> next(start.begin(), start.end() - 1);
  for (int32_t s = 0; s < pattern_.updates(); ++s) {
    if (is_long[s]) continue;
    for (int32_t t = pattern_.update_start[s]; t < pattern_.update_start[s + 1]; ++t) {
      const int32_t place = next[pattern_.update_row[t]]++;
      pattern_.by_row_first[place] = t;
      pattern_.by_row_update[place] = s;
    }
  }
}

/// True when no column has entries in two of the marked rows.
bool is_independent(const SparseColumns &A, const Vector<uint8_t> &marked) {
  for (int32_t j = 0; j < A.columns(); ++j) {
    int32_t count = 0;
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) count += marked[A.row[t]];
    if (count > 1) return false;
  }
  return true;
}

class BlockFactorisation : public Factorisation {
 public:
  explicit BlockFactorisation(std::shared_ptr<const BlockPattern> pattern);
  bool compute(const double *theta, const double *added) override;
  void solve(double *r) const override;
  void quadratic_forms(const SparseColumns &columns, double *t) const override;
  std::unique_ptr<Factorisation> sibling() const override {
    return std::make_unique<BlockFactorisation>(pattern_);
  }
  std::unique_ptr<Factorisation> adapted(const SparseColumns &A) const override;
  double work() const override;

 private:
  void form_diagonal(const double *theta, const double *added);
  void form_cross(const double *theta);
  void scatter_cross_column(const double *theta, int32_t e, double *column) const;
  void form_schur_column(int32_t k, double *column);
  void fill_panel(size_t first, size_t end);
  void add_long_updates();
  double split_column(const SparseColumns &columns, int32_t j, double *remaining) const;

  std::shared_ptr<const BlockPattern> pattern_;
  const BlockPattern &p_;
  DenseCholesky schur_;            // S
  Vector<double> schur_diagonal_;  // of S: what is added, and the singletons' share
  Vector<double> pivot_;           // D
  Vector<double> cross_;           // C D^-1/2 when dense, order x eliminated
  Vector<double> weight_;          // per update of (5)
  Vector<double> value_;           // per entry of the updates
  Vector<double> panel_;           // some of the long updates
  Vector<double> long_weight_;     // of these
  bool keeps_panel_ = false;       // it is the same in all factorisations
  mutable Vector<double> work_;    // order + eliminated
};

BlockFactorisation::BlockFactorisation(std::shared_ptr<const BlockPattern> pattern)
    : pattern_(std::move(pattern)), p_(*pattern_) {
  const size_t order = static_cast<size_t>(p_.order);
  schur_.resize(p_.order);
  schur_diagonal_.resize(order);
  pivot_.resize(static_cast<size_t>(p_.eliminated));
  if (p_.dense_cross) cross_.resize(order * static_cast<size_t>(p_.eliminated));
  weight_.resize(static_cast<size_t>(p_.updates()));
  value_ = p_.update_value;
  long_weight_.resize(std::min(p_.long_update.size(), kLongAtOnce));
  panel_.resize(order * long_weight_.size());
  keeps_panel_ = schur_.is_small() && p_.long_update.size() <= kLongAtOnce;
  if (keeps_panel_) fill_panel(0, p_.long_update.size());
  work_.resize(static_cast<size_t>(p_.rows));
}

void BlockFactorisation::form_diagonal(const double *theta, const double *added) {
  for (int32_t i = 0; i < p_.rows; ++i) {
    const int32_t place = p_.position[i];
    (place >= 0 ? schur_diagonal_[place] : pivot_[-1 - place]) = added[i];
  }
  for (size_t k = 0; k < p_.singleton.size(); ++k) {
    const double share = theta[p_.singleton[k]] * p_.singleton_square[k];
    const int32_t place = p_.singleton_row[k];
    (place >= 0 ? schur_diagonal_[place] : pivot_[-1 - place]) += share;
  }
  for (int32_t s = 0; s < p_.column_updates(); ++s) weight_[s] = theta[p_.update_column[s]];
}

void BlockFactorisation::scatter_cross_column(const double *theta, int32_t e,
                                              double *column) const {
  for (int32_t t = p_.cross_start[e]; t < p_.cross_start[e + 1]; ++t) {
    const int32_t s = p_.cross_update[t];
    const double share = theta[p_.update_column[s]] * p_.cross_value[t];
    for (int32_t k = p_.update_start[s]; k < p_.update_start[s + 1]; ++k) {
      column[p_.update_row[k]] += share * p_.update_value[k];
    }
  }
}

/// D and C. A dense C is held as C D^-1/2, for the rank-k update; a sparse one as updates.
void BlockFactorisation::form_cross(const double *theta) {
  double *scratch = work_.data();
  std::fill(work_.begin(), work_.end(), 0.0);
  if (p_.dense_cross) std::fill(cross_.begin(), cross_.end(), 0.0);
  for (int32_t e = 0; e < p_.eliminated; ++e) {
    for (int32_t t = p_.cross_start[e]; t < p_.cross_start[e + 1]; ++t) {
      pivot_[e] +=
          theta[p_.update_column[p_.cross_update[t]]] * p_.cross_value[t] * p_.cross_value[t];
    }
    if (p_.dense_cross) {
      double *column = cross_.data() + static_cast<int64_t>(e) * p_.order;
      scatter_cross_column(theta, e, column);
      const double factor = 1.0 / std::sqrt(pivot_[e]);
      for (int32_t k = 0; k < p_.order; ++k) column[k] *= factor;
      continue;
    }
    scatter_cross_column(theta, e, scratch);
    const int32_t s = p_.first_cross_update + e;
    weight_[s] = -1.0 / pivot_[e];
    for (int32_t k = p_.update_start[s]; k < p_.update_start[s + 1]; ++k) {
      value_[k] = scratch[p_.update_row[k]];
      scratch[p_.update_row[k]] = 0.0;
    }
  }
}

void BlockFactorisation::form_schur_column(int32_t k, double *column) {
  std::fill(column + k, column + p_.order, 0.0);
  const int32_t *row = p_.update_row.data();
  const double *value = value_.data();
  for (int32_t t = p_.by_row_start[k]; t < p_.by_row_start[k + 1]; ++t) {
    const int32_t s = p_.by_row_update[t];
    const int32_t first = p_.by_row_first[t];
    const int32_t last = p_.update_start[s + 1];
    const double factor = weight_[s] * value[first];
    for (int32_t q = first; q < last; ++q) column[row[q]] += factor * value[q];
  }
  column[k] += schur_diagonal_[k];
}

/// Some of the long updates as columns; those of a small S without their weights.
void BlockFactorisation::fill_panel(size_t first, size_t end) {
  double *column = panel_.data();
  std::fill(column, column + (end - first) * static_cast<size_t>(p_.order), 0.0);
  for (size_t k = first; k < end; ++k, column += p_.order) {
    const int32_t s = p_.long_update[k];
    const double root = schur_.is_small() ? 1.0 : std::sqrt(weight_[s]);
    for (int32_t t = p_.update_start[s]; t < p_.update_start[s + 1]; ++t) {
      column[p_.update_row[t]] = root * value_[t];
    }
  }
}

void BlockFactorisation::add_long_updates() {
  for (size_t first = 0; first < p_.long_update.size(); first += kLongAtOnce) {
    const size_t end = std::min(p_.long_update.size(), first + kLongAtOnce);
    if (!keeps_panel_) fill_panel(first, end);
    if (!schur_.is_small()) {
      schur_.add_outer_product(static_cast<int32_t>(end - first), 1.0, panel_.data(), p_.order);
      continue;
    }
    for (size_t k = first; k < end; ++k) long_weight_[k - first] = weight_[p_.long_update[k]];
    schur_.add_weighted_products(static_cast<int32_t>(end - first), long_weight_.data(),
                                 panel_.data());
  }
}

bool BlockFactorisation::compute(const double *theta, const double *added) {
  form_diagonal(theta, added);
  form_cross(theta);
  const auto is_positive = [](double pivot) { return pivot > 0.0; };
  if (!std::all_of(pivot_.begin(), pivot_.end(), is_positive)) return false;
  for (int32_t k = 0; k < p_.order; ++k) form_schur_column(k, schur_.column(k));
  add_long_updates();
  if (p_.dense_cross) {
    schur_.add_outer_product(p_.eliminated, -1.0, cross_.data(), p_.order);
  }
  return schur_.factorise();
}

void BlockFactorisation::solve(double *r) const {
  double *remaining = work_.data();
  double *eliminated = remaining + p_.order;
  for (int32_t i = 0; i < p_.rows; ++i) {
    const int32_t place = p_.position[i];
    (place >= 0 ? remaining[place] : eliminated[-1 - place]) = r[i];
  }
  if (p_.dense_cross) {
    for (int32_t e = 0; e < p_.eliminated; ++e) eliminated[e] /= std::sqrt(pivot_[e]);
    dense::add_matrix_vector(p_.order, p_.eliminated, -1.0, cross_.data(), p_.order, eliminated,
                             remaining);
  } else {
    for (int32_t e = 0; e < p_.eliminated; ++e) {
      const int32_t s = p_.first_cross_update + e;
      eliminated[e] /= pivot_[e];
      for (int32_t k = p_.update_start[s]; k < p_.update_start[s + 1]; ++k) {
        remaining[p_.update_row[k]] -= value_[k] * eliminated[e];
      }
    }
  }
  schur_.solve_lower(1, remaining);
  schur_.solve_lower_transposed(remaining);
  if (p_.dense_cross) {
    dense::add_transposed_vector(p_.order, p_.eliminated, -1.0, cross_.data(), p_.order, remaining,
                                 eliminated);
    for (int32_t e = 0; e < p_.eliminated; ++e) eliminated[e] /= std::sqrt(pivot_[e]);
  } else {
    for (int32_t e = 0; e < p_.eliminated; ++e) {
      const int32_t s = p_.first_cross_update + e;
      double sum = 0.0;
      for (int32_t k = p_.update_start[s]; k < p_.update_start[s + 1]; ++k) {
        sum += value_[k] * remaining[p_.update_row[k]];
      }
      eliminated[e] -= sum / pivot_[e];
    }
  }
  for (int32_t i = 0; i < p_.rows; ++i) {
    const int32_t place = p_.position[i];
    r[i] = place >= 0 ? remaining[place] : eliminated[-1 - place];
  }
}

double BlockFactorisation::work() const {
  const double order = p_.order;
  double pairs = order * order * order / 6.0;
  for (int32_t s = 0; s < p_.updates(); ++s) {
    const double length = p_.update_start[s + 1] - p_.update_start[s];
    pairs += length * length / 2.0;
  }
  for (const int32_t s : p_.long_update) {
    const double length = p_.update_start[s + 1] - p_.update_start[s];
    pairs += (order * order - length * length) / 2.0;
  }
  return pairs + (p_.dense_cross ? order * order * p_.eliminated / 2.0 : 0.0);
}

std::unique_ptr<Factorisation> BlockFactorisation::adapted(const SparseColumns &A) const {
  if (A.rows != p_.rows || !holds_for(A, p_.entries)) return nullptr;
  Vector<uint8_t> eliminated(static_cast<size_t>(p_.rows));
  for (int32_t i = 0; i < p_.rows; ++i) eliminated[i] = p_.position[i] < 0;
  if (!is_independent(A, eliminated)) return nullptr;
  return std::make_unique<BlockFactorisation>(PatternBuilder(A, eliminated, p_.entries).build());
}

/// With (4), t = a_E'D^-1 a_E + |L^-1 (a_K - C D^-1 a_E)|^2, a block of columns at a time.
void BlockFactorisation::quadratic_forms(const SparseColumns &columns, double *t) const {
  constexpr int32_t kBlock = 64;
  Vector<double> block(static_cast<size_t>(kBlock) * static_cast<size_t>(p_.order));
  for (int32_t first = 0; first < columns.columns(); first += kBlock) {
    const int32_t count = std::min(kBlock, columns.columns() - first);
    std::fill(block.begin(), block.end(), 0.0);
    for (int32_t k = 0; k < count; ++k) {
      double *remaining = block.data() + static_cast<int64_t>(k) * p_.order;
      t[first + k] = split_column(columns, first + k, remaining);
    }
    schur_.solve_lower(count, block.data());
    for (int32_t k = 0; k < count; ++k) {
      const double *remaining = block.data() + static_cast<int64_t>(k) * p_.order;
      t[first + k] = std::inner_product(remaining, remaining + p_.order, remaining, t[first + k]);
    }
  }
}

/// Writes a_K - C D^-1 a_E over zeros and returns a_E'D^-1 a_E.
double BlockFactorisation::split_column(const SparseColumns &columns, int32_t j,
                                        double *remaining) const {
  double eliminated = 0.0;
  for (int32_t t = columns.start[j]; t < columns.start[j + 1]; ++t) {
    const int32_t place = p_.position[columns.row[t]];
    if (place >= 0) {
      remaining[place] += columns.value[t];
      continue;
    }
    const int32_t e = -1 - place;
    const double ratio = columns.value[t] / pivot_[e];
    eliminated += ratio * columns.value[t];
    if (p_.dense_cross) {
      const double *cross = cross_.data() + static_cast<int64_t>(e) * p_.order;
      const double factor = ratio * std::sqrt(pivot_[e]);
      for (int32_t k = 0; k < p_.order; ++k) remaining[k] -= factor * cross[k];
    } else {
      const int32_t s = p_.first_cross_update + e;
      for (int32_t k = p_.update_start[s]; k < p_.update_start[s + 1]; ++k) {
        remaining[p_.update_row[k]] -= ratio * value_[k];
      }
    }
  }
  return eliminated;
}

/// Takes rows in the given order as long as they share no column with one taken before.
Vector<uint8_t> greedy_independent_rows(const SparseColumns &A,
                                        const Vector<Vector<int32_t>> &row_columns,
                                        const Vector<int32_t> &order) {
  Vector<uint8_t> taken(static_cast<size_t>(A.rows), 0);
  Vector<uint8_t> used(static_cast<size_t>(A.columns()), 0);
  int32_t left = A.rows;
  for (const int32_t i : order) {
    if (left == 1) break;
    const auto &columns = row_columns[i];
    if (std::any_of(columns.begin(), columns.end(), [&](int32_t j) { return used[j] != 0; })) {
      continue;
    }
    for (const int32_t j : columns) used[j] = 1;
    taken[i] = 1;
    --left;
  }
  return taken;
}

}  // namespace

Vector<uint8_t> independent_rows(const SparseColumns &A) {
  Vector<Vector<int32_t>> row_columns(static_cast<size_t>(A.rows));
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (A.length(j) < 2) continue;
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) row_columns[A.row[t]].push_back(j);
  }
  Vector<int32_t> order(static_cast<size_t>(A.rows));
  for (int32_t i = 0; i < A.rows; ++i) order[i] = A.rows - 1 - i;
  const auto last_first = greedy_independent_rows(A, row_columns, order);
  std::stable_sort(order.begin(), order.end(), [&](int32_t a, int32_t b) {
    return row_columns[a].size() < row_columns[b].size();
  });
  const auto short_first = greedy_independent_rows(A, row_columns, order);
  const auto size = [](const Vector<uint8_t> &set) {
    return std::accumulate(set.begin(), set.end(), 0);
  };
  return size(last_first) >= size(short_first) ? last_first : short_first;
}

double block_factorisation_work(const SparseColumns &A, const Vector<uint8_t> &eliminated) {
  const double count = std::accumulate(eliminated.begin(), eliminated.end(), 0);
  const double order = static_cast<double>(A.rows) - count;
  double entries_of_cross = 0.0;
  double squares = 0.0;
  for (int32_t j = 0; j < A.columns(); ++j) {
    const double length = A.length(j);
    if (length < 2) continue;
    squares += std::min(kScatterCost * length * length, order * order) / 2.0;
    bool crosses = false;
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) crosses |= eliminated[A.row[t]] != 0;
    if (crosses) entries_of_cross += length - 1.0;
  }
  // The columns of C hold at most the entries of the columns they come from.
  const double per_column = count > 0.0 ? std::min(entries_of_cross / count, order) : 0.0;
  const double cross =
      count * std::min(kScatterCost * per_column * per_column, order * order) / 2.0;
  return order * order * order / 6.0 + squares + cross;
}

std::unique_ptr<Factorisation> make_block_factorisation(const SparseColumns &A,
                                                        const Vector<uint8_t> &eliminated) {
  return std::make_unique<BlockFactorisation>(PatternBuilder(A, eliminated, A.entries()).build());
}

}  // namespace interior_point

#include "interior_point/linear_algebra/factorisation_choice.h"

#include <algorithm>

#include "interior_point/linear_algebra/block_factorisation.h"
#include "interior_point/linear_algebra/column_factorisation.h"
#include "interior_point/linear_algebra/sparse_factorisation.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {
// The independent set must save this share of the work to be worth its indirections.
constexpr double kWorthEliminating = 0.85;
// Below this many rows the dense kernel is fastest whatever the pattern.
constexpr int32_t kSmall = 60;
// Supernodal panels run at about half the speed of one dense matrix.
constexpr double kSparseHandicap = 2.0;
// Ordering and analysis cost about as much as a few factorisations. Where this share of M is not 0
// they would only confirm that its factor is dense. It is estimated from so many rows.
constexpr double kClearlyDense = 0.4;
constexpr int32_t kSampledRows = 64;
// The sample ends when it has looked at so many times the entries of A.
constexpr int64_t kSampledEntries = 4;
// An analysis takes about as long, for each entry of M, as this many pairs in each of the ten
// factorisations that follow. It has to be less than what these take without it.
constexpr double kAnalysis = 100.0;
// An augmented system is looked at where a factorisation without one does more than this
// much work per entry of A (below, the vectors of an iteration take as long)...
constexpr double kHeavy = 120.0;
// ... and for columns this many times longer than the mean, and than the second value, while they
// make up the third share of all the products in A Theta A' and are fewer than the fourth share of
// the rows. With shares from 0.5 to 0.7 that took up to 13 % longer than without.
constexpr double kLongColumn = 2.5;
constexpr double kShortColumn = 3.0;
constexpr double kLongShare = 0.7;
constexpr double kFewAugmented = 0.9;
// Columns of several entries are few where there are no more than this share of the rows.
constexpr double kFewColumns = 0.5;
// Rows this many times longer than the mean are long.
constexpr double kLongRow = 4.0;

/// The share of M that is not 0, from a sample of its rows.
double density(const SparseColumns &A) {
  const int32_t stride = std::max(1, A.rows / kSampledRows);
  Vector<Vector<int32_t>> columns_of(static_cast<size_t>(A.rows / stride + 1));
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (A.length(j) < 2) continue;
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
      if (A.row[t] % stride == 0) columns_of[A.row[t] / stride].push_back(j);
    }
  }
  Vector<int32_t> seen(static_cast<size_t>(A.rows), -1);
  double count = 0.0;
  int32_t sampled = 0;
  int64_t looked_at = 0;
  const int64_t enough = kSampledEntries * A.entries();
  for (int32_t i = 0; i < A.rows && looked_at <= enough; i += stride, ++sampled) {
    for (const int32_t j : columns_of[sampled]) {
      looked_at += A.length(j);
      for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
        count += seen[A.row[t]] != i;
        seen[A.row[t]] = i;
      }
    }
  }
  return count / (static_cast<double>(A.rows) * std::max(sampled, 1));
}

/// The long columns without the shortest one of each row that has no other: a row whose diagonal in
/// (14) is nothing but the regularisation makes no pivot.
Vector<int32_t> augmentable_columns(const SparseColumns &A, double longest_short) {
  Vector<uint8_t> has_diagonal(static_cast<size_t>(A.rows), 0);
  Vector<int32_t> shortest(static_cast<size_t>(A.rows), -1);
  for (int32_t j = 0; j < A.columns(); ++j) {
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
      const int32_t i = A.row[t];
      if (A.length(j) <= longest_short) has_diagonal[i] = 1;
      if (shortest[i] < 0 || A.length(j) < A.length(shortest[i])) shortest[i] = j;
    }
  }
  Vector<uint8_t> given_up(static_cast<size_t>(A.columns()), 0);
  for (int32_t i = 0; i < A.rows; ++i) {
    if (!has_diagonal[i] && shortest[i] >= 0) given_up[shortest[i]] = 1;
  }
  Vector<int32_t> augmented;
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (A.length(j) > longest_short && !given_up[j]) augmented.push_back(j);
  }
  return augmented;
}

/// What forming M column by column of A costs where the columns `augmented` (increasing) stay out
/// of it.
double assembly_work(const SparseColumns &A, const Vector<int32_t> &augmented) {
  double squares = 0.0;
  auto next = augmented.begin();
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (next != augmented.end() && *next == j) {
      ++next;
      continue;
    }
    const double length = A.length(j);
    if (length > 1) squares += length * length;
  }
  return kScatterCost * squares / 2.0;
}

/// What a sparse factorisation takes in all.
double sparse_work(const SparseColumns &A, const Factorisation &chosen) {
  return kSparseHandicap * chosen.work() + assembly_work(A, chosen.augmented_columns());
}

/// The long columns that are worth an ordering of their augmented system; none where that is
/// unlikely to pay.
Vector<int32_t> long_columns(const SparseColumns &A, const Vector<uint8_t> *is_free) {
  const double mean = static_cast<double>(A.entries()) / std::max(A.columns(), 1);
  const double longest_short = std::max(kLongColumn * mean, kShortColumn);
  double all = 0.0;
  double of_long = 0.0;
  for (int32_t j = 0; j < A.columns(); ++j) {
    const double length = A.length(j);
    if (length > 1) all += length * length;
    if (length > longest_short) of_long += length * length;
  }
  if (of_long < kLongShare * all) return {};
  Vector<int32_t> augmented = augmentable_columns(A, longest_short);
  const auto may_not = [is_free](int32_t j) { return is_free && (*is_free)[j]; };
  augmented.erase(std::remove_if(augmented.begin(), augmented.end(), may_not), augmented.end());
  if (static_cast<double>(augmented.size()) > kFewAugmented * A.rows) augmented.clear();
  return augmented;
}

/// The sparse factorisation of M where it takes less than `block`, the work of the others.
std::unique_ptr<Factorisation> sparse_cholesky(const SparseColumns &A, double block) {
  const double filled = density(A);
  if (filled > kClearlyDense || kAnalysis * filled * A.rows * A.rows > block) return nullptr;
  // What is left for the elimination once M has been formed.
  return make_sparse_factorisation(A, {}, (block - assembly_work(A, {})) / kSparseHandicap);
}

/// What eliminating all rows before the columns `augmented` (increasing) takes: a scattered update
/// of the square of its length for each. A bound of what to expect before anything is ordered.
double elimination_work(const SparseColumns &A, const Vector<int32_t> &augmented) {
  Vector<int32_t> length(static_cast<size_t>(A.rows), 0);
  for (const int32_t j : augmented) {
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) ++length[A.row[t]];
  }
  double squares = 0.0;
  for (const double l : length) squares += l * l;
  return kScatterCost * squares / 2.0;
}

/// The factorisation of (14) with P the long columns, where that takes less than `work`.
std::unique_ptr<Factorisation> augmented_by_long_columns(const SparseColumns &A,
                                                         const Vector<uint8_t> *is_free,
                                                         double work) {
  if (work < kHeavy * A.entries()) return nullptr;
  const Vector<int32_t> augmented = long_columns(A, is_free);
  if (augmented.empty()) return nullptr;
  const double assembly = assembly_work(A, augmented);
  const double entries = 2.0 * assembly / kScatterCost + A.entries();
  if (kAnalysis * entries > work || elimination_work(A, augmented) > work) return nullptr;
  return make_sparse_factorisation(A, augmented, (work - assembly) / kSparseHandicap);
}

/// The rows to eliminate first where all columns `augmented` (increasing) are unknowns: those that
/// meet no other row and have a diagonal of their own. Long ones would fill the columns' square.
Vector<uint8_t> rows_to_begin_with(const SparseColumns &A, const Vector<int32_t> &augmented) {
  Vector<uint8_t> first(static_cast<size_t>(A.rows), 0);
  Vector<int32_t> length(first.size(), 0);
  for (int32_t j = 0; j < A.columns(); ++j) {
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
      ++length[A.row[t]];
      if (A.length(j) == 1) first[A.row[t]] = 1;
    }
  }
  auto next = augmented.begin();
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (next != augmented.end() && *next == j) {
      ++next;
    } else if (A.length(j) > 1) {
      for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) first[A.row[t]] = 0;
    }
  }
  const double mean = static_cast<double>(A.entries()) / std::max(A.rows, 1);
  for (size_t i = 0; i < first.size(); ++i) first[i] &= length[i] <= kLongRow * mean;
  return first;
}

/// The factorisation of (14) with all columns as unknowns, where these are few: once the rows are
/// eliminated what is left has their order. Null where that takes more than `work`, or where the
/// columns are those that are `known` already.
std::unique_ptr<Factorisation> augmented_by_all_columns(const SparseColumns &A,
                                                        const Vector<int32_t> &known, double work) {
  int32_t several = 0;
  for (int32_t j = 0; j < A.columns(); ++j) several += A.length(j) > 1;
  if (several > kFewColumns * A.rows) return nullptr;
  const Vector<int32_t> augmented = augmentable_columns(A, 1.0);
  if (augmented == known || elimination_work(A, augmented) > work) return nullptr;
  return make_sparse_factorisation(A, augmented, rows_to_begin_with(A, augmented),
                                   work / kSparseHandicap);
}

}  // namespace

std::unique_ptr<Factorisation> make_factorisation(const SparseColumns &A, const Factorisation *last,
                                                  const Vector<uint8_t> *is_free) {
  if (last) {
    std::unique_ptr<Factorisation> adapted = last->adapted(A);
    if (adapted) return adapted;
  }
  const Vector<uint8_t> none(static_cast<size_t>(A.rows), 0);
  const Vector<uint8_t> independent = independent_rows(A);
  const double plain = block_factorisation_work(A, none);
  const double split = block_factorisation_work(A, independent);
  double work = std::min(plain, split);
  std::unique_ptr<Factorisation> best;
  if (A.rows >= kSmall) {
    best = augmented_by_long_columns(A, is_free, work);
    if (!best) best = sparse_cholesky(A, work);
    if (best) work = sparse_work(A, *best);
    std::unique_ptr<Factorisation> other =
        augmented_by_all_columns(A, best ? best->augmented_columns() : Vector<int32_t>(), work);
    if (other) {
      best = std::move(other);
      work = std::min(work, sparse_work(A, *best));
    }
    if (column_factorisation_work(A) < kWorthEliminating * work) {
      return make_column_factorisation(A);
    }
  }
  if (best) return best;
  return make_block_factorisation(A, split < kWorthEliminating * plain ? independent : none);
}

}  // namespace interior_point
